#include "decoder/entropy_decoder.h"

#include <cstring>

#include "decoder/bit_window.h"
#include "decoder/huffman_decoding_tables.h"
#include "format/jpeg_syntax.h"
#include "format/mcu_workspace.h"
#include "pixel/processor.h"

namespace trvx {

namespace {

// The bit reader works on a register-wide buffer that it tops up with several bytes
// at once, ahead of the 16-bit refills the read position is defined by. The
// position those refills would have reached is worked out again at the end of each
// call (ToRefillState), so BytesConsumed and the bytes read are unchanged.
// Bits ready after every Refill: 56 on 64-bit builds, 24 on 32-bit ones. Either
// covers a DC code with its value and a first-level AC code with its value.
constexpr uint32_t kReadyBits = kWordBits - 8;

// Where a whole word may still be loaded, and where reading stops; bytes from `end`
// on read as 0, so a frame that ends against an unreadable page decodes all the same.
struct InputBounds {
  uintptr_t wordLimit;
  uintptr_t end;

  uint8_t ByteAt(const uint8_t* position) const { return uintptr_t(position) < end ? *position : 0; }
};

InputBounds BoundsFor(uintptr_t end) {
  return InputBounds{end >= sizeof(BitWord) ? end - sizeof(BitWord) : 0, end};
}

struct BitReader : BitWindow {
  const uint8_t* position;
  uint32_t skipped;  // bytes dropped after 0xFF in this call
  InputBounds bounds;

