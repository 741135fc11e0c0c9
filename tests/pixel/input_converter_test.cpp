#include "pixel/input_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <vector>

#include "pixel/memory_routines.h"
#include "pixel/output_converter.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"
#include "settings/settings_record.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

using test::kVectorKernelsBuilt;
constexpr uint32_t kUyvy = kUyvyFourCc, kYuy2 = kYuy2FourCc, kYvyu = kYvyuFourCc;

// A frame of 3 x 2 MCUs per field, two fields.
constexpr int kWidth = 48, kHeight = 64, kColumns = 3, kRows = 2;

struct Rgb {
  int r, g, b;
};

// Top-down pictures as the host sees them, one entry per pixel (YUV: per pair too).
using RgbPicture = std::vector<Rgb>;
struct YuvPicture {
  std::vector<uint8_t> y, u, v;  // u and v per pixel pair
};

RgbPicture RandomRgb(uint32_t seed) {
  test::Lcg random{seed};
  RgbPicture picture(kWidth * kHeight);
  for (auto& p : picture) p = {random.Next(0, 255), random.Next(0, 255), random.Next(0, 255)};
  return picture;
}

YuvPicture RandomYuv(uint32_t seed) {
  test::Lcg random{seed};
  YuvPicture picture{std::vector<uint8_t>(kWidth * kHeight), std::vector<uint8_t>(kWidth * kHeight / 2),
                     std::vector<uint8_t>(kWidth * kHeight / 2)};
  for (auto* plane : {&picture.y, &picture.u, &picture.v}) {
    for (auto& b : *plane) b = static_cast<uint8_t>(random.Next(0, 255));
  }
  return picture;
}

// Bottom-up storage; the fourth byte of 32-bit pixels is junk the kernels must ignore.
std::vector<uint8_t> StoreRgb(const RgbPicture& picture, int bytesPerPixel) {
  std::vector<uint8_t> bits(std::size_t{kWidth} * kHeight * bytesPerPixel);
  for (int line = 0; line < kHeight; ++line) {
    uint8_t* row = bits.data() + std::size_t(kHeight - 1 - line) * kWidth * bytesPerPixel;
    for (int x = 0; x < kWidth; ++x) {
      const Rgb& p = picture[line * kWidth + x];
      uint8_t* out = row + x * bytesPerPixel;
      out[0] = static_cast<uint8_t>(p.b);
      out[1] = static_cast<uint8_t>(p.g);
      out[2] = static_cast<uint8_t>(p.r);
      if (bytesPerPixel == 4) out[3] = static_cast<uint8_t>(0x5A ^ x ^ line);
    }
  }
  return bits;
}

std::vector<uint8_t> StoreYuv(const YuvPicture& picture, uint32_t fourCc) {
  std::vector<uint8_t> bits(std::size_t{kWidth} * kHeight * 2);
  for (int line = 0; line < kHeight; ++line) {
    uint8_t* row = bits.data() + std::size_t(line) * kWidth * 2;
    for (int pair = 0; pair < kWidth / 2; ++pair) {
      const int at = line * kWidth + 2 * pair;
      const uint8_t y0 = picture.y[at], y1 = picture.y[at + 1];
      const uint8_t u = picture.u[at / 2], v = picture.v[at / 2];
      std::array<uint8_t, 4> bytes{};
      if (fourCc == kUyvy) bytes = {u, y0, v, y1};
      if (fourCc == kYuy2) bytes = {y0, u, y1, v};
      if (fourCc == kYvyu) bytes = {y0, v, y1, u};
      if (fourCc == kY16FourCc) {
        // Per 16-pixel group: 8 Y, 8 Y, 8 Cb, 8 Cr.
        uint8_t* group = row + 32 * (pair / 8);
        const int k = pair % 8;
        group[(k / 4) * 8 + 2 * (k % 4)] = y0;
        group[(k / 4) * 8 + 2 * (k % 4) + 1] = y1;
        group[16 + k] = u;
        group[24 + k] = v;
        continue;
      }
      std::memcpy(row + 4 * pair, bytes.data(), 4);
    }
  }
  return bits;
}

BitmapHeader Header(uint16_t bitCount, uint32_t compression) {
  BitmapHeader header{};
  header.size = sizeof header;
  header.width = kWidth;
  header.height = kHeight;
  header.bitCount = bitCount;
  header.compression = compression;
  return header;
}

