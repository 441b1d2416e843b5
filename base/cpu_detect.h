// What the CPU service learns from the machine, as functions of numbers, so that tests can try machines
// that are not at hand.
#pragma once

#include <qbase/cpuinfo.h>

// The words of CPUID and the register of the operating system that decide the feature bits. A word that the
// processor does not have is 0.
struct base_cpuRegisters {
    uint32_t leaf1Ecx;
    uint32_t leaf7Ebx;
    uint32_t xcr0; // register sets that the system saves and restores
};

// The feature bits, QSYS_CPU_BIT_..., of an x86 processor with these registers.
uint32_t base_cpuDetect_features(const base_cpuRegisters* registers);

// The same for a 64-bit ARM processor with these capabilities, as Linux names them (AT_HWCAP).
uint32_t base_cpuDetect_armFeatures(uint64_t capabilities);

// The feature bits that a level reports on a machine with the bits `machine`.
// Errors:  QSYS_E_LEVEL_UNKNOWN, QSYS_E_LEVEL_UNAVAILABLE; *features is then untouched.
qsys_status base_cpuDetect_levelFeatures(const char* level, uint32_t machine, uint32_t* features);

// The processors that this process may run on, at least 1; asked once.
int32_t base_cpuDetect_processorCount();
