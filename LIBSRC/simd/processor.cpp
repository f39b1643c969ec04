#include "simd/processor.hpp"

#if defined(__x86_64__) || defined(__i386__)
#include <cpuid.h>
#endif

namespace qzk::simd {

ProcessorId processorId() {
#if defined(__x86_64__) || defined(__i386__)
    unsigned signature, ebx, ecx, features;
    if (__get_cpuid(1, &signature, &ebx, &ecx, &features) != 0) return {signature, features};
#endif
    return {1 << 8, 0};
}

} // namespace qzk::simd
