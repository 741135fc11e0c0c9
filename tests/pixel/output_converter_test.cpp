#include "pixel/output_converter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "pixel/memory_routines.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"
#include "settings/settings_record.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

using test::kVectorKernelsBuilt;

struct OutputFormat {
  const char* name;
  uint16_t bitCount;
  uint32_t compression;
};

const OutputFormat kFormats[] = {
    {"RGB24", 24, 0},           {"RGB32", 32, 0},           {"UYVY", 16, kUyvyFourCc},
    {"YUY2", 16, kYuy2FourCc},  {"YVYU", 16, kYvyuFourCc},  {"Y16", 16, kY16FourCc},
};

BitmapHeader Header(const OutputFormat& format) {
  BitmapHeader header{};
  header.size = sizeof header;
  header.bitCount = format.bitCount;
  header.compression = format.compression;
  return header;
}

FrameDescription Picture(uint32_t width, uint32_t fieldHeight, uint8_t fieldCount) {
  FrameDescription description;
  description.fieldCount = fieldCount;
  const uint8_t sampling[kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};
  std::memcpy(description.sampling, sampling, sizeof sampling);
  description.width = width;
  description.height = fieldHeight;
  return description;
}

// Plain-path samples of one MCU; whole levels are multiples of 8.
std::vector<int16_t> RandomMcu(test::Lcg& random, bool wholeLevels) {
  std::vector<int16_t> samples(256);
  for (auto& s : samples) {
    s = static_cast<int16_t>(wholeLevels ? 8 * random.Next(-128, 127) : random.Next(-1100, 1100));
  }
  return samples;
}

// A two-field picture of 3 x 2 MCUs per field, every MCU random. Vector paths get the
// same picture at their own scale (x 16 instead of x 8). MCUs go right to left, bottom
// to top, so a kernel that writes past its 16 pixels spoils a neighbour already written.
std::vector<uint8_t> Render(const OutputFormat& format, int32_t flag, bool wholeLevels) {
  constexpr uint32_t kColumns = 3, kRows = 2;
  const FrameDescription picture = Picture(16 * kColumns, 8 * kRows, 2);
  std::vector<uint8_t> buffer(std::size_t{format.bitCount} / 8 * picture.width * 8 * kRows * 2, 0xEE);
  auto converter = MakeOutputConverter(Header(format));
  EXPECT_EQ(converter->Setup(buffer.data(), Header(format), picture, flag), 0);
  const int scale = UsesVectorKernels(flag) ? 2 : 1;
  McuWorkspace workspace;
  EXPECT_TRUE(workspace.Allocate());
  test::Lcg random{12345};
  for (uint8_t field = 0; field < 2; ++field) {
    FrameDescription description = picture;
    description.fieldIndex = field;
    for (uint32_t row = kRows; row-- > 0;) {
      for (uint32_t column = kColumns; column-- > 0;) {
        const auto samples = RandomMcu(random, wholeLevels);
        for (int i = 0; i < 256; ++i) workspace.coefficients[i] = static_cast<int16_t>(samples[i] * scale);
        EXPECT_EQ(converter->Convert(description, workspace, column, row), 0);
      }
    }
  }
  if (flag != kProcessorPlain) ClearMmxState();
  return buffer;
}

int MaxDifference(const std::vector<uint8_t>& a, const std::vector<uint8_t>& b) {
  int worst = 0;
  for (std::size_t i = 0; i < a.size(); ++i) worst = std::max(worst, std::abs(a[i] - b[i]));
  return worst;
}

// YUV vector kernels match plain exactly. RGB ones, measured over 200000 random MCUs:
// at most 1 level on whole-level samples (about one byte in eleven differs) and 2 on
// samples with fractions, which the plain path rounds to a level before the matrix.
// The vector paths share their arithmetic exactly.
TEST(OutputVariants, VectorKernelsMatchPlainOrStayClose) {
  if (!kVectorKernelsBuilt) GTEST_SKIP() << "no vector kernels on this processor";
  for (const auto& format : kFormats) {
    for (bool wholeLevels : {true, false}) {
      const auto plain = Render(format, kProcessorPlain, wholeLevels);
      EXPECT_EQ(Render(format, kProcessorAmdSse2, wholeLevels), plain) << format.name;
      const auto sse2 = Render(format, kProcessorIntelSse2, wholeLevels);
      const int tolerance = format.bitCount == 16 ? 0 : wholeLevels ? 1 : 2;
      for (int32_t flag : {kProcessorIntelMmx, kProcessorIntelSse, kProcessorIntelSse2}) {
        const auto vector = Render(format, flag, wholeLevels);
        EXPECT_EQ(vector, sse2) << format.name << " flag " << flag;
        EXPECT_LE(MaxDifference(vector, plain), tolerance) << format.name << " flag " << flag;
        for (std::size_t i = 3; format.bitCount == 32 && i < vector.size(); i += 4) ASSERT_EQ(vector[i], 0);
      }
    }
  }
}

