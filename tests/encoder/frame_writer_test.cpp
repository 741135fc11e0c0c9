// Field images as the encoder writes them: header bytes and patched offsets, the code
// tables, bit packing, and whole fields read back by the codec's own decoder.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <iterator>
#include <random>
#include <string>
#include <typeinfo>
#include <vector>

#include "decoder/entropy_decoder.h"
#include "decoder/frame_reader.h"
#include "decoder/huffman_decoding_tables.h"
#include "encoder/entropy_writer.h"
#include "encoder/header_writer.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"
#include "support/kernel_variants.h"

namespace trvx {
namespace {

using Bytes = std::vector<uint8_t>;
using Block = std::vector<int16_t>;  // zig-zag order
using Mcu = std::vector<Block>;

// Where the segments lie in every header the writer produces.
constexpr uint32_t kApp1Offset = 20;
constexpr uint32_t kDqtOffset = 70;
constexpr uint32_t kSof0Offset = 204;
constexpr uint32_t kSosOffset = 223;

struct CodeTables {
  uint32_t luma[kHuffmanCodeTableEntries] = {}, chroma[kHuffmanCodeTableEntries] = {};
  CodeTables() { FillHuffmanCodeTables(luma, chroma); }
};
const CodeTables kTables;

// A field description as the session fills it; quantiser bytes 1, 2, 3, ... above 0x300.
struct FieldSetup {
  uint16_t quant[2 * kQuantTableEntries];
  FrameDescription description;
  FieldSetup(uint32_t width, uint32_t frameHeight, uint8_t fieldIndex, bool oneLumaBlock = false) {
    for (int i = 0; i < 2 * kQuantTableEntries; ++i) quant[i] = uint16_t(0x301 + i);
    const uint8_t sampling[2][kSamplingFactorCount] = {{2, 1, 1, 1, 1, 1}, {1, 1, 0, 0, 0, 0}};
    std::memcpy(description.sampling, sampling[oneLumaBlock], kSamplingFactorCount);
    description.fieldCount = 2;
    description.fieldIndex = fieldIndex;
    description.quantTables = quant;
    description.quantTableCount = 2;
    description.width = width;
    description.height = frameHeight;
    description.lumaCodeTable = kTables.luma;
    description.chromaCodeTable = kTables.chroma;
  }
};

Block DcOnly(int dc) {
  Block block(kBlockCoefficients, 0);
  block[0] = int16_t(dc);
  return block;
}

void Load(BlockBuffer& buffer, const Mcu& mcu) {
  if (buffer.coefficients == nullptr) {
    ASSERT_TRUE(buffer.Allocate());
  }
  for (size_t b = 0; b < mcu.size(); ++b) std::copy(mcu[b].begin(), mcu[b].end(), buffer.Block(int(b)));
}

// One field's entropy-coded data; expects every MCU to code.
Bytes CodeData(EntropyWriter& writer, const FrameDescription& description, const std::vector<Mcu>& mcus) {
  Bytes out(64 * 1024);
  BlockBuffer buffer;
  writer.SetOutput(out.data());
  writer.BeginField(description);
  for (const Mcu& mcu : mcus) {
    Load(buffer, mcu);
    EXPECT_EQ(writer.EncodeMcu(buffer), 0);
  }
  writer.Flush();
  out.resize(writer.BytesWritten());
  return out;
}

// '0'/'1' text packed MSB first with 0xFF stuffing and the last byte padded.
Bytes Pack(std::string bits, bool padWithOnes) {
  while (bits.size() % 8 != 0) bits += padWithOnes ? '1' : '0';
  Bytes out;
  for (size_t i = 0; i < bits.size(); i += 8) {
    out.push_back(uint8_t(std::stoi(bits.substr(i, 8), nullptr, 2)));
    if (out.back() == 0xFF) out.push_back(0);
  }
  return out;
}

uint32_t Be32(const uint8_t* at) { return uint32_t(at[0]) << 24 | uint32_t(at[1]) << 16 | at[2] << 8 | at[3]; }

std::string WriterName(const ::testing::TestParamInfo<int32_t>& info) {
  return info.param == kProcessorPlain      ? "Plain"
         : info.param == kProcessorIntelSse2 ? "Sse2"
         : info.param == kProcessorAmdSse2   ? "AmdSse2"
                                             : "Mmx";
}

TEST(HeaderWriter, WritesTheFixedLayoutAndPatchesItByFieldIndex) {
  for (uint8_t fieldIndex : {0, 1, 2}) {
    SCOPED_TRACE(int(fieldIndex));
    FieldSetup setup(720, 576, fieldIndex);
    setup.quant[0] = 0x1234;  // only the low byte goes out
    Bytes out(400, 0xEE);
    HeaderWriter headers;
    ASSERT_EQ(headers.WriteHeaders(out.data(), setup.description), kFieldHeaderLength);
    const Bytes app0 = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'A', 'V', 'I', '1', uint8_t(fieldIndex + 1), 0};
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 12), app0);
    const Bytes app1 = {0xFF, 0xE1, 0, 42, 0, 0, 0, 0, 'm', 'j', 'p', 'g'};
    EXPECT_EQ(Bytes(out.begin() + kApp1Offset, out.begin() + kApp1Offset + 12), app1);
    EXPECT_EQ(Bytes(out.begin() + 64, out.begin() + 75), (Bytes{0xFF, 0xDD, 0, 4, 0, 0, 0xFF, 0xDB, 0, 132, 0}));
    EXPECT_EQ(out[kDqtOffset + 5], 0x34);
    for (int i = 1; i < 2 * kQuantTableEntries; ++i) EXPECT_EQ(out[kDqtOffset + 5 + i + i / 64], uint8_t(i + 1)) << i;
    EXPECT_EQ(out[kDqtOffset + 69], 1);
    const Bytes sof0Sos = {0xFF, 0xC0, 0,    17,   8, 0x01, 0x20, 0x02, 0xD0, 3, 1,    0x21, 0,    2, 0x11, 1, 3,
                           0x11, 1,    0xFF, 0xDA, 0, 12,   3,    1,    0,    2, 0x11, 3,    0x11, 0, 63,   0, 0xEE};
    EXPECT_EQ(Bytes(out.begin() + kSof0Offset, out.begin() + kFieldHeaderLength + 1), sof0Sos);

