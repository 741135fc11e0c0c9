#include "decoder/entropy_decoder.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <typeinfo>
#include <vector>

#include "decoder/huffman_decoding_tables.h"
#include "decoder/mcu_workspace.h"

namespace trvx {
namespace {

using Bytes = std::vector<uint8_t>;

// Annex K tables as code counts per length and symbols in code order.
struct KTable {
  std::vector<int> counts;
  std::vector<int> symbols;
};

const KTable kLumaDc = {{0, 1, 5, 1, 1, 1, 1, 1, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
const KTable kChromaDc = {{0, 3, 1, 1, 1, 1, 1, 1, 1, 1, 1}, {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11}};
const KTable kLumaAc = {
    {0, 2, 1, 3, 3, 2, 4, 3, 5, 5, 4, 4, 0, 0, 1, 125},
    {0x01, 0x02, 0x03, 0x00, 0x04, 0x11, 0x05, 0x12, 0x21, 0x31, 0x41, 0x06, 0x13, 0x51, 0x61, 0x07, 0x22, 0x71,
     0x14, 0x32, 0x81, 0x91, 0xa1, 0x08, 0x23, 0x42, 0xb1, 0xc1, 0x15, 0x52, 0xd1, 0xf0, 0x24, 0x33, 0x62, 0x72,
     0x82, 0x09, 0x0a, 0x16, 0x17, 0x18, 0x19, 0x1a, 0x25, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x34, 0x35, 0x36, 0x37,
     0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58, 0x59,
     0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a, 0x83,
     0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a, 0xa2, 0xa3,
     0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba, 0xc2, 0xc3,
     0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda, 0xe1, 0xe2,
     0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf1, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa}};
const KTable kChromaAc = {
    {0, 2, 1, 2, 4, 4, 3, 4, 7, 5, 4, 4, 0, 1, 2, 119},
    {0x00, 0x01, 0x02, 0x03, 0x11, 0x04, 0x05, 0x21, 0x31, 0x06, 0x12, 0x41, 0x51, 0x07, 0x61, 0x71, 0x13, 0x22,
     0x32, 0x81, 0x08, 0x14, 0x42, 0x91, 0xa1, 0xb1, 0xc1, 0x09, 0x23, 0x33, 0x52, 0xf0, 0x15, 0x62, 0x72, 0xd1,
     0x0a, 0x16, 0x24, 0x34, 0xe1, 0x25, 0xf1, 0x17, 0x18, 0x19, 0x1a, 0x26, 0x27, 0x28, 0x29, 0x2a, 0x35, 0x36,
     0x37, 0x38, 0x39, 0x3a, 0x43, 0x44, 0x45, 0x46, 0x47, 0x48, 0x49, 0x4a, 0x53, 0x54, 0x55, 0x56, 0x57, 0x58,
     0x59, 0x5a, 0x63, 0x64, 0x65, 0x66, 0x67, 0x68, 0x69, 0x6a, 0x73, 0x74, 0x75, 0x76, 0x77, 0x78, 0x79, 0x7a,
     0x82, 0x83, 0x84, 0x85, 0x86, 0x87, 0x88, 0x89, 0x8a, 0x92, 0x93, 0x94, 0x95, 0x96, 0x97, 0x98, 0x99, 0x9a,
     0xa2, 0xa3, 0xa4, 0xa5, 0xa6, 0xa7, 0xa8, 0xa9, 0xaa, 0xb2, 0xb3, 0xb4, 0xb5, 0xb6, 0xb7, 0xb8, 0xb9, 0xba,
     0xc2, 0xc3, 0xc4, 0xc5, 0xc6, 0xc7, 0xc8, 0xc9, 0xca, 0xd2, 0xd3, 0xd4, 0xd5, 0xd6, 0xd7, 0xd8, 0xd9, 0xda,
     0xe2, 0xe3, 0xe4, 0xe5, 0xe6, 0xe7, 0xe8, 0xe9, 0xea, 0xf2, 0xf3, 0xf4, 0xf5, 0xf6, 0xf7, 0xf8, 0xf9, 0xfa}};

struct Code {
  uint32_t bits = 0;
  int length = 0;
};
using Codes = std::vector<Code>;  // indexed by symbol

Codes MakeCodes(const KTable& table) {
  Codes codes(256);
  uint32_t code = 0;
  size_t next = 0;
  for (size_t length = 1; length <= table.counts.size(); ++length, code <<= 1) {
    for (int i = 0; i < table.counts[length - 1]; ++i, ++code) codes[table.symbols[next++]] = {code, int(length)};
  }
  return codes;
}

const Codes& Luma(bool dc) {
  static const Codes dcCodes = MakeCodes(kLumaDc), acCodes = MakeCodes(kLumaAc);
  return dc ? dcCodes : acCodes;
}
const Codes& Chroma(bool dc) {
  static const Codes dcCodes = MakeCodes(kChromaDc), acCodes = MakeCodes(kChromaAc);
  return dc ? dcCodes : acCodes;
}

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

void PutValue(BitWriter& out, int value, int size) {
  out.Put(uint32_t(value < 0 ? value - 1 : value) & ((1u << size) - 1), size);
}

void PutDc(BitWriter& out, const Codes& dc, int diff) {
  out.Put(dc[Category(diff)]);
  PutValue(out, diff, Category(diff));
}

// A run and a non-zero value, or run 15 with value 0 (ZRL).
void PutAc(BitWriter& out, const Codes& ac, int run, int value) {
  out.Put(ac[run << 4 | Category(value)]);
  PutValue(out, value, Category(value));
}

void PutAcUpTo(BitWriter& out, const Codes& ac, const int16_t* zigzag, int last) {
  int run = 0;
  for (int k = 1; k <= last; ++k) {
    if (zigzag[k] == 0) {
      ++run;
      continue;
    }
    for (; run > 15; run -= 16) PutAc(out, ac, 15, 0);
    PutAc(out, ac, run, zigzag[k]);
    run = 0;
  }
}

struct Mcu {
  int16_t blocks[4][64] = {};  // Y left, Y right, Cb, Cr; zig-zag order
};

// Codes MCUs of a 4:2:2 field with the predictors starting at zero.
Bytes Encode(const std::vector<Mcu>& mcus) {
  BitWriter out;
  int predictors[3] = {};
  for (const Mcu& mcu : mcus) {
    for (int b = 0; b < 4; ++b) {
      const int component = b < 2 ? 0 : b - 1;
      const Codes& dc = component == 0 ? Luma(true) : Chroma(true);
      const Codes& ac = component == 0 ? Luma(false) : Chroma(false);
      const int16_t* block = mcu.blocks[b];
      PutDc(out, dc, block[0] - predictors[component]);
      predictors[component] = block[0];
      PutAcUpTo(out, ac, block, 63);
      if (block[63] == 0) out.Put(ac[0x00]);
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
  return description;
}

constexpr int32_t kAllFlags[] = {0, 1, 3, 15, 31, 135, 143, 159};

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
    decoder_->SetInput(data_.data());
    decoder_->ResetForField(Description422());
  }

  // Decodes count MCUs; stops at the first failure and leaves its result in result_.
  std::vector<Mcu> Decode(int count) {
    std::vector<Mcu> mcus;
    for (int m = 0; m < count; ++m) {
      result_ = decoder_->DecodeMcu(workspace_);
      if (result_ != 0) break;
      Mcu mcu;
      std::copy(workspace_.coefficients, workspace_.coefficients + 4 * 64, &mcu.blocks[0][0]);
      mcus.push_back(mcu);
    }
    return mcus;
  }

  void ExpectSame(const std::vector<Mcu>& expected, const std::vector<Mcu>& actual) {
    ASSERT_EQ(expected.size(), actual.size());
    for (size_t m = 0; m < expected.size(); ++m) {
      for (int b = 0; b < 4; ++b) {
        for (int k = 0; k < 64; ++k) {
          ASSERT_EQ(expected[m].blocks[b][k], actual[m].blocks[b][k]) << "mcu " << m << " block " << b << " k " << k;
        }
      }
    }
  }

  McuWorkspace workspace_;
  Bytes data_;
  std::unique_ptr<EntropyDecoder> decoder_;
  int32_t result_ = 0;
};

std::vector<Mcu> RandomMcus(int count, unsigned seed) {
  std::mt19937 random(seed);
  std::vector<Mcu> mcus(count);
  for (Mcu& mcu : mcus) {
    for (auto& block : mcu.blocks) {
      block[0] = int16_t(int(random() % 2047) - 1023);
      const unsigned density = random() % 5;  // from empty blocks to full ones
      for (int k = 1; k < 64; ++k) {
        if (random() % 4 >= density) continue;
        const int size = 1 + int(random() % 10);
        const int magnitude = (1 << (size - 1)) + int(random() % (1u << (size - 1)));
        block[k] = int16_t(random() % 2 ? magnitude : -magnitude);
      }
    }
  }
  return mcus;
}

TEST_P(EntropyDecoderClasses, DecodesCodedBlocksExactlyAndReadsAsFarAsTheBaseClass) {
  const std::vector<Mcu> mcus = RandomMcus(60, 7);
  const Bytes data = Encode(mcus);
  Start(data);
  ExpectSame(mcus, Decode(60));
  EXPECT_EQ(result_, 0);

  EntropyDecoder reference;
  McuWorkspace scratch;
  ASSERT_TRUE(scratch.Allocate());
  scratch.blocksPerMcu = 4;
  reference.SetInput(data.data());
  reference.ResetForField(Description422());
  for (int m = 0; m < 60; ++m) ASSERT_EQ(reference.DecodeMcu(scratch), 0);
  EXPECT_EQ(decoder_->BytesConsumed(), reference.BytesConsumed());
}

TEST_P(EntropyDecoderClasses, BlockEndsWithoutEndOfBlockCode) {
  std::vector<Mcu> mcus(3);
  mcus[0].blocks[0][63] = -5;                // 62 zeros: three ZRLs, then run 14
  for (int k = 1; k < 64; ++k) mcus[0].blocks[1][k] = int16_t(k % 2 ? k : -k);
  mcus[1].blocks[2][63] = 1023;              // longest value at the last position
  mcus[2].blocks[3][1] = 1;                  // the rest of the block is one EOB
  mcus[2].blocks[0][0] = 7;
  Start(Encode(mcus));
  ExpectSame(mcus, Decode(3));
}

TEST_P(EntropyDecoderClasses, RunsThatReachTheEndFinishTheBlockWithoutValueBits) {
  BitWriter out;
  // Y left: coefficients up to 48, then a ZRL landing exactly on 64.
  PutDc(out, Luma(true), 4);
  for (int k = 1; k <= 48; ++k) PutAc(out, Luma(false), 0, 2);
  PutAc(out, Luma(false), 15, 0);
  // Y right: coefficient 62, then run 1 with size 1 reaching 64; its value bit is
  // never written and must not be read.
  PutDc(out, Luma(true), 0);
  PutAc(out, Luma(false), 15, 0), PutAc(out, Luma(false), 15, 0), PutAc(out, Luma(false), 15, 0);
  PutAc(out, Luma(false), 13, -3);
  out.Put(Luma(false)[0x11]);
  // Cb: the same in the chrominance table; Cr: DC only.
  PutDc(out, Chroma(true), -2);
  PutAc(out, Chroma(false), 15, 0), PutAc(out, Chroma(false), 15, 0), PutAc(out, Chroma(false), 15, 0);
  PutAc(out, Chroma(false), 13, 9);
  out.Put(Chroma(false)[0x11]);
  PutDc(out, Chroma(true), 1);
  out.Put(Chroma(false)[0x00]);
  // A second MCU proves the reader stayed in step.
  PutDc(out, Luma(true), 1), out.Put(Luma(false)[0x00]);
  PutDc(out, Luma(true), 1), out.Put(Luma(false)[0x00]);
  PutDc(out, Chroma(true), 0), out.Put(Chroma(false)[0x00]);
  PutDc(out, Chroma(true), 0), out.Put(Chroma(false)[0x00]);

  std::vector<Mcu> expected(2);
  expected[0].blocks[0][0] = 4;
  for (int k = 1; k <= 48; ++k) expected[0].blocks[0][k] = 2;
  expected[0].blocks[1][0] = 4, expected[0].blocks[1][62] = -3;
  expected[0].blocks[2][0] = -2, expected[0].blocks[2][62] = 9;
  expected[0].blocks[3][0] = 1;
  expected[1].blocks[0][0] = 5, expected[1].blocks[1][0] = 6;
  expected[1].blocks[2][0] = -2, expected[1].blocks[3][0] = 1;
  Start(out.Finish());
  ExpectSame(expected, Decode(2));
}

TEST_P(EntropyDecoderClasses, DcPredictionPerComponentResetOnlyPerField) {
  // Luminance differences +3 and 0 (category 0 keeps the predictor), Cb +1, Cr -1.
  BitWriter out;
  for (int m = 0; m < 3; ++m) {
    PutDc(out, Luma(true), 3), out.Put(Luma(false)[0x00]);
    PutDc(out, Luma(true), 0), out.Put(Luma(false)[0x00]);
    PutDc(out, Chroma(true), 1), out.Put(Chroma(false)[0x00]);
    PutDc(out, Chroma(true), -1), out.Put(Chroma(false)[0x00]);
  }
  const Bytes data = out.Finish();
  for (int field = 0; field < 2; ++field) {
    Start(data);
    const std::vector<Mcu> mcus = Decode(3);
    ASSERT_EQ(mcus.size(), 3u);
    for (int m = 0; m < 3; ++m) {
      EXPECT_EQ(mcus[m].blocks[0][0], 3 * (m + 1));
      EXPECT_EQ(mcus[m].blocks[1][0], 3 * (m + 1));
      EXPECT_EQ(mcus[m].blocks[2][0], m + 1);
      EXPECT_EQ(mcus[m].blocks[3][0], -(m + 1));
    }
  }
}

TEST_P(EntropyDecoderClasses, StuffedAndMarkerBytesBothReadAsFF) {
  // Luma DC category 9 with value 511 puts 0xFF into the second byte.
  BitWriter out;
  PutDc(out, Luma(true), 511), out.Put(Luma(false)[0x00]);
  PutDc(out, Luma(true), 0), out.Put(Luma(false)[0x00]);
  for (int b = 0; b < 2; ++b) PutDc(out, Chroma(true), 0), out.Put(Chroma(false)[0x00]);
  Bytes data = out.Finish();
  ASSERT_EQ(data[1], 0xFF);
  ASSERT_EQ(data[2], 0x00);

  for (uint8_t afterFF : {uint8_t(0x00), uint8_t(0xD0)}) {
    data[2] = afterFF;
    Start(data);
    EXPECT_EQ(decoder_->BytesConsumed(), 16u);
    const std::vector<Mcu> mcus = Decode(1);
    ASSERT_EQ(mcus.size(), 1u);
    EXPECT_EQ(mcus[0].blocks[0][0], 511);
    EXPECT_EQ(mcus[0].blocks[1][0], 511);
    // Three refills of two data bytes, one of them followed by the dropped byte.
    EXPECT_EQ(decoder_->BytesConsumed(), 16u + 7u);
  }
  // Without 0xFF the same three refills: the MCU's 20 bits count as six bytes.
  Start(Encode(std::vector<Mcu>(1)));
  ASSERT_EQ(Decode(1).size(), 1u);
  EXPECT_EQ(decoder_->BytesConsumed(), 16u + 6u);
}

TEST_P(EntropyDecoderClasses, UndecodableDataFails) {
  // Nine ones match no luminance DC code.
  Bytes ones = {0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00, 0xFF, 0x00};
  ones.resize(40, 0);
  Start(ones);
  EXPECT_EQ(decoder_->DecodeMcu(workspace_), kEntropyDecodeFailed);

  // Sixteen ones are the one luminance AC code Annex K leaves unused.
  BitWriter unused;
  PutDc(unused, Luma(true), 0);
  unused.Put(0xFFFF, 16);
  Start(unused.Finish());
  EXPECT_EQ(decoder_->DecodeMcu(workspace_), kEntropyDecodeFailed);

  // Eleven ones match no chrominance DC code.
  BitWriter chroma;
  for (int b = 0; b < 2; ++b) PutDc(chroma, Luma(true), 0), chroma.Put(Luma(false)[0x00]);
  chroma.Put(0x7FF, 11);
  Start(chroma.Finish());
  EXPECT_EQ(decoder_->DecodeMcu(workspace_), kEntropyDecodeFailed);
}

TEST_P(EntropyDecoderClasses, RunPastTheBlockStoresItsValueThenFails) {
  BitWriter out;
  PutDc(out, Luma(true), 0);
  PutAc(out, Luma(false), 15, 0), PutAc(out, Luma(false), 15, 0), PutAc(out, Luma(false), 15, 0);
  PutAc(out, Luma(false), 11, 1);  // position 60
  PutAc(out, Luma(false), 15, -1);  // position 76: in the next block's area
  Start(out.Finish());
  EXPECT_EQ(decoder_->DecodeMcu(workspace_), kEntropyDecodeFailed);
  EXPECT_EQ(workspace_.coefficients[60], 1);
  EXPECT_EQ(workspace_.coefficients[76], -1);
}

// A baseline 4:2:2 image from libjpeg's cjpeg, whose default tables are Annex K's:
// every MCU must decode, and coding the result again must give back its scan bytes.
TEST_P(EntropyDecoderClasses, DecodesCjpegScansBackToTheSameBytes) {
#ifdef _WIN32
  GTEST_SKIP() << "cjpeg is only used natively";
#else
  if (std::system("cjpeg -version >/dev/null 2>&1") != 0) GTEST_SKIP() << "cjpeg is not on PATH";
  const int width = 64, height = 48;
  for (const char* quality : {"100", "40"}) {
    // One name per test: ctest may run the classes in parallel.
    const std::string stem = ::testing::TempDir() + "entropy_oracle_" + std::to_string(GetParam());
    const std::string ppm = stem + ".ppm", jpeg = stem + ".jpg";
    {
      std::ofstream out(ppm, std::ios::binary);
      out << "P6\n" << width << " " << height << "\n255\n";
      std::mt19937 random(11);
      for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
          const bool noisy = (x / 16 + y / 8) % 2 == 0;  // noise beside smooth ramps
          for (int c = 0; c < 3; ++c) out.put(char(noisy ? random() % 256 : (x * 4 + y * c * 2) % 256));
        }
      }
    }
    const std::string command =
        "cjpeg -baseline -sample 2x1 -restart 0 -quality " + std::string(quality) + " " + ppm + " > " + jpeg;
    ASSERT_EQ(std::system(command.c_str()), 0);
    std::ifstream in(jpeg, std::ios::binary);
    const Bytes file((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::remove(ppm.c_str());
    std::remove(jpeg.c_str());

    size_t sos = 2;
    while (sos + 4 < file.size() && !(file[sos] == 0xFF && file[sos + 1] == 0xDA)) {
      sos += 2 + size_t(file[sos + 2] << 8 | file[sos + 3]);
    }
    ASSERT_LT(sos + 4, file.size());
    const size_t scan = sos + 2 + size_t(file[sos + 2] << 8 | file[sos + 3]);
    size_t end = scan;
    while (!(file[end] == 0xFF && file[end + 1] == 0xD9)) end += file[end] == 0xFF ? 2 : 1;
    const Bytes coded(file.begin() + long(scan), file.begin() + long(end));
    Bytes padded = coded;
    padded.resize(coded.size() + 32, 0);

    const int mcuCount = (width / 16) * (height / 8);
    Start(padded);
    const std::vector<Mcu> mcus = Decode(mcuCount);
    ASSERT_EQ(result_, 0) << "quality " << quality;
    ASSERT_EQ(int(mcus.size()), mcuCount);
    const Bytes again = Encode(mcus);
    EXPECT_EQ(Bytes(again.begin(), again.begin() + long(coded.size())), coded) << "quality " << quality;
  }
#endif
}

INSTANTIATE_TEST_SUITE_P(EntropyAllProcessorFlags, EntropyDecoderClasses, ::testing::ValuesIn(kAllFlags));

TEST(EntropyDecoderFactory, PicksTheClassOfTheSessionsSelectionRow) {
  const struct {
    int32_t flag;
    const std::type_info& type;
  } rows[] = {{0, typeid(EntropyDecoder)},          {1, typeid(EntropyDecoderMmx)},
              {3, typeid(EntropyDecoderMmx)},       {15, typeid(EntropyDecoderPredecoded)},
              {31, typeid(EntropyDecoderSse2)},     {135, typeid(EntropyDecoderAmd)},
              {143, typeid(EntropyDecoderAmd)},     {159, typeid(EntropyDecoder)},
              {-1, typeid(EntropyDecoder)},         {7, typeid(EntropyDecoder)}};
  for (const auto& row : rows) {
    const std::unique_ptr<EntropyDecoder> decoder = MakeEntropyDecoder(row.flag);
    EXPECT_EQ(typeid(*decoder), row.type) << "flag " << row.flag;
  }
}

}  // namespace
}  // namespace trvx
