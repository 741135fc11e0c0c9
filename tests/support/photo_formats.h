// The uncompressed formats of the 720x576 test photograph that the native build
// writes for the Windows tests ("photo_720x576.<name>.ref").
#pragma once

#include "support/codec_library.h"

namespace trvx::test {

constexpr LONG kPhotoWidth = 720;
constexpr LONG kPhotoHeight = 576;

struct PictureFormat {
  const char* name;
  DWORD compression;
  WORD bitCount;
  bool isRgb;  // bottom-up storage; packed YUV is top-down
};

inline constexpr PictureFormat kPictureFormats[] = {
    {"rgb24", BI_RGB, 24, true},
    {"rgb32", BI_RGB, 32, true},
    {"uyvy", mmioFOURCC('U', 'Y', 'V', 'Y'), 16, false},
    {"yuy2", mmioFOURCC('Y', 'U', 'Y', '2'), 16, false},
    {"yvyu", mmioFOURCC('Y', 'V', 'Y', 'U'), 16, false},
    {"y16", mmioFOURCC('Y', '1', '6', 0), 16, false},
};

inline BITMAPINFOHEADER PhotoHeader(DWORD compression, WORD bitCount) {
  return Bitmap(compression, bitCount, kPhotoWidth, kPhotoHeight);
}

}  // namespace trvx::test
