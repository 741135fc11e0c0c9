// Builds natively (plain and with sanitisers) and with mingw for Wine.
#include "encoder/encoder_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "encoder/quant_tables.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

constexpr int kMcu = 4 * kBlockCoefficients;  // Y, Y, Cb, Cr
using Words = std::vector<int16_t>;

using Path = test::KernelPath<EncoderKernels>;
std::vector<Path> Paths() { return test::KernelPaths(SelectEncoderKernels); }

// One 4:2:2 MCU; up to eight blocks are loaded so that writes past the fourth show.
// The reciprocals come from `tables` (luminance then chrominance).
struct Mcu {
  BlockBuffer blocks;
  AlignedBuffer reciprocalArea;
  FrameDescription description;
  int16_t* reciprocals = nullptr;

  explicit Mcu(const Words& input, const std::vector<uint16_t>& tables = std::vector<uint16_t>(128, 1)) {
    PrepareDctTables();
    PreparePackedDctTables();
    EXPECT_TRUE(blocks.Allocate());
    blocks.blocksPerMcu = 4;
    Load(input);
    reciprocalArea.Allocate(2 * kBlockSize * sizeof(int16_t));
    reciprocals = reinterpret_cast<int16_t*>(reciprocalArea.data());
    BuildReciprocals(tables.data(), reciprocals, 2 * kBlockSize);
    description.reciprocals = reciprocals;
    description.quantTableCount = 2;
    const uint8_t sampling[kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};
    std::copy(sampling, sampling + kSamplingFactorCount, description.sampling);
  }
  void Load(const Words& input) { std::copy(input.begin(), input.end(), blocks.coefficients); }
  Words Contents(int count = kMcu) const { return {blocks.coefficients, blocks.coefficients + count}; }
};

Words Random(std::mt19937& random, int low, int high, int count = kMcu) {
  std::uniform_int_distribution<int> word(low, high);
  Words values(count);
  for (int16_t& value : values) value = static_cast<int16_t>(word(random));
  return values;
}

// Converter output, (sample - 128) x 8: noise plus the harshest full-swing stripes.
std::vector<Words> SampleMcus() {
  std::mt19937 random(11);
  std::vector<Words> mcus;
  for (int i = 0; i < 200; ++i) mcus.push_back(Random(random, -1024, 1016));
  Words stripes(kMcu);
  for (int i = 0; i < kMcu; ++i) stripes[i] = (i / 64 < 2 ? i % 64 / 8 : i % 8) < 4 ? -1024 : 1016;
  mcus.push_back(stripes);
  return mcus;
}

TEST(EncoderKernelSelection, FollowsProcessorClassWithPageAlignedTables) {
  const EncoderKernels plain = {ForwardDctPlain, ZigzagPlain, QuantisePlain, false};
  std::vector<std::pair<int32_t, EncoderKernels>> cases = {{0, plain}};
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
  // The values themselves are checked through the transforms below.
  PrepareDctTables();
  PreparePackedDctTables();
  EXPECT_EQ(reinterpret_cast<uintptr_t>(DctConstants()) % 4096, 0u);
  EXPECT_EQ(reinterpret_cast<uintptr_t>(PackedDctConstants()) % 4096, 0u);
}

// Both passes truncate, and the second weights and sums the first's losses. Measured
// against double precision: at most 6.0 off at the x8 scale (under one true unit), on
// the stripes; noise reaches 4.9. The MMX variant only saturates where plain wraps,
// which converter output never provokes: measured difference 0. A fifth block stays.
TEST(ForwardDct, PlainNearExactTransformAndMmxIdenticalToIt) {
  const double pi = std::acos(-1.0);
  double worst = 0;
  for (Words input : SampleMcus()) {
    input.resize(kMcu + 64, 400);
    Mcu plain(input);
    ForwardDctPlain(plain.blocks);
    const Words out = plain.Contents(kMcu + 64);
    ASSERT_EQ(Words(out.begin() + kMcu, out.end()), Words(64, 400));
    for (int i = 0; i < kMcu; ++i) {
      const int16_t* block = input.data() + i / 64 * 64;
      const int v = i % 64 / 8, u = i % 8;
      double sum = 0;
      for (int s = 0; s < 64; ++s) {
        sum += block[s] * std::cos((2 * (s % 8) + 1) * u * pi / 16) * std::cos((2 * (s / 8) + 1) * v * pi / 16);
      }
      const double exact = sum / 4 * (u ? 1 : std::sqrt(0.5)) * (v ? 1 : std::sqrt(0.5));
      worst = std::max(worst, std::abs(out[i] - exact));
    }
    for (const Path& path : Paths()) {
      Mcu vector(input);
      path.kernels.fdct(vector.blocks);
      ASSERT_EQ(vector.Contents(kMcu + 64), out) << path.name;
    }
  }
  EXPECT_LE(worst, 6.5);
  EXPECT_GE(worst, 1.0) << "the truncations should show";
}

