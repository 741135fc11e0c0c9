// The timing loop of every benchmark program here: the native core benchmark, the
// libjpeg-turbo peer (built 32- and 64-bit) and the Windows host that drives trvx.dll.
// Standard C++ only, so that all of them build it.
#pragma once

#include <algorithm>
#include <chrono>
#include <string>

namespace trvx::bench {

using Clock = std::chrono::steady_clock;

struct Size {
  int width, height;
};
inline constexpr Size kSizes[] = {{720, 576}, {1920, 1088}};

inline std::string SizeName(const Size& size) {
  return std::to_string(size.width) + "x" + std::to_string(size.height);
}

// Runs the body repeatedly after a warm-up; the best round's frames per second.
template <typename Body>
double MeasureFps(double seconds, int rounds, Body&& body) {
  const auto warmEnd = Clock::now() + std::chrono::duration<double>(seconds / 4);
  while (Clock::now() < warmEnd) body();
  double best = 0;
  for (int round = 0; round < rounds; ++round) {
    long frames = 0;
    const auto start = Clock::now();
    auto now = start;
    do {
      body();
      ++frames;
      now = Clock::now();
    } while (now - start < std::chrono::duration<double>(seconds));
    best = std::max(best, frames / std::chrono::duration<double>(now - start).count());
  }
  return best;
}

}  // namespace trvx::bench