    ASSERT_EQ(headers.WriteTrailer(out.data() + kFieldHeaderLength + 57, fieldIndex), kTrailerBytes);
    const uint32_t size = kFieldHeaderLength + 57 + 2;
    EXPECT_EQ(Be32(&out[size - 4]) & 0xFFFF, 0xFFD9u);
    EXPECT_EQ(Be32(&out[12]), size);
    EXPECT_EQ(Be32(&out[16]), size);
    // After "mjpg": sizes, next-field offset, DQT, DHT, SOF0, SOS and data offsets.
    const uint32_t app1Words[8] = {size,        size,       fieldIndex == 0 ? size : 0, kDqtOffset, 0,
                                   kSof0Offset, kSosOffset, kFieldHeaderLength};
    for (int i = 0; i < 8; ++i) {
      EXPECT_EQ(Be32(&out[kApp1Offset + 12 + 4 * i]), fieldIndex <= 1 ? app1Words[i] : 0) << "word " << i;
    }
  }
}

// The two-thread order: both headers, then both trailers.
TEST(HeaderWriter, OnlyTheImageWhoseHeadersCameLastIsPatched) {
  FieldSetup first(64, 32, 0), second(64, 32, 1);
  Bytes output(400, 0), scratch(400, 0);
  HeaderWriter headers;
  const uint32_t h = headers.WriteHeaders(output.data(), first.description);
  headers.WriteHeaders(scratch.data(), second.description);
  headers.WriteTrailer(output.data() + h + 10, 0);
  headers.WriteTrailer(scratch.data() + h + 20, 1);
  EXPECT_EQ(Bytes(output.begin() + 12, output.begin() + 20), Bytes(8, 0));
  EXPECT_EQ(Bytes(output.begin() + kApp1Offset + 12, output.begin() + 64), Bytes(32, 0));
  EXPECT_EQ(Be32(&scratch[12]), h + 22);
  EXPECT_EQ(Be32(&scratch[kApp1Offset + 12]), h + 22);
}

