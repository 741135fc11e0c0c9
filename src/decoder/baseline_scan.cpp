#include "decoder/baseline_scan.h"

#include <cstring>

#include "decoder/bit_window.h"
#include "format/jpeg_syntax.h"

namespace trvx {

namespace {

// Reads entropy-coded bytes up to the first marker or `end`, whichever comes first,
// and zero bits after it, as libjpeg does; bits taken from that zero fill mean the
// data ran out.
class ScanBitReader : public BitWindow {
 public:
  // Without an end (the host gave no frame size) only markers stop the reading, so it
  // goes a byte at a time: a word could reach past the frame's EOI.
  ScanBitReader(const uint8_t* data, const uint8_t* end)
      : BitWindow{0, 0}, position_(data), end_(end != nullptr ? uintptr_t(end) : ~uintptr_t(0)), wordEnd_(uintptr_t(end)) {}

  // At least kWordBits - 8 bits in the buffer afterwards.
  void Fill() {
    if (count > kWordBits - 8) return;
    if (!atMarker_ && uintptr_t(position_) + sizeof(BitWord) <= wordEnd_) {
      const BitWord window = LoadBigEndian(position_);
      if (!HoldsMarkerPrefix(window)) {
        position_ += TakeWord(window);
        return;
      }
    }
    while (count <= kWordBits - 8) TakeByte(NextByte());
  }
  // `size` bits (at most 15, with enough in the buffer) by the EXTEND rule.
  int32_t Receive(uint32_t size) {
    if (size == 0) return 0;
    const int32_t bits = int32_t(Peek(size));
    Skip(size);
    return bits < (1 << (size - 1)) ? bits - (1 << size) + 1 : bits;
  }
  bool RanOut() const { return zeroBits_ > count; }

  // Drops what is left of the interval and the restart marker that must follow it.
  bool Restart(uint8_t expectedCode) {
    if (RanOut()) return false;
    buffer = 0;
    count = 0;
    zeroBits_ = 0;
    // A stream may leave bytes before the marker; they are not data.
    while (!atMarker_ && uintptr_t(position_) < end_) NextByte();
    if (!atMarker_ || marker_ != expectedCode) return false;
    position_ += 2;
    atMarker_ = false;
    return true;
  }

 private:
  uint8_t NextByte() {
    if (!atMarker_ && uintptr_t(position_) < end_) {
      const uint8_t byte = *position_;
      if (byte != 0xFF) {
        ++position_;
        return byte;
      }
      // Fill bytes 0xFF may run up to a marker; 0xFF 0x00 is a data byte 0xFF.
      const uint8_t* next = position_ + 1;
      while (uintptr_t(next) < end_ && *next == 0xFF) ++next;
      if (uintptr_t(next) < end_ && *next == 0x00) {
        position_ = next + 1;
        return 0xFF;
      }
      atMarker_ = true;
      marker_ = uintptr_t(next) < end_ ? *next : 0;
      position_ = next - 1;
    }
    zeroBits_ += 8;
    return 0;
  }

