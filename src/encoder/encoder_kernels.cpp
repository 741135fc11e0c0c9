#include "encoder/encoder_kernels.h"

#include <cmath>

#include "pixel/processor.h"

namespace trvx {
namespace {

// Page-aligned like every area the kernels read; aligned by hand because not every
// toolchain honours 4096-byte alignment of static data.
constexpr uintptr_t kTableAlignment = 4096;
uint8_t g_plainArea[kTableAlignment + kDctConstantCount * sizeof(uint16_t)];
uint8_t g_packedArea[kTableAlignment + kDctConstantCount * kPackedDctLanes * sizeof(int16_t)];

uint8_t* Aligned(uint8_t* area) {
  return reinterpret_cast<uint8_t*>((reinterpret_cast<uintptr_t>(area) + kTableAlignment - 1) & ~(kTableAlignment - 1));
}

// Scaled cosine of k pi / 16, rounded half up; pi as the original tables had it.
uint16_t Cosine(int k, double scale) {
  const double pi = 3.1415926535898;
  return static_cast<uint16_t>(std::floor(std::cos(k * pi / 16.0) * scale + 0.5));
}
uint16_t CosineSum(int k, int l) {
  const double pi = 3.1415926535898;
  return static_cast<uint16_t>(std::floor((std::cos(k * pi / 16.0) + std::cos(l * pi / 16.0)) * 16384.0 + 0.5));
}

}  // namespace

void PrepareDctTables() {
  auto* table = reinterpret_cast<uint16_t*>(Aligned(g_plainArea));
  const uint16_t values[kDctConstantCount] = {Cosine(4, 32768),
                                              Cosine(2, 32768),
                                              Cosine(6, 32768),
                                              CosineSum(2, 6),
                                              Cosine(1, 32768),
                                              Cosine(7, 32768),
                                              CosineSum(1, 7),
                                              Cosine(3, 32768),
                                              Cosine(5, 32768),
                                              CosineSum(3, 5),
                                              23170};
  for (int i = 0; i < kDctConstantCount; ++i) table[i] = values[i];
}

void PreparePackedDctTables() {
  auto* table = reinterpret_cast<int16_t*>(Aligned(g_packedArea));
  // Every value is below 2^15, so the signed high-half multiply takes it as it is.
  uint16_t values[kDctConstantCount] = {};
  values[kPackedC7] = Cosine(7, 32768);
  values[kPackedC1] = Cosine(1, 32768);
  values[kPackedS17] = CosineSum(1, 7);
  values[kPackedC3] = Cosine(3, 32768);
  values[kPackedC5] = Cosine(5, 32768);
  values[kPackedS35] = CosineSum(3, 5);
  values[kPackedT10] = 23170;
  values[kPackedC2] = Cosine(2, 32768);
  values[kPackedC6] = Cosine(6, 32768);
  values[kPackedS26] = CosineSum(2, 6);
  values[kPackedC4] = Cosine(4, 32768);
  for (int i = 0; i < kDctConstantCount; ++i) {
    for (int lane = 0; lane < kPackedDctLanes; ++lane) {
      table[i * kPackedDctLanes + lane] = static_cast<int16_t>(values[i]);
    }
  }
}

const uint16_t* DctConstants() { return reinterpret_cast<const uint16_t*>(Aligned(g_plainArea)); }

const int16_t* PackedDctConstants() { return reinterpret_cast<const int16_t*>(Aligned(g_packedArea)); }

EncoderKernels SelectEncoderKernels(int32_t processorFlag) {
#if defined(__i386__) || defined(__x86_64__)
  switch (processorFlag) {
    case kProcessorAmdMmx:
    case kProcessorIntelMmx:
      return {ForwardDctMmx, ZigzagPlain, QuantiseMmx, true};
    case kProcessorIntelSse:
    case kProcessorAmdMmxExtensions:
    case kProcessorAmdSse:
      return {ForwardDctMmx, ZigzagSse, QuantiseMmx, true};
    case kProcessorIntelSse2:
      return {ForwardDctSse2, ZigzagSse, QuantiseSse2, true};
    case kProcessorAmdSse2:
      // The plain path's arithmetic, in SSE2.
      return {ForwardDctPlainSse2, ZigzagSse2, QuantisePlainSse2, false};
    default:
      break;
  }
#else
  (void)processorFlag;
#endif
  return {ForwardDctPlain, ZigzagPlain, QuantisePlain, false};
}

}  // namespace trvx
