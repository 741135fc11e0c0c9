// trvx_dll_bench: the shipped trvx.dll driven as a host program drives it, through the
// Video Compression Manager (ICOpen, ICCompress, ICDecompress), one frame after another
// on this thread. Runs under Wine with the codec installed as vidc.TRVX.
//   trvx_dll_bench write DIRECTORY
//   trvx_dll_bench measure DIRECTORY [--seconds S] [--rounds N] [--headline-rounds M] [--summary FILE]
// write compresses each size's BGR24 bitmap once and keeps the frame as the codec's
// two-thread or one-thread frame, by what the frame's first field says; the codec
// codes the fields on two threads only when it sees two processors. measure times
// compressing every bitmap and decompressing every frame of bench/dll_groups.h on the
// processor path TRVX_CPU forces, or on the machine's own.
#include <windows.h>
// vfw.h needs the Windows types first.
#include <vfw.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "dll_groups.h"
#include "measure.h"
#include "pixel/processor.h"

namespace trvx::bench {
namespace {

const DWORD kTrvx = mmioFOURCC('T', 'R', 'V', 'X');
constexpr DWORD kQuality = 7000;
// M-JPEG decoders look for markers a little beyond a frame's last byte: room behind
// the frame keeps those reads inside the buffer, as a host's AVI buffers do.
constexpr std::size_t kReadRoom = 0x10400 + 0x10000 + 64;

void Check(bool ok, const std::string& failure) {
  if (!ok) throw std::runtime_error(failure);
}

class Codec {
 public:
  explicit Codec(UINT mode) : handle_(ICOpen(ICTYPE_VIDEO, kTrvx, mode)) {
    Check(handle_ != nullptr, "ICOpen finds no TRVX codec: is trvx.dll installed?");
  }
  ~Codec() { ICClose(handle_); }
  Codec(const Codec&) = delete;
  Codec& operator=(const Codec&) = delete;
  HIC get() const { return handle_; }

