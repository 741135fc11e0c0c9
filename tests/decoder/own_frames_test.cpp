// Frames the codec wrote itself: on one processor the first image points at the
// second, on two it does not and a two-thread decoder finds the second by scanning.
// Either way every processor path, output format and thread mode gives one bitmap.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "encoder/encoder_session.h"
#include "support/bitmap_header.h"
#include "support/field_frames.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

constexpr int kWidth = 720;
constexpr int kHeight = 576;

uint32_t OneProcessor() { return 1; }
uint32_t TwoProcessors() { return 2; }

// The photograph's RGB bytes taken as a BGR bitmap: any real picture will do.
Frame EncodeFrame(const std::vector<uint8_t>& picture, ProcessorCountQuery processors) {
  EncoderSession encoder(processors);
  const BitmapHeader input = Bitmap(kWidth, kHeight, 24);
  BitmapHeader output = Bitmap(kWidth, kHeight, 24, kCodecFourCc);
  Frame frame;
  frame.bytes.assign(picture.size() + kFramePadding, 0);
  EXPECT_EQ(encoder.Begin(&input, &output), 0);
  EXPECT_EQ(encoder.Compress(&output, frame.bytes.data(), &input, picture.data(), 7000), 0);
  EXPECT_EQ(encoder.End(), 0);
  frame.length = output.sizeImage;
  return frame;
}

TEST(OwnFrames, DecodeAlikeWhereverTheSecondFieldIsFound) {
  const std::string photo = FieldFrameSource::FindPhoto(kWidth, kHeight);
  if (photo.empty()) GTEST_SKIP() << "no photograph: install the mate-backgrounds package";
  const FieldFrameSource source(photo, kWidth, kHeight, 90);
  ASSERT_TRUE(source.ok()) << source.error();
  const Frame frames[] = {EncodeFrame(source.pictureRgb(), &OneProcessor),
                          EncodeFrame(source.pictureRgb(), &TwoProcessors)};
  for (const char* flag : {"0", "1", "3", "15", "31", "135", "143", "159"}) {
    ProcessorOverride processor(flag);
    for (const OutputFormat& format : kOutputFormats) {
      std::vector<uint8_t> expected, bits;
      ASSERT_EQ(DecodeFrame(frames[0], kWidth, kHeight, format, &OneProcessor, expected), 0);
      for (const Frame& frame : frames) {
        for (ProcessorCountQuery processors : {&OneProcessor, &TwoProcessors}) {
          EXPECT_EQ(DecodeFrame(frame, kWidth, kHeight, format, processors, bits), 0);
          EXPECT_TRUE(bits == expected) << "class " << flag << ", " << format.name << ", written on "
                                        << (&frame == &frames[0] ? 1 : 2) << " processor(s), decoded on "
                                        << processors() << " processor(s)";
        }
      }
    }
  }
}

}  // namespace
}  // namespace trvx::test
