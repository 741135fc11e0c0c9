#include "encoder/entropy_writer.h"

#include "pixel/processor.h"
#include "platform/fault_guard.h"

namespace trvx {

EntropyWriter::~EntropyWriter() = default;

void EntropyWriter::BeginField(const FrameDescription& description) {
  lumaTable_ = description.lumaCodeTable;
  chromaTable_ = description.chromaCodeTable;
  const uint8_t* sampling = description.sampling;
  lumaBlocks_ = uint32_t(sampling[0]) * sampling[1];
  cbBlocks_ = uint32_t(sampling[2]) * sampling[3];
  crBlocks_ = uint32_t(sampling[4]) * sampling[5];
}

bool EntropyWriter::CodesForBlock(uint32_t index, BlockCodes& codes) const {
  if (index < lumaBlocks_) {
    codes = {lumaTable_, kLumaDcCodes, 0};
  } else if (index < lumaBlocks_ + cbBlocks_) {
    codes = {chromaTable_, kChromaDcCodes, 1};
  } else if (index < lumaBlocks_ + cbBlocks_ + crBlocks_) {
    codes = {chromaTable_, kChromaDcCodes, 2};
  } else {
    return false;
  }
  return true;
}

void EntropyWriter::ResetPredictors() {
  for (int16_t& predictor : dcPredictors_) predictor = 0;
}

void EntropyWriter::PutBits(uint32_t code, uint32_t count) {
  bits_ = bits_ << count | code;
  bitCount_ += count;
  if (bitCount_ >= 16) {
    PutByte(uint8_t(bits_ >> (bitCount_ - 8)));
    PutByte(uint8_t(bits_ >> (bitCount_ - 16)));
    bitCount_ -= 16;
  }
}

void EntropyWriter::PutValue(int32_t value, uint32_t size) {
  // Negative amplitudes go out as value - 1 in `size` bits (ones' complement of |v|).
  if (value < 0) value = (value - 1) & int32_t((1u << size) - 1);
  PutBits(uint32_t(value), size);
}

int32_t EntropyWriter::EncodeMcu(const BlockBuffer& blocks) {
  BlockCodes codes;
  for (uint32_t b = 0; CodesForBlock(b, codes); ++b) {
    const int16_t* block = blocks.Block(int(b));
    int16_t& predictor = Predictor(codes.component);
    const int16_t difference = int16_t(block[0] - predictor);
    predictor = block[0];
    const uint32_t category = MagnitudeSize(difference);
    if (category >= uint32_t(kDcCategoryCount)) return kEncodeMcuFailed;
    PutBits(codes.dc[category].code, codes.dc[category].length);
    PutValue(difference, category);

    int last = 63;
    while (last > 0 && block[last] == 0) --last;
    for (int i = 1;;) {
      if (i > last) {
        PutBits(CodeBits(codes.ac[AcCodeIndex(0, 0)]), CodeLength(codes.ac[AcCodeIndex(0, 0)]));
        break;
      }
      int run = 0;
      while (run < 15 && block[i + run] == 0) ++run;
      const int j = i + run;
      const uint32_t size = MagnitudeSize(block[j]);
      // Sizes past 10 have no code; the table has no room for 16 either.
      const uint32_t entry = size <= uint32_t(kMaxAcSize) ? codes.ac[AcCodeIndex(size, uint32_t(run))] : 0;
      if (entry == 0) DeliberateFault();
      PutBits(CodeBits(entry), CodeLength(entry));
      PutValue(block[j], size);
      if (j == 63) break;
      i = j + 1;
    }
  }
  return 0;
}

void EntropyWriter::Flush() {
  if (bitCount_ != 0) {
    const uint32_t free = 32 - bitCount_;
    const uint32_t top = bits_ << free | ((1u << free) - 1);
    for (uint32_t n = 0; n < (bitCount_ + 7) / 8; ++n) PutByte(uint8_t(top >> (24 - 8 * n)));
  }
  bits_ = 0;
  bitCount_ = 0;
  ResetPredictors();
}

std::unique_ptr<EntropyWriter> MakeEntropyWriter(int32_t processorFlag) {
  switch (processorFlag) {
    case kProcessorAmdMmx:
    case kProcessorIntelMmx:
    case kProcessorIntelSse:
    case kProcessorIntelSse2:
    case kProcessorAmdMmxExtensions:
    case kProcessorAmdSse:
      return std::make_unique<EntropyWriterMmx>();
    default:
      return std::make_unique<EntropyWriter>();
  }
}

}  // namespace trvx
