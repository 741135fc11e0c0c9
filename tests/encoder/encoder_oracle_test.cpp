// The encoder's quantisation and Huffman tables against libjpeg's.
#include <gtest/gtest.h>

// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>

#include <algorithm>
#include <cstdio>

#include "encoder/quant_tables.h"
#include "format/typical_huffman_tables.h"

namespace trvx::test {
namespace {

// At least 400; 1000 / Q below 5000, 0.4 - Q / 25000 above, the factor truncated to
// 1/10000, entries rounded half up into 1..255.
uint16_t Scaled(unsigned base, uint32_t quality) {
  quality = std::max(quality, 400u);
  const uint32_t scale = quality < 5000 ? 10000000 / quality : 4000 - quality * 2 / 5;
  return uint16_t(std::clamp<uint32_t>((base * scale + 5000) / 10000, 1, 255));
}

TEST(EncoderOracle, QualityTablesAreLibjpegsBaseTablesScaledByTheQualityRule) {
  jpeg_compress_struct info = {};
  jpeg_error_mgr errors = {};
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  info.in_color_space = JCS_YCbCr;
  info.input_components = 3;
  jpeg_set_defaults(&info);
  for (uint32_t quality = 0; quality <= kMaxQuality; ++quality) {
    uint16_t tables[2][kBlockSize];
    jpeg_set_linear_quality(&info, 100, FALSE);
    ASSERT_EQ(BuildQuantTables(quality, tables[0], tables[1]), std::max(quality, 400u));
    for (int t = 0; t < 2; ++t) {
      for (int i = 0; i < kBlockSize; ++i) {
        ASSERT_EQ(tables[t][i], Scaled(info.quant_tbl_ptrs[t]->quantval[i], quality)) << quality << " " << t << i;
      }
    }
  }
  // The typical Huffman tables both coders are built from.
  for (int tableClass = 0; tableClass < 2; ++tableClass) {
    for (int table = 0; table < 2; ++table) {
      const JHUFF_TBL* theirs = (tableClass == 0 ? info.dc_huff_tbl_ptrs : info.ac_huff_tbl_ptrs)[table];
      const HuffmanDefinition& ours = TypicalHuffmanDefinition(tableClass, table);
      int symbols = 0;
      for (int length = 1; length <= 16; ++length) {
        EXPECT_EQ(ours.counts[length - 1], theirs->bits[length]) << tableClass << table << " length " << length;
        symbols += theirs->bits[length];
      }
      for (int i = 0; i < symbols; ++i) EXPECT_EQ(ours.symbols[i], theirs->huffval[i]) << tableClass << table;
    }
  }
  jpeg_destroy_compress(&info);
}

}  // namespace
}  // namespace trvx::test
