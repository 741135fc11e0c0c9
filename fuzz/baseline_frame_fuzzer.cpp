// Whole frames outside the codec's own layout through a decoder session, on one and
// on two threads, into a 64 x 32 bitmap of RGB32 or YUY2, each frame in a buffer of
// exactly its size. A frame the baseline path refuses must leave every byte of the
// bitmap as it was; frames the codec's own reader takes are another fuzzer's.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <vector>

#include "decoder/baseline_frames.h"
#include "decoder/decoder_session.h"
#include "driver/formats.h"

namespace {

constexpr int32_t kWidth = 64;
constexpr int32_t kHeight = 32;
constexpr uint8_t kUntouched = 0xA5;

uint32_t OneProcessor() { return 1; }
uint32_t TwoProcessors() { return 2; }

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (size < 2) return 0;
  // The last byte picks the output and the thread count; the frame is the rest.
  const uint8_t choice = data[size - 1];
  const std::vector<uint8_t> frame(data, data + size - 1);
  const bool yuv = (choice & 1) != 0;
  const trvx::BitmapHeader input = {40, kWidth, kHeight, 1, 24, trvx::kCodecFourCc, uint32_t(frame.size()), 0, 0, 0, 0};
  const trvx::BitmapHeader output = {40,  kWidth, kHeight, 1, uint16_t(yuv ? 16 : 32), yuv ? trvx::kYuy2FourCc : 0u,
                                     uint32_t(kWidth * kHeight * (yuv ? 2 : 4)), 0, 0, 0, 0};
  trvx::BaselineFrames probe;
  if (!probe.TakesFrame(frame.data(), frame.data() + frame.size(), output)) return 0;

  std::vector<uint8_t> bits(output.sizeImage + 64, kUntouched);
  trvx::DecoderSession session((choice & 2) != 0 ? &TwoProcessors : &OneProcessor);
  if (session.Begin(&input, &output) != 0) __builtin_trap();
  // Nothing on this path faults on purpose, so no guard: a fault is a crash here.
  const int32_t result = session.DecompressFrame(&output, bits.data(), &input, frame.data());
  session.End();
  if (result != 0 && result != -100) __builtin_trap();
  const auto untouched = [](uint8_t b) { return b == kUntouched; };
  if (!std::all_of(bits.begin() + output.sizeImage, bits.end(), untouched)) __builtin_trap();
  if (result != 0 && !std::all_of(bits.begin(), bits.end(), untouched)) __builtin_trap();
  return 0;
}
