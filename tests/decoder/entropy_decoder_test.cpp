#include "decoder/entropy_decoder.h"

#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <typeinfo>
#include <vector>

#include "decoder/huffman_decoding_tables.h"
#include "format/mcu_workspace.h"
#include "encoder/huffman_code_tables.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

using Bytes = std::vector<uint8_t>;

struct Code {
  uint32_t bits = 0;
  int length = 0;
};

// The default tables, taken from the encoder's copy; the oracle tests check both
// against libjpeg-turbo's.
Code DcCode(bool luma, int category) {
  const DcCodeEntry& entry = (luma ? kLumaDcCodes : kChromaDcCodes)[category];
  return {entry.code, entry.length};
}
Code AcCode(bool luma, int run, int size) {
  static const auto tables = [] {
    std::vector<uint32_t> both(2 * kHuffmanCodeTableEntries);
    FillHuffmanCodeTables(both.data(), both.data() + kHuffmanCodeTableEntries);
    return both;
  }();
  const uint32_t entry = tables[(luma ? 0 : kHuffmanCodeTableEntries) + AcCodeIndex(size, run)];
  return {CodeBits(entry), int(CodeLength(entry))};
}
Code Eob(bool luma) { return AcCode(luma, 0, 0); }

// MSB-first bit packing with 0xFF stuffing, as an encoder writes entropy-coded data.
class BitWriter {
 public:
  void Put(uint32_t bits, int length) {
    for (int i = length - 1; i >= 0; --i) {
      current_ = uint8_t(current_ << 1 | ((bits >> i) & 1));
      if (++filled_ == 8) {
        bytes_.push_back(current_);
        if (current_ == 0xFF) bytes_.push_back(0x00);
        current_ = 0, filled_ = 0;
      }
    }
  }
  void Put(const Code& code) { Put(code.bits, code.length); }
  // Pads with ones, then adds room the reader may read ahead into.
  Bytes Finish() {
    while (filled_ != 0) Put(1, 1);
    Bytes out = bytes_;
    out.resize(out.size() + 32, 0);
    return out;
  }

 private:
  Bytes bytes_;
  uint8_t current_ = 0;
  int filled_ = 0;
};

int Category(int value) {
  int magnitude = std::abs(value), size = 0;
  while (magnitude != 0) magnitude >>= 1, ++size;
  return size;
}

void PutDc(BitWriter& out, bool luma, int diff) {
  out.Put(DcCode(luma, Category(diff)));
  out.Put(uint32_t(diff < 0 ? diff - 1 : diff) & ((1u << Category(diff)) - 1), Category(diff));
}

// A run and a non-zero value, or run 15 with value 0 (ZRL).
void PutAc(BitWriter& out, bool luma, int run, int value) {
  const int size = Category(value);
  out.Put(AcCode(luma, run, size));
  out.Put(uint32_t(value < 0 ? value - 1 : value) & ((1u << size) - 1), size);
}

struct Mcu {
  int16_t blocks[4][64] = {};  // Y left, Y right, Cb, Cr; zig-zag order
  bool operator==(const Mcu& other) const { return std::memcmp(blocks, other.blocks, sizeof blocks) == 0; }
};

// Dequantisation tables as a stream gives them, x 8, zig-zag order: table 0 for
// luminance, table 1 for chrominance. Large values wrap when multiplied.
const uint16_t* QuantTables() {
  static const auto tables = [] {
    std::vector<uint16_t> t(kQuantTableSlots * kQuantTableEntries);
    for (int z = 0; z < kQuantTableEntries; ++z) {
      t[z] = uint16_t(8 * (1 + z));
      t[kQuantTableEntries + z] = uint16_t(8 * (2 + z % 7));
    }
    return t;
  }();
  return tables.data();
}

int16_t Dequantised(int value, int block, int zigzag) {
  return int16_t(uint16_t(value) * QuantTables()[(block < 2 ? 0 : kQuantTableEntries) + zigzag]);
}

// What the decoder should deliver for coded MCUs, still read in zig-zag order.
std::vector<Mcu> Dequantised(std::vector<Mcu> mcus) {
  for (Mcu& mcu : mcus) {
    for (int b = 0; b < 4; ++b) {
      for (int z = 0; z < 64; ++z) mcu.blocks[b][z] = Dequantised(mcu.blocks[b][z], b, z);
    }
  }
  return mcus;
}

