// Whole frames through the encoder session: the layout of the two field images, the
// thread modes, and the quality tables a session keeps.
#include "encoder/encoder_session.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "settings/settings_record.h"
#include "support/bitmap_header.h"

namespace trvx {
namespace {

constexpr int kWidth = 176;
constexpr int kHeight = 144;
uint32_t OneProcessor() { return 1; }
uint32_t TwoProcessors() { return 2; }

BitmapHeader Format(uint32_t compression, uint16_t bitCount) {
  return test::Bitmap(kWidth, kHeight, bitCount, compression);
}

// Smooth shading with some texture, like camera pictures.
std::vector<uint8_t> TestPictureBgr() {
  std::vector<uint8_t> picture(kWidth * kHeight * 3);
  for (int y = 0; y < kHeight; ++y) {
    for (int x = 0; x < kWidth; ++x) {
      uint8_t* pixel = &picture[(y * kWidth + x) * 3];
      const double texture = 12.0 * std::sin(x * 0.7) * std::cos(y * 0.45);
      pixel[0] = static_cast<uint8_t>(std::lround(40 + 150.0 * x / kWidth + texture));
      pixel[1] = static_cast<uint8_t>(std::lround(60 + 120.0 * y / kHeight - texture));
      pixel[2] = static_cast<uint8_t>(std::lround(200 - 140.0 * (x + y) / (kWidth + kHeight)));
    }
  }
  return picture;
}

std::vector<uint8_t> Encode(ProcessorCountQuery processors, const std::vector<uint8_t>& picture, uint32_t quality,
                            uint32_t* sizeImage) {
  EncoderSession encoder(processors);
  const BitmapHeader input = Format(0, 24);
  BitmapHeader output = Format(kCodecFourCc, 24);
  std::vector<uint8_t> frame(kWidth * kHeight * 4 + 1024, 0);
  EXPECT_EQ(encoder.Begin(&input, &output), 0);
  EXPECT_EQ(encoder.Compress(&output, frame.data(), &input, picture.data(), quality), 0);
  EXPECT_EQ(encoder.End(), 0);
  *sizeImage = output.sizeImage;
  return frame;
}

uint32_t BigEndian32(const uint8_t* p) {
  return uint32_t{p[0]} << 24 | uint32_t{p[1]} << 16 | uint32_t{p[2]} << 8 | p[3];
}

TEST(EncoderSession, ThreadModesDifferOnlyInTheFirstImageSizeFields) {
  const std::vector<uint8_t> picture = TestPictureBgr();
  uint32_t oneThreadSize = 0;
  uint32_t twoThreadSize = 0;
  const std::vector<uint8_t> oneThread = Encode(&OneProcessor, picture, 7000, &oneThreadSize);
  const std::vector<uint8_t> twoThreads = Encode(&TwoProcessors, picture, 7000, &twoThreadSize);
  ASSERT_EQ(oneThreadSize, twoThreadSize);

  // Two images, each SOI ... EOI, with 237 bytes of headers apiece.
  ASSERT_EQ(oneThread[0], 0xFF);
  ASSERT_EQ(oneThread[1], 0xD8);
  EXPECT_EQ(oneThread[oneThreadSize - 2], 0xFF);
  EXPECT_EQ(oneThread[oneThreadSize - 1], 0xD9);
  for (std::size_t i = 0; i < oneThreadSize; ++i) {
    if (oneThread[i] != twoThreads[i]) {
      EXPECT_LT(i, 237u) << "bytes differ outside the first image's headers";
    }
  }
  // One thread: the first image's APP1 points at the second image, which begins
  // right after the first image's EOI.
  const uint32_t nextField = BigEndian32(&oneThread[2 + 18 + 20]);
  ASSERT_GT(nextField, 237u);
  ASSERT_LT(nextField, oneThreadSize);
  EXPECT_EQ(oneThread[nextField - 2], 0xFF);
  EXPECT_EQ(oneThread[nextField - 1], 0xD9);
  EXPECT_EQ(oneThread[nextField], 0xFF);
  EXPECT_EQ(oneThread[nextField + 1], 0xD8);
  // Two threads: the first image keeps zero there; decoders find the second by reading on.
  EXPECT_EQ(BigEndian32(&twoThreads[2 + 18 + 20]), 0u);
}

TEST(EncoderSession, QualityTablesFollowTheFramesAndResetWithTheSession) {
  EncoderSession encoder(&OneProcessor);
  const BitmapHeader input = Format(0, 24);
  BitmapHeader output = Format(kCodecFourCc, 24);
  const std::vector<uint8_t> picture = TestPictureBgr();
  std::vector<uint8_t> frame(kWidth * kHeight * 4 + 1024);

  EXPECT_EQ(encoder.Compress(&output, frame.data(), &input, picture.data(), 7000), -100) << "before Begin";
  ASSERT_EQ(encoder.Begin(&input, &output), 0);
  // A first frame above the scale is coded at the default quality.
  ASSERT_EQ(encoder.Compress(&output, frame.data(), &input, picture.data(), 0xFFFFFFFF), 0);
  EXPECT_EQ(encoder.Quality(), 7000u);
  ASSERT_EQ(encoder.Compress(&output, frame.data(), &input, picture.data(), 10000), 0);
  EXPECT_EQ(encoder.Quality(), 10000u);
  EXPECT_EQ(encoder.LumaQuantTable()[0], 1);
  // Later frames above the scale keep the tables there are.
  ASSERT_EQ(encoder.Compress(&output, frame.data(), &input, picture.data(), 10001), 0);
  EXPECT_EQ(encoder.Quality(), 10000u);
  EXPECT_EQ(encoder.End(), 0);
  EXPECT_EQ(encoder.Quality(), kNoQuality) << "the next session builds its tables afresh";
}

}  // namespace
}  // namespace trvx
