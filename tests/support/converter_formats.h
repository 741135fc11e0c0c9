// What the input and output converter tests share: whether this build has vector
// kernels, and a generator that gives the same numbers on every standard library,
// unlike the distributions.
#pragma once

#include <cstdint>

namespace trvx::test {

#if defined(__i386__) || defined(__x86_64__)
constexpr bool kVectorKernelsBuilt = true;
#else
constexpr bool kVectorKernelsBuilt = false;
#endif

struct Lcg {
  uint32_t state;
  int Next(int low, int high) {
    state = state * 1664525u + 1013904223u;
    return low + static_cast<int>((state >> 8) % static_cast<uint32_t>(high - low + 1));
  }
};

}  // namespace trvx::test
