// The encoder session against libjpeg, on a 720 x 576 photograph given as BGR24
// bottom-up and as YUY2: libjpeg-turbo reads every field image of every path; on the
// plain path the coded coefficients are exactly those of the plain integer kernels;
// and the decoded picture keeps up with what libjpeg-turbo's own encoder makes of the
// same samples with the same tables. ffmpeg's whole-frame decoding is shown on AVI
// files written under Wine (the AVI playback and demo tests).
#include <gtest/gtest.h>

// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>

#include <algorithm>
#include <cmath>
#include <csetjmp>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "format/mcu_workspace.h"
#include "encoder/encoder_kernels.h"
#include "encoder/encoder_session.h"
#include "encoder/quant_tables.h"
#include "pixel/input_converter.h"
#include "settings/settings_record.h"
#include "support/bitmap_header.h"
#include "support/field_frames.h"
#include "support/processor_override.h"

namespace trvx::test {
namespace {

using Bytes = std::vector<uint8_t>;

constexpr int kWidth = 720;
constexpr int kHeight = 576;
constexpr int kFieldHeight = kHeight / 2;
constexpr int kChromaWidth = kWidth / 2;
constexpr int kHeaderBytes = 237;
constexpr uint32_t kYuy2 = MakeFourCc('Y', 'U', 'Y', '2');
constexpr uint32_t kQualities[] = {0, 7000, 10000};

// Natural position of the coefficient at each zig-zag index, written out from the
// standard's figure rather than taken from the codec.
constexpr int kNaturalOrder[64] = {0,  1,  8,  16, 9,  2,  3,  10, 17, 24, 32, 25, 18, 11, 4,  5,
                                   12, 19, 26, 33, 40, 48, 41, 34, 27, 20, 13, 6,  7,  14, 21, 28,
                                   35, 42, 49, 56, 57, 50, 43, 36, 29, 22, 15, 23, 30, 37, 44, 51,
                                   58, 59, 52, 45, 38, 31, 39, 46, 53, 60, 61, 54, 47, 55, 62, 63};

uint32_t OneProcessor() { return 1; }

struct Path {
  const char* name;
  const char* flag;     // TRVX_CPU
  bool pairMeanChroma;  // the vector RGB converters average each pixel pair's colour
};
const Path kPlainPath = {"plain", "0", false};
const Path kPaths[] = {kPlainPath, {"MMX", "3", true}, {"SSE", "15", true}, {"SSE2", "31", true}};

// Studio-range 4:2:2 planes of a whole frame, top row first.
struct Planes {
  Bytes y = Bytes(std::size_t{kWidth} * kHeight);
  Bytes cb = Bytes(std::size_t{kChromaWidth} * kHeight);
  Bytes cr = Bytes(std::size_t{kChromaWidth} * kHeight);
};

// The plain converter's formula; with pairMean the chroma of the pair's mean colour,
// rounded once (the sums of two pixels shifted by one more bit).
Planes StudioPlanes(const Bytes& rgb, bool pairMean) {
  Planes planes;
  for (int line = 0; line < kHeight; ++line) {
    for (int x = 0; x < kWidth; ++x) {
      const uint8_t* p = &rgb[(std::size_t{kWidth} * line + x) * 3];
      const int r = p[0], g = p[1], b = p[2];
      planes.y[std::size_t{kWidth} * line + x] = uint8_t(((6423 * b + 33030 * g + 16843 * r + 32768) >> 16) + 16);
      if (x % 2 != 0) continue;
      int cb = 0, cr = 0;
      if (pairMean) {
        const int r2 = r + p[3], g2 = g + p[4], b2 = b + p[5];
        cb = (28770 * b2 - 19071 * g2 - 9699 * r2 + 65536) >> 17;
        cr = (28770 * r2 - 24117 * g2 - 4653 * b2 + 65536) >> 17;
      } else {
        cb = (28770 * b - 19071 * g - 9699 * r + 32768) >> 16;
        cr = (28770 * r - 24117 * g - 4653 * b + 32768) >> 16;
      }
      planes.cb[std::size_t{kChromaWidth} * line + x / 2] = uint8_t(cb + 128);
      planes.cr[std::size_t{kChromaWidth} * line + x / 2] = uint8_t(cr + 128);
    }
  }
  return planes;
}

// The vector RGB converters' samples: truncating products without rounding, and
// each chroma term of the pair sum floored on its own.
Planes VectorRgbPlanes(const Bytes& rgb) {
  Planes planes;
  for (int line = 0; line < kHeight; ++line) {
    for (int x = 0; x < kWidth; ++x) {
      const uint8_t* p = &rgb[(std::size_t{kWidth} * line + x) * 3];
      const int r = p[0], g = p[1], b = p[2];
      planes.y[std::size_t{kWidth} * line + x] =
          uint8_t(((r * 16843) >> 16) + ((2 * g * 16515) >> 16) + ((b * 6423) >> 16) + 16);
      if (x % 2 != 0) continue;
      const int r2 = r + p[3], g2 = g + p[4], b2 = b + p[5];
      const int cb = ((-9699 * r2) >> 17) - ((19071 * g2) >> 17) + ((28770 * b2) >> 17);
      const int cr = ((28770 * r2) >> 17) - ((24117 * g2) >> 17) - ((4653 * b2) >> 17);
      planes.cb[std::size_t{kChromaWidth} * line + x / 2] = uint8_t(cb + 128);
      planes.cr[std::size_t{kChromaWidth} * line + x / 2] = uint8_t(cr + 128);
    }
  }
  return planes;
}

// The photograph in both input formats, with its reference planes.
struct Source {
  std::string skipReason;
  Bytes rgb;          // top row first
  Bytes bgrBottomUp;  // BI_RGB, 24 bits
  Bytes yuy2;         // top-down, from the left-pixel planes
  Planes leftChroma;  // what the plain RGB converter and every YUY2 converter see
  Planes meanChroma;  // the vector RGB converters' target: the pair's mean colour
  Planes vectorRgb;   // what the vector RGB converters deliver (truncated terms)
};

const Source& Photo() {
  static const Source source = [] {
    Source s;
    const std::string path = FieldFrameSource::FindPhoto(kWidth, kHeight);
    if (path.empty()) {
      s.skipReason = "no mate-backgrounds photograph installed";
      return s;
    }
    const FieldFrameSource frames(path, kWidth, kHeight, 90);
    if (!frames.ok()) {
      s.skipReason = frames.error();
      return s;
    }
    s.rgb = frames.pictureRgb();
    s.bgrBottomUp.resize(s.rgb.size());
    for (int line = 0; line < kHeight; ++line) {
      for (int x = 0; x < kWidth; ++x) {
        const uint8_t* from = &s.rgb[(std::size_t{kWidth} * line + x) * 3];
        uint8_t* to = &s.bgrBottomUp[(std::size_t{kWidth} * (kHeight - 1 - line) + x) * 3];
        to[0] = from[2];
        to[1] = from[1];
        to[2] = from[0];
      }
    }
    s.leftChroma = StudioPlanes(s.rgb, false);
    s.meanChroma = StudioPlanes(s.rgb, true);
    s.vectorRgb = VectorRgbPlanes(s.rgb);
    s.yuy2.resize(std::size_t{kWidth} * kHeight * 2);
    for (int line = 0; line < kHeight; ++line) {
      for (int pair = 0; pair < kChromaWidth; ++pair) {
        uint8_t* to = &s.yuy2[(std::size_t{kChromaWidth} * line + pair) * 4];
        const std::size_t luma = std::size_t{kWidth} * line + 2 * pair;
        const std::size_t chroma = std::size_t{kChromaWidth} * line + pair;
        to[0] = s.leftChroma.y[luma];
        to[1] = s.leftChroma.cb[chroma];
        to[2] = s.leftChroma.y[luma + 1];
        to[3] = s.leftChroma.cr[chroma];
      }
    }
    return s;
  }();
  return source;
}

enum class Input { Bgr24, Yuy2 };
const char* Name(Input input) { return input == Input::Bgr24 ? "BGR24" : "YUY2"; }

BitmapHeader InputFormat(Input input) {
  return input == Input::Bgr24 ? Bitmap(kWidth, kHeight, 24) : Bitmap(kWidth, kHeight, 16, kYuy2);
}

const Bytes& InputBits(Input input) { return input == Input::Bgr24 ? Photo().bgrBottomUp : Photo().yuy2; }

// What an outside decoder should reproduce for this input on this path.
const Planes& Reference(Input input, const Path& path) {
  return input == Input::Bgr24 && path.pairMeanChroma ? Photo().meanChroma : Photo().leftChroma;
}
// The samples the path's converter actually hands to the transform.
const Planes& Converted(Input input, const Path& path) {
  return input == Input::Bgr24 && path.pairMeanChroma ? Photo().vectorRgb : Photo().leftChroma;
}

struct CodedFrame {
  Bytes bytes;
  Bytes fields[2];
};

// One frame through a one-processor session on the given path, split at the first
// image's EOI (coded data never holds 0xFF 0xD9: a coded 0xFF is followed by 0x00).
CodedFrame Encode(Input input, const Path& path, uint32_t quality) {
  ProcessorOverride processor(path.flag);
  EncoderSession encoder(&OneProcessor);
  const BitmapHeader inputFormat = InputFormat(input);
  BitmapHeader output = inputFormat;
  output.compression = kCodecFourCc;
  output.bitCount = 24;
  CodedFrame frame;
  frame.bytes.assign(std::size_t{kWidth} * kHeight * 4, 0);
  EXPECT_EQ(encoder.Begin(&inputFormat, &output), 0);
  EXPECT_EQ(encoder.Compress(&output, frame.bytes.data(), &inputFormat, InputBits(input).data(), quality), 0);
  EXPECT_EQ(encoder.End(), 0);
  frame.bytes.resize(output.sizeImage);
  for (std::size_t at = kHeaderBytes; at + 1 < frame.bytes.size(); ++at) {
    if (frame.bytes[at] == 0xFF && frame.bytes[at + 1] == 0xD9) {
      frame.fields[0].assign(frame.bytes.begin(), frame.bytes.begin() + long(at + 2));
      frame.fields[1].assign(frame.bytes.begin() + long(at + 2), frame.bytes.end());
      break;
    }
  }
  return frame;
}

// libjpeg-turbo's planar decoding of one field image, which must say 720 x 288 4:2:2.
struct FieldDecode : YuvPlanes {
  std::string error;
};

FieldDecode DecodeField(const Bytes& jpeg) {
  FieldDecode out;
  out.error = DecodeWithTurboJpeg(jpeg, kWidth, kFieldHeight, out);
  return out;
}

struct Psnr {
  double y = 0, cb = 0, cr = 0, all = 0;
};

double ToDb(double squaredError, double samples) {
  return squaredError == 0 ? 99.0 : 10.0 * std::log10(255.0 * 255.0 * samples / squaredError);
}

// Both fields against the frame's reference planes; field f holds lines f, f + 2, ...
Psnr MeasurePsnr(const FieldDecode (&fields)[2], const Planes& reference) {
  double error[3] = {};
  for (int f = 0; f < 2; ++f) {
    for (int line = 0; line < kFieldHeight; ++line) {
      const int frameLine = 2 * line + f;
      for (int x = 0; x < kWidth; ++x) {
        const double d = fields[f].y[std::size_t{kWidth} * line + x] - reference.y[std::size_t{kWidth} * frameLine + x];
        error[0] += d * d;
      }
      for (int x = 0; x < kChromaWidth; ++x) {
        const std::size_t at = std::size_t{kChromaWidth} * line + x;
        const std::size_t ref = std::size_t{kChromaWidth} * frameLine + x;
        const double db = fields[f].cb[at] - reference.cb[ref];
        const double dr = fields[f].cr[at] - reference.cr[ref];
        error[1] += db * db;
        error[2] += dr * dr;
      }
    }
  }
  const double luma = double(kWidth) * kHeight, chroma = luma / 2;
  return {ToDb(error[0], luma), ToDb(error[1], chroma), ToDb(error[2], chroma),
          ToDb(error[0] + error[1] + error[2], luma + 2 * chroma)};
}

// ---------------------------------------------------------------------------------
// The libjpeg API, for what TurboJPEG does not offer: coefficients and raw planes in.

struct LibjpegError {
  jpeg_error_mgr manager;
  jmp_buf escape;
  char message[JMSG_LENGTH_MAX];
};

void LeaveOnError(j_common_ptr info) {
  auto* error = reinterpret_cast<LibjpegError*>(info->err);
  info->err->format_message(info, error->message);
  std::longjmp(error->escape, 1);
}

jpeg_error_mgr* ErrorManager(LibjpegError& error) {
  jpeg_std_error(&error.manager);
  error.manager.error_exit = &LeaveOnError;
  error.message[0] = '\0';
  return &error.manager;
}

// One field image as libjpeg reads it: the quantised coefficients of every MCU in the
// codec's block order (Y left, Y right, Cb, Cr), each block in zig-zag order, and the
// two quantisation tables in the order the DQT carried them.
struct StreamCoefficients {
  std::string error;
  std::vector<int16_t> blocks;
  uint16_t tables[2][64] = {};
};

void ReadCoefficients(const Bytes& jpeg, StreamCoefficients& out) {
  LibjpegError error;
  jpeg_decompress_struct info = {};
  info.err = ErrorManager(error);
  // Nothing with a destructor is made between here and the last libjpeg call.
  if (setjmp(error.escape) != 0) {
    out.error = error.message;
    jpeg_destroy_decompress(&info);
    return;
  }
  jpeg_create_decompress(&info);
  jpeg_mem_src(&info, jpeg.data(), static_cast<unsigned long>(jpeg.size()));
  jpeg_read_header(&info, TRUE);
  jvirt_barray_ptr* arrays = jpeg_read_coefficients(&info);
  const int columns = kWidth / 16, rows = kFieldHeight / 8;
  out.blocks.resize(std::size_t(columns) * rows * 4 * 64);
  int16_t* to = out.blocks.data();
  for (int row = 0; row < rows; ++row) {
    JBLOCKARRAY lines[3];
    for (int c = 0; c < 3; ++c) {
      lines[c] =
          info.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&info), arrays[c], JDIMENSION(row), 1, FALSE);
    }
    for (int column = 0; column < columns; ++column) {
      const JCOEF* blocks[4] = {lines[0][0][2 * column], lines[0][0][2 * column + 1], lines[1][0][column],
                                lines[2][0][column]};
      for (const JCOEF* block : blocks) {
        for (int k = 0; k < 64; ++k) *to++ = block[kNaturalOrder[k]];
      }
    }
  }
  for (int t = 0; t < 2; ++t) {
    for (int k = 0; k < 64; ++k) {
      out.tables[t][k] = info.quant_tbl_ptrs[t] != nullptr ? info.quant_tbl_ptrs[t]->quantval[kNaturalOrder[k]] : 0;
    }
  }
  const long warnings = info.err->num_warnings;
  jpeg_finish_decompress(&info);
  jpeg_destroy_decompress(&info);
  if (warnings != 0) out.error = std::to_string(warnings) + " libjpeg warnings";
}

