// Raw YUY2 frames and the round-trip error measured on them. No Win32 here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <fstream>
#include <string>
#include <vector>

namespace trvx::demo {

using FrameBytes = std::vector<uint8_t>;

// Top-down packed 4:2:2, two bytes a pixel in the order Y0 Cb Y1 Cr.
struct FrameSize {
  int width = 0;
  int height = 0;
  std::size_t Bytes() const { return static_cast<std::size_t>(width) * height * 2; }
};

// A clip of raw frames stored back to back, as ffmpeg writes them with -f rawvideo.
class Yuy2Clip {
 public:
  Yuy2Clip(const std::string& path, FrameSize size);
  int FrameCount() const { return frameCount_; }
  FrameBytes Read(int index);

 private:
  std::ifstream file_;
  FrameSize size_;
  int frameCount_ = 0;
};

enum class Plane { Y, Cb, Cr };

// Squared error per plane, averaged over frames and turned into a PSNR the way
// ffmpeg's psnr filter does it: the mean of the frames' MSEs, not of their PSNRs.
class PlaneErrors {
 public:
  void AddFrame(const FrameBytes& source, const FrameBytes& roundTrip);
  double Psnr(Plane plane) const;  // dB; infinite when every sample came back exact

 private:
  double mseSum_[3] = {};
  int frames_ = 0;
};

// Source and round trip side by side in one picture of twice the width.
FrameBytes SideBySide(const FrameBytes& left, const FrameBytes& right, FrameSize size);

void WriteFile(const std::string& path, const FrameBytes& bytes);

}  // namespace trvx::demo
