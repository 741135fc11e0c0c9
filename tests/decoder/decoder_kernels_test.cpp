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

// A 4:2:2 MCU (Y, Y, Cb, Cr) as the entropy decoder leaves it: dequantised, natural order.
struct Mcu {
  McuWorkspace workspace;

  Mcu() {
    EXPECT_TRUE(workspace.Allocate());
    workspace.blocksPerMcu = 4;
  }
  void Load(const std::vector<int16_t>& values) {
    std::copy(values.begin(), values.end(), workspace.coefficients);
  }
  std::vector<int16_t> Contents(int blocks = kMaxBlocksPerMcu) const {
    return {workspace.coefficients, workspace.coefficients + blocks * kBlockCoefficients};
  }
};

TEST(DecoderKernelSelection, FollowsProcessorClass) {
  std::vector<std::pair<int32_t, ReconstructKernel>> cases = {{kProcessorPlain, ReconstructPlain}};
#if defined(__i386__) || defined(__x86_64__)
  cases.push_back({kProcessorAmdSse2, ReconstructPlainSse2});
  cases.push_back({kProcessorAmdMmx, ReconstructMmx});
  cases.push_back({kProcessorAmdMmxExtensions, ReconstructMmx});
  cases.push_back({kProcessorIntelSse2, ReconstructSse2});
#endif
  for (const auto& [flag, expected] : cases) EXPECT_TRUE(SelectDecoderKernels(flag).reconstruct == expected) << flag;
}

// Class 159 must give class 0's samples: every word of every block, wrapped where the
// plain sums leave 16 bits, with MCUs of every size and the blocks past the MCU left.
TEST(Idct, AmdSse2PathGivesThePlainWordsForEveryBlock) {
  if (!test::Sse2KernelsRun()) GTEST_SKIP() << "no SSE2";
  const ReconstructKernel plain = SelectDecoderKernels(kProcessorPlain).reconstruct;
  const ReconstructKernel twin = SelectDecoderKernels(kProcessorAmdSse2).reconstruct;
  test::TwinBlocks blocks(1 << 21);
  Mcu expected, actual;
  for (int round = 0; blocks.Next(expected.workspace.Block(0)); ++round) {
    for (int b = 1; b < kMaxBlocksPerMcu; ++b) blocks.Next(expected.workspace.Block(b));
    expected.workspace.blocksPerMcu = actual.workspace.blocksPerMcu = uint16_t(round % 4 ? 8 : round % 11);
    actual.Load(expected.Contents());
    plain(expected.workspace);
    twin(actual.workspace);
    ASSERT_EQ(actual.Contents(), expected.Contents()) << "round " << round;
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
// the given quality (table 1 a coarser copy), and dequantised x 8 as the entropy
// decoder delivers them. Returns the exact decoded samples.
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
      mcu.workspace.coefficients[block * 64 + k] = static_cast<int16_t>(8 * level * table[k]);
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
      vector.Load(plain.Contents(4));
      paths[0].kernels.reconstruct(plain.workspace);
      paths[n].kernels.reconstruct(vector.workspace);
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
