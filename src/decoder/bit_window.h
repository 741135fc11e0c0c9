// The register-wide window both bit readers of the decoder keep on entropy-coded
// data; they differ in what they do at 0xFF bytes and at the data's end.
#pragma once

#include <cstdint>

#include "format/jpeg_syntax.h"

namespace trvx {

// The next bit at the top of `buffer`; bits below `count` are not yet data.
struct BitWindow {
  BitWord buffer;
  uint32_t count;

  // A big-endian word that holds no 0xFF goes in at once, as many whole bytes as fit,
  // without a branch on the count. The bits below the count then already hold the
  // bytes that follow, which a later fill writes over with the same bits. Returns
  // the bytes taken.
  uint32_t TakeWord(BitWord word) {
    buffer |= word >> count;
    const uint32_t bytes = (kWordBits - 1 - count) >> 3;
    count |= kWordBits - 8;
    return bytes;
  }
  void TakeByte(uint8_t byte) {
    buffer |= BitWord(byte) << (kWordBits - 8 - count);
    count += 8;
  }
  uint32_t Peek(uint32_t bits) const { return uint32_t(buffer >> (kWordBits - bits)); }
  void Skip(uint32_t bits) {
    buffer <<= bits;
    count -= bits;
  }
};

}  // namespace trvx
