// Frames that no encoder would write, decoded by the session on one thread: each must
// end with its documented result (0, ICERR_ERROR, or -100 from a deliberate fault
// behind the fault guard) and never crash or write outside the bitmap.
//
// The converter places MCUs by the size each SOF0 declares, and the bitmap only has
// room for the size the host negotiated, so hostile frames here never declare a
// larger picture unless their coded data fails before the first MCU is written.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "decoder/decoder_session.h"
#include "decoder/frame_reader.h"
#include "driver/formats.h"
#include "platform/fault_guard.h"
#include "settings/settings_record.h"
#include "support/field_frames.h"

namespace trvx::test {
namespace {

constexpr int kWidth = 64;
constexpr int kHeight = 32;
constexpr std::size_t kRowBytes = kWidth * 4;
constexpr std::size_t kImageBytes = kRowBytes * kHeight;
constexpr std::size_t kGuardBytes = 4096;
constexpr uint8_t kUntouched = 0xA5;
constexpr int32_t kError = -100;  // ICERR_ERROR, and what the guard makes of a fault

uint32_t OneProcessor() { return 1; }
uint32_t TwoProcessors() { return 2; }

// Field 0's coded data may start a scan window and a segment into the frame, and
// field 1's headers and data as far again behind it; a few MCUs of reading on top.
constexpr std::size_t kHostilePadding = 2 * kFieldReadWindow + 64 * 1024;

const BitmapHeader kInput = {40, kWidth, kHeight, 1, 24, kCodecFourCc, 0, 0, 0, 0, 0};
const BitmapHeader kOutput = {40, kWidth, kHeight, 1, 32, 0, uint32_t(kImageBytes), 0, 0, 0, 0};

// Without any APP1 marker: a two-processor session then finds the second field by
// scanning, and its result must be what the one-thread path gives for the frame. Only
// FindNextFieldOffset looks at that code byte.
std::vector<uint8_t> WithoutApp1(std::vector<uint8_t> frame) {
  for (std::size_t i = 0; i + 1 < frame.size(); ++i) {
    if (frame[i] == 0xFF && frame[i + 1] == 0xE1) frame[i + 1] = 0xE2;
  }
  return frame;
}

// A one-thread session with its bitmap, which is followed by guard bytes that must
// survive, and a two-processor twin that decodes every frame without its APP1.
class Decoder {
 public:
  Decoder() : session_(&OneProcessor), twin_(&TwoProcessors) {
    EXPECT_EQ(session_.Begin(&kInput, &kOutput), 0);
    EXPECT_EQ(twin_.Begin(&kInput, &kOutput), 0);
  }
  ~Decoder() {
    session_.End();
    twin_.End();
  }

  int32_t Decode(const std::vector<uint8_t>& frame) {
    const int32_t twinResult = DecodeIn(twin_, WithoutApp1(frame));
    const int32_t result = DecodeIn(session_, frame);
    EXPECT_EQ(twinResult, result) << "second field located by scanning";
    return result;
  }
  // Bottom-up RGB of two fields: memory row r holds field (r + 1) % 2's line (31 - r) / 2.
  std::vector<uint8_t> FieldRows(int field) const {
    std::vector<uint8_t> rows;
    for (int r = 1 - field; r < kHeight; r += 2) {
      rows.insert(rows.end(), bits_.begin() + r * kRowBytes, bits_.begin() + (r + 1) * kRowBytes);
    }
    return rows;
  }
  bool FieldUntouched(int field) const {
    const std::vector<uint8_t> rows = FieldRows(field);
    return std::all_of(rows.begin(), rows.end(), [](uint8_t b) { return b == kUntouched; });
  }
  bool AllUntouched() const { return FieldUntouched(0) && FieldUntouched(1); }