// libjpeg-turbo's baseline 4:2:2 image of one field of the planes (accurate integer
// DCT), with two tables given in stream order: jpeg_add_quant_table takes natural
// order and writes zig-zag, so stream entry k goes in at zig-zag index k's position.
void CompressWithLibjpeg(const Planes& planes, int field, const uint16_t (&streamTables)[2][64], Bytes& out,
                         std::string& message) {
  LibjpegError error;
  jpeg_compress_struct info = {};
  info.err = ErrorManager(error);
  unsigned char* buffer = nullptr;
  unsigned long size = 0;
  if (setjmp(error.escape) != 0) {
    message = error.message;
    jpeg_destroy_compress(&info);
    std::free(buffer);
    return;
  }
  jpeg_create_compress(&info);
  jpeg_mem_dest(&info, &buffer, &size);
  info.image_width = kWidth;
  info.image_height = kFieldHeight;
  info.input_components = 3;
  info.in_color_space = JCS_YCbCr;
  jpeg_set_defaults(&info);
  jpeg_set_colorspace(&info, JCS_YCbCr);
  info.raw_data_in = TRUE;
  info.dct_method = JDCT_ISLOW;
  info.comp_info[0].h_samp_factor = 2;
  info.comp_info[0].v_samp_factor = 1;
  for (int c = 1; c < 3; ++c) info.comp_info[c].h_samp_factor = info.comp_info[c].v_samp_factor = 1;
  for (int t = 0; t < 2; ++t) {
    unsigned int natural[64];
    for (int k = 0; k < 64; ++k) natural[kNaturalOrder[k]] = streamTables[t][k];
    jpeg_add_quant_table(&info, t, natural, 100, TRUE);  // scale 100: the values as given
  }
  jpeg_start_compress(&info, TRUE);
  for (int top = 0; top < kFieldHeight; top += 8) {
    JSAMPROW rows[3][8];
    for (int i = 0; i < 8; ++i) {
      const std::size_t line = std::size_t(2 * (top + i) + field);
      rows[0][i] = const_cast<JSAMPROW>(&planes.y[line * kWidth]);
      rows[1][i] = const_cast<JSAMPROW>(&planes.cb[line * kChromaWidth]);
      rows[2][i] = const_cast<JSAMPROW>(&planes.cr[line * kChromaWidth]);
    }
    JSAMPARRAY components[3] = {rows[0], rows[1], rows[2]};
    jpeg_write_raw_data(&info, components, 8);
  }
  jpeg_finish_compress(&info);
  jpeg_destroy_compress(&info);
  out.assign(buffer, buffer + size);
  std::free(buffer);
}

