// Pixel converters, memory routines and kernel choice.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "pixel/input_converter.h"
#include "pixel/memory_routines.h"
#include "pixel/output_converter.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"
#include "support/kernel_variants.h"
#include "support/processor_override.h"

namespace trvx {
namespace {

#define TRVX_TEST_PATHS(kernel) \
  { kernel##Plain, kernel##Mmx, kernel##Sse, kernel##Sse2, kernel##PlainSse2 }
#define TRVX_TEST_PATHS_SSE2_EXACT(kernel) \
  { kernel##Plain, kernel##Mmx, kernel##Sse, kernel##Sse2, kernel##Sse2 }

const struct PixelFormat {
  const char* name;
  uint16_t bitCount;
  uint32_t compression;
  InputKernel input[kKernelPathCount];  // in KernelPath order
  OutputKernel output[kKernelPathCount];
  bool rgb() const { return compression == 0; }
} kFormats[] = {
    {"RGB24", 24, 0, TRVX_TEST_PATHS(InputRgb24), TRVX_TEST_PATHS(OutputRgb24)},
    {"RGB32", 32, 0, TRVX_TEST_PATHS(InputRgb32), TRVX_TEST_PATHS(OutputRgb32)},
    {"UYVY", 16, kUyvyFourCc, TRVX_TEST_PATHS_SSE2_EXACT(InputUyvy), TRVX_TEST_PATHS(OutputUyvy)},
    {"YUY2", 16, kYuy2FourCc, TRVX_TEST_PATHS_SSE2_EXACT(InputYuy2), TRVX_TEST_PATHS(OutputYuy2)},
    {"YVYU", 16, kYvyuFourCc, TRVX_TEST_PATHS_SSE2_EXACT(InputYvyu), TRVX_TEST_PATHS(OutputYvyu)},
    {"Y16", 16, kY16FourCc, TRVX_TEST_PATHS_SSE2_EXACT(InputY16), TRVX_TEST_PATHS(OutputY16)},
};

// A flag that picks each path, and whether this build and processor run it.
constexpr int32_t kPathFlags[kKernelPathCount] = {0, 3, 15, 31, 159};
bool PathRuns(int path) { return path == 0 || (path < 3 ? test::kVectorKernelsBuilt : test::Sse2KernelsRun()); }

BitmapHeader Header(const PixelFormat& format, int32_t width, int32_t height) {
  return {sizeof(BitmapHeader), width, height, 1, format.bitCount, format.compression, 0, 0, 0, 0, 0};
}

FrameDescription Fields(uint32_t width, uint32_t fieldHeight) {
  FrameDescription description;
  description.fieldCount = 2;
  std::fill_n(description.sampling, kSamplingFactorCount, 1);
  description.sampling[0] = 2;  // 4:2:2
  description.width = width;
  description.height = fieldHeight;
  return description;
}

constexpr uint32_t kCmov = 1u << 15, kMmx = 1u << 23, kSse = 1u << 25, kSse2 = 1u << 26, kAmdExtensions = 1u << 22;
constexpr KernelPath kPlain = KernelPath::Plain, kMmxPath = KernelPath::Mmx, kSsePath = KernelPath::Sse;

// Through the converters' own Setup; an AMD with plain MMX gets MMX input for UYVY only.
// Only a flag's exact spelling forces it: near misses leave this machine's own.
TEST(Processor, ReadingsGiveAFlagAndTheFlagItsKernels) {
  test::ProcessorOverride restore{nullptr};
  const int32_t real = DetectProcessor();
  uint8_t bits[512] = {};
  MemoryCopy(bits, bits + 256, 256);
  EXPECT_EQ(CurrentCopyRoutine(), SelectCopyRoutine(real));
  const struct {
    CpuidReadings readings;
    int32_t flag;
    KernelPath path;
    CopyRoutine copy;
  } cases[] = {
      {{"GenuineIntel", 0, 0}, 0, kPlain, CopyPlain},
      {{"GenuineIntel", kMmx, 0}, 3, kMmxPath, CopyMmx},
      {{"GenuineIntel", kCmov, 0}, 3, kMmxPath, CopyMmx},
      {{"GenuineIntel", kMmx | kCmov | kSse, 0}, 15, kSsePath, CopySse},
      {{"GenuineIntel", kCmov | kMmx | kSse | kSse2, 0}, 31, KernelPath::Sse2, CopySse2},
      {{"GenuineIntel", kMmx, kAmdExtensions}, 3, kMmxPath, CopyMmx},  // the AMD bit means nothing on Intel
      {{"AuthenticAMD", 0, kAmdExtensions}, 0, kPlain, CopyPlain},
      {{"AuthenticAMD", kCmov, 0}, 0, kPlain, CopyPlain},
      {{"AuthenticAMD", kMmx | kCmov, 0}, 1, kMmxPath, CopyMmx},
      {{"AuthenticAMD", kMmx, kAmdExtensions}, 135, kSsePath, CopyAmd},
      {{"AuthenticAMD", kMmx | kSse, kAmdExtensions}, 143, kSsePath, CopyAmd},
      {{"AuthenticAMD", kMmx | kSse | kSse2, 0}, 159, KernelPath::PlainSse2, CopyAmd},
      {{"CyrixInstead", kCmov | kMmx | kSse | kSse2, kAmdExtensions}, 0, kPlain, CopyPlain},
      {{"GenuineIntex", kCmov | kMmx | kSse | kSse2, 0}, 0, kPlain, CopyPlain},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(ClassifyProcessor(c.readings), c.flag) << c.readings.vendor << std::hex << " " << c.readings.featureEdx;
    EXPECT_EQ(SelectCopyRoutine(c.flag), c.copy) << c.flag;
    const std::string known = std::to_string(c.flag);
    for (const std::string& value : {known, " " + known, known + " ", "+" + known, "0" + known, known + "0"}) {
      test::ProcessorOverride::Set(value.c_str());
      EXPECT_EQ(DetectProcessor(), value == known ? c.flag : real) << '"' << value << '"';
    }
    for (const auto& format : kFormats) {
      const BitmapHeader header = Header(format, 16, 16);
      auto input = MakeInputConverter(header);
      auto output = MakeOutputConverter(header);
      input->Setup(nullptr, header, Fields(16, 8), c.flag);
      output->Setup(nullptr, header, Fields(16, 8), c.flag);
      const bool plainMmx = c.flag == kProcessorAmdMmx && !format.rgb() && format.compression != kUyvyFourCc;
      EXPECT_EQ(input->kernel(), format.input[static_cast<int>(plainMmx ? kPlain : c.path)]) << format.name << c.flag;
      EXPECT_EQ(output->kernel(), format.output[static_cast<int>(c.path)]) << format.name << " flag " << c.flag;
    }
  }
}

// 8 rows of 16 pixels as the RGB kernels read them: the first row last in memory.
struct RgbRows {
  int bytesPerPixel;
  std::vector<uint8_t> bits = std::vector<uint8_t>(8 * 16 * bytesPerPixel);
  uint8_t* pixel(int row, int x) { return bits.data() + ((7 - row) * 16 + x) * bytesPerPixel; }
  void set(int row, int x, uint32_t rgb) {
    const uint8_t bgr[4] = {uint8_t(rgb), uint8_t(rgb >> 8), uint8_t(rgb >> 16), uint8_t(0x5A ^ x ^ row)};
    std::memcpy(pixel(row, x), bgr, bytesPerPixel);  // the fourth byte is junk to ignore
  }
  int16_t* convert(InputKernel kernel, int16_t* samples) {
    kernel(bits.data() + 7 * 16 * bytesPerPixel, samples, 16 * bytesPerPixel);
    return samples;
  }
};

// Which of an MCU's 256 samples (Y left, Y right, Cb, Cr) byte `at` of a row holds; z: a pair's second Y.
int YuvSampleAt(uint32_t fourCc, int row, int at) {
  if (fourCc == kY16FourCc) return at / 8 * 64 + row * 8 + at % 8;  // 8 Y, 8 Y, 8 Cb, 8 Cr
  const int pair = at / 4;
  const char role = "uyvzyuzvyvzu"[(fourCc == kUyvyFourCc ? 0 : fourCc == kYuy2FourCc ? 4 : 8) + at % 4];
  if (role == 'u') return 128 + row * 8 + pair;
  if (role == 'v') return 192 + row * 8 + pair;
  return pair / 4 * 64 + row * 8 + pair % 4 * 2 + (role == 'z');
}

// Byte b is the sample b x 8 - 1024 both ways, x 16 - 2048 for vector output.
TEST(EveryVariant, YuvLayoutsBothWays) {
  uint8_t bytes[8 * 40], back[8 * 40];
  alignas(16) int16_t samples[256];
  for (int i = 0; i < 8 * 40; ++i) bytes[i] = back[i] = static_cast<uint8_t>(i * 7);
  for (const auto& format : kFormats) {
    for (int path = 0; !format.rgb() && path < kKernelPathCount && PathRuns(path); ++path) {
      format.input[path](bytes, samples, 40);
      for (int at = 0; at < 8 * 32; ++at) {
        ASSERT_EQ(samples[YuvSampleAt(format.compression, at / 32, at % 32)], bytes[at / 32 * 40 + at % 32] * 8 - 1024)
            << format.name << " path " << path << " byte " << at;
      }
      const int scale = UsesVectorKernels(kPathFlags[path]) ? 2 : 1;
      for (int16_t& sample : samples) sample = static_cast<int16_t>(sample * scale);
      format.output[path](back, samples, 40);
      if (path != 0) ClearMmxState();
      EXPECT_EQ(std::memcmp(bytes, back, sizeof bytes), 0) << format.name << " path " << path;
    }
  }
}

// Vector RGB input: luma truncates three products, 0 to 3 levels below plain; chroma is the pair's mean.
int VectorSample(int component, const uint8_t* a, const uint8_t* b) {
  if (component == 0) return (((16843 * a[2]) >> 16) - 112 + ((33030 * a[1]) >> 16) + ((6423 * a[0]) >> 16)) * 8;
  const int red = a[2] + b[2], green = a[1] + b[1], blue = a[0] + b[0];  // b: the pair's right pixel
  if (component == 1) return (((-9699 * red) >> 17) - ((19071 * green) >> 17) + ((28770 * blue) >> 17)) * 8;
  return (((28770 * red) >> 17) - ((24117 * green) >> 17) - ((4653 * blue) >> 17)) * 8;
}

// Plain against known values (a pixel pair a row, chroma from the left pixel); PlainSse2 against plain for every
// RGB triple at an even and an odd pixel; vector paths against their model.
TEST(EveryVariant, RgbInput) {
  const struct {
    uint32_t left, right;
    int16_t samples[4];  // Y left, Y right, Cb, Cr
  } cases[8] = {{0xFFFFFF, 0x000000, {856, -896, 0, 0}},      {0xFF0000, 0x0000FF, {-368, -696, -304, 896}},
                {0x00FF00, 0x808080, {136, -16, -592, -752}}, {0xC87828, 0x1E5ADC, {32, -296, -376, 328}},
                {0x11C963, 0xFA038C, {24, -264, -144, -592}}, {0x4020B4, 0xB4DC10, {-496, 376, 480, 32}},
                {0x5A5B5C, 0x01FE07, {-272, 136, 8, -8}},     {0x8D3B1A, 0x4DA8D5, {-344, 104, -216, 304}}};
  alignas(16) int16_t plain[256], other[256];
  for (int bytesPerPixel : {3, 4}) {
    const auto& format = kFormats[bytesPerPixel - 3];
    RgbRows rows{bytesPerPixel};
    for (int i = 0; i < 128; ++i) rows.set(i / 16, i % 16, i % 2 ? cases[i / 16].right : cases[i / 16].left);
    rows.convert(format.input[0], plain);
    for (int i = 0; i < 256; ++i) {
      ASSERT_EQ(plain[i], cases[i % 64 / 8].samples[i < 128 ? i % 2 : i / 64]) << bytesPerPixel << ", " << i;
    }
    for (uint32_t shift = 0; PathRuns(4) && shift < 2; ++shift) {
      for (uint32_t first = 0; first < 1u << 24; first += 128) {
        for (int i = 0; i < 128; ++i) rows.set(i / 16, i % 16, first + (i & ~15) + ((i + shift) & 15));
        rows.convert(format.input[0], plain);
        ASSERT_EQ(std::memcmp(plain, rows.convert(format.input[4], other), sizeof plain), 0) << format.name << first;
      }
    }
    test::Lcg random{11};
    for (int mcu = 0; PathRuns(1) && mcu < 2000; ++mcu) {
      for (int i = 0; i < 128; ++i) rows.set(i / 16, i % 16, static_cast<uint32_t>(random.Next(0, 0xFFFFFF)));
      for (int path = 1; path <= 3 && PathRuns(path); ++path) {
        rows.convert(format.input[path], other);
        ClearMmxState();
        for (int i = 0; i < 256; ++i) {
          const int row = i % 64 / 8, x = i < 128 ? i / 64 * 8 + i % 8 : 2 * (i % 8);
          const int expected = VectorSample(std::max(0, i / 64 - 1), rows.pixel(row, x), rows.pixel(row, x + 1));
          ASSERT_EQ(other[i], expected) << format.name << " path " << path << " MCU " << mcu << " sample " << i;
        }
      }
    }
  }
}

// Plain RGB against known values, a case a row. Against plain: PlainSse2 on every sample value at every place;
// vector paths (x 16) on YUV exactly, on RGB within a level on whole levels and two with fractions.
TEST(EveryVariant, Output) {
  const struct {
    int16_t samples[3];                                                    // Y, Cb, Cr
    uint8_t bgr[4];                                                        // the fourth byte 0
  } outputCases[8] = {{{0, 0, 0}, {130, 130, 130}},                        // mid grey: the luma offset alone
                      {{8 * (16 - 128), 0, 0}, {0, 0, 0}},                 // studio black
                      {{8 * (235 - 128), 0, 0}, {255, 255, 255}},          // studio white
                      {{8 * (79 - 128), 8 * 64, 8 * 44}, {202, 12, 144}},  // moves with each matrix constant
                      {{1016, 0, 1016}, {255, 175, 255}},                  // R would be 481, B 278
                      {{-1024, 1016, 0}, {238, 0, 0}},                     // G and R far below 0
                      {{-4, 0, 0}, {130, 130, 130}},                       // descaling rounds halves upwards
                      {{-5, 0, 0}, {129, 129, 129}}};
  for (const auto& format : kFormats) {
    const int bytesPerPixel = format.bitCount / 8, pixelBytes = 16 * bytesPerPixel, rowStep = pixelBytes + 8;
    const int start = format.rgb() ? 7 * rowStep : 0;
    std::vector<uint8_t> out[kKernelPathCount], expected(8 * rowStep, 0xEE);
    alignas(16) int16_t samples[256], doubled[256];
    for (int i = 0; i < 256; ++i) samples[i] = outputCases[i % 64 / 8].samples[i < 128 ? 0 : i / 64 - 1];
    for (int i = 0; format.rgb() && i < 8 * 16; ++i) {
      std::copy_n(outputCases[i / 16].bgr, bytesPerPixel, &expected[start - i / 16 * rowStep + i % 16 * bytesPerPixel]);
    }
    out[0] = expected;
    format.output[0](out[0].data() + start, samples, rowStep);
    EXPECT_TRUE(!format.rgb() || out[0] == expected) << format.name;
    test::Lcg random{99};
    for (int mcu = 0; mcu < 4096 + 6000; ++mcu) {
      const int kind = mcu < 4096 ? 0 : mcu % 3;  // extremes, whole levels, fractions
      const int range = kind == 0 ? 32768 : 1100;
      for (int16_t& s : samples) s = int16_t(kind == 1 ? 8 * random.Next(-128, 127) : random.Next(-range, range - 1));
      for (int i = 0; mcu < 4096 && i < 64; ++i) samples[mcu / 1024 * 64 + i] = int16_t(64 * (mcu % 1024) - 32768 + i);
      for (int i = 0; i < 256; ++i) doubled[i] = static_cast<int16_t>(2 * samples[i]);
      for (int path = 0; path < kKernelPathCount; ++path) {
        const bool vector = UsesVectorKernels(kPathFlags[path]);
        out[path].assign(8 * rowStep, 0xEE);
        if (!PathRuns(path) || (vector && kind == 0)) continue;
        format.output[path](out[path].data() + start, vector ? doubled : samples, rowStep);
        if (vector) ClearMmxState();
        int worst = 0;
        for (int i = 0; i < 8 * rowStep; ++i) {
          const bool exact = !vector || i % rowStep >= pixelBytes || (format.bitCount == 32 && i % 4 == 3);
          const int difference = std::abs(out[path][i] - out[0][i]);
          worst = std::max(worst, exact && difference != 0 ? 99 : difference);
        }
        ASSERT_LE(worst, format.rgb() ? kind : 0) << format.name << " path " << path << " MCU " << mcu;
      }
      ASSERT_TRUE(out[2] == out[1] && out[3] == out[1]) << format.name << " MCU " << mcu;
    }
  }
}

// Sizes about the 8192-byte blocks and the 16-byte lanes, at every alignment. A guarded copy from or to a bad
// address returns, leaving no MMX state to break the host's floating point.
TEST(EveryVariant, Copy) {
  const std::size_t sizes[] = {0, 1, 3, 4, 7, 15, 16, 17, 63, 64, 65, 129, 4095, 8191, 8192, 8193, 8207, 16384, 40000};
  alignas(64) static uint8_t source[40064], dest[40192], expected[40192];  // 64 guard bytes each side
  for (std::size_t i = 0; i < sizeof source; ++i) source[i] = static_cast<uint8_t>(i * 7 + i / 251);
  for (const CopyRoutine variant : {&CopyPlain, &CopyMmx, &CopySse, &CopySse2, &CopyAmd}) {
    for (std::size_t size : sizes) {
      for (std::size_t sourceOffset : {0, 1, 3, 8}) {
        for (std::size_t destOffset : {0, 1, 4, 13, 16}) {
          std::memset(dest, 0xCD, 128 + size + destOffset);
          std::memset(expected, 0xCD, 128 + size + destOffset);
          std::memcpy(expected + 64 + destOffset, source + sourceOffset, size);
          variant(dest + 64 + destOffset, source + sourceOffset, size);
          ASSERT_EQ(std::memcmp(dest, expected, 128 + size + destOffset), 0) << size << " +" << destOffset;
        }
      }
    }
  }
  auto* bad = reinterpret_cast<uint8_t*>(uintptr_t{0x100});
  GuardedCopy(dest, bad, 20000);
  GuardedCopy(bad, source, 20000);
  volatile long double three = 3.0L;
  EXPECT_EQ(three * three + 16.0L, 25.0L);
  GuardedCopy(dest, source, 20000);
  EXPECT_EQ(std::memcmp(dest, source, 20000), 0);
}

// Field f of MCU row r is lines 16 r + f + 2 k (bottom-up for RGB) both ways on every path; a third field faults.
TEST(Converters, EachMcuIsTheLinesOfItsField) {
  constexpr int kColumns = 3, kRows = 2, kLines = 32, kWidth = 16 * kColumns;
  FrameDescription description = Fields(kWidth, kLines / 2);
  McuWorkspace blocks;
  ASSERT_TRUE(blocks.Allocate());
  alignas(16) int16_t expected[256];
  std::vector<uint8_t> picture(kWidth * kLines * 4);
  for (std::size_t i = 0; i < picture.size(); ++i) picture[i] = static_cast<uint8_t>(i * 37 + i / 251);
  for (const auto& format : kFormats) {
    const BitmapHeader header = Header(format, kWidth, kLines);
    const int bytesPerPixel = format.bitCount / 8, rowBytes = bytesPerPixel * kWidth;
    for (int path = 0; path < kKernelPathCount && PathRuns(path); ++path) {
      std::vector<uint8_t> out(rowBytes * kLines, 0xEE), expectedOut(out);
      auto input = MakeInputConverter(header);
      auto output = MakeOutputConverter(header);
      ASSERT_EQ(input->Setup(picture.data(), header, description, kPathFlags[path]), 0);
      ASSERT_EQ(output->Setup(out.data(), header, description, kPathFlags[path]), 0);
      for (int mcu = 0; mcu < 2 * kRows * kColumns; ++mcu) {
        const int field = mcu / (kRows * kColumns), row = mcu / kColumns % kRows, column = mcu % kColumns;
        const int top = 16 * row + field, line = format.rgb() ? kLines - 1 - top : top;
        const int at = line * rowBytes + 16 * bytesPerPixel * column;
        description.fieldIndex = static_cast<uint8_t>(field);
        ASSERT_EQ(input->Convert(description, blocks, column, row), 0);
        format.input[path](picture.data() + at, expected, 2 * rowBytes);
        ASSERT_EQ(std::memcmp(blocks.coefficients, expected, sizeof expected), 0) << format.name << path << " " << mcu;
        ASSERT_EQ(output->Convert(description, blocks, column, row), 0);
        format.output[path](expectedOut.data() + at, blocks.coefficients, 2 * rowBytes);
      }
      if (path != 0) ClearMmxState();
      EXPECT_EQ(out, expectedOut) << format.name << " path " << path;
      description.fieldIndex = 2;
      EXPECT_EQ(RunGuarded([&] { return output->Convert(description, blocks, 0, 0); }), kFaultResult);
    }
  }
}

// An output Setup without a kernel drops the last one and Convert refuses; an input one faults. FourCCs as stored.
TEST(Converters, FormatsAndSetupsWithoutKernel) {
  const struct {
    uint16_t bitCount;
    uint32_t compression;
    uint8_t lumaV;
    int32_t setup;
    bool outputKernel, inputKernel, refused;
  } cases[] = {
      {24, 0, 1, 0, true, true, false},
      {16, 0, 1, 0, false, false, false},
      {32, 0, 2, 0, false, true, false},  // 4:2:0
      {16, kYvyuFourCc, 1, 0, true, true, false},
      {16, MakeFourCc('u', 'Y', 'v', 'y'), 1, 0, false, false, false},
      {16, MakeFourCc('y', '1', '6', 0), 1, 0, false, false, false},
      {24, kYuy2FourCc, 1, kOutputSetupFailed, false, true, false},
      {24, kMjpgFourCc, 1, 0, false, false, true},
  };
  uint8_t buffer[16 * 8 * 4];
  const McuWorkspace workspace;  // Convert without a kernel reads nothing
  const FrameDescription good = Fields(16, 4);
  for (const auto& c : cases) {
    BitmapHeader header = Header(kFormats[0], 16, 8);
    header.bitCount = c.bitCount;
    header.compression = c.compression;
    auto output = MakeOutputConverter(header);
    auto input = MakeInputConverter(header);
    ASSERT_EQ(input == nullptr || output == nullptr, c.refused) << c.compression;
    if (output == nullptr) continue;
    EXPECT_EQ(RunGuarded([&] { return input->Setup(buffer, header, good, kProcessorIntelMmx); }),
              c.inputKernel ? 0 : kFaultResult);
    ASSERT_EQ(output->Setup(buffer, Header(kFormats[c.compression ? 3 : 0], 16, 8), good, 0), 0);
    FrameDescription description = good;
    description.sampling[1] = c.lumaV;
    EXPECT_EQ(output->Setup(buffer, header, description, kProcessorPlain), c.setup) << std::hex << c.compression;
    EXPECT_EQ(output->kernel() != nullptr, c.outputKernel) << std::hex << c.compression;
    EXPECT_TRUE(c.outputKernel || output->Convert(good, workspace, 0, 0) == kOutputNoKernel) << c.compression;
  }
}

}  // namespace
}  // namespace trvx