// Every MCU of both fields, in field, row, column order, 256 samples each.
std::vector<int16_t> ConvertAll(const std::vector<uint8_t>& bits, const BitmapHeader& header, int32_t flag) {
  auto converter = MakeInputConverter(header);
  FrameDescription description;
  description.fieldCount = 2;
  description.width = kWidth;
  description.height = kHeight;
  EXPECT_EQ(converter->Setup(bits.data(), header, description, flag), 0);
  BlockBuffer blocks;
  EXPECT_TRUE(blocks.Allocate());
  std::vector<int16_t> out;
  for (uint8_t field = 0; field < 2; ++field) {
    description.fieldIndex = field;
    for (uint32_t row = 0; row < kRows; ++row) {
      for (uint32_t column = 0; column < kColumns; ++column) {
        std::fill_n(blocks.coefficients, 256, int16_t{0x7777});
        EXPECT_EQ(converter->Convert(description, blocks, column, row), 0);
        out.insert(out.end(), blocks.coefficients, blocks.coefficients + 256);
      }
    }
  }
  if (flag != kProcessorPlain) ClearMmxState();
  return out;
}

// Where sample i of MCU m came from: picture line (top-down) and pixel column.
struct Origin {
  int line, x;
};
Origin OriginOf(std::size_t m, int i) {
  const int field = static_cast<int>(m / (kRows * kColumns));
  const int row = static_cast<int>(m % (kRows * kColumns)) / kColumns;
  const int column = static_cast<int>(m % kColumns);
  const int block = i / 64, r = (i % 64) / 8, c = i % 8;
  const int x = block < 2 ? 8 * block + c : 2 * c;  // chroma: left pixel of pair c
  return {16 * row + 2 * r + field, 16 * column + x};
}

// Plain luma rounds one product sum; vector luma truncates three products, which
// leaves it 0 to 3 levels lower. Plain chroma is the pair's left pixel, vector chroma
// the pair's mean.
int PlainY(const Rgb& p) { return ((6423 * p.b + 33030 * p.g + 16843 * p.r + 32768) >> 16) * 8 - 896; }
int PlainCb(const Rgb& p) { return ((28770 * p.b - 19071 * p.g - 9699 * p.r + 32768) >> 16) * 8; }
int PlainCr(const Rgb& p) { return ((28770 * p.r - 24117 * p.g - 4653 * p.b + 32768) >> 16) * 8; }
int VectorY(const Rgb& p) { return (((16843 * p.r) >> 16) - 112 + ((16515 * 2 * p.g) >> 16) + ((6423 * p.b) >> 16)) * 8; }
int MeanCb(const Rgb& a, const Rgb& b) {
  return (((-9699 * (a.r + b.r)) >> 17) - ((19071 * (a.g + b.g)) >> 17) + ((28770 * (a.b + b.b)) >> 17)) * 8;
}
int MeanCr(const Rgb& a, const Rgb& b) {
  return (((28770 * (a.r + b.r)) >> 17) - ((24117 * (a.g + b.g)) >> 17) - ((4653 * (a.b + b.b)) >> 17)) * 8;
}

// Field 0 takes the even lines from the top, field 1 the odd ones; MCU rows stand 16
// frame lines apart; both depths land the same samples. SSE and SSE2 equal MMX.
TEST(InputRgb, EveryKernelPlacesAndConvertsAsItsFormulaSays) {
  const RgbPicture picture = RandomRgb(11);
  for (int bytesPerPixel : {3, 4}) {
    const auto bits = StoreRgb(picture, bytesPerPixel);
    const BitmapHeader header = Header(static_cast<uint16_t>(8 * bytesPerPixel), 0);
    const auto plain = ConvertAll(bits, header, kProcessorPlain);
    const auto mmx = kVectorKernelsBuilt ? ConvertAll(bits, header, kProcessorIntelMmx) : plain;
    EXPECT_EQ(ConvertAll(bits, header, kProcessorAmdSse2), plain);
    if (kVectorKernelsBuilt) {
      for (int32_t flag : {kProcessorIntelSse, kProcessorIntelSse2}) {
        EXPECT_EQ(ConvertAll(bits, header, flag), mmx) << "flag " << flag;
      }
    }
    for (std::size_t i = 0; i < plain.size(); ++i) {
      const Origin at = OriginOf(i / 256, static_cast<int>(i % 256));
      const Rgb& left = picture[at.line * kWidth + at.x];
      const Rgb& right = picture[at.line * kWidth + at.x + 1];
      const int block = static_cast<int>(i % 256) / 64;
      const int expected = block == 2 ? PlainCb(left) : block == 3 ? PlainCr(left) : PlainY(left);
      ASSERT_EQ(plain[i], expected) << bytesPerPixel << " bytes, sample " << i;
      if (!kVectorKernelsBuilt) continue;
      const int vector = block == 2 ? MeanCb(left, right) : block == 3 ? MeanCr(left, right) : VectorY(left);
      ASSERT_EQ(mmx[i], vector) << bytesPerPixel << " bytes, sample " << i;
    }
  }
}

