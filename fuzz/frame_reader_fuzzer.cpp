// The header reader on arbitrary field images. The reader is never told the image's
// size, so the input sits at the start of exactly the window it may touch: a read
// past that window is a bug, a deliberate fault (16-bit table) is not.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/frame_reader.h"
#include "platform/fault_guard.h"

namespace {

struct Context {
  const uint8_t* data;
  trvx::FrameDescription* description;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<uint8_t> window(size > trvx::kFieldReadWindow ? size : trvx::kFieldReadWindow, 0);
  if (size != 0) std::memcpy(window.data(), data, size);

  uint16_t tables[trvx::kQuantTableSlots * trvx::kQuantTableEntries] = {};
  trvx::FrameDescription description;
  description.quantTables = tables;
  Context context{window.data(), &description};

  const int32_t read = trvx::RunGuarded([&context]() -> int32_t {
    return static_cast<int32_t>(trvx::ReadFieldHeaders(context.data, *context.description));
  });
  if (read != trvx::kFaultResult) {
    // The coded data starts inside the window, right behind the SOS segment.
    if (static_cast<uint32_t>(read) > trvx::kScanLimit + 2 + 0xFFFF) __builtin_trap();
    if (description.quantTableCount > trvx::kQuantTableSlots) __builtin_trap();
  }
  (void)trvx::FindNextFieldOffset(window.data());
  return 0;
}
