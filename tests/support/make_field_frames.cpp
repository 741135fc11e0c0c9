// Writes photograph frames and their expected decodes for the Windows tests, which
// have no libjpeg-turbo under Wine. Usage: trvx_make_field_frames OUTPUT_DIRECTORY
//
//   photo_720x576*.trvx         the codec's layout, without APP0/APP1, with offset 0, with DHT
//   photo_64x32.trvx            the codec's layout, four MCUs per field
//   photo_64x32.jpg             one 4:2:0 image of the whole picture, as cameras write
//   photo_720x576.FORMAT.ref    the native plain-path decode of photo_720x576.trvx
//   photo_720x576.libjpeg.yuv   libjpeg-turbo's planes: per field Y, Cb, Cr (4:2:2)
// Frames are written without the padding the decoder's input needs.
#include <turbojpeg.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/field_frames.h"

namespace trvx::test {
namespace {

std::filesystem::path directory;

bool Write(const std::string& name, const uint8_t* data, std::size_t size) {
  std::ofstream out(directory / name, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  if (!out) std::fprintf(stderr, "cannot write %s\n", name.c_str());
  return static_cast<bool>(out);
}

bool WriteAll(const FieldFrameSource& large, const FieldFrameSource& small) {
  std::vector<uint8_t> planes;
  for (int field = 0; field < 2; ++field) {
    for (const Plane& plane : large.reference(field)) {
      planes.insert(planes.end(), plane.samples.begin(), plane.samples.end());
    }
  }
  unsigned char* jpeg = nullptr;
  unsigned long size = 0;
  tjhandle encoder = tjInitCompress();
  const bool compressed = tjCompress2(encoder, small.pictureRgb().data(), small.width(), small.width() * 3,
                                      small.height(), TJPF_RGB, &jpeg, &size, TJSAMP_420, 90, 0) == 0;
  const bool written = compressed && Write("photo_64x32.jpg", jpeg, size);
  tjFree(jpeg);
  tjDestroy(encoder);
  if (!written || !Write("photo_720x576.libjpeg.yuv", planes.data(), planes.size())) return false;
  const struct {
    const char* name;
    const FieldFrameSource& source;
    FrameVariant variant;
  } frames[] = {{"photo_720x576.trvx", large, {DhtContent::Strip, true, true}},
                {"photo_720x576_noapp.trvx", large, {DhtContent::Strip, false, true}},
                {"photo_720x576_offset0.trvx", large, {DhtContent::Strip, true, false}},
                {"photo_720x576_dht.trvx", large, {DhtContent::Keep, true, true}},
                {"photo_64x32.trvx", small, {DhtContent::Strip, true, true}}};
  for (const auto& f : frames) {
    const Frame frame = f.source.Build(f.variant);
    if (!Write(f.name, frame.bytes.data(), frame.length)) return false;
  }
  // The plain path's decodes, whatever this machine's processor.
  setenv("TRVX_CPU", "0", 1);
  for (const OutputFormat& format : kOutputFormats) {
    std::vector<uint8_t> bits;
    if (DecodeFrame(large.Build(FrameVariant{}), large.width(), large.height(), format, &OneProcessor, bits) != 0) {
      std::fprintf(stderr, "the decoder refused the frame into %s\n", format.name);
      return false;
    }
    if (!Write(std::string("photo_720x576.") + format.name + ".ref", bits.data(), bits.size())) return false;
  }
  return true;
}

}  // namespace
}  // namespace trvx::test

int main(int argc, char** argv) {
  using trvx::test::FieldFrameSource;
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT_DIRECTORY\n", argv[0]);
    return 2;
  }
  trvx::test::directory = argv[1];
  std::error_code error;
  std::filesystem::create_directories(trvx::test::directory, error);
  const std::string photo = FieldFrameSource::FindPhoto(720, 576);
  if (error || photo.empty()) {
    std::fprintf(stderr, "cannot create %s, or no photograph: install the mate-backgrounds package\n", argv[1]);
    return 1;
  }
  const FieldFrameSource large(photo, 720, 576, 94), small(photo, 64, 32, 94);
  if (!large.ok() || !small.ok()) {
    std::fprintf(stderr, "%s\n", (large.ok() ? small : large).error().c_str());
    return 1;
  }
  return trvx::test::WriteAll(large, small) ? 0 : 1;
}