// PlainSse2 gives the plain samples for every RGB triple, at an even pixel (luma and
// chroma) and at an odd one (luma only), with junk in the fourth byte.
TEST(InputRgb, PlainSse2TwinsMatchPlainForEveryTriple) {
  if (!test::Sse2KernelsRun()) GTEST_SKIP() << "no SSE2";
  const struct {
    int bytesPerPixel;
    InputKernel plain, twin;
  } twins[] = {{3, InputRgb24Plain, InputRgb24PlainSse2}, {4, InputRgb32Plain, InputRgb32PlainSse2}};
  for (const auto& t : twins) {
    const uint32_t rowBytes = 16 * t.bytesPerPixel;
    std::vector<uint8_t> rows(8 * rowBytes);
    alignas(16) int16_t plain[256], twin[256];
    for (uint32_t shift : {0, 1}) {
      for (uint32_t first = 0; first < 1u << 24; first += 128) {
        for (uint32_t i = 0; i < 128; ++i) {
          const uint32_t triple = first + (i & ~15u) + ((i + shift) & 15);
          uint8_t* pixel = rows.data() + i * t.bytesPerPixel;
          pixel[0] = static_cast<uint8_t>(triple);
          pixel[1] = static_cast<uint8_t>(triple >> 8);
          pixel[2] = static_cast<uint8_t>(triple >> 16);
          if (t.bytesPerPixel == 4) pixel[3] = static_cast<uint8_t>(triple * 37);
        }
        // Rows bottom-up: the kernels start at the last and step back.
        t.plain(rows.data() + 7 * rowBytes, plain, rowBytes);
        t.twin(rows.data() + 7 * rowBytes, twin, rowBytes);
        ASSERT_EQ(std::memcmp(plain, twin, sizeof plain), 0) << t.bytesPerPixel << " bytes, from " << first;
      }
    }
  }
}

// Pins the formulas above: white and black, where truncation leaves vector white two
// levels darker and one level of Cb below zero.
TEST(InputRgb, WhiteAndBlack) {
  RgbPicture picture(kWidth * kHeight, Rgb{255, 255, 255});
  for (int line = 0; line < kHeight; ++line) picture[line * kWidth + 2] = {0, 0, 0};
  const auto bits = StoreRgb(picture, 3);
  for (int32_t flag : {kProcessorPlain, kProcessorIntelMmx}) {
    if (flag != kProcessorPlain && !kVectorKernelsBuilt) continue;
    const auto mcu = ConvertAll(bits, Header(24, 0), flag);
    EXPECT_EQ(mcu[2], -896) << flag;
    EXPECT_EQ(mcu[0], flag == kProcessorPlain ? 856 : 840) << flag;  // (235 - 128) x 8
    EXPECT_EQ(mcu[128], flag == kProcessorPlain ? 0 : -8) << flag;
    EXPECT_EQ(mcu[192], 0) << flag;
  }
}

// Every YUV kernel gives exactly the stored bytes, in the same places as RGB.
TEST(InputYuv, EveryKernelPlacesTheStoredBytes) {
  const YuvPicture yuv = RandomYuv(5);
  for (uint32_t fourCc : {kUyvy, kYuy2, kYvyu, kY16FourCc}) {
    for (int32_t flag :
         {kProcessorPlain, kProcessorIntelMmx, kProcessorIntelSse, kProcessorIntelSse2, kProcessorAmdSse2}) {
      if (flag != kProcessorPlain && !kVectorKernelsBuilt) continue;
      const auto out = ConvertAll(StoreYuv(yuv, fourCc), Header(16, fourCc), flag);
      for (std::size_t i = 0; i < out.size(); ++i) {
        const Origin at = OriginOf(i / 256, static_cast<int>(i % 256));
        const int block = static_cast<int>(i % 256) / 64;
        const int pixel = at.line * kWidth + at.x;
        const int byte = block < 2 ? yuv.y[pixel] : block == 2 ? yuv.u[pixel / 2] : yuv.v[pixel / 2];
        ASSERT_EQ(out[i], byte * 8 - 1024) << std::hex << fourCc << std::dec << " flag " << flag << " sample " << i;
      }
    }
  }
}

