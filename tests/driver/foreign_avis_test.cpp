// M-JPEG AVIs of other encoders (foreign_avis_make.sh, in TRVX_FOREIGN_AVIS), decoded by
// the decompressor the manager locates, on every processor path, into YUY2 and RGB24,
// against ffmpeg's samples brought to 4:2:2 as the codec does (pairs averaged, half-height
// chroma 3/4 nearer row, 1/4 farther) and through the codec's studio-range matrix.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <map>
#include <string>
#include <vector>

#include "support/avi_frames.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

constexpr const char* kProcessorFlags[] = {"0", "1", "3", "15", "31", "135", "143", "159"};

std::string Directory() {
  const char* directory = std::getenv("TRVX_FOREIGN_AVIS");
  return directory != nullptr ? directory : ".";
}

std::string PathOf(const std::string& name) { return Directory() + "\\" + name; }

std::vector<uint8_t> ReadFile(const std::string& name) {
  std::ifstream file(PathOf(name), std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>());
}

// What a faithful decoder writes for one frame, in the output's own layout.
struct Expected {
  std::vector<uint8_t> yuy2;
  std::vector<uint8_t> rgb24;
};

uint8_t ToByte(double value) { return static_cast<uint8_t>(std::lround(std::clamp(value, 0.0, 255.0))); }

std::vector<double> ChromaAt422(const uint8_t* plane, int chromaWidth, int chromaHeight, int width, int height) {
  std::vector<double> out(static_cast<std::size_t>(width / 2) * height);
  for (int y = 0; y < height; ++y) {
    const auto sample = [&](int column) {
      if (chromaHeight == height) return static_cast<double>(plane[y * chromaWidth + column]);
      const int nearer = y / 2;
      const int farther = std::clamp(y % 2 == 0 ? nearer - 1 : nearer + 1, 0, chromaHeight - 1);
      return 0.75 * plane[nearer * chromaWidth + column] + 0.25 * plane[farther * chromaWidth + column];
    };
    for (int x = 0; x < width / 2; ++x) {
      out[y * (width / 2) + x] = chromaWidth == width ? (sample(2 * x) + sample(2 * x + 1)) / 2 : sample(x);
    }
  }
  return out;
}

Expected MakeExpected(const uint8_t* planes, int width, int height, int chromaWidth, int chromaHeight) {
  const uint8_t* luma = planes;
  const std::vector<double> cb = ChromaAt422(luma + width * height, chromaWidth, chromaHeight, width, height);
  const std::vector<double> cr =
      ChromaAt422(luma + width * height + chromaWidth * chromaHeight, chromaWidth, chromaHeight, width, height);
  Expected expected;
  expected.yuy2.resize(static_cast<std::size_t>(width) * height * 2);
  const int rgbStride = (width * 3 + 3) & ~3;
  expected.rgb24.resize(static_cast<std::size_t>(rgbStride) * height);
  for (int y = 0; y < height; ++y) {
    uint8_t* yuy2 = &expected.yuy2[static_cast<std::size_t>(y) * width * 2];
    uint8_t* rgb = &expected.rgb24[static_cast<std::size_t>(height - 1 - y) * rgbStride];
    for (int x = 0; x < width; ++x) {
      const double l = luma[y * width + x];
      const double u = cb[y * (width / 2) + x / 2];
      const double v = cr[y * (width / 2) + x / 2];
      yuy2[2 * x] = ToByte(l);
      yuy2[2 * x + 1] = ToByte(x % 2 == 0 ? u : v);
      rgb[3 * x] = ToByte(1.164 * (l - 16) + 2.018 * (u - 128));
      rgb[3 * x + 1] = ToByte(1.164 * (l - 16) - 0.392 * (u - 128) - 0.813 * (v - 128));
      rgb[3 * x + 2] = ToByte(1.164 * (l - 16) + 1.596 * (v - 128));
    }
  }
  return expected;
}

// PSNR of the luma bytes and of the chroma bytes for YUY2 (slots 0, 1), of all bytes for RGB24 (slot 0).
std::vector<double> Measure(const std::vector<uint8_t>& got, const std::vector<uint8_t>& expected, bool yuy2) {
  double error[2] = {};
  std::size_t count[2] = {};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    const int channel = yuy2 ? static_cast<int>(i % 2) : 0;
    error[channel] += (double(got[i]) - expected[i]) * (double(got[i]) - expected[i]);
    ++count[channel];
  }
  std::vector<double> psnr;
  for (int c = 0; c < (yuy2 ? 2 : 1); ++c) {
    psnr.push_back(error[c] == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * count[c] / error[c]));
  }
  return psnr;
}

struct OutputFormat {
  const char* name;
  DWORD compression;
  WORD bitCount;
};
constexpr OutputFormat kOutputs[] = {{"YUY2", mmioFOURCC('Y', 'U', 'Y', '2'), 16}, {"RGB24", BI_RGB, 24}};

// Each line: a file's name and ffmpeg's pix_fmt for it, or "refuse".
std::vector<std::pair<std::string, std::string>> ReadManifest() {
  std::vector<std::pair<std::string, std::string>> entries;
  std::ifstream file(PathOf("manifest.txt"));
  std::string name, pixFmt;
  while (file >> name >> pixFmt) entries.emplace_back(name, pixFmt);
  return entries;
}

// The decompressor a player would take for the stream; it must be this codec.
HIC LocateCodec(const BITMAPINFOHEADER& input, const BITMAPINFOHEADER& output) {
  BITMAPINFOHEADER in = input;
  BITMAPINFOHEADER out = output;
  const HIC codec = ICLocate(ICTYPE_VIDEO, input.biCompression, &in, &out, ICMODE_DECOMPRESS);
  ICINFO info = {};
  if (codec != nullptr && (ICGetInfo(codec, &info, sizeof info) == 0 || info.fccHandler != FourCc("TRVX"))) {
    ICClose(codec);
    return nullptr;
  }
  return codec;
}

