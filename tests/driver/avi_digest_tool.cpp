// Decodes every frame of an AVI through the installed TRVX codec into RGB24 and YUY2
// and prints a digest of each picture, so that two builds of the codec can be compared
// bit for bit: avi_digest_tool FILE.avi
#include <windows.h>
#include <vfw.h>

#include <cstdint>
#include <cstdio>
#include <utility>
#include <vector>

#include "support/codec_library.h"

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
  PAVISTREAM stream = nullptr;
  if (!trvx::test::InstallCodec() || AVIStreamOpenFromFileA(&stream, argv[1], streamtypeVIDEO, 0, OF_READ, nullptr) != 0) {
    std::printf("no codec or no video stream\n");
    return 1;
  }
  BITMAPINFOHEADER input = {};
  LONG formatSize = sizeof input;
  AVIStreamReadFormat(stream, 0, &input, &formatSize);
  const HIC codec = ICOpen(ICTYPE_VIDEO, trvx::test::FourCc("TRVX"), ICMODE_DECOMPRESS);
  bool ok = codec != nullptr;
  const LONG frames = AVIStreamLength(stream);
  for (const auto& [compression, bitCount] : {std::pair<DWORD, WORD>{BI_RGB, 24}, {trvx::test::FourCc("YUY2"), 16}}) {
    BITMAPINFOHEADER output = trvx::test::Bitmap(compression, bitCount, input.biWidth, input.biHeight);
    ok = ok && ICDecompressBegin(codec, &input, &output) == ICERR_OK;
    for (LONG frame = 0; ok && frame < frames; ++frame) {
      LONG bytes = 0;
      AVIStreamRead(stream, frame, 1, nullptr, 0, &bytes, nullptr);
      std::vector<uint8_t> data(bytes + trvx::test::kFramePadding);
      std::vector<uint8_t> picture(output.biSizeImage);
      input.biSizeImage = static_cast<DWORD>(bytes);
      ok = AVIStreamRead(stream, frame, 1, data.data(), bytes, nullptr, nullptr) == 0 &&
           ICDecompress(codec, 0, &input, data.data(), &output, picture.data()) == ICERR_OK;
      std::printf("frame %ld to %d bits: %016llx\n", frame, bitCount, static_cast<unsigned long long>(Digest(picture)));
    }
    if (codec != nullptr) ICDecompressEnd(codec);
  }
  if (codec != nullptr) ICClose(codec);
  AVIStreamRelease(stream);
  AVIFileExit();
  std::printf(ok ? "frames decoded\n" : "decoding failed\n");
  return ok ? 0 : 1;
}
