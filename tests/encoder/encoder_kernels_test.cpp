// The encoder's kernels per processor class, class 159's twins against the plain ones, and a session.
#include "encoder/encoder_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <string>
#include <vector>

#include "encoder/encoder_session.h"
#include "encoder/entropy_writer.h"
#include "encoder/quant_tables.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"
#include "support/bitmap_header.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

constexpr int kAll = kMaxBlocksPerMcu * kBlockCoefficients;
using Words = std::vector<int16_t>;

TEST(EncoderKernels, SelectionFollowsProcessorClass) {
  std::vector<std::pair<int32_t, EncoderKernels>> cases = {{0, {ForwardDctPlain, ZigzagPlain, QuantisePlain, false}}};
#if defined(__i386__) || defined(__x86_64__)
  cases.push_back({159, {ForwardDctPlainSse2, ZigzagSse2, QuantisePlainSse2, false}});
  cases.push_back({1, {ForwardDctMmx, ZigzagPlain, QuantiseMmx, true}});
  cases.push_back({135, {ForwardDctMmx, ZigzagSse, QuantiseMmx, true}});
  cases.push_back({31, {ForwardDctSse2, ZigzagSse, QuantiseSse2, true}});
#endif
  for (const auto& [flag, expected] : cases) {
    const EncoderKernels chosen = SelectEncoderKernels(flag);
    EXPECT_TRUE(chosen.fdct == expected.fdct && chosen.reorder == expected.reorder &&
                chosen.quantise == expected.quantise && chosen.packedTables == expected.packedTables)
        << "flag " << flag;
  }
}

struct Mcu {
  BlockBuffer blocks;
  FrameDescription description;
  Mcu() {
    PrepareDctTables();
    EXPECT_TRUE(blocks.Allocate());
    description.quantTableCount = 2;
    const uint8_t sampling[kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};
    std::copy(sampling, sampling + kSamplingFactorCount, description.sampling);
  }
  Words Contents() const { return {blocks.coefficients, blocks.coefficients + kAll}; }
};

// Every block and MCU size; every coefficient with every reciprocal, sampling and alignment;
// a table count other than two faults, the MCU untouched.
TEST(EncoderKernels, AmdSse2DctAndQuantiserGiveThePlainWordsForEveryInput) {
  if (!test::Sse2KernelsRun()) GTEST_SKIP() << "no SSE2";
  const EncoderKernels plain = SelectEncoderKernels(kProcessorPlain), twin = SelectEncoderKernels(kProcessorAmdSse2);
  test::TwinBlocks blocks(1 << 21);
  Mcu expected, actual;
  for (int round = 0; blocks.Next(expected.blocks.Block(0)); ++round) {
    for (int b = 1; b < kMaxBlocksPerMcu; ++b) blocks.Next(expected.blocks.Block(b));
    expected.blocks.blocksPerMcu = actual.blocks.blocksPerMcu = uint16_t(round % 4 ? 8 : round % 11);
    std::copy_n(expected.blocks.coefficients, kAll, actual.blocks.coefficients);
    plain.fdct(expected.blocks);
    twin.fdct(actual.blocks);
    ASSERT_EQ(actual.Contents(), expected.Contents()) << "round " << round;
  }

  std::vector<uint16_t> entries(256);
  for (int q = 0; q < 256; ++q) entries[q] = uint16_t(q);
  Words values(256);
  BuildReciprocals(entries.data(), values.data(), 256);
  values.insert(values.end(), {-32768, -32767, -1, 0, 1, 32767});
  Words tables(2 * kBlockSize + 1);
  for (std::size_t round = 0; round < values.size() + 16; ++round) {
    const bool mixed = round >= values.size();
    test::Lcg random{uint32_t(round)};
    for (int16_t& r : tables) r = mixed ? values[random.Next(0, int(values.size()) - 1)] : values[round];
    uint8_t sampling[kSamplingFactorCount] = {2, 2, 2, 1, 2, 1};  // eight blocks, both tables
    if (mixed) {
      for (uint8_t& factor : sampling) factor = uint8_t(random.Next(0, 3));
    }
    for (Mcu* mcu : {&expected, &actual}) {
      mcu->description.reciprocals = tables.data() + mixed;
      std::copy(sampling, sampling + kSamplingFactorCount, mcu->description.sampling);
    }
    for (int start = -32768; start < 32768; start += kAll) {
      std::iota(expected.blocks.coefficients, expected.blocks.coefficients + kAll, int16_t(start));
      std::copy_n(expected.blocks.coefficients, kAll, actual.blocks.coefficients);
      plain.quantise(expected.description, expected.blocks);
      twin.quantise(actual.description, actual.blocks);
      ASSERT_EQ(actual.Contents(), expected.Contents()) << round << " " << start;
    }
  }
  for (uint8_t count : {0, 1, 3, 255}) {
    for (const QuantiseKernel kernel : {plain.quantise, twin.quantise}) {
      std::fill_n(actual.blocks.coefficients, kAll, 1000);
      actual.description.quantTableCount = count;
      EXPECT_EQ(RunGuarded([&]() -> int32_t { return kernel(actual.description, actual.blocks), 0; }), kFaultResult);
      EXPECT_TRUE(kernel == plain.quantise || actual.Contents() == Words(kAll, 1000)) << int(count);
    }
  }
}

