// The RGB kernels of the MMX, SSE and SSE2 paths (samples x 16), written once over a
// vector policy for width, chroma doubling and stores. Only those files include it; all
// here has internal linkage but the kernels its closing macro defines in each.
#pragma once

#include <cstdint>

namespace trvx {
namespace {

// Samples are taken x 4 so that (s x 4 x c) >> 16 keeps enough bits; with x 16 input
// these are 1.16394 Y, 130.75, 1.59607 Cr, 0.39172 Cb, 0.81299 Cr and 2.01721 Cb.
enum Colour { kLuma, kLumaOffset, kCrToRed, kCbToGreen, kCrToGreen, kCbToBlue, kColourCount };
alignas(16) const int16_t kColour[kColourCount][8] = {
    {9535, 9535, 9535, 9535, 9535, 9535, 9535, 9535},
    {1046, 1046, 1046, 1046, 1046, 1046, 1046, 1046},
    {13075, 13075, 13075, 13075, 13075, 13075, 13075, 13075},
    {-3209, -3209, -3209, -3209, -3209, -3209, -3209, -3209},
    {-6660, -6660, -6660, -6660, -6660, -6660, -6660, -6660},
    {16525, 16525, 16525, 16525, 16525, 16525, 16525, 16525},
};

// Where pixel x (0-15) of a row stands: the left luminance block, then the right.
constexpr int LumaColumn(int x) { return (x & 7) + 64 * (x >> 3); }

// Vectors of a policy V, named rather than in arrays: GCC copies __m64 array elements
// through integer registers and the stack.
template <class V>
struct Halves {
  typename V::Vector low, high;
};
template <class V>
struct Channels {
  typename V::Vector b, g, r;
};
template <class V>
struct Pixels {
  typename V::Vector p0, p1, p2, p3;
};

// V, the policy: a Vector of kWords words. Scaled gives (samples x 4 x colour) >> 16,
// Narrow words >> 3 saturated to bytes, Doubled each word twice, Bytes and Words the
// interleaved halves, CloseUp the pixel pair in each 8-byte lane as six bytes at the
// low end, Up and Down whole-vector shifts by bytes.

// A group is 2 x kWords pixels of a row with the kWords chroma words they share; their
// B, G and R bytes.
template <class V>
__attribute__((always_inline)) inline Channels<V> ConvertGroup(const int16_t* line, int group) {
  using Vector = typename V::Vector;
  constexpr int kWords = V::kWords;
  // Groups start on pixel 0 or 8, where LumaColumn is this: a pointer step.
  const int16_t* luma = line + 16 * kWords * group;
  const int16_t* cb = line + 128 + kWords * group;
  const int16_t* cr = line + 192 + kWords * group;
  const Vector blue = V::Scaled(cb, kColour[kCbToBlue]);
  const Vector greenFromCb = V::Scaled(cb, kColour[kCbToGreen]);
  const Vector greenFromCr = V::Scaled(cr, kColour[kCrToGreen]);
  const Vector red = V::Scaled(cr, kColour[kCrToRed]);
  const Vector offset = V::Constant(kColour[kLumaOffset]);
  const Vector yLow = V::Adds(V::Scaled(luma, kColour[kLuma]), offset);
  const Vector yHigh = V::Adds(V::Scaled(luma + LumaColumn(kWords), kColour[kLuma]), offset);
  // Each chroma word serves two neighbouring pixels. Doubled where it is added, so that
  // the MMX path's eight registers hold what is live.
  const auto channel = [](Vector low, Vector high, Vector chroma) {
    const auto doubled = V::Doubled(chroma);
    return V::Narrow(V::Adds(low, doubled.low), V::Adds(high, doubled.high));
  };
  const auto gb = V::Doubled(greenFromCb);
  const Vector gbLow = V::Adds(yLow, gb.low), gbHigh = V::Adds(yHigh, gb.high);
  return {channel(yLow, yHigh, blue), channel(gbLow, gbHigh, greenFromCr), channel(yLow, yHigh, red)};
}

// The group as B,G,R,0 dwords, kWords / 2 pixels per vector.
template <class V>
__attribute__((always_inline)) inline Pixels<V> Interleave(const Channels<V>& c) {
  const auto bg = V::Bytes(c.b, c.g), r = V::Bytes(c.r, V::Zero());
  const auto low = V::Words(bg.low, r.low), high = V::Words(bg.high, r.high);
  return {low.low, low.high, high.low, high.high};
}

// The group as 3-byte pixels: each vector closed up fills three quarters of one, so
// four of them fill three.
template <class V>
__attribute__((always_inline)) inline void StoreBgr24(uint8_t* out, const Pixels<V>& pixels) {
  constexpr int kQuarter = V::kWords / 2;  // bytes in a quarter vector
  const auto a = V::CloseUp(pixels.p0), b = V::CloseUp(pixels.p1);
  const auto c = V::CloseUp(pixels.p2), d = V::CloseUp(pixels.p3);
  V::Store(out, V::Or(a, V::template Up<3 * kQuarter>(b)));
  V::Store(out + 4 * kQuarter, V::Or(V::template Down<kQuarter>(b), V::template Up<2 * kQuarter>(c)));
  V::Store(out + 8 * kQuarter, V::Or(V::template Down<2 * kQuarter>(c), V::template Up<kQuarter>(d)));
}

template <class V, int BytesPerPixel>
int32_t ConvertRows(uint8_t* dest, const int16_t* samples, uint32_t rowStep) {
  constexpr int kGroupPixels = 2 * V::kWords, kVectorBytes = 2 * V::kWords;
  for (int row = 0; row < 8; ++row, dest -= rowStep) {
    const int16_t* line = samples + row * 8;
    for (int group = 0; group < 16 / kGroupPixels; ++group) {
      const auto pixels = Interleave<V>(ConvertGroup<V>(line, group));
      uint8_t* out = dest + group * kGroupPixels * BytesPerPixel;
      if (BytesPerPixel == 3) {
        StoreBgr24<V>(out, pixels);
      } else {
        V::Store(out, pixels.p0);
        V::Store(out + kVectorBytes, pixels.p1);
        V::Store(out + 2 * kVectorBytes, pixels.p2);
        V::Store(out + 3 * kVectorBytes, pixels.p3);
      }
    }
  }
  return 0;
}

}  // namespace
}  // namespace trvx

// Defines a variant file's two kernels, OutputRgb24<Set> and OutputRgb32<Set>, for its
// policy V.
#define TRVX_OUTPUT_RGB_KERNELS(Set, V)                                                                     \
  int32_t OutputRgb24##Set(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<V, 3>(d, s, r); } \
  int32_t OutputRgb32##Set(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<V, 4>(d, s, r); }
