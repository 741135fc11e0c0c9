// Classifies the processor into the one small flag every kernel family switches on.
#pragma once

#include <cstdint>

namespace trvx {

// The only flag values that occur. Bits: 1 MMX, 2 CMOV, 4 integer SIMD extensions,
// 8 SSE, 16 SSE2, 128 AMD; selection switches on whole values, not on bits.
enum ProcessorFlag : int32_t {
  kProcessorPlain = 0,
  kProcessorAmdMmx = 1,
  kProcessorIntelMmx = 3,
  kProcessorIntelSse = 15,
  kProcessorIntelSse2 = 31,
  kProcessorAmdMmxExtensions = 135,
  kProcessorAmdSse = 143,
  kProcessorAmdSse2 = 159,
};

// What CPUID reported: the 12-byte vendor string (EBX, EDX, ECX of leaf 0), EDX of
// leaf 1 and EDX of leaf 0x80000001 (zero where a leaf is missing).
struct CpuidReadings {
  char vendor[13] = {};
  uint32_t featureEdx = 0;
  uint32_t extendedFeatureEdx = 0;
};

// The flag for the given readings; no CPUID involved.
int32_t ClassifyProcessor(const CpuidReadings& readings);

// The kernel variant a processor flag picks in the pixel converter families. The
// switch is on whole values: an AMD processor with SSE2 gets PlainSse2, the plain
// kernels' arithmetic to the byte in SSE2 registers; any unnamed value the plain ones.
enum class KernelPath { Plain, Mmx, Sse, Sse2, PlainSse2 };
constexpr int kKernelPathCount = static_cast<int>(KernelPath::PlainSse2) + 1;

constexpr KernelPath PixelKernelPath(int32_t flag) {
  switch (flag) {
    case kProcessorAmdMmx:
    case kProcessorIntelMmx:
      return KernelPath::Mmx;
    case kProcessorIntelSse:
    case kProcessorAmdMmxExtensions:
    case kProcessorAmdSse:
      return KernelPath::Sse;
    case kProcessorIntelSse2:
      return KernelPath::Sse2;
    case kProcessorAmdSse2:
      return KernelPath::PlainSse2;
    default:
      return KernelPath::Plain;
  }
}

// Whether the flag selects MMX, SSE or SSE2 pixel and transform kernels, with their
// own scale and rounding and MMX state to clear. PlainSse2 keeps the plain ones' bytes
// and touches no MMX register.
constexpr bool UsesVectorKernels(int32_t flag) {
  const KernelPath path = PixelKernelPath(flag);
  return path != KernelPath::Plain && path != KernelPath::PlainSse2;
}

// Runs CPUID under the fault guard (a fault gives 0), once per process, and
// classifies the result. TRVX_CPU set to one of the eight flag values, read at every
// call, forces that value instead, so a slower path can be tried on a fast machine.
int32_t DetectProcessor();

}  // namespace trvx
