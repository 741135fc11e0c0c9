// Compression speed of the codec core against libjpeg-turbo: the same photograph as
// the decode part, as a bottom-up BGR24 bitmap and as a top-down YUY2 one, coded
// into two-field frames by the codec session (one and two threads, per processor
// path) and by TurboJPEG field after field (4:2:2, default Huffman tables, accurate
// integer DCT unless --fast-dct).
//
// The codec's quality runs 0..10000; 7000 builds exactly the tables libjpeg-turbo
// builds for its quality 94 (checked at start), so both sides quantise alike.
//
// For YUY2 the peer first splits the packed frame into Y, Cb and Cr planes (it has no
// packed input); that split is part of its timed frame, as the codec's unpacking is
// part of its own.
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <iterator>
#include <string>
#include <vector>

#include "benchmark_common.h"
#include "driver/formats.h"
#include "encoder/encoder_session.h"
#include "encoder/quant_tables.h"
#include "ffmpeg_peer.h"
#include "settings/settings_record.h"
#include "support/field_frames.h"

namespace trvx::bench {
namespace {

using trvx::test::FieldFrameSource;

constexpr uint32_t kCodecQuality = 7000;

struct InputFormat {
  const char* name;
  uint16_t bitCount;
  uint32_t compression;
  Bitmap ffmpegBitmap;
};
const InputFormat kInputFormats[] = {{"BGR24", 24, 0, Bitmap::Bgr24}, {"YUY2", 16, kYuy2FourCc, Bitmap::Yuy2}};
constexpr int kInputFormatCount = sizeof(kInputFormats) / sizeof(kInputFormats[0]);

struct EncodeSource {
  Size size;
  std::vector<uint8_t> bgr;   // bottom-up, as a positive-height DIB
  std::vector<uint8_t> yuy2;  // top-down, Y0 Cb Y1 Cr