// PlainSse2 writes the plain bytes, and only those: every int16 value in each role
// (luma, Cb, Cr) among random others, then random MCUs, some of extremes.
TEST(OutputVariants, PlainSse2TwinsMatchPlainForEverySample) {
  if (!test::Sse2KernelsRun()) GTEST_SKIP() << "no SSE2";
  const struct {
    const char* name;
    OutputKernel plain, twin;
    int bytesPerPixel;
  } twins[] = {
      {"RGB24", OutputRgb24Plain, OutputRgb24PlainSse2, 3}, {"RGB32", OutputRgb32Plain, OutputRgb32PlainSse2, 4},
      {"UYVY", OutputUyvyPlain, OutputUyvyPlainSse2, 2},    {"YUY2", OutputYuy2Plain, OutputYuy2PlainSse2, 2},
      {"YVYU", OutputYvyuPlain, OutputYvyuPlainSse2, 2},    {"Y16", OutputY16Plain, OutputY16PlainSse2, 2}};
  const struct {
    int first, count;
  } roles[] = {{0, 128}, {128, 64}, {192, 64}};
  for (const auto& t : twins) {
    // 8 bytes between rows, so that a write between or past them shows. RGB kernels
    // start at the last row and walk upwards.
    const uint32_t rowStep = 16 * t.bytesPerPixel + 8;
    const uint32_t start = t.bytesPerPixel == 2 ? 0 : 7 * rowStep;
    std::vector<uint8_t> plain(8 * rowStep), twin(8 * rowStep);
    alignas(16) int16_t samples[256];
    test::Lcg random{99};
    const auto compare = [&](const char* what, int at) {
      std::fill(plain.begin(), plain.end(), 0xEE);
      std::fill(twin.begin(), twin.end(), 0xEE);
      t.plain(plain.data() + start, samples, rowStep);
      t.twin(twin.data() + start, samples, rowStep);
      return ::testing::AssertionResult(plain == twin) << t.name << ", " << what << " " << at;
    };
    for (const auto& role : roles) {
      for (int value = -32768; value < 32768; value += role.count) {
        for (int16_t& s : samples) s = static_cast<int16_t>(random.Next(-1100, 1100));
        for (int i = 0; i < role.count; ++i) samples[role.first + i] = static_cast<int16_t>(value + i);
        ASSERT_TRUE(compare("role from", role.first)) << " value " << value;
      }
    }
    for (int mcu = 0; mcu < 4000; ++mcu) {
      const int range = mcu % 2 ? 32768 : 4200;
      for (int16_t& s : samples) s = static_cast<int16_t>(std::clamp(random.Next(-range, range), -32768, 32767));
      ASSERT_TRUE(compare("random MCU", mcu));
    }
  }
}

// Runs one kernel over one MCU whose every Y, Cb and Cr sample is given at the plain
// scale; vector kernels get them at theirs (x 16 instead of x 8).
std::vector<uint8_t> ConvertFlat(OutputKernel kernel, int bytesPerPixel, int scale, int y, int cb, int cr) {
  alignas(16) int16_t samples[256];
  std::fill(samples, samples + 128, static_cast<int16_t>(y * scale));
  std::fill(samples + 128, samples + 192, static_cast<int16_t>(cb * scale));
  std::fill(samples + 192, samples + 256, static_cast<int16_t>(cr * scale));
  const uint32_t rowBytes = 16 * bytesPerPixel;
  std::vector<uint8_t> out(8 * rowBytes, 0xEE);
  // RGB kernels walk upwards from the last line, YUV kernels downwards from the first.
  const bool rgb = bytesPerPixel != 2;
  EXPECT_EQ(kernel(out.data() + (rgb ? 7 * rowBytes : 0), samples, rowBytes), 0);
  if (scale != 1) ClearMmxState();
  return out;
}

