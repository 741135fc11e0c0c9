#include "encoder/encoder_kernels.h"
#include "platform/fault_guard.h"

namespace trvx {

void QuantisePlain(const FrameDescription& description, BlockBuffer& blocks) {
  if (description.quantTableCount != 2) DeliberateFault();
  const int first = description.sampling[0] * description.sampling[1];
  int total =
      first + description.sampling[2] * description.sampling[3] + description.sampling[4] * description.sampling[5];
  if (total > kMaxBlocksPerMcu) total = kMaxBlocksPerMcu;
  int16_t* coefficient = blocks.coefficients;
  for (int block = 0; block < total; ++block) {
    const int16_t* reciprocals = description.reciprocals + (block < first ? 0 : kQuantTableEntries);
    for (int i = 0; i < kBlockCoefficients; ++i, ++coefficient) {
      // c x 32767/Q rounded to 1/32768ths, then the converter's x8 taken out, rounded.
      const int32_t scaled = (*coefficient * reciprocals[i] + 16384) >> 15;
      *coefficient = static_cast<int16_t>((scaled + 4) >> 3);
    }
  }
}

}  // namespace trvx
