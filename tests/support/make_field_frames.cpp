// Writes photograph frames and their expected decodes for the Windows tests, which
// have no libjpeg-turbo under Wine. Usage: trvx_make_field_frames OUTPUT_DIRECTORY
//
//   photo_720x576*.trvx         the codec's layout, and without APP0/APP1
//   photo_64x32.trvx            the codec's layout, four MCUs per field
//   photo_64x32.jpg             one 4:2:0 image of the whole picture, as cameras write
//   photo_720x576.FORMAT.ref    the native plain-path decode of photo_720x576.trvx
// Frames are written without the padding the decoder's input needs.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
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
  Planes unused[2];
  const Layout camera = {"", 3, {{2, 2}, {1, 1}, {1, 1}}, 0, false, false};
  const std::pair<const char*, Frame> frames[] = {
      {"photo_720x576.trvx", large.Build({DhtContent::Strip, true, true})},
      {"photo_720x576_noapp.trvx", large.Build({DhtContent::Strip, false, true})},
      {"photo_64x32.trvx", small.Build({DhtContent::Strip, true, true})},
      {"photo_64x32.jpg", CompressWithLibjpeg(small.pictureRgb(), small.width(), small.height(), camera, unused)}};
  for (const auto& [name, frame] : frames) {
    if (!Write(name, frame.bytes.data(), frame.length)) return false;
  }
  // The plain path's decodes of photo_720x576.trvx, whatever this machine's processor.
  setenv("TRVX_CPU", "0", 1);
  for (const OutputFormat& format : kOutputFormats) {
    std::vector<uint8_t> bits;
    if (DecodeFrame(frames[0].second, large.width(), large.height(), format, &OneProcessor, bits) != 0) {
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
