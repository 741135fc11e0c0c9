// The JPEG syntax both coders share (src/format): marker codes, the zig-zag order,
// and reading entropy-coded data a register-wide word at a time.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace trvx {

// Marker codes, the byte after kMarkerPrefix, one line a family; kStuffedZero there
// instead marks the 0xFF before it as data.
// clang-format off
enum MarkerCode : uint8_t {
  kStuffedZero = 0x00, kTem = 0x01,
  kSof0 = 0xC0, kSof1 = 0xC1, kDht = 0xC4, kDac = 0xCC, kLastSof = 0xCF,
  kFirstRestart = 0xD0, kLastRestart = 0xD7,
  kSoi = 0xD8, kEoi = 0xD9, kSos = 0xDA, kDqt = 0xDB, kDri = 0xDD,
  kApp0 = 0xE0, kApp1 = 0xE1,
  kMarkerPrefix = 0xFF
};
// clang-format on

// Natural (row-major) position of each zig-zag index.
inline constexpr uint8_t kNaturalOrder[64] = {
    0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,  12, 19, 26, 33, 40, 48,
    41, 34, 27, 20, 13, 6,  7,  14, 21, 28, 35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23,
    30, 37, 44, 51, 58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

// The bit readers' buffer: as wide as a register.
using BitWord = std::conditional_t<sizeof(void*) == 8, uint64_t, uint32_t>;
constexpr uint32_t kWordBits = sizeof(BitWord) * 8;

constexpr BitWord Repeat(uint8_t byte) { return BitWord(~BitWord(0) / 0xFF) * byte; }

inline BitWord LoadBigEndian(const uint8_t* bytes) {
  BitWord word;
  std::memcpy(&word, bytes, sizeof word);
  if constexpr (sizeof(BitWord) == 8) {
    return __builtin_bswap64(word);
  } else {
    return __builtin_bswap32(word);
  }
}

// Whether any byte of the word is 0xFF: then its bytes are not all data as they stand.
constexpr bool HoldsMarkerPrefix(BitWord word) { return ((~word - Repeat(0x01)) & word & Repeat(0x80)) != 0; }

}  // namespace trvx
