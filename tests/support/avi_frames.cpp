#include "support/avi_frames.h"

#include <cstring>

namespace trvx::test {

bool ReadAviFrames(const std::string& path, AviFrames& avi) {
  PAVIFILE file = nullptr;
  if (AVIFileOpenA(&file, path.c_str(), OF_READ | OF_SHARE_DENY_WRITE, nullptr) != 0) return false;
  PAVISTREAM stream = nullptr;
  bool ok = AVIFileGetStream(file, &stream, streamtypeVIDEO, 0) == 0;
  if (ok) {
    std::vector<uint8_t> format(1024);
    LONG formatBytes = static_cast<LONG>(format.size());
    ok = AVIStreamReadFormat(stream, 0, format.data(), &formatBytes) == 0 &&
         formatBytes >= static_cast<LONG>(sizeof avi.format);
    if (ok) std::memcpy(&avi.format, format.data(), sizeof avi.format);
    avi.format.biSize = sizeof avi.format;
    for (LONG frame = AVIStreamStart(stream); ok && frame < AVIStreamEnd(stream); ++frame) {
      LONG bytes = 0;
      ok = AVIStreamRead(stream, frame, 1, nullptr, 0, &bytes, nullptr) == 0 && bytes > 0;
      std::vector<uint8_t> data(ok ? bytes + kFramePadding : 0, 0);
      ok = ok && AVIStreamRead(stream, frame, 1, data.data(), bytes, &bytes, nullptr) == 0;
      avi.frames.push_back(std::move(data));
      avi.frameBytes.push_back(static_cast<DWORD>(bytes));
    }
    AVIStreamRelease(stream);
  }
  AVIFileRelease(file);
  return ok && !avi.frames.empty();
}

}  // namespace trvx::test
