// Sessions through the real Video Compression Manager: the native build's frames decoded
// into every format, every format compressed and decoded back, both field orders,
// hostile calls, and frames ending against an inaccessible page on every path.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "pixel/processor.h"
#include "support/fenced_buffer.h"
#include "support/photo_formats.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

constexpr uint8_t kUntouched = 0xA5;
constexpr std::size_t kGuardBytes = 4096;

// Mean and largest absolute difference over the bytes that carry picture (not RGB32's fourth).
std::pair<double, int> Difference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b, WORD bitCount) {
  double sum = 0;
  int worst = 0;
  std::size_t counted = 0;
  for (std::size_t i = 0; i < a.size() && i < b.size(); ++i) {
    if (bitCount == 32 && i % 4 == 3) continue;
    const int difference = std::abs(a[i] - b[i]);
    sum += difference;
    worst = std::max(worst, difference);
    ++counted;
  }
  return {sum / counted, worst};
}

class VcmSessions : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_TRUE(InstallCodec());
    codec_ = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_COMPRESS);
    ASSERT_NE(codec_, nullptr);
  }
  void TearDown() override { ICClose(codec_); }

  // One frame into a new bitmap, in the session begun; result_ takes the code.
  std::vector<uint8_t> DecodeInSession(BITMAPINFOHEADER input, const uint8_t* frame, std::size_t length,
                                       BITMAPINFOHEADER output) {
    std::vector<uint8_t> picture(output.biSizeImage + kGuardBytes, kUntouched);
    input.biSizeImage = static_cast<DWORD>(length);
    // A DWORD in either width, so the codes are 32-bit.
    result_ = static_cast<LONG>(ICDecompress(codec_, 0, &input, const_cast<uint8_t*>(frame), &output, picture.data()));
    EXPECT_EQ(std::count(picture.begin() + output.biSizeImage, picture.end(), kUntouched), std::ptrdiff_t(kGuardBytes))
        << "wrote past the bitmap";
    picture.resize(output.biSizeImage);
    return picture;
  }

  // A session of one frame, padded for the reader, into the photograph's size.
  std::vector<uint8_t> Decode(std::vector<uint8_t> frame, const PictureFormat& format) {
    const BITMAPINFOHEADER input = PhotoHeader(FourCc("TRVX"), 24);
    const BITMAPINFOHEADER output = PhotoHeader(format.compression, format.bitCount);
    const std::size_t length = frame.size();
    frame.resize(length + kFramePadding, 0);
    EXPECT_EQ(ICDecompressBegin(codec_, &input, &output), ICERR_OK) << format.name;
    std::vector<uint8_t> picture = DecodeInSession(input, frame.data(), length, output);
    EXPECT_EQ(result_, ICERR_OK) << format.name;
    EXPECT_EQ(ICDecompressEnd(codec_), ICERR_OK);
    return picture;
  }

  // A session of one frame; the frame as long as the codec says, or the whole buffer if it says nothing.
  std::vector<uint8_t> Compress(const PictureFormat& format, const std::vector<uint8_t>& picture, DWORD quality) {
    BITMAPINFOHEADER input = PhotoHeader(format.compression, format.bitCount);
    BITMAPINFOHEADER output = PhotoHeader(FourCc("TRVX"), 24);
    std::vector<uint8_t> frame(ICCompressGetSize(codec_, &input, &output), 0);
    output.biSizeImage = 0xDEADBEEF;
    EXPECT_EQ(ICCompressBegin(codec_, &input, &output), ICERR_OK);
    DWORD flags = 0, chunk = 0;
    result_ =
        static_cast<LONG>(ICCompress(codec_, 0, &output, frame.data(), &input, const_cast<uint8_t*>(picture.data()),
                                     &chunk, &flags, 0, 0, quality, nullptr, nullptr));
    EXPECT_EQ(ICCompressEnd(codec_), ICERR_OK);
    if (output.biSizeImage != 0xDEADBEEF) frame.resize(output.biSizeImage);
    return frame;
  }

  HIC codec_ = nullptr;
  LONG result_ = ICERR_OK;
};

// The field-order swap moves the picture up one line, wrapping the top line round.
std::vector<uint8_t> SwappedFields(const std::vector<uint8_t>& picture, bool isRgb) {
  const std::size_t rowBytes = picture.size() / kPhotoHeight;
  std::vector<uint8_t> swapped(picture.size());
  for (LONG row = 0; row < kPhotoHeight; ++row) {
    // Rows in memory: bottom-up for RGB, top-down for packed YUV.
    const LONG from = isRgb ? (row + kPhotoHeight - 1) % kPhotoHeight : (row + 1) % kPhotoHeight;
    std::copy_n(&picture[from * rowBytes], rowBytes, &swapped[row * rowBytes]);
  }
  return swapped;
}

