// Huffman decoding tables built from what a stream's DHT segments carry, for frames
// in layouts other than the codec's own.
#pragma once

#include <cstdint>

#include "format/typical_huffman_tables.h"

namespace trvx {

struct HuffmanLookup {
  static constexpr uint32_t kFastBits = 9;
  // By the next kFastBits bits: code length x 256 + symbol; 0 when the code is longer.
  uint16_t fast[1u << kFastBits];
  // Largest code of each length (-1 when none), then a sentinel that ends the search.
  int32_t maxCode[18];
  // Added to a code of each length, gives its symbol's index.
  int32_t symbolOffset[17];
  uint8_t symbols[256];
};

// False for counts no prefix code has: more than 256 symbols, or more codes of some
// length than fit beside the shorter ones (the all-ones code stays free). A DC table
// whose symbol says more than 15 value bits is refused too.
bool BuildHuffmanLookup(const HuffmanDefinition& definition, bool dc, HuffmanLookup& lookup);

}  // namespace trvx