// Codes MCUs of a 4:2:2 field with the predictors starting at zero.
Bytes Encode(const std::vector<Mcu>& mcus) {
  BitWriter out;
  int predictors[3] = {};
  for (const Mcu& mcu : mcus) {
    for (int b = 0; b < 4; ++b) {
      const int component = b < 2 ? 0 : b - 1;
      const int16_t* block = mcu.blocks[b];
      PutDc(out, component == 0, block[0] - predictors[component]);
      predictors[component] = block[0];
      int run = 0;
      for (int k = 1; k < 64; ++k) {
        if (block[k] == 0) {
          ++run;
          continue;
        }
        for (; run > 15; run -= 16) PutAc(out, component == 0, 15, 0);
        PutAc(out, component == 0, run, block[k]);
        run = 0;
      }
      if (block[63] == 0) out.Put(Eob(component == 0));
    }
  }
  return out.Finish();
}

FrameDescription Description422() {
  BuildHuffmanDecodingTables();
  FrameDescription description;
  const uint8_t sampling[6] = {2, 1, 1, 1, 1, 1};
  std::copy(sampling, sampling + 6, description.sampling);
  SetHuffmanDecodingTables(description);
  description.quantTables = const_cast<uint16_t*>(QuantTables());
  description.quantTableCount = 2;
  return description;
}

class EntropyDecoderClasses : public ::testing::TestWithParam<int32_t> {
 protected:
  void SetUp() override {
    ASSERT_TRUE(workspace_.Allocate());
    workspace_.blocksPerMcu = 4;
    decoder_ = MakeEntropyDecoder(GetParam());
  }

  // Keeps its own copy: the decoder reads on from a pointer.
  void Start(const Bytes& data) {
    data_ = data;
    decoder_->SetInput(data_.data(), nullptr);
    decoder_->ResetForField(Description422());
  }

  // Decodes count MCUs, read back in zig-zag order; stops at the first failure and
  // leaves its result in result_.
  std::vector<Mcu> Decode(int count) {
    static const std::vector<int> natural = test::ZigzagToNatural();
    std::vector<Mcu> mcus;
    for (int m = 0; m < count; ++m) {
      result_ = decoder_->DecodeMcu(workspace_);
      if (result_ != 0) break;
      Mcu mcu;
      for (int b = 0; b < 4; ++b) {
        for (int z = 0; z < 64; ++z) mcu.blocks[b][z] = workspace_.Block(b)[natural[z]];
      }
      mcus.push_back(mcu);
    }
    return mcus;
  }

  McuWorkspace workspace_;
  Bytes data_;
  std::unique_ptr<EntropyDecoder> decoder_;
  int32_t result_ = 0;
};

// Empty to full blocks of random values, after hand-made blocks that end at 63
// without an end-of-block code (after three ZRLs; the longest value; every position).
std::vector<Mcu> TestMcus(int randomCount) {
  std::vector<Mcu> mcus(2);
  mcus[0].blocks[0][63] = -5;
  for (int k = 1; k < 64; ++k) mcus[0].blocks[1][k] = int16_t(k % 2 ? k : -k);
  mcus[1].blocks[2][63] = 1023;
  mcus[1].blocks[3][1] = 1;
  std::mt19937 random(7);
  for (int m = 0; m < randomCount; ++m) {
    Mcu mcu;
    for (auto& block : mcu.blocks) {
      block[0] = int16_t(int(random() % 2047) - 1023);
      const unsigned density = random() % 5;
      for (int k = 1; k < 64; ++k) {
        if (random() % 4 >= density) continue;
        const int size = 1 + int(random() % 10);
        const int magnitude = (1 << (size - 1)) + int(random() % (1u << (size - 1)));
        block[k] = int16_t(random() % 2 ? magnitude : -magnitude);
      }
    }
    mcus.push_back(mcu);
  }
  return mcus;
}

