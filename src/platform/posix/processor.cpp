#include "platform/processor.h"

#include <cpuid.h>

namespace Tovra::Platform {

namespace {

struct Features {
    unsigned int ecx1 = 0;  // leaf 1
    unsigned int ebx7 = 0;  // leaf 7, subleaf 0
};

// Leaves that the processor lacks read as zero.
Features features() {
    Features found;
    unsigned int eax = 0;
    unsigned int ebx = 0;
    unsigned int ecx = 0;
    unsigned int edx = 0;
    if (__get_cpuid(1, &eax, &ebx, &ecx, &edx) != 0) found.ecx1 = ecx;
    if (__get_cpuid_count(7, 0, &eax, &ebx, &ecx, &edx) != 0) found.ebx7 = ebx;
    return found;
}

constexpr unsigned int sse41Features = bit_SSSE3 | bit_SSE4_1;

bool hasAll(unsigned int word, unsigned int bits) { return (word & bits) == bits; }

}  // namespace

bool HasShaInstructions() {
    const Features found = features();
    return hasAll(found.ecx1, sse41Features) && hasAll(found.ebx7, bit_SHA);
}

bool HasCarrylessMultiply() { return hasAll(features().ecx1, sse41Features | bit_PCLMUL); }

}  // namespace Tovra::Platform