class EncoderOracle : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!Photo().skipReason.empty()) GTEST_SKIP() << Photo().skipReason;
  }
};

// ---------------------------------------------------------------------------------
// On the plain path the stream holds exactly the plain integer arithmetic's coefficients.

// The plain converter, DCT, zig-zag and quantiser run directly on every MCU of the
// field, addressed here from the picture layout rather than by the session's converter.
std::vector<int16_t> PlainKernelCoefficients(Input input, int field, uint32_t quality) {
  alignas(16) uint16_t tables[2 * kBlockSize];
  alignas(16) int16_t reciprocals[2 * kBlockSize];
  BuildQuantTables(quality, tables, tables + kBlockSize);
  BuildReciprocals(tables, reciprocals);
  FrameDescription description;
  description.fieldCount = 2;
  description.fieldIndex = uint8_t(field);
  description.quantTables = tables;
  description.quantTableCount = 2;
  const uint8_t sampling[kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};
  std::memcpy(description.sampling, sampling, sizeof sampling);
  description.width = kWidth;
  description.height = kHeight;
  description.reciprocals = reciprocals;
  PrepareDctTables();
  BlockBuffer blocks;
  EXPECT_TRUE(blocks.Allocate());
  blocks.blocksPerMcu = 4;

  const Bytes& bits = InputBits(input);
  const std::size_t rowBytes = input == Input::Bgr24 ? std::size_t{kWidth} * 3 : std::size_t{kWidth} * 2;
  std::vector<int16_t> out;
  for (int row = 0; row < kFieldHeight / 8; ++row) {
    for (int column = 0; column < kWidth / 16; ++column) {
      // The MCU's top line: frame line 16 row + field, stored bottom-up for RGB.
      const int line = 16 * row + field;
      if (input == Input::Bgr24) {
        InputRgb24Plain(&bits[std::size_t(kHeight - 1 - line) * rowBytes + std::size_t(column) * 16 * 3],
                        blocks.coefficients, uint32_t(2 * rowBytes));
      } else {
        InputYuy2Plain(&bits[std::size_t(line) * rowBytes + std::size_t(column) * 16 * 2], blocks.coefficients,
                       uint32_t(2 * rowBytes));
      }
      ForwardDctPlain(blocks);
      ZigzagPlain(blocks);
      QuantisePlain(description, blocks);
      out.insert(out.end(), blocks.coefficients, blocks.coefficients + 4 * kBlockCoefficients);
    }
  }
  return out;
}

