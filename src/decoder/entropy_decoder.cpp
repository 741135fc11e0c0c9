#include "decoder/entropy_decoder.h"

#include <cstring>

#include "decoder/huffman_decoding_tables.h"
#include "decoder/mcu_workspace.h"
#include "pixel/processor.h"

namespace trvx {

namespace {

// The decoder's bit state in locals, so the loops below keep it in registers.
struct BitReader {
  uint32_t buffer;
  uint32_t count;
  const uint8_t* position;

  // Sixteen bits at a time: one refill then covers any whole code or value.
  void Refill() {
    uint32_t word = 0;
    for (int i = 0; i < 2; ++i) {
      const uint8_t byte = *position++;
      // The byte after 0xFF is stuffing or a marker's code; either way it is dropped.
      if (byte == 0xFF) ++position;
      word = (word << 8) | byte;
    }
    buffer = (buffer << 16) | word;
    count += 16;
  }
  void Ensure(uint32_t bits) {
    if (count < bits) Refill();
  }
  uint32_t Peek(uint32_t bits) const { return (buffer >> (count - bits)) & ((1u << bits) - 1); }
  void Skip(uint32_t bits) { count -= bits; }
  uint32_t Read(uint32_t bits) {
    const uint32_t value = Peek(bits);
    count -= bits;
    return value;
  }
};

int32_t Extend(uint32_t value, uint32_t size) {
  if (size == 0) return 0;
  return (value >> (size - 1)) != 0 ? int32_t(value) : int32_t(value) - int32_t((1u << size) - 1);
}

bool DecodeDc(BitReader& reader, const DcCode* table, int16_t& predictor, int16_t* block) {
  reader.Ensure(16);
  const DcCode* match = nullptr;
  for (int category = 0; category < kDcCategories && match == nullptr; ++category) {
    if (reader.Peek(table[category].lengthAndCategory >> 4) == table[category].code) match = &table[category];
  }
  if (match == nullptr) return false;
  reader.Skip(match->lengthAndCategory >> 4);
  const uint32_t size = match->lengthAndCategory & 15;
  reader.Ensure(size);
  predictor = int16_t(uint16_t(predictor + Extend(reader.Read(size), size)));
  block[0] = predictor;
  return true;
}

// A run past the block's end stores its coefficient before failing, into whatever
// follows in the workspace; that order is kept on purpose, but never past areaEnd.
bool DecodeAc(BitReader& reader, const AcDecodingEntry* firstLevel, const AcDecodingEntry* secondLevel,
              const PredecodedAcEntry* shortcut, int16_t* block, const int16_t* areaEnd) {
  uint32_t k = 1;
  while (k < 64) {
    reader.Ensure(16);
    const uint32_t peeked = reader.Peek(9);
    if (shortcut != nullptr) {
      const PredecodedAcEntry& fast = shortcut[peeked];
      if (fast.length != kNotPredecoded) {
        if (fast.run == kEndOfBlockRun) {
          reader.Skip(fast.length);
          return true;
        }
        // A run that reaches or passes the end leaves the value bits unread or
        // fails; the general path below handles both.
        if (k + fast.run < 64) {
          reader.Skip(fast.length);
          k += fast.run;
          block[k++] = fast.value;
          continue;
        }
      }
    }
    AcDecodingEntry entry;
    if (peeked < kAcSecondLevelStart) {
      entry = firstLevel[peeked];
      if (entry.length == 0) return false;
      reader.Skip(entry.length);
      if (entry.run == kEndOfBlockRun) return true;
    } else {
      reader.Skip(6);
      entry = secondLevel[reader.Peek(10)];
      if (entry.length == 0) return false;
      reader.Skip(entry.length);
    }
    const uint32_t n = k + entry.run;
    if (n == 64) return true;
    reader.Ensure(entry.size);
    const int16_t value = int16_t(Extend(reader.Read(entry.size), entry.size));
    // Only the last block of a full eight-block MCU can reach past the area.
    if (n < uint32_t(areaEnd - block)) block[n] = value;
    k = n + 1;
  }
  return k == 64;
}

}  // namespace

EntropyDecoder::~EntropyDecoder() = default;

void EntropyDecoder::ResetForField(const FrameDescription& description) {
  bitBuffer_ = 0;
  bitCount_ = 0;
  for (int16_t& predictor : dcPredictors_) predictor = 0;
  const uint8_t* sampling = description.sampling;
  lumaBlocks_ = uint32_t(sampling[0]) * sampling[1];
  cbBlocks_ = uint32_t(sampling[2]) * sampling[3];
  crBlocks_ = uint32_t(sampling[4]) * sampling[5];
  for (int slot = 0; slot < kHuffmanTableCount; ++slot) huffmanTables_[slot] = description.huffmanTables[slot];
}

void EntropyDecoder::SetInput(const uint8_t* data) {
  start_ = data;
  position_ = data;
}

uint32_t EntropyDecoder::BytesConsumed() const { return uint32_t(position_ - start_) + 16; }

const uint8_t* EntropyDecoder::InputPosition() const { return position_; }

int32_t EntropyDecoder::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  std::memset(workspace.coefficients, 0, workspace.blocksPerMcu * kBlockCoefficients * sizeof(int16_t));
  return DecodeBlocks(workspace.coefficients, nullptr);
}

int32_t EntropyDecoder::DecodeBlocks(int16_t* coefficients, const PredecodedAcEntry* lumaShortcut) {
  // Sampling factors come from the stream: an MCU the workspace cannot hold is bad data.
  if (uint64_t{lumaBlocks_} + cbBlocks_ + crBlocks_ > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  const int16_t* const areaEnd = coefficients + kMaxBlocksPerMcu * kBlockCoefficients;
  BitReader reader{bitBuffer_, bitCount_, position_};
  const uint32_t blockCounts[3] = {lumaBlocks_, cbBlocks_, crBlocks_};
  int16_t* block = coefficients;
  bool ok = true;
  for (int component = 0; component < 3 && ok; ++component) {
    const bool luma = component == 0;
    const DcCode* dcTable = DcDecodingTable(luma ? 0 : 1);
    const AcDecodingEntry* firstLevel = huffmanTables_[luma ? kLumaAcFirst : kChromaAcFirst];
    const AcDecodingEntry* secondLevel = huffmanTables_[luma ? kLumaAcSecond : kChromaAcSecond];
    const PredecodedAcEntry* shortcut = luma ? lumaShortcut : nullptr;
    for (uint32_t b = 0; b < blockCounts[component] && ok; ++b, block += kBlockCoefficients) {
      ok = DecodeDc(reader, dcTable, dcPredictors_[component], block) &&
           DecodeAc(reader, firstLevel, secondLevel, shortcut, block, areaEnd);
    }
  }
  bitBuffer_ = reader.buffer;
  bitCount_ = reader.count;
  position_ = reader.position;
  return ok ? 0 : kEntropyDecodeFailed;
}

std::unique_ptr<EntropyDecoder> MakeEntropyDecoder(int32_t processorFlag) {
  switch (processorFlag) {
    case kProcessorAmdMmx:
    case kProcessorIntelMmx:
      return std::make_unique<EntropyDecoderMmx>();
    case kProcessorIntelSse:
      return std::make_unique<EntropyDecoderPredecoded>();
    case kProcessorIntelSse2:
      return std::make_unique<EntropyDecoderSse2>();
    case kProcessorAmdMmxExtensions:
    case kProcessorAmdSse:
      return std::make_unique<EntropyDecoderAmd>();
    default:
      return std::make_unique<EntropyDecoder>();
  }
}

}  // namespace trvx