  // Without a 0xFF among the next bytes they are data as they stand; the whole bytes
  // that fit are added without a branch on the count.
  void Refill() {
    if (__builtin_expect(uintptr_t(position) > bounds.wordLimit, 0)) return RefillBytewise();
    const BitWord window = LoadBigEndian(position);
    if (__builtin_expect(HoldsMarkerPrefix(window), 0)) return RefillBytewise();
    position += TakeWord(window);
  }
  // The byte after 0xFF is stuffing or a marker's code; either way it is dropped unseen.
  void RefillBytewise() {
    while (count < kReadyBits) {
      const uint8_t byte = bounds.ByteAt(position++);
      if (byte == 0xFF) ++position, ++skipped;
      TakeByte(byte);
    }
  }
  // Size bits (0 .. 15) as a signed value by the EXTEND rule, without branches.
  int32_t ReadExtended(uint32_t size) {
    const uint32_t bits = uint32_t((buffer >> 1) >> (kWordBits - 1 - size));
    const uint32_t positive = uint32_t(0) - uint32_t(buffer >> (kWordBits - 1));
    const int32_t value = int32_t(bits - (((1u << size) - 1) & ~positive));
    Skip(size);
    return value;
  }
};

// Coefficients go out dequantised and in natural order, so that no later pass has to
// touch all 64 of every block. Products keep their low 16 bits.
inline void StoreCoefficient(int16_t* block, uint32_t zigzag, int32_t value, const uint16_t* dequant) {
  block[kNaturalOrder[zigzag]] = int16_t(uint32_t(uint16_t(value)) * dequant[zigzag]);
}

// kFull: k had reached 64 before the call, which read nothing.
enum class Step { kNext, kBlockDone, kFull, kFailed };

// The lookups one component's AC symbols go through: the pre-decoded table first
// when there is one (luminance on the class that reads it), then the combined table,
// then the two-level tables.
struct AcTables {
  const uint16_t* dequant;  // the component's table, zig-zag order
  const PredecodedAcEntry* predecoded;
  const CombinedAcEntry* combined;
  const AcDecodingEntry* firstLevel;
  const AcDecodingEntry* secondLevel;
};

// One AC symbol at zig-zag position k, with at least 26 bits ready on 64-bit builds
// and kReadyBits on 32-bit ones. symbolCount is the count at the symbol's start,
// from which the 16-bit refill state is worked out afterwards. k reaching 64 ends
// the block on the next call, which then reads nothing. A run past the block's end
// stores its coefficient before failing, into whatever follows in the workspace;
// that order is kept on purpose, but never past areaEnd.
// With Predecoded, a code and value of at most 9 bits come whole from one entry;
// unfilled entries (run 255) and end of block (run 65) go on as n >= 64 would.
template <bool Predecoded>
__attribute__((always_inline)) inline Step DecodeAcSymbol(BitReader& reader, uint32_t& symbolCount, uint32_t& k,
                                                          const AcTables& tables, int16_t* block,
                                                          const int16_t* areaEnd) {
  if constexpr (Predecoded) {
    const PredecodedAcEntry whole = tables.predecoded[reader.Peek(9)];
    const uint32_t n = k + whole.run;
    if (__builtin_expect(n < 64, 1)) {
      symbolCount = reader.count;
      reader.Skip(whole.length);
      StoreCoefficient(block, n, whole.value, tables.dequant);
      k = n + 1;
      return Step::kNext;
    }
  }
  const CombinedAcEntry entry = tables.combined[reader.Peek(kCombinedAcBits)];
  const uint32_t n = k + entry.run;
  if (__builtin_expect(n < 64, 1)) {
    symbolCount = reader.count;
    reader.Skip(entry.dropAndSize & 15);
    StoreCoefficient(block, n, entry.value + reader.ReadExtended(entry.dropAndSize >> 4), tables.dequant);
    k = n + 1;
    return Step::kNext;
  }
  if (k == 64) return Step::kFull;
  symbolCount = reader.count;
  Step result = Step::kFailed;
  // End of block, a run to or past the end, a long or bad code: by the two-level
  // tables, as the value bits of a run to the end must stay unread.
  const uint32_t peeked = reader.Peek(9);
  AcDecodingEntry plain;
  if (peeked < kAcSecondLevelStart) {
    plain = tables.firstLevel[peeked];
  } else {
    reader.Skip(6);
    plain = tables.secondLevel[reader.Peek(10)];
  }
  if (plain.length != 0) {
    reader.Skip(plain.length);
    const uint32_t end = k + plain.run;
    if (plain.run == kEndOfBlockRun || end == 64) {
      result = Step::kBlockDone;
    } else {
      if (reader.count < plain.size) {  // 32-bit buffers only: a 16-bit code with 10 value bits
        const uint32_t count = reader.count;
        reader.Refill();
        symbolCount += reader.count - count;
      }
      const int16_t value = int16_t(reader.ReadExtended(plain.size));
      if (end < 64) {
        StoreCoefficient(block, end, value, tables.dequant);
      } else if (end < uint32_t(areaEnd - block)) {
        block[end] = value;
      }
      k = end + 1;
      result = end < 64 ? Step::kNext : Step::kFailed;
    }
  }
  return result;
}

// One block's AC coefficients, after its DC code and value (at most 22 bits) were
// read from a fresh refill. A 64-bit buffer holds two symbols of at most 26 bits
// per refill, so it refills every other symbol.
template <bool Predecoded>
__attribute__((always_inline)) inline bool DecodeAc(BitReader& reader, uint32_t& symbolCount, const AcTables& tables,
                                                    int16_t* block, const int16_t* areaEnd) {
  uint32_t k = 1;
  Step step = Step::kNext;
  if constexpr (kReadyBits >= 22 + 26) {
    step = DecodeAcSymbol<Predecoded>(reader, symbolCount, k, tables, block, areaEnd);
  }
  while (step == Step::kNext) {
    const uint32_t unrefilled = reader.count;
    reader.Refill();
    step = DecodeAcSymbol<Predecoded>(reader, symbolCount, k, tables, block, areaEnd);
    // The refill came after the block's last symbol: its bits are not the symbol's.
    if (step == Step::kFull) symbolCount += reader.count - unrefilled;
    if constexpr (kReadyBits >= 26 + 26) {
      if (step != Step::kNext) break;
      step = DecodeAcSymbol<Predecoded>(reader, symbolCount, k, tables, block, areaEnd);
    }
  }
  return step != Step::kFailed;
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
  dequantTables_[0] = description.quantTables;
  dequantTables_[1] = description.quantTables + kQuantTableEntries;
  for (int table = 0; table < 2; ++table) {
    combinedAcTables_[table] = CombinedAcTable(table);
    dcLookupTables_[table] = DcLookupTable(table);
  }
  predecodedLuma_ = PredecodedLumaAcTable();
}

void EntropyDecoder::SetInput(const uint8_t* data, const uint8_t* end) {
  start_ = data;
  position_ = data;
  end_ = end != nullptr ? uintptr_t(end) : ~uintptr_t(0);
}

uint8_t EntropyDecoder::ByteAt(const uint8_t* position) const { return BoundsFor(end_).ByteAt(position); }

uint32_t EntropyDecoder::BytesConsumed() const { return uint32_t(position_ - start_) + 16; }

const uint8_t* EntropyDecoder::InputPosition() const { return position_; }

int32_t EntropyDecoder::DecodeMcu(McuWorkspace& workspace) {
  if (workspace.blocksPerMcu > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  std::memset(workspace.coefficients, 0, workspace.blocksPerMcu * kBlockCoefficients * sizeof(int16_t));
  return DecodeBlocks(workspace.coefficients);
}

int32_t EntropyDecoder::DecodeBlocks(int16_t* coefficients) { return DecodeAllBlocks<false>(coefficients); }

int32_t EntropyDecoder::DecodeBlocksPredecoded(int16_t* coefficients) { return DecodeAllBlocks<true>(coefficients); }

template <bool PredecodedLuma>
int32_t EntropyDecoder::DecodeAllBlocks(int16_t* coefficients) {
  // Sampling factors come from the stream: an MCU the workspace cannot hold is bad data.
  const uint64_t totalBlocks = uint64_t{lumaBlocks_} + cbBlocks_ + crBlocks_;
  if (totalBlocks > kMaxBlocksPerMcu) return kEntropyDecodeFailed;
  if (totalBlocks == 0) return 0;
  const int16_t* const areaEnd = coefficients + kMaxBlocksPerMcu * kBlockCoefficients;
  const uint32_t startCount = bitCount_;
  const uint8_t* const startPosition = position_;
  BitReader reader{{startCount == 0 ? 0 : BitWord(bitBuffer_) << (kWordBits - startCount), startCount},
                   position_,
                   0,
                   BoundsFor(end_)};
  uint32_t symbolCount = startCount;
  const uint32_t blockCounts[3] = {lumaBlocks_, cbBlocks_, crBlocks_};
  int16_t* block = coefficients;
  bool ok = true;
  for (int component = 0; component < 3 && ok; ++component) {
    const int table = component == 0 ? 0 : 1;
    const uint8_t* dcLookup = dcLookupTables_[table];
    const uint32_t dcBits = kDcLookupBits[table];
    const AcTables tables = {dequantTables_[table], predecodedLuma_, combinedAcTables_[table],
                             huffmanTables_[table == 0 ? kLumaAcFirst : kChromaAcFirst],
                             huffmanTables_[table == 0 ? kLumaAcSecond : kChromaAcSecond]};
    int16_t predictor = dcPredictors_[component];
    for (uint32_t b = 0; b < blockCounts[component]; ++b, block += kBlockCoefficients) {
      reader.Refill();
      const uint32_t lengthAndCategory = dcLookup[reader.Peek(dcBits)];
      symbolCount = reader.count;
      if (lengthAndCategory == 0) {
        ok = false;
        break;
      }
      reader.Skip(lengthAndCategory >> 4);
      predictor = int16_t(uint16_t(predictor + reader.ReadExtended(lengthAndCategory & 15)));
      StoreCoefficient(block, 0, predictor, tables.dequant);
      const bool decoded = PredecodedLuma && table == 0
                               ? DecodeAc<true>(reader, symbolCount, tables, block, areaEnd)
                               : DecodeAc<false>(reader, symbolCount, tables, block, areaEnd);
      if (!decoded) {
        ok = false;
        break;
      }
    }
    dcPredictors_[component] = predictor;
  }
  ToRefillState(reader.buffer, reader.count, symbolCount, reader.position, reader.skipped, startCount, startPosition);
  return ok ? 0 : kEntropyDecodeFailed;
}

// The 16-bit reader refills before each symbol when fewer than 16 bits are left, and
// before a value when fewer than its size are; so after the last symbol, which took
// `taken` bits, it has done ceil((consumed + 16 - min(taken, 16)) / 16) refills in
// this call (counting from its `startCount` bits). The wide reader holds the bytes
// of those refills plus or minus a few: those it holds beyond are given back, those
// it lacks are read the 16-bit reader's way.
void EntropyDecoder::ToRefillState(uint64_t wideBuffer, uint32_t wideCount, uint32_t symbolCount,
                                   const uint8_t* widePosition, uint32_t skipped, uint32_t startCount,
                                   const uint8_t* startPosition) {
  BitWord buffer = BitWord(wideBuffer);
  const uint32_t loadedBytes = uint32_t(widePosition - startPosition) - skipped;
  const uint32_t consumed = startCount + loadedBytes * 8 - wideCount;
  const uint32_t taken = symbolCount - wideCount;
  const int32_t pending = int32_t(consumed) + 16 - int32_t(taken < 16 ? taken : 16) - int32_t(startCount);
  const uint32_t refills = uint32_t(pending + 15) >> 4;
  const uint32_t count = startCount + refills * 16 - consumed;
  const uint8_t* position = widePosition;
  if (count <= wideCount) {
    // Usually none of the bytes given back is 0xFF, and each stood for one input byte.
    const BitWord givenBack = (buffer << count) & ~(~BitWord(0) >> (wideCount - count));
    if (!HoldsMarkerPrefix(givenBack)) {
      position -= (wideCount - count) >> 3;
    } else {
      for (uint32_t bit = count; bit < wideCount; bit += 8) {
        const uint32_t byte = uint32_t(buffer >> (kWordBits - 8 - bit)) & 0xFF;
        position -= byte == 0xFF ? 2 : 1;
      }
    }
  } else {
    for (uint32_t bit = wideCount; bit < count; bit += 8) {
      const uint8_t byte = ByteAt(position++);
      if (byte == 0xFF) ++position;
      buffer = (buffer & ~(~BitWord(0) >> bit)) | BitWord(byte) << (kWordBits - 8 - bit);
    }
  }
  bitBuffer_ = count == 0 ? 0 : uint32_t(buffer >> (kWordBits - count));
  bitCount_ = count;
  position_ = position;
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
