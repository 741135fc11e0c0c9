// The demo host: compresses a clip of raw YUY2 frames into an AVI file through the
// installed TRVX codec, as a capture program would, then plays the file back through
// the codec and reports what the round trip cost and lost.
//   trvx_demo SOURCE.yuy2 WIDTH HEIGHT OUTPUT.avi STILL.yuy2
// STILL receives the middle frame beside its round trip (YUY2, twice the width).
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <stdexcept>
#include <string>

#include "codec_streams.h"
#include "yuy2_frames.h"

namespace trvx::demo {
namespace {

constexpr DWORD kFramesPerSecond = 25;

struct Arguments {
  std::string source;
  FrameSize size;
  std::string avi;
  std::string still;
};

struct Compression {
  int frames = 0;
  std::size_t bytes = 0;
  DWORD quality = 0;
  double codecSeconds = 0;
};

void ShowProgress(const char* direction, int done, int total) {
  std::printf("\r%-14s frame %d of %d", direction, done, total);
  if (done == total) std::printf("\n");
  std::fflush(stdout);
}

Compression CompressClip(Yuy2Clip& clip, const Arguments& arguments) {
  AviCompressor compressor(arguments.avi, arguments.size, kFramesPerSecond);
  Compression result;
  for (; result.frames < clip.FrameCount(); ++result.frames) {
    result.bytes += compressor.Write(clip.Read(result.frames));
    ShowProgress("compressing", result.frames + 1, clip.FrameCount());
  }
  result.quality = compressor.Quality();
  result.codecSeconds = compressor.CodecSeconds();
  return result;
}

// Decompresses the AVI and compares every frame with its source; returns the codec time.
double DecompressAndCompare(Yuy2Clip& clip, const Arguments& arguments, PlaneErrors& errors) {
  AviDecompressor decompressor(arguments.avi);
  if (decompressor.FrameCount() != clip.FrameCount() || decompressor.Size().width != arguments.size.width ||
      decompressor.Size().height != arguments.size.height) {
    throw std::runtime_error("the AVI does not hold the frames just written");
  }
  const int still = clip.FrameCount() / 2;
  for (int index = 0; index < clip.FrameCount(); ++index) {
    const FrameBytes source = clip.Read(index);
    const FrameBytes roundTrip = decompressor.Read(index);
    errors.AddFrame(source, roundTrip);
    if (index == still) WriteFile(arguments.still, SideBySide(source, roundTrip, arguments.size));
    ShowProgress("decompressing", index + 1, clip.FrameCount());
  }
  return decompressor.CodecSeconds();
}

std::string Decibels(double psnr) {
  if (std::isinf(psnr)) return "inf";
  char text[32];
  std::snprintf(text, sizeof text, "%.2f dB", psnr);
  return text;
}

void PrintSummary(const Arguments& arguments, const Compression& compression, double decompressSeconds,
                  const PlaneErrors& errors) {
  const double frameBytes = static_cast<double>(compression.bytes) / compression.frames;
  std::printf("frames           %d of %dx%d, %lu frames/s, quality %lu\n", compression.frames, arguments.size.width,
              arguments.size.height, static_cast<unsigned long>(kFramesPerSecond),
              static_cast<unsigned long>(compression.quality));
  std::printf("compressed size  %.0f bytes per frame, %.1f : 1 against YUY2\n", frameBytes,
              arguments.size.Bytes() / frameBytes);
  std::printf("compression      %.1f frames/s inside ICCompress\n", compression.frames / compression.codecSeconds);
  std::printf("decompression    %.1f frames/s inside ICDecompress\n", compression.frames / decompressSeconds);
  std::printf("round-trip PSNR  Y %s   Cb %s   Cr %s\n", Decibels(errors.Psnr(Plane::Y)).c_str(),
              Decibels(errors.Psnr(Plane::Cb)).c_str(), Decibels(errors.Psnr(Plane::Cr)).c_str());
}

}  // namespace
}  // namespace trvx::demo

int main(int argc, char** argv) {
  using namespace trvx::demo;
  if (argc != 6) {
    std::fprintf(stderr, "usage: trvx_demo SOURCE.yuy2 WIDTH HEIGHT OUTPUT.avi STILL.yuy2\n");
    return 2;
  }
  const Arguments arguments{argv[1], {std::atoi(argv[2]), std::atoi(argv[3])}, argv[4], argv[5]};
  try {
    Yuy2Clip clip(arguments.source, arguments.size);
    if (clip.FrameCount() == 0) throw std::runtime_error("the source holds no whole frame");
    AviLibrary aviLibrary;
    const Compression compression = CompressClip(clip, arguments);
    PlaneErrors errors;
    const double decompressSeconds = DecompressAndCompare(clip, arguments, errors);
    PrintSummary(arguments, compression, decompressSeconds, errors);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "\ntrvx_demo: %s\n", failure.what());
    return 1;
  }
  return 0;
}
