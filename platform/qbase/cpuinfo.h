/* qbase/cpuinfo.h - what the processor can execute, and how to use less of it.
 *
 * The processor is asked once per process, together with the operating system (256-bit registers count
 * only when the system saves them). An application, a test or a benchmark may lower what is reported;
 * nothing can raise it, so no choice made here can lead to an illegal instruction. */
#ifndef QBASE_CPUINFO_H
#define QBASE_CPUINFO_H

#include <qbase/status.h>

QBASE_BEGIN_DECLS

/* Processor classes. This service reports 1 on x86-64, 3 on 64-bit ARM (AArch64), and 2 elsewhere. Class 5
 * is read like 1. */
#define QSYS_CPU_CLASS_X86   1
#define QSYS_CPU_CLASS_OTHER 2
#define QSYS_CPU_CLASS_ARM   3

/* Feature bits of the classes 1 and 5. Bits 0, 3 and 8 are set together: 128-bit integer vectors up to
 * SSE4.1, with SSSE3. Bit 11: 256-bit integer vectors (AVX2), registers saved by the operating system. */
#define QSYS_CPU_BIT_VECTOR128       0x0001u
#define QSYS_CPU_BIT_VECTOR128_BYTES 0x0008u
#define QSYS_CPU_BIT_VECTOR128_WORDS 0x0100u
#define QSYS_CPU_BIT_VECTOR256       0x0800u

/* Feature bit of class 3, bit 16: 128-bit vectors of integers and of both precisions (Advanced SIMD). */
#define QSYS_CPU_BIT_NEON 0x10000u

typedef struct qsys_cpuinfo {
    int32_t processorClass;
    int32_t processorCount; /* processors that this process may run on, at least 1 */
    uint32_t features;      /* QSYS_CPU_BIT_...; other bits are 0 */
    int32_t reserved;       /* 0 */
} qsys_cpuinfo;

/* Fills the record with what is to be used now: what the machine has, lowered by the calls below.
 * Errors:  QSYS_E_ARGUMENT (info is null); while a failure is set (below), that failure, with *info
 *          untouched.
 * Threads: callable from any thread. */
QBASE_API qsys_status qsys_cpuinfo_init(qsys_cpuinfo* info);

/* Lowers what is reported to a level: "plain" (no bits), "sse" (bits 0, 3, 8), "avx2" (bits 0, 3, 8, 11),
 * "neon" (bit 16); "auto" reports the machine as it is. The class is that of the machine.
 * Errors:  QSYS_E_ARGUMENT (level is null), QSYS_E_LEVEL_UNKNOWN, QSYS_E_LEVEL_UNAVAILABLE (the machine
 *          lacks it). What is reported is then unchanged.
 * Threads: callable from any thread; calls that run at the same time use either level. */
QBASE_API qsys_status qsys_cpuinfo_limitLevel(const char* level);

/* The same in raw form, for tests: reports this class, and those of the bits that the machine has. */
QBASE_API qsys_status qsys_cpuinfo_limitRaw(int32_t processorClass, uint32_t features);

/* For tests: every later qsys_cpuinfo_init fails with this status until it is set to 0 again. A
 * positive value is QSYS_E_ARGUMENT. */
QBASE_API qsys_status qsys_cpuinfo_setFailure(qsys_status failure);

/* The name of the highest level whose bits are all reported now: "plain", "sse", "avx2" or "neon". */
QBASE_API const char* qsys_cpuinfo_levelName(void);

QBASE_END_DECLS

#endif