// One luminance block per MCU keeps the expected bits readable.
class EntropyWriterBits : public ::testing::TestWithParam<int32_t> {
 protected:
  Bytes Code(const std::vector<Mcu>& mcus) { return CodeData(*writer_, setup_.description, mcus); }
  bool PlainBytes() const { return GetParam() == kProcessorPlain || GetParam() == kProcessorAmdSse2; }
  Bytes Expect(const std::string& bits) const { return Pack(bits, PlainBytes()); }
  FieldSetup setup_{16, 16, 0, true};
  std::unique_ptr<EntropyWriter> writer_ = MakeEntropyWriter(GetParam());
};

const std::string kEob = "1010", kZrl = "11111111001";

TEST_P(EntropyWriterBits, CodesDcRunsZrlEndOfBlockAndCarriesPredictorsWithinAField) {
  EXPECT_EQ(Code({{DcOnly(0)}}), Expect("00" + kEob));
  Block block = DcOnly(-3);  // category 2, bits 00; then +1 and -2
  block[1] = 1;
  block[2] = -2;
  EXPECT_EQ(Code({{block}}), Expect("011" "00" "00" "1" "01" "01" + kEob));
  block = DcOnly(0);  // 16 zeros: one ZRL, then run 0
  block[17] = 1;
  EXPECT_EQ(Code({{block}}), Expect("00" + kZrl + "00" "1" + kEob));
  block = DcOnly(0);  // only the last coefficient: three ZRL, run 14, no EOB
  block[63] = 1;
  EXPECT_EQ(Code({{block}}), Expect("00" + kZrl + kZrl + kZrl + "1111111111101011" "1"));
  // The second MCU codes difference 0; a new field starts from 0 again.
  EXPECT_EQ(Code({{DcOnly(5)}, {DcOnly(5)}}), Expect("100" "101" + kEob + "00" + kEob));
  EXPECT_EQ(Code({{DcOnly(5)}}), Expect("100" "101" + kEob));
}

TEST_P(EntropyWriterBits, StuffsCodedAndPaddedFFBytes) {
  // DC 511: code 1111110 and nine 1-bits make the byte 0xFF.
  const Bytes coded = Code({{DcOnly(511)}});
  EXPECT_EQ(coded, Expect("1111110" "111111111" + kEob));
  EXPECT_EQ(Bytes(coded.begin() + 1, coded.begin() + 3), (Bytes{0xFF, 0x00}));
  // Five pending 1-bits: padded with ones they make a 0xFF that needs stuffing too.
  Block block = DcOnly(0);
  block[63] = 1023;
  const Bytes tail = Code({{block}});
  if (PlainBytes()) {
    EXPECT_EQ(Bytes(tail.end() - 2, tail.end()), (Bytes{0xFF, 0}));
  } else {
    EXPECT_EQ(tail.back(), 0xF8);
  }
}

