// The decoder against libjpeg-turbo: frames that libjpeg-turbo coded from a real
// photograph, decoded by the session into every output format, on every processor
// path, with one and with two threads.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "support/field_frames.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

struct ProcessorPath {
  const char* name;
  const char* flag;  // TRVX_CPU value
  bool plain;
};

// 159 (AMD with SSE2) runs the plain arithmetic on any machine.
const ProcessorPath kPlain = {"plain", "159", true};
const ProcessorPath kPaths[] = {
    kPlain, {"MMX", "3", false}, {"SSE", "15", false}, {"SSE2", "31", false}, {"AMD SSE", "143", false}};

// Against libjpeg-turbo's accurate IDCT. Measured: max 1 everywhere, mean up to 0.17
// on the plain path and 0.05 on the vector paths. A rounding bias of half a level or
// a wrong table goes well past these.
constexpr int kMaxYuvError = 3;
constexpr double kMeanYuvError = 0.3;
// Vector paths convert samples with 4 fractional bits, but the YCbCr they are checked
// against was rounded to whole levels: half a level of Cb alone moves B by about one
// (x 2.018), and Y adds its share. Measured: max 2, mean 0.34 to 0.37.
constexpr int kMaxVectorRgbError = 2;
constexpr double kMeanVectorRgbError = 0.5;

uint32_t OneProcessor() { return 1; }
uint32_t TwoProcessors() { return 2; }

// The output bitmap; empty when the session refused, failed or wrote past it (reported).
std::vector<uint8_t> Decode(const FieldFrameSource& source, const Frame& frame, const OutputFormat& format,
                            const ProcessorPath& path, int threads) {
  ProcessorOverride processor(path.flag);
  std::vector<uint8_t> bits;
  const int32_t result =
      DecodeFrame(frame, source.width(), source.height(), format, threads == 2 ? &TwoProcessors : &OneProcessor, bits);
  EXPECT_EQ(result, 0) << format.name << ", " << path.name << ", " << threads << " thread(s)";
  if (result != 0) bits.clear();
  return bits;
}

// Picture samples in display order (line 0 at the top) for any 16-bit output.
struct Planes {
  int width = 0;
  std::vector<uint8_t> y, cb, cr;  // cb and cr: width / 2 per line
  uint8_t Y(int line, int x) const { return y[static_cast<std::size_t>(line) * width + x]; }
  uint8_t Cb(int line, int x) const { return cb[static_cast<std::size_t>(line) * (width / 2) + x]; }
  uint8_t Cr(int line, int x) const { return cr[static_cast<std::size_t>(line) * (width / 2) + x]; }
};

Planes Unpack(const std::vector<uint8_t>& bits, const OutputFormat& format, int width, int height) {
  Planes planes;
  planes.width = width;
  planes.y.resize(static_cast<std::size_t>(width) * height);
  planes.cb.resize(planes.y.size() / 2);
  planes.cr.resize(planes.y.size() / 2);
  // Byte positions of Y0, chroma-blue, Y1, chroma-red inside each 4-byte pixel pair.
  int y0 = 1, u = 0, y1 = 3, v = 2;
  if (format.compression == kYuy2.compression) y0 = 0, u = 1, y1 = 2, v = 3;
  if (format.compression == kYvyu.compression) y0 = 0, v = 1, y1 = 2, u = 3;
  for (int line = 0; line < height; ++line) {
    const uint8_t* row = bits.data() + static_cast<std::size_t>(line) * width * 2;
    for (int pair = 0; pair < width / 2; ++pair) {
      const std::size_t luma = static_cast<std::size_t>(line) * width + 2 * pair;
      const std::size_t chroma = static_cast<std::size_t>(line) * (width / 2) + pair;
      if (format.compression == kY16.compression) {
        // Per 16 pixels: 16 Y, 8 Cb, 8 Cr.
        const uint8_t* group = row + (pair / 8) * 32;
        const int x = (pair % 8) * 2;
        planes.y[luma] = group[x];
        planes.y[luma + 1] = group[x + 1];
        planes.cb[chroma] = group[16 + pair % 8];
        planes.cr[chroma] = group[24 + pair % 8];
      } else {
        const uint8_t* p = row + 4 * pair;
        planes.y[luma] = p[y0];
        planes.y[luma + 1] = p[y1];
        planes.cb[chroma] = p[u];
        planes.cr[chroma] = p[v];
      }
    }
  }
  return planes;
}

