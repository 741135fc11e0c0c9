// Writes an AVI through the AVIFile API with the TRVX codec doing the compression, as
// capture and editing programs do: avi_writer_tool OUTPUT.avi FRAMES
#include <windows.h>
#include <vfw.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "support/codec_library.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::printf("usage: avi_writer_tool OUTPUT.avi FRAMES\n");
    return 2;
  }
  const int frames = std::atoi(argv[2]);
  const std::vector<uint8_t> picture = trvx::test::ReadTestData("photo_720x576.rgb24.ref");
  if (picture.size() != 720u * 576u * 3u || !trvx::test::InstallCodec()) {
    std::printf("no test picture or codec\n");
    return 1;
  }

  AVIFileInit();
  PAVIFILE avi = nullptr;
  DeleteFileA(argv[1]);
  if (AVIFileOpenA(&avi, argv[1], OF_CREATE | OF_WRITE, nullptr) != 0) return 1;

  BITMAPINFOHEADER format = trvx::test::Bitmap(BI_RGB, 24, 720, 576);

  AVISTREAMINFOA info = {};
  info.fccType = streamtypeVIDEO;
  info.dwScale = 1;
  info.dwRate = 25;
  info.dwSuggestedBufferSize = format.biSizeImage;
  SetRect(&info.rcFrame, 0, 0, 720, 576);
  PAVISTREAM stream = nullptr;
  PAVISTREAM compressed = nullptr;
  AVICOMPRESSOPTIONS options = {};
  options.fccType = streamtypeVIDEO;
  options.fccHandler = mmioFOURCC('T', 'R', 'V', 'X');
  options.dwQuality = 7000;
  options.dwFlags = AVICOMPRESSF_VALID;
  bool ok = AVIFileCreateStreamA(avi, &stream, &info) == 0 &&
            AVIMakeCompressedStream(&compressed, stream, &options, nullptr) == 0 &&
            AVIStreamSetFormat(compressed, 0, &format, sizeof format) == 0;
  for (int frame = 0; ok && frame < frames; ++frame) {
    // Move the picture a little each frame so that the frames differ.
    std::vector<uint8_t> moved(picture.size());
    const std::size_t shift = static_cast<std::size_t>(frame) * 3 * 4;
    for (std::size_t i = 0; i < picture.size(); ++i) moved[i] = picture[(i + shift) % picture.size()];
    ok = AVIStreamWrite(compressed, frame, 1, moved.data(), static_cast<LONG>(moved.size()), AVIIF_KEYFRAME,
                        nullptr, nullptr) == 0;
  }
  if (compressed != nullptr) AVIStreamRelease(compressed);
  if (stream != nullptr) AVIStreamRelease(stream);
  AVIFileRelease(avi);
  AVIFileExit();
  std::printf(ok ? "avi written\n" : "avi writing failed\n");
  return ok ? 0 : 1;
}