// Every variant, where saturation matters most; vector RGB within one level.
TEST(OutputKernels, RgbLevelsAndClamping) {
  struct Case {
    int16_t y, cb, cr;
    uint8_t b, g, r;
  };
  const Case cases[] = {
      {0, 0, 0, 130, 130, 130},                  // mid grey: the luma offset alone
      {8 * (16 - 128), 0, 0, 0, 0, 0},           // studio black
      {8 * (235 - 128), 0, 0, 255, 255, 255},    // studio white
      {8 * (81 - 128), 8 * (90 - 128), 8 * (240 - 128), 0, 0, 254},  // studio red
      {1016, 0, 1016, 255, 175, 255},            // R would be 481, B 278
      {-1024, 1016, 0, 238, 0, 0},               // G and R far below 0
      {-4, 0, 0, 130, 130, 130},                 // descaling rounds halves upwards
      {-5, 0, 0, 129, 129, 129},
  };
  std::vector<std::pair<OutputKernel, OutputKernel>> kernels = {{OutputRgb24Plain, OutputRgb32Plain}};
  if (kVectorKernelsBuilt) {
    kernels.insert(kernels.end(), {{OutputRgb24Mmx, OutputRgb32Mmx}, {OutputRgb24Sse, OutputRgb32Sse},
                                   {OutputRgb24Sse2, OutputRgb32Sse2}});
  }
  for (std::size_t k = 0; k < kernels.size(); ++k) {
    const int scale = k == 0 ? 1 : 2, tolerance = k == 0 ? 0 : 1;
    for (const auto& c : cases) {
      const auto rgb24 = ConvertFlat(kernels[k].first, 3, scale, c.y, c.cb, c.cr);
      const auto rgb32 = ConvertFlat(kernels[k].second, 4, scale, c.y, c.cb, c.cr);
      const uint8_t expected[3] = {c.b, c.g, c.r};
      for (int pixel = 0; pixel < 128; ++pixel) {
        for (int i = 0; i < 3; ++i) {
          ASSERT_LE(std::abs(rgb24[3 * pixel + i] - expected[i]), tolerance) << k << ": y " << c.y << " pixel " << pixel;
          ASSERT_LE(std::abs(rgb32[4 * pixel + i] - expected[i]), tolerance) << k << ": y " << c.y << " pixel " << pixel;
        }
        ASSERT_EQ(rgb32[4 * pixel + 3], 0);
      }
    }
  }
}

TEST(OutputKernels, YuvLevelsAndClamping) {
  struct Case {
    int16_t sample;
    uint8_t level;
  };
  const Case cases[] = {{3, 128}, {4, 129}, {-4, 128}, {-5, 127}, {1100, 255}, {-1100, 0}, {2000, 255}, {-2000, 0}};
  const OutputKernel kernels[] = {OutputY16Plain, OutputY16Mmx, OutputY16Sse, OutputY16Sse2};
  for (int k = 0; k < (kVectorKernelsBuilt ? 4 : 1); ++k) {
    for (const auto& c : cases) {
      const auto out = ConvertFlat(kernels[k], 2, k == 0 ? 1 : 2, c.sample, c.sample, c.sample);
      for (uint8_t byte : out) ASSERT_EQ(byte, c.level) << k << ": sample " << c.sample;
    }
  }
}

// One MCU row of 16 pixels of the packed formats, Y rising along the row.
TEST(OutputKernels, PlainPackedByteOrders) {
  // Y 1..8 and 9..16, Cb 101..108, Cr 201..208 along each row.
  alignas(16) int16_t samples[256];
  const int firstLevel[4] = {1, 9, 101, 201};
  for (int i = 0; i < 256; ++i) samples[i] = static_cast<int16_t>(8 * (firstLevel[i / 64] + i % 8 - 128));
  struct Case {
    OutputKernel kernel;
    int y0, u, y1, v;
  };
  const Case cases[] = {{OutputUyvyPlain, 1, 0, 3, 2}, {OutputYuy2Plain, 0, 1, 2, 3}, {OutputYvyuPlain, 0, 3, 2, 1}};
  for (const auto& c : cases) {
    uint8_t out[8 * 32];
    c.kernel(out, samples, 32);
    for (int row = 0; row < 8; ++row) {
      for (int pair = 0; pair < 8; ++pair) {
        const uint8_t* p = out + row * 32 + 4 * pair;
        EXPECT_EQ(p[c.y0], 2 * pair + 1);
        EXPECT_EQ(p[c.y1], 2 * pair + 2);
        EXPECT_EQ(p[c.u], 101 + pair);
        EXPECT_EQ(p[c.v], 201 + pair);
      }
    }
  }
  uint8_t blocked[8 * 32];
  OutputY16Plain(blocked, samples, 32);
  for (int i = 0; i < 8 * 32; ++i) EXPECT_EQ(blocked[i], firstLevel[i % 32 / 8] + i % 8) << i;
}

