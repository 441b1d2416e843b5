// The benchmark program: all cases, after a look at whether the peers compute what we compute.
#include "bench/support.h"

#include <benchmark/benchmark.h>

int main(int argc, char** argv)
{
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 2;
    bench_addGauss();
    bench_addGauss2();
    bench_addMasked();
#ifdef BENCH_OPENCV
    if (!bench_opencvAgrees())
        return 1;
    bench_addOpencv();
#endif
    bench_registerAll();
    benchmark::AddCustomContext("highest processor level", qsys_cpuinfo_levelName());
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
