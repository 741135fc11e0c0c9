// The Huffman tables a DHT segment may send, and how they decode.
#include "decoder/huffman_lookup.h"

#include <gtest/gtest.h>

#include <vector>

namespace trvx {
namespace {

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
      {{1, 1, 1}, false, 0x11, true},  // 0, 10, 110: 111 stays free
      {{1, 1, 2}, false, 0x11, false},
      {{2}, false, 0x11, false},
      {{0, 5}, false, 0x11, false},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 255}, false, 0x11, true},
      {{0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 2, 255}, false, 0x11, false},  // 257 symbols
      {{1}, true, 15, true},
      {{1}, true, 16, false},
  };
  for (const auto& c : cases) {
    HuffmanDefinition definition = {};
    std::copy(c.counts.begin(), c.counts.end(), definition.counts);
    for (uint8_t& s : definition.symbols) s = c.symbol;
    HuffmanLookup lookup;
    EXPECT_EQ(BuildHuffmanLookup(definition, c.dc, lookup), c.taken) << int(c.counts[0]);
  }
  // The typical luminance AC table: EOB is 1010, 0xF0 (ZRL) the 11-bit 11111111001.
  HuffmanLookup typical;
  ASSERT_TRUE(BuildHuffmanLookup(TypicalHuffmanDefinition(1, 0), false, typical));
  EXPECT_EQ(typical.fast[0b101000000], (4 << 8) | 0x00);
  EXPECT_LE(0b11111111001, typical.maxCode[11]);
  EXPECT_EQ(typical.symbols[0b11111111001 + typical.symbolOffset[11]], 0xF0);
}

}  // namespace
}  // namespace trvx