  uint32_t zeroBits_ = 0;
  const uint8_t* position_;
  uintptr_t end_;
  uintptr_t wordEnd_;  // 0 when words may not be read
  bool atMarker_ = false;
  uint8_t marker_ = 0;
};

constexpr int32_t kBadCode = -1;

// The next symbol of the table, or kBadCode; the buffer holds at least 16 bits.
int32_t DecodeSymbol(ScanBitReader& reader, const HuffmanLookup& table) {
  const uint32_t entry = table.fast[reader.Peek(HuffmanLookup::kFastBits)];
  if (entry != 0) {
    reader.Skip(entry >> 8);
    return int32_t(entry & 0xFF);
  }
  const int32_t bits16 = int32_t(reader.Peek(16));
  uint32_t length = HuffmanLookup::kFastBits + 1;
  int32_t code = bits16 >> (16 - length);
  while (code > table.maxCode[length]) {
    if (++length > 16) return kBadCode;
    code = bits16 >> (16 - length);
  }
  reader.Skip(length);
  return table.symbols[(code + table.symbolOffset[length]) & 0xFF];
}

struct ComponentTables {
  const HuffmanLookup* dc;
  const HuffmanLookup* ac;
  const uint16_t* quant;
};

// One block into `block`, cleared beforehand; products wrap to 16 bits like the own
// decoder's.
bool DecodeBlock(ScanBitReader& reader, const ComponentTables& tables, int32_t& predictor, int16_t* block) {
  reader.Fill();
  const int32_t category = DecodeSymbol(reader, *tables.dc);
  if (category < 0) return false;
  if (reader.count < uint32_t(category)) reader.Fill();
  predictor += reader.Receive(uint32_t(category));
  block[0] = int16_t(uint32_t(predictor) * tables.quant[0]);
  for (uint32_t k = 1; k < kBlockCoefficients; ++k) {
    reader.Fill();
    const int32_t symbol = DecodeSymbol(reader, *tables.ac);
    if (symbol < 0) return false;
    const uint32_t run = uint32_t(symbol) >> 4;
    const uint32_t size = uint32_t(symbol) & 15;
    if (size == 0) {
      if (run != 15) break;  // end of block
      k += 15;
      continue;
    }
    k += run;
    if (k >= kBlockCoefficients) return false;
    if (reader.count < size) reader.Fill();
    block[kNaturalOrder[k]] = int16_t(uint32_t(reader.Receive(size)) * tables.quant[k]);
  }
  return true;
}

}  // namespace

bool ImagePlanes::Prepare(const BaselineImage& image) {
  count = image.componentCount;
  const BaselineComponent& luma = image.components[0];
  // A single component is scanned one block at a time, whatever its factors.
  const uint32_t hMax = count == 1 ? 1 : luma.h;
  const uint32_t vMax = count == 1 ? 1 : luma.v;
  mcuColumns = (image.width + 8 * hMax - 1) / (8 * hMax);
  mcuRows = (image.height + 8 * vMax - 1) / (8 * vMax);
  std::size_t blocks = 0;
  for (int c = 0; c < count; ++c) {
    ComponentPlane& plane = planes[c];
    plane.h = count == 1 ? 1 : image.components[c].h;
    plane.v = count == 1 ? 1 : image.components[c].v;
    plane.blocksPerRow = mcuColumns * plane.h;
    plane.blockRows = mcuRows * plane.v;
    plane.width = (image.width * plane.h + hMax - 1) / hMax;
    plane.height = (image.height * plane.v + vMax - 1) / vMax;
    blocks += std::size_t{plane.blocksPerRow} * plane.blockRows;
  }
  const std::size_t bytes = blocks * kBlockCoefficients * sizeof(int16_t);
  if (bytes > capacity) {
    storage.Allocate(bytes);
    capacity = storage.empty() ? 0 : bytes;
    if (storage.empty()) return false;
  }
  int16_t* next = reinterpret_cast<int16_t*>(storage.data());
  for (int c = 0; c < count; ++c) {
    planes[c].blocks = next;
    next += std::size_t{planes[c].blocksPerRow} * planes[c].blockRows * kBlockCoefficients;
  }
  return true;
}

int32_t DecodeBaselineScan(const BaselineImage& image, const BaselineTables& tables, const uint8_t* coded,
                           const uint8_t* end, ReconstructKernel reconstruct, ImagePlanes& planes) {
  ComponentTables componentTables[kMaxComponents];
  for (int c = 0; c < planes.count; ++c) {
    const BaselineComponent& component = image.components[c];
    componentTables[c] = {&tables.dc[component.dcTable], &tables.ac[component.acTable],
                          tables.quant[component.quantTable]};
  }
  ScanBitReader reader(coded, end);
  int32_t predictors[kMaxComponents] = {};
  McuWorkspace run;  // a view of the blocks of one MCU row of one component
  uint32_t mcusLeft = image.restartInterval;
  uint32_t restarts = 0;
  for (uint32_t mcuRow = 0; mcuRow < planes.mcuRows; ++mcuRow) {
    for (uint32_t mcuColumn = 0; mcuColumn < planes.mcuColumns; ++mcuColumn) {
      if (image.restartInterval != 0) {
        if (mcusLeft == 0) {
          if (!reader.Restart(uint8_t(kFirstRestart + (restarts++ & 7)))) return kScanFailed;
          for (int32_t& predictor : predictors) predictor = 0;
          mcusLeft = image.restartInterval;
        }
        --mcusLeft;
      }
      for (int c = 0; c < planes.count; ++c) {
        const ComponentPlane& plane = planes.planes[c];
        for (uint32_t y = 0; y < plane.v; ++y) {
          int16_t* first = plane.blocks + ((std::size_t{mcuRow} * plane.v + y) * plane.blocksPerRow +
                                           std::size_t{mcuColumn} * plane.h) * kBlockCoefficients;
          std::memset(first, 0, plane.h * kBlockCoefficients * sizeof(int16_t));
          for (uint32_t x = 0; x < plane.h; ++x) {
            if (!DecodeBlock(reader, componentTables[c], predictors[c], first + x * kBlockCoefficients)) {
              return kScanFailed;
            }
          }
          run.coefficients = first;
          run.blocksPerMcu = plane.h;
          reconstruct(run);
        }
      }
    }
  }
  return reader.RanOut() ? kScanFailed : kScanDecoded;
}

}  // namespace trvx
