// Whole frames through the one-thread decoder session into a 64 x 32 RGB32 bitmap.
//
// The output converter places MCUs by the sizes the stream declares, not by the
// bitmap's, so a frame that declares another size writes outside any fixed bitmap by
// design. Inputs are therefore normalised first: every SOF0 the reader could find is
// made to declare 64 x 16 lines per field and luminance factors 2 x 1, and inputs
// whose first field has no SOF0 are skipped (the converter would then be set up for
// an empty picture and place field 1's MCUs above its first line). Chrominance
// factors stay arbitrary: frames of other shapes whose segments can be walked go to
// the baseline path (baseline_frame_fuzzer's), the rest through the entropy decoder
// and the transform without an output kernel. Everything else (tables, offsets,
// coded data) stays arbitrary too.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

#include "decoder/decoder_session.h"
#include "decoder/frame_reader.h"
#include "driver/formats.h"
#include "platform/fault_guard.h"

namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 32;
constexpr uint32_t kBytesPerPixel = 4;

uint32_t OneProcessor() { return 1; }

// Rewrites one SOF0 the way the reader walks it; true when something changed. One
// that does not fit before `end` is not read.
bool NormaliseFrameHeader(uint8_t* segment, const uint8_t* frameEnd) {
  if (frameEnd - segment < 10 || frameEnd - segment < 10 + 3 * segment[9]) return false;
  static const uint8_t kSize[4] = {0x00, kHeight / 2, 0x00, kWidth};
  bool changed = std::memcmp(segment + 5, kSize, sizeof kSize) != 0;
  std::memcpy(segment + 5, kSize, sizeof kSize);
  const uint8_t* end = segment + 10 + 3 * segment[9];
  for (uint8_t* record = segment + 10; record < end;) {
    const uint8_t id = record[0];
    if (id < 1 || id > 3) break;  // the reader re-reads this record and stores nothing
    if (id == 1) {
      changed |= record[1] != 0x21;
      record[1] = 0x21;
    }
    record += 3;
  }
  return changed;
}

// Any 0xFF 0xC0 counts: the reader may start a search at any byte.
bool Normalise(uint8_t* frame, size_t size) {
  for (int pass = 0; pass < 8; ++pass) {
    bool changed = false;
    for (size_t i = 0; i + 1 < size; ++i) {
      if (frame[i] == 0xFF && frame[i + 1] == 0xC0) changed |= NormaliseFrameHeader(frame + i, frame + size);
    }
    if (!changed) return true;
  }
  return false;
}

// The reader's own pairing of 0xFF bytes with the byte after them.
bool FirstFieldHasFrameHeader(const uint8_t* frame, size_t size) {
  for (uint32_t i = 0; i < trvx::kScanLimit && i + 1 < size;) {
    if (frame[i] != 0xFF) {
      ++i;
      continue;
    }
    if (frame[i + 1] == 0xC0) return i + 10 <= size && i + 10 + 3 * frame[i + 9] <= size;
    i += 2;
  }
  return false;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  // Exactly the frame's bytes, whose count the host passes in biSizeImage.
  if (size == 0) return 0;
  std::vector<uint8_t> frame(data, data + size);
  if (!Normalise(frame.data(), size) || !FirstFieldHasFrameHeader(frame.data(), size)) return 0;

  const trvx::BitmapHeader input = {40, kWidth, kHeight, 1, 24, trvx::kCodecFourCc, uint32_t(size), 0, 0, 0, 0};
  const trvx::BitmapHeader output = {40, kWidth, kHeight, 1, 32, 0, kWidth * kHeight * kBytesPerPixel, 0, 0, 0, 0};
  std::vector<uint8_t> bits(output.sizeImage, 0);
  trvx::DecoderSession session(&OneProcessor);
  if (session.Begin(&input, &output) != 0) __builtin_trap();
  // 16-bit tables and table counts other than two fault on purpose; the guard turns
  // them into the error every driver entry point returns for them.
  const int32_t result = trvx::RunGuarded(
      [&]() -> int32_t { return session.DecompressFrame(&output, bits.data(), &input, frame.data()); });
  if (result != 0 && result != -100) __builtin_trap();
  session.End();
  return 0;
}
