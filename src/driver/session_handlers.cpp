#include <algorithm>
#include <cstdlib>

#include "driver/codec_instance.h"
#include "format/icm_results.h"
#include "pixel/memory_routines.h"

namespace trvx {

namespace {

// Bitmap rows as the field-order swap sees them: unpadded, as the codec reads and writes them.
std::size_t RowBytes(const BitmapHeader& format) {
  return static_cast<std::size_t>(format.bitCount / 8) * static_cast<uint32_t>(std::abs(format.width));
}

std::size_t RowCount(const BitmapHeader& format) { return static_cast<uint32_t>(std::abs(format.height)); }

std::size_t PictureBytes(const BitmapHeader& format) { return RowBytes(format) * RowCount(format); }

}  // namespace

int32_t CodecInstance::CompressBegin(const FormatPolicy& policy, const BitmapHeader* input,
                                     const BitmapHeader* output) {
  CompressEnd();
  if (output == nullptr) return kIcmError;
  if (CheckCompressionInput(policy, input, output) != kIcmOk) return kIcmBadFormat;
  compressScratch_.Allocate(std::max<std::size_t>(input->sizeImage, PictureBytes(*input)));
  return encoder_.Begin(input, output);
}

int32_t CodecInstance::Compress(const CompressRequest& request) {
  const auto encode = [&](const uint8_t* input) {
    return encoder_.Compress(request.outputFormat, request.output, request.inputFormat, input, request.quality);
  };
  if (settings_.changeFieldsOrder == 0) return encode(request.input);
  // Any other value than 0 or 1 can only come from a host's state blob: nothing is coded.
  if (settings_.changeFieldsOrder != 1) return kIcmOk;
  // The picture moves down by one line and its bottom line wraps to the top, which
  // swaps the two fields.
  const std::size_t rowBytes = RowBytes(*request.inputFormat);
  const std::size_t rows = RowCount(*request.inputFormat);
  uint8_t* scratch = compressScratch_.data();
  if (rows > 0) {
    if (ClassifyFormat(*request.inputFormat) == FormatClass::Rgb) {
      GuardedCopy(scratch, request.input + rowBytes, (rows - 1) * rowBytes);
      GuardedCopy(scratch + (rows - 1) * rowBytes, request.input, rowBytes);
    } else {
      GuardedCopy(scratch + rowBytes, request.input, (rows - 1) * rowBytes);
      GuardedCopy(scratch, request.input + (rows - 1) * rowBytes, rowBytes);
    }
  }
  return encode(scratch);
}

int32_t CodecInstance::CompressEnd() {
  compressScratch_.Release();
  return encoder_.End();
}

int32_t CodecInstance::DecompressBegin(const FormatPolicy& policy, const BitmapHeader* input,
                                       const BitmapHeader* output) {
  DecompressEnd();
  if (output == nullptr) return kIcmError;
  // A refused format is an error here, not the query's "bad format".
  if (CheckDecompression(policy, input, output) != kIcmOk) return kIcmError;
  const int32_t result = decoder_.Begin(input, output);
  // Hosts that leave biSizeImage at 0 still get room for the whole picture, which
  // the field-order swap decodes into.
  decompressScratch_.Allocate(std::max<std::size_t>(output->sizeImage, PictureBytes(*output)));
  return result;
}

int32_t CodecInstance::Decompress(const DecompressRequest& request) {
  if (settings_.changeFieldsOrder != 1) {
    return decoder_.DecompressFrame(request.outputFormat, request.output, request.inputFormat, request.input);
  }
  const int32_t result =
      decoder_.DecompressFrame(request.outputFormat, decompressScratch_.data(), request.inputFormat, request.input);
  // The picture moves up by one line and its top line wraps to the bottom: the
  // inverse of the shift that compression applies.
  const std::size_t rowBytes = RowBytes(*request.outputFormat);
  const std::size_t rows = RowCount(*request.outputFormat);
  if (rows == 0) return result;
  const uint8_t* scratch = decompressScratch_.data();
  uint8_t* output = request.output;
  if (ClassifyFormat(*request.outputFormat) == FormatClass::Rgb) {
    GuardedCopy(output + rowBytes, scratch, (rows - 1) * rowBytes);
    GuardedCopy(output, scratch + (rows - 1) * rowBytes, rowBytes);
  } else {
    GuardedCopy(output, scratch + rowBytes, (rows - 1) * rowBytes);
    GuardedCopy(output + (rows - 1) * rowBytes, scratch, rowBytes);
  }
  return result;
}

int32_t CodecInstance::DecompressEnd() {
  decompressScratch_.Release();
  return decoder_.End();
}

}  // namespace trvx
