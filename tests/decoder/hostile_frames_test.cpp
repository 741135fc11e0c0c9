// Frames no encoder would write, ending against an unreadable page: each ends in its
// result, never crashes or writes outside the bitmap, and the next good frame decodes.
// A larger picture than negotiated is declared only where decoding fails before any MCU.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <string>
#include <vector>

#include "decoder/decoder_session.h"
#include "platform/fault_guard.h"
#include "support/bitmap_header.h"
#include "support/fenced_buffer.h"
#include "support/field_frames.h"

namespace trvx::test {
namespace {

constexpr int kWidth = 64, kHeight = 32;
constexpr int32_t kError = -100;
constexpr uint8_t kUntouched = 0xA5;
constexpr std::size_t kImageBytes = kWidth * kHeight * 2, kGuardBytes = 4096;
const BitmapHeader kInput = Bitmap(kWidth, kHeight, 24, kCodecFourCc);
const BitmapHeader kOutput = Bitmap(kWidth, kHeight, 16, kYuy2FourCc);  // row r holds field r % 2

using Bytes = std::vector<uint8_t>;

class Session {
 public:
  explicit Session(ProcessorCountQuery processors) : session_(processors) {
    EXPECT_EQ(session_.Begin(&kInput, &kOutput), 0);
  }
  ~Session() { session_.End(); }

  int32_t Decode(const Bytes& frame) {
    bits_.assign(kImageBytes + kGuardBytes, kUntouched);
    const FencedBuffer fenced(frame.data(), frame.size());
    BitmapHeader input = kInput;
    input.sizeImage = uint32_t(frame.size());
    const uint8_t* data = fenced.data();
    const int32_t result =
        RunGuarded([&]() -> int32_t { return session_.DecompressFrame(&kOutput, bits_.data(), &input, data); });
    EXPECT_EQ(Bytes(bits_.begin() + kImageBytes, bits_.end()), Bytes(kGuardBytes, kUntouched))
        << "wrote past the bitmap";
    return result;
  }
  Bytes Rows(int field = -1) const {
    Bytes rows;
    for (int r = 0; r < kHeight; ++r) {
      if (field < 0 || r % 2 == field) rows.insert(rows.end(), &bits_[r * kWidth * 2], &bits_[(r + 1) * kWidth * 2]);
    }
    return rows;
  }
  bool Untouched(int field = -1) const { return Rows(field) == Bytes(Rows(field).size(), kUntouched); }

 private:
  DecoderSession session_;
  Bytes bits_;
};

Bytes Unpadded(const Frame& frame) { return Bytes(frame.bytes.begin(), frame.bytes.begin() + frame.length); }

// Without any APP1 marker a two-processor session finds the second field by scanning.
Bytes WithoutApp1(Bytes frame) {
  for (std::size_t i = 0; i + 1 < frame.size(); ++i) {
    if (frame[i] == 0xFF && frame[i + 1] == 0xE1) frame[i + 1] = 0xE2;
  }
  return frame;
}

std::size_t Find(const Bytes& bytes, uint8_t code, std::size_t from = 0) {
  for (std::size_t i = from; i + 1 < bytes.size(); ++i) {
    if (bytes[i] == 0xFF && bytes[i + 1] == code) return i;
  }
  ADD_FAILURE() << "no marker " << int(code);
  return from;
}

class HostileFrames : public testing::Test {
 protected:
  void SetUp() override {
    const std::string photo = FieldFrameSource::FindPhoto(kWidth, kHeight);
    if (photo.empty()) GTEST_SKIP() << "no photograph: install the mate-backgrounds package";
    const FieldFrameSource source(photo, kWidth, kHeight, 94);
    ASSERT_TRUE(source.ok()) << source.error();
    const Frame frame = source.Build(FrameVariant{});
    own_ = Unpadded(frame);
    firstFieldEnd_ = frame.firstFieldLength;
    // 4:2:0 with restarts, and chrominance finer than luminance (valid).
    Planes unused[2];
    const Layout layouts[] = {{"", 3, {{2, 2}, {1, 1}, {1, 1}}, 4, true, false},
                              {"", 3, {{1, 1}, {1, 2}, {1, 1}}, 0, false, false}};
    other_ = Unpadded(CompressWithLibjpeg(source.pictureRgb(), kWidth, kHeight, layouts[0], unused));
    finerChroma_ = Unpadded(CompressWithLibjpeg(source.pictureRgb(), kWidth, kHeight, layouts[1], unused));
    Session session(&OneProcessor);
    ASSERT_EQ(session.Decode(own_), 0);
    good_ = session.Rows();
    goodFirst_ = session.Rows(0);
  }
  std::size_t Data(int f) const {
    const std::size_t sos = Find(own_, 0xDA, f == 0 ? 0 : firstFieldEnd_);
    return sos + 2 + (own_[sos + 2] << 8 | own_[sos + 3]);
  }
  std::size_t End(int f) const { return (f == 0 ? firstFieldEnd_ : own_.size()) - 2; }