// Against the native plain-path decodes: byte for byte on the plain path. The vector
// paths keep four fractional bits through the transform and round where the plain path
// truncates: packed YUV then differs by a level at most, RGB (three products) by three.
TEST_F(VcmSessions, NativeFramesDecodeIntoEveryFormatInBothFieldOrders) {
  for (const char* name : {"photo_720x576.trvx", "photo_720x576_noapp.trvx"}) {
    const std::vector<uint8_t> frame = ReadTestData(name);
    ASSERT_FALSE(frame.empty()) << "test frame missing: " << name;
    for (const PictureFormat& format : kPictureFormats) {
      const std::vector<uint8_t> expected = ReadTestData(std::string("photo_720x576.") + format.name + ".ref");
      ASSERT_EQ(expected.size(), std::size_t(kPhotoWidth * kPhotoHeight * format.bitCount / 8)) << format.name;
      const int allowed = !UsesVectorKernels(DetectProcessor()) ? 0 : format.isRgb ? 3 : 1;
      EXPECT_LE(Difference(Decode(frame, format), expected, 0).second, allowed) << name << " to " << format.name;
      SetChangeFieldsOrder(codec_, 1);
      EXPECT_LE(Difference(Decode(frame, format), SwappedFields(expected, format.isRgb), 0).second, allowed)
          << name << " to " << format.name << " with the field order swapped";
      // Only the value 1 swaps on the way out.
      SetChangeFieldsOrder(codec_, 2);
      EXPECT_LE(Difference(Decode(frame, format), expected, 0).second, allowed) << name << " to " << format.name;
      SetChangeFieldsOrder(codec_, 0);
    }
  }
}

TEST_F(VcmSessions, EveryInputFormatRoundTripsAtEveryQualityAndFieldOrder) {
  // Quality and the mean absolute level difference allowed after the round trip.
  const std::pair<DWORD, double> qualities[] = {{0, 10.0}, {400, 10.0}, {5000, 4.0}, {7000, 3.5}, {10000, 2.5}};
  for (const PictureFormat& format : kPictureFormats) {
    const std::vector<uint8_t> picture = ReadTestData(std::string("photo_720x576.") + format.name + ".ref");
    ASSERT_EQ(picture.size(), std::size_t(kPhotoWidth * kPhotoHeight * format.bitCount / 8)) << format.name;
    double meanAt7000 = 0;
    for (const auto& [quality, allowedMean] : qualities) {
      const std::vector<uint8_t> frame = Compress(format, picture, quality);
      ASSERT_EQ(result_, ICERR_OK) << format.name;
      const double mean = Difference(Decode(frame, format), picture, format.bitCount).first;
      EXPECT_LT(mean, allowedMean) << format.name << " at quality " << quality;
      if (quality == 7000) meanAt7000 = mean;
    }
    // Swapped fields come back in their places: the wrapped edge line, coded in the
    // other field, is allowed a little extra.
    SetChangeFieldsOrder(codec_, 1);
    const std::vector<uint8_t> swapped = Compress(format, picture, 7000);
    ASSERT_EQ(result_, ICERR_OK);
    EXPECT_LT(Difference(Decode(swapped, format), picture, format.bitCount).first, meanAt7000 + 0.2) << format.name;
    // Any other value, possible only through a state blob, codes nothing.
    SetChangeFieldsOrder(codec_, 2);
    EXPECT_EQ(Compress(format, picture, 7000)[0], 0) << "no frame written";
    EXPECT_EQ(result_, ICERR_OK);
    SetChangeFieldsOrder(codec_, 0);
  }
}