class ForeignAvis : public testing::Test {
 protected:
  void SetUp() override {
    manifest_ = ReadManifest();
    ASSERT_FALSE(manifest_.empty()) << "no manifest in " << Directory();
    ASSERT_TRUE(InstallCodec());
    // Keeps trvx.dll loaded: each located decompressor would load it afresh.
    holder_ = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_QUERY);
    AVIFileInit();
    // The one-processor run hides the second processor from Wine; make sure it did.
    if (const char* expected = std::getenv("TRVX_EXPECT_PROCESSORS")) {
      SYSTEM_INFO system;
      GetSystemInfo(&system);
      ASSERT_EQ(system.dwNumberOfProcessors, static_cast<DWORD>(std::atoi(expected)));
    }
  }
  void TearDown() override {
    AVIFileExit();
    if (holder_ != nullptr) ICClose(holder_);
  }

  std::vector<std::pair<std::string, std::string>> manifest_;
  HIC holder_ = nullptr;
};

// Files the manifest marks "refuse" must fail on every path and leave the output alone.
TEST_F(ForeignAvis, EveryFrameMatchesFfmpegOrFailsCleanlyOnEveryPath) {
  std::printf("minimum PSNR in dB over frames and processor paths: YUY2 luma, YUY2 chroma, RGB24\n");
  bool anyRefused = false;
  for (const auto& [name, pixFmt] : manifest_) {
    AviFrames avi;
    ASSERT_TRUE(ReadAviFrames(PathOf(name + ".avi"), avi)) << name << ".avi does not read";
    const bool refused = pixFmt == "refuse";
    anyRefused = anyRefused || refused;
    const int width = avi.format.biWidth;
    const int height = std::abs(avi.format.biHeight);
    std::vector<Expected> expected;
    double needed[3] = {40, 40, 40};
    if (!refused) {
      // "yuv422p" and "yuvj422p" alike: the chroma plane's divisors.
      const std::string sampling = pixFmt.substr(pixFmt.size() - 4, 3);
      const std::map<std::string, std::pair<int, int>> divisors = {
          {"444", {1, 1}}, {"422", {2, 1}}, {"420", {2, 2}}, {"440", {1, 2}}};
      ASSERT_EQ(divisors.count(sampling), 1u) << "pix_fmt " << pixFmt;
      const int chromaWidth = width / divisors.at(sampling).first;
      const int chromaHeight = height / divisors.at(sampling).second;
      const std::size_t frameBytes = static_cast<std::size_t>(width) * height + 2u * chromaWidth * chromaHeight;
      const std::vector<uint8_t> reference = ReadFile(name + ".yuv");
      ASSERT_EQ(reference.size(), frameBytes * avi.frames.size()) << name << ".yuv does not hold every frame";
      for (std::size_t frame = 0; frame < avi.frames.size(); ++frame) {
        expected.push_back(MakeExpected(&reference[frame * frameBytes], width, height, chromaWidth, chromaHeight));
      }
      // Luma is never resampled; chroma and RGB are where the stream's sampling is not 4:2:2.
      if (sampling != "422") needed[1] = needed[2] = 35;
    }
    double worst[3] = {99, 99, 99};
    for (const char* flag : kProcessorFlags) {
      const ProcessorOverride processor(flag);
      BITMAPINFOHEADER input = avi.format;
      const HIC codec = LocateCodec(input, Bitmap(kOutputs[0].compression, kOutputs[0].bitCount, width, height));
      ASSERT_NE(codec, nullptr) << name << ": no TRVX decompressor located at TRVX_CPU=" << flag;
      for (const OutputFormat& output : kOutputs) {
        const bool yuy2 = output.bitCount == 16;
        BITMAPINFOHEADER out = Bitmap(output.compression, output.bitCount, width, height);
        EXPECT_EQ(ICDecompressBegin(codec, &input, &out), ICERR_OK) << name;
        for (std::size_t frame = 0; frame < (refused ? 1 : avi.frames.size()); ++frame) {
          std::vector<uint8_t> picture(out.biSizeImage, 0xA5);
          input.biSizeImage = avi.frameBytes[frame];
          const std::string at = name + " " + output.name + " TRVX_CPU=" + flag + " frame " + std::to_string(frame);
          const LRESULT result = ICDecompress(codec, 0, &input, avi.frames[frame].data(), &out, picture.data());
          if (refused) {
            EXPECT_NE(result, ICERR_OK) << at;
            EXPECT_EQ(std::count(picture.begin(), picture.end(), 0xA5), std::ptrdiff_t(picture.size())) << at;
            continue;
          }
          ASSERT_EQ(result, ICERR_OK) << at;
          const std::vector<double> psnr = Measure(picture, yuy2 ? expected[frame].yuy2 : expected[frame].rgb24, yuy2);
          for (std::size_t m = 0; m < psnr.size(); ++m) {
            const int slot = yuy2 ? static_cast<int>(m) : 2;
            EXPECT_GE(psnr[m], needed[slot]) << at << ", measure " << slot;
            worst[slot] = std::min(worst[slot], psnr[m]);
          }
        }
        ICDecompressEnd(codec);
      }
      ICClose(codec);
    }
    if (!refused) std::printf("%-34s %6.1f %6.1f %6.1f\n", name.c_str(), worst[0], worst[1], worst[2]);
  }
  EXPECT_TRUE(anyRefused) << "no undecodable files in the manifest";
}

}  // namespace
}  // namespace trvx::test
