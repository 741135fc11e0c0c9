// trvx_benchmark: the codec core against libjpeg-turbo, and with --ffmpeg against ffmpeg,
// in both directions, decoding and then encoding, every ratio taken within one invocation.
#include <cstdio>
#include <cstdlib>
#include <string>

#include "benchmark_common.h"

int main(int argc, char** argv) {
  using namespace trvx::bench;
  Options options;
  std::string inputsDirectory;
  for (int i = 1; i < argc; ++i) {
    const std::string arg = argv[i];
    if (arg == "--peer" && i + 1 < argc) {
      options.peerGroup = std::atoi(argv[++i]);
    } else if (arg == "--peer-encode" && i + 1 < argc) {
      options.peerEncodeGroup = std::atoi(argv[++i]);
    } else if (arg == "--fast-upsample") {
      options.fastUpsample = true;
    } else if (arg == "--ffmpeg") {
      options.ffmpeg = true;
    } else if (arg == "--summary" && i + 1 < argc) {
      options.summaryPath = argv[++i];
    } else if (arg == "--fast-dct") {
      options.fastDct = true;
    } else if (arg == "--decode-only") {
      options.encode = false;
    } else if (arg == "--encode-only") {
      options.decode = false;
    } else if (arg == "--seconds" && i + 1 < argc) {
      options.seconds = std::atof(argv[++i]);
    } else if (arg == "--profile" && i + 3 < argc) {
      options.profileFrames = std::atoi(argv[++i]);
      options.profilePath = argv[++i];
      options.profileFormat = argv[++i];
    } else if (arg == "--profile-encode" && i + 4 < argc) {
      options.profileEncodeFrames = std::atoi(argv[++i]);
      options.profilePath = argv[++i];
      options.profileFormat = argv[++i];
      options.profileThreads = std::atoi(argv[++i]);
    } else if (arg == "--dump" && i + 1 < argc) {
      options.dumpPath = argv[++i];
    } else if (arg == "--write-inputs" && i + 1 < argc) {
      inputsDirectory = argv[++i];
    } else if (arg == "--rounds" && i + 1 < argc) {
      options.rounds = std::max(1, std::atoi(argv[++i]));
    } else {
      std::fprintf(stderr,
                   "usage: %s [--seconds S] [--rounds N] [--decode-only | --encode-only] [--fast-upsample] "
                   "[--fast-dct] [--ffmpeg] [--summary FILE]\n"
                   "       %s --profile FRAMES TRVX_CPU BGR24|BGRA32|UYVY [--dump FILE]\n"
                   "       %s --profile-encode FRAMES TRVX_CPU BGR24|YUY2 THREADS [--dump FILE]\n"
                   "       %s --write-inputs DIRECTORY\n"
                   "  S seconds per measurement (default 0.5), best of N rounds (default 3);\n"
                   "  --ffmpeg adds ffmpeg's M-JPEG (libavcodec, one thread) to each group,\n"
                   "  --summary appends every figure to FILE as tab-separated lines;\n"
                   "  --fast-upsample gives libjpeg-turbo TJFLAG_FASTUPSAMPLE when decoding,\n"
                   "  --fast-dct TJFLAG_FASTDCT when encoding;\n"
                   "  --profile decodes, --profile-encode encodes FRAMES 1920x1088 frames and nothing else,\n"
                   "  --dump writes the last bitmap or frame to FILE;\n"
                   "  --write-inputs writes the bitmaps and libjpeg-turbo frames that trvx_dll_bench\n"
                   "  and trvx_peer_bench read (bench/dll_groups.h)\n",
                   argv[0], argv[0], argv[0], argv[0]);
      return 2;
    }
  }
  if (!inputsDirectory.empty()) {
    return WriteEncodeInputs(inputsDirectory) == 0 ? WriteDecodeInputs(inputsDirectory) : 1;
  }
  if (options.peerGroup >= 0) return RunDecodePeer(options);
  if (options.peerEncodeGroup >= 0) return RunEncodePeer(options);
  if (options.profileFrames > 0) return RunDecodeProfile(options);
  if (options.profileEncodeFrames > 0) return RunEncodeProfile(options);

  const std::string self = SelfPath();
  int status = 0;
  if (options.decode) status = RunDecodeBenchmark(options, self);
  if (status == 0 && options.encode) {
    if (options.decode) std::printf("\n");
    std::fflush(stdout);
    status = RunEncodeBenchmark(options, self);
  }
  return status;
}
