#include "decoder/decoder_kernels.h"
#include "platform/fault_guard.h"

namespace trvx {
namespace {

// Separate restrict parameters let the compiler multiply several words at a time.
inline void DequantiseBlock(int16_t* __restrict coefficient, const uint16_t* __restrict table) {
  for (int i = 0; i < kBlockCoefficients; ++i) {
    // Products keep their low 16 bits, as the vector multiplies do.
    coefficient[i] = static_cast<int16_t>(static_cast<uint32_t>(static_cast<uint16_t>(coefficient[i])) * table[i]);
  }
}

}  // namespace

void DequantisePlain(const FrameDescription& description, McuWorkspace& workspace) {
  if (description.quantTableCount != 2) DeliberateFault();
  const int first = description.sampling[0] * description.sampling[1];
  int total = first + description.sampling[2] * description.sampling[3] +
              description.sampling[4] * description.sampling[5];
  // Header values could name more blocks than the area holds.
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  for (int block = 0; block < total; ++block) {
    DequantiseBlock(workspace.coefficients + block * kBlockCoefficients,
                    description.quantTables + (block < first ? 0 : kQuantTableEntries));
  }
}

}  // namespace trvx