 private:
  HIC handle_;
};

BITMAPINFOHEADER Header(const Size& size, WORD bitCount, DWORD compression, DWORD sizeImage) {
  BITMAPINFOHEADER header = {};
  header.biSize = sizeof header;
  header.biWidth = size.width;
  header.biHeight = size.height;  // RGB bottom-up, packed YUV top-down
  header.biPlanes = 1;
  header.biBitCount = bitCount;
  header.biCompression = compression;
  header.biSizeImage = sizeImage;
  return header;
}

BITMAPINFOHEADER BitmapHeader(const Size& size, const std::string& format) {
  const DWORD pixels = static_cast<DWORD>(size.width) * size.height;
  if (format == "BGR24") return Header(size, 24, BI_RGB, pixels * 3);
  if (format == "BGRA32") return Header(size, 32, BI_RGB, pixels * 4);
  const char* f = format.c_str();
  return Header(size, 16, mmioFOURCC(f[0], f[1], f[2], f[3]), pixels * 2);
}

std::string PathIn(const Arguments& arguments, const std::string& name) { return arguments.directory + "\\" + name; }

// Compresses the bitmap frame after frame; frame gets the last one.
double CompressFps(const Arguments& arguments, const Size& size, const std::string& format, int rounds,
                   std::vector<uint8_t>& frame) {
  const std::vector<uint8_t> bits = ReadWholeFile(PathIn(arguments, InputFile(size, format)));
  BITMAPINFOHEADER input = BitmapHeader(size, format);
  Check(bits.size() == input.biSizeImage, "no " + format + " bitmap of " + SizeName(size));
  Codec codec(ICMODE_COMPRESS);
  std::vector<uint8_t> formatBytes(ICCompressGetFormatSize(codec.get(), &input));
  Check(formatBytes.size() >= sizeof(BITMAPINFOHEADER), "ICCompressGetFormatSize refuses " + format);
  auto* output = reinterpret_cast<BITMAPINFOHEADER*>(formatBytes.data());
  Check(ICCompressGetFormat(codec.get(), &input, output) == ICERR_OK, "ICCompressGetFormat refuses " + format);
  frame.assign(ICCompressGetSize(codec.get(), &input, output), 0);
  Check(ICCompressBegin(codec.get(), &input, output) == ICERR_OK, "ICCompressBegin refuses " + format);
  bool failed = false;
  LONG index = 0;
  const double fps = MeasureFps(arguments.seconds, rounds, [&] {
    DWORD chunkId = 0, flags = 0;
    if (ICCompress(codec.get(), ICCOMPRESS_KEYFRAME, output, frame.data(), &input, const_cast<uint8_t*>(bits.data()),
                   &chunkId, &flags, index++, 0, kQuality, nullptr, nullptr) != ICERR_OK) {
      failed = true;
    }
  });
  ICCompressEnd(codec.get());
  Check(!failed, "ICCompress failed on " + SizeName(size) + " " + format);
  frame.resize(output->biSizeImage);
  return fps;
}

double DecompressFps(const Arguments& arguments, const Size& size, const DecodeGroup& group, int rounds) {
  std::vector<uint8_t> frame = ReadWholeFile(PathIn(arguments, FrameFile(size, group.frames)));
  Check(!frame.empty(), "no " + std::string(group.frames) + " frame of " + SizeName(size) +
                            " (trvx_dll_bench write, trvx_benchmark --write-inputs)");
  BITMAPINFOHEADER input = Header(size, 24, kTrvx, static_cast<DWORD>(frame.size()));
  frame.resize(frame.size() + kReadRoom, 0);
  BITMAPINFOHEADER output = BitmapHeader(size, group.format);
  std::vector<uint8_t> bits(output.biSizeImage);
  Codec codec(ICMODE_DECOMPRESS);
  Check(ICDecompressBegin(codec.get(), &input, &output) == ICERR_OK,
        std::string("ICDecompressBegin refuses ") + group.format);
  bool failed = false;
  const double fps = MeasureFps(arguments.seconds, rounds, [&] {
    if (ICDecompress(codec.get(), 0, &input, frame.data(), &output, bits.data()) != ICERR_OK) failed = true;
  });
  ICDecompressEnd(codec.get());
  Check(!failed, std::string("ICDecompress failed on ") + group.frames + " frames into " + group.format);
  return fps;
}

unsigned ReadBigEndian(const std::vector<uint8_t>& bytes, std::size_t at, int count) {
  unsigned value = 0;
  for (int i = 0; i < count; ++i) value = value << 8 | bytes[at + i];
  return value;
}

// The first field's next-field offset from its APP1 "mjpg" segment; -1 without one.
long NextFieldOffset(const std::vector<uint8_t>& frame) {
  for (std::size_t at = 2; at + 24 <= frame.size() && frame[at] == 0xFF && frame[at + 1] != 0xDA;
       at += 2 + ReadBigEndian(frame, at + 2, 2)) {
    if (frame[at + 1] == 0xE1 && std::memcmp(&frame[at + 8], "mjpg", 4) == 0) {
      return static_cast<long>(ReadBigEndian(frame, at + 20, 4));
    }
  }
  return -1;
}

DWORD Processors() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors;
}

int Write(const Arguments& arguments) {
  const DWORD processors = Processors();
  int status = 0;
  for (const Size& size : kSizes) {
    std::vector<uint8_t> frame;
    const Arguments once{arguments.directory, 0.01, 1, 0, ""};
    CompressFps(once, size, "BGR24", 1, frame);
    const long offset = NextFieldOffset(frame);
    const char* kind = offset == 0 ? kTwoThreadFrames : kOneThreadFrames;
    std::printf("%s frame: %zu bytes, next-field offset %ld: the codec's %s frame (%lu processor%s)\n",
                SizeName(size).c_str(), frame.size(), offset, kind, static_cast<unsigned long>(processors),
                processors == 1 ? "" : "s");
    if (offset < 0 || (processors >= 2) != (offset == 0)) {
      std::fprintf(stderr, "trvx_dll_bench: with %lu processors the codec wrote a frame of the other mode\n",
                   static_cast<unsigned long>(processors));
      status = 1;
    }
    const std::string path = PathIn(arguments, FrameFile(size, kind));
    Check(WriteWholeFile(path, frame.data(), frame.size()), "cannot write " + path);
  }
  return status;
}

// TRVX_CPU as the DLL reads it, or "own N" with the class it detects by itself.
std::string PathName() {
  const int32_t detected = DetectProcessor();
  const char* forced = std::getenv("TRVX_CPU");
  if (forced != nullptr && std::to_string(detected) == forced) return forced;
  return "own " + std::to_string(detected);
}

std::string DriverDescription() {
  ICINFO info = {};
  info.dwSize = sizeof info;
  Codec codec(ICMODE_QUERY);
  if (ICGetInfo(codec.get(), &info, sizeof info) == 0) return "?";
  char description[256], driver[256];
  WideCharToMultiByte(CP_ACP, 0, info.szDescription, -1, description, sizeof description, nullptr, nullptr);
  WideCharToMultiByte(CP_ACP, 0, info.szDriver, -1, driver, sizeof driver, nullptr, nullptr);
  return std::string(description) + " (" + driver + ")";
}

int Measure(const Arguments& arguments) {
  const std::string path = PathName();
  const DWORD processors = Processors();
  const int headlineRounds = arguments.headlineRounds > 0 ? arguments.headlineRounds : arguments.rounds;
  // The 64-bit build gets its own rows: its peer is libjpeg-turbo x86-64.
  const char* const side = sizeof(void*) == 8 ? "trvx.dll x64" : "trvx.dll";
  std::printf("%s, processor class %s, %lu processor%s, best of %d (decoding two-thread frames: %d) x %.2f s\n",
              side, path.c_str(), static_cast<unsigned long>(processors), processors == 1 ? "" : "s", arguments.rounds,
              headlineRounds, arguments.seconds);
  std::printf("  codec: %s\n", DriverDescription().c_str());
  const auto record = [&](const char* direction, const Size& size, const char* format, const char* frames,
                          double fps) {
    std::printf("  %-6s %-9s %-6s %-13s %9.1f fps\n", direction, SizeName(size).c_str(), format, frames, fps);
    std::fflush(stdout);
    AppendSummaryLine(arguments.summary, direction, size, format, frames, side, path,
                      static_cast<int>(processors), fps);
  };
  for (const Size& size : kSizes) {
    for (const char* format : kEncodeFormats) {
      std::vector<uint8_t> frame;
      record("encode", size, format, "-", CompressFps(arguments, size, format, arguments.rounds, frame));
    }
  }
  for (const Size& size : kSizes) {
    for (const DecodeGroup& group : kDecodeGroups) {
      const bool headline = std::strcmp(group.frames, kTwoThreadFrames) == 0;
      record("decode", size, group.format, group.frames,
             DecompressFps(arguments, size, group, headline ? headlineRounds : arguments.rounds));
    }
  }
  return 0;
}

}  // namespace
}  // namespace trvx::bench

int main(int argc, char** argv) {
  using namespace trvx::bench;
  Arguments arguments;
  const std::string action = argc >= 3 ? argv[1] : "";
  bool usable = action == "write" || action == "measure";
  if (usable) arguments.directory = argv[2];
  for (int i = 3; usable && i < argc; ++i) usable = TakeTimingOption(argc, argv, i, arguments);
  if (!usable) {
    std::fprintf(stderr,
                 "usage: trvx_dll_bench write DIRECTORY\n"
                 "       trvx_dll_bench measure DIRECTORY [--seconds S] [--rounds N] [--headline-rounds M] "
                 "[--summary FILE]\n");
    return 2;
  }
  try {
    return action == "write" ? Write(arguments) : Measure(arguments);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "trvx_dll_bench: %s\n", failure.what());
    return 1;
  }
}
