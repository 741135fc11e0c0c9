// What the kernel tests share; the generator gives the same numbers on every standard library.
#pragma once

#include <cstdint>

namespace trvx::test {

#if defined(__i386__) || defined(__x86_64__)
constexpr bool kVectorKernelsBuilt = true;
#else
constexpr bool kVectorKernelsBuilt = false;
#endif

inline bool Sse2KernelsRun() {
#if defined(__i386__) || defined(__x86_64__)
  return __builtin_cpu_supports("sse2");
#else
  return false;
#endif
}

struct Lcg {
  uint32_t state;
  int Next(int low, int high) {
    state = state * 1664525u + 1013904223u;
    return low + static_cast<int>((state >> 8) % static_cast<uint32_t>(high - low + 1));
  }
};

// Every extreme pattern, then random blocks with rows, columns or all but the DC cleared:
// each shortcut a twin may take is met both ways.
class TwinBlocks {
 public:
  explicit TwinBlocks(long randomBlocks) : randomLeft_(randomBlocks) {}

  // The next block into `block`; false when all have been given.
  bool Next(int16_t* block) {
    static constexpr int16_t kExtremes[] = {-32768, -32767, -16384, -1024, -1, 1, 1023, 16384, 32766, 32767};
    constexpr int kPatterns = 4 * 10, kSingles = 64 * 10, kDcs = 65536;
    for (int i = 0; i < 64; ++i) block[i] = 0;
    const long n = structured_++;
    if (n < kPatterns) {
      const int16_t value = kExtremes[n / 4];
      for (int i = 0; i < 64; ++i) {
        const bool flip = (n % 4 == 1 && i / 8 % 2) || (n % 4 == 2 && i % 2) || (n % 4 == 3 && (i / 8 + i) % 2);
        block[i] = flip ? int16_t(-1 - value) : value;
      }
    } else if (n < kPatterns + kSingles) {
      block[(n - kPatterns) % 64] = kExtremes[(n - kPatterns) / 64];
    } else if (n < kPatterns + kSingles + kDcs) {
      block[0] = int16_t(n - kPatterns - kSingles - 32768);
    } else if (randomLeft_-- > 0) {
      const int kind = random_.Next(0, 3);
      for (int i = 0; i < 64; ++i) {
        const int word = random_.Next(-32768, 32767);
        block[i] = int16_t(kind == 0   ? word
                           : kind == 1 ? kExtremes[random_.Next(0, 9)] * (random_.Next(0, 3) != 0)
                           : kind == 2 ? word % 1025
                                       : word * (random_.Next(0, 4) == 0));
      }
      const bool lowRows = random_.Next(0, 2) == 0, lowColumns = random_.Next(0, 2) == 0;
      const bool dcOnly = random_.Next(0, 15) == 0;
      const int row = random_.Next(0, 15), column = random_.Next(0, 15);  // cleared when below 8
      for (int i = 0; i < 64; ++i) {
        if ((lowRows && i / 8 >= 4) || (lowColumns && i % 8 >= 4) || (dcOnly && i != 0) || i / 8 == row ||
            i % 8 == column) {
          block[i] = 0;
        }
      }
    } else {
      return false;
    }
    return true;
  }

 private:
  long structured_ = 0;
  long randomLeft_;
  Lcg random_{2718};
};

}  // namespace trvx::test