// The SSE2 kernel must equal the MMX one bit for bit over the whole 16-bit range, where
// the saturating sums and high-half products decide the result.
TEST(ForwardDct, Sse2IdenticalToMmxAlsoWhereSumsSaturate) {
#if defined(__i386__) || defined(__x86_64__)
  if (!__builtin_cpu_supports("sse2")) GTEST_SKIP();
  std::mt19937 random(5);
  const int16_t extremes[] = {-32768, 32767, 0, -1};
  for (int i = 0; i < 400; ++i) {
    Words input = Random(random, -32768, 32767, kMaxBlocksPerMcu * 64);
    if (i >= 300) {
      for (int16_t& value : input) value = extremes[value & 3];
    }
    Mcu mmx(input), sse2(input);
    mmx.blocks.blocksPerMcu = sse2.blocks.blocksPerMcu = kMaxBlocksPerMcu;
    ForwardDctMmx(mmx.blocks);
    ForwardDctSse2(sse2.blocks);
    ASSERT_EQ(sse2.Contents(kMaxBlocksPerMcu * 64), mmx.Contents(kMaxBlocksPerMcu * 64));
  }
#else
  GTEST_SKIP();
#endif
}

// Class 159 must give class 0's words for every block, including where the plain
// sums wrap; blocks past the MCU stay as they were.
TEST(ForwardDct, AmdSse2PathGivesThePlainWordsForEveryBlock) {
  if (!test::Sse2KernelsRun()) GTEST_SKIP() << "no SSE2";
  const ForwardDctKernel plain = SelectEncoderKernels(kProcessorPlain).fdct;
  const ForwardDctKernel twin = SelectEncoderKernels(kProcessorAmdSse2).fdct;
  test::TwinBlocks blocks(1 << 21);
  Mcu expected({}), actual({});
  for (int round = 0; blocks.Next(expected.blocks.Block(0)); ++round) {
    for (int b = 1; b < kMaxBlocksPerMcu; ++b) blocks.Next(expected.blocks.Block(b));
    expected.blocks.blocksPerMcu = actual.blocks.blocksPerMcu = uint16_t(round % 4 ? 8 : round % 11);
    const Words input = expected.Contents(kMaxBlocksPerMcu * 64);
    actual.Load(input);
    plain(expected.blocks);
    twin(actual.blocks);
    ASSERT_EQ(actual.Contents(kMaxBlocksPerMcu * 64), expected.Contents(kMaxBlocksPerMcu * 64)) << "round " << round;
  }
}

TEST(Zigzag, EveryVariantWalksTheAntiDiagonals) {
  const std::vector<int> natural = test::ZigzagToNatural();
  std::vector<Path> paths = Paths();
  if (test::Sse2KernelsRun()) paths.push_back({"plain-sse2", SelectEncoderKernels(kProcessorAmdSse2)});
  for (const Path& path : paths) {
    Words input(5 * 64);
    for (int i = 0; i < 5 * 64; ++i) input[i] = static_cast<int16_t>(i);
    Mcu mcu(input);
    path.kernels.reorder(mcu.blocks);
    const Words out = mcu.Contents(5 * 64);
    // out[k] is the natural position that zig-zag index k came from.
    for (int i = 0; i < kMcu; ++i) EXPECT_EQ(out[i], i / 64 * 64 + natural[i % 64]) << path.name << " at " << i;
    EXPECT_EQ(out[kMcu + 2], kMcu + 2) << path.name;
  }
}

TEST(Quantise, LumaBlocksTakeFirstReciprocalsChromaTheNextAndPlainRounds) {
  for (const Path& path : Paths()) {
    // Plus and minus three times 8Q of the block's own table; the other table is far off.
    std::vector<uint16_t> tables(128);
    for (int k = 0; k < 128; ++k) tables[k] = static_cast<uint16_t>(k < 64 ? k + 1 : 36 + k);
    Words input(5 * 64, 77);
    for (int i = 0; i < kMcu; ++i)
      input[i] = static_cast<int16_t>((i / 64 == 2 ? -24 : 24) * tables[i % 64 + (i < 128 ? 0 : 64)]);
    Mcu mcu(input, tables);
    path.kernels.quantise(mcu.description, mcu.blocks);
    const Words out = mcu.Contents(5 * 64);
    for (int i = 0; i < kMcu; ++i) EXPECT_EQ(out[i], i / 64 == 2 ? -3 : 3) << path.name << " at " << i;
    EXPECT_EQ(out[kMcu], 77) << path.name;
  }
  // Q = 1: -4 is half a step and rounds up to 0, -5 and 4 round away.
  Mcu mcu({-4, -5, 4, 3, 56});
  QuantisePlain(mcu.description, mcu.blocks);
  EXPECT_EQ(mcu.Contents(5), (Words{0, -1, 1, 0, 7}));
}

