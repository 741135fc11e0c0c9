// The cosine table of the MMX and SSE2 inverse DCTs, written once. Only those two
// variant files include it; it has internal linkage.
#pragma once

#include <cstdint>

namespace trvx {
namespace {

// Cosines times 2^16, in the order of the table. Those of 0.5 and more do not fit a
// signed word and are stored less 2^16; the multiply adds the input back.
enum Constant { kC4, kC1, kS1, kC2, kS2, kC3, kS3, kRound, kConstantCount };
constexpr int16_t kValues[kConstantCount] = {
    46341 - 65536, 64277 - 65536, 12785, 60547 - 65536, 25080,
    54491 - 65536, 36410 - 65536, 2};

// Each constant repeated across a vector of Width (see pixel/word_ops.h), 128-byte
// aligned. Built on first use and never again; two decoding threads may both build
// it, writing the same values.
template <class Width>
const typename Width::Vector* Constants() {
  using Vector = typename Width::Vector;
  constexpr int kLanes = sizeof(Vector) / sizeof(int16_t);
  static int16_t area[kConstantCount * kLanes + 128 / sizeof(int16_t)];
  static int built = 0;
  auto* table = reinterpret_cast<int16_t*>((reinterpret_cast<uintptr_t>(area) + 127) & ~static_cast<uintptr_t>(127));
  if (!__atomic_load_n(&built, __ATOMIC_ACQUIRE)) {
    for (int c = 0; c < kConstantCount; ++c) {
      for (int lane = 0; lane < kLanes; ++lane) table[c * kLanes + lane] = kValues[c];
    }
    __atomic_store_n(&built, 1, __ATOMIC_RELEASE);
  }
  return reinterpret_cast<const Vector*>(table);
}

}  // namespace
}  // namespace trvx