TEST_P(EntropyWriterBits, ValuesWithoutCodeDropTheMcuOrFault) {
  FieldSetup full(16, 16, 0);
  Bytes out(256);
  BlockBuffer buffer;
  writer_->SetOutput(out.data());
  writer_->BeginField(full.description);
  Load(buffer, {DcOnly(2048), DcOnly(7), DcOnly(7), DcOnly(7)});
  EXPECT_EQ(writer_->EncodeMcu(buffer), kEncodeMcuFailed);
  Load(buffer, {DcOnly(1), DcOnly(7), DcOnly(7), DcOnly(7)});
  EXPECT_EQ(writer_->EncodeMcu(buffer), 0);
  writer_->Flush();
  out.resize(writer_->BytesWritten());
  // A DC difference of 2048 has no code: the MCU is dropped but its predictor kept.
  // From predictor 2048, -2047 is category 11 with all amplitude bits 0.
  const std::string chroma = "110" "111" "00";
  EXPECT_EQ(out, Expect("111111110" "00000000000" + kEob + "100" "110" + kEob + chroma + chroma));

  // An AC value beyond size 10 has no code either: a deliberate fault.
  out.assign(256, 0);
  for (int value : {1024, -1024, -32768, -1023}) {
    Block block = DcOnly(0);
    block[5] = int16_t(value);
    Load(buffer, {block});
    writer_->SetOutput(out.data());
    writer_->BeginField(setup_.description);
    EXPECT_EQ(RunGuarded([&]() -> int32_t { return writer_->EncodeMcu(buffer); }), value == -1023 ? 0 : kFaultResult)
        << value;
    writer_->Flush();
  }
}

INSTANTIATE_TEST_SUITE_P(EveryWriter, EntropyWriterBits,
                         ::testing::Values(kProcessorPlain, kProcessorIntelMmx, kProcessorIntelSse2, kProcessorAmdSse2),
                         WriterName);

TEST(EntropyWriterFactory, MmxWriterForTheMmxRowsOnly) {
  for (int32_t flag : {0, 1, 15, 31, 135, 159}) {
    const bool mmx = flag != 0 && flag != 159;
    const std::unique_ptr<EntropyWriter> writer = MakeEntropyWriter(flag);
    EXPECT_EQ(typeid(*writer) == typeid(EntropyWriterMmx), mmx) << flag;
    EXPECT_EQ(typeid(*writer) == typeid(EntropyWriterPlainSse2), flag == 159 && test::kVectorKernelsBuilt) << flag;
  }
}

// The mask decides which coefficients get coded; values with a zero low byte or only
// the sign bit set must count as non-zero.
TEST(NonZeroCoefficientMask, Sse2AgreesWithPlainOnSparseBlocks) {
#if defined(__i386__) || defined(__x86_64__)
  BlockBuffer buffer;
  ASSERT_TRUE(buffer.Allocate());
  std::mt19937 random(3);
  const int16_t values[] = {1, -1, 256, -256, -32768, 32767, 0x4000};
  for (int round = 0; round < 500; ++round) {
    for (int i = 0; i < kBlockCoefficients; ++i) {
      buffer.coefficients[i] = random() % (1 + round % 16) ? 0 : values[random() % std::size(values)];
    }
    ASSERT_EQ(NonZeroCoefficientMaskSse2(buffer.coefficients), NonZeroCoefficientMask(buffer.coefficients)) << round;
  }
#endif
}

struct NamedField {
  const char* name;
  std::vector<Mcu> mcus;
};

// Flat grey; and every AC symbol of both tables, so every code is tried, with DC
// differences of every category.
std::vector<NamedField> TestFields() {
  std::vector<NamedField> fields = {
      {"flat grey", std::vector<Mcu>(8, {DcOnly(-40), DcOnly(-40), DcOnly(0), DcOnly(0)})}, {"every symbol", {}}};

  const int dcSteps[] = {0, 1, -3, 6, -12, 25, -50, 100, -200, 400, -800, 1600, -1067};
  const size_t stepCount = std::size(dcSteps), symbolCount = 16 * kMaxAcSize;
  size_t next[2] = {}, step[3] = {};  // next symbol (luma, chroma); DC step per component
  int dc[3] = {};
  while (next[0] < symbolCount || next[1] < symbolCount || step[2] < stepCount) {
    Mcu mcu;
    for (int b = 0; b < 4; ++b) {
      const int component = b < 2 ? 0 : b - 1;
      dc[component] += dcSteps[step[component]++ % stepCount];
      Block block = DcOnly(dc[component]);
      size_t& at = next[b < 2 ? 0 : 1];
      for (int position = 1; at < symbolCount && position + int(at / kMaxAcSize) < 64; ++at) {
        const int run = int(at / kMaxAcSize), size = int(at % kMaxAcSize) + 1;
        position += run;
        block[size_t(position++)] = int16_t((run % 2 ? -1 : 1) * ((1 << size) - 1));
      }
      if (at == symbolCount) {
        block[40] = 3;  // after the symbols: ZRL runs, and a block ending at 63
        block[63] = -1;
      }
      mcu.push_back(block);
    }
    fields[1].mcus.push_back(mcu);
  }

  return fields;
}

