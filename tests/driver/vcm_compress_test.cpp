// Compression through the real Video Compression Manager, checked by decompressing
// with the same codec: every input format, quality and field-order setting.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/codec_library.h"
#include "support/photo_formats.h"

namespace trvx::test {
namespace {

constexpr LONG kWidth = kPhotoWidth;
constexpr LONG kHeight = kPhotoHeight;

// Mean absolute difference over the bytes that carry picture (not RGB32's fourth byte).
double MeanDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, WORD bitCount) {
  double sum = 0;
  std::size_t counted = 0;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (bitCount == 32 && i % 4 == 3) continue;
    sum += std::abs(a[i] - b[i]);
    ++counted;
  }
  return sum / counted;
}

class VcmCompress : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(InstallCodec());
    codec_ = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_COMPRESS);
    ASSERT_NE(codec_, nullptr);
  }
  void TearDown() override { ICClose(codec_); }

  // Compresses one frame; returns the compressed bytes (padded for the decoder).
  std::vector<uint8_t> Compress(const PictureFormat& format, const std::vector<uint8_t>& picture, DWORD quality,
                                LRESULT* result) {
    BITMAPINFOHEADER input = PhotoHeader(format.compression, format.bitCount);
    BITMAPINFOHEADER output = PhotoHeader(FourCc("TRVX"), 24);
    std::vector<uint8_t> frame(ICCompressGetSize(codec_, &input, &output) + kFramePadding, 0);
    output.biSizeImage = 0xDEADBEEF;
    EXPECT_EQ(ICCompressBegin(codec_, &input, &output), ICERR_OK);
    DWORD flags = 0;
    DWORD chunk = 0;
    *result = ICCompress(codec_, 0, &output, frame.data(), &input, const_cast<uint8_t*>(picture.data()), &chunk, &flags,
                         0, 0, quality, nullptr, nullptr);
    EXPECT_EQ(ICCompressEnd(codec_), ICERR_OK);
    if (output.biSizeImage != 0xDEADBEEF) frame.resize(output.biSizeImage + kFramePadding);
    return frame;
  }

  std::vector<uint8_t> Decompress(const PictureFormat& format, std::vector<uint8_t> frame) {
    BITMAPINFOHEADER input = PhotoHeader(FourCc("TRVX"), 24);
    BITMAPINFOHEADER output = PhotoHeader(format.compression, format.bitCount);
    std::vector<uint8_t> picture(output.biSizeImage, 0);
    EXPECT_EQ(ICDecompressBegin(codec_, &input, &output), ICERR_OK);
    EXPECT_EQ(ICDecompress(codec_, 0, &input, frame.data(), &output, picture.data()), ICERR_OK);
    EXPECT_EQ(ICDecompressEnd(codec_), ICERR_OK);
    return picture;
  }

  HIC codec_ = nullptr;
};

TEST_F(VcmCompress, EveryInputFormatRoundTripsAtEveryQualityAndFieldOrder) {
  struct Quality {
    DWORD value;
    double allowedMean;  // mean absolute level difference after the round trip
  };
  const Quality qualities[] = {{0, 10.0}, {400, 10.0}, {5000, 4.0}, {7000, 3.5}, {10000, 2.5}};
  for (const PictureFormat& format : kPictureFormats) {
    const std::vector<uint8_t> picture = ReadTestData(std::string("photo_720x576.") + format.name + ".ref");
    ASSERT_EQ(picture.size(), static_cast<std::size_t>(kWidth * kHeight * format.bitCount / 8)) << format.name;
    double meanAt7000 = 0;
    for (const Quality& quality : qualities) {
      LRESULT result = 0;
      const std::vector<uint8_t> frame = Compress(format, picture, quality.value, &result);
      ASSERT_EQ(result, ICERR_OK) << format.name;
      const double mean = MeanDifference(Decompress(format, frame), picture, format.bitCount);
      EXPECT_LT(mean, quality.allowedMean) << format.name << " at quality " << quality.value;
      if (quality.value == 7000) meanAt7000 = mean;
    }
    // Swapped fields come back in their places: the wrapped edge line, coded in the
    // other field, is allowed a little extra.
    LRESULT result = 0;
    SetChangeFieldsOrder(codec_, 1);
    const std::vector<uint8_t> swapped = Compress(format, picture, 7000, &result);
    ASSERT_EQ(result, ICERR_OK);
    EXPECT_LT(MeanDifference(Decompress(format, swapped), picture, format.bitCount), meanAt7000 + 0.2) << format.name;
    // Any other value, possible only through a state blob, codes nothing.
    SetChangeFieldsOrder(codec_, 2);
    const std::vector<uint8_t> nothing = Compress(format, picture, 7000, &result);
    EXPECT_EQ(result, ICERR_OK);
    EXPECT_EQ(nothing[0], 0) << "no frame written";
    SetChangeFieldsOrder(codec_, 0);
  }
}

TEST_F(VcmCompress, HostileCallsGetTheirCodes) {
  const std::vector<uint8_t> picture = ReadTestData("photo_720x576.rgb24.ref");
  BITMAPINFOHEADER input = PhotoHeader(BI_RGB, 24);
  BITMAPINFOHEADER output = PhotoHeader(FourCc("TRVX"), 24);
  std::vector<uint8_t> frame(kWidth * kHeight * 4 + 1024);
  const auto compress = [&](const void* bits, DWORD quality) {
    DWORD flags = 0;
    return ICCompress(codec_, 0, &output, frame.data(), &input, const_cast<void*>(bits), nullptr, &flags, 0, 0,
                      quality, nullptr, nullptr);
  };
  EXPECT_EQ(compress(picture.data(), 7000), ICERR_ERROR) << "a frame before BEGIN";
  BITMAPINFOHEADER odd = PhotoHeader(BI_RGB, 24);
  BITMAPINFOHEADER oddOutput = PhotoHeader(FourCc("TRVX"), 24);
  odd.biWidth = oddOutput.biWidth = 100;
  EXPECT_EQ(ICCompressBegin(codec_, &odd, &oddOutput), ICERR_BADFORMAT);

  ASSERT_EQ(ICCompressBegin(codec_, &input, &output), ICERR_OK);
  EXPECT_EQ(compress(picture.data(), 20000), ICERR_OK) << "a quality above the scale codes at the tables there are";
  EXPECT_EQ(compress(reinterpret_cast<void*>(0xDEAD0000), 7000), ICERR_ERROR) << "a bad picture pointer";
  // A fault on the worker thread ends it for good, as designed: only a new session
  // brings the second thread back.
  EXPECT_EQ(ICCompressEnd(codec_), ICERR_OK);
  ASSERT_EQ(ICCompressBegin(codec_, &input, &output), ICERR_OK);
  EXPECT_EQ(compress(picture.data(), 7000), ICERR_OK) << "the next session works";
  EXPECT_EQ(ICCompressEnd(codec_), ICERR_OK);

  DWORD handlesBefore = 0;
  DWORD handlesAfter = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
  for (int cycle = 0; cycle < 1000; ++cycle) {
    ICCompressBegin(codec_, &input, &output);
    compress(picture.data(), 7000);
    ICCompressEnd(codec_);
  }
  GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
  EXPECT_LE(handlesAfter, handlesBefore + 2);
}

}  // namespace
}  // namespace trvx::test
