// Hostile frames through the manager, ending at an inaccessible page: the codec answers
// ICERR_OK or ICERR_ERROR, keeps the host alive and decodes the next frame. Bad data in
// a field handed to the worker (by an APP1 offset) hangs the caller by design, so these
// frames lose their APP1 marker.
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "support/codec_library.h"
#include "support/fenced_buffer.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

constexpr LONG kWidth = 64;
constexpr LONG kHeight = 32;
// Enough for any frame: field 0's coded data may start a scan window and a segment
// in, field 1's headers and data as far again behind it, plus a few MCUs of reading.
constexpr std::size_t kInputPadding = 2 * kFramePadding + 64 * 1024;
constexpr std::size_t kPage = 4096;
constexpr uint8_t kUntouched = 0xA5;

// Any 0xFF 0xE1 (APP1) or 0xFF 0xC0 (SOF0) pair loses its code: no worker path, and
// no picture size other than the one the session already has, which the output
// bitmap is made for (the converter trusts the stream's size).
void Defuse(std::vector<uint8_t>& frame) {
  for (std::size_t i = 0; i + 1 < frame.size(); ++i) {
    if (frame[i] == 0xFF && (frame[i + 1] == 0xE1 || frame[i + 1] == 0xC0)) frame[i + 1] = 0xE2;
  }
}

class VcmHostileFrames : public testing::Test {
 protected:
  void SetUp() override {
    frame_ = ReadTestData("photo_64x32.trvx");
    ASSERT_FALSE(frame_.empty()) << "test frame missing: photo_64x32.trvx";
    // Only the APP1 marker goes; the SOF0s of the real frame stay.
    for (std::size_t i = 0; i + 1 < frame_.size(); ++i) {
      if (frame_[i] == 0xFF && frame_[i + 1] == 0xE1) frame_[i + 1] = 0xE2;
    }
    ASSERT_TRUE(InstallCodec());
    codec_ = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_DECOMPRESS);
    ASSERT_NE(codec_, nullptr);
    ASSERT_EQ(ICDecompressBegin(codec_, &input_, &output_), ICERR_OK);
  }
  void TearDown() override {
    if (codec_ == nullptr) return;
    ICDecompressEnd(codec_);
    ICClose(codec_);
  }

  // Returns the bitmap; the result lands in result_. The bytes after the bitmap
  // must stay as they were.
  std::vector<uint8_t> Decode(uint8_t* frame, std::size_t length) {
    std::vector<uint8_t> picture(output_.biSizeImage + kPage, kUntouched);
    input_.biSizeImage = static_cast<DWORD>(length);
    // A DWORD in either width, so the codes are 32-bit.
    result_ = static_cast<LONG>(ICDecompress(codec_, 0, &input_, frame, &output_, picture.data()));
    for (std::size_t i = output_.biSizeImage; i < picture.size(); ++i) {
      if (picture[i] != kUntouched) {
        ADD_FAILURE() << "wrote past the bitmap";
        break;
      }
    }
    picture.resize(output_.biSizeImage);
    return picture;
  }
  std::vector<uint8_t> DecodePadded(std::vector<uint8_t> frame) {
    const std::size_t length = frame.size();
    frame.resize(length + kInputPadding, 0);
    return Decode(frame.data(), length);
  }
  std::vector<uint8_t> DecodeFenced(const std::vector<uint8_t>& frame) {
    FencedBuffer fenced(frame.data(), frame.size());
    EXPECT_NE(fenced.data(), nullptr);
    return Decode(fenced.data(), frame.size());
  }

  BITMAPINFOHEADER input_ = Bitmap(FourCc("TRVX"), 24, kWidth, kHeight);
  BITMAPINFOHEADER output_ = Bitmap(BI_RGB, 32, kWidth, kHeight);
  HIC codec_ = nullptr;
  std::vector<uint8_t> frame_;
  LONG result_ = ICERR_OK;
};

// On every processor path: a whole frame ending at the fence decodes as it does with
// room behind it, with its APP1 offset (the worker's path on two processors), without
// it (found by scanning, or by consumption on one processor), and a camera's frame;
// cuts of it and random frames fail or decode, and the next good frame decodes.
TEST_F(VcmHostileFrames, FramesEndingAtTheFenceOnEveryPath) {
  const std::vector<uint8_t> withOffset = ReadTestData("photo_64x32.trvx");
  const std::vector<uint8_t> wholeImage = ReadTestData("photo_64x32.jpg");
  ASSERT_FALSE(wholeImage.empty()) << "test frame missing: photo_64x32.jpg";
  std::mt19937 random(771);
  for (const char* flag : {"0", "1", "3", "15", "31", "135", "143", "159"}) {
    ProcessorOverride processor(flag);
    ASSERT_EQ(ICDecompressEnd(codec_), ICERR_OK);
    ASSERT_EQ(ICDecompressBegin(codec_, &input_, &output_), ICERR_OK);
    const std::pair<const char*, const std::vector<uint8_t>*> frames[] = {
        {"with APP1", &withOffset}, {"one 4:2:0 image", &wholeImage}, {"without APP1", &frame_}};
    std::vector<uint8_t> padded;
    for (const auto& [what, frame] : frames) {
      padded = DecodePadded(*frame);
      ASSERT_EQ(result_, ICERR_OK) << "class " << flag << ", " << what;
      EXPECT_EQ(DecodeFenced(*frame), padded) << "class " << flag << ", " << what;
      EXPECT_EQ(result_, ICERR_OK) << "class " << flag << ", " << what;
    }
    for (std::size_t cut = 1; cut < frame_.size(); cut += (cut < 300 ? 1 : 7) * (flag[0] == '0' ? 1 : 5)) {
      DecodeFenced(std::vector<uint8_t>(frame_.begin(), frame_.begin() + cut));
      EXPECT_TRUE(result_ == ICERR_OK || result_ == ICERR_ERROR) << "class " << flag << ", cut at " << cut;
    }
    for (int n = 0; n < 40; ++n) {
      std::vector<uint8_t> frame(1 + random() % 6000);
      for (uint8_t& byte : frame) byte = uint8_t(random() % 4 == 0 ? 0xFF : random());
      Defuse(frame);
      DecodeFenced(frame);
      EXPECT_TRUE(result_ == ICERR_OK || result_ == ICERR_ERROR) << "class " << flag << ", random frame " << n;
    }
    EXPECT_EQ(DecodePadded(frame_), padded) << "class " << flag << ": the next good frame";
    EXPECT_EQ(result_, ICERR_OK);
  }
}

}  // namespace
}  // namespace trvx::test