TEST_F(EncoderOracle, PlainPathStreamHoldsThePlainKernelsCoefficients) {
  for (const Input input : {Input::Bgr24, Input::Yuy2}) {
    for (const uint32_t quality : kQualities) {
      const CodedFrame frame = Encode(input, kPlainPath, quality);
      uint16_t tables[2 * kBlockSize];
      BuildQuantTables(quality, tables, tables + kBlockSize);
      for (int f = 0; f < 2; ++f) {
        SCOPED_TRACE(std::string(Name(input)) + ", quality " + std::to_string(quality) + ", field " +
                     std::to_string(f));
        StreamCoefficients stream;
        ReadCoefficients(frame.fields[f], stream);
        ASSERT_EQ(stream.error, "");
        // A decoder dequantises zig-zag index k by the k-th table entry, as the
        // quantiser divided it.
        for (int k = 0; k < kBlockSize; ++k) {
          ASSERT_EQ(stream.tables[0][k], tables[k]) << "luminance entry " << k;
          ASSERT_EQ(stream.tables[1][k], tables[kBlockSize + k]) << "chrominance entry " << k;
        }
        const std::vector<int16_t> expected = PlainKernelCoefficients(input, f, quality);
        ASSERT_EQ(stream.blocks.size(), expected.size());
        std::size_t mismatches = 0, nonZero = 0, firstMismatch = expected.size();
        for (std::size_t i = 0; i < expected.size(); ++i) {
          nonZero += expected[i] != 0;
          if (stream.blocks[i] == expected[i]) continue;
          if (mismatches++ == 0) firstMismatch = i;
        }
        std::printf("%-5s quality %5u field %d: %zu coefficients, %zu non-zero, %zu differ (bound 0)\n", Name(input),
                    quality, f, expected.size(), nonZero, mismatches);
        EXPECT_EQ(mismatches, 0u) << "first at MCU " << firstMismatch / 256 << ", block " << firstMismatch / 64 % 4
                                  << ", zig-zag index " << firstMismatch % 64 << ": stream "
                                  << (mismatches != 0 ? stream.blocks[firstMismatch] : 0) << ", kernels "
                                  << (mismatches != 0 ? expected[firstMismatch] : 0);
      }
    }
  }
}

