// Every entropy decoder class on the same arbitrary coded data, held in a buffer of
// exactly its size: none may read past its end, write outside the coefficient area,
// or disagree with the base class on coefficients, results or read positions.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "decoder/entropy_decoder.h"
#include "decoder/huffman_decoding_tables.h"
#include "format/mcu_workspace.h"
#include "pixel/processor.h"

namespace {

constexpr int kMaxMcus = 16;
constexpr int kBlocksPerMcu = 4;  // 4:2:2: two luminance blocks, Cb, Cr

// Without MMX and SSE (non-x86 builds) the derived classes fall back to the base.
constexpr int32_t kFlags[] = {trvx::kProcessorPlain,   trvx::kProcessorAmdMmx,  trvx::kProcessorIntelMmx,
                              trvx::kProcessorIntelSse, trvx::kProcessorIntelSse2,
                              trvx::kProcessorAmdMmxExtensions, trvx::kProcessorAmdSse};

struct Run {
  std::vector<int16_t> coefficients;
  std::vector<int32_t> results;
  std::vector<uint32_t> consumed;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 1) return 0;
  trvx::BuildHuffmanDecodingTables();
  const int mcus = 1 + data[0] % kMaxMcus;
  std::vector<uint8_t> coded(data + 1, data + size);
  coded.reserve(1);  // a real pointer even when empty: null would mean no end

  trvx::FrameDescription description;
  trvx::SetHuffmanDecodingTables(description);
  description.fieldCount = 2;
  // Coefficients come out multiplied by these: entries that keep every value bit.
  uint16_t tables[trvx::kQuantTableSlots * trvx::kQuantTableEntries];
  for (int i = 0; i < trvx::kQuantTableSlots * trvx::kQuantTableEntries; ++i) tables[i] = uint16_t(1 + 2 * (i % 64));
  description.quantTables = tables;
  description.quantTableCount = 2;
  const uint8_t sampling[trvx::kSamplingFactorCount] = {2, 1, 1, 1, 1, 1};
  std::memcpy(description.sampling, sampling, sizeof sampling);

  trvx::McuWorkspace workspace;
  if (!workspace.Allocate()) return 0;
  workspace.blocksPerMcu = kBlocksPerMcu;

  bool haveBase = false;
  Run base;
  for (int32_t flag : kFlags) {
    std::unique_ptr<trvx::EntropyDecoder> decoder = trvx::MakeEntropyDecoder(flag);
    decoder->SetInput(coded.data(), coded.data() + coded.size());
    decoder->ResetForField(description);
    std::memset(workspace.coefficients, 0x5A, trvx::kMaxBlocksPerMcu * trvx::kBlockCoefficients * sizeof(int16_t));
    Run run;
    for (int m = 0; m < mcus; ++m) {
      const int32_t result = decoder->DecodeMcu(workspace);
      run.results.push_back(result);
      run.consumed.push_back(decoder->BytesConsumed());
      run.coefficients.insert(run.coefficients.end(), workspace.coefficients,
                              workspace.coefficients + trvx::kMaxBlocksPerMcu * trvx::kBlockCoefficients);
      if (result != 0) break;
    }
    if (!haveBase) {
      base = std::move(run);
      haveBase = true;
    } else if (run.results != base.results || run.consumed != base.consumed ||
               run.coefficients != base.coefficients) {
      __builtin_trap();
    }
  }
  return 0;
}
