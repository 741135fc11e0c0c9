// trvx_peer_bench: libjpeg-turbo on the files of the shipped-DLL benchmark, one
// thread, field after field, in whichever SIMD mode the environment forces
// (JSIMD_FORCE*, read once per process). Built for x86-64 and for i386, so that the
// 32-bit DLL meets a peer of its own bitness.
//   trvx_peer_bench DIRECTORY [--seconds S] [--rounds N] [--headline-rounds M] [--summary FILE]
// DIRECTORY holds what trvx_benchmark --write-inputs and trvx_dll_bench write.
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "dll_groups.h"
#include "measure.h"
#include "turbojpeg_peer.h"

namespace trvx::bench {
namespace {

// The mode's name as the report pairs it with the codec's paths.
std::string ForcedMode() {
  for (const char* mode : {"SSE2", "SSE", "MMX", "AVX2", "NONE"}) {
    const char* value = std::getenv((std::string("JSIMD_FORCE") + mode).c_str());
    if (value != nullptr && std::strcmp(value, "1") == 0) return std::strcmp(mode, "NONE") == 0 ? "none" : mode;
  }
  return "default";
}

// Where the second field's SOI is: the codec's two-thread frames say 0 in the first
// field's offset, so a player has to look. Marker segments are walked (their bytes
// could hold FF D8), then the entropy-coded data is scanned, where FF is never
// followed by D8. 0 when there is none.
std::size_t SecondFieldStart(const uint8_t* frame, std::size_t length) {
  std::size_t at = 2;
  while (at + 4 <= length && frame[at] == 0xFF) {
    const uint8_t code = frame[at + 1];
    at += 2 + (static_cast<std::size_t>(frame[at + 2]) << 8 | frame[at + 3]);
    if (code == 0xDA) break;
  }
  for (; at + 1 < length; ++at) {
    const void* found = std::memchr(frame + at, 0xFF, length - 1 - at);
    if (found == nullptr) return 0;
    at = static_cast<const uint8_t*>(found) - frame;
    if (frame[at + 1] == 0xD8) return at;
  }
  return 0;
}

PeerLayout LayoutOf(const std::string& format) {
  return format == "BGRA32" ? PeerLayout::Bgra32 : format == "UYVY" ? PeerLayout::YuvPlanes : PeerLayout::Bgr24;
}

int Run(const Arguments& arguments) {
  const std::string side = sizeof(void*) == 4 ? "libjpeg-turbo i386" : "libjpeg-turbo x86-64";
  const std::string mode = ForcedMode();
  std::printf("%s, %s, best of %d (decoding two-thread frames: %d) x %.2f s\n", side.c_str(), mode.c_str(),
              arguments.rounds, arguments.headlineRounds > 0 ? arguments.headlineRounds : arguments.rounds,
              arguments.seconds);
  const auto record = [&](const char* direction, const Size& size, const char* format, const char* frames,
                          double fps) {
    std::printf("  %-6s %-9s %-6s %-13s %9.1f fps\n", direction, SizeName(size).c_str(), format, frames, fps);
    AppendSummaryLine(arguments.summary, direction, size, format, frames, side, mode, 1, fps);
  };
  int status = 0;
  for (const Size& size : kSizes) {
    for (const char* format : kEncodeFormats) {
      const std::vector<uint8_t> bitmap = ReadWholeFile(arguments.directory + "/" + InputFile(size, format));
      const bool bgr = std::strcmp(format, "BGR24") == 0;
      if (bitmap.size() != static_cast<std::size_t>(size.width) * size.height * (bgr ? 3 : 2)) {
        std::fprintf(stderr, "no %s bitmap of %s in %s\n", format, SizeName(size).c_str(), arguments.directory.c_str());
        return 1;
      }
      PeerFrameEncoder peer(size.width, size.height, false);
      bool failed = !peer.ok();
      const double fps = MeasureFps(arguments.seconds, arguments.rounds, [&] {
        if (!(bgr ? peer.EncodeBgr(bitmap.data()) : peer.EncodeYuy2(bitmap.data()))) failed = true;
      });
      if (failed) status = 1;
      record("encode", size, format, "-", failed ? 0 : fps);
    }
  }
  for (const Size& size : kSizes) {
    for (const DecodeGroup& group : kDecodeGroups) {
      if (std::strcmp(group.frames, kCameraFrames) == 0) continue;  // ffmpeg's, measured by the script
      const std::vector<uint8_t> frame = ReadWholeFile(arguments.directory + "/" + FrameFile(size, group.frames));
      if (frame.empty() || SecondFieldStart(frame.data(), frame.size()) == 0) {
        std::fprintf(stderr, "no two-field %s frame of %s\n", group.frames, SizeName(size).c_str());
        return 1;
      }
      PeerFrameDecoder peer(size.width, size.height, LayoutOf(group.format), false);
      bool failed = !peer.ok();
      const bool headline = std::strcmp(group.frames, kTwoThreadFrames) == 0 && arguments.headlineRounds > 0;
      const int rounds = headline ? arguments.headlineRounds : arguments.rounds;
      const double fps = MeasureFps(arguments.seconds, rounds, [&] {
        const std::size_t second = SecondFieldStart(frame.data(), frame.size());
        if (!peer.DecodeField(0, frame.data(), second) ||
            !peer.DecodeField(1, frame.data() + second, frame.size() - second)) {
          failed = true;
        }
      });
      if (failed) status = 1;
      record("decode", size, group.format, group.frames, failed ? 0 : fps);
    }
  }
  return status;
}

}  // namespace
}  // namespace trvx::bench

int main(int argc, char** argv) {
  trvx::bench::Arguments arguments;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (trvx::bench::TakeTimingOption(argc, argv, i, arguments)) continue;
    if (arguments.directory.empty() && arg[0] != '-') {
      arguments.directory = arg;
    } else {
      arguments.directory.clear();
      break;
    }
  }
  if (arguments.directory.empty()) {
    std::fprintf(stderr,
                 "usage: %s DIRECTORY [--seconds S] [--rounds N] [--headline-rounds M] [--summary FILE]\n"
                 "  libjpeg-turbo on the benchmark files in DIRECTORY, in the SIMD mode JSIMD_FORCE* sets\n",
                 argv[0]);
    return 2;
  }
  return trvx::bench::Run(arguments);
}