// Same coefficients and read position as the base class; a new field resets the DC
// predictors, so decoding the data again gives the same first MCU.
TEST_P(EntropyDecoderClasses, DecodesCodedBlocksExactlyAndReadsAsFarAsTheBaseClass) {
  const std::vector<Mcu> mcus = TestMcus(60);
  const int count = int(mcus.size());
  const Bytes data = Encode(mcus);
  Start(data);
  EXPECT_TRUE(Decode(count) == Dequantised(mcus));
  EXPECT_EQ(result_, 0);

  EntropyDecoder reference;
  McuWorkspace scratch;
  ASSERT_TRUE(scratch.Allocate());
  scratch.blocksPerMcu = 4;
  reference.SetInput(data.data(), nullptr);
  reference.ResetForField(Description422());
  for (int m = 0; m < count; ++m) ASSERT_EQ(reference.DecodeMcu(scratch), 0);
  EXPECT_EQ(decoder_->BytesConsumed(), reference.BytesConsumed());

  Start(data);
  EXPECT_TRUE(Decode(3) == Dequantised(std::vector<Mcu>(mcus.begin(), mcus.begin() + 3)));
}

TEST_P(EntropyDecoderClasses, RunsThatReachTheEndFinishTheBlockWithoutValueBits) {
  BitWriter out;
  // Y left: coefficients up to 48, then a ZRL landing exactly on 64.
  PutDc(out, true, 4);
  for (int k = 1; k <= 48; ++k) PutAc(out, true, 0, 2);
  PutAc(out, true, 15, 0);
  // Y right: coefficient 62, then run 1 with size 1 reaching 64; its value bit is
  // never written and must not be read. Cb the same in the chrominance table.
  for (bool luma : {true, false}) {
    PutDc(out, luma, luma ? 0 : -2);
    for (int z = 0; z < 3; ++z) PutAc(out, luma, 15, 0);
    PutAc(out, luma, 13, luma ? -3 : 9);
    out.Put(AcCode(luma, 1, 1));
  }
  PutDc(out, false, 1), out.Put(Eob(false));
  // A second MCU proves the reader stayed in step.
  for (int b = 0; b < 4; ++b) PutDc(out, b < 2, b < 2 ? 1 : 0), out.Put(Eob(b < 2));

  std::vector<Mcu> expected(2);
  expected[0].blocks[0][0] = 4;
  for (int k = 1; k <= 48; ++k) expected[0].blocks[0][k] = 2;
  expected[0].blocks[1][0] = 4, expected[0].blocks[1][62] = -3;
  expected[0].blocks[2][0] = -2, expected[0].blocks[2][62] = 9;
  expected[0].blocks[3][0] = 1;
  expected[1].blocks[0][0] = 5, expected[1].blocks[1][0] = 6;
  expected[1].blocks[2][0] = -2, expected[1].blocks[3][0] = 1;
  Start(out.Finish());
  EXPECT_TRUE(Decode(2) == Dequantised(expected));
}

TEST_P(EntropyDecoderClasses, StuffedAndMarkerBytesBothReadAsFF) {
  // Luma DC category 9 with value 511 puts 0xFF into the second byte.
  BitWriter out;
  PutDc(out, true, 511), out.Put(Eob(true));
  PutDc(out, true, 0), out.Put(Eob(true));
  for (int b = 0; b < 2; ++b) PutDc(out, false, 0), out.Put(Eob(false));
  Bytes data = out.Finish();
  ASSERT_EQ(data[1], 0xFF);
  ASSERT_EQ(data[2], 0x00);

  for (uint8_t afterFF : {uint8_t(0x00), uint8_t(0xD0)}) {
    data[2] = afterFF;
    Start(data);
    EXPECT_EQ(decoder_->BytesConsumed(), 16u);
    const std::vector<Mcu> mcus = Decode(1);
    ASSERT_EQ(mcus.size(), 1u);
    EXPECT_EQ(mcus[0].blocks[0][0], Dequantised(511, 0, 0));
    EXPECT_EQ(mcus[0].blocks[1][0], Dequantised(511, 1, 0));
    // Three refills of two data bytes, one of them followed by the dropped byte.
    EXPECT_EQ(decoder_->BytesConsumed(), 16u + 7u);
  }
  // Without 0xFF the same three refills: the MCU's 20 bits count as six bytes.
  Start(Encode(std::vector<Mcu>(1)));
  ASSERT_EQ(Decode(1).size(), 1u);
  EXPECT_EQ(decoder_->BytesConsumed(), 16u + 6u);
}

