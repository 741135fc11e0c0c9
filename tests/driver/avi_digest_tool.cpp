// Decodes every frame of an AVI through the installed TRVX codec into RGB24 and YUY2
// and prints a digest of each picture, so that two builds of the codec can be compared
// bit for bit: avi_digest_tool FILE.avi
#include <windows.h>
#include <vfw.h>

#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

#include "support/avi_frames.h"

namespace {

uint64_t Digest(const std::vector<uint8_t>& bytes) {
  uint64_t digest = 14695981039346656037ull;
  for (uint8_t byte : bytes) digest = (digest ^ byte) * 1099511628211ull;  // FNV-1a
  return digest;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::printf("usage: avi_digest_tool FILE.avi\n");
    return 2;
  }
  AVIFileInit();
  trvx::test::AviFrames avi;
  if (!trvx::test::InstallCodec() || !trvx::test::ReadAviFrames(argv[1], avi)) {
    std::printf("no codec or no video stream\n");
    return 1;
  }
  BITMAPINFOHEADER input = avi.format;
  const HIC codec = ICOpen(ICTYPE_VIDEO, trvx::test::FourCc("TRVX"), ICMODE_DECOMPRESS);
  bool ok = codec != nullptr;
  for (const auto& [compression, bitCount] : {std::pair<DWORD, WORD>{BI_RGB, 24}, {trvx::test::FourCc("YUY2"), 16}}) {
    BITMAPINFOHEADER output = trvx::test::Bitmap(compression, bitCount, input.biWidth, input.biHeight);
    ok = ok && ICDecompressBegin(codec, &input, &output) == ICERR_OK;
    for (std::size_t frame = 0; ok && frame < avi.frames.size(); ++frame) {
      std::vector<uint8_t> picture(output.biSizeImage);
      input.biSizeImage = avi.frameBytes[frame];
      ok = ICDecompress(codec, 0, &input, avi.frames[frame].data(), &output, picture.data()) == ICERR_OK;
      std::printf("frame %zu to %d bits: %016llx\n", frame, bitCount, static_cast<unsigned long long>(Digest(picture)));
    }
    if (codec != nullptr) ICDecompressEnd(codec);
  }
  if (codec != nullptr) ICClose(codec);
  AVIFileExit();
  std::printf(ok ? "frames decoded\n" : "decoding failed\n");
  return ok ? 0 : 1;
}
