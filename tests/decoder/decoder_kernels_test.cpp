// The inverse DCT each processor class runs, and the plain path's exact words.
#include "decoder/decoder_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <vector>

#include "pixel/processor.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

TEST(DecoderKernels, SelectionFollowsProcessorClass) {
  std::vector<std::pair<int32_t, ReconstructKernel>> cases = {{kProcessorPlain, ReconstructPlain}};
#if defined(__i386__) || defined(__x86_64__)
  cases.push_back({kProcessorAmdSse2, ReconstructPlainSse2});
  cases.push_back({kProcessorAmdMmx, ReconstructMmx});
  cases.push_back({kProcessorAmdMmxExtensions, ReconstructMmx});
  cases.push_back({kProcessorIntelSse2, ReconstructSse2});
#endif
  for (const auto& [flag, expected] : cases) EXPECT_TRUE(SelectDecoderKernels(flag).reconstruct == expected) << flag;
}

// The plain path's samples are defined by its truncating arithmetic: a digest of its
// words over every extreme and random block pins them, and class 159 must give the
// very same words, wrapped where the plain sums leave 16 bits, with MCUs of every size
// and the blocks past the MCU left alone.
TEST(DecoderKernels, PlainWordsArePinnedAndTheAmdSse2PathGivesThemForEveryBlock) {
  const bool twin = test::Sse2KernelsRun();
  test::TwinBlocks blocks(1 << 21);
  McuWorkspace expected, actual;
  ASSERT_TRUE(expected.Allocate() && actual.Allocate());
  expected.coefficients[0] = 20000;
  expected.blocksPerMcu = 1;
  ReconstructPlain(expected);
  EXPECT_EQ(std::vector<int16_t>(expected.coefficients, expected.coefficients + 64), std::vector<int16_t>(64, 2499));
  uint64_t digest = 14695981039346656037ull;
  for (int round = 0; blocks.Next(expected.Block(0)); ++round) {
    for (int b = 1; b < kMaxBlocksPerMcu; ++b) blocks.Next(expected.Block(b));
    expected.blocksPerMcu = actual.blocksPerMcu = uint16_t(round % 4 ? 8 : round % 11);
    std::copy(expected.coefficients, expected.coefficients + kMaxBlocksPerMcu * 64, actual.coefficients);
    ReconstructPlain(expected);
    for (int i = 0; i < kMaxBlocksPerMcu * 64; ++i) digest = (digest ^ uint16_t(expected.coefficients[i])) * 1099511628211u;
    if (!twin) continue;
    SelectDecoderKernels(kProcessorAmdSse2).reconstruct(actual);
    ASSERT_TRUE(std::equal(expected.coefficients, expected.coefficients + kMaxBlocksPerMcu * 64, actual.coefficients))
        << "round " << round;
  }
  EXPECT_EQ(digest, 0x6da57fa6d3f846baull);
}

}  // namespace
}  // namespace trvx
