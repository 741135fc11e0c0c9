#include <cstring>

#include "pixel/memory_routines.h"

namespace trvx {

void CopyPlain(void* dest, const void* src, std::size_t count) {
  auto* out = static_cast<uint8_t*>(dest);
  const auto* in = static_cast<const uint8_t*>(src);
  for (std::size_t i = 0; i < count / 4; ++i, out += 4, in += 4) {
    uint32_t word;
    std::memcpy(&word, in, 4);
    std::memcpy(out, &word, 4);
  }
  for (std::size_t i = 0; i < (count & 3); ++i) out[i] = in[i];
}

}  // namespace trvx
