// Decoding speed of the codec core against libjpeg-turbo, tjbench style: the same
// two-field frames from a photograph, decoded by the codec session (one and two
// threads, per processor path) and by TurboJPEG field after field into the same
// output layout. All ratios come from one invocation.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <iterator>
#include <string>
#include <vector>

#include "benchmark_common.h"
#include "decoder/decoder_session.h"
#include "driver/formats.h"
#include "ffmpeg_peer.h"
#include "support/field_frames.h"

namespace trvx::bench {
namespace {

using trvx::test::FieldFrameSource;
using trvx::test::Frame;
using trvx::test::FrameVariant;

struct OutputFormat {
  const char* name;
  uint16_t bitCount;
  uint32_t compression;
  PeerLayout peerLayout;
  Bitmap ffmpegBitmap;
};

const OutputFormat kFormats[] = {
    {"BGR24", 24, 0, PeerLayout::Bgr24, Bitmap::Bgr24},
    {"BGRA32", 32, 0, PeerLayout::Bgra32, Bitmap::Bgra32},
    {"UYVY", 16, trvx::MakeFourCc('U', 'Y', 'V', 'Y'), PeerLayout::YuvPlanes, Bitmap::Uyvy},
};
constexpr int kFormatCount = sizeof(kFormats) / sizeof(kFormats[0]);
constexpr int kQuality = kPeerQuality;

struct Source {
  Size size;
  std::unique_ptr<FieldFrameSource> frames;
  Frame codecFrame;                     // no DHT, as cameras write it
  std::vector<uint8_t> fieldImages[2];  // whole JPEG images with their tables, for the peer
};

bool LoadSources(std::vector<Source>& sources) {
  for (const Size& size : kSizes) {
    const std::string photo = FieldFrameSource::FindPhoto(size.width, size.height);
    if (photo.empty()) {
      std::fprintf(stderr, "no photograph of %dx%d (mate-backgrounds not installed?)\n", size.width, size.height);
      return false;
    }
    Source source;
    source.size = size;
    source.frames = std::make_unique<FieldFrameSource>(photo, size.width, size.height, kQuality);
    if (!source.frames->ok()) {
      std::fprintf(stderr, "%s\n", source.frames->error().c_str());
      return false;
    }
    source.codecFrame = source.frames->Build(FrameVariant());
    FrameVariant whole;
    whole.dht = trvx::test::DhtContent::Keep;
    whole.applicationSegments = false;
    for (int field = 0; field < 2; ++field) source.fieldImages[field] = source.frames->FieldImage(field, whole, 0);
    sources.push_back(std::move(source));
  }
  return true;
}

std::size_t RowBytes(const OutputFormat& format, int width) {
  return static_cast<std::size_t>(width) * (format.bitCount / 8);
}

std::size_t ImageBytes(const Source& source, const OutputFormat& format) {
  return RowBytes(format, source.size.width) * source.size.height;
}

BitmapHeader CompressedHeader(const Source& source) {
  return {40, source.size.width, source.size.height, 1, 24, trvx::kCodecFourCc,
          static_cast<uint32_t>(source.codecFrame.length), 0, 0, 0, 0};
}

BitmapHeader OutputHeader(const Source& source, const OutputFormat& format) {
  return {40, source.size.width, source.size.height, 1, format.bitCount, format.compression,
          static_cast<uint32_t>(ImageBytes(source, format)), 0, 0, 0, 0};
}

// Codec frames per second, or 0 when the session refuses.
double CodecFps(const Options& options, const Source& source, const OutputFormat& format, const CodecPath& path,
                int threads) {
  setenv("TRVX_CPU", path.flag, 1);
  trvx::DecoderSession session(ProcessorsFor(threads));
  const BitmapHeader input = CompressedHeader(source);
  const BitmapHeader output = OutputHeader(source, format);
  std::vector<uint8_t> bits(ImageBytes(source, format));
  double fps = 0;
  if (session.Begin(&input, &output) == 0) {
    bool failed = false;
    const uint8_t* in = source.codecFrame.bytes.data();
    fps = MeasureFps(options, [&] {
      if (session.DecompressFrame(&output, bits.data(), &input, in) != 0) failed = true;
    });
    if (failed) fps = 0;
  }
  session.End();
  unsetenv("TRVX_CPU");
  return fps;
}

// TurboJPEG, one field after the other, into the same layout.
double PeerFps(const Options& options, const Source& source, const OutputFormat& format) {
  PeerFrameDecoder peer(source.size.width, source.size.height, format.peerLayout, options.fastUpsample);
  if (!peer.ok()) return 0;
  bool failed = false;
  const double fps = MeasureFps(options, [&] {
    for (int field = 0; field < 2; ++field) {
      const std::vector<uint8_t>& jpeg = source.fieldImages[field];
      if (!peer.DecodeField(field, jpeg.data(), jpeg.size())) failed = true;
    }
  });
  return failed ? 0 : fps;
}

std::string Key(const Source& source, const OutputFormat& format) {
  return std::to_string(source.size.width) + "x" + std::to_string(source.size.height) + " " + format.name;
}

// Child: the frames per second of one size x format group, on stdout.
int RunPeer(const Options& options, const std::vector<Source>& sources) {
  if (options.peerGroup < 0 || options.peerGroup >= static_cast<int>(sources.size()) * kFormatCount) return 2;
  const Source& source = sources[options.peerGroup / kFormatCount];
  std::printf("%.4f\n", PeerFps(options, source, kFormats[options.peerGroup % kFormatCount]));
  return 0;
}

int Profile(const Options& options, const Source& source) {
  for (const OutputFormat& format : kFormats) {
    if (options.profileFormat != format.name) continue;
    setenv("TRVX_CPU", options.profilePath.c_str(), 1);
    trvx::DecoderSession session(&OneProcessor);
    const BitmapHeader input = CompressedHeader(source);
    const BitmapHeader output = OutputHeader(source, format);
    std::vector<uint8_t> bits(ImageBytes(source, format));
    if (session.Begin(&input, &output) != 0) return 1;
    for (int frame = 0; frame < options.profileFrames; ++frame) {
      if (session.DecompressFrame(&output, bits.data(), &input, source.codecFrame.bytes.data()) != 0) return 1;
    }
    if (!options.dumpPath.empty() && !WriteDump(options.dumpPath, bits.data(), bits.size())) return 1;
    return session.End() == 0 ? 0 : 1;
  }
  std::fprintf(stderr, "unknown format %s\n", options.profileFormat.c_str());
  return 2;
}

}  // namespace

int RunDecodePeer(const Options& options) {
  std::vector<Source> sources;
  if (!LoadSources(sources)) return 1;
  return RunPeer(options, sources);
}

int WriteDecodeInputs(const std::string& directory) {
  std::vector<Source> sources;
  if (!LoadSources(sources)) return 1;
  for (const Source& source : sources) {
    const std::string path = directory + "/" + FrameFile(source.size, kLibjpegFrames);
    if (!WriteWholeFile(path, source.codecFrame.bytes.data(), source.codecFrame.length)) {
      std::fprintf(stderr, "cannot write %s\n", path.c_str());
      return 1;
    }
  }
  return 0;
}

int RunDecodeProfile(const Options& options) {
  std::vector<Source> sources;
  if (!LoadSources(sources)) return 1;
  return Profile(options, sources.back());
}

int RunDecodeBenchmark(const Options& options, const std::string& self) {
  std::vector<Source> sources;
  if (!LoadSources(sources)) return 1;
  Target targets[] = {{"SSE2 2 threads / peer-SSE2", 0, 2, 0, 1.6},
                      {"plain 2 threads / peer-none", 1, 2, 1, 1.6},
                      {"SSE2 1 thread / peer-SSE2", 0, 1, 0, 0.9},
                      {"plain 1 thread / peer-none", 1, 1, 1, 0.9}};

  std::printf("trvx decode benchmark: two-field frames, quality %d, best of %d x %.2f s%s\n", kQuality, options.rounds,
              options.seconds, options.fastUpsample ? ", peer with fast upsampling" : "");
  for (std::size_t sourceIndex = 0; sourceIndex < sources.size(); ++sourceIndex) {
    const Source& source = sources[sourceIndex];
    for (int formatIndex = 0; formatIndex < kFormatCount; ++formatIndex) {
      const OutputFormat& format = kFormats[formatIndex];
      const std::string key = Key(source, format);
      // Measured next to the codec's figures of the same group, so that a change of
      // load on the machine shifts both sides alike.
      double peerFps[kPeerModeCount];
      for (int mode = 0; mode < kPeerModeCount; ++mode) {
        peerFps[mode] = RunPeerChild(options, kPeerModes[mode], self,
                                     "--peer " + std::to_string(static_cast<int>(sourceIndex) * kFormatCount + formatIndex));
      }
      const double ffmpegFps = options.ffmpeg
                                   ? FfmpegDecodeFps(options, source.codecFrame.bytes.data(), source.codecFrame.length,
                                                     source.size, format.ffmpegBitmap)
                                   : 0;
      std::printf("\n%s (%zu-byte frame)%s\n", key.c_str(), source.codecFrame.length,
                  format.peerLayout == PeerLayout::YuvPlanes ? "  [peer: planar 4:2:2 YUV]" : "");
      double codec[kPathCount][3] = {};
      for (int path = 0; path < kPathCount; ++path) {
        for (int threads = 2; threads >= 1; --threads) {
          codec[path][threads] = CodecFps(options, source, format, kPaths[path], threads);
        }
      }
      PrintGroup(source.size, codec, peerFps, targets, static_cast<int>(std::size(targets)));
      if (options.ffmpeg) PrintFfmpeg(source.size, codec, ffmpegFps);
      AppendSummary(options, "decode", source.size, format.name, codec, peerFps, ffmpegFps);
    }
  }
  PrintTargets("decode", targets, 4);
  return 0;
}

}  // namespace trvx::bench
