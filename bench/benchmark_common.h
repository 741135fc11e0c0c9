// What the decode and encode parts of trvx_benchmark share: options, the timing loop,
// the peer child processes and the printing of rows and ratios.
//
// libjpeg-turbo reads JSIMD_FORCE* once per process, so each peer configuration runs
// in a child process of this program (started with --peer or --peer-encode) and
// reports its frames per second back on a pipe.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "dll_groups.h"
#include "measure.h"
#include "platform/worker_thread.h"
#include "turbojpeg_peer.h"

namespace trvx::bench {

struct CodecPath {
  const char* name;
  const char* flag;  // TRVX_CPU
};
inline constexpr CodecPath kPaths[] = {{"SSE2", "31"}, {"plain", "0"}, {"SSE", "15"}, {"MMX", "3"}};
inline constexpr int kPathCount = sizeof(kPaths) / sizeof(kPaths[0]);

struct PeerMode {
  const char* name;
  const char* environment;  // set in the child before libjpeg-turbo starts
};
inline constexpr PeerMode kPeerModes[] = {
    {"peer-SSE2", "JSIMD_FORCESSE2"}, {"peer-none", "JSIMD_FORCENONE"}, {"peer-default", ""}};
inline constexpr int kPeerModeCount = sizeof(kPeerModes) / sizeof(kPeerModes[0]);

struct Options {
  double seconds = 0.5;  // per measurement
  int rounds = 3;        // best of
  bool decode = true;
  bool encode = true;
  int peerGroup = -1;        // child: measure only this decode size x format group
  int peerEncodeGroup = -1;  // child: measure only this encode size x format group
  bool fastUpsample = false;
  bool fastDct = false;
  // --profile / --profile-encode: only this many codec frames, for a profiler run.
  int profileFrames = 0;
  int profileEncodeFrames = 0;
  int profileThreads = 1;
  std::string profilePath = "31";
  std::string profileFormat = "BGR24";
  std::string dumpPath;     // the profile run writes its last output here, to compare builds
  bool ffmpeg = false;      // also measure ffmpeg's M-JPEG through libavcodec
  std::string summaryPath;  // append every figure here as a tab-separated line
};

template <typename Body>
double MeasureFps(const Options& options, Body&& body) {
  return MeasureFps(options.seconds, options.rounds, body);
}

// What a session is told of the machine, for its one-thread or two-thread mode.
inline uint32_t OneProcessor() { return 1; }
inline uint32_t TwoProcessors() { return 2; }
inline ProcessorCountQuery ProcessorsFor(int threads) { return threads >= 2 ? &TwoProcessors : &OneProcessor; }

// A profile run's last output, so that two builds can be compared byte for byte.
inline bool WriteDump(const std::string& path, const uint8_t* data, std::size_t size) {
  return WriteWholeFile(path, data, size);
}

inline std::string SelfPath() {
  char path[4096];
  const ssize_t length = readlink("/proc/self/exe", path, sizeof(path) - 1);
  if (length <= 0) return std::string();
  path[length] = '\0';
  return path;
}

// Starts this program again as a peer child with one JSIMD variable set and the given
// role arguments (e.g. "--peer 3"); its frames per second, 0 on failure.
inline double RunPeerChild(const Options& options, const PeerMode& mode, const std::string& self,
                           const std::string& role) {
  std::string command = "env -u JSIMD_FORCESSE2 -u JSIMD_FORCENONE -u JSIMD_FORCEAVX2 ";
  if (mode.environment[0] != '\0') command += std::string(mode.environment) + "=1 ";
  command += "'" + self + "' " + role + " --seconds " + std::to_string(options.seconds) + " --rounds " +
             std::to_string(options.rounds) + (options.fastUpsample ? " --fast-upsample" : "") +
             (options.fastDct ? " --fast-dct" : "");
  FILE* pipe = popen(command.c_str(), "r");
  if (pipe == nullptr) return 0;
  char line[128];
  double fps = 0;
  if (std::fgets(line, sizeof(line), pipe) != nullptr) fps = std::atof(line);
  return pclose(pipe) == 0 ? fps : 0;
}

inline double Megapixels(const Size& size, double fps) { return fps * size.width * size.height / 1e6; }

inline void PrintRow(const char* what, const Size& size, double fps) {
  std::printf("  %-30s %9.1f fps %9.1f MP/s\n", what, fps, Megapixels(size, fps));
}

inline void PrintRatio(const char* what, double codec, double peer) {
  std::printf("  %-48s %6.2f\n", what, peer > 0 ? codec / peer : 0.0);
}

// A codec/peer ratio with its goal; worst keeps the lowest value over all groups.
struct Target {
  const char* what;
  int path, threads, peer;
  double goal;
  double worst = 1e9;
};

// Prints one group: every codec configuration, every peer mode, then the ratios,
// keeping each target's worst ratio. codecFps is indexed by path, then thread count.
inline void PrintGroup(const Size& size, const double (&codecFps)[kPathCount][3], const double* peerFps,
                       Target* targets, int targetCount) {
  for (int path = 0; path < kPathCount; ++path) {
    for (int threads = 2; threads >= 1; --threads) {
      const std::string what = std::string("codec ") + kPaths[path].name + ", " + std::to_string(threads) +
                               (threads == 1 ? " thread" : " threads");
      PrintRow(what.c_str(), size, codecFps[path][threads]);
    }
  }
  for (int mode = 0; mode < kPeerModeCount; ++mode) PrintRow(kPeerModes[mode].name, size, peerFps[mode]);
  for (int i = 0; i < targetCount; ++i) {
    Target& target = targets[i];
    const double peerValue = peerFps[target.peer];
    const double ratio = peerValue > 0 ? codecFps[target.path][target.threads] / peerValue : 0.0;
    target.worst = std::min(target.worst, ratio);
    char what[96];
    std::snprintf(what, sizeof(what), "ratio %s (>= %.1f)", target.what, target.goal);
    PrintRatio(what, codecFps[target.path][target.threads], peerValue);
  }
  PrintRatio("ratio SSE2 1 thread / peer-default", codecFps[0][1], peerFps[2]);
}

// ffmpeg's row and the ratio of the codec's best one-thread path to it.
inline void PrintFfmpeg(const Size& size, const double (&codecFps)[kPathCount][3], double ffmpegFps) {
  PrintRow("ffmpeg", size, ffmpegFps);
  PrintRatio("ratio SSE2 1 thread / ffmpeg", codecFps[0][1], ffmpegFps);
}

// For scripts/bench-report.sh: "direction size format side configuration threads fps"
// per figure of one group; ffmpeg's only when it was measured.
inline void AppendSummary(const Options& options, const char* direction, const Size& size, const char* format,
                          const double (&codecFps)[kPathCount][3], const double* peerFps, double ffmpegFps) {
  if (options.summaryPath.empty()) return;
  FILE* file = std::fopen(options.summaryPath.c_str(), "a");
  if (file == nullptr) return;
  const auto line = [&](const char* side, const char* configuration, int threads, double fps) {
    std::fprintf(file, "%s\t%dx%d\t%s\t%s\t%s\t%d\t%.2f\n", direction, size.width, size.height, format, side,
                 configuration, threads, fps);
  };
  for (int path = 0; path < kPathCount; ++path) {
    for (int threads = 2; threads >= 1; --threads) line("codec", kPaths[path].name, threads, codecFps[path][threads]);
  }
  // "peer-SSE2" -> "SSE2"
  for (int mode = 0; mode < kPeerModeCount; ++mode) line("libjpeg-turbo", kPeerModes[mode].name + 5, 1, peerFps[mode]);
  if (options.ffmpeg) line("ffmpeg", "default", 1, ffmpegFps);
  std::fclose(file);
}

inline void PrintTargets(const char* direction, const Target* targets, int count) {
  std::printf("\n%s: worst ratio over all sizes and formats:\n", direction);
  for (int i = 0; i < count; ++i) {
    const Target& target = targets[i];
    std::printf("  %-30s %6.2f  target %.1f %s\n", target.what, target.worst, target.goal,
                target.worst >= target.goal ? "met" : "MISSED");
  }
}

// The two parts; each returns the process exit code.
int RunDecodePeer(const Options& options);
int RunDecodeProfile(const Options& options);
int RunDecodeBenchmark(const Options& options, const std::string& self);
int RunEncodePeer(const Options& options);
int RunEncodeProfile(const Options& options);
int RunEncodeBenchmark(const Options& options, const std::string& self);
// --write-inputs: the files of dll_groups.h that come from the photographs.
int WriteDecodeInputs(const std::string& directory);
int WriteEncodeInputs(const std::string& directory);

}  // namespace trvx::bench