// The vector writers' data is checked against this one's below.
TEST(FrameWriterRoundTrip, FrameReaderAndEntropyDecoderGiveBackTheCoefficients) {
  BuildHuffmanDecodingTables();
  for (const NamedField& field : TestFields()) {
    SCOPED_TRACE(field.name);
    const FieldSetup setup(64, 32, 1);
    Bytes image(64 * 1024 + kFieldReadWindow, 0);
    HeaderWriter headers;
    headers.WriteHeaders(image.data(), setup.description);
    EntropyWriter writer;
    const Bytes data = CodeData(writer, setup.description, field.mcus);
    std::copy(data.begin(), data.end(), image.begin() + kFieldHeaderLength);
    headers.WriteTrailer(image.data() + kFieldHeaderLength + data.size(), 1);

    uint16_t readTables[kQuantTableSlots * kQuantTableEntries] = {};
    FrameDescription read;
    read.quantTables = readTables;
    ASSERT_EQ(ReadFieldHeaders(image.data(), kUnknownLength, read), kFieldHeaderLength);
    for (int i = 0; i < 2 * kQuantTableEntries; ++i) ASSERT_EQ(readTables[i], (setup.quant[i] & 0xFF) * 8) << i;

    SetHuffmanDecodingTables(read);
    const std::unique_ptr<EntropyDecoder> decoder = MakeEntropyDecoder(kProcessorPlain);
    decoder->ResetForField(read);
    decoder->SetInput(image.data() + kFieldHeaderLength, nullptr);
    McuWorkspace workspace;
    ASSERT_TRUE(workspace.Allocate());
    workspace.blocksPerMcu = 4;
    // The decoder hands coefficients on dequantised and in natural order.
    static const std::vector<int> natural = test::ZigzagToNatural();
    for (size_t m = 0; m < field.mcus.size(); ++m) {
      ASSERT_EQ(decoder->DecodeMcu(workspace), 0) << "MCU " << m;
      for (int b = 0; b < 4; ++b) {
        Block expected(64);
        for (int z = 0; z < 64; ++z) {
          const uint16_t entry = readTables[(b < 2 ? 0 : kQuantTableEntries) + z];
          expected[size_t(natural[z])] = int16_t(uint16_t(field.mcus[m][size_t(b)][size_t(z)]) * entry);
        }
        ASSERT_EQ(Block(workspace.Block(b), workspace.Block(b) + 64), expected) << m << ", " << b;
      }
    }
  }
}

