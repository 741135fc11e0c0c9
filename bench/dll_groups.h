// What the benchmark of the shipped trvx.dll measures, shared by its three programs:
// trvx_benchmark --write-inputs writes the bitmaps and the libjpeg-turbo frames,
// trvx_dll_bench (Windows, under Wine) writes the codec's own frames and measures the
// DLL, trvx_peer_bench (i386 and x86-64) measures libjpeg-turbo on the same files.
// Every figure goes to the summary file as one tab-separated line:
//   direction size format frames side configuration processors fps
// (frames is "-" when encoding; processors is 1 for the peers).
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "measure.h"

namespace trvx::bench {

inline constexpr const char* kEncodeFormats[] = {"BGR24", "YUY2"};

// The command line of the two measuring programs: the benchmark files' directory and
// how long to measure.
struct Arguments {
  std::string directory;
  double seconds = 0.5;
  int rounds = 3;
  int headlineRounds = 0;  // 0: as many as the other groups
  std::string summary;
};

// Takes the timing option at argv[i] and its value; false when argv[i] is none.
inline bool TakeTimingOption(int argc, char** argv, int& i, Arguments& arguments) {
  const std::string arg = argv[i];
  if (i + 1 >= argc) return false;
  if (arg == "--seconds") {
    arguments.seconds = std::atof(argv[++i]);
  } else if (arg == "--rounds") {
    arguments.rounds = std::max(1, std::atoi(argv[++i]));
  } else if (arg == "--headline-rounds") {
    arguments.headlineRounds = std::max(1, std::atoi(argv[++i]));
  } else if (arg == "--summary") {
    arguments.summary = argv[++i];
  } else {
    return false;
  }
  return true;
}

// The frames decoded: the codec's own, written in its two-thread mode (each field
// coded on its own thread, so the first field cannot say where the second starts:
// offset 0) and in its one-thread mode (offset set), and libjpeg-turbo's fields in
// the codec's layout with the offset, as the native benchmark and tests make them.
inline constexpr const char* kTwoThreadFrames = "two-thread";
inline constexpr const char* kOneThreadFrames = "one-thread";
inline constexpr const char* kLibjpegFrames = "libjpeg-turbo";
// A camera's layout, which the codec decodes on its baseline path: one 4:2:0 image per
// frame, written by ffmpeg (bench-report.sh); ffmpeg's own decoder is the peer there.
inline constexpr const char* kCameraFrames = "ffmpeg-420";

struct DecodeGroup {
  const char* frames;
  const char* format;  // BGR24, BGRA32 or UYVY
};
// Per size; every output format for the headline, the codec's two-thread frames.
inline constexpr DecodeGroup kDecodeGroups[] = {
    {kTwoThreadFrames, "BGR24"}, {kTwoThreadFrames, "BGRA32"}, {kTwoThreadFrames, "UYVY"},
    {kOneThreadFrames, "BGR24"}, {kLibjpegFrames, "BGR24"},    {kCameraFrames, "BGR24"},
    {kCameraFrames, "UYVY"}};

// File names inside the data directory.
inline std::string InputFile(const Size& size, const std::string& format) {
  return "input_" + SizeName(size) + "." + format;
}
inline std::string FrameFile(const Size& size, const std::string& frames) {
  return "frames_" + SizeName(size) + "_" + frames + ".trvx";
}

// The whole file; empty when it cannot be read.
inline std::vector<unsigned char> ReadWholeFile(const std::string& path) {
  std::vector<unsigned char> bytes;
  FILE* file = std::fopen(path.c_str(), "rb");
  if (file == nullptr) return bytes;
  unsigned char buffer[65536];
  for (std::size_t got; (got = std::fread(buffer, 1, sizeof buffer, file)) > 0;) {
    bytes.insert(bytes.end(), buffer, buffer + got);
  }
  std::fclose(file);
  return bytes;
}

inline bool WriteWholeFile(const std::string& path, const unsigned char* data, std::size_t size) {
  FILE* file = std::fopen(path.c_str(), "wb");
  if (file == nullptr) return false;
  const bool written = std::fwrite(data, 1, size, file) == size;
  return std::fclose(file) == 0 && written;
}

inline void AppendSummaryLine(const std::string& path, const char* direction, const Size& size, const char* format,
                              const char* frames, const std::string& side, const std::string& configuration,
                              int processors, double fps) {
  if (path.empty()) return;
  // Binary: the Windows program must not end lines with CR LF.
  FILE* file = std::fopen(path.c_str(), "ab");
  if (file == nullptr) return;
  std::fprintf(file, "%s\t%s\t%s\t%s\t%s\t%s\t%d\t%.2f\n", direction, SizeName(size).c_str(), format, frames,
               side.c_str(), configuration.c_str(), processors, fps);
  std::fclose(file);
}

}  // namespace trvx::bench
