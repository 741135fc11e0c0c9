// The segment walker of the baseline path on arbitrary bytes, each input in a buffer
// of exactly its size: the first image's headers and then, with the tables they left,
// the headers of whatever follows its coded data, as for a second field. A read past
// the buffer or a table built from counts no prefix code has is a bug.
#include <cstddef>
#include <cstdint>
#include <vector>

#include "decoder/baseline_headers.h"
#include "decoder/frame_reader.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> bytes(data, data + size);
  bytes.reserve(1);  // a real pointer even when empty: a null end means no end
  static trvx::BaselineTables tables;
  tables.ResetForFrame();
  trvx::BaselineImage image;
  const uint8_t* at = bytes.data();
  for (int image_index = 0; image_index < 2; ++image_index) {
    const uint32_t available = trvx::BytesBefore(at, bytes.data() + size);
    if (trvx::ReadBaselineHeaders(at, available, tables, image) != trvx::kHeadersDecoded) break;
    if (image.codedOffset > available) __builtin_trap();
    if (!image.unsupported && (image.width == 0 || image.height == 0 || image.componentCount == 0)) __builtin_trap();
    (void)trvx::IsOwnLayout(image, 576);
    at += image.codedOffset;
    at += trvx::FindCodedDataEnd(at, trvx::BytesBefore(at, bytes.data() + size));
  }
  return 0;
}
