// The video stream of an AVI file, read through AVIFile as players read it.
#pragma once

#include "support/codec_library.h"

namespace trvx::test {

struct AviFrames {
  BITMAPINFOHEADER format = {};
  std::vector<std::vector<uint8_t>> frames;  // each followed by kFramePadding zero bytes
  std::vector<DWORD> frameBytes;             // without the padding
};

// Needs AVIFileInit; false when the file or a frame does not read.
bool ReadAviFrames(const std::string& path, AviFrames& avi);

}  // namespace trvx::test