// Class 159 must write class 0's bytes, across MCUs and fields, and also at a fault,
// where the output so far and the pending bits that the next MCU or field goes on
// from must be the same. Fields without a ZRL code and AC values without a code fault;
// DC jumps without a code drop MCUs.
TEST(EntropyWriterPadding, AmdSse2WriterWritesThePlainBytesAlsoAroundFaults) {
  if (!test::Sse2KernelsRun()) GTEST_SKIP() << "no SSE2";
  CodeTables noZrl;
  noZrl.luma[AcCodeIndex(0, 15)] = noZrl.chroma[AcCodeIndex(0, 15)] = 0;
  FieldSetup setup(64, 32, 0);
  EntropyWriter plain;
  const std::unique_ptr<EntropyWriter> twin = MakeEntropyWriter(kProcessorAmdSse2);
  Bytes expected(1 << 20, 0xAA), actual(expected);
  plain.SetOutput(expected.data());
  twin->SetOutput(actual.data());
  const auto same = [&] {
    ASSERT_EQ(twin->BytesWritten(), plain.BytesWritten());
    ASSERT_TRUE(std::equal(expected.begin(), expected.begin() + plain.BytesWritten() + 8, actual.begin()));
  };
  BlockBuffer buffer;
  ASSERT_TRUE(buffer.Allocate());
  test::Lcg random{5};
  int dc = 0, faults = 0, dropped = 0;
  for (int field = 0; field < 60; ++field) {
    SCOPED_TRACE("field " + std::to_string(field));
    setup.description.lumaCodeTable = field % 6 == 5 ? noZrl.luma : kTables.luma;
    setup.description.chromaCodeTable = field % 6 == 5 ? noZrl.chroma : kTables.chroma;
    plain.BeginField(setup.description);
    twin->BeginField(setup.description);
    for (int mcu = 0; mcu < 40; ++mcu) {
      for (int b = 0; b < 4; ++b) {
        int16_t* block = buffer.Block(b);
        dc = random.Next(0, 30) ? dc + random.Next(-200, 200) : random.Next(-32768, 32767);
        block[0] = int16_t(dc);
        // Sparse and mostly small; one value in 2000 is any word, most of those without a code.
        const int density = random.Next(1, 40);
        for (int k = 1; k < 64; ++k) {
          const bool wild = random.Next(0, 1999) == 0;
          const int value = wild ? random.Next(-32768, 32767) : random.Next(-1023, 1023) >> random.Next(0, 9);
          block[k] = int16_t(random.Next(0, 99) < density ? value : 0);
        }
      }
      // A dropped MCU gives 1 here, a fault kFaultResult.
      const int32_t result = RunGuarded([&] { return int32_t{plain.EncodeMcu(buffer) != 0}; });
      ASSERT_EQ(RunGuarded([&] { return int32_t{twin->EncodeMcu(buffer) != 0}; }), result);
      faults += result == kFaultResult;
      dropped += result == 1;
      if (result == kFaultResult) {
        SCOPED_TRACE("fault in MCU " + std::to_string(mcu));
        same();
      }
    }
    plain.Flush();
    twin->Flush();
    same();
  }
  EXPECT_GT(faults, 50);
  EXPECT_GT(dropped, 50);
}

TEST(EntropyWriterPadding, PlainAndVectorWritersDifferOnlyInThePaddingBits) {
  const FieldSetup setup(64, 32, 0);
  for (const NamedField& field : TestFields()) {
    for (int32_t flag : {kProcessorIntelMmx, kProcessorIntelSse2}) {
      SCOPED_TRACE(std::string(field.name) + " flag " + std::to_string(flag));
      EntropyWriter plain;
      Bytes ones = CodeData(plain, setup.description, field.mcus);
      const Bytes zeros = CodeData(*MakeEntropyWriter(flag), setup.description, field.mcus);
      if (ones.size() == zeros.size() + 1 && ones.back() == 0) ones.pop_back();  // a padded, stuffed 0xFF
      ASSERT_EQ(ones.size(), zeros.size());
      ASSERT_FALSE(zeros.empty());
      EXPECT_TRUE(std::equal(ones.begin(), ones.end() - 1, zeros.begin()));
      const uint8_t padding = ones.back() ^ zeros.back();
      EXPECT_EQ(ones.back() & padding, padding);
      EXPECT_EQ(zeros.back() & padding, 0);
      EXPECT_EQ(padding & (padding + 1), 0) << "padding is a run of low bits";
    }
  }
}

}  // namespace
}  // namespace trvx
