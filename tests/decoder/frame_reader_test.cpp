#include "decoder/frame_reader.h"

#include <gtest/gtest.h>

#include <iterator>
#include <vector>

#include "platform/fault_guard.h"
#include "support/fenced_buffer.h"

namespace trvx {
namespace {

using Bytes = std::vector<uint8_t>;

void Put16(Bytes& out, uint32_t v) { out.insert(out.end(), {uint8_t(v >> 8), uint8_t(v)}); }
void Put32(Bytes& out, uint32_t v) { Put16(out, v >> 16); Put16(out, v & 0xFFFF); }

// Entry k of table t in a field written by MakeField: distinct per table and seed.
uint8_t TableByte(int t, int k, int seed) { return uint8_t(1 + k + 64 * t + seed); }

constexpr uint32_t kEntropyStart = 237;  // SOS end in the encoder's layout

// One field image laid out as the encoder writes it.
Bytes MakeField(uint32_t width, uint32_t lines, int seed, uint32_t nextField, bool withApp1 = true) {
  Bytes f = {0xFF, 0xD8, 0xFF, 0xE0, 0, 16, 'A', 'V', 'I', '1', 2, 0};
  Put32(f, 0), Put32(f, 0);
  if (withApp1) {
    f.insert(f.end(), {0xFF, 0xE1, 0, 42, 0, 0, 0, 0, 'm', 'j', 'p', 'g'});
    for (uint32_t v : {0u, 0u, nextField, 70u, 0u, 204u, 223u, kEntropyStart}) Put32(f, v);
  } else {
    f.insert(f.end(), {0xFF, 0xFE, 0, 42}), f.resize(f.size() + 40);  // COM instead
  }
  f.insert(f.end(), {0xFF, 0xDD, 0, 4, 0, 0, 0xFF, 0xDB, 0, 132});
  for (int t = 0; t < 2; ++t) {
    f.push_back(uint8_t(t));
    for (int k = 0; k < 64; ++k) f.push_back(TableByte(t, k, seed));
  }
  f.insert(f.end(), {0xFF, 0xC0, 0, 17, 8}), Put16(f, lines), Put16(f, width);
  f.insert(f.end(), {3, 1, 0x21, 0, 2, 0x11, 1, 3, 0x11, 1});
  f.insert(f.end(), {0xFF, 0xDA, 0, 12, 3, 1, 0x00, 2, 0x11, 3, 0x11, 0, 63, 0});
  f.insert(f.end(), {0x12, 0xFF, 0x00, 0x34, 0x56, 0xFF, 0xD9});
  const uint32_t size = uint32_t(f.size());
  for (size_t at : {size_t(12), size_t(16), size_t(32), size_t(36)}) {
    for (int b = 0; b < 4; ++b) f[at + b] = uint8_t(size >> (24 - 8 * b));
  }
  if (!withApp1) return f;
  if (nextField != 0) nextField = size;
  for (int b = 0; b < 4; ++b) f[40 + b] = uint8_t(nextField >> (24 - 8 * b));
  return f;
}

// The reader is not told the frame's size, so give it all it may touch.
Bytes InWindow(const Bytes& image) {
  Bytes memory(image.size() + kFieldReadWindow, 0);
  std::copy(image.begin(), image.end(), memory.begin());
  return memory;
}

struct Reader {
  uint16_t tables[kQuantTableSlots * kQuantTableEntries];
  FrameDescription description;
  Reader() {
    std::fill(std::begin(tables), std::end(tables), uint16_t{0xBEEF});
    description.quantTables = tables;
  }
  uint32_t Read(const Bytes& memory, size_t from = 0) { return ReadFieldHeaders(memory.data() + from, kUnknownLength, description); }
};

TEST(FrameReader, ReadsTheEncoderLayoutAndLeavesFieldNumberingToTheSession) {
  Reader reader;
  reader.description.fieldCount = 2;
  reader.description.fieldIndex = 0;  // the AVI1 polarity byte says 2; it is not read
  EXPECT_EQ(reader.Read(InWindow(MakeField(720, 288, 0, 1))), kEntropyStart);
  const FrameDescription& d = reader.description;
  EXPECT_EQ(d.width, 720u);
  EXPECT_EQ(d.height, 288u);
  EXPECT_EQ(Bytes(d.sampling, d.sampling + 6), (Bytes{2, 1, 1, 1, 1, 1}));
  EXPECT_EQ(d.quantTableCount, 2);
  for (int t = 0; t < 2; ++t) {
    for (int k = 0; k < 64; ++k) ASSERT_EQ(d.quantTables[64 * t + k], TableByte(t, k, 0) * 8) << t << ' ' << k;
  }
  EXPECT_EQ(reader.tables[128], 0xBEEF) << "no third table was sent";
  EXPECT_EQ(d.fieldCount, 2);
  EXPECT_EQ(d.fieldIndex, 0);
}

TEST(FrameReader, MarkerPairingAndScanLimitDecideWhatIsFound) {
  auto sof = [](uint32_t width) {
    Bytes s = {0xFF, 0xC0, 0, 11, 8, 0, 8};
    Put16(s, width);
    s.insert(s.end(), {1, 1, 0x22, 0});
    return s;
  };
  auto widthFound = [&](Bytes prefix) {
    const Bytes s = sof(48);
    prefix.insert(prefix.end(), s.begin() + 1, s.end());  // the prefix supplies the 0xFF bytes
    Reader reader;
    reader.description.width = 1;
    EXPECT_EQ(reader.Read(InWindow(prefix)), 0u) << "no SOS anywhere";
    return reader.description.width;
  };
  EXPECT_EQ(widthFound({0xFF}), 48u);
  EXPECT_EQ(widthFound({0xFF, 0xFF}), 1u) << "0xFF 0xFF pair up and hide the marker";
  EXPECT_EQ(widthFound({0xFF, 0xFF, 0xFF}), 48u);
  EXPECT_EQ(widthFound({0x00, 0xFF, 0xE0, 0x40, 0x00, 0xFF}), 48u) << "segment lengths are not followed";

  Bytes atLimit(kScanLimit, 0x00), beforeLimit(kScanLimit - 1, 0x00);
  atLimit.push_back(0xFF), beforeLimit.push_back(0xFF);
  EXPECT_EQ(widthFound(beforeLimit), 48u) << "a marker whose 0xFF is the last byte scanned";
  EXPECT_EQ(widthFound(atLimit), 1u) << "beyond the scan limit";

  Bytes lateSos(kScanLimit, 0x00);
  lateSos.insert(lateSos.end(), {0xFF, 0xDA, 0, 12});
  Reader reader;
  EXPECT_EQ(reader.Read(InWindow(lateSos)), 0u);
}

TEST(FrameReader, OddOrMissingHeadersKeepWhatTheyDoNotState) {
  Reader reader;
  reader.Read(InWindow(MakeField(64, 16, 0, 1)));
  const FrameDescription before = reader.description;
  auto sameAsBefore = [&] {
    const FrameDescription& d = reader.description;
    return d.width == before.width && d.height == before.height &&
           Bytes(d.sampling, d.sampling + 6) == Bytes(before.sampling, before.sampling + 6) &&
           d.quantTables[0] == TableByte(0, 0, 0) * 8 && d.quantTables[127] == TableByte(1, 63, 0) * 8;
  };

  // Truncated after SOI and APP0: nothing to read, nothing changes.
  const Bytes field = MakeField(64, 16, 0, 1);
  EXPECT_EQ(reader.Read(InWindow(Bytes(field.begin(), field.begin() + 20))), 0u);
  EXPECT_TRUE(sameAsBefore());

  // Empty and negative-length DQT: count 1, tables untouched.
  for (uint8_t length : {2, 0}) {
    EXPECT_EQ(reader.Read(InWindow({0xFF, 0xDB, 0, length})), 0u);
    EXPECT_EQ(reader.description.quantTableCount, 1);
    EXPECT_TRUE(sameAsBefore()) << int(length);
  }

  // Unknown component ids store nothing; a leading one is re-read for every record.
  reader.Read(InWindow({0xFF, 0xC0, 0, 14, 8, 0, 16, 0, 64, 2, 4, 0x44, 0, 1, 0x12, 0}));
  EXPECT_TRUE(sameAsBefore());
  reader.Read(InWindow({0xFF, 0xC0, 0, 17, 8, 0, 16, 0, 64, 3, 3, 0x34, 0, 0, 0x44, 0, 1, 0x12, 0}));
  EXPECT_EQ(Bytes(reader.description.sampling, reader.description.sampling + 6), (Bytes{2, 1, 1, 1, 3, 4}))
      << "id 3 is stored; id 0 is then re-read instead of reaching id 1";

  // Count follows the last destination read, not the number of tables.
  Bytes twoTables = {0xFF, 0xDB, 0, 132, 1};
  twoTables.resize(twoTables.size() + 64, 5);
  twoTables.push_back(0);
  twoTables.resize(twoTables.size() + 64, 6);
  reader.Read(InWindow(twoTables));
  EXPECT_EQ(reader.description.quantTableCount, 1);
  EXPECT_EQ(reader.description.quantTables[0], 48);
  EXPECT_EQ(reader.description.quantTables[64], 40);
}

// Told where the frame ends, the searches stop there, the frame ending against an
// unreadable page: a segment cut by the end counts as missing, and a 0xFF as the
// last byte is not paired with what lies behind it.
TEST(FrameReader, SearchesStopAtTheFramesEnd) {
  const Bytes field = MakeField(64, 16, 0, 1);
  const size_t sofEnd = kEntropyStart - 14, sosLength = kEntropyStart - 12;
  for (size_t cut = 1; cut <= field.size(); ++cut) {
    const test::FencedBuffer fenced(field.data(), cut);
    ASSERT_NE(fenced.data(), nullptr);
    Reader reader;
    const uint32_t offset = ReadFieldHeaders(fenced.data(), uint32_t(cut), reader.description);
    EXPECT_EQ(offset, cut >= sosLength + 2 ? kEntropyStart : 0u) << "cut at " << cut;
    EXPECT_EQ(reader.description.width, cut >= sofEnd ? 64u : 0u) << "cut at " << cut;
    EXPECT_EQ(FindNextFieldOffset(fenced.data(), uint32_t(cut)), 0u) << "the offset lies beyond any cut";
  }
  const uint8_t trailingPrefix[] = {0x00, 0xFF};
  const test::FencedBuffer fenced(trailingPrefix, sizeof trailingPrefix);
  Reader reader;
  EXPECT_EQ(ReadFieldHeaders(fenced.data(), sizeof trailingPrefix, reader.description), 0u);
  EXPECT_EQ(FindNextFieldOffset(fenced.data(), sizeof trailingPrefix), 0u);
}

TEST(FrameReader, UnsupportedQuantTablesFaultDeliberately) {
  for (uint8_t pqTq : {0x03, 0x10, 0x04, 0x0F}) {
    Bytes dqt = {0xFF, 0xDB, 0, 67, pqTq};
    dqt.resize(dqt.size() + 128, 1);
    const Bytes memory = InWindow(dqt);
    Reader reader;
    const int32_t result = RunGuarded([&]() -> int32_t { return int32_t(reader.Read(memory)); });
    EXPECT_EQ(result, pqTq < 0x04 ? 0 : kFaultResult) << int(pqTq);
  }
}

}  // namespace
}  // namespace trvx