  Bytes own_, other_, finerChroma_, good_, goodFirst_;
  std::size_t firstFieldEnd_ = 0;
};

enum class Picture { Untouched, Good, FirstFieldOnly, Any };

TEST_F(HostileFrames, EachEndsAsDocumentedAndTheSessionDecodesTheNextGoodFrame) {
  using Edit = std::function<void(Bytes&)>;
  const Bytes& o = own_;
  const std::size_t dht = Find(other_, 0xC4), dqt = Find(other_, 0xDB), sof = Find(other_, 0xC0);
  const std::size_t sos = Find(other_, 0xDA), rst0 = Find(other_, 0xD0, sos);  // the last restart
  const std::size_t ownSof[2] = {Find(o, 0xC0), Find(o, 0xC0, firstFieldEnd_)}, ownDqt = Find(o, 0xDB);
  const std::size_t secondTable = ownDqt + 4 + 65, ownSos = Find(o, 0xDA);
  // The first DC table's codes made complete, which takes the all-ones code too.
  const Edit allOnesCode = [&](Bytes& b) {
    int symbols = 0;
    for (int length = 0; length < 16; ++length) symbols += b[dht + 5 + length];
    ASSERT_EQ(b[dht + 4] >> 4, 0) << "the first DHT table is a DC table";
    for (int length = 1; length <= 16; ++length) {
      b[dht + 4 + length] = length < symbols - 1 ? 1 : length == symbols - 1 ? 2 : 0;
    }
  };
  struct Case {
    const char* name;
    const Bytes& base;
    Edit edit;
    Picture picture = Picture::Untouched;
    int32_t result = kError;
  };
  const Case cases[] = {
      // Other producers' frames: refused before a pixel is written.
      {"more codes of a length than fit", other_, [&](Bytes& b) { b[dht + 5] = 2; }},
      {"a code of all ones", other_, allOnesCode},
      {"more symbols than the segment holds", other_, [&](Bytes& b) { b[dht + 20] = 200; }},
      {"Huffman table id 4", other_, [&](Bytes& b) { b[dht + 4] = 0x04; }},
      {"Huffman table class 2", other_, [&](Bytes& b) { b[dht + 4] = 0x20; }},
      {"quantisation table id 4", other_, [&](Bytes& b) { b[dqt + 4] = 0x04; }},
      {"16-bit quantisation table", other_, [&](Bytes& b) { b[dqt + 4] = 0x10; }},
      {"luma sampling 0", other_, [&](Bytes& b) { b[sof + 11] = 0x02; }},
      {"luma sampling 3", other_, [&](Bytes& b) { b[sof + 11] = 0x32; }},
      {"chroma factor not dividing luma's", other_, [&](Bytes& b) { b[sof + 14] = 0x12, b[sof + 11] = 0x21; }},
      {"four components", other_, [&](Bytes& b) { b[sof + 9] = 4; }},
      {"progressive", other_, [&](Bytes& b) { b[sof + 1] = 0xC2; }},
      {"arithmetic coding", other_, [&](Bytes& b) { b[sof + 1] = 0xC9; }},
      {"wider than the frame", other_, [&](Bytes& b) { b[sof + 7] = 0x02; }},
      {"scan of two components", other_, [&](Bytes& b) { b[sos + 4] = 2; }},
      {"scan selects table 3", other_, [&](Bytes& b) { b[sos + 6] = 0x33; }},
      {"spectral selection of a progressive scan", other_, [&](Bytes& b) { b[sos + 12] = 5; }},
      {"restart markers out of order", other_, [&](Bytes& b) { b[rst0 + 1] = 0xD1; }},
      {"restart marker missing", other_, [&](Bytes& b) { b[rst0 + 1] = 0x00; }},
      {"coded data cut short", other_, [&](Bytes& b) { b.resize((sos + rst0) / 2); }},
      {"cut short after the last restart", other_, [&](Bytes& b) { b.resize(rst0 + 8); }},
      {"image without a scan", other_, [&](Bytes& b) { b.resize(sos); }},
      {"chrominance finer than luminance", finerChroma_, [](Bytes&) {}},
      // The codec's own layout; bad sampling and ids go to the baseline path, which refuses them.
      {"huge size", o, [&](Bytes& b) { std::fill_n(&b[ownSof[0] + 5], 4, 0xFF); }},
      {"zero sampling", o,
       [&](Bytes& b) {
         for (std::size_t at : ownSof) b[at + 11] = b[at + 14] = b[at + 17] = 0;
       }},
      {"ids out of range", o,
       [&](Bytes& b) {
         for (std::size_t at : ownSof) b[at + 10] = 0, b[at + 13] = 4, b[at + 16] = 255;
       }},
      // Cb factors 12 x 3 ask for 39 blocks per MCU, more than the workspace holds.
      {"oversized MCU", o, [&](Bytes& b) { b[ownSof[0] + 14] = 0xC3; }},
      {"16-bit table", o, [&](Bytes& b) { b[ownDqt + 4] = 0x10; }},
      {"16-bit second table", o, [&](Bytes& b) { b[secondTable] = 0x11; }},
      {"one table", o, [&](Bytes& b) { b[secondTable] = 0x00; }},
      {"three tables", o, [&](Bytes& b) { b[secondTable] = 0x02; }},
      {"empty DQT", o, [&](Bytes& b) { b[ownDqt + 2] = 0, b[ownDqt + 3] = 2; }},
      // Nine ones match no DC code: a field of 0xFF bytes fails at its first block.
      {"field 0 undecodable", o, [&](Bytes& b) { std::fill(&b[Data(0)], &b[End(0)], 0xFF); }},
      {"field 1 undecodable", o, [&](Bytes& b) { std::fill(&b[Data(1)], &b[End(1)], 0xFF); }, Picture::FirstFieldOnly},
      {"stray scan header", o,
       [&](Bytes& b) {
         b.insert(b.begin() + long(End(0)), {0xFF, 0xDA, 0, 2});
       },
       Picture::Good, 0},
      {"SOS length 65535", o, [&](Bytes& b) { b[ownSos + 2] = b[ownSos + 3] = 0xFF; }, Picture::Any, 0},
  };
  for (const auto& c : cases) {
    Bytes frame = c.base;
    c.edit(frame);
    for (const bool scanning : {false, true}) {
      const std::string label = std::string(c.name) + (scanning ? ", scanning" : "");
      Session session(scanning ? &TwoProcessors : &OneProcessor);
      ASSERT_EQ(session.Decode(own_), 0);
      EXPECT_EQ(session.Decode(scanning ? WithoutApp1(frame) : frame), c.result) << label;
      if (!scanning) {
        EXPECT_TRUE(c.picture != Picture::Untouched || session.Untouched()) << label;
        EXPECT_TRUE(c.picture != Picture::Good || session.Rows() == good_) << label;
        EXPECT_TRUE(c.picture != Picture::FirstFieldOnly || (session.Rows(0) == goodFirst_ && session.Untouched(1)))
            << label;
      }
      EXPECT_EQ(session.Decode(own_), 0) << label;
      EXPECT_TRUE(session.Rows() == good_) << label << ", then a good frame";
    }
  }
}

// Every cut through the headers, then every third byte of the data, in fresh and reused sessions.
TEST_F(HostileFrames, TruncatedFramesEndInAResultAndTheSessionRecovers) {
  Session reused(&OneProcessor), scanning(&TwoProcessors);
  for (std::size_t cut = 0; cut < own_.size(); cut += cut < Data(1) + 8 ? 1 : 3) {
    const Bytes truncated(own_.begin(), own_.begin() + long(cut));
    Session fresh(&OneProcessor);
    const int32_t result = fresh.Decode(truncated);
    EXPECT_TRUE(result == 0 || result == kError) << "cut at " << cut << ": " << result;
    EXPECT_TRUE(cut >= Find(own_, 0xC0) || fresh.Untouched()) << "cut at " << cut << ": no picture size yet";
    EXPECT_EQ(scanning.Decode(WithoutApp1(truncated)), result) << "cut at " << cut << ", second field scanned for";
    EXPECT_EQ(reused.Decode(truncated), result) << "cut at " << cut << ", reused session";
  }
  EXPECT_EQ(reused.Decode(own_), 0);
  EXPECT_EQ(reused.Rows(), good_);
}

// Judged by the sanitizer build's leak checker.
TEST_F(HostileFrames, ThousandSessionsLeaveNothingBehind) {
  for (ProcessorCountQuery processors : {&OneProcessor, &TwoProcessors}) {
    DecoderSession session(processors);
    Bytes bits(kImageBytes);
    BitmapHeader input = kInput;
    input.sizeImage = uint32_t(own_.size());
    for (int cycle = 0; cycle < 1000; ++cycle) {
      ASSERT_EQ(session.Begin(&input, &kOutput), 0);
      ASSERT_EQ(session.DecompressFrame(&kOutput, bits.data(), &input, own_.data()), 0);
      ASSERT_EQ(session.End(), 0);
    }
  }
}

}  // namespace
}  // namespace trvx::test
