#include "support/field_frames.h"

#include <turbojpeg.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
// jpeglib.h needs size_t and FILE declared first.
#include <jpeglib.h>

#include "decoder/decoder_session.h"
#include "support/fenced_buffer.h"

namespace trvx::test {

namespace {

const char* const kPhotoDirectory = "/usr/share/backgrounds/mate/nature/";
// Sharp, saturated pictures first: large AC and chroma values.
const char* const kPhotoNames[] = {"Garden.jpg",   "RainDrops.jpg", "YellowFlower.jpg", "Blinds.jpg",
                                   "TwoWings.jpg", "Wood.jpg",      "Aqua.jpg",         "Storm.jpg",
                                   "LadyBird.jpg", "Dune.jpg",      "FreshFlower.jpg",  "GreenMeadow.jpg"};

using TjHandle = std::unique_ptr<void, int (*)(tjhandle)>;

void PatchBigEndian32(std::vector<uint8_t>& bytes, std::size_t at, std::size_t value) {
  for (int i = 0; i < 4; ++i) bytes[at + i] = static_cast<uint8_t>(value >> (24 - 8 * i));
}

void Append(std::vector<uint8_t>& to, const std::vector<uint8_t>& from) {
  to.insert(to.end(), from.begin(), from.end());
}

std::vector<uint8_t> ReadFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool PhotoSize(const std::vector<uint8_t>& jpeg, int& width, int& height) {
  TjHandle decoder(tjInitDecompress(), &tjDestroy);
  int subsampling = 0, colourspace = 0;
  return !jpeg.empty() &&
         tjDecompressHeader3(decoder.get(), const_cast<uint8_t*>(jpeg.data()), static_cast<unsigned long>(jpeg.size()),
                             &width, &height, &subsampling, &colourspace) == 0;
}

}  // namespace

std::string DecodeWithTurboJpeg(const std::vector<uint8_t>& jpeg, int width, int height, Planes& out) {
  TjHandle decoder(tjInitDecompress(), &tjDestroy);
  auto* data = const_cast<unsigned char*>(jpeg.data());
  const auto size = static_cast<unsigned long>(jpeg.size());
  int w = 0, h = 0, subsampling = -1, colourspace = -1;
  if (tjDecompressHeader3(decoder.get(), data, size, &w, &h, &subsampling, &colourspace) != 0) {
    return tjGetErrorStr2(decoder.get());
  }
  if (w != width || h != height || subsampling != TJSAMP_422 || colourspace != TJCS_YCbCr) return "other header";
  unsigned char* planes[3];
  int strides[3];
  for (int c = 0; c < 3; ++c) {
    out[c] = {c == 0 ? width : width / 2, height, std::vector<uint8_t>(std::size_t(width) * height / (c == 0 ? 1 : 2))};
    planes[c] = out[c].samples.data();
    strides[c] = out[c].width;
  }
  if (tjDecompressToYUVPlanes(decoder.get(), data, size, planes, width, strides, height, TJFLAG_ACCURATEDCT) != 0) {
    return tjGetErrorStr2(decoder.get());
  }
  return "";
}

int32_t DecodeFrame(const Frame& frame, int width, int height, const OutputFormat& format,
                    ProcessorCountQuery processors, std::vector<uint8_t>& bits, bool sizeGiven) {
  constexpr std::size_t kGuardBytes = 4096;
  constexpr uint8_t kGuardByte = 0xA5;
  BitmapHeader input = Bitmap(width, height, 24, kCodecFourCc);
  input.sizeImage = sizeGiven ? static_cast<uint32_t>(frame.length) : 0;
  const BitmapHeader output = Bitmap(width, height, format.bitCount, format.compression);
  bits.assign(output.sizeImage + kGuardBytes, kGuardByte);
  const FencedBuffer fenced(frame.bytes.data(), frame.length);
  if (fenced.data() == nullptr) return kWroteOutside;
  DecoderSession session(processors);
  int32_t result = session.Begin(&input, &output);
  if (result == 0) result = session.DecompressFrame(&output, bits.data(), &input, fenced.data());
  const int32_t ended = session.End();
  if (result == 0) result = ended;
  if (result == 0 && std::count(bits.begin() + output.sizeImage, bits.end(), kGuardByte) != kGuardBytes) {
    result = kWroteOutside;
  }
  bits.resize(output.sizeImage);
  return result;
}

std::string FieldFrameSource::FindPhoto(int width, int height) {
  for (const char* name : kPhotoNames) {
    const std::string path = std::string(kPhotoDirectory) + name;
    int photoWidth = 0, photoHeight = 0;
    if (PhotoSize(ReadFile(path), photoWidth, photoHeight) && photoWidth >= width && photoHeight >= height) return path;
  }
  return std::string();
}

FieldFrameSource::FieldFrameSource(const std::string& photoPath, int width, int height, int quality)
    : width_(width), height_(height) {
  if (!LoadPicture(photoPath)) return;
  for (int field = 0; field < 2; ++field) {
    if (!CompressField(field, quality)) return;
  }
}

bool FieldFrameSource::LoadPicture(const std::string& photoPath) {
  const std::vector<uint8_t> jpeg = ReadFile(photoPath);
  int photoWidth = 0, photoHeight = 0;
  const bool large = PhotoSize(jpeg, photoWidth, photoHeight) && photoWidth >= width_ && photoHeight >= height_;
  std::vector<uint8_t> photo(large ? static_cast<std::size_t>(photoWidth) * photoHeight * 3 : 0);
  TjHandle decoder(tjInitDecompress(), &tjDestroy);
  if (!large || tjDecompress2(decoder.get(), jpeg.data(), static_cast<unsigned long>(jpeg.size()), photo.data(),
                              photoWidth, photoWidth * 3, photoHeight, TJPF_RGB, TJFLAG_ACCURATEDCT) != 0) {
    error_ = "libjpeg-turbo cannot decode a picture that large from " + photoPath;
    return false;
  }
  // Box-averaged, then the middle: small pictures show the whole scene, not a flat patch.
  const int factor = std::max(1, std::min(photoWidth / width_, photoHeight / height_));
  const int left = (photoWidth / factor - width_) / 2;
  const int top = (photoHeight / factor - height_) / 2;
  rgb_.assign(static_cast<std::size_t>(width_) * height_ * 3, 0);
  for (int y = 0; y < height_; ++y) {
    for (int x = 0; x < width_; ++x) {
      for (int c = 0; c < 3; ++c) {
        int sum = 0;
        for (int dy = 0; dy < factor; ++dy) {
          const std::size_t row = static_cast<std::size_t>((top + y) * factor + dy) * photoWidth;
          for (int dx = 0; dx < factor; ++dx) sum += photo[(row + (left + x) * factor + dx) * 3 + c];
        }
        rgb_[(static_cast<std::size_t>(y) * width_ + x) * 3 + c] =
            static_cast<uint8_t>((sum + factor * factor / 2) / (factor * factor));
      }
    }
  }
  return true;
}

bool FieldFrameSource::CompressField(int field, int quality) {
  const int lines = height_ / 2;
  TjHandle encoder(tjInitCompress(), &tjDestroy);
  unsigned char* compressed = nullptr;
  unsigned long compressedSize = 0;
  if (tjCompress2(encoder.get(), rgb_.data() + field * width_ * 3, width_, 2 * width_ * 3, lines, TJPF_RGB, &compressed,
                  &compressedSize, TJSAMP_422, quality, TJFLAG_ACCURATEDCT) != 0) {
    error_ = std::string("tjCompress2 failed: ") + tjGetErrorStr2(encoder.get());
    tjFree(compressed);
    return false;
  }
  const std::vector<uint8_t> jpeg(compressed, compressed + compressedSize);
  tjFree(compressed);
  // APPn and COM are dropped: the codec's frames carry only its own two.
  Parts& parts = parts_[field];
  std::vector<uint8_t> tables[2];
  for (std::size_t at = 2; at + 4 <= jpeg.size() && jpeg[at] == 0xFF;) {
    const uint8_t code = jpeg[at + 1];
    const std::size_t end = std::min(jpeg.size(), at + 2 + (jpeg[at + 2] << 8 | jpeg[at + 3]));
    const std::vector<uint8_t> segment(jpeg.begin() + at, jpeg.begin() + end);
    if (code == 0xDB) {
      for (std::size_t t = 4; t + 65 <= segment.size(); t += 65) {
        if (segment[t] < 2) tables[segment[t]].assign(segment.begin() + t, segment.begin() + t + 65);
      }
    } else if (code == 0xC4) {
      parts.dhtSegments.push_back(segment);
    } else if (code == 0xC0) {
      parts.sof = segment;
    } else if (code == 0xDA) {
      parts.sos = segment;
      parts.scan.assign(jpeg.begin() + end, jpeg.end());
      break;
    }
    at = end;
  }
  if (tables[0].empty() || tables[1].empty() || parts.sof.empty() || parts.sos.empty() ||
      parts.dhtSegments.size() != 4) {
    error_ = "the field image lacks a quantisation table, SOF0, SOS or one of the four Huffman tables";
    return false;
  }
  parts.dqtTables = tables[0];
  Append(parts.dqtTables, tables[1]);
  error_ = DecodeWithTurboJpeg(jpeg, width_, lines, references_[field]);
  return error_.empty();
}

std::vector<uint8_t> FieldFrameSource::FieldImage(int field, const FrameVariant& variant,
                                                  std::size_t nextFieldOffset) const {
  const Parts& parts = parts_[field];
  std::vector<uint8_t> out = {0xFF, 0xD8};
  const std::size_t app0 = out.size();
  const std::size_t app1 = app0 + 18;
  if (variant.applicationSegments) {
    out.insert(out.end(), {0xFF, 0xE0, 0, 16, 'A', 'V', 'I', '1', static_cast<uint8_t>(field + 1), 0});
    out.resize(out.size() + 8, 0);
    out.insert(out.end(), {0xFF, 0xE1, 0, 42, 0, 0, 0, 0, 'm', 'j', 'p', 'g'});
    out.resize(out.size() + 32, 0);
  }
  out.insert(out.end(), {0xFF, 0xDD, 0, 4, 0, 0});
  const std::size_t dqt = out.size();
  out.insert(out.end(), {0xFF, 0xDB, 0, static_cast<uint8_t>(2 + parts.dqtTables.size())});  // two tables
  Append(out, parts.dqtTables);
  const std::size_t sof = out.size();
  Append(out, parts.sof);
  const std::size_t dht = variant.dht == DhtContent::Strip ? 0 : out.size();
  uint32_t noise = 0x2545F491u + static_cast<uint32_t>(field);
  for (const std::vector<uint8_t>& segment : parts.dhtSegments) {
    if (variant.dht == DhtContent::Strip) break;
    if (variant.dht == DhtContent::Keep) {
      Append(out, segment);
      continue;
    }
    // Nonsense tables without 0xFF, so the marker scans see nothing new.
    out.insert(out.end(), segment.begin(), segment.begin() + 4);
    for (std::size_t i = 4; i < segment.size(); ++i) {
      noise = noise * 1664525u + 1013904223u;
      out.push_back(static_cast<uint8_t>((noise >> 24) % 0xFF));
    }
  }
  const std::size_t sos = out.size();
  Append(out, parts.sos);
  const std::size_t data = out.size();
  Append(out, parts.scan);
  if (variant.applicationSegments) {
    // APP0: the image size twice; APP1: sizes, next-field offset, DQT, DHT, SOF0, SOS, data.
    const std::size_t size = out.size(), words[] = {size, size, nextFieldOffset, dqt, dht, sof, sos, data};
    PatchBigEndian32(out, app0 + 10, size);
    PatchBigEndian32(out, app0 + 14, size);
    for (int i = 0; i < 8; ++i) PatchBigEndian32(out, app1 + 12 + 4 * i, words[i]);
  }
  return out;
}

Frame FieldFrameSource::Build(const FrameVariant& variant) const {
  Frame frame;
  const std::size_t firstLength = FieldImage(0, variant, 0).size();
  frame.bytes = FieldImage(0, variant, variant.nextFieldOffset ? firstLength : 0);
  Append(frame.bytes, FieldImage(1, variant, 0));
  frame.firstFieldLength = firstLength;
  frame.length = frame.bytes.size();
  frame.bytes.resize(frame.length + kFramePadding, 0);
  return frame;
}

Frame CompressWithLibjpeg(const std::vector<uint8_t>& rgb, int width, int height, const Layout& layout,
                          Planes planes[2]) {
  Frame frame;
  const int images = layout.fields ? 2 : 1, lines = height / images;
  for (int image = 0; image < images; ++image) {
    jpeg_compress_struct info;
    jpeg_error_mgr errors;
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* buffer = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &buffer, &size);
    info.image_width = JDIMENSION(width);
    info.image_height = JDIMENSION(lines);
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
    while (info.next_scanline < info.image_height) {
      const std::size_t line = std::size_t(info.next_scanline) * images + image;
      JSAMPROW row = const_cast<uint8_t*>(rgb.data()) + line * width * 3;
      jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    frame.bytes.insert(frame.bytes.end(), buffer, buffer + size);

    // Whole MCU rows of every component as raw data; pictures here are whole MCUs wide.
    jpeg_decompress_struct reader;
    reader.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&reader);
    jpeg_mem_src(&reader, buffer, size);
    jpeg_read_header(&reader, TRUE);
    reader.raw_data_out = TRUE;
    reader.dct_method = JDCT_ISLOW;
    jpeg_start_decompress(&reader);
    const int maxV = reader.max_v_samp_factor;
    for (int c = 0; c < reader.num_components; ++c) {
      const jpeg_component_info& component = reader.comp_info[c];
      const int rows = int(component.height_in_blocks) * 8 + 16 * maxV;
      planes[image][c].width = int(component.width_in_blocks) * 8;
      planes[image][c].height = (lines * component.v_samp_factor + maxV - 1) / maxV;
      planes[image][c].samples.assign(std::size_t(planes[image][c].width) * rows, 0);
    }
    while (reader.output_scanline < reader.output_height) {
      std::vector<JSAMPROW> rows[3];
      JSAMPARRAY arrays[3];
      for (int c = 0; c < reader.num_components; ++c) {
        Plane& plane = planes[image][c];
        const int first = int(reader.output_scanline) * reader.comp_info[c].v_samp_factor / maxV;
        for (int r = 0; r < reader.comp_info[c].v_samp_factor * 8; ++r) {
          rows[c].push_back(&plane.samples[std::size_t(first + r) * plane.width]);
        }
        arrays[c] = rows[c].data();
      }
      jpeg_read_raw_data(&reader, arrays, JDIMENSION(maxV * 8));
    }
    jpeg_finish_decompress(&reader);
    jpeg_destroy_decompress(&reader);
    std::free(buffer);
  }
  frame.length = frame.bytes.size();
  frame.bytes.resize(frame.length + kFramePadding, 0);
  return frame;
}

}  // namespace trvx::test