struct ErrorStats {
  int max = 0;
  double sum = 0;
  std::size_t count = 0;
  void Add(int a, int b) {
    const int d = std::abs(a - b);
    max = std::max(max, d);
    sum += d;
    ++count;
  }
  double mean() const { return count == 0 ? 0.0 : sum / static_cast<double>(count); }
};

// Output line 2l + f holds line l of field f.
void CompareWithReference(const Planes& planes, const FieldFrameSource& source, bool lumaOnly, ErrorStats& luma,
                          ErrorStats& chroma) {
  for (int line = 0; line < source.height(); ++line) {
    const YuvPlanes& field = source.reference(line % 2);
    const std::size_t fieldLine = static_cast<std::size_t>(line / 2);
    for (int x = 0; x < source.width(); ++x) luma.Add(planes.Y(line, x), field.y[fieldLine * source.width() + x]);
    if (lumaOnly) continue;
    for (int x = 0; x < source.width() / 2; ++x) {
      chroma.Add(planes.Cb(line, x), field.cb[fieldLine * (source.width() / 2) + x]);
      chroma.Add(planes.Cr(line, x), field.cr[fieldLine * (source.width() / 2) + x]);
    }
  }
}

int Clamp(int v) { return v <= 0 ? 0 : v >= 255 ? 255 : v; }

// The converter's integer BT.601 studio-range formula on level-shifted samples.
void FormulaBgr(int y, int cb, int cr, int bgr[3]) {
  y -= 128, cb -= 128, cr -= 128;
  bgr[0] = Clamp((76283 * y + 132251 * cb + 8576464) >> 16);
  bgr[1] = Clamp((76283 * y - 25674 * cb - 53278 * cr + 8576464) >> 16);
  bgr[2] = Clamp((76283 * y + 104595 * cr + 8576464) >> 16);
}

struct Case {
  int width;
  int height;
  int quality;
};

std::string CaseName(const testing::TestParamInfo<Case>& info) {
  return std::to_string(info.param.width) + "x" + std::to_string(info.param.height) + "_q" +
         std::to_string(info.param.quality);
}

class OutsideFrames : public testing::TestWithParam<Case> {
 protected:
  void SetUp() override {
    const Case c = GetParam();
    const std::string photo = FieldFrameSource::FindPhoto(c.width, c.height);
    if (photo.empty()) GTEST_SKIP() << "no photograph: install the mate-backgrounds package";
    source_ = std::make_unique<FieldFrameSource>(photo, c.width, c.height, c.quality);
    ASSERT_TRUE(source_->ok()) << source_->error();
    frame_ = source_->Build(FrameVariant{});
  }

  std::vector<uint8_t> Decode(const OutputFormat& format, const ProcessorPath& path, int threads,
                              const Frame* frame = nullptr) const {
    return trvx::test::Decode(*source_, frame != nullptr ? *frame : frame_, format, path, threads);
  }

  std::string Label(const char* what, const ProcessorPath& path, int threads) const {
    return std::to_string(source_->width()) + "x" + std::to_string(source_->height()) + " " + what + " " + path.name +
           (threads == 2 ? " 2 threads" : "");
  }

  std::unique_ptr<FieldFrameSource> source_;
  Frame frame_;
};

TEST_P(OutsideFrames, PackedYuvIsCloseToLibjpegTurbosPlanes) {
  for (const ProcessorPath& path : kPaths) {
    for (const int threads : {1, 2}) {
      for (const OutputFormat& format : {kUyvy, kYuy2, kYvyu, kY16}) {
        const std::vector<uint8_t> bits = Decode(format, path, threads);
        if (bits.empty()) continue;
        // The blocked layout is the converter tests' business; its luma is enough here.
        const bool lumaOnly = format.compression == kY16.compression;
        ErrorStats luma, chroma;
        CompareWithReference(Unpack(bits, format, source_->width(), source_->height()), *source_, lumaOnly, luma,
                             chroma);
        const std::string label = Label(format.name, path, threads);
        // Two threads must give the very same bytes (checked below); one line is enough.
        if (threads == 1) {
          std::printf("%-30s Y max %d mean %.3f", label.c_str(), luma.max, luma.mean());
          if (!lumaOnly) std::printf("  CbCr max %d mean %.3f", chroma.max, chroma.mean());
          std::printf("\n");
        }
        EXPECT_LE(luma.max, kMaxYuvError) << label;
        EXPECT_LE(luma.mean(), kMeanYuvError) << label;
        if (lumaOnly) continue;
        EXPECT_LE(chroma.max, kMaxYuvError) << label;
        EXPECT_LE(chroma.mean(), kMeanYuvError) << label;
      }
    }
  }
}

