// Builds natively (plain and with sanitisers) and with mingw for Wine.
#include "decoder/decoder_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>
#include <vector>

#include "platform/fault_guard.h"
#include "pixel/processor.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

using Path = test::KernelPath<DecoderKernels>;
std::vector<Path> Paths() { return test::KernelPaths(SelectDecoderKernels); }
using test::ZigzagToNatural;

// A 4:2:2 MCU (Y, Y, Cb, Cr) with its description and 4096-aligned tables.
struct Mcu {
  McuWorkspace workspace;
  AlignedBuffer tableArea;
  FrameDescription description;
  uint16_t* tables = nullptr;

  Mcu() {
    EXPECT_TRUE(workspace.Allocate());
    workspace.blocksPerMcu = 4;
    tableArea.Allocate(kQuantTableSlots * kQuantTableEntries * sizeof(uint16_t));
    tables = description.quantTables = reinterpret_cast<uint16_t*>(tableArea.data());
    std::fill(tables, tables + kQuantTableSlots * kQuantTableEntries, 0);
    description.quantTableCount = 2;
    const uint8_t sampling[kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};
    std::copy(sampling, sampling + kSamplingFactorCount, description.sampling);
  }
  void Load(const std::vector<int16_t>& values) {
    std::copy(values.begin(), values.end(), workspace.coefficients);
  }
  std::vector<int16_t> Contents(int blocks = kMaxBlocksPerMcu) const {
    return {workspace.coefficients, workspace.coefficients + blocks * kBlockCoefficients};
  }
  void Run(const DecoderKernels& kernels) {
    kernels.dequantise(description, workspace);
    kernels.reorder(workspace);
    kernels.reconstruct(workspace);
  }
};

std::vector<int16_t> RandomWords(std::mt19937& random, std::size_t count) {
  std::uniform_int_distribution<int> word(-32768, 32767);
  std::vector<int16_t> values(count);
  for (int16_t& value : values) value = static_cast<int16_t>(word(random));
  return values;
}

TEST(DecoderKernelSelection, FollowsProcessorClass) {
  const DecoderKernels plain = {DequantisePlain, ReorderPlain, ReconstructPlain};
  std::vector<std::pair<int32_t, DecoderKernels>> cases = {{kProcessorPlain, plain}, {kProcessorAmdSse2, plain}};
#if defined(__i386__) || defined(__x86_64__)
  cases.push_back({kProcessorAmdMmx, {DequantiseMmx, ReorderMmx, ReconstructMmx}});
  cases.push_back({kProcessorAmdMmxExtensions, {DequantiseMmx, ReorderSse, ReconstructMmx}});
  cases.push_back({kProcessorIntelSse2, {DequantiseSse2, ReorderSse, ReconstructSse2}});
#endif
  for (const auto& [flag, expected] : cases) {
    const DecoderKernels chosen = SelectDecoderKernels(flag);
    EXPECT_TRUE(chosen.dequantise == expected.dequantise && chosen.reorder == expected.reorder &&
                chosen.reconstruct == expected.reconstruct)
        << "flag " << flag;
  }
}

// Products wrap to 16 bits in every variant; a third table and a fifth block stay untouched.
TEST(Dequantise, LuminanceBlocksUseTableZeroTheOthersTableOneAndOtherTableCountsFault) {
  std::mt19937 random(7);
  const std::vector<int16_t> input = RandomWords(random, kMaxBlocksPerMcu * kBlockCoefficients);
  for (const Path& path : Paths()) {
    SCOPED_TRACE(path.name);
    Mcu mcu;
    for (int i = 0; i < 3 * kQuantTableEntries; ++i) mcu.tables[i] = static_cast<uint16_t>(8 + 7 * i);
    mcu.Load(input);
    path.kernels.dequantise(mcu.description, mcu.workspace);
    const std::vector<int16_t> out = mcu.Contents();
    for (int i = 0; i < kMaxBlocksPerMcu * kBlockCoefficients; ++i) {
      const int block = i / 64, table = block < 2 ? 0 : kQuantTableEntries;
      ASSERT_EQ(out[i], block < 4 ? static_cast<int16_t>(input[i] * mcu.tables[table + i % 64]) : input[i]) << i;
    }
    for (uint8_t count : {0, 1, 3}) {
      Mcu bad;
      bad.description.quantTableCount = count;
      EXPECT_EQ(RunGuarded([&]() -> int32_t {
                  path.kernels.dequantise(bad.description, bad.workspace);
                  return 0;
                }),
                kFaultResult)
          << int(count) << " tables";
    }
  }
}

TEST(Reorder, EveryVariantPutsZigzagCoefficientsInNaturalPlaces) {
  const std::vector<int> natural = ZigzagToNatural();
  ASSERT_EQ(natural.size(), 64u);
  std::mt19937 random(11);
  for (uint16_t blocks : {4, 8}) {
    const std::vector<int16_t> input = RandomWords(random, kMaxBlocksPerMcu * kBlockCoefficients);
    for (const Path& path : Paths()) {
      Mcu mcu;
      mcu.workspace.blocksPerMcu = blocks;
      mcu.Load(input);
      path.kernels.reorder(mcu.workspace);
      const std::vector<int16_t> out = mcu.Contents();
      int wrong = 0;
      for (int b = 0; b < kMaxBlocksPerMcu; ++b) {
        for (int z = 0; z < 64; ++z) {
          const int16_t want = b < blocks ? input[b * 64 + z] : input[b * 64 + natural[z]];
          wrong += out[b * 64 + natural[z]] != want;
        }
      }
      EXPECT_EQ(wrong, 0) << path.name << ", " << blocks << " blocks";
    }
  }
}

