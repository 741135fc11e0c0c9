#include "decoder/decoder_kernels.h"
#include "platform/fault_guard.h"

namespace trvx {

void DequantisePlain(const FrameDescription& description, McuWorkspace& workspace) {
  if (description.quantTableCount != 2) DeliberateFault();
  const int first = description.sampling[0] * description.sampling[1];
  int total = first + description.sampling[2] * description.sampling[3] +
              description.sampling[4] * description.sampling[5];
  // Header values could name more blocks than the area holds.
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  int16_t* coefficient = workspace.coefficients;
  for (int block = 0; block < total; ++block) {
    const uint16_t* table =
        description.quantTables + (block < first ? 0 : kQuantTableEntries);
    for (int i = 0; i < kBlockCoefficients; ++i, ++coefficient) {
      // Products keep their low 16 bits, as the vector multiplies do.
      *coefficient = static_cast<int16_t>(static_cast<uint32_t>(static_cast<uint16_t>(*coefficient)) * table[i]);
    }
  }
}

}  // namespace trvx
