// Frames the codec wrote itself: on one processor the first image points at the
// second, on two it does not and a two-thread decoder finds the second by scanning.
// Every path writes and decodes exactly the bytes it always has, whichever way.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <vector>

#include "encoder/encoder_session.h"
#include "support/bitmap_header.h"
#include "support/field_frames.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

// CIF: a size hosts use, and not a multiple of 64.
constexpr int kWidth = 352;
constexpr int kHeight = 288;

uint32_t OneProcessor() { return 1; }
uint32_t TwoProcessors() { return 2; }

Frame EncodeFrame(const std::vector<uint8_t>& picture, const BitmapHeader& input, ProcessorCountQuery processors) {
  EncoderSession encoder(processors);
  BitmapHeader output = Bitmap(kWidth, kHeight, 24, kCodecFourCc);
  Frame frame;
  frame.bytes.assign(picture.size() + kFramePadding, 0);
  EXPECT_EQ(encoder.Begin(&input, &output), 0);
  EXPECT_EQ(encoder.Compress(&output, frame.bytes.data(), &input, picture.data(), 7000), 0);
  EXPECT_EQ(encoder.End(), 0);
  frame.length = output.sizeImage;
  return frame;
}

uint64_t Digest(const uint8_t* bytes, std::size_t size, uint64_t digest) {
  for (std::size_t i = 0; i < size; ++i) digest = (digest ^ bytes[i]) * 1099511628211ull;  // FNV-1a
  return digest;
}

// Gradients, texture and noise: large and small coefficients, stuffed 0xFF bytes.
std::vector<uint8_t> SyntheticPicture(int width, int height, int bytesPerPixel) {
  std::vector<uint8_t> picture(std::size_t(width) * height * bytesPerPixel);
  uint32_t noise = 12345;
  for (std::size_t i = 0; i < picture.size(); ++i) {
    const int x = int(i / bytesPerPixel) % width, y = int(i / bytesPerPixel) / width;
    noise = noise * 1664525u + 1013904223u;
    const double texture = 50 * std::sin(x * 0.31 + int(i % bytesPerPixel)) * std::cos(y * 0.17);
    const int value = int(255.0 * (x + y) / (width + height) + texture) + int(noise >> 27) - 16;
    picture[i] = uint8_t(value < 0 ? 0 : value > 255 ? 255 : value);
  }
  return picture;
}

// Per processor path, digests of every frame it writes (BGR24 and YUY2 input, one and
// two processors) and of every bitmap it decodes from them (every output format, one
// and two threads). Recorded from the codec as it stands; a change of one byte on
// any path shows here.
TEST(OwnFrames, EveryPathWritesAndDecodesTheBytesItAlwaysHas) {
  const struct {
    std::vector<const char*> classes;
    uint64_t encoded, decoded;
  } paths[] = {
      // 159 runs the plain arithmetic in SSE2 and must give class 0's bytes.
      {{"0", "159"}, 0x77c0c00e4ac129eeull, 0xb286c6898bdd4dcdull},
      {{"1", "3", "15", "31", "135", "143"}, 0xe566a10ff32e58d4ull, 0x6f843fe00498684dull},
  };
  const std::vector<uint8_t> pictures[] = {SyntheticPicture(kWidth, kHeight, 3), SyntheticPicture(kWidth, kHeight, 2)};
  const BitmapHeader inputs[] = {Bitmap(kWidth, kHeight, 24), Bitmap(kWidth, kHeight, 16, kYuy2FourCc)};
  for (const auto& path : paths) {
    for (const char* flag : path.classes) {
      ProcessorOverride processor(flag);
      uint64_t encoded = 14695981039346656037ull, decoded = encoded;
      for (int input = 0; input < 2; ++input) {
        for (ProcessorCountQuery writers : {&OneProcessor, &TwoProcessors}) {
          const Frame frame = EncodeFrame(pictures[input], inputs[input], writers);
          encoded = Digest(frame.bytes.data(), frame.length, encoded);
          for (const OutputFormat& format : kOutputFormats) {
            for (ProcessorCountQuery readers : {&OneProcessor, &TwoProcessors}) {
              std::vector<uint8_t> bits;
              EXPECT_EQ(DecodeFrame(frame, kWidth, kHeight, format, readers, bits), 0);
              decoded = Digest(bits.data(), bits.size(), decoded);
            }
          }
        }
      }
      std::printf("class %-3s encoded %016llx decoded %016llx\n", flag, (unsigned long long)encoded,
                  (unsigned long long)decoded);
      EXPECT_EQ(encoded, path.encoded) << "class " << flag << " writes other bytes";
      EXPECT_EQ(decoded, path.decoded) << "class " << flag << " decodes other pixels";
    }
  }
}

}  // namespace
}  // namespace trvx::test
