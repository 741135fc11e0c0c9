#include "encoder/entropy_writer.h"

#include <cstring>

#include "pixel/processor.h"
#include "platform/fault_guard.h"

namespace trvx {

// Bit k set for each non-zero coefficient k of the block: a lane's top bit ends up
// set when any of its bits is, and a multiply gathers the top bits. The zero words
// at the end, where most blocks have many, are passed over first. 64-bit builds take
// four coefficients a word; 32-bit ones two, without 64-bit multiplies and shifts.
uint64_t NonZeroCoefficientMask(const int16_t* block) {
  if constexpr (sizeof(void*) == 8) {
    constexpr uint64_t kLow15 = 0x7FFF7FFF7FFF7FFFull;
    constexpr uint64_t kGather = (1ull << 48) | (1ull << 33) | (1ull << 18) | (1ull << 3);
    uint64_t quads[16];
    std::memcpy(quads, block, sizeof quads);
    int end = 16;
    while (end > 0 && quads[end - 1] == 0) --end;
    uint64_t mask = 0;
    for (int quad = 0; quad < end; ++quad) {
      const uint64_t lanes = quads[quad];
      const uint64_t tops = (((lanes & kLow15) + kLow15) | lanes) & ~kLow15;
      mask |= (((tops >> 15) * kGather) >> 48 & 0xF) << (4 * quad);
    }
    return mask;
  } else {
    constexpr uint32_t kLow15 = 0x7FFF7FFFu;
    uint32_t pairs[32];
    std::memcpy(pairs, block, sizeof pairs);
    int end = 32;
    while (end > 0 && pairs[end - 1] == 0) --end;
    uint32_t halves[2] = {0, 0};
    for (int pair = 0; pair < end; ++pair) {
      const uint32_t tops = (((pairs[pair] & kLow15) + kLow15) | pairs[pair]) & ~kLow15;
      halves[pair >> 4] |= ((tops >> 15 | tops >> 30) & 3) << (2 * (pair & 15));
    }
    return uint64_t{halves[1]} << 32 | halves[0];
  }
}

namespace {

// The bit count of a non-zero value's magnitude.
inline uint32_t NonZeroSize(int32_t value) {
  return 32u - uint32_t(__builtin_clz(uint32_t(value < 0 ? -value : value)));
}

}  // namespace

EntropyWriter::~EntropyWriter() = default;

void EntropyWriter::BeginField(const FrameDescription& description) {
  lumaTable_ = description.lumaCodeTable;
  chromaTable_ = description.chromaCodeTable;
  const uint8_t* sampling = description.sampling;
  lumaBlocks_ = uint32_t(sampling[0]) * sampling[1];
  cbBlocks_ = uint32_t(sampling[2]) * sampling[3];
  crBlocks_ = uint32_t(sampling[4]) * sampling[5];
}

void EntropyWriter::ResetPredictors() {
  for (int16_t& predictor : dcPredictors_) predictor = 0;
}

inline void EntropyWriter::PutBits(uint32_t code, uint32_t count) {
  bits_ = bits_ << count | code;
  bitCount_ += count;
  if (bitCount_ >= 16) {
    PutByte(cursor_, uint8_t(bits_ >> (bitCount_ - 8)));
    PutByte(cursor_, uint8_t(bits_ >> (bitCount_ - 16)));
    bitCount_ -= 16;
  }
}

inline void EntropyWriter::PutValue(int32_t value, uint32_t size) {
  // Negative amplitudes go out as value - 1 in `size` bits (ones' complement of |v|).
  if (value < 0) value = (value - 1) & int32_t((1u << size) - 1);
  PutBits(uint32_t(value), size);
}

int32_t EntropyWriter::EncodeMcu(const BlockBuffer& blocks) {
  BlockCodes codes;
  for (uint32_t b = 0; CodesForBlock(b, codes); ++b) {
    const int16_t* block = blocks.Block(int(b));
    const int16_t difference = DcDifference(codes.component, block[0]);
    const uint32_t category = MagnitudeSize(difference);
    if (category >= uint32_t(kDcCategories)) return kEncodeMcuFailed;
    PutBits(codes.dc[category].code, codes.dc[category].length);
    PutValue(difference, category);

    // The non-zero coefficients in order; runs of 16 zeros before one become ZRL symbols.
    int previous = 0;
    ForEachSetBit(NonZeroCoefficientMask(block) & ~uint64_t{1}, [&](int k) {
      int run = k - previous - 1;
      previous = k;
      for (; run >= 16; run -= 16) {
        const uint32_t zrl = codes.ac[AcCodeIndex(0, 15)];
        if (zrl == 0) DeliberateFault();
        PutBits(CodeBits(zrl), CodeLength(zrl));
      }
      const uint32_t size = NonZeroSize(block[k]);
      // Sizes past 10 have no code; the table has no room for 16 either.
      const uint32_t entry = size <= uint32_t(kMaxAcSize) ? codes.ac[AcCodeIndex(size, uint32_t(run))] : 0;
      if (entry == 0) DeliberateFault();
      PutBits(CodeBits(entry), CodeLength(entry));
      PutValue(block[k], size);
    });
    if (previous != 63) PutBits(CodeBits(codes.ac[AcCodeIndex(0, 0)]), CodeLength(codes.ac[AcCodeIndex(0, 0)]));
  }
  return 0;
}

void EntropyWriter::Flush() {
  if (bitCount_ != 0) {
    const uint32_t free = 32 - bitCount_;
    const uint32_t top = bits_ << free | ((1u << free) - 1);
    for (uint32_t n = 0; n < (bitCount_ + 7) / 8; ++n) PutByte(cursor_, uint8_t(top >> (24 - 8 * n)));
  }
  bits_ = 0;
  bitCount_ = 0;
  ResetPredictors();
}

std::unique_ptr<EntropyWriter> MakeEntropyWriter(int32_t processorFlag) {
  switch (processorFlag) {
#if defined(__i386__) || defined(__x86_64__)
    case kProcessorIntelSse2:
      return std::make_unique<EntropyWriterMmx>(NonZeroCoefficientMaskSse2);
    case kProcessorAmdSse2:
      return std::make_unique<EntropyWriterPlainSse2>();
#endif
    case kProcessorAmdMmx:
    case kProcessorIntelMmx:
    case kProcessorIntelSse:
    case kProcessorAmdMmxExtensions:
    case kProcessorAmdSse:
      return std::make_unique<EntropyWriterMmx>();
    default:
      return std::make_unique<EntropyWriter>();
  }
}

}  // namespace trvx
