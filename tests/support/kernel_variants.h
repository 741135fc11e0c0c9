// What the kernel tests share: which variants this build and processor can run, the
// zig-zag order, and a generator that gives the same numbers on every standard
// library, unlike the distributions.
#pragma once

#include <cstdint>
#include <vector>

#include "pixel/processor.h"

namespace trvx::test {

#if defined(__i386__) || defined(__x86_64__)
constexpr bool kVectorKernelsBuilt = true;
#else
constexpr bool kVectorKernelsBuilt = false;
#endif

// Whether this processor runs the SSE2 and PlainSse2 kernels.
inline bool Sse2KernelsRun() {
#if defined(__i386__) || defined(__x86_64__)
  return __builtin_cpu_supports("sse2");
#else
  return false;
#endif
}

template <typename Kernels>
struct KernelPath {
  const char* name;
  Kernels kernels;
};

// Plain first, then the vector paths this processor can run, as the session picks them.
template <typename Kernels>
std::vector<KernelPath<Kernels>> KernelPaths(Kernels (*select)(int32_t)) {
  std::vector<KernelPath<Kernels>> paths = {{"plain", select(kProcessorPlain)}};
#if defined(__i386__) || defined(__x86_64__)
  if (__builtin_cpu_supports("mmx")) paths.push_back({"mmx", select(kProcessorIntelMmx)});
  if (__builtin_cpu_supports("sse")) paths.push_back({"pshufw", select(kProcessorIntelSse)});
  if (__builtin_cpu_supports("sse2")) paths.push_back({"sse2", select(kProcessorIntelSse2)});
#endif
  return paths;
}

// Natural position of each zig-zag index, from walking the anti-diagonals rather than
// from a copied table, so a typo in the kernels' tables cannot hide.
inline std::vector<int> ZigzagToNatural() {
  std::vector<int> order;
  for (int sum = 0; sum < 15; ++sum) {
    for (int i = 0; i <= sum; ++i) {
      const int row = sum % 2 == 0 ? sum - i : i;
      if (row < 8 && sum - row < 8) order.push_back(row * 8 + sum - row);
    }
  }
  return order;
}

struct Lcg {
  uint32_t state;
  int Next(int low, int high) {
    state = state * 1664525u + 1013904223u;
    return low + static_cast<int>((state >> 8) % static_cast<uint32_t>(high - low + 1));
  }
};

}  // namespace trvx::test
