// Word arithmetic on an MMX quad (__m64) or an SSE2 row (__m128i), for the variant
// files of the vector DCTs: each operation is spelled once for both widths, and a
// file instantiates only its own width. Internal linkage, like the files' own code.
#pragma once

#include <mmintrin.h>
#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace trvx {
namespace {

// The two widths: four words in an MMX register, eight in an SSE2 one. Templates take
// these rather than the vector types, whose may_alias GCC drops from a template
// argument.
struct MmxWords {
  using Vector = __m64;
};
#if defined(__SSE2__)
struct Sse2Words {
  using Vector = __m128i;
};
#endif

// Inlined so that a kernel's values stay in registers. AddS and SubS saturate, MulHigh
// and MulLow are the halves of the signed product, ShiftRight is logical.
template <class Width>
struct WordOps {
  using V = typename Width::Vector;
  static constexpr bool kQuad = sizeof(V) == 8;

  // Name and second operand, then the MMX intrinsic and the SSE2 one; a file built
  // without SSE2 never instantiates the second.
#define TRVX_WORD_OP(Name, B, Quad, Row)                   \
  __attribute__((always_inline)) static V Name(V a, B b) { \
    if constexpr (kQuad) {                                 \
      return Quad(a, b);                                   \
    } else {                                               \
      return Row(a, b);                                    \
    }                                                      \
  }
  TRVX_WORD_OP(Add, V, _mm_add_pi16, _mm_add_epi16)
  TRVX_WORD_OP(AddS, V, _mm_adds_pi16, _mm_adds_epi16)
  TRVX_WORD_OP(SubS, V, _mm_subs_pi16, _mm_subs_epi16)
  TRVX_WORD_OP(MulHigh, V, _mm_mulhi_pi16, _mm_mulhi_epi16)
  TRVX_WORD_OP(MulLow, V, _mm_mullo_pi16, _mm_mullo_epi16)
  TRVX_WORD_OP(Or, V, _mm_or_si64, _mm_or_si128)
  TRVX_WORD_OP(ShiftLeft, int, _mm_slli_pi16, _mm_slli_epi16)
  TRVX_WORD_OP(ShiftRight, int, _mm_srli_pi16, _mm_srli_epi16)
#undef TRVX_WORD_OP
};

}  // namespace
}  // namespace trvx
