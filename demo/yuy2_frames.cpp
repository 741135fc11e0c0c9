#include "yuy2_frames.h"

#include <cmath>
#include <limits>
#include <stdexcept>

namespace trvx::demo {

Yuy2Clip::Yuy2Clip(const std::string& path, FrameSize size) : file_(path, std::ios::binary), size_(size) {
  if (!file_) throw std::runtime_error("cannot open " + path);
  file_.seekg(0, std::ios::end);
  frameCount_ = static_cast<int>(static_cast<std::size_t>(file_.tellg()) / size_.Bytes());
}

FrameBytes Yuy2Clip::Read(int index) {
  FrameBytes frame(size_.Bytes());
  file_.seekg(static_cast<std::streamoff>(index) * static_cast<std::streamoff>(frame.size()));
  if (!file_.read(reinterpret_cast<char*>(frame.data()), static_cast<std::streamsize>(frame.size()))) {
    throw std::runtime_error("source frame " + std::to_string(index) + " is short");
  }
  return frame;
}

void PlaneErrors::AddFrame(const FrameBytes& source, const FrameBytes& roundTrip) {
  // Every group of four bytes holds two Y samples, one Cb and one Cr.
  double squared[3] = {};
  for (std::size_t i = 0; i + 3 < source.size(); i += 4) {
    const int y0 = source[i] - roundTrip[i];
    const int cb = source[i + 1] - roundTrip[i + 1];
    const int y1 = source[i + 2] - roundTrip[i + 2];
    const int cr = source[i + 3] - roundTrip[i + 3];
    squared[0] += y0 * y0 + y1 * y1;
    squared[1] += cb * cb;
    squared[2] += cr * cr;
  }
  const double chromaSamples = static_cast<double>(source.size() / 4);
  mseSum_[0] += squared[0] / (2 * chromaSamples);
  mseSum_[1] += squared[1] / chromaSamples;
  mseSum_[2] += squared[2] / chromaSamples;
  ++frames_;
}

double PlaneErrors::Psnr(Plane plane) const {
  const double mse = mseSum_[static_cast<int>(plane)] / frames_;
  if (mse == 0) return std::numeric_limits<double>::infinity();
  return 10 * std::log10(255.0 * 255.0 / mse);
}

FrameBytes SideBySide(const FrameBytes& left, const FrameBytes& right, FrameSize size) {
  const std::size_t rowBytes = static_cast<std::size_t>(size.width) * 2;
  FrameBytes both;
  both.reserve(2 * size.Bytes());
  for (std::size_t row = 0; row < static_cast<std::size_t>(size.height); ++row) {
    both.insert(both.end(), left.begin() + row * rowBytes, left.begin() + (row + 1) * rowBytes);
    both.insert(both.end(), right.begin() + row * rowBytes, right.begin() + (row + 1) * rowBytes);
  }
  return both;
}

void WriteFile(const std::string& path, const FrameBytes& bytes) {
  std::ofstream file(path, std::ios::binary);
  file.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (!file) throw std::runtime_error("cannot write " + path);
}

}  // namespace trvx::demo