// Places MCUs whose luma tells field, MCU and row apart, and checks where each row
// landed: picture line 2 x (8 x mcuRow + row) + field, bottom-up for RGB.
TEST(OutputConverterPlacement, FieldsInterleaveMcusLandInPlaceAndABadFieldFaults) {
  constexpr uint32_t kColumns = 2, kRows = 2;
  const FrameDescription picture = Picture(16 * kColumns, 8 * kRows, 2);
  const uint32_t lines = 2 * 8 * kRows;
  const OutputFormat formats[] = {kFormats[0], kFormats[1], kFormats[5]};
  for (const auto& format : formats) {
    const uint32_t bytesPerPixel = format.bitCount / 8;
    const uint32_t rowBytes = bytesPerPixel * picture.width;
    std::vector<uint8_t> buffer(rowBytes * lines, 0xEE);
    auto converter = MakeOutputConverter(Header(format));
    ASSERT_EQ(converter->Setup(buffer.data(), Header(format), picture, kProcessorPlain), 0);
    McuWorkspace workspace;
    ASSERT_TRUE(workspace.Allocate());
    // Grey luma level 40 + 16 x field + 8 x mcu + row (mcu = 2 x mcuRow + column).
    auto level = [](uint32_t field, uint32_t column, uint32_t row, int line) {
      return static_cast<int>(40 + 16 * field + 8 * (2 * row + column) + line);
    };
    for (uint32_t field = 0; field < 2; ++field) {
      FrameDescription description = picture;
      description.fieldIndex = static_cast<uint8_t>(field);
      for (uint32_t row = 0; row < kRows; ++row) {
        for (uint32_t column = 0; column < kColumns; ++column) {
          std::fill(workspace.coefficients, workspace.coefficients + 256, 0);
          for (int i = 0; i < 128; ++i) {
            workspace.coefficients[i] = static_cast<int16_t>(8 * (level(field, column, row, i % 64 / 8) - 128));
          }
          ASSERT_EQ(converter->Convert(description, workspace, column, row), 0);
        }
      }
    }
    for (uint32_t bufferLine = 0; bufferLine < lines; ++bufferLine) {
      const uint32_t pictureLine = format.bitCount == 16 ? bufferLine : lines - 1 - bufferLine;
      for (uint32_t column = 0; column < kColumns; ++column) {
        const int y = level(pictureLine % 2, column, pictureLine / 16, pictureLine / 2 % 8);
        // Grey through the matrix; the level itself for the blocked YUV layout.
        const int expected = format.bitCount == 16 ? y : std::clamp((76283 * (y - 128) + 8576464) >> 16, 0, 255);
        const uint8_t* first = buffer.data() + bufferLine * rowBytes + 16 * bytesPerPixel * column;
        for (uint32_t i = 0; i < (format.bitCount == 16 ? 16 : 16 * bytesPerPixel); ++i) {
          if (bytesPerPixel == 4 && i % 4 == 3) continue;
          ASSERT_EQ(first[i], expected) << format.name << " line " << bufferLine << " mcu " << column << " byte " << i;
        }
      }
    }
    // A third field has no lines: the converter faults on purpose.
    FrameDescription third = picture;
    third.fieldIndex = 2;
    EXPECT_EQ(RunGuarded([&]() -> int32_t { return converter->Convert(third, workspace, 0, 0); }), kFaultResult)
        << format.name;
  }
}

TEST(OutputConverterFormats, ClassifierAcceptsAnyCaseAndFactoryFollowsIt) {
  struct Case {
    uint32_t compression;
    int32_t expected;
  };
  const Case cases[] = {
      {0, kOutputClassRgb},
      {kYvyuFourCc, kOutputClassYuv},
      {MakeFourCc('u', 'Y', 'v', 'y'), kOutputClassYuv},
      {MakeFourCc('y', '1', '6', 0), kOutputClassYuv},
      {MakeFourCc('Y', '1', '6', ' '), kOutputClassRefused},
      {3, kOutputClassRefused},  // BI_BITFIELDS
      {kMjpgFourCc, kOutputClassRefused},
  };
  for (const auto& c : cases) {
    BitmapHeader header{};
    header.compression = c.compression;
    EXPECT_EQ(ClassifyOutputFormat(header), c.expected) << std::hex << c.compression;
    const auto converter = MakeOutputConverter(header);
    EXPECT_EQ(dynamic_cast<RgbOutputConverter*>(converter.get()) != nullptr, c.expected == kOutputClassRgb);
    EXPECT_EQ(dynamic_cast<YuvOutputConverter*>(converter.get()) != nullptr, c.expected == kOutputClassYuv);
    EXPECT_EQ(converter == nullptr, c.expected == kOutputClassRefused) << std::hex << c.compression;
  }
}