// RGB is the converter's formula applied to the same path's YCbCr. Where a YCbCr
// byte was clamped to 0 or 255 the unclamped sample the RGB kernel saw is unknown,
// so those pixels are left out (and counted).
TEST_P(OutsideFrames, RgbIsTheConverterFormulaOnTheCodecsOwnYcbcr) {
  const int width = source_->width();
  const int height = source_->height();
  for (const ProcessorPath& path : kPaths) {
    for (const int threads : {1, 2}) {
      const std::vector<uint8_t> yuv = Decode(kUyvy, path, threads);
      if (yuv.empty()) continue;
      const Planes planes = Unpack(yuv, kUyvy, width, height);
      for (const OutputFormat& format : {kRgb24, kRgb32}) {
        const std::vector<uint8_t> bits = Decode(format, path, threads);
        if (bits.empty()) continue;
        const int bytesPerPixel = format.bitCount / 8;
        ErrorStats error;
        std::size_t skipped = 0, nonZeroFourth = 0;
        for (int line = 0; line < height; ++line) {
          // Bottom-up: display line 0 is the last row in memory.
          const uint8_t* row = bits.data() + static_cast<std::size_t>(height - 1 - line) * width * bytesPerPixel;
          for (int x = 0; x < width; ++x) {
            const int y = planes.Y(line, x), cb = planes.Cb(line, x / 2), cr = planes.Cr(line, x / 2);
            const uint8_t* pixel = row + x * bytesPerPixel;
            if (bytesPerPixel == 4 && pixel[3] != 0) ++nonZeroFourth;
            if (std::min({y, cb, cr}) == 0 || std::max({y, cb, cr}) == 255) {
              ++skipped;
              continue;
            }
            int expected[3];
            FormulaBgr(y, cb, cr, expected);
            for (int c = 0; c < 3; ++c) error.Add(pixel[c], expected[c]);
          }
        }
        const std::string label = Label(format.name, path, threads);
        if (threads == 1) {
          std::printf("%-30s max %d mean %.3f (%zu clamped pixels left out)\n", label.c_str(), error.max, error.mean(),
                      skipped);
        }
        EXPECT_EQ(nonZeroFourth, 0u) << label;
        EXPECT_LE(error.max, path.plain ? 0 : kMaxVectorRgbError) << label;
        EXPECT_LE(error.mean(), path.plain ? 0.0 : kMeanVectorRgbError) << label;
        EXPECT_LT(skipped, error.count / 3 / 100 + 1) << label << ": too little of the picture was compared";
      }
    }
  }
}

// Only SOF0, the first DQT, SOS and APP1's offset may steer the decoder: nothing else
// a producer adds or leaves out may change a single output byte, nor may the thread count.
TEST_P(OutsideFrames, EveryFrameVariantAndThreadCountGivesTheSameBitmap) {
  const FrameVariant variants[] = {
      {DhtContent::Strip, true, true},        {DhtContent::Strip, true, false},
      {DhtContent::Strip, false, true},       {DhtContent::Keep, true, true},
      {DhtContent::Keep, false, true},        {DhtContent::Meaningless, true, true},
      {DhtContent::Meaningless, true, false}, {DhtContent::Meaningless, false, true},
  };
  std::vector<Frame> frames;
  for (const FrameVariant& variant : variants) frames.push_back(source_->Build(variant));
  for (const ProcessorPath& path : {kPlain, kPaths[3]}) {
    for (const OutputFormat& format : kOutputFormats) {
      const std::vector<uint8_t> expected = Decode(format, path, 1, &frames[0]);
      ASSERT_FALSE(expected.empty()) << format.name << " " << path.name;
      for (std::size_t v = 0; v < frames.size(); ++v) {
        for (const int threads : {1, 2}) {
          if (v == 0 && threads == 1) continue;
          EXPECT_TRUE(Decode(format, path, threads, &frames[v]) == expected)
              << format.name << ", " << path.name << ", " << threads << " thread(s), " << DescribeVariant(variants[v]);
        }
      }
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Photo, OutsideFrames,
                         testing::Values(Case{720, 576, 94}, Case{1920, 1088, 75}, Case{64, 32, 94}, Case{16, 32, 50}),
                         CaseName);

}  // namespace
}  // namespace trvx::test
