// Field images written by the header and entropy writers, decoded by libjpeg-turbo:
// the stream must be plain baseline JPEG that an outside decoder takes without a
// warning (missing DHT included) and reconstructs to the levels the DC values imply.
#include <gtest/gtest.h>
#include <turbojpeg.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "encoder/entropy_writer.h"
#include "encoder/header_writer.h"
#include "encoder/huffman_code_tables.h"
#include "pixel/processor.h"

namespace trvx {
namespace {

using Bytes = std::vector<uint8_t>;

// 128 x 64 frame, so one field is 8 x 4 MCUs of 16 x 8 pixels.
constexpr uint32_t kWidth = 128, kFrameHeight = 64, kFieldHeight = kFrameHeight / 2;
constexpr uint32_t kMcuColumns = kWidth / 16, kMcuRows = kFieldHeight / 8;
constexpr int kBlocks = 4;
constexpr uint16_t kLumaDcQuant = 16;  // a DC step of one is two levels after the IDCT's / 8

// Coefficients of every block of the field, MCU after MCU, 64 per block in zig-zag order.
using FieldCoefficients = std::vector<int16_t>;

Bytes WriteFieldImage(int32_t processorFlag, const FieldCoefficients& coefficients) {
  static uint32_t luma[kHuffmanCodeTableEntries], chroma[kHuffmanCodeTableEntries];
  FillHuffmanCodeTables(luma, chroma);
  uint16_t quant[2 * kQuantTableEntries];
  for (int i = 0; i < 2 * kQuantTableEntries; ++i) quant[i] = uint16_t(10 + i % 50);
  quant[0] = kLumaDcQuant;
  quant[kQuantTableEntries] = kLumaDcQuant;

  FrameDescription description;
  description.fieldCount = 2;
  description.quantTables = quant;
  description.quantTableCount = 2;
  const uint8_t sampling[kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};
  std::memcpy(description.sampling, sampling, sizeof sampling);
  description.width = kWidth;
  description.height = kFrameHeight;
  description.lumaCodeTable = luma;
  description.chromaCodeTable = chroma;

  Bytes out(256 * 1024);
  HeaderWriter headers;
  const uint32_t h = headers.WriteHeaders(out.data(), description);
  const std::unique_ptr<EntropyWriter> writer = MakeEntropyWriter(processorFlag);
  writer->SetOutput(out.data() + h);
  writer->BeginField(description);
  BlockBuffer blocks;
  EXPECT_TRUE(blocks.Allocate());
  blocks.blocksPerMcu = kBlocks;
  const size_t mcuCoefficients = kBlocks * kBlockCoefficients;
  for (size_t at = 0; at < coefficients.size(); at += mcuCoefficients) {
    std::copy_n(coefficients.begin() + long(at), mcuCoefficients, blocks.coefficients);
    EXPECT_EQ(writer->EncodeMcu(blocks), 0);
  }
  writer->Flush();
  const uint32_t end = h + writer->BytesWritten();
  out.resize(end + headers.WriteTrailer(out.data() + end, 0));
  return out;
}

// The luminance DC of block b (0 left, 1 right) of MCU (column, row).
FieldCoefficients WithLumaDc(int (*dc)(uint32_t column, uint32_t row, int block)) {
  FieldCoefficients field(kMcuColumns * kMcuRows * kBlocks * kBlockCoefficients, 0);
  for (uint32_t row = 0; row < kMcuRows; ++row) {
    for (uint32_t column = 0; column < kMcuColumns; ++column) {
      for (int b = 0; b < 2; ++b) {
        field[((row * kMcuColumns + column) * kBlocks + uint32_t(b)) * kBlockCoefficients] =
            int16_t(dc(column, row, b));
      }
    }
  }
  return field;
}

struct Decoded {
  int width = 0, height = 0, subsampling = -1;
  std::string error;
  Bytes pixels;  // RGB
};

Decoded Decode(const Bytes& jpeg) {
  Decoded result;
  tjhandle handle = tjInitDecompress();
  int colorspace = 0;
  auto* data = const_cast<unsigned char*>(jpeg.data());
  const unsigned long size = static_cast<unsigned long>(jpeg.size());
  if (tjDecompressHeader3(handle, data, size, &result.width, &result.height, &result.subsampling, &colorspace) != 0) {
    result.error = tjGetErrorStr2(handle);
  } else {
    result.pixels.resize(size_t(result.width) * size_t(result.height) * 3);
    // Fails on warnings too, such as a scan that ends early.
    if (tjDecompress2(handle, data, size, result.pixels.data(), result.width, 0, result.height, TJPF_RGB,
                      TJFLAG_ACCURATEDCT) != 0) {
      result.error = tjGetErrorStr2(handle);
    }
  }
  tjDestroy(handle);
  return result;
}

class FrameWriterOracle : public ::testing::TestWithParam<int32_t> {
 protected:
  // Every pixel of each 8 x 8 luminance block equals the level its DC gives.
  void ExpectFlatBlocks(int (*dc)(uint32_t, uint32_t, int)) {
    const Decoded decoded = Decode(WriteFieldImage(GetParam(), WithLumaDc(dc)));
    ASSERT_EQ(decoded.error, "");
    ASSERT_EQ(decoded.width, int(kWidth));
    ASSERT_EQ(decoded.height, int(kFieldHeight));
    EXPECT_EQ(decoded.subsampling, TJSAMP_422);
    int mismatches = 0;
    for (uint32_t y = 0; y < kFieldHeight; ++y) {
      for (uint32_t x = 0; x < kWidth; ++x) {
        const int level = 128 + dc(x / 16, y / 8, int(x / 8 % 2)) * kLumaDcQuant / 8;
        const uint8_t* rgb = &decoded.pixels[(y * kWidth + x) * 3];
        for (int c = 0; c < 3; ++c) mismatches += std::abs(rgb[c] - level) > 1;
      }
    }
    EXPECT_EQ(mismatches, 0);
  }
};

TEST_P(FrameWriterOracle, FlatGreyAndGradientFieldsDecodeToTheirLevels) {
  ExpectFlatBlocks([](uint32_t, uint32_t, int) { return -20; });
  ExpectFlatBlocks([](uint32_t column, uint32_t row, int block) {
    return -60 + 7 * int(2 * column + uint32_t(block)) + 5 * int(row);
  });
}

TEST_P(FrameWriterOracle, BusyFieldDecodesWithoutWarnings) {
  FieldCoefficients field = WithLumaDc([](uint32_t column, uint32_t, int) { return int(column) * 9 - 30; });
  std::mt19937 rng(77);
  for (size_t i = 0; i < field.size(); ++i) {
    if (i % kBlockCoefficients == 0 || rng() % 3 != 0) continue;
    const int size = 1 + int(rng() % 10);
    const int magnitude = (1 << (size - 1)) + int(rng() % (1u << (size - 1)));
    field[i] = int16_t(rng() % 2 ? magnitude : -magnitude);
  }
  const Decoded decoded = Decode(WriteFieldImage(GetParam(), field));
  EXPECT_EQ(decoded.error, "");
  EXPECT_EQ(decoded.height, int(kFieldHeight));
}

INSTANTIATE_TEST_SUITE_P(PlainAndMmx, FrameWriterOracle, ::testing::Values(kProcessorPlain, kProcessorIntelMmx),
                         [](const ::testing::TestParamInfo<int32_t>& info) {
                           return std::string(info.param == kProcessorPlain ? "Plain" : "Mmx");
                         });

}  // namespace
}  // namespace trvx