TEST(OutputConverterFormats, KernelChoiceFollowsWholeFlagValues) {
  struct Case {
    int32_t flag;
    OutputKernel rgb24, rgb32, yuy2;
  };
  const Case cases[] = {
      {159, OutputRgb24PlainSse2, OutputRgb32PlainSse2, OutputYuy2PlainSse2},  // AMD with SSE2: plain bytes
      {0, OutputRgb24Plain, OutputRgb32Plain, OutputYuy2Plain},
      {7, OutputRgb24Plain, OutputRgb32Plain, OutputYuy2Plain},
      {1, OutputRgb24Mmx, OutputRgb32Mmx, OutputYuy2Mmx},
      {135, OutputRgb24Sse, OutputRgb32Sse, OutputYuy2Sse},
      {31, OutputRgb24Sse2, OutputRgb32Sse2, OutputYuy2Sse2},
  };
  const FrameDescription picture = Picture(16, 8, 1);
  uint8_t buffer[16 * 8 * 4];
  for (const auto& c : cases) {
    RgbOutputConverter rgb;
    YuvOutputConverter yuv;
    EXPECT_EQ(rgb.Setup(buffer, Header(kFormats[0]), picture, c.flag), 0);
    EXPECT_EQ(rgb.kernel(), c.rgb24) << c.flag;
    EXPECT_EQ(rgb.Setup(buffer, Header(kFormats[1]), picture, c.flag), 0);
    EXPECT_EQ(rgb.kernel(), c.rgb32) << c.flag;
    EXPECT_EQ(yuv.Setup(buffer, Header(kFormats[3]), picture, c.flag), 0);
    EXPECT_EQ(yuv.kernel(), c.yuy2) << c.flag;
  }
  EXPECT_EQ(SelectYuvOutputKernel(3, kUyvyFourCc), OutputUyvyMmx);
  EXPECT_EQ(SelectYuvOutputKernel(15, kYvyuFourCc), OutputYvyuSse);
  EXPECT_EQ(SelectYuvOutputKernel(31, kY16FourCc), OutputY16Sse2);
  EXPECT_EQ(SelectYuvOutputKernel(159, kUyvyFourCc), OutputUyvyPlainSse2);
  EXPECT_EQ(SelectYuvOutputKernel(159, kYvyuFourCc), OutputYvyuPlainSse2);
  EXPECT_EQ(SelectYuvOutputKernel(159, kY16FourCc), OutputY16PlainSse2);
}

// Setups that succeed without a kernel, and the one that fails; Convert then refuses.
TEST(OutputConverterFormats, SetupWithoutKernel) {
  uint8_t buffer[16 * 8 * 4] = {};
  McuWorkspace workspace;
  ASSERT_TRUE(workspace.Allocate());
  const FrameDescription good = Picture(16, 8, 1);

  RgbOutputConverter rgb;
  BitmapHeader rgb16 = Header(kFormats[0]);
  rgb16.bitCount = 16;
  EXPECT_EQ(rgb.Setup(buffer, rgb16, good, kProcessorPlain), 0);
  EXPECT_EQ(rgb.kernel(), nullptr);
  EXPECT_EQ(rgb.Convert(good, workspace, 0, 0), kOutputNoKernel);

  for (const uint8_t factor : {1, 2}) {  // 4:4:4, then 4:2:0
    FrameDescription other = good;
    other.sampling[0] = other.sampling[1] = factor;
    EXPECT_EQ(rgb.Setup(buffer, Header(kFormats[1]), good, kProcessorPlain), 0);
    ASSERT_NE(rgb.kernel(), nullptr);
    EXPECT_EQ(rgb.Setup(buffer, Header(kFormats[1]), other, kProcessorPlain), 0);
    EXPECT_EQ(rgb.kernel(), nullptr) << "factor " << int{factor};
  }

  YuvOutputConverter yuv;
  BitmapHeader lowerCase = Header(kFormats[3]);
  lowerCase.compression = MakeFourCc('y', 'u', 'y', '2');
  EXPECT_EQ(yuv.Setup(buffer, lowerCase, good, kProcessorPlain), 0);
  EXPECT_EQ(yuv.kernel(), nullptr);
  EXPECT_EQ(yuv.Convert(good, workspace, 0, 0), kOutputNoKernel);

  BitmapHeader deep = Header(kFormats[3]);
  deep.bitCount = 24;
  EXPECT_EQ(yuv.Setup(buffer, deep, good, kProcessorPlain), kOutputSetupFailed);
}

}  // namespace
}  // namespace trvx
