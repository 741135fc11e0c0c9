// Frames other encoders write: libjpeg makes them from a photograph in every layout
// the codec takes (one image or two fields, every sampling, restart intervals,
// optimised Huffman tables, greyscale), and its own raw decoding is the reference.
// Broken tables and scans must fail without writing a pixel.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>
#include <vector>
// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>

#include "support/field_frames.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

constexpr int kWidth = 352;
constexpr int kHeight = 288;
constexpr uint8_t kUntouched = 0xA5;  // what DecodeFrame fills the bitmap with

uint32_t OneProcessor() { return 1; }
uint32_t TwoProcessors() { return 2; }

struct Layout {
  const char* name;
  int components;
  uint8_t factors[3][2];  // h, v per component
  unsigned restartInterval;
  bool optimise;
  bool fields;
};

// A component plane as libjpeg decodes it, before any resampling.
struct Plane {
  int width = 0, height = 0;
  std::vector<uint8_t> samples;
  int At(int x, int y) const {
    return samples[std::size_t(std::min(y, height - 1)) * width + std::min(x, width - 1)];
  }
};

struct Image {
  std::vector<uint8_t> jpeg;
  Plane planes[3];
};

Image Compress(const std::vector<uint8_t>& rgb, int field, int lines, const Layout& layout) {
  Image image;
  jpeg_compress_struct info;
  jpeg_error_mgr errors;
  info.err = jpeg_std_error(&errors);
  jpeg_create_compress(&info);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = kWidth;
  info.image_height = lines;
  info.input_components = 3;
  info.in_color_space = JCS_RGB;
  jpeg_set_defaults(&info);
  if (layout.components == 1) jpeg_set_colorspace(&info, JCS_GRAYSCALE);
  jpeg_set_quality(&info, 85, TRUE);
  for (int c = 0; c < layout.components; ++c) {
    info.comp_info[c].h_samp_factor = layout.factors[c][0];
    info.comp_info[c].v_samp_factor = layout.factors[c][1];
  }
  info.restart_interval = layout.restartInterval;
  info.optimize_coding = layout.optimise ? TRUE : FALSE;
  jpeg_start_compress(&info, TRUE);
  const int step = layout.fields ? 2 : 1;
  while (info.next_scanline < info.image_height) {
    JSAMPROW row = const_cast<uint8_t*>(rgb.data()) + std::size_t(info.next_scanline * step + field) * kWidth * 3;
    jpeg_write_scanlines(&info, &row, 1);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  image.jpeg.assign(buffer, buffer + size);
  std::free(buffer);

  jpeg_decompress_struct reader;
  reader.err = jpeg_std_error(&errors);
  jpeg_create_decompress(&reader);
  jpeg_mem_src(&reader, image.jpeg.data(), image.jpeg.size());
  jpeg_read_header(&reader, TRUE);
  reader.raw_data_out = TRUE;
  reader.dct_method = JDCT_ISLOW;
  jpeg_start_decompress(&reader);
  const int maxV = reader.max_v_samp_factor;
  for (int c = 0; c < reader.num_components; ++c) {
    Plane& plane = image.planes[c];
    const jpeg_component_info& component = reader.comp_info[c];
    plane.width = int(component.width_in_blocks) * 8;
    plane.height = int(component.height_in_blocks) * 8 + 16 * maxV;
    plane.samples.assign(std::size_t(plane.width) * plane.height, 0);
  }
  while (reader.output_scanline < reader.output_height) {
    std::vector<JSAMPROW> rows[3];
    JSAMPARRAY arrays[3];
    for (int c = 0; c < reader.num_components; ++c) {
      const int count = reader.comp_info[c].v_samp_factor * 8;
      const int first = int(reader.output_scanline) * reader.comp_info[c].v_samp_factor / maxV;
      for (int r = 0; r < count; ++r) rows[c].push_back(&image.planes[c].samples[std::size_t(first + r) * image.planes[c].width]);
      arrays[c] = rows[c].data();
    }
    jpeg_read_raw_data(&reader, arrays, JDIMENSION(maxV * 8));
  }
  for (int c = 0; c < reader.num_components; ++c) {
    image.planes[c].width = int((kWidth * reader.comp_info[c].h_samp_factor + reader.max_h_samp_factor - 1) /
                                reader.max_h_samp_factor);
    image.planes[c].height = int((lines * reader.comp_info[c].v_samp_factor + maxV - 1) / maxV);
  }
  jpeg_finish_decompress(&reader);
  jpeg_destroy_decompress(&reader);
  return image;
}

// The 4:2:2 chroma sample the codec should give: pairs averaged across, lines
// interpolated 3:1 down, from libjpeg's own samples.
double Chroma422(const Plane& plane, const Plane& luma, int x, int line) {
  const bool fullWidth = plane.width * 2 > luma.width;
  const bool halfHeight = plane.height * 2 <= luma.height;
  auto across = [&](int y) { return fullWidth ? (plane.At(2 * x, y) + plane.At(2 * x + 1, y)) / 2.0 : plane.At(x, y); };
  if (!halfHeight) return across(line);
  const int source = line / 2;
  const int other = line % 2 == 1 ? std::min(source + 1, plane.height - 1) : std::max(source - 1, 0);
  return (3 * across(source) + across(other)) / 4.0;
}

struct Stats {
  double worst = 0, sum = 0;
  std::size_t count = 0;
  void Add(double a, double b) {
    worst = std::max(worst, std::abs(a - b));
    sum += std::abs(a - b);
    ++count;
  }
};

int Clamp(double v) { return v <= 0 ? 0 : v >= 255 ? 255 : int(v); }

class ForeignFrames : public testing::Test {
 protected:
  void SetUp() override {
    const std::string photo = FieldFrameSource::FindPhoto(kWidth, kHeight);
    if (photo.empty()) GTEST_SKIP() << "no photograph: install the mate-backgrounds package";
    FieldFrameSource source(photo, kWidth, kHeight, 90);
    ASSERT_TRUE(source.ok()) << source.error();
    rgb_ = source.pictureRgb();
  }

  // The frame and, per output line, the image and line that hold it.
  Frame Build(const Layout& layout, Image images[2]) const {
    Frame frame;
    const int count = layout.fields ? 2 : 1;
    for (int f = 0; f < count; ++f) {
      images[f] = Compress(rgb_, f, kHeight / count, layout);
      frame.bytes.insert(frame.bytes.end(), images[f].jpeg.begin(), images[f].jpeg.end());
    }
    frame.length = frame.bytes.size();
    frame.bytes.resize(frame.length + kFramePadding, 0);
    return frame;
  }

  std::vector<uint8_t> rgb_;
};

const Layout kLayouts[] = {
    {"4:2:0 one image", 3, {{2, 2}, {1, 1}, {1, 1}}, 0, false, false},
    {"4:2:0 one image optimised restart 7", 3, {{2, 2}, {1, 1}, {1, 1}}, 7, true, false},
    {"4:2:2 2x1 one image", 3, {{2, 1}, {1, 1}, {1, 1}}, 0, false, false},
    {"4:2:2 2x1 fields restart 1", 3, {{2, 1}, {1, 1}, {1, 1}}, 1, false, true},
    {"4:2:2 2x2/1x2 fields optimised", 3, {{2, 2}, {1, 2}, {1, 2}}, 0, true, true},
    {"4:4:4 fields", 3, {{1, 1}, {1, 1}, {1, 1}}, 0, false, true},
    {"4:4:4 2x1 one image restart 3", 3, {{2, 1}, {2, 1}, {2, 1}}, 3, false, false},
    {"4:4:0 one image", 3, {{1, 2}, {1, 1}, {1, 1}}, 0, true, false},
    {"4:2:0 fields mixed chroma", 3, {{2, 2}, {1, 1}, {1, 2}}, 0, false, true},
    {"greyscale one image", 1, {{1, 1}}, 0, false, false},
};

// Every layout on every path and thread count, into YUY2 and RGB24: luma within the
// two IDCTs' difference of libjpeg's, chroma within that and the resampling's rounding.
TEST_F(ForeignFrames, EveryLayoutDecodesCloseToLibjpeg) {
  const char* const classes[] = {"0", "1", "3", "15", "31", "135", "143", "159"};
  for (const Layout& layout : kLayouts) {
    Image images[2];
    const Frame frame = Build(layout, images);
    Stats luma, chroma, rgb;
    for (const char* flag : classes) {
      ProcessorOverride processor(flag);
      std::vector<uint8_t> firstBits[2];
      for (ProcessorCountQuery threads : {&OneProcessor, &TwoProcessors}) {
        for (const OutputFormat& format : {kYuy2, kRgb24}) {
          std::vector<uint8_t> bits;
          ASSERT_EQ(DecodeFrame(frame, kWidth, kHeight, format, threads, bits), 0)
              << layout.name << ", class " << flag << ", " << format.name;
          const int f = format.bitCount == 24;
          if (firstBits[f].empty()) {
            firstBits[f] = bits;
            // Without biSizeImage the markers alone end the reading; a valid frame's
            // EOI keeps it off the fence behind the frame.
            std::vector<uint8_t> unsized;
            EXPECT_EQ(DecodeFrame(frame, kWidth, kHeight, format, threads, unsized, false), 0) << layout.name;
            EXPECT_EQ(unsized, bits) << layout.name << ", class " << flag << ": no frame size given";
          } else {
            EXPECT_EQ(bits, firstBits[f]) << layout.name << ", class " << flag << ": threads disagree";
          }
        }
      }
      for (int line = 0; line < kHeight; ++line) {
        const Image& image = images[layout.fields ? line % 2 : 0];
        const int y = layout.fields ? line / 2 : line;
        for (int x = 0; x < kWidth; ++x) {
          const double refY = image.planes[0].At(x, y);
          const double refCb = layout.components == 1 ? 128 : Chroma422(image.planes[1], image.planes[0], x / 2, y);
          const double refCr = layout.components == 1 ? 128 : Chroma422(image.planes[2], image.planes[0], x / 2, y);
          const uint8_t* pair = firstBits[0].data() + (std::size_t(line) * kWidth + (x & ~1)) * 2;
          luma.Add(pair[(x & 1) * 2], refY);
          if (x % 2 == 0) chroma.Add(pair[1], refCb), chroma.Add(pair[3], refCr);
          // Bottom-up BGR by the converter's studio-range formula.
          const uint8_t* bgr = firstBits[1].data() + (std::size_t(kHeight - 1 - line) * kWidth + x) * 3;
          const double yy = 1.164 * (refY - 16);
          rgb.Add(bgr[0], Clamp(yy + 2.018 * (refCb - 128)));
          rgb.Add(bgr[1], Clamp(yy - 0.392 * (refCb - 128) - 0.813 * (refCr - 128)));
          rgb.Add(bgr[2], Clamp(yy + 1.596 * (refCr - 128)));
        }
      }
    }
    std::printf("%-40s Y max %.0f mean %.3f  CbCr max %.1f mean %.3f  RGB max %.1f mean %.3f\n", layout.name,
                luma.worst, luma.sum / luma.count, chroma.worst, chroma.sum / chroma.count, rgb.worst,
                rgb.sum / rgb.count);
    // Measured: Y max 1, mean under 0.06; CbCr max 1.5, mean under 0.23; RGB max 4,
    // mean under 0.46. A line or column out of place goes well past these.
    EXPECT_LE(luma.worst, 2) << layout.name;
    EXPECT_LE(luma.sum / luma.count, 0.1) << layout.name;
    EXPECT_LE(chroma.worst, 2) << layout.name;
    EXPECT_LE(chroma.sum / chroma.count, 0.3) << layout.name;
    EXPECT_LE(rgb.worst, 5) << layout.name;
    EXPECT_LE(rgb.sum / rgb.count, 0.6) << layout.name;
  }
}

// Finds the marker's first byte at or after `from`; the frame must hold it.
std::size_t MarkerAt(const std::vector<uint8_t>& bytes, uint8_t code, std::size_t from = 0) {
  for (std::size_t i = from; i + 1 < bytes.size(); ++i) {
    if (bytes[i] == 0xFF && bytes[i + 1] == code) return i;
  }
  ADD_FAILURE() << "no marker " << int(code);
  return 0;
}

// Broken headers and scans: ICERR_ERROR, and the bitmap keeps every byte it had.
TEST_F(ForeignFrames, BrokenTablesAndScansFailWithoutWritingAPixel) {
  const Layout layout = {"", 3, {{2, 2}, {1, 1}, {1, 1}}, 4, true, false};
  Image images[2];
  const Frame good = Build(layout, images);
  std::vector<uint8_t> bytes(good.bytes.begin(), good.bytes.begin() + good.length);
  const std::size_t dht = MarkerAt(bytes, 0xC4), dqt = MarkerAt(bytes, 0xDB), sof = MarkerAt(bytes, 0xC0);
  const std::size_t sos = MarkerAt(bytes, 0xDA), rst0 = MarkerAt(bytes, 0xD0, sos);
  std::size_t lastRestart = rst0;
  for (std::size_t at = rst0; at + 1 < bytes.size(); ++at) {
    if (bytes[at] == 0xFF && bytes[at + 1] >= 0xD0 && bytes[at + 1] <= 0xD7) lastRestart = at;
  }
  // The first DC table's codes made complete, which takes the all-ones code too.
  const auto allOnesCode = [&](std::vector<uint8_t>& b) {
    int symbols = 0;
    for (int length = 0; length < 16; ++length) symbols += b[dht + 5 + length];
    ASSERT_EQ(b[dht + 4] >> 4, 0) << "the first DHT table is a DC table";
    ASSERT_GE(symbols, 3);
    for (int length = 1; length <= 16; ++length) {
      b[dht + 4 + length] = length < symbols - 1 ? 1 : length == symbols - 1 ? 2 : 0;
    }
  };
  // libjpeg writes chrominance sampled more finely than luminance, which is valid JPEG.
  Image finer[2];
  const Frame finerChroma = Build({"", 3, {{1, 1}, {1, 2}, {1, 1}}, 0, false, false}, finer);
  using Edit = std::function<void(std::vector<uint8_t>&)>;
  const struct {
    const char* name;
    Edit edit;
  } cases[] = {
      {"more codes of a length than fit", [&](auto& b) { b[dht + 5] = 2; }},
      {"a code of all ones", allOnesCode},
      {"more symbols than the segment holds", [&](auto& b) { b[dht + 5 + 15] = 200; }},
      {"Huffman table id 4", [&](auto& b) { b[dht + 4] = 0x04; }},
      {"Huffman table class 2", [&](auto& b) { b[dht + 4] = 0x20; }},
      {"quantisation table id 4", [&](auto& b) { b[dqt + 4] = 0x04; }},
      {"16-bit quantisation table", [&](auto& b) { b[dqt + 4] = 0x10; }},
      {"luma sampling 0", [&](auto& b) { b[sof + 11] = 0x02; }},
      {"luma sampling 3", [&](auto& b) { b[sof + 11] = 0x32; }},
      {"chroma factor not dividing luma's", [&](auto& b) { b[sof + 14] = 0x12; b[sof + 11] = 0x21; }},
      {"four components", [&](auto& b) { b[sof + 9] = 4; }},
      {"progressive", [&](auto& b) { b[sof + 1] = 0xC2; }},
      {"arithmetic coding", [&](auto& b) { b[sof + 1] = 0xC9; }},
      {"wider than the frame", [&](auto& b) { b[sof + 7] = 0x02; }},
      {"scan of two components", [&](auto& b) { b[sos + 4] = 2; }},
      {"scan selects table 3", [&](auto& b) { b[sos + 6] = 0x33; }},
      {"restart markers out of order", [&](auto& b) { b[rst0 + 1] = 0xD1; }},
      {"restart marker missing", [&](auto& b) { b[rst0 + 1] = 0x00; }},
      {"coded data cut short", [&](auto& b) { b.resize(sos + 600); }},
      {"cut short after the last restart", [&](auto& b) { b.resize(lastRestart + 8); }},
      {"spectral selection of a progressive scan", [&](auto& b) { b[sos + 12] = 5; }},
      {"chrominance finer than luminance",
       [&](auto& b) { b.assign(finerChroma.bytes.begin(), finerChroma.bytes.begin() + finerChroma.length); }},
      {"image without a scan", [&](auto& b) { b.resize(sos); }},
  };
  for (const auto& c : cases) {
    Frame frame;
    frame.bytes = bytes;
    c.edit(frame.bytes);
    frame.length = frame.bytes.size();
    for (const char* flag : {"0", "31"}) {
      ProcessorOverride processor(flag);
      for (ProcessorCountQuery threads : {&OneProcessor, &TwoProcessors}) {
        for (const OutputFormat& format : {kYuy2, kRgb24}) {
          std::vector<uint8_t> bits;
          EXPECT_EQ(DecodeFrame(frame, kWidth, kHeight, format, threads, bits), -100) << c.name << ", class " << flag;
          EXPECT_TRUE(std::all_of(bits.begin(), bits.end(), [](uint8_t b) { return b == kUntouched; }))
              << c.name << ": pixels written";
        }
      }
    }
  }
}

}  // namespace
}  // namespace trvx::test
