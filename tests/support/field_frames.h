// Compressed frames made from a real photograph by libjpeg-turbo, in the codec's frame
// layout or in any layout other producers use, with libjpeg-turbo's own decoding as
// the reference, and a decoder session run over such frames. Native builds only: it
// links libturbojpeg and libjpeg.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/worker_thread.h"
#include "settings/settings_record.h"

namespace trvx::test {

// After the data the decoder may scan up to 0x10400 bytes past a point that can lie
// 0x10000 bytes beyond the end; the zeros keep every scan inside the buffer.
constexpr std::size_t kFramePadding = 0x10400 + 0x10000 + 64;

enum class DhtContent { Strip, Keep, Meaningless };

// How the two field images are dressed. The coded data is the same in every variant.
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

// One component's samples, row after row; reads past the edges repeat the last ones.
struct Plane {
  int width = 0, height = 0;
  std::vector<uint8_t> samples;
  int At(int x, int y) const { return samples[std::size_t(std::min(y, height - 1)) * width + std::min(x, width - 1)]; }
};
using Planes = std::array<Plane, 3>;  // Y, Cb, Cr

// libjpeg-turbo's decoding (accurate integer IDCT) of one JPEG image that must say
// width x height, 4:2:2, YCbCr; an empty string, or why it refused.
std::string DecodeWithTurboJpeg(const std::vector<uint8_t>& jpeg, int width, int height, Planes& out);

class FieldFrameSource {
 public:
  // A photograph of the mate-backgrounds package large enough for width x height, or
  // an empty string when the package is not installed.
  static std::string FindPhoto(int width, int height);

  // width and height are multiples of 16. On failure ok() is false and error() says why.
  FieldFrameSource(const std::string& photoPath, int width, int height, int quality);

  bool ok() const { return error_.empty(); }
  const std::string& error() const { return error_; }
  int width() const { return width_; }
  int height() const { return height_; }

  Frame Build(const FrameVariant& variant) const;
  // One field image alone, dressed as in a frame of that variant (no padding).
  std::vector<uint8_t> FieldImage(int field, const FrameVariant& variant, std::size_t nextFieldOffset) const;

  const Planes& reference(int field) const { return references_[field]; }
  // The cropped photograph, RGB, top row first; field f holds lines f, f + 2, ...
  const std::vector<uint8_t>& pictureRgb() const { return rgb_; }

 private:
  // The parts of libjpeg-turbo's output for one field that the variants reassemble:
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

// How a frame of another producer is coded by libjpeg at quality 85: the components
// (1 or 3) with their sampling factors (h, v), the restart interval, optimised Huffman
// tables, and two field images (lines f, f + 2, ... each) or one image.
struct Layout {
  const char* name;
  int components;
  uint8_t factors[3][2];
  unsigned restartInterval;
  bool optimise;
  bool fields;
};

// The frame libjpeg makes of a width x height RGB picture in that layout, and per
// image libjpeg's own decoding of each component before any resampling.
Frame CompressWithLibjpeg(const std::vector<uint8_t>& rgb, int width, int height, const Layout& layout,
                          Planes planes[2]);

// The decoder's output formats, named as the reference files are.
struct OutputFormat {
  const char* name;
  uint16_t bitCount;
  uint32_t compression;
};
inline constexpr OutputFormat kRgb24 = {"rgb24", 24, 0};
inline constexpr OutputFormat kRgb32 = {"rgb32", 32, 0};
inline constexpr OutputFormat kUyvy = {"uyvy", 16, kUyvyFourCc};
inline constexpr OutputFormat kYuy2 = {"yuy2", 16, kYuy2FourCc};
inline constexpr OutputFormat kYvyu = {"yvyu", 16, kYvyuFourCc};
inline constexpr OutputFormat kY16 = {"y16", 16, kY16FourCc};
inline constexpr OutputFormat kOutputFormats[] = {kRgb24, kRgb32, kUyvy, kYuy2, kYvyu, kY16};

// What DecodeFrame answers when the session wrote past the bitmap.
constexpr int32_t kWroteOutside = 1;

// The frame, ending against an unreadable page, through a new decoder session into a
// width x height bitmap of the format: the session's result (or kWroteOutside), the
// bitmap in bits. biSizeImage holds the frame's length, or 0 as some hosts leave it.
int32_t DecodeFrame(const Frame& frame, int width, int height, const OutputFormat& format,
                    ProcessorCountQuery processors, std::vector<uint8_t>& bits, bool sizeGiven = true);

}  // namespace trvx::test
