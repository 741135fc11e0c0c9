#include "decoder/huffman_lookup.h"

#include <cstring>

namespace trvx {

bool BuildHuffmanLookup(const HuffmanDefinition& definition, bool dc, HuffmanLookup& lookup) {
  uint32_t total = 0;
  for (uint8_t count : definition.counts) total += count;
  if (total > 256) return false;
  if (dc) {
    for (uint32_t i = 0; i < total; ++i) {
      if (definition.symbols[i] > 15) return false;
    }
  }
  std::memset(lookup.fast, 0, sizeof lookup.fast);
  std::memcpy(lookup.symbols, definition.symbols, sizeof lookup.symbols);
  uint32_t code = 0;
  uint32_t index = 0;
  for (uint32_t length = 1; length <= 16; ++length) {
    const uint32_t count = definition.counts[length - 1];
    if (count != 0 && code + count >= (1u << length)) return false;
    lookup.symbolOffset[length] = int32_t(index) - int32_t(code);
    lookup.maxCode[length] = count == 0 ? -1 : int32_t(code + count - 1);
    for (uint32_t i = 0; i < count; ++i, ++code, ++index) {
      if (length > HuffmanLookup::kFastBits) continue;
      const uint32_t shift = HuffmanLookup::kFastBits - length;
      const uint16_t entry = uint16_t(length << 8 | definition.symbols[index]);
      for (uint32_t fill = 0; fill < (1u << shift); ++fill) lookup.fast[(code << shift) + fill] = entry;
    }
    code <<= 1;
  }
  lookup.maxCode[17] = 0x7FFFFFFF;
  return true;
}

}  // namespace trvx
