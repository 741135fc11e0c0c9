// Frames libjpeg-turbo and libjpeg make from a real photograph, with their own decodes
// as references, and a decoder session run over them. Native builds only.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/worker_thread.h"
#include "settings/settings_record.h"
#include "support/bitmap_header.h"

namespace trvx::test {

// The decoder may scan 0x10400 bytes past a point 0x10000 beyond the end.
constexpr std::size_t kFramePadding = 0x10400 + 0x10000 + 64;

enum class DhtContent { Strip, Keep, Meaningless };

// How the two field images are dressed; the coded data is the same in every variant.
struct FrameVariant {
  DhtContent dht = DhtContent::Strip;
  bool applicationSegments = true;  // APP0 "AVI1" and APP1 "mjpg"
  bool nextFieldOffset = true;      // APP1 of field 0 points at field 1; else it holds 0
};

struct Frame {
  std::vector<uint8_t> bytes;  // the frame followed by kFramePadding zero bytes
  std::size_t length = 0;      // the frame alone
  std::size_t firstFieldLength = 0;
};

// Reads past the edges repeat the last samples.
struct Plane {
  int width = 0, height = 0;
  std::vector<uint8_t> samples;
  int At(int x, int y) const { return samples[std::size_t(std::min(y, height - 1)) * width + std::min(x, width - 1)]; }
};
using Planes = std::array<Plane, 3>;  // Y, Cb, Cr

// libjpeg-turbo's accurate decode of a width x height 4:2:2 YCbCr image; "" or why it refused.
std::string DecodeWithTurboJpeg(const std::vector<uint8_t>& jpeg, int width, int height, Planes& out);

class FieldFrameSource {
 public:
  // A photograph of the mate-backgrounds package at least width x height, or "".
  static std::string FindPhoto(int width, int height);

  // width and height are multiples of 16.
  FieldFrameSource(const std::string& photoPath, int width, int height, int quality);

  bool ok() const { return error_.empty(); }
  const std::string& error() const { return error_; }
  int width() const { return width_; }
  int height() const { return height_; }

  Frame Build(const FrameVariant& variant) const;
  std::vector<uint8_t> FieldImage(int field, const FrameVariant& variant, std::size_t nextFieldOffset) const;

  const Planes& reference(int field) const { return references_[field]; }
  // RGB, top row first; field f holds lines f, f + 2, ...
  const std::vector<uint8_t>& pictureRgb() const { return rgb_; }

 private:
  // Pq/Tq byte and 64 entries per table, whole segments, and coded data through EOI.
  struct Parts {
    std::vector<uint8_t> dqtTables, sof, sos, scan;
    std::vector<std::vector<uint8_t>> dhtSegments;
  };

  bool LoadPicture(const std::string& photoPath);
  bool CompressField(int field, int quality);

  int width_, height_;
  std::string error_;
  std::vector<uint8_t> rgb_;
  Parts parts_[2];
  Planes references_[2];
};

// Another producer's frame as libjpeg codes it at quality 85: two field images or one.
struct Layout {
  const char* name;
  int components;
  uint8_t factors[3][2];
  unsigned restartInterval;
  bool optimise;
  bool fields;
};

// The frame, and per image libjpeg's decode of each component before any resampling.
Frame CompressWithLibjpeg(const std::vector<uint8_t>& rgb, int width, int height, const Layout& layout,
                          Planes planes[2]);

struct OutputFormat {
  const char* name;
  uint16_t bitCount;
  uint32_t compression;
};
inline constexpr OutputFormat kUyvy = {"uyvy", 16, kUyvyFourCc};
inline constexpr OutputFormat kYuy2 = {"yuy2", 16, kYuy2FourCc};
inline constexpr OutputFormat kOutputFormats[] = {{"rgb24", 24, 0},          {"rgb32", 32, 0},       kUyvy, kYuy2,
                                                  {"yvyu", 16, kYvyuFourCc}, {"y16", 16, kY16FourCc}};

// What DecodeFrame answers when the session wrote past the bitmap.
constexpr int32_t kWroteOutside = 1;

// The frame, ending against an unreadable page, through a new session: its result, the
// bitmap in bits. biSizeImage holds the frame's length, or 0 as some hosts leave it.
int32_t DecodeFrame(const Frame& frame, int width, int height, const OutputFormat& format,
                    ProcessorCountQuery processors, std::vector<uint8_t>& bits, bool sizeGiven = true);

}  // namespace trvx::test
