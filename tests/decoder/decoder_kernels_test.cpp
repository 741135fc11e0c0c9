// The Huffman tables a DHT segment may send, and the inverse DCT's words.
#include "decoder/decoder_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "decoder/huffman_lookup.h"
#include "pixel/processor.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

// Counts without a prefix code or taking the all-ones code are refused, as are DC
// categories above 15; what is taken decodes by the canonical rule.
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

// A digest pins the plain path's truncating arithmetic; class 159 gives the same words,
// wrapped alike, with MCUs of every size and the blocks past the MCU left alone.
TEST(DecoderKernels, PlainWordsArePinnedAndTheAmdSse2PathGivesThemForEveryBlock) {
  const bool twin = test::Sse2KernelsRun();
  test::TwinBlocks blocks(1 << 21);
  McuWorkspace expected, actual;
  ASSERT_TRUE(expected.Allocate() && actual.Allocate());
  constexpr int kWords = kMaxBlocksPerMcu * kBlockCoefficients;
  uint64_t digest = 14695981039346656037ull;
  for (int round = 0; blocks.Next(expected.Block(0)); ++round) {
    for (int b = 1; b < kMaxBlocksPerMcu; ++b) blocks.Next(expected.Block(b));
    expected.blocksPerMcu = actual.blocksPerMcu = uint16_t(round % 4 ? 8 : round % 11);
    std::copy_n(expected.coefficients, kWords, actual.coefficients);
    ReconstructPlain(expected);
    for (int i = 0; i < kWords; ++i) digest = (digest ^ uint16_t(expected.coefficients[i])) * 1099511628211u;
    if (!twin) continue;
    SelectDecoderKernels(kProcessorAmdSse2).reconstruct(actual);
    ASSERT_TRUE(std::equal(actual.coefficients, actual.coefficients + kWords, expected.coefficients)) << round;
  }
  EXPECT_EQ(digest, 0x6da57fa6d3f846baull);
}

}  // namespace
}  // namespace trvx
