#include "format/bitmap_format.h"

#include <cstddef>
#include <cstring>

#include "platform/ansi_text.h"

namespace trvx {

namespace {

constexpr uint32_t kPackedYuvFourCcs[] = {kUyvyFourCc, kYuy2FourCc, kY16FourCc, kYvyuFourCc};

}  // namespace

uint32_t UpperCaseFourCc(uint32_t fourCc) {
  char text[4];
  std::memcpy(text, &fourCc, sizeof text);
  std::size_t length = 0;
  while (length < sizeof text && text[length] != '\0') ++length;
  UpperCaseAnsi(text, length);
  std::memcpy(&fourCc, text, sizeof text);
  return fourCc;
}

FormatClass ClassifyFormat(const BitmapHeader& format) {
  const uint32_t compression = UpperCaseFourCc(format.compression);
  if (compression == kBiRgb) return FormatClass::Rgb;
  for (uint32_t fourCc : kPackedYuvFourCcs) {
    if (compression == fourCc) return FormatClass::PackedYuv;
  }
  return FormatClass::Other;
}

}  // namespace trvx
