// M-JPEG AVIs of other encoders (foreign_avis_make.sh, in TRVX_FOREIGN_AVIS), decoded by
// the decompressor the manager locates, on every processor path, into YUY2, against
// ffmpeg's samples brought to 4:2:2 as the codec does (pairs averaged, half-height chroma
// 3/4 nearer row, 1/4 farther). The RGB matrix is the converters' tests' business.
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "support/avi_frames.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

constexpr const char* kProcessorFlags[] = {"0", "1", "3", "15", "31", "135", "143", "159"};
constexpr char kDirectory[] = "TRVX_FOREIGN_AVIS";

// ffmpeg's planes of one frame as YUY2, chroma resampled to 4:2:2 (not yet rounded).
std::vector<double> ExpectedYuy2(const uint8_t* luma, int width, int height, int chromaWidth, int chromaHeight) {
  std::vector<double> out(std::size_t(width) * height * 2);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; ++x) {
      const uint8_t* plane = luma + width * height + (x % 2) * chromaWidth * chromaHeight;
      const auto sample = [&](int column) {
        if (chromaHeight == height) return double(plane[y * chromaWidth + column]);
        const int nearer = y / 2, farther = std::clamp(y % 2 == 0 ? nearer - 1 : nearer + 1, 0, chromaHeight - 1);
        return 0.75 * plane[nearer * chromaWidth + column] + 0.25 * plane[farther * chromaWidth + column];
      };
      const int pair = x / 2;
      out[(std::size_t(y) * width + x) * 2] = luma[y * width + x];
      out[(std::size_t(y) * width + x) * 2 + 1] =
          chromaWidth == width ? (sample(2 * pair) + sample(2 * pair + 1)) / 2 : sample(pair);
    }
  }
  return out;
}

// PSNR of the luma bytes (0) and of the chroma bytes (1), against the rounded expectation.
std::array<double, 2> Psnr(const std::vector<uint8_t>& got, const std::vector<double>& expected) {
  double error[2] = {};
  for (std::size_t i = 0; i < expected.size(); ++i) {
    error[i % 2] += std::pow(got[i] - std::lround(std::clamp(expected[i], 0.0, 255.0)), 2);
  }
  std::array<double, 2> psnr;
  for (int c = 0; c < 2; ++c)
    psnr[c] = error[c] == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * expected.size() / 2 / error[c]);
  return psnr;
}

// The decompressor a player would take for the stream; it must be this codec.
HIC LocateCodec(BITMAPINFOHEADER input, BITMAPINFOHEADER output) {
  const HIC codec = ICLocate(ICTYPE_VIDEO, input.biCompression, &input, &output, ICMODE_DECOMPRESS);
  ICINFO info = {};
  if (codec != nullptr && (ICGetInfo(codec, &info, sizeof info) == 0 || info.fccHandler != FourCc("TRVX"))) {
    ICClose(codec);
    return nullptr;
  }
  return codec;
}

// Each manifest line: a file's name and ffmpeg's pix_fmt for it, or "refuse". Refused
// files must fail on every path and leave the output alone.
TEST(ForeignAvis, EveryFrameMatchesFfmpegOrFailsCleanlyOnEveryPath) {
  std::ifstream manifest(TestPath("manifest.txt", kDirectory));
  ASSERT_TRUE(manifest.good()) << "no manifest in " << TestPath("", kDirectory);
  ASSERT_TRUE(InstallCodec());
  // Keeps trvx.dll loaded: each located decompressor would load it afresh.
  const HIC holder = ICOpen(ICTYPE_VIDEO, FourCc("TRVX"), ICMODE_QUERY);
  AVIFileInit();
  std::printf("minimum PSNR in dB over frames and processor paths: luma, chroma\n");
  bool anyRefused = false;
  for (std::string name, pixFmt; manifest >> name >> pixFmt;) {
    AviFrames avi;
    ASSERT_TRUE(ReadAviFrames(TestPath(name + ".avi", kDirectory), avi)) << name << ".avi does not read";
    const bool refused = pixFmt == "refuse";
    anyRefused = anyRefused || refused;
    const int width = avi.format.biWidth, height = std::abs(avi.format.biHeight);
    std::vector<std::vector<double>> expected;
    double needed[2] = {40, 40};
    if (!refused) {
      // "yuv422p" and "yuvj422p" alike: the chroma plane's divisors.
      const std::string sampling = pixFmt.substr(pixFmt.size() - 4, 3);
      const std::map<std::string, std::pair<int, int>> divisors = {
          {"444", {1, 1}}, {"422", {2, 1}}, {"420", {2, 2}}, {"440", {1, 2}}};
      ASSERT_EQ(divisors.count(sampling), 1u) << "pix_fmt " << pixFmt;
      const int chromaWidth = width / divisors.at(sampling).first;
      const int chromaHeight = height / divisors.at(sampling).second;
      const std::size_t frameBytes = std::size_t(width) * height + 2u * chromaWidth * chromaHeight;
      const std::vector<uint8_t> reference = ReadTestData(name + ".yuv", kDirectory);
      ASSERT_EQ(reference.size(), frameBytes * avi.frames.size()) << name << ".yuv does not hold every frame";
      for (std::size_t frame = 0; frame < avi.frames.size(); ++frame) {
        expected.push_back(ExpectedYuy2(&reference[frame * frameBytes], width, height, chromaWidth, chromaHeight));
      }
      // Luma is never resampled; chroma is where the stream's sampling is not 4:2:2.
      if (sampling != "422") needed[1] = 35;
    }
    double worst[2] = {99, 99};
    for (const char* flag : kProcessorFlags) {
      const ProcessorOverride processor(flag);
      BITMAPINFOHEADER input = avi.format, output = Bitmap(FourCc("YUY2"), 16, width, height);
      const HIC codec = LocateCodec(input, output);
      ASSERT_NE(codec, nullptr) << name << ": no TRVX decompressor located at TRVX_CPU=" << flag;
      EXPECT_EQ(ICDecompressBegin(codec, &input, &output), ICERR_OK) << name;
      for (std::size_t frame = 0; frame < (refused ? 1 : avi.frames.size()); ++frame) {
        std::vector<uint8_t> picture(output.biSizeImage, 0xA5);
        input.biSizeImage = avi.frameBytes[frame];
        const std::string at = name + " TRVX_CPU=" + flag + " frame " + std::to_string(frame);
        const LRESULT result = ICDecompress(codec, 0, &input, avi.frames[frame].data(), &output, picture.data());
        if (refused) {
          EXPECT_NE(result, ICERR_OK) << at;
          EXPECT_EQ(std::count(picture.begin(), picture.end(), 0xA5), std::ptrdiff_t(picture.size())) << at;
          continue;
        }
        ASSERT_EQ(result, ICERR_OK) << at;
        const std::array<double, 2> psnr = Psnr(picture, expected[frame]);
        for (int c = 0; c < 2; ++c) {
          EXPECT_GE(psnr[c], needed[c]) << at << (c == 0 ? ", luma" : ", chroma");
          worst[c] = std::min(worst[c], psnr[c]);
        }
      }
      ICDecompressEnd(codec);
      ICClose(codec);
    }
    if (!refused) std::printf("%-34s %6.1f %6.1f\n", name.c_str(), worst[0], worst[1]);
  }
  EXPECT_TRUE(anyRefused) << "no undecodable files in the manifest";
  AVIFileExit();
  if (holder != nullptr) ICClose(holder);
}

}  // namespace
}  // namespace trvx::test
