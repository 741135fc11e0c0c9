// Decompression through the real Video Compression Manager, against outputs that the
// native build decoded from the same frames: byte for byte on the plain path, within
// a level where TRVX_CPU picks a vector path.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "pixel/processor.h"
#include "support/codec_library.h"
#include "support/photo_formats.h"

namespace trvx::test {
namespace {

constexpr LONG kWidth = kPhotoWidth;
constexpr LONG kHeight = kPhotoHeight;

// The references come from the plain path. The vector paths keep four fractional
// bits through the transform and round where the plain path truncates: packed YUV
// then differs by a level at most, RGB (three products of those samples) by three.
int AllowedDifference(const PictureFormat& format) {
  if (!UsesVectorKernels(DetectProcessor())) return 0;
  return format.isRgb ? 3 : 1;
}

// The field-order swap moves the picture up one line, wrapping the top line round.
std::vector<uint8_t> SwappedFields(const std::vector<uint8_t>& picture, bool isRgb) {
  const std::size_t rowBytes = picture.size() / kHeight;
  std::vector<uint8_t> swapped(picture.size());
  for (LONG row = 0; row < kHeight; ++row) {
    // Rows in memory: bottom-up for RGB, top-down for packed YUV.
    const LONG from = isRgb ? (row + kHeight - 1) % kHeight : (row + 1) % kHeight;
    std::memcpy(&swapped[row * rowBytes], &picture[from * rowBytes], rowBytes);
  }
  return swapped;
}

int MaxDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  int worst = 0;
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
  return worst;
}

class VcmDecompress : public testing::TestWithParam<const char*> {
 protected:
  void SetUp() override {
    frame_ = ReadTestData(GetParam());
    ASSERT_FALSE(frame_.empty()) << "test frame missing: " << GetParam();
    frame_.resize(frame_.size() + kFramePadding, 0);
    ASSERT_TRUE(InstallCodec());
    codec_ = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_DECOMPRESS);
    ASSERT_NE(codec_, nullptr);
  }
  void TearDown() override { ICClose(codec_); }

  std::vector<uint8_t> Decode(const PictureFormat& format, DWORD fourCc = mmioFOURCC('T', 'R', 'V', 'X')) {
    BITMAPINFOHEADER input = PhotoHeader(fourCc, 24);
    input.biSizeImage = static_cast<DWORD>(frame_.size());
    BITMAPINFOHEADER output = PhotoHeader(format.compression, format.bitCount);
    std::vector<uint8_t> picture(output.biSizeImage, 0xCD);
    EXPECT_EQ(ICDecompressBegin(codec_, &input, &output), ICERR_OK) << format.name;
    EXPECT_EQ(ICDecompress(codec_, 0, &input, frame_.data(), &output, picture.data()), ICERR_OK) << format.name;
    EXPECT_EQ(ICDecompressEnd(codec_), ICERR_OK);
    return picture;
  }

  HIC codec_ = nullptr;
  std::vector<uint8_t> frame_;
};

TEST_P(VcmDecompress, EveryOutputFormatMatchesTheNativeDecode) {
  for (const PictureFormat& format : kPictureFormats) {
    const std::vector<uint8_t> expected = ReadTestData(std::string("photo_720x576.") + format.name + ".ref");
    ASSERT_EQ(expected.size(), static_cast<std::size_t>(kWidth * kHeight * format.bitCount / 8)) << format.name;
    EXPECT_LE(MaxDifference(Decode(format), expected), AllowedDifference(format)) << format.name;

    SetChangeFieldsOrder(codec_, 1);
    EXPECT_LE(MaxDifference(Decode(format), SwappedFields(expected, format.isRgb)), AllowedDifference(format))
        << format.name << " with the field order swapped";
    // Only the value 1 swaps on the way out.
    SetChangeFieldsOrder(codec_, 2);
    EXPECT_LE(MaxDifference(Decode(format), expected), AllowedDifference(format)) << format.name;
    SetChangeFieldsOrder(codec_, 0);
  }
}

// BEGIN checks sizes and the output only: the FourCC list is the query's business.
TEST_P(VcmDecompress, SessionLifecycleIsForgiving) {
  BITMAPINFOHEADER input = PhotoHeader(FourCc("AVRn"), 24);
  BITMAPINFOHEADER output = PhotoHeader(BI_RGB, 24);
  std::vector<uint8_t> picture(output.biSizeImage);
  EXPECT_EQ(ICDecompress(codec_, 0, &input, frame_.data(), &output, picture.data()), ICERR_ERROR)
      << "a frame before BEGIN";
  EXPECT_EQ(ICDecompressBegin(codec_, &input, &output), ICERR_OK);
  EXPECT_EQ(ICDecompressBegin(codec_, &input, &output), ICERR_OK) << "BEGIN twice";
  EXPECT_EQ(ICDecompress(codec_, 0, &input, frame_.data(), &output, picture.data()), ICERR_OK);
  EXPECT_EQ(ICDecompressEnd(codec_), ICERR_OK);
  EXPECT_EQ(ICDecompressEnd(codec_), ICERR_OK) << "END twice";
}

// The one-processor runs hide the second processor from Wine; make sure they did.
TEST(VcmDecompressSetup, SystemReportsTheProcessorCountTheRunAsksFor) {
  const char* expected = std::getenv("TRVX_EXPECT_PROCESSORS");
  if (expected == nullptr) GTEST_SKIP() << "no processor count asked for";
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  EXPECT_EQ(info.dwNumberOfProcessors, static_cast<DWORD>(std::atoi(expected)));
}

INSTANTIATE_TEST_SUITE_P(Frames, VcmDecompress, testing::Values("photo_720x576.trvx", "photo_720x576_noapp.trvx"));

}  // namespace
}  // namespace trvx::test
