// The uncompressed and compressed bitmaps both directions speak: the bitmap header
// the host passes, the FourCCs the codec knows, and the class of a bitmap format.
#pragma once

#include <cstdint>

namespace trvx {

// Layout twin of the platform's BITMAPINFOHEADER, so the format rules stay portable.
struct BitmapHeader {
  uint32_t size;
  int32_t width;
  int32_t height;
  uint16_t planes;
  uint16_t bitCount;
  uint32_t compression;
  uint32_t sizeImage;
  int32_t xPelsPerMeter;
  int32_t yPelsPerMeter;
  uint32_t clrUsed;
  uint32_t clrImportant;
};
static_assert(sizeof(BitmapHeader) == 40, "BITMAPINFOHEADER is 40 bytes");

constexpr uint32_t MakeFourCc(char a, char b, char c, char d) {
  return static_cast<uint32_t>(static_cast<unsigned char>(a)) |
         static_cast<uint32_t>(static_cast<unsigned char>(b)) << 8 |
         static_cast<uint32_t>(static_cast<unsigned char>(c)) << 16 |
         static_cast<uint32_t>(static_cast<unsigned char>(d)) << 24;
}

constexpr uint32_t kCodecFourCc = MakeFourCc('T', 'R', 'V', 'X');
constexpr uint32_t kMjpgFourCc = MakeFourCc('M', 'J', 'P', 'G');
// The packed 4:2:2 layouts the codec reads and writes; "Y16" is three characters and a
// zero byte, as hosts tag the blocked layout.
constexpr uint32_t kUyvyFourCc = MakeFourCc('U', 'Y', 'V', 'Y');
constexpr uint32_t kYuy2FourCc = MakeFourCc('Y', 'U', 'Y', '2');
constexpr uint32_t kYvyuFourCc = MakeFourCc('Y', 'V', 'Y', 'U');
constexpr uint32_t kY16FourCc = MakeFourCc('Y', '1', '6', '\0');

// Upper-cases the FourCC's bytes up to its first zero byte, as ANSI characters.
uint32_t UpperCaseFourCc(uint32_t fourCc);

constexpr uint32_t kBiRgb = 0;

enum class FormatClass { Rgb, PackedYuv, Other };

// BI_RGB, or one of the four packed 4:2:2 FourCCs in any letter case.
FormatClass ClassifyFormat(const BitmapHeader& format);

}  // namespace trvx