TEST_F(VcmSessions, HostileCallsGetTheirCodes) {
  const std::vector<uint8_t> picture = ReadTestData("photo_720x576.rgb24.ref");
  std::vector<uint8_t> frame = ReadTestData("photo_720x576.trvx");
  frame.resize(frame.size() + kFramePadding);
  BITMAPINFOHEADER input = PhotoHeader(BI_RGB, 24);
  BITMAPINFOHEADER output = PhotoHeader(FourCc("TRVX"), 24);
  std::vector<uint8_t> bits(picture.size() + 1024);
  const auto compress = [&](const void* from, DWORD quality) {
    DWORD flags = 0;
    return ICCompress(codec_, 0, &output, bits.data(), &input, const_cast<void*>(from), nullptr, &flags, 0, 0, quality,
                      nullptr, nullptr);
  };
  // BEGIN checks sizes and the output only: the FourCC list is the query's business.
  BITMAPINFOHEADER unlisted = output;
  unlisted.biCompression = FourCc("AVRn");
  unlisted.biSizeImage = static_cast<DWORD>(frame.size() - kFramePadding);
  const auto decompress = [&] { return ICDecompress(codec_, 0, &unlisted, frame.data(), &input, bits.data()); };
  EXPECT_EQ(compress(picture.data(), 7000), ICERR_ERROR) << "a frame before BEGIN";
  EXPECT_EQ(decompress(), ICERR_ERROR) << "a frame before BEGIN";
  EXPECT_EQ(ICDecompressBegin(codec_, &unlisted, &input), ICERR_OK);
  EXPECT_EQ(ICDecompressBegin(codec_, &unlisted, &input), ICERR_OK) << "BEGIN twice";
  EXPECT_EQ(decompress(), ICERR_OK);
  EXPECT_EQ(ICDecompressEnd(codec_), ICERR_OK);
  EXPECT_EQ(ICDecompressEnd(codec_), ICERR_OK) << "END twice";
  BITMAPINFOHEADER odd = input, oddOutput = output;
  odd.biWidth = oddOutput.biWidth = 100;
  EXPECT_EQ(ICCompressBegin(codec_, &odd, &oddOutput), ICERR_BADFORMAT);

  ASSERT_EQ(ICCompressBegin(codec_, &input, &output), ICERR_OK);
  EXPECT_EQ(compress(picture.data(), 20000), ICERR_OK) << "a quality above the scale codes at the tables there are";
  EXPECT_EQ(compress(reinterpret_cast<void*>(0xDEAD0000), 7000), ICERR_ERROR) << "a bad picture pointer";
  // A fault on the worker thread ends it for good, as designed: only a new session
  // brings the second thread back.
  EXPECT_EQ(ICCompressEnd(codec_), ICERR_OK);
  DWORD handlesBefore = 0, handlesAfter = 0;
  GetProcessHandleCount(GetCurrentProcess(), &handlesBefore);
  for (int cycle = 0; cycle < 1000; ++cycle) {
    ICCompressBegin(codec_, &input, &output);
    EXPECT_EQ(compress(picture.data(), 7000), ICERR_OK) << "the next session works";
    ICCompressEnd(codec_);
  }
  GetProcessHandleCount(GetCurrentProcess(), &handlesAfter);
  EXPECT_LE(handlesAfter, handlesBefore + 2);
}

// A whole frame ending at the fence decodes as it does with room behind it on every
// path: with its APP1 offset (the worker's path on two processors), without it (found
// by scanning, or by consumption on one processor), and a camera's frame. Cuts of it
// fail or decode, and the next good frame decodes. Bad data in a field handed to the
// worker hangs the caller by design, so the cuts lose their APP1 marker.
TEST_F(VcmSessions, FramesEndingAtTheFenceOnEveryPath) {
  const BITMAPINFOHEADER input = Bitmap(FourCc("TRVX"), 24, 64, 32), output = Bitmap(BI_RGB, 32, 64, 32);
  const std::vector<uint8_t> withOffset = ReadTestData("photo_64x32.trvx"), camera = ReadTestData("photo_64x32.jpg");
  ASSERT_FALSE(withOffset.empty() || camera.empty()) << "test frames missing: photo_64x32.*";
  std::vector<uint8_t> withoutOffset = withOffset;
  for (std::size_t i = 0; i + 1 < withoutOffset.size(); ++i) {
    if (withoutOffset[i] == 0xFF && withoutOffset[i + 1] == 0xE1) withoutOffset[i + 1] = 0xE2;
  }
  const auto fenced = [&](const std::vector<uint8_t>& frame, std::size_t length) {
    const FencedBuffer fence(frame.data(), length);
    EXPECT_NE(fence.data(), nullptr);
    return DecodeInSession(input, fence.data(), length, output);
  };
  for (const char* flag : {"0", "1", "3", "15", "31", "135", "143", "159"}) {
    ProcessorOverride processor(flag);
    ASSERT_EQ(ICDecompressBegin(codec_, &input, &output), ICERR_OK);
    std::vector<uint8_t> padded;
    const std::pair<const char*, const std::vector<uint8_t>*> frames[] = {
        {"with APP1", &withOffset}, {"one 4:2:0 image", &camera}, {"without APP1", &withoutOffset}};
    for (const auto& [what, frame] : frames) {
      std::vector<uint8_t> room = *frame;
      room.resize(frame->size() + 2 * kFramePadding + 64 * 1024);
      padded = DecodeInSession(input, room.data(), frame->size(), output);
      ASSERT_EQ(result_, ICERR_OK) << "class " << flag << ", " << what;
      EXPECT_EQ(fenced(*frame, frame->size()), padded) << "class " << flag << ", " << what;
      EXPECT_EQ(result_, ICERR_OK) << "class " << flag << ", " << what;
    }
    for (std::size_t cut = 1; cut < withoutOffset.size(); cut += (cut < 300 ? 1 : 7) * (flag[0] == '0' ? 1 : 5)) {
      fenced(withoutOffset, cut);
      EXPECT_TRUE(result_ == ICERR_OK || result_ == ICERR_ERROR) << "class " << flag << ", cut at " << cut;
    }
    EXPECT_EQ(fenced(withoutOffset, withoutOffset.size()), padded) << "class " << flag << ": the next good frame";
    EXPECT_EQ(ICDecompressEnd(codec_), ICERR_OK);
  }
}

}  // namespace
}  // namespace trvx::test