TEST(Idct, PlainTruncatesTheDc) {
  Mcu mcu;
  mcu.workspace.blocksPerMcu = 1;
  mcu.workspace.coefficients[0] = 20000;
  ReconstructPlain(mcu.workspace);
  EXPECT_EQ(mcu.Contents(1), std::vector<int16_t>(64, 2499));
}

// Random MCUs as an encoder would make them: 8x8 sample blocks (gradients, noise,
// edges) through an exact forward DCT, quantised by the standard luminance table at
// the given quality (table 1 a coarser copy). Returns the exact decoded samples.
std::vector<double> RealisticMcu(std::mt19937& random, Mcu& mcu, int quality) {
  static const int kLuma[64] = {
      16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
      14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
      18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
      49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};
  static const std::vector<int> natural = ZigzagToNatural();
  double basis[8][8];
  for (int u = 0; u < 64; ++u) basis[u / 8][u % 8] = 0.5 * (u / 8 ? 1.0 : std::sqrt(0.5)) * std::cos((2 * (u % 8) + 1) * (u / 8) * std::acos(-1.0) / 16);
  // Orthonormal 2-D DCT, or its inverse.
  auto transform = [&](const double* in, double* out, bool inverse) {
    for (int a = 0; a < 64; ++a) {
      double sum = 0;
      for (int c = 0; c < 64; ++c) {
        const int i = inverse ? c : a, j = inverse ? a : c;
        sum += in[c] * basis[i / 8][j / 8] * basis[i % 8][j % 8];
      }
      out[a] = sum;
    }
  };
  const int scale = quality < 50 ? 5000 / quality : 200 - 2 * quality;
  int q[2][64];
  for (int k = 0; k < 64; ++k) {
    q[0][k] = std::min(255, std::max(1, (kLuma[k] * scale + 50) / 100));
    q[1][k] = std::min(255, q[0][k] * 3 / 2);
  }
  for (int z = 0; z < 128; ++z) mcu.tables[z] = static_cast<uint16_t>(8 * q[z / 64][natural[z % 64]]);
  std::uniform_real_distribution<double> unit(0.0, 1.0);
  std::vector<double> exact(4 * 64);
  for (int block = 0; block < 4; ++block) {
    const double base = 255 * unit(random), dx = 40 * (unit(random) - 0.5),
                 dy = 40 * (unit(random) - 0.5), noise = 60 * unit(random) * unit(random);
    const int edgeAt = unit(random) < 0.3 ? static_cast<int>(8 * unit(random)) : 99;
    const double step = 255 * (unit(random) - 0.5);
    double samples[64], coefficients[64];
    for (int k = 0; k < 64; ++k) {
      const int x = k % 8, y = k / 8;
      double value = base + dx * (x - 3.5) + dy * (y - 3.5) + noise * (unit(random) - 0.5);
      if (x + y / 2 >= edgeAt) value += step;
      samples[k] = std::min(255.0, std::max(0.0, std::round(value))) - 128;
    }
    transform(samples, coefficients, false);
    const int* table = q[block < 2 ? 0 : 1];
    for (int z = 0; z < 64; ++z) {
      const int k = natural[z];
      const long level = std::lround(coefficients[k] / table[k]);
      mcu.workspace.coefficients[block * 64 + z] = static_cast<int16_t>(level);
      coefficients[k] = static_cast<double>(level * table[k]);
    }
    transform(coefficients, &exact[block * 64], true);
  }
  return exact;
}

struct ErrorStats {
  double max = 0, sum = 0;
  long count = 0;
  void Add(double difference) { max = std::max(max, std::fabs(difference)), sum += std::fabs(difference), ++count; }
  double Mean() const { return sum / count; }
};

// The whole chain, each vector path against plain on the same coefficients. Vector
// samples carry four fractional bits, so they are halved to compare at the plain x8
// scale (8 units = one sample level). The plain path truncates every shift and so
// sits about a unit below the exact transform on average; the vector paths truncate
// at a finer step and round at the end. Measured against plain: max 7, mean 1.11;
// against the exact transform: max 3.0, mean 0.21.
TEST(DecoderPaths, VectorPathsMatchPlainAndExactOnRealisticBlocks) {
  const std::vector<Path> paths = Paths();
  std::vector<int16_t> firstVectorOutput;
  for (std::size_t n = 1; n < paths.size(); ++n) {
    SCOPED_TRACE(paths[n].name);
    std::mt19937 random(2024);
    ErrorStats vsPlain, vsExact;
    std::vector<int16_t> outputs;
    for (int mcuIndex = 0; mcuIndex < 600; ++mcuIndex) {
      Mcu plain, vector;
      const std::vector<double> exact = RealisticMcu(random, plain, 10 + (mcuIndex * 7) % 90);
      std::copy(plain.tables, plain.tables + 2 * kQuantTableEntries, vector.tables);
      vector.Load(plain.Contents(4));
      plain.Run(paths[0].kernels);
      vector.Run(paths[n].kernels);
      const std::vector<int16_t> p = plain.Contents(4), v = vector.Contents(4);
      for (int i = 0; i < 4 * 64; ++i) {
        vsPlain.Add(v[i] / 2.0 - p[i]);
        vsExact.Add(v[i] / 2.0 - 8 * exact[i]);
      }
      outputs.insert(outputs.end(), v.begin(), v.end());
    }
    EXPECT_LE(vsPlain.max, 8.0);
    EXPECT_LT(vsPlain.Mean(), 1.25);
    EXPECT_LE(vsExact.max, 3.5);
    EXPECT_LT(vsExact.Mean(), 0.3);
    // MMX and SSE2 run the same arithmetic four or eight columns at a time.
    if (firstVectorOutput.empty()) firstVectorOutput = outputs;
    EXPECT_TRUE(outputs == firstVectorOutput);
  }
}

}  // namespace
}  // namespace trvx