TEST_P(EntropyDecoderClasses, UndecodableDataFailsAndARunPastTheBlockStoresItsValueFirst) {
  // Nine ones match no luminance DC code.
  BitWriter ones;
  ones.Put(0x1FF, 9);
  Start(ones.Finish());
  EXPECT_EQ(decoder_->DecodeMcu(workspace_), kEntropyDecodeFailed);

  // Sixteen ones are the one luminance AC code the default table leaves unused.
  BitWriter unused;
  PutDc(unused, true, 0);
  unused.Put(0xFFFF, 16);
  Start(unused.Finish());
  EXPECT_EQ(decoder_->DecodeMcu(workspace_), kEntropyDecodeFailed);

  // Eleven ones match no chrominance DC code.
  BitWriter chroma;
  for (int b = 0; b < 2; ++b) PutDc(chroma, true, 0), chroma.Put(Eob(true));
  chroma.Put(0x7FF, 11);
  Start(chroma.Finish());
  EXPECT_EQ(decoder_->DecodeMcu(workspace_), kEntropyDecodeFailed);

  BitWriter past;
  PutDc(past, true, 0);
  for (int z = 0; z < 3; ++z) PutAc(past, true, 15, 0);
  PutAc(past, true, 11, 1);   // position 60
  PutAc(past, true, 15, -1);  // position 76: in the next block's area
  Start(past.Finish());
  EXPECT_EQ(decoder_->DecodeMcu(workspace_), kEntropyDecodeFailed);
  // Stored in its natural place; the stray one raw, where zig-zag position 76 would be.
  EXPECT_EQ(workspace_.coefficients[test::ZigzagToNatural()[60]], Dequantised(1, 0, 60));
  EXPECT_EQ(workspace_.coefficients[76], -1);
}

INSTANTIATE_TEST_SUITE_P(EntropyAllProcessorFlags, EntropyDecoderClasses,
                         ::testing::Values(0, 1, 15, 31, 135));

// Class 15 reads luminance AC codes from the pre-decoded table before the combined
// table every class reads: where code and value fit in 9 bits both must agree, and
// elsewhere the entry must stay unfilled so that the combined table decides.
TEST(PredecodedLumaTable, AgreesWithTheCombinedTableAndLeavesLongerSymbolsUnfilled) {
  BuildHuffmanDecodingTables();
  const CombinedAcEntry* combined = CombinedAcTable(0);
  const PredecodedAcEntry* predecoded = PredecodedLumaAcTable();
  int filled = 0;
  for (uint32_t index = 0; index < 512; ++index) {
    const CombinedAcEntry c = combined[index << (kCombinedAcBits - 9)];
    const PredecodedAcEntry p = predecoded[index];
    if (c.run != kUnfilledRun && (c.dropAndSize >> 4) == 0 && c.dropAndSize <= 9) {
      ++filled;
      EXPECT_EQ(p.value, c.value) << index;
      EXPECT_EQ(p.run, c.run) << index;
      EXPECT_EQ(p.length, c.dropAndSize) << index;
    } else {
      EXPECT_EQ(p.value, -1) << index;
      EXPECT_EQ(p.run, 0xFF) << index;
      EXPECT_EQ(p.length, kNotPredecoded) << index;
    }
  }
  EXPECT_GT(filled, 256);
}

TEST(EntropyDecoderFactory, PicksTheClassOfTheSessionsSelectionRow) {
  const struct {
    int32_t flag;
    const std::type_info& type;
  } rows[] = {{0, typeid(EntropyDecoder)},       {1, typeid(EntropyDecoderMmx)},    {3, typeid(EntropyDecoderMmx)},
              {15, typeid(EntropyDecoderPredecoded)}, {31, typeid(EntropyDecoderSse2)}, {135, typeid(EntropyDecoderAmd)},
              {159, typeid(EntropyDecoder)}};
  for (const auto& row : rows) {
    const std::unique_ptr<EntropyDecoder> decoder = MakeEntropyDecoder(row.flag);
    EXPECT_EQ(typeid(*decoder), row.type) << "flag " << row.flag;
  }
}

}  // namespace
}  // namespace trvx