// ---------------------------------------------------------------------------------
// Picture quality against the source's samples, and against libjpeg-turbo's encoder.

// Lowest PSNR (all samples of both fields) allowed per quality. Measured: plain path
// and YUY2 input 36.4 / 48.2 / 58.1 dB; vector paths from RGB 36.2 / 44.9 / 46.6 dB,
// whose luma is truncated up to three levels low by design, which caps them near the
// top. A wrong table order, a lost rounding step or a misplaced field falls far below.
struct PsnrBound {
  uint32_t quality;
  double exactSamples;  // the converter delivers the reference samples themselves
  double vectorRgb;
};
constexpr PsnrBound kPsnrBounds[] = {{0, 35.5, 35.5}, {7000, 47.0, 43.5}, {10000, 56.5, 45.5}};
constexpr uint32_t kComparedQuality = 7000;
constexpr double kAllowedLossToLibjpeg = 0.5;  // dB

Psnr CodecPsnr(Input input, const Path& path, uint32_t quality) {
  const CodedFrame frame = Encode(input, path, quality);
  FieldDecode fields[2];
  for (int f = 0; f < 2; ++f) {
    fields[f] = DecodeField(frame.fields[f]);
    EXPECT_EQ(fields[f].error, "") << Name(input) << " " << path.name << " " << quality << " field " << f;
    if (!fields[f].error.empty()) return {};
  }
  return MeasurePsnr(fields, Reference(input, path));
}

