#include "driver/formats.h"

#include <cstring>

#include "format/icm_results.h"
#include "platform/fault_guard.h"

namespace trvx {

namespace {


bool IsMultipleOf16(int32_t value) { return value % 16 == 0; }

bool HasMultipleOf16Size(const BitmapHeader& format) {
  return IsMultipleOf16(format.width) && IsMultipleOf16(format.height);
}

bool HasSameSize(const BitmapHeader& a, const BitmapHeader& b) {
  return a.width == b.width && a.height == b.height;
}

// Whether the codec can read (compression) or write (decompression) this bitmap.
bool IsUncompressedFormatAccepted(const FormatPolicy& policy, const BitmapHeader& format) {
  switch (ClassifyFormat(format)) {
    case FormatClass::Rgb:
      return format.bitCount == 24 || format.bitCount == 32;
    case FormatClass::PackedYuv:
      return !policy.isHostDefective() && format.bitCount == 16;
    case FormatClass::Other:
      break;
  }
  return false;
}

}  // namespace

int32_t CheckCompressionInput(const FormatPolicy& policy, const BitmapHeader* input,
                              const BitmapHeader* output) {
  if (input == nullptr || !HasMultipleOf16Size(*input)) return kIcmBadFormat;
  if (!IsUncompressedFormatAccepted(policy, *input)) return kIcmBadFormat;
  if (output != nullptr && !HasSameSize(*input, *output)) return kIcmBadFormat;
  return kIcmOk;
}

int32_t CheckDecompression(const FormatPolicy& policy, const BitmapHeader* input,
                           const BitmapHeader* output) {
  if (input == nullptr || input->size < sizeof(BitmapHeader)) return kIcmBadFormat;
  if (!HasMultipleOf16Size(*input)) return kIcmBadFormat;
  if (output == nullptr) return kIcmOk;
  if (!HasSameSize(*input, *output)) return kIcmBadFormat;
  return IsUncompressedFormatAccepted(policy, *output) ? kIcmOk : kIcmBadFormat;
}

int32_t CompressQuery(const FormatPolicy& policy, const BitmapHeader* input, const BitmapHeader* output) {
  if (output != nullptr && !ListsFourCc(policy.settings, UpperCaseFourCc(output->compression))) {
    return kIcmBadFormat;
  }
  return CheckCompressionInput(policy, input, output);
}

int32_t CompressGetFormat(const BitmapHeader* input, JpegBitmapHeader* output) {
  if (input == nullptr) return kIcmError;
  if (output == nullptr) return sizeof(JpegBitmapHeader);
  JpegBitmapHeader format;
  std::memset(&format, 0, sizeof format);
  format.header.size = sizeof(JpegBitmapHeader);
  format.header.width = input->width;
  format.header.height = input->height;
  format.header.planes = 1;
  format.header.bitCount = 24;
  format.header.compression = kCodecFourCc;
  format.extDataOffset = sizeof(BitmapHeader) + sizeof(uint32_t);
  format.jpegSize = 24;              // the six JPEG fields after jpegSize
  format.jpegProcess = 0;            // baseline
  format.jpegColorSpaceId = 2;       // YCbCr
  format.jpegBitsPerSample = 8;
  format.jpegHSubSampling = 2;
  format.jpegVSubSampling = 1;
  std::memcpy(output, &format, sizeof format);
  return kIcmOk;
}

int32_t CompressGetSize(const BitmapHeader* input) {
  if (input == nullptr) return kIcmError;
  // Wraps like the signed 32-bit product it has always been.
  return static_cast<int32_t>(static_cast<uint32_t>(input->width) * static_cast<uint32_t>(input->height) * 4u +
                              1024u);
}

int32_t DecompressQuery(const FormatPolicy& policy, const BitmapHeader* input, const BitmapHeader* output) {
  // The input is read before it is tested: a null input is the host's fault and ends
  // in the guard's -100 like any other bad pointer.
  if (input == nullptr) DeliberateFault();
  if (!ListsFourCc(policy.settings, UpperCaseFourCc(input->compression))) return kIcmBadFormat;
  return CheckDecompression(policy, input, output);
}

int32_t DecompressGetFormat(const BitmapHeader* input, BitmapHeader* output) {
  if (output == nullptr) return sizeof(BitmapHeader);
  if (input == nullptr) DeliberateFault();
  BitmapHeader format;
  std::memset(&format, 0, sizeof format);
  format.size = sizeof(BitmapHeader);
  format.width = input->width;
  format.height = input->height;
  format.planes = 1;
  format.bitCount = 32;
  format.compression = kBiRgb;
  format.sizeImage = static_cast<uint32_t>(input->width) * static_cast<uint32_t>(input->height) * 4u;
  std::memcpy(output, &format, sizeof format);
  return kIcmOk;
}

}  // namespace trvx
