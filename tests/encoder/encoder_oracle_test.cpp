// The encoder against libjpeg: its quantisation and Huffman tables, and frames of a
// 720 x 576 photograph whose field images libjpeg-turbo decodes on every path to the
// source's samples within what each quality allows.
#include <gtest/gtest.h>

// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "encoder/encoder_session.h"
#include "encoder/quant_tables.h"
#include "format/typical_huffman_tables.h"
#include "support/bitmap_header.h"
#include "support/field_frames.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

using Bytes = std::vector<uint8_t>;
constexpr int kWidth = 720, kHeight = 576, kFieldHeight = kHeight / 2;

// The quality rule: qualities below 400 code as 400; the base tables are scaled by
// 1000 / Q below 5000 and by 0.4 - Q / 25000 from there, the factor truncated to
// 1/10000, and each entry rounded half up into 1..255.
uint16_t Scaled(unsigned base, uint32_t quality) {
  quality = std::max(quality, 400u);
  const uint32_t scale = quality < 5000 ? 10000000 / quality : 4000 - quality * 2 / 5;
  return uint16_t(std::clamp<uint32_t>((base * scale + 5000) / 10000, 1, 255));
}

// libjpeg's base tables, natural order, are the codec's in the order its DQT carries
// them; at quality 500 q - 40000 the rule gives libjpeg's tables of its quality q.
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

uint32_t OneProcessor() { return 1; }

// One frame through a one-processor session on a path, split at the first image's EOI
// (coded data never holds 0xFF 0xD9: a coded 0xFF is followed by 0x00).
std::vector<Bytes> Encode(const Bytes& yuy2, const char* flag, uint32_t quality) {
  ProcessorOverride processor(flag);
  EncoderSession encoder(&OneProcessor);
  const BitmapHeader input = Bitmap(kWidth, kHeight, 16, kYuy2FourCc);
  BitmapHeader output = Bitmap(kWidth, kHeight, 24, kCodecFourCc);
  Bytes frame(yuy2.size() * 2, 0);
  EXPECT_EQ(encoder.Begin(&input, &output), 0);
  EXPECT_EQ(encoder.Compress(&output, frame.data(), &input, yuy2.data(), quality), 0);
  EXPECT_EQ(encoder.End(), 0);
  frame.resize(output.sizeImage);
  const uint8_t kEoi[] = {0xFF, 0xD9};
  const auto eoi = std::search(frame.begin() + 237, frame.end(), std::begin(kEoi), std::end(kEoi));
  return {Bytes(frame.begin(), eoi + 2), Bytes(eoi + 2, frame.end())};
}

// Lowest PSNR of all samples of both fields per quality, against YUY2 samples the
// converters pass on unchanged. Measured: 35.8, 47.9, 52.1 and 60.8 dB; a wrong table
// order, a lost rounding step or a misplaced field falls far below.
TEST(EncoderOracle, EveryPathWritesFieldsLibjpegTurboDecodesToTheSourceSamples) {
  const std::string photo = FieldFrameSource::FindPhoto(kWidth, kHeight);
  if (photo.empty()) GTEST_SKIP() << "install the mate-backgrounds package";
  const FieldFrameSource source(photo, kWidth, kHeight, 90);
  ASSERT_TRUE(source.ok()) << source.error();
  // libjpeg-turbo's samples of the photograph, field f on lines f, f + 2, ...
  Bytes yuy2(std::size_t(kWidth) * kHeight * 2);
  for (int i = 0; i < kWidth * kHeight; ++i) {
    const Planes& field = source.reference(i / kWidth % 2);
    yuy2[2 * i] = uint8_t(field[0].At(i % kWidth, i / kWidth / 2));
    yuy2[2 * i + 1] = uint8_t(field[i % 2 + 1].At(i % kWidth / 2, i / kWidth / 2));
  }
  const struct {
    uint32_t quality;
    double psnr;
  } bounds[] = {{0, 35.0}, {4700, 47.0}, {7000, 51.0}, {10000, 59.5}};
  for (const char* flag : {"0", "3", "15", "31", "159"}) {
    for (const auto& [quality, lowest] : bounds) {
      const std::string label = std::string("class ") + flag + ", quality " + std::to_string(quality);
      const std::vector<Bytes> fields = Encode(yuy2, flag, quality);
      double squares = 0;
      for (int f = 0; f < 2; ++f) {
        // The stream carries the tables the quality rule makes.
        uint16_t tables[2][kBlockSize];
        BuildQuantTables(quality, tables[0], tables[1]);
        for (int i = 0; i < 2 * kBlockSize; ++i) ASSERT_EQ(fields[f][75 + i + i / 64], tables[i / 64][i % 64]) << label;
        Planes decoded;
        ASSERT_EQ(DecodeWithTurboJpeg(fields[f], kWidth, kFieldHeight, decoded), "") << label;
        for (int c = 0; c < 3; ++c) {
          for (std::size_t i = 0; i < decoded[c].samples.size(); ++i) {
            squares += std::pow(decoded[c].samples[i] - source.reference(f)[c].samples[i], 2);
          }
        }
      }
      const double psnr = 10 * std::log10(255.0 * 255 * kWidth * kHeight * 2 / squares);
      EXPECT_GE(psnr, lowest) << label;
    }
  }
}

}  // namespace
}  // namespace trvx::test