// The vector quantisers truncate c x R / 2^15 where plain rounds it: half the products
// lose their rounding and one in eight of those crosses a step. Over every coefficient
// whose doubling does not saturate (|c| < 16384, twice any DCT output) and a spread of
// table entries, the result equals plain or is one less, about one in 16.
TEST(Quantise, VectorResultEqualsPlainOrOneLess) {
  const std::vector<Path> paths = Paths();
  for (std::size_t p = 1; p < paths.size(); ++p) {
    long lower = 0, total = 0, other = 0;
    for (int q : {1, 2, 3, 5, 7, 12, 16, 33, 64, 99, 128, 200, 255}) {
      const std::vector<uint16_t> tables(128, static_cast<uint16_t>(q));
      Mcu plain({}, tables), vector({}, tables);
      for (int start = -16383; start <= 16383; start += kMcu) {
        Words input(kMcu);
        for (int i = 0; i < kMcu; ++i) input[i] = static_cast<int16_t>(std::min(start + i, 16383));
        plain.Load(input);
        vector.Load(input);
        QuantisePlain(plain.description, plain.blocks);
        paths[p].kernels.quantise(vector.description, vector.blocks);
        const Words rounded = plain.Contents(), truncated = vector.Contents();
        for (int i = 0; i < kMcu; ++i, ++total) {
          const int below = rounded[i] - truncated[i];
          lower += below == 1;
          other += below != 0 && below != 1;
        }
      }
    }
    EXPECT_EQ(other, 0) << paths[p].name;
    EXPECT_NEAR(double(lower) / total, 1.0 / 16, 0.005) << paths[p].name;
  }
}

// Class 159 must round every coefficient as class 0 does with every reciprocal the
// tables make and the extremes; take the tables by block for any sampling, at any
// alignment; and fault alike on a table count other than two.
TEST(Quantise, AmdSse2PathGivesThePlainWordsForEveryCoefficient) {
  if (!test::Sse2KernelsRun()) GTEST_SKIP() << "no SSE2";
  const QuantiseKernel plain = SelectEncoderKernels(kProcessorPlain).quantise;
  const QuantiseKernel twin = SelectEncoderKernels(kProcessorAmdSse2).quantise;
  std::vector<uint16_t> entries(256);
  for (int q = 0; q < 256; ++q) entries[q] = uint16_t(q);
  Words values(256);
  BuildReciprocals(entries.data(), values.data(), 256);
  values.insert(values.end(), {-32768, -32767, -1, 0, 1, 32767});
  Words tables(2 * kBlockSize + 1);
  Mcu expected({}), actual({});
  for (std::size_t round = 0; round < values.size() + 16; ++round) {
    // One reciprocal everywhere; then mixed tables a word off alignment and mixed sampling.
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
    for (int start = -32768; start < 32768; start += kMaxBlocksPerMcu * 64) {
      Words input(kMaxBlocksPerMcu * 64);
      for (std::size_t i = 0; i < input.size(); ++i) input[i] = int16_t(start + int(i));
      expected.Load(input);
      actual.Load(input);
      plain(expected.description, expected.blocks);
      twin(actual.description, actual.blocks);
      ASSERT_EQ(actual.Contents(int(input.size())), expected.Contents(int(input.size()))) << round << " " << start;
    }
  }
  for (uint8_t count : {0, 1, 3, 255}) {
    Mcu mcu(Words(kMcu, 1000));
    mcu.description.quantTableCount = count;
    EXPECT_EQ(RunGuarded([&]() -> int32_t { return twin(mcu.description, mcu.blocks), 0; }), kFaultResult);
    EXPECT_EQ(mcu.Contents(), Words(kMcu, 1000));
  }
}

TEST(Quantise, TableCountOtherThanTwoFaultsPlainButVectorsSkip) {
  const Words input(kMcu, 1000);
  for (const Path& path : Paths()) {
    for (uint8_t count : {0, 1, 3}) {
      Mcu mcu(input);
      mcu.description.quantTableCount = count;
      const QuantiseKernel kernel = path.kernels.quantise;
      const int32_t result = RunGuarded([&]() -> int32_t {
        kernel(mcu.description, mcu.blocks);
        return 0;
      });
      EXPECT_EQ(result, kernel == QuantisePlain ? kFaultResult : 0) << path.name << int(count);
      if (kernel != QuantisePlain) {
        EXPECT_EQ(mcu.Contents(), input) << path.name << int(count);
      }
    }
  }
}

TEST(Quantise, ReciprocalsFollowTheTables) {
  uint16_t tables[2 * kBlockSize];
  int16_t reciprocals[2 * kBlockSize];
  BuildQuantTables(kMaxQuality, tables, tables + kBlockSize);
  BuildReciprocals(tables, reciprocals, 2 * kBlockSize);
  for (int16_t r : reciprocals) EXPECT_EQ(r, 32767);
  const uint16_t entries[] = {3, 20, 255, 0};
  BuildReciprocals(entries, reciprocals, 4);
  EXPECT_EQ(Words(reciprocals, reciprocals + 4), (Words{10922, 1638, 128, 32767})) << "0 must not divide";
}

}  // namespace
}  // namespace trvx