 private:
  int32_t DecodeIn(DecoderSession& session, const std::vector<uint8_t>& frame) {
    bits_.assign(kImageBytes + kGuardBytes, kUntouched);
    input_.assign(frame.size() + kHostilePadding, 0);
    std::copy(frame.begin(), frame.end(), input_.begin());
    BitmapHeader input = kInput;
    input.sizeImage = static_cast<uint32_t>(frame.size());
    const uint8_t* data = input_.data();
    const int32_t result =
        RunGuarded([&]() -> int32_t { return session.DecompressFrame(&kOutput, bits_.data(), &input, data); });
    EXPECT_TRUE(std::all_of(bits_.begin() + kImageBytes, bits_.end(), [](uint8_t b) { return b == kUntouched; }))
        << "wrote past the bitmap";
    return result;
  }

  DecoderSession session_;
  DecoderSession twin_;
  std::vector<uint8_t> bits_;
  std::vector<uint8_t> input_;
};

// The good frame and its two decoded fields; not ok without the photograph.
struct GoodFrame {
  Frame frame;
  std::vector<uint8_t> fields[2];
  bool ok = false;
};

const GoodFrame& Good() {
  static const GoodFrame good = [] {
    GoodFrame g;
    const std::string photo = FieldFrameSource::FindPhoto(kWidth, kHeight);
    if (photo.empty()) return g;
    const FieldFrameSource source(photo, kWidth, kHeight, 94);
    if (!source.ok()) return g;
    g.frame = source.Build(FrameVariant{});
    Decoder decoder;
    g.ok = decoder.Decode(g.frame.bytes) == 0;
    for (int f = 0; f < 2; ++f) g.fields[f] = decoder.FieldRows(f);
    return g;
  }();
  return good;
}

class HostileFrames : public testing::Test {
 protected:
  void SetUp() override {
    if (!Good().ok) GTEST_SKIP() << "no photograph: install the mate-backgrounds package";
  }

  static const std::vector<uint8_t>& GoodField(int field) { return Good().fields[field]; }

  // Offset of the first 0xFF code pair inside one field image of the good frame.
  std::size_t Find(int field, uint8_t code) const {
    const std::size_t begin = field == 0 ? 0 : frame_->firstFieldLength;
    for (std::size_t i = begin; i + 1 < FieldEnd(field); ++i) {
      if (frame_->bytes[i] == 0xFF && frame_->bytes[i + 1] == code) return i;
    }
    ADD_FAILURE() << "marker " << int(code) << " missing in field " << field;
    return begin;
  }
  std::size_t CodedData(int field) const {
    const std::size_t sos = Find(field, 0xDA);
    return sos + 2 + ((frame_->bytes[sos + 2] << 8) | frame_->bytes[sos + 3]);
  }
  std::size_t FieldEnd(int field) const { return field == 0 ? frame_->firstFieldLength : frame_->length; }

