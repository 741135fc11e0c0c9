#include "encoder/header_writer.h"

#include "format/jpeg_syntax.h"

namespace trvx {

namespace {

constexpr uint32_t kApp0Scan = 65536;
constexpr uint32_t kSosLength = 14;

void Put16(uint8_t* at, uint32_t value) {
  at[0] = uint8_t(value >> 8);
  at[1] = uint8_t(value);
}

void Put32(uint8_t* at, uint32_t value) {
  Put16(at, value >> 16);
  Put16(at + 2, value);
}

// Appends bytes; each segment's length is filled in from what was actually written.
class SegmentWriter {
 public:
  explicit SegmentWriter(uint8_t* base) : base_(base) {}

  void Byte(uint32_t value) { base_[position_++] = uint8_t(value); }
  void Word(uint32_t value) {
    Byte(value >> 8);
    Byte(value);
  }
  void Text(const char (&text)[5]) {
    for (int i = 0; i < 4; ++i) Byte(uint8_t(text[i]));
  }
  void Zeros(uint32_t count) {
    for (uint32_t i = 0; i < count; ++i) Byte(0);
  }
  uint32_t BeginSegment(uint8_t marker) {
    const uint32_t start = position_;
    Byte(kMarkerPrefix);
    Byte(marker);
    Word(0);
    return start;
  }
  void EndSegment(uint32_t start) { Put16(base_ + start + 2, position_ - start - 2); }
  uint32_t Position() const { return position_; }

 private:
  uint8_t* base_;
  uint32_t position_ = 0;
};

}  // namespace

HeaderWriter::~HeaderWriter() = default;

uint32_t HeaderWriter::WriteHeaders(uint8_t* destination, const FrameDescription& description) {
  SegmentWriter out(destination);
  out.Byte(kMarkerPrefix);
  out.Byte(kSoi);

  uint32_t segment = out.BeginSegment(kApp0);
  out.Text("AVI1");
  out.Byte(description.fieldIndex + 1u);  // polarity: 1 for the first field image
  out.Byte(0);
  out.Zeros(8);  // both field sizes, patched by the trailer
  out.EndSegment(segment);

  app1Offset_ = out.BeginSegment(kApp1);
  out.Zeros(4);
  out.Text("mjpg");
  out.Zeros(32);  // sizes and offsets, patched by the trailer
  out.EndSegment(app1Offset_);

  segment = out.BeginSegment(kDri);
  out.Word(0);  // no restart markers
  out.EndSegment(segment);

  dqtOffset_ = out.BeginSegment(kDqt);
  for (uint32_t table = 0; table < description.quantTableCount; ++table) {
    out.Byte(table);  // 8-bit precision, destination `table`
    const uint16_t* entries = description.quantTables + table * kQuantTableEntries;
    for (int i = 0; i < kQuantTableEntries; ++i) out.Byte(entries[i] & 0xFF);  // 8-bit tables only
  }
  out.EndSegment(dqtOffset_);

  sof0Offset_ = out.BeginSegment(kSof0);
  out.Byte(8);
  out.Word(description.height / 2);  // the description holds the whole frame's height
  out.Word(description.width);
  out.Byte(3);
  const uint8_t components[3][3] = {{1, 0x21, 0}, {2, 0x11, 1}, {3, 0x11, 1}};
  for (const auto& component : components) {
    for (uint8_t byte : component) out.Byte(byte);
  }
  out.EndSegment(sof0Offset_);

  sosOffset_ = out.BeginSegment(kSos);
  out.Byte(3);
  const uint8_t selectors[3][2] = {{1, 0x00}, {2, 0x11}, {3, 0x11}};
  for (const auto& selector : selectors) {
    out.Byte(selector[0]);
    out.Byte(selector[1]);
  }
  out.Byte(0);
  out.Byte(63);
  out.Byte(0);
  out.EndSegment(sosOffset_);

  fieldStart_ = destination;
  headerLength_ = out.Position();
  return headerLength_;
}

uint32_t HeaderWriter::WriteTrailer(uint8_t* position, uint8_t fieldIndex) {
  position[0] = kMarkerPrefix;
  position[1] = kEoi;
  if (fieldStart_ == nullptr) return kTrailerBytes;
  const uint32_t size = uint32_t(position + kTrailerBytes - fieldStart_);

  // APP0 is looked for rather than assumed at offset 2; without one nothing is patched.
  for (uint32_t i = 0; i < kApp0Scan;) {
    if (fieldStart_[i] != kMarkerPrefix) {
      ++i;
      continue;
    }
    if (fieldStart_[i + 1] == kApp0) {
      Put32(fieldStart_ + i + 10, size);
      Put32(fieldStart_ + i + 14, size);
      break;
    }
    i += 2;
  }

  if (fieldIndex <= 1) {
    uint8_t* app1 = fieldStart_ + app1Offset_;
    Put32(app1 + 12, size);
    Put32(app1 + 16, size);  // never padded
    Put32(app1 + 20, fieldIndex == 0 ? size : 0);
    Put32(app1 + 24, dqtOffset_);
    Put32(app1 + 28, 0);  // no DHT
    Put32(app1 + 32, sof0Offset_);
    Put32(app1 + 36, sosOffset_);
    Put32(app1 + 40, sosOffset_ + kSosLength);
  }
  return kTrailerBytes;
}

}  // namespace trvx
