// The formats an encoder session takes, and the quality tables it keeps.
#include "encoder/encoder_session.h"

#include <gtest/gtest.h>

#include <vector>

#include "support/bitmap_header.h"

namespace trvx {
namespace {

constexpr int kWidth = 176, kHeight = 144;
uint32_t OneProcessor() { return 1; }

TEST(EncoderSession, TakesFormatsInAnyCaseAndKeepsItsQualityTablesUntilItEnds) {
  EncoderSession encoder(&OneProcessor);
  const BitmapHeader input = test::Bitmap(kWidth, kHeight, 24);
  BitmapHeader output = test::Bitmap(kWidth, kHeight, 24, kCodecFourCc);
  const std::vector<uint8_t> picture(kWidth * kHeight * 3, 0x80);
  std::vector<uint8_t> frame(kWidth * kHeight * 4);
  const auto compress = [&](uint32_t quality) {
    return encoder.Compress(&output, frame.data(), &input, picture.data(), quality);
  };
  EXPECT_EQ(compress(7000), -100) << "before Begin";
  const BitmapHeader lowerCase = test::Bitmap(kWidth, kHeight, 16, MakeFourCc('y', 'u', 'y', '2'));
  EXPECT_EQ(encoder.Begin(&lowerCase, &output), 0) << "hosts may name the format in lower case";
  EXPECT_EQ(encoder.End(), 0);
  ASSERT_EQ(encoder.Begin(&input, &output), 0);
  // A first frame above the scale is coded at the default quality; later ones keep
  // the tables there are.
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
