#include "decoder/huffman_lookup.h"

#include <gtest/gtest.h>

#include <vector>

namespace trvx {
namespace {

HuffmanDefinition Definition(const std::vector<uint8_t>& counts, uint8_t symbol) {
  HuffmanDefinition definition = {};
  for (size_t length = 0; length < counts.size(); ++length) definition.counts[length] = counts[length];
  for (uint8_t& s : definition.symbols) s = symbol;
  return definition;
}

// What a DHT segment may send: counts that no prefix code has, or whose code takes
// the all-ones code, are refused, as are DC categories above 15; what is taken
// decodes its codes by the canonical rule, long ones past the fast table included.
TEST(HuffmanLookup, TakesPrefixCodesWithoutTheAllOnesCodeOnly) {
  const struct {
    std::vector<uint8_t> counts;
    bool dc;
    uint8_t symbol;
    bool taken;
  } cases[] = {
      {{1, 1, 1}, false, 0x11, true},           // 0, 10, 110: 111 stays free
      {{1, 1, 2}, false, 0x11, false},          // 0, 10, 110, 111
      {{2}, false, 0x11, false},                // 0, 1
      {{0, 5}, false, 0x11, false},             // five codes of two bits
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255}, false, 0x11, true},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 255}, false, 0x11, false},  // 257 symbols
      {{1}, true, 15, true},
      {{1}, true, 16, false},                   // a DC category that large
  };
  for (const auto& c : cases) {
    HuffmanLookup lookup;
    EXPECT_EQ(BuildHuffmanLookup(Definition(c.counts, c.symbol), c.dc, lookup), c.taken) << int(c.counts[0]);
  }
  // Annex K luminance AC: EOB is 1010, 0xF0 (ZRL) the 11-bit 11111111001.
  HuffmanLookup annexK;
  ASSERT_TRUE(BuildHuffmanLookup(TypicalHuffmanDefinition(1, 0), false, annexK));
  EXPECT_EQ(annexK.fast[0b101000000], (4 << 8) | 0x00);
  const int32_t zrl = 0b11111111001;
  EXPECT_LE(zrl, annexK.maxCode[11]);
  EXPECT_EQ(annexK.symbols[zrl + annexK.symbolOffset[11]], 0xF0);
}

}  // namespace
}  // namespace trvx