  const std::vector<uint8_t>& Bits(const InputFormat& format) const { return format.bitCount == 24 ? bgr : yuy2; }
};

uint8_t Clamp8(double value) { return static_cast<uint8_t>(std::clamp(std::lround(value), 0L, 255L)); }

// BT.601 studio range: Y 16..235, Cb and Cr 16..240; chroma of a pixel pair averaged.
void MakeYuy2(const std::vector<uint8_t>& rgb, int width, int height, std::vector<uint8_t>& yuy2) {
  yuy2.resize(static_cast<std::size_t>(width) * height * 2);
  for (int y = 0; y < height; ++y) {
    for (int x = 0; x < width; x += 2) {
      double cb = 0, cr = 0;
      uint8_t* out = yuy2.data() + (static_cast<std::size_t>(y) * width + x) * 2;
      for (int i = 0; i < 2; ++i) {
        const uint8_t* p = rgb.data() + (static_cast<std::size_t>(y) * width + x + i) * 3;
        const double r = p[0], g = p[1], b = p[2];
        out[2 * i] = Clamp8(16 + (65.481 * r + 128.553 * g + 24.966 * b) / 255);
        cb += 128 + (-37.797 * r - 74.203 * g + 112.0 * b) / 255;
        cr += 128 + (112.0 * r - 93.786 * g - 18.214 * b) / 255;
      }
      out[1] = Clamp8(cb / 2);
      out[3] = Clamp8(cr / 2);
    }
  }
}

bool LoadEncodeSources(std::vector<EncodeSource>& sources) {
  for (const Size& size : kSizes) {
    const std::string photo = FieldFrameSource::FindPhoto(size.width, size.height);
    if (photo.empty()) {
      std::fprintf(stderr, "no photograph of %dx%d (mate-backgrounds not installed?)\n", size.width, size.height);
      return false;
    }
    const FieldFrameSource frames(photo, size.width, size.height, kPeerQuality);
    if (!frames.ok()) {
      std::fprintf(stderr, "%s\n", frames.error().c_str());
      return false;
    }
    EncodeSource source;
    source.size = size;
    const std::vector<uint8_t>& rgb = frames.pictureRgb();
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * 3;
    source.bgr.resize(rowBytes * size.height);
    for (int y = 0; y < size.height; ++y) {
      const uint8_t* in = rgb.data() + y * rowBytes;
      uint8_t* out = source.bgr.data() + (size.height - 1 - y) * rowBytes;
      for (int x = 0; x < size.width; ++x) {
        out[3 * x] = in[3 * x + 2];
        out[3 * x + 1] = in[3 * x + 1];
        out[3 * x + 2] = in[3 * x];
      }
    }
    MakeYuy2(rgb, size.width, size.height, source.yuy2);
    sources.push_back(std::move(source));
  }
  return true;
}

BitmapHeader InputHeader(const EncodeSource& source, const InputFormat& format) {
  return {40,
          source.size.width,
          source.size.height,
          1,
          format.bitCount,
          format.compression,
          static_cast<uint32_t>(source.Bits(format).size()),
          0,
          0,
          0,
          0};
}

// Room for any frame of the size: the input's size plus headers.
std::size_t OutputCapacity(const EncodeSource& source) {
  return static_cast<std::size_t>(source.size.width) * source.size.height * 4 + 0x10000;
}

BitmapHeader OutputHeader(const EncodeSource& source) {
  return {40, source.size.width, source.size.height, 1, 24, kCodecFourCc,
          static_cast<uint32_t>(OutputCapacity(source)), 0, 0, 0, 0};
}

// libjpeg-turbo's table for a quality of 50..100 (the IJG scaling).
bool SameTablesAsPeer(const EncoderSession& session) {
  const int scale = 200 - 2 * kPeerQuality;
  for (int i = 0; i < kBlockSize; ++i) {
    const auto entry = [&](uint16_t base) {
      return static_cast<uint16_t>(std::clamp((base * scale + 50) / 100, 1, 255));
    };
    if (session.LumaQuantTable()[i] != entry(kBaseLumaQuantTable[i])) return false;
    if (session.ChromaQuantTable()[i] != entry(kBaseChromaQuantTable[i])) return false;
  }
  return true;
}

// Codec frames per second, or 0 when the session refuses; bytes gets the frame size.
double CodecFps(const Options& options, const EncodeSource& source, const InputFormat& format, const CodecPath& path,
                int threads, uint32_t& bytes) {
  setenv("TRVX_CPU", path.flag, 1);
  trvx::EncoderSession session(ProcessorsFor(threads));
  const BitmapHeader input = InputHeader(source, format);
  const BitmapHeader output = OutputHeader(source);
  std::vector<uint8_t> frame(OutputCapacity(source));
  double fps = 0;
  bytes = 0;
  if (session.Begin(&input, &output) == 0) {
    bool failed = false;
    const uint8_t* in = source.Bits(format).data();
    BitmapHeader written = output;
    fps = MeasureFps(options, [&] {
      if (session.Compress(&written, frame.data(), &input, in, kCodecQuality) != 0) failed = true;
    });
    if (failed) fps = 0;
    bytes = written.sizeImage;
  }
  session.End();
  unsetenv("TRVX_CPU");
  return fps;
}

// TurboJPEG, one field after the other into preallocated buffers: from the BGR
// bitmap's every other row, or from the planes split out of the YUY2 frame.
double PeerFps(const Options& options, const EncodeSource& source, const InputFormat& format, unsigned long& bytes) {
  PeerFrameEncoder peer(source.size.width, source.size.height, options.fastDct);
  bytes = 0;
  if (!peer.ok()) return 0;
  bool failed = false;
  const uint8_t* bits = source.Bits(format).data();
  const double fps = MeasureFps(options, [&] {
    if (!(format.bitCount == 24 ? peer.EncodeBgr(bits) : peer.EncodeYuy2(bits))) failed = true;
  });
  bytes = peer.Bytes();
  return failed ? 0 : fps;
}

// Child: "fps bytes" of one size x format group, on stdout.
int RunPeer(const Options& options, const std::vector<EncodeSource>& sources) {
  const int group = options.peerEncodeGroup;
  if (group < 0 || group >= static_cast<int>(sources.size()) * kInputFormatCount) return 2;
  unsigned long bytes = 0;
  const double fps = PeerFps(options, sources[group / kInputFormatCount], kInputFormats[group % kInputFormatCount], bytes);
  std::printf("%.4f %lu\n", fps, bytes);
  return 0;
}

}  // namespace

int RunEncodePeer(const Options& options) {
  std::vector<EncodeSource> sources;
  if (!LoadEncodeSources(sources)) return 1;
  return RunPeer(options, sources);
}

int WriteEncodeInputs(const std::string& directory) {
  std::vector<EncodeSource> sources;
  if (!LoadEncodeSources(sources)) return 1;
  for (const EncodeSource& source : sources) {
    for (const InputFormat& format : kInputFormats) {
      const std::string path = directory + "/" + InputFile(source.size, format.name);
      if (!WriteWholeFile(path, source.Bits(format).data(), source.Bits(format).size())) {
        std::fprintf(stderr, "cannot write %s\n", path.c_str());
        return 1;
      }
    }
  }
  return 0;
}

// Only codec frames of 1920x1088, for a profiler or an allocation count.
int RunEncodeProfile(const Options& options) {
  std::vector<EncodeSource> sources;
  if (!LoadEncodeSources(sources)) return 1;
  const EncodeSource& source = sources.back();
  for (const InputFormat& format : kInputFormats) {
    if (options.profileFormat != format.name) continue;
    setenv("TRVX_CPU", options.profilePath.c_str(), 1);
    trvx::EncoderSession session(ProcessorsFor(options.profileThreads));
    const BitmapHeader input = InputHeader(source, format);
    const BitmapHeader output = OutputHeader(source);
    std::vector<uint8_t> frame(OutputCapacity(source));
    if (session.Begin(&input, &output) != 0) return 1;
    BitmapHeader written = output;
    for (int n = 0; n < options.profileEncodeFrames; ++n) {
      if (session.Compress(&written, frame.data(), &input, source.Bits(format).data(), kCodecQuality) != 0) return 1;
    }
    if (!options.dumpPath.empty() && !WriteDump(options.dumpPath, frame.data(), written.sizeImage)) return 1;
    return session.End() == 0 ? 0 : 1;
  }
  std::fprintf(stderr, "unknown format %s\n", options.profileFormat.c_str());
  return 2;
}

int RunEncodeBenchmark(const Options& options, const std::string& self) {
  std::vector<EncodeSource> sources;
  if (!LoadEncodeSources(sources)) return 1;
  EncoderSession tables;
  tables.SetQuality(kCodecQuality);
  if (!SameTablesAsPeer(tables)) {
    std::fprintf(stderr, "codec quality %u does not give libjpeg-turbo's quality %d tables\n", kCodecQuality,
                 kPeerQuality);
    return 1;
  }
  Target targets[] = {{"SSE2 2 threads / peer-SSE2", 0, 2, 0, 1.6},
                      {"plain 2 threads / peer-none", 1, 2, 1, 1.6},
                      {"SSE2 1 thread / peer-SSE2", 0, 1, 0, 0.9},
                      {"plain 1 thread / peer-none", 1, 1, 1, 0.9}};

  std::printf(
      "trvx encode benchmark: two-field frames, codec quality %u = peer quality %d tables, 4:2:2, best of %d x %.2f "
      "s%s\n",
      kCodecQuality, kPeerQuality, options.rounds, options.seconds,
      options.fastDct ? ", peer with fast DCT" : ", peer with accurate DCT");
  for (std::size_t sourceIndex = 0; sourceIndex < sources.size(); ++sourceIndex) {
    const EncodeSource& source = sources[sourceIndex];
    for (int formatIndex = 0; formatIndex < kInputFormatCount; ++formatIndex) {
      const InputFormat& format = kInputFormats[formatIndex];
      // Measured next to the codec's figures of the same group, so that a change of
      // load on the machine shifts both sides alike.
      double peerFps[kPeerModeCount] = {};
      unsigned long peerBytes = 0;
      const std::string role =
          "--peer-encode " + std::to_string(static_cast<int>(sourceIndex) * kInputFormatCount + formatIndex);
      for (int mode = 0; mode < kPeerModeCount; ++mode) {
        // The child prints "fps bytes"; RunPeerChild reads the first number.
        peerFps[mode] = RunPeerChild(options, kPeerModes[mode], self, role);
      }
      {
        unsigned long bytes = 0;
        Options once = options;
        once.seconds = 0.01;
        once.rounds = 1;
        PeerFps(once, source, format, bytes);
        peerBytes = bytes;
      }
      unsigned long ffmpegBytes = 0;
      const double ffmpegFps =
          options.ffmpeg ? FfmpegEncodeFps(options, source.Bits(format).data(), source.size, format.ffmpegBitmap,
                                           tables.LumaQuantTable(), tables.ChromaQuantTable(), ffmpegBytes)
                         : 0;
      uint32_t codecBytes = 0;
      double codec[kPathCount][3] = {};
      for (int path = 0; path < kPathCount; ++path) {
        for (int threads = 2; threads >= 1; --threads) {
          uint32_t bytes = 0;
          codec[path][threads] = CodecFps(options, source, format, kPaths[path], threads, bytes);
          if (path == 0 && threads == 2) codecBytes = bytes;
        }
      }
      const std::string ffmpegSize = options.ffmpeg ? ", ffmpeg fields " + std::to_string(ffmpegBytes) + " bytes" : "";
      std::printf("\n%dx%d from %s (codec frame %u bytes, peer fields %lu bytes%s)%s\n", source.size.width,
                  source.size.height, format.name, codecBytes, peerBytes, ffmpegSize.c_str(),
                  format.bitCount == 16 ? "  [peer: planes split from YUY2 inside its time]" : "");
      PrintGroup(source.size, codec, peerFps, targets, static_cast<int>(std::size(targets)));
      if (options.ffmpeg) PrintFfmpeg(source.size, codec, ffmpegFps);
      AppendSummary(options, "encode", source.size, format.name, codec, peerFps, ffmpegFps);
    }
  }
  PrintTargets("encode", targets, 4);
  return 0;
}

}  // namespace trvx::bench
