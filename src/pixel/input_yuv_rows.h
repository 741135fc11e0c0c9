// The packed and blocked YUV kernels of the MMX and SSE2 paths, written once over a
// vector policy of either width. Only those variant files include it; all here has
// internal linkage but the kernels its closing macro defines in each.
#pragma once

#include <cstdint>

namespace trvx {
namespace {

enum class Layout { Uyvy, Yuy2, Yvyu };

// Where sample x (0-31) of a blocked row stands: 8 in each block's row.
constexpr int BlockColumn(int x) { return (x & 7) + 64 * (x >> 3); }

// V, the policy: vectors of kWords words, which Load reads from bytes and Store writes
// to samples. Levels gives words x 8 - 1024, saturated; LowBytes and HighBytes each
// word's bytes; Pack two vectors of words saturated to one of bytes; Widen the bytes'
// halves as words.
template <class V>
struct Halves {
  decltype(V::Load(nullptr)) low, high;
};

template <class V, class Vector>
void StoreLevels(int16_t* p, Vector words) {
  V::Store(p, V::Levels(words));
}

// A group is 2 x kWords pixels of a row in two vectors: as words, the luma byte of each
// pair and the chroma byte next to it sit at the same end of every word. Groups start
// on pixel 0 or 8, so their luma stands 16 x kWords x group on.
template <class V, Layout L>
int32_t ConvertPacked(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  constexpr int kWords = V::kWords;
  // UYVY holds luma in each word's high byte, the others in its low byte.
  const auto lumaOf = [](auto v) { return L == Layout::Uyvy ? V::HighBytes(v) : V::LowBytes(v); };
  const auto chromaOf = [](auto v) { return L == Layout::Uyvy ? V::LowBytes(v) : V::HighBytes(v); };
  for (int row = 0; row < 8; ++row, source += rowStep) {
    for (int group = 0; group < 8 / kWords; ++group) {
      const auto first = V::Load(source + 4 * kWords * group);
      const auto second = V::Load(source + 4 * kWords * group + 2 * kWords);
      int16_t* luma = samples + row * 8 + 16 * kWords * group;
      StoreLevels<V>(luma, lumaOf(first));
      StoreLevels<V>(luma + BlockColumn(kWords), lumaOf(second));
      // kWords pairs of bytes, U then V (V then U for YVYU).
      const auto chroma = V::Pack(chromaOf(first), chromaOf(second));
      const int column = row * 8 + kWords * group;
      StoreLevels<V>(samples + 128 + column, L == Layout::Yvyu ? V::HighBytes(chroma) : V::LowBytes(chroma));
      StoreLevels<V>(samples + 192 + column, L == Layout::Yvyu ? V::LowBytes(chroma) : V::HighBytes(chroma));
    }
  }
  return 0;
}

// Each row is already block-ordered (8 Y, 8 Y, 8 Cb, 8 Cr): a vector's bytes are
// whole block rows, from sample 2 x kWords x part on.
template <class V>
int32_t ConvertBlocked(const uint8_t* source, int16_t* samples, uint32_t rowStep) {
  constexpr int kWords = V::kWords;
  for (int row = 0; row < 8; ++row, source += rowStep) {
    for (int part = 0; part < 16 / kWords; ++part) {
      const auto words = V::Widen(V::Load(source + 2 * kWords * part));
      // Both halves before either store: GCC keeps an __m64 half on the stack otherwise.
      const auto low = V::Levels(words.low), high = V::Levels(words.high);
      int16_t* out = samples + row * 8 + 16 * kWords * part;
      V::Store(out, low);
      V::Store(out + BlockColumn(kWords), high);
    }
  }
  return 0;
}

}  // namespace
}  // namespace trvx

// Defines a variant file's four kernels, InputUyvy<Set> and the rest, for its policy V.
#define TRVX_INPUT_YUV_KERNELS(Set, V)                                                                                 \
  int32_t InputUyvy##Set(const uint8_t* s, int16_t* d, uint32_t r) { return ConvertPacked<V, Layout::Uyvy>(s, d, r); } \
  int32_t InputYuy2##Set(const uint8_t* s, int16_t* d, uint32_t r) { return ConvertPacked<V, Layout::Yuy2>(s, d, r); } \
  int32_t InputYvyu##Set(const uint8_t* s, int16_t* d, uint32_t r) { return ConvertPacked<V, Layout::Yvyu>(s, d, r); } \
  int32_t InputY16##Set(const uint8_t* s, int16_t* d, uint32_t r) { return ConvertBlocked<V>(s, d, r); }