// Across MCUs and fields, and at faults (no ZRL code, AC values without a code) and
// dropped MCUs (DC jumps without a code), the output and pending bits are the plain ones.
TEST(EncoderKernels, AmdSse2WriterWritesThePlainBytesAlsoAroundFaults) {
  if (!test::Sse2KernelsRun()) GTEST_SKIP() << "no SSE2";
  uint32_t codes[2][2][kHuffmanCodeTableEntries] = {};  // with and without ZRL; luminance, chrominance
  for (auto& tables : codes) FillHuffmanCodeTables(tables[0], tables[1]);
  codes[1][0][AcCodeIndex(0, 15)] = codes[1][1][AcCodeIndex(0, 15)] = 0;
  Mcu mcu;
  mcu.description.width = 64;
  mcu.description.height = 32;
  EntropyWriter plain;
  const std::unique_ptr<EntropyWriter> twin = MakeEntropyWriter(kProcessorAmdSse2);
  std::vector<uint8_t> expected(1 << 20, 0xAA), actual(expected);
  plain.SetOutput(expected.data());
  twin->SetOutput(actual.data());
  const auto same = [&] {
    ASSERT_EQ(twin->BytesWritten(), plain.BytesWritten());
    ASSERT_TRUE(std::equal(expected.begin(), expected.begin() + plain.BytesWritten() + 8, actual.begin()));
  };
  test::Lcg random{5};
  int dc = 0, faults = 0, dropped = 0;
  for (int field = 0; field < 60; ++field) {
    SCOPED_TRACE("field " + std::to_string(field));
    mcu.description.lumaCodeTable = codes[field % 6 == 5][0];
    mcu.description.chromaCodeTable = codes[field % 6 == 5][1];
    plain.BeginField(mcu.description);
    twin->BeginField(mcu.description);
    for (int m = 0; m < 40; ++m) {
      for (int b = 0; b < 4; ++b) {
        int16_t* block = mcu.blocks.Block(b);
        dc = random.Next(0, 30) ? dc + random.Next(-200, 200) : random.Next(-32768, 32767);
        block[0] = int16_t(dc);
        // Sparse and mostly small; one in 2000 any word.
        const int density = random.Next(1, 40);
        for (int k = 1; k < 64; ++k) {
          const bool wild = random.Next(0, 1999) == 0;
          const int value = wild ? random.Next(-32768, 32767) : random.Next(-1023, 1023) >> random.Next(0, 9);
          block[k] = int16_t(random.Next(0, 99) < density ? value : 0);
        }
      }
      const int32_t result = RunGuarded([&] { return int32_t{plain.EncodeMcu(mcu.blocks) != 0}; });
      ASSERT_EQ(RunGuarded([&] { return int32_t{twin->EncodeMcu(mcu.blocks) != 0}; }), result);
      faults += result == kFaultResult;
      dropped += result == 1;
      if (result == kFaultResult) same();
    }
    plain.Flush();
    twin->Flush();
    same();
  }
  EXPECT_GT(faults, 50);
  EXPECT_GT(dropped, 50);
}

constexpr int kSessionWidth = 176, kSessionHeight = 144;

TEST(EncoderSession, TakesFormatsInAnyCaseAndKeepsItsQualityTablesUntilItEnds) {
  EncoderSession encoder(&test::OneProcessor);
  const BitmapHeader input = test::Bitmap(kSessionWidth, kSessionHeight, 24);
  BitmapHeader output = test::Bitmap(kSessionWidth, kSessionHeight, 24, kCodecFourCc);
  const std::vector<uint8_t> picture(kSessionWidth * kSessionHeight * 3, 0x80);
  std::vector<uint8_t> frame(kSessionWidth * kSessionHeight * 4);
  const auto compress = [&](uint32_t quality) {
    return encoder.Compress(&output, frame.data(), &input, picture.data(), quality);
  };
  EXPECT_EQ(compress(7000), -100) << "before Begin";
  const BitmapHeader lowerCase = test::Bitmap(kSessionWidth, kSessionHeight, 16, MakeFourCc('y', 'u', 'y', '2'));
  EXPECT_EQ(RunGuarded([&] { return encoder.Begin(&lowerCase, &output); }), 0) << "hosts may name it in lower case";
  EXPECT_EQ(encoder.End(), 0);
  ASSERT_EQ(encoder.Begin(&input, &output), 0);
  // A first frame above the scale is coded at the default quality, later ones at the last.
  for (const auto& [quality, kept] : {std::pair{0xFFFFFFFFu, 7000u}, {10000u, 10000u}, {10001u, 10000u}}) {
    ASSERT_EQ(compress(quality), 0);
    EXPECT_EQ(encoder.Quality(), kept) << quality;
  }
  EXPECT_EQ(encoder.LumaQuantTable()[0], 1);
  EXPECT_EQ(encoder.End(), 0);
  EXPECT_EQ(encoder.Quality(), kNoQuality) << "the next session builds its tables afresh";
}

}  // namespace
}  // namespace trvx
