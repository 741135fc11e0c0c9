// The demo's two trips through Video for Windows: frames compressed by the installed
// TRVX codec into an AVI file, and that file read back through whichever installed
// codec offers to decompress it, as a player would find one.
#pragma once

#include <windows.h>
// vfw.h needs the Windows types first.
#include <vfw.h>

#include <chrono>
#include <memory>
#include <string>
#include <type_traits>

#include "yuy2_frames.h"

namespace trvx::demo {

// AVIFileInit and AVIFileExit around everything that uses AVI files.
class AviLibrary {
 public:
  AviLibrary() { AVIFileInit(); }
  ~AviLibrary() { AVIFileExit(); }
  AviLibrary(const AviLibrary&) = delete;
  AviLibrary& operator=(const AviLibrary&) = delete;
};

struct CodecCloser {
  void operator()(HIC codec) const { ICClose(codec); }
};
struct AviFileReleaser {
  void operator()(PAVIFILE file) const { AVIFileRelease(file); }
};
struct AviStreamReleaser {
  void operator()(PAVISTREAM stream) const { AVIStreamRelease(stream); }
};
using CodecHandle = std::unique_ptr<std::remove_pointer_t<HIC>, CodecCloser>;
using AviFileHandle = std::unique_ptr<IAVIFile, AviFileReleaser>;
using AviStreamHandle = std::unique_ptr<IAVIStream, AviStreamReleaser>;

// Time spent inside codec calls alone, without the file reading and writing around them.
class CodecClock {
 public:
  template <typename Call>
  LRESULT Measure(Call call) {
    const auto start = std::chrono::steady_clock::now();
    const LRESULT result = call();
    spent_ += std::chrono::steady_clock::now() - start;
    return result;
  }
  double Seconds() const { return std::chrono::duration<double>(spent_).count(); }

 private:
  std::chrono::steady_clock::duration spent_{};
};

// Compresses YUY2 frames with ICCompress and appends them to a new AVI file, every
// frame a key frame.
class AviCompressor {
 public:
  AviCompressor(const std::string& path, FrameSize size, DWORD framesPerSecond);
  ~AviCompressor();
  AviCompressor(const AviCompressor&) = delete;
  AviCompressor& operator=(const AviCompressor&) = delete;

  // Returns the frame's compressed size in bytes.
  std::size_t Write(const FrameBytes& frame);
  DWORD Quality() const { return quality_; }
  double CodecSeconds() const { return clock_.Seconds(); }

 private:
  AviFileHandle file_;
  AviStreamHandle stream_;
  CodecHandle codec_;
  BITMAPINFOHEADER input_;
  FrameBytes compressedFormat_;  // the codec's header, longer than a BITMAPINFOHEADER
  FrameBytes compressed_;
  DWORD quality_ = 0;
  LONG frameIndex_ = 0;
  CodecClock clock_;
};

// Reads the video stream of an AVI file and decompresses each frame to YUY2 with ICDecompress.
class AviDecompressor {
 public:
  explicit AviDecompressor(const std::string& path);
  ~AviDecompressor();
  AviDecompressor(const AviDecompressor&) = delete;
  AviDecompressor& operator=(const AviDecompressor&) = delete;

  FrameSize Size() const { return size_; }
  int FrameCount() const { return frameCount_; }
  FrameBytes Read(int index);
  double CodecSeconds() const { return clock_.Seconds(); }

 private:
  AviFileHandle file_;
  AviStreamHandle stream_;
  CodecHandle codec_;
  FrameBytes compressedFormat_;
  FrameSize size_;
  BITMAPINFOHEADER output_;
  int frameCount_ = 0;
  FrameBytes compressed_;
  CodecClock clock_;
};

}  // namespace trvx::demo
