// Two-field compressed frames made from a real photograph with libjpeg-turbo, in the
// codec's frame layout, plus libjpeg-turbo's own decoding of each field as the
// reference. Native builds only: it links libturbojpeg.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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

std::string DescribeVariant(const FrameVariant& variant);

struct Frame {
  std::vector<uint8_t> bytes;  // the frame followed by kFramePadding zero bytes
  std::size_t length = 0;      // the frame alone
  std::size_t firstFieldLength = 0;
};

// libjpeg-turbo's decoding of one field image (accurate integer IDCT).
struct FieldReference {
  std::vector<uint8_t> y;   // width x height
  std::vector<uint8_t> cb;  // width / 2 x height
  std::vector<uint8_t> cr;
  std::vector<uint8_t> bgr;  // 3 bytes per pixel, top row first
};

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
  int fieldHeight() const { return height_ / 2; }

  Frame Build(const FrameVariant& variant) const;

  // One field image alone, dressed as in a frame of that variant (no padding).
  std::vector<uint8_t> FieldImage(int field, const FrameVariant& variant, std::size_t nextFieldOffset) const;

  const FieldReference& reference(int field) const { return references_[field]; }
  // The cropped photograph, RGB, top row first; field f holds lines f, f + 2, ...
  const std::vector<uint8_t>& pictureRgb() const { return rgb_; }

 private:
  // The parts of libjpeg-turbo's output for one field that the variants reassemble.
  struct Parts {
    std::vector<uint8_t> dqtTables;                 // Pq/Tq byte and 64 entries per table, table 0 first
    std::vector<std::vector<uint8_t>> dhtSegments;  // whole segments, marker included
    std::vector<uint8_t> sof;                       // whole SOF0 segment
    std::vector<uint8_t> sos;                       // whole SOS segment
    std::vector<uint8_t> scan;                      // coded data through EOI
  };

  bool LoadPicture(const std::string& photoPath);
  bool CompressField(int field, int quality);
  bool SplitField(int field, const std::vector<uint8_t>& jpeg);
  bool DecodeReference(int field, const std::vector<uint8_t>& jpeg);

  int width_;
  int height_;
  std::string error_;
  std::vector<uint8_t> rgb_;
  Parts parts_[2];
  FieldReference references_[2];
};

// libjpeg-turbo's planar 4:2:2 decoding of any single JPEG image; false if it refuses.
bool DecodeWithTurboJpeg(const std::vector<uint8_t>& jpeg, int width, int height, FieldReference& out);

}  // namespace trvx::test