  const Frame* frame_ = &Good().frame;
};

TEST_F(HostileFrames, TruncatedFramesEndInAResultAndTheSessionRecovers) {
  // A cut inside the DQT can zero the second table's destination byte (one table: a
  // deliberate fault); anywhere else the zeros after the cut decode or fail.
  // Every cut through the headers, then every third byte of the coded data.
  Decoder reused;
  const std::size_t headersEnd = CodedData(1) + 8;
  for (std::size_t cut = 0; cut < frame_->length; cut += cut < headersEnd ? 1 : 3) {
    const std::vector<uint8_t> truncated(frame_->bytes.begin(), frame_->bytes.begin() + cut);
    Decoder fresh;
    const int32_t result = fresh.Decode(truncated);
    EXPECT_TRUE(result == 0 || result == kError) << "cut at " << cut << ": " << result;
    if (cut < Find(0, 0xC0)) {
      EXPECT_TRUE(fresh.AllUntouched()) << "cut at " << cut << ": no picture size yet";
    }

    const int32_t again = reused.Decode(truncated);
    EXPECT_TRUE(again == 0 || again == kError) << "cut at " << cut << ", reused session: " << again;
  }
  EXPECT_EQ(reused.Decode(frame_->bytes), 0);
  EXPECT_EQ(reused.FieldRows(0), GoodField(0));
  EXPECT_EQ(reused.FieldRows(1), GoodField(1));
}

TEST_F(HostileFrames, RandomFramesDecodeWithTheLastPictureSizeOrFail) {
  // Random bytes never carry an SOF0 here (see the top of the file), so they decode
  // with the size and sampling of the frame before them; random DQTs may fault.
  std::mt19937 random(20240611);
  Decoder decoder;
  ASSERT_EQ(decoder.Decode(frame_->bytes), 0);
  for (int n = 0; n < 300; ++n) {
    const std::size_t length = 1 + random() % (4 * frame_->length);
    std::vector<uint8_t> frame(length, 0);
    for (std::size_t i = 0; i < length; ++i) frame[i] = uint8_t(random() % 4 == 0 ? 0xFF : random());
    for (std::size_t i = 0; i + 1 < length; ++i) {
      if (frame[i] == 0xFF && frame[i + 1] == 0xC0) frame[i + 1] = 0xC1;
    }
    const int32_t result = decoder.Decode(frame);
    EXPECT_TRUE(result == 0 || result == kError) << "frame " << n << ": " << result;
  }
  EXPECT_EQ(decoder.Decode(frame_->bytes), 0) << "the session survives";
  EXPECT_EQ(decoder.FieldRows(0), GoodField(0));
}

TEST_F(HostileFrames, BadHuffmanCodesStopTheirFieldWithAnError) {
  // Nine ones match no DC code, so a run of 0xFF bytes fails at its first block.
  {
    std::vector<uint8_t> frame = frame_->bytes;
    std::fill(frame.begin() + CodedData(0), frame.begin() + FieldEnd(0) - 2, 0xFF);
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(frame), kError);
    EXPECT_TRUE(decoder.AllUntouched()) << "nothing before the first MCU, and field 1 is never reached";
  }
  {
    std::vector<uint8_t> frame = frame_->bytes;
    std::fill(frame.begin() + CodedData(1), frame.begin() + FieldEnd(1) - 2, 0xFF);
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(frame), kError);
    EXPECT_EQ(decoder.FieldRows(0), GoodField(0)) << "field 0 stays written";
    EXPECT_TRUE(decoder.FieldUntouched(1));
  }
  {
    // Bad from the middle of field 0: the MCUs before the damage stay in the output.
    std::vector<uint8_t> frame = frame_->bytes;
    const std::size_t middle = CodedData(0) + (FieldEnd(0) - CodedData(0)) / 2;
    std::fill(frame.begin() + middle, frame.begin() + FieldEnd(0) - 2, 0xFF);
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(frame), kError);
    const std::vector<uint8_t> written = decoder.FieldRows(0);
    const std::vector<uint8_t> good = GoodField(0);
    // Field line 0 is the last row of field 0's rows; its first MCU's 16 pixels.
    const std::size_t line0 = written.size() - kRowBytes;
    EXPECT_TRUE(std::equal(good.begin() + line0, good.begin() + line0 + 16 * 4, written.begin() + line0));
    EXPECT_TRUE(decoder.FieldUntouched(1));
  }
}

