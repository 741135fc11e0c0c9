// The header reader on arbitrary field images, each in a buffer of exactly its size
// that the reader is told: a read past it is a bug, a deliberate fault (16-bit
// table) is not.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/frame_reader.h"
#include "platform/fault_guard.h"

namespace {

struct Context {
  const uint8_t* data;
  uint32_t available;
  trvx::FrameDescription* description;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Exactly the input's bytes: the reader is told where they end.
  std::vector<uint8_t> window(data, data + size);
  const uint32_t available = static_cast<uint32_t>(size);

  uint16_t tables[trvx::kQuantTableSlots * trvx::kQuantTableEntries] = {};
  trvx::FrameDescription description;
  description.quantTables = tables;
  Context context{window.data(), available, &description};

  const int32_t read = trvx::RunGuarded([&context]() -> int32_t {
    return static_cast<int32_t>(trvx::ReadFieldHeaders(context.data, context.available, *context.description));
  });
  if (read != trvx::kFaultResult) {
    // The coded data starts inside the window, right behind the SOS segment.
    if (static_cast<uint32_t>(read) > trvx::kScanLimit + 2 + 0xFFFF) __builtin_trap();
    if (read != 0 && static_cast<uint32_t>(read) > available + 0xFFFF) __builtin_trap();
    if (description.quantTableCount > trvx::kQuantTableSlots) __builtin_trap();
  }
  if (trvx::FindNextFieldOffset(window.data(), available) >= size && size != 0) __builtin_trap();
  return 0;
}
