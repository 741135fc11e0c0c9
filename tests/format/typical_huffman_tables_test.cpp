// The typical Huffman tables both coders are built from, against the ones libjpeg
// installs by default.
#include <cstddef>
#include <cstdio>

#include <gtest/gtest.h>
#include <jpeglib.h>

#include "format/typical_huffman_tables.h"

namespace trvx {
namespace {

TEST(TypicalHuffmanTables, AreTheOnesLibjpegInstalls) {
  jpeg_compress_struct compress = {};
  jpeg_error_mgr errors = {};
  compress.err = jpeg_std_error(&errors);
  jpeg_create_compress(&compress);
  compress.in_color_space = JCS_YCbCr;
  compress.input_components = 3;
  jpeg_set_defaults(&compress);
  for (int tableClass = 0; tableClass < 2; ++tableClass) {
    for (int table = 0; table < 2; ++table) {
      const JHUFF_TBL* theirs = (tableClass == 0 ? compress.dc_huff_tbl_ptrs : compress.ac_huff_tbl_ptrs)[table];
      const HuffmanDefinition& ours = TypicalHuffmanDefinition(tableClass, table);
      int symbols = 0;
      for (int length = 1; length <= 16; ++length) {
        EXPECT_EQ(ours.counts[length - 1], theirs->bits[length]) << tableClass << table << " length " << length;
        symbols += theirs->bits[length];
      }
      for (int i = 0; i < symbols; ++i) EXPECT_EQ(ours.symbols[i], theirs->huffval[i]) << tableClass << table;
    }
  }
  jpeg_destroy_compress(&compress);
}

}  // namespace
}  // namespace trvx