TEST(InputConverterFormats, KernelChoiceFollowsWholeFlagValues) {
  struct Expected {
    int32_t flag;
    InputKernel rgb24, rgb32, uyvy, yuy2, y16, yvyu;
  };
  const Expected table[] = {
      {1, InputRgb24Mmx, InputRgb32Mmx, InputUyvyMmx, InputYuy2Plain, InputY16Plain, InputYvyuPlain},
      {3, InputRgb24Mmx, InputRgb32Mmx, InputUyvyMmx, InputYuy2Mmx, InputY16Mmx, InputYvyuMmx},
      {15, InputRgb24Sse, InputRgb32Sse, InputUyvySse, InputYuy2Sse, InputY16Sse, InputYvyuSse},
      {31, InputRgb24Sse2, InputRgb32Sse2, InputUyvySse2, InputYuy2Sse2, InputY16Sse2, InputYvyuSse2},
      {159, InputRgb24PlainSse2, InputRgb32PlainSse2, InputUyvySse2, InputYuy2Sse2, InputY16Sse2, InputYvyuSse2},
      {0, InputRgb24Plain, InputRgb32Plain, InputUyvyPlain, InputYuy2Plain, InputY16Plain, InputYvyuPlain},
      {7, InputRgb24Plain, InputRgb32Plain, InputUyvyPlain, InputYuy2Plain, InputY16Plain, InputYvyuPlain},
  };
  std::vector<uint8_t> bits(std::size_t{kWidth} * kHeight * 4);
  FrameDescription description;
  description.fieldCount = 2;
  for (const Expected& e : table) {
    const std::pair<BitmapHeader, InputKernel> cases[] = {
        {Header(24, 0), e.rgb24},     {Header(32, 0), e.rgb32},           {Header(16, kUyvy), e.uyvy},
        {Header(16, kYuy2), e.yuy2}, {Header(16, kY16FourCc), e.y16}, {Header(16, kYvyu), e.yvyu}};
    for (const auto& [header, kernel] : cases) {
      auto converter = MakeInputConverter(header);
      EXPECT_EQ(converter->Setup(bits.data(), header, description, e.flag), 0);
      EXPECT_EQ(converter->kernel(), kernel) << "flag " << e.flag << " format " << std::hex << header.compression
                                             << std::dec << "/" << header.bitCount;
    }
  }
  // Without a flag Setup asks the processor.
  RgbInputConverter detected;
  detected.Setup(bits.data(), Header(24, 0), description);
  EXPECT_EQ(detected.kernel(), SelectRgbInputKernel(DetectProcessor(), Header(24, 0)));
}

TEST(InputConverterFormats, FactoryFollowsTheFormatAndSetupFaultsOnPurposeWithoutAKernel) {
  EXPECT_NE(dynamic_cast<RgbInputConverter*>(MakeInputConverter(Header(32, 0)).get()), nullptr);
  EXPECT_NE(dynamic_cast<YuvInputConverter*>(MakeInputConverter(Header(16, kY16FourCc)).get()), nullptr);
  EXPECT_EQ(MakeInputConverter(Header(24, kCodecFourCc)), nullptr);
  EXPECT_EQ(MakeInputConverter(Header(16, 3)), nullptr);  // BI_BITFIELDS

  std::vector<uint8_t> bits(std::size_t{kWidth} * kHeight * 4);
  FrameDescription description;
  description.fieldCount = 2;
  const BitmapHeader rgbCases[] = {Header(16, 0), Header(8, 0), Header(24, kYuy2)};
  for (const BitmapHeader& header : rgbCases) {
    RgbInputConverter converter;
    EXPECT_EQ(RunGuarded([&]() -> int32_t { return converter.Setup(bits.data(), header, description, 0); }),
              kFaultResult)
        << header.bitCount;
  }
  // The factory accepts any case; Setup compares as stored and finds no kernel.
  const BitmapHeader lower = Header(16, MakeFourCc('u', 'y', 'v', 'y'));
  auto converter = MakeInputConverter(lower);
  ASSERT_NE(converter, nullptr);
  EXPECT_EQ(RunGuarded([&]() -> int32_t { return converter->Setup(bits.data(), lower, description, 3); }),
            kFaultResult);
}

}  // namespace
}  // namespace trvx
