#include "format/mcu_workspace.h"

#include <cstring>

namespace trvx {

bool McuWorkspace::Allocate() {
  constexpr std::size_t kAreaBytes = kMaxBlocksPerMcu * kBlockCoefficients * sizeof(int16_t);
  storage.Allocate(kAreaBytes);
  coefficients = reinterpret_cast<int16_t*>(storage.data());
  if (coefficients == nullptr) return false;
  std::memset(coefficients, 0, kAreaBytes);
  return true;
}

void McuWorkspace::Release() {
  storage.Release();
  coefficients = nullptr;
  blocksPerMcu = 0;
}

}  // namespace trvx
