#include "encoder/encoder_kernels.h"
#include "platform/fault_guard.h"

namespace trvx {
namespace {

void QuantiseBlock(int16_t* __restrict coefficients, const int16_t* __restrict reciprocals) {
  for (int i = 0; i < kBlockCoefficients; ++i) {
    // c x 32767/Q rounded to 1/32768ths, then the converter's x8 taken out, rounded.
    const int32_t scaled = (coefficients[i] * reciprocals[i] + 16384) >> 15;
    coefficients[i] = static_cast<int16_t>((scaled + 4) >> 3);
  }
}

}  // namespace

void QuantisePlain(const FrameDescription& description, BlockBuffer& blocks) {
  if (description.quantTableCount != 2) DeliberateFault();
  const int first = description.sampling[0] * description.sampling[1];
  int total =
      first + description.sampling[2] * description.sampling[3] + description.sampling[4] * description.sampling[5];
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  for (int block = 0; block < total; ++block) {
    QuantiseBlock(blocks.coefficients + block * kBlockCoefficients,
                  description.reciprocals + (block < first ? 0 : kQuantTableEntries));
  }
}

}  // namespace trvx