TEST_F(HostileFrames, AbsurdFrameHeadersDecodeAsDocumented) {
  auto withBytes = [](std::vector<std::pair<std::size_t, uint8_t>> edits) {
    std::vector<uint8_t> frame = Good().frame.bytes;
    for (const auto& [at, value] : edits) frame[at] = value;
    return frame;
  };
  const std::size_t sof[2] = {Find(0, 0xC0), Find(1, 0xC0)};
  const std::size_t dqt = Find(0, 0xDB);

  // 65535 x 65535 fields do not fit the host's bitmap: refused before any block.
  std::vector<uint8_t> huge = withBytes({{sof[0] + 5, 0xFF}, {sof[0] + 6, 0xFF}, {sof[0] + 7, 0xFF},
                                         {sof[0] + 8, 0xFF}});
  std::fill(huge.begin() + CodedData(0), huge.begin() + FieldEnd(0) - 2, 0xFF);
  {
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(huge), kError) << "huge size";
    EXPECT_TRUE(decoder.AllUntouched());
  }

  // Frames outside the codec's own layout go to the baseline path: zero sampling
  // factors and component ids the scan does not name fail there without a pixel
  // written, whatever the session saw before.
  {
    std::vector<uint8_t> zeroSampling = frame_->bytes, strangeIds = frame_->bytes;
    for (std::size_t at : {sof[0], sof[1]}) {
      const uint8_t ids[3] = {0, 4, 255};
      for (int c = 0; c < 3; ++c) zeroSampling[at + 11 + 3 * c] = 0x00, strangeIds[at + 10 + 3 * c] = ids[c];
    }
    for (const auto& [what, frame] : {std::pair{"zero sampling", zeroSampling}, std::pair{"ids out of range", strangeIds}}) {
      Decoder decoder;
      ASSERT_EQ(decoder.Decode(frame_->bytes), 0);
      EXPECT_EQ(decoder.Decode(frame), kError) << what;
      EXPECT_TRUE(decoder.AllUntouched()) << what;
    }
  }

  // Cb factors 12 x 3 ask for 39 blocks per MCU: more than the workspace holds, so
  // bad data rather than a write past it.
  {
    std::vector<uint8_t> frame = withBytes({{sof[0] + 14, 0xC3}});
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(frame), kError) << "oversized MCU";
    EXPECT_TRUE(decoder.AllUntouched());
  }

  // A 16-bit table faults while the headers are read; one or three tables fault at
  // the first dequantisation. The session decodes the next good frame all the same.
  const std::size_t secondTable = dqt + 4 + 65;
  const std::vector<std::pair<const char*, std::vector<uint8_t>>> faulting = {
      {"16-bit table", withBytes({{dqt + 4, 0x10}})},
      {"16-bit second table", withBytes({{secondTable, 0x11}})},
      {"one table", withBytes({{secondTable, 0x00}})},
      {"three tables", withBytes({{secondTable, 0x02}})},
      {"empty DQT", withBytes({{dqt + 2, 0x00}, {dqt + 3, 0x02}})},
  };
  for (const auto& [what, frame] : faulting) {
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(frame), kError) << what;
    EXPECT_TRUE(decoder.AllUntouched()) << what;
    EXPECT_EQ(decoder.Decode(frame_->bytes), 0) << what << ", then a good frame";
    EXPECT_EQ(decoder.FieldRows(1), GoodField(1)) << what << ", then a good frame";
  }

  // A stray scan header behind field 0's data, inside the lead the one-thread path
  // skips: the second field is still the one that path finds.
  {
    std::vector<uint8_t> frame = frame_->bytes;
    const uint8_t stray[] = {0xFF, 0xDA, 0x00, 0x02};
    frame.insert(frame.begin() + FieldEnd(0) - 2, std::begin(stray), std::end(stray));
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(frame), 0) << "stray scan header";
    EXPECT_EQ(decoder.FieldRows(1), GoodField(1));
  }

  // An SOS length that points far past the frame: the zeros there decode as data.
  {
    std::vector<uint8_t> frame = withBytes({{Find(0, 0xDA) + 2, 0xFF}, {Find(0, 0xDA) + 3, 0xFF}});
    Decoder decoder;
    EXPECT_EQ(decoder.Decode(frame), 0) << "SOS length 65535";
  }
}

// Judged by the leak checker of the sanitizer build: every Begin's allocations and
// the worker's resources must go at End.
TEST_F(HostileFrames, ThousandSessionsLeaveNothingBehind) {
  for (uint32_t (*processors)() : {&OneProcessor, &TwoProcessors}) {
    DecoderSession session(processors);
    std::vector<uint8_t> bits(kImageBytes);
    for (int cycle = 0; cycle < 1000; ++cycle) {
      ASSERT_EQ(session.Begin(&kInput, &kOutput), 0);
      ASSERT_EQ(session.DecompressFrame(&kOutput, bits.data(), &kInput, frame_->bytes.data()), 0);
      ASSERT_EQ(session.End(), 0);
    }
  }
}

}  // namespace
}  // namespace trvx::test
