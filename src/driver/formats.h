// Format negotiation (src/driver): what the codec proposes and accepts for each
// direction, on top of the bitmap types of format/bitmap_format.h.
#pragma once

#include <cstdint>

#include "format/bitmap_format.h"
#include "settings/settings_record.h"

namespace trvx {

// The compressed format the codec proposes: the bitmap header followed by the OpenDML
// JPEG extension that M-JPEG players look for.
struct JpegBitmapHeader {
  BitmapHeader header;
  uint32_t extDataOffset;
  uint32_t jpegSize;
  uint32_t jpegProcess;
  uint32_t jpegColorSpaceId;
  uint32_t jpegBitsPerSample;
  uint32_t jpegHSubSampling;
  uint32_t jpegVSubSampling;
};
static_assert(sizeof(JpegBitmapHeader) == 68, "the JPEG DIB header is 68 bytes");

// Host-specific rule consulted by every packed-YUV branch; asked each time, not cached.
using HostDefectiveQuery = bool (*)();

struct FormatPolicy {
  const SettingsRecord& settings;  // the instance's list of accepted compressed FourCCs
  HostDefectiveQuery isHostDefective;
};

// Checks shared by the query messages and the session BEGIN handlers. The format
// pointers come straight from the host and may be bad: callers run these under the
// fault guard.
int32_t CheckCompressionInput(const FormatPolicy& policy, const BitmapHeader* input,
                              const BitmapHeader* output);
int32_t CheckDecompression(const FormatPolicy& policy, const BitmapHeader* input,
                           const BitmapHeader* output);

int32_t CompressQuery(const FormatPolicy& policy, const BitmapHeader* input, const BitmapHeader* output);
int32_t CompressGetFormat(const BitmapHeader* input, JpegBitmapHeader* output);
int32_t CompressGetSize(const BitmapHeader* input);
int32_t DecompressQuery(const FormatPolicy& policy, const BitmapHeader* input, const BitmapHeader* output);
int32_t DecompressGetFormat(const BitmapHeader* input, BitmapHeader* output);

}  // namespace trvx
