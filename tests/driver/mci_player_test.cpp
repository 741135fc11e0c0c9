// Wine's MCI AVI player (mciavi32) plays AVIs through the codec: every frame it shows
// matches the codec's own decode of that frame to RGB24. The player opens its window,
// plays the file, then each frame is sought and drawn into a DIB section of ours;
// a screenshot of the screen with the player's window goes to <file>.bmp in the
// directory TRVX_MCI_SHOTS names. The AVIs are foreign_avis_make.sh's, in TRVX_FOREIGN_AVIS.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "support/avi_frames.h"
#include "support/screen_shot.h"

namespace trvx::test {
namespace {

// The codec's own two-field frames, and ffmpeg's 4:2:0 ones.
constexpr const char* kFiles[] = {"trvx_720x576", "ffmpeg_352x288_yuvj420p_default"};

// The player's frames may be converted to the screen's depth; at 24 or 32 bits
// nothing is lost, so they must be the codec's bytes within rounding.
constexpr double kMinimumPsnr = 50.0;

std::string Mci(const std::string& command) {
  char reply[256] = {};
  const MCIERROR error = mciSendStringA(command.c_str(), reply, sizeof reply, nullptr);
  if (error == 0) return reply;
  char text[256] = {};
  mciGetErrorStringA(error, text, sizeof text);
  ADD_FAILURE() << "\"" << command << "\" failed: " << text;
  return {};
}

// A DIB section selected into a memory DC, for the player to draw into.
struct Dib {
  BITMAPINFOHEADER header;
  HDC dc = CreateCompatibleDC(nullptr);
  uint8_t* bits = nullptr;
  HBITMAP bitmap = CreateDIBSection(dc, reinterpret_cast<BITMAPINFO*>(&header), DIB_RGB_COLORS,
                                    reinterpret_cast<void**>(&bits), nullptr, 0);
  HGDIOBJ old = SelectObject(dc, bitmap);
  Dib(int width, int height) : header(Bitmap(BI_RGB, 24, width, height)) {}
  ~Dib() {
    SelectObject(dc, old);
    DeleteObject(bitmap);
    DeleteDC(dc);
  }
};

double Psnr(const uint8_t* a, const uint8_t* b, std::size_t count) {
  double error = 0;
  for (std::size_t i = 0; i < count; ++i) error += (double(a[i]) - b[i]) * (double(a[i]) - b[i]);
  return error == 0 ? 99.0 : 10 * std::log10(255.0 * 255.0 * count / error);
}

TEST(MciPlayer, PlaysEveryFrameAsTheCodecDecodesIt) {
  ASSERT_TRUE(InstallCodec());
  AVIFileInit();
  for (const std::string name : kFiles) {
    const std::string path = TestPath(name + ".avi", "TRVX_FOREIGN_AVIS");
    AviFrames avi;
    ASSERT_TRUE(ReadAviFrames(path, avi)) << path << " does not read";
    const int width = avi.format.biWidth;
    const int height = avi.format.biHeight;

    // The codec's own RGB24 decode of every frame, through the decompressor a player finds.
    BITMAPINFOHEADER input = avi.format;
    BITMAPINFOHEADER output = Bitmap(BI_RGB, 24, width, height);
    const HIC codec = ICLocate(ICTYPE_VIDEO, input.biCompression, &input, &output, ICMODE_DECOMPRESS);
    ASSERT_NE(codec, nullptr) << name << ": no decompressor located";
    std::vector<std::vector<uint8_t>> expected;
    EXPECT_EQ(ICDecompressBegin(codec, &input, &output), ICERR_OK) << name;
    for (std::size_t frame = 0; frame < avi.frames.size(); ++frame) {
      expected.emplace_back(output.biSizeImage, 0);
      input.biSizeImage = avi.frameBytes[frame];
      const LRESULT result = static_cast<LRESULT>(
          ICDecompress(codec, 0, &input, avi.frames[frame].data(), &output, expected.back().data()));
      EXPECT_EQ(result, ICERR_OK) << name << ": the codec's own decode of frame " << frame;
    }
    ICDecompressEnd(codec);
    ICClose(codec);

    Mci("open \"" + path + "\" type avivideo alias v");
    Mci("play v wait");
    Mci("seek v to 1 wait");
    // The window belongs to this thread: its paint messages wait for us.
    for (const DWORD until = GetTickCount() + 300; GetTickCount() < until; Sleep(10)) {
      MSG message;
      while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageA(&message);
    }
    // The whole screen with the player's window on it, as the user sees it.
    SaveScreenArea({0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)},
                   TestPath(name + ".bmp", "TRVX_MCI_SHOTS"));
    double worst = 99.0;
    for (std::size_t frame = 0; frame < avi.frames.size(); ++frame) {
      Dib grabbed(width, height);
      // Not what a failed decode leaves in the reference either.
      std::fill(grabbed.bits, grabbed.bits + grabbed.header.biSizeImage, 0x5A);
      Mci("seek v to " + std::to_string(frame) + " wait");
      Mci("update v hdc " + std::to_string(reinterpret_cast<UINT_PTR>(grabbed.dc)) + " wait");
      GdiFlush();
      const double psnr = Psnr(grabbed.bits, expected[frame].data(), grabbed.header.biSizeImage);
      EXPECT_GE(psnr, kMinimumPsnr) << name << " frame " << frame << ": the player's picture is " << psnr
                                    << " dB from the codec's decode";
      worst = std::min(worst, psnr);
    }
    Mci("close v");
    std::printf("%s: %zu frames played, the player's pictures at %.1f dB or better of the codec's RGB24\n",
                name.c_str(), avi.frames.size(), worst);
  }
  AVIFileExit();
}

}  // namespace
}  // namespace trvx::test
