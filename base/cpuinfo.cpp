// The CPU service. The machine is asked once; what is reported is that answer, masked by a limit that the
// application may change at any time. This file is compiled for the baseline processor.
#include "base/cpu_detect.h"

#include <qbase/cpuinfo.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <cstring>
#include <thread>

#if defined(__x86_64__)
#include <cpuid.h>
#elif defined(__aarch64__) && defined(__linux__)
#include <sys/auxv.h>
#endif
#if defined(__linux__)
#include <sched.h>
#endif

namespace
{

constexpr uint32_t sseBits =
    QSYS_CPU_BIT_VECTOR128 | QSYS_CPU_BIT_VECTOR128_BYTES | QSYS_CPU_BIT_VECTOR128_WORDS;
constexpr uint32_t avx2Bits = sseBits | QSYS_CPU_BIT_VECTOR256;

struct levelBits {
    const char* name;
    uint32_t features;
};
// Those of one machine lowest first. No machine has bits of two architectures.
constexpr levelBits levels[] = {
    {"plain", 0}, {"sse", sseBits}, {"avx2", avx2Bits}, {"neon", QSYS_CPU_BIT_NEON}};

#if defined(__x86_64__)

constexpr int32_t machineClass = QSYS_CPU_CLASS_X86;

base_cpuRegisters readRegisters()
{
    constexpr uint32_t osxsave = 1u << 27;
    base_cpuRegisters registers = {};
    uint32_t eax = 0;
    uint32_t ebx = 0;
    uint32_t ecx = 0;
    uint32_t edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx))
        registers.leaf1Ecx = ecx;
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx))
        registers.leaf7Ebx = ebx;
    // The intrinsic for this instruction needs a compile flag of a newer processor.
    if (registers.leaf1Ecx & osxsave)
        __asm__("xgetbv" : "=a"(registers.xcr0), "=d"(edx) : "c"(0));
    return registers;
}

uint32_t askMachine()
{
    const base_cpuRegisters registers = readRegisters();
    return base_cpuDetect_features(&registers);
}

#elif defined(__aarch64__) && defined(__linux__)

constexpr int32_t machineClass = QSYS_CPU_CLASS_ARM;

uint32_t askMachine()
{
    return base_cpuDetect_armFeatures(getauxval(AT_HWCAP));
}

#else

constexpr int32_t machineClass = QSYS_CPU_CLASS_OTHER;

uint32_t askMachine()
{
    return 0;
}

#endif

uint32_t machineFeatures()
{
    static const uint32_t features = askMachine();
    return features;
}

int32_t countProcessors()
{
    int64_t count = 0;
#if defined(__linux__)
    // Room for 65536 processors: the call fails when the system's own set is larger than the one offered.
    cpu_set_t sets[65536 / CPU_SETSIZE];
    if (sched_getaffinity(0, sizeof sets, sets) == 0)
        count = CPU_COUNT_S(sizeof sets, sets);
#endif
    if (count < 1)
        count = std::thread::hardware_concurrency();
    return static_cast<int32_t>(std::clamp<int64_t>(count, 1, INT32_MAX));
}

// Class and feature mask change together, so they share one word, aligned as an atomic word must be.
struct alignas(8) featureLimit {
    int32_t processorClass;
    uint32_t mask;
};
std::atomic<featureLimit> limit = featureLimit{machineClass, UINT32_MAX};
static_assert(std::atomic<featureLimit>::is_always_lock_free);

std::atomic<qsys_status> initFailure = QSYS_OK;

uint32_t reportedFeatures()
{
    return machineFeatures() & limit.load().mask;
}

} // namespace

uint32_t base_cpuDetect_features(const base_cpuRegisters* registers)
{
    constexpr uint32_t sse3 = 1u << 0;
    constexpr uint32_t ssse3 = 1u << 9;
    constexpr uint32_t sse41 = 1u << 19;
    constexpr uint32_t osxsave = 1u << 27;
    constexpr uint32_t avx = 1u << 28;
    constexpr uint32_t avx2 = 1u << 5;
    constexpr uint32_t xmmAndYmm = 0x6;

    const auto has = [](uint32_t word, uint32_t bits) {
        return (word & bits) == bits;
    };
    if (!has(registers->leaf1Ecx, sse3 | ssse3 | sse41))
        return 0;
    const bool wide = has(registers->leaf1Ecx, osxsave | avx) && has(registers->leaf7Ebx, avx2) &&
                      has(registers->xcr0, xmmAndYmm);
    return wide ? avx2Bits : sseBits;
}

uint32_t base_cpuDetect_armFeatures(uint64_t capabilities)
{
    constexpr uint64_t asimd = uint64_t{1} << 1;
    return capabilities & asimd ? QSYS_CPU_BIT_NEON : 0;
}

qsys_status base_cpuDetect_levelFeatures(const char* level, uint32_t machine, uint32_t* features)
{
    if (std::strcmp(level, "auto") == 0) {
        *features = machine;
        return QSYS_OK;
    }
    for (const levelBits& known : levels) {
        if (std::strcmp(level, known.name) != 0)
            continue;
        if ((machine & known.features) != known.features)
            return QSYS_E_LEVEL_UNAVAILABLE;
        *features = known.features;
        return QSYS_OK;
    }
    return QSYS_E_LEVEL_UNKNOWN;
}

int32_t base_cpuDetect_processorCount()
{
    static const int32_t count = countProcessors();
    return count;
}

qsys_status qsys_cpuinfo_init(qsys_cpuinfo* info)
{
    if (!info)
        return QSYS_E_ARGUMENT;
    const qsys_status failure = initFailure.load();
    if (failure < 0)
        return failure;
    const featureLimit now = limit.load();
    *info = {now.processorClass, base_cpuDetect_processorCount(), machineFeatures() & now.mask, 0};
    return QSYS_OK;
}

qsys_status qsys_cpuinfo_limitLevel(const char* level)
{
    if (!level)
        return QSYS_E_ARGUMENT;
    uint32_t features = 0;
    const qsys_status status = base_cpuDetect_levelFeatures(level, machineFeatures(), &features);
    if (status >= 0)
        limit.store({machineClass, features});
    return status;
}

qsys_status qsys_cpuinfo_limitRaw(int32_t processorClass, uint32_t features)
{
    limit.store({processorClass, features});
    return QSYS_OK;
}

qsys_status qsys_cpuinfo_setFailure(qsys_status failure)
{
    if (failure > 0)
        return QSYS_E_ARGUMENT;
    initFailure.store(failure);
    return QSYS_OK;
}

const char* qsys_cpuinfo_levelName(void)
{
    const uint32_t features = reportedFeatures();
    const char* name = levels[0].name;
    for (const levelBits& level : levels)
        if ((features & level.features) == level.features)
            name = level.name;
    return name;
}
