// Huffman decoding of one field image's entropy-coded data, one MCU at a time, with
// the Annex K tables. The processor-specific classes only speed up DecodeMcu; every
// class gives the same coefficients, results and read positions as the base class.
#pragma once

#include <cstdint>
#include <memory>

#include "format/frame_description.h"

namespace trvx {

struct McuWorkspace;
struct CombinedAcEntry;
struct PredecodedAcEntry;

constexpr int32_t kEntropyDecodeFailed = static_cast<int32_t>(0x80004005u);  // E_FAIL

// Restart markers are not supported: the DC predictors are reset once per field, and
// a marker inside the data is read as the byte 0xFF with its second byte dropped.
class EntropyDecoder {
 public:
  EntropyDecoder() noexcept = default;
  virtual ~EntropyDecoder();
  EntropyDecoder(const EntropyDecoder&) = delete;
  EntropyDecoder& operator=(const EntropyDecoder&) = delete;

  // Clears blocksPerMcu blocks of the workspace and decodes one MCU into them, each
  // coefficient multiplied by its dequantisation entry (table 0 for component 1,
  // table 1 for the others; products wrap to 16 bits) and put in natural order.
  // Returns 0, or kEntropyDecodeFailed on data the tables cannot decode.
  virtual int32_t DecodeMcu(McuWorkspace& workspace);

  // Clears the predictors and bit buffer; takes block counts, AC tables and
  // dequantisation tables from the description, whose Huffman tables must have been
  // built.
  void ResetForField(const FrameDescription& description);
  // Reads nothing at or beyond `end` (null: no end known); bytes there read as 0.
  void SetInput(const uint8_t* data, const uint8_t* end);
  // Bytes read so far (including the ones waiting in the bit buffer) plus 16. The
  // next image's headers are searched from there; the lead is deliberate.
  uint32_t BytesConsumed() const;

 protected:
  // The whole MCU into an area already cleared; the second reads luminance AC codes
  // through the pre-decoded table first.
  int32_t DecodeBlocks(int16_t* coefficients);
  int32_t DecodeBlocksPredecoded(int16_t* coefficients);
  // Out of line: the derived classes' files are built for other instruction sets.
  const uint8_t* InputPosition() const;

 private:
  template <bool PredecodedLuma>
  int32_t DecodeAllBlocks(int16_t* coefficients);
  // Stores the state the 16-bit refills would have left, from the wide reader's.
  void ToRefillState(uint64_t wideBuffer, uint32_t wideCount, uint32_t symbolCount, const uint8_t* widePosition,
                     uint32_t skipped, uint32_t startCount, const uint8_t* startPosition);
  uint8_t ByteAt(const uint8_t* position) const;

  uint32_t bitBuffer_ = 0;
  uint32_t bitCount_ = 0;
  const uint8_t* position_ = nullptr;
  const uint8_t* start_ = nullptr;
  uintptr_t end_ = 0;
  uint32_t lumaBlocks_ = 0;
  uint32_t cbBlocks_ = 0;
  uint32_t crBlocks_ = 0;
  int16_t dcPredictors_[3] = {};
  const AcDecodingEntry* huffmanTables_[kHuffmanTableCount] = {};
  const uint16_t* dequantTables_[2] = {};
  // Process-wide lookup tables derived from the same codes (luminance, chrominance).
  const CombinedAcEntry* combinedAcTables_[2] = {};
  const uint8_t* dcLookupTables_[2] = {};
  const PredecodedAcEntry* predecodedLuma_ = nullptr;
  // A session makes its two decoders one after the other, and they run on two
  // threads: without this gap the next one's reader state, written after every MCU,
  // can share a cache line with the tables this one reads for every MCU.
  [[maybe_unused]] uint8_t cacheLineGap_[64] = {};
};

// Processor classes 1 and 3: clears the MCU with MMX stores.
class EntropyDecoderMmx final : public EntropyDecoder {
 public:
  int32_t DecodeMcu(McuWorkspace& workspace) override;
};

// Processor class 15: clears the MCU with SSE stores and reads luminance AC codes
// through the pre-decoded table.
class EntropyDecoderPredecoded final : public EntropyDecoder {
 public:
  int32_t DecodeMcu(McuWorkspace& workspace) override;
};

// Processor class 31: clears the MCU with SSE2 stores.
class EntropyDecoderSse2 final : public EntropyDecoder {
 public:
  int32_t DecodeMcu(McuWorkspace& workspace) override;
};

// Processor classes 135 and 143: MMX clear, and prefetches the coming input.
class EntropyDecoderAmd final : public EntropyDecoder {
 public:
  int32_t DecodeMcu(McuWorkspace& workspace) override;
};

// The class for a processor flag, by the decoder session's selection table; flags
// without a row of their own (0, 159, unknown) get the base class.
std::unique_ptr<EntropyDecoder> MakeEntropyDecoder(int32_t processorFlag);

}  // namespace trvx
