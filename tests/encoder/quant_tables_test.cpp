#include <gtest/gtest.h>

#include "encoder/quant_tables.h"

namespace trvx {
namespace {

TEST(QualityTables, ScaleRulesMeetAtTheirBoundsAndClampToOneByte) {
  uint16_t luma[kBlockSize];
  uint16_t chroma[kBlockSize];

  // Both scale rules give one fifth of the base tables at 5000.
  EXPECT_EQ(BuildQuantTables(4999, luma, chroma), 4999u);
  EXPECT_EQ(luma[0], (16u * (10000000u / 4999u) + 5000u) / 10000u);
  EXPECT_EQ(BuildQuantTables(5000, luma, chroma), 5000u);
  EXPECT_EQ(luma[0], 3);
  EXPECT_EQ(chroma[0], 3);
  EXPECT_EQ(luma[63], 20);

  // Everything below 400 is coded as 400: two and a half times the base tables.
  for (uint32_t quality : {0u, 100u, 399u, 400u}) {
    EXPECT_EQ(BuildQuantTables(quality, luma, chroma), 400u) << quality;
    EXPECT_EQ(luma[0], 40) << quality;
    EXPECT_EQ(chroma[0], 43) << "17 x 2.5 = 42.5 rounds half up";
    EXPECT_EQ(chroma[63], 248) << quality;
    EXPECT_EQ(luma[62], 255) << "103 x 2.5 clamps to one byte";
  }

  BuildQuantTables(kDefaultQuality, luma, chroma);  // scale 0.12
  EXPECT_EQ(luma[0], 2);
  EXPECT_EQ(luma[53], 15) << "121 x 0.12 = 14.52 rounds up";
  EXPECT_EQ(chroma[4], 12);

  BuildQuantTables(kMaxQuality, luma, chroma);
  for (int i = 0; i < kBlockSize; ++i) {
    ASSERT_EQ(luma[i], 1) << i;
    ASSERT_EQ(chroma[i], 1) << i;
  }
}

}  // namespace
}  // namespace trvx