TEST_F(EncoderOracle, DecodedFieldsKeepTheSourceSamplesOnEveryPath) {
  std::printf("input path  quality  PSNR dB:   Y      Cb     Cr    all  (bound on all)\n");
  for (const Input input : {Input::Bgr24, Input::Yuy2}) {
    for (const Path& path : kPaths) {
      for (const PsnrBound& bound : kPsnrBounds) {
        const Psnr psnr = CodecPsnr(input, path, bound.quality);
        const bool exact = &Converted(input, path) == &Reference(input, path);
        const double lowest = exact ? bound.exactSamples : bound.vectorRgb;
        std::printf("%-5s %-5s %7u  %13.2f %6.2f %6.2f %6.2f  (>= %.1f)\n", Name(input), path.name, bound.quality,
                    psnr.y, psnr.cb, psnr.cr, psnr.all, lowest);
        EXPECT_GE(psnr.all, lowest) << Name(input) << " on the " << path.name << " path at " << bound.quality;
      }
    }
  }
}

// libjpeg-turbo codes the very samples the path's converter delivers, with the
// codec's tables byte for byte, and is measured against the same reference.
TEST_F(EncoderOracle, KeepsUpWithLibjpegTurboGivenTheSameTablesAndSamples) {
  const CodedFrame tableFrame = Encode(Input::Bgr24, kPlainPath, kComparedQuality);
  StreamCoefficients codec;
  ReadCoefficients(tableFrame.fields[0], codec);
  ASSERT_EQ(codec.error, "");

  auto libjpegPsnr = [&](const Planes& samples, const Planes& reference) {
    FieldDecode fields[2];
    for (int f = 0; f < 2; ++f) {
      Bytes jpeg;
      std::string message;
      CompressWithLibjpeg(samples, f, codec.tables, jpeg, message);
      EXPECT_EQ(message, "");
      StreamCoefficients written;
      ReadCoefficients(jpeg, written);
      EXPECT_TRUE(std::equal(&written.tables[0][0], &written.tables[0][0] + 128, &codec.tables[0][0]))
          << "libjpeg-turbo's DQT tables differ from the codec's";
      fields[f] = DecodeField(jpeg);
      EXPECT_EQ(fields[f].error, "");
      if (!fields[f].error.empty()) return Psnr{};
    }
    return MeasurePsnr(fields, reference);
  };

  std::printf("quality %u, PSNR of all samples in dB (codec within %.1f dB of libjpeg-turbo)\n", kComparedQuality,
              kAllowedLossToLibjpeg);
  for (const Input input : {Input::Bgr24, Input::Yuy2}) {
    for (const Path& path : kPaths) {
      const Psnr codec = CodecPsnr(input, path, kComparedQuality);
      const Psnr oracle = libjpegPsnr(Converted(input, path), Reference(input, path));
      std::printf("%-5s %-5s codec %6.2f  libjpeg-turbo %6.2f  difference %+.2f\n", Name(input), path.name, codec.all,
                  oracle.all, codec.all - oracle.all);
      EXPECT_NEAR(codec.all, oracle.all, kAllowedLossToLibjpeg) << Name(input) << " on the " << path.name << " path";
    }
  }
}

}  // namespace
}  // namespace trvx::test
