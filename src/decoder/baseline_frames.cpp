#include "decoder/baseline_frames.h"

#include <cstdlib>
#include <cstring>

#include "decoder/baseline_output.h"
#include "decoder/frame_reader.h"
#include "format/jpeg_syntax.h"
#include "format/icm_results.h"

namespace trvx {

namespace {

uint32_t Magnitude(int32_t value) { return static_cast<uint32_t>(std::abs(static_cast<int64_t>(value))); }

}  // namespace

bool BaselineFrames::TakesFrame(const uint8_t* inputBits, const uint8_t* frameEnd, const BitmapHeader& outputFormat) {
  Image& first = images_[0];
  first.tables.ResetForFrame();
  if (ReadBaselineHeaders(inputBits, BytesBefore(inputBits, frameEnd), first.tables, first.headers) !=
      kHeadersDecoded) {
    return false;
  }
  return !IsOwnLayout(first.headers, Magnitude(outputFormat.height));
}

// The second image starts at the first SOI behind the first image's coded data.
bool BaselineFrames::LocateSecondImage(const uint8_t* frameEnd) {
  const Image& first = images_[0];
  Image& second = images_[1];
  const uint32_t codedBytes = BytesBefore(first.coded, frameEnd);
  const uint8_t* at = first.coded + FindCodedDataEnd(first.coded, codedBytes);
  uint32_t left = BytesBefore(at, frameEnd);
  if (left > kScanLimit) left = kScanLimit;
  for (uint32_t i = 0; i + 1 < left; ++i) {
    if (at[i] != kMarkerPrefix || at[i + 1] != kSoi) continue;
    second.tables = first.tables;
    const uint8_t* image = at + i;
    if (ReadBaselineHeaders(image, BytesBefore(image, frameEnd), second.tables, second.headers) != kHeadersDecoded) {
      return false;
    }
    second.coded = image + second.headers.codedOffset;
    return true;
  }
  return false;
}

int32_t BaselineFrames::Prepare(const uint8_t* inputBits, const uint8_t* frameEnd, const BitmapHeader& outputFormat) {
  frameEnd_ = frameEnd;
  Image& first = images_[0];
  const BaselineImage& headers = first.headers;
  if (headers.unsupported) return kIcmError;
  // The negotiated size, exactly: one image of the frame's height or two of half.
  const uint32_t width = Magnitude(outputFormat.width);
  const uint32_t height = Magnitude(outputFormat.height);
  if (headers.width != width || width % 16 != 0) return kIcmError;
  if (headers.height == height) {
    fieldCount_ = 1;
  } else if (uint64_t{headers.height} * 2 == height) {
    fieldCount_ = 2;
  } else {
    return kIcmError;
  }
  if (headers.height % 8 != 0) return kIcmError;
  first.coded = inputBits + headers.codedOffset;
  if (fieldCount_ == 2) {
    if (!LocateSecondImage(frameEnd)) return kIcmError;
    const BaselineImage& other = images_[1].headers;
    if (other.unsupported || other.width != headers.width || other.height != headers.height) return kIcmError;
  }
  for (int index = 0; index < fieldCount_; ++index) {
    if (!images_[index].planes.Prepare(images_[index].headers)) return kIcmError;
    FrameDescription& description = tileDescriptions_[index];
    description = FrameDescription();
    description.fieldCount = fieldCount_;
    description.fieldIndex = uint8_t(index);
    description.width = width;
    description.height = headers.height;
    static constexpr uint8_t kTileSampling[kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};
    std::memcpy(description.sampling, kTileSampling, sizeof kTileSampling);
  }
  return kIcmOk;
}

int32_t BaselineFrames::DecodeImage(int index, ReconstructKernel reconstruct) {
  Image& image = images_[index];
  return DecodeBaselineScan(image.headers, image.tables, image.coded, frameEnd_, reconstruct, image.planes) ==
                 kScanDecoded
             ? kIcmOk
             : kIcmError;
}

int32_t BaselineFrames::ConvertImage(int index, uint32_t firstBand, uint32_t endBand,
                                     const OutputConverter& converter, McuWorkspace& tile) const {
  const int32_t result =
      ConvertPlanes(images_[index].planes, tileDescriptions_[index], converter, tile, firstBand, endBand);
  converter.FinishField();
  return result == 0 ? kIcmOk : kIcmError;
}

}  // namespace trvx
