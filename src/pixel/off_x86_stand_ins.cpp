// Off x86 DetectProcessor gives 0 and no vector variant is ever chosen, yet the kernel
// tables and the tests still name them: here each calls its plain twin, and the
// variant files build to nothing.
#include "pixel/input_converter.h"
#include "pixel/memory_routines.h"
#include "pixel/output_converter.h"

#if !defined(__i386__) && !defined(__x86_64__)
namespace trvx {

#define TRVX_INPUT_STAND_IN(Kernel, Set) \
  int32_t Input##Kernel##Set(const uint8_t* s, int16_t* d, uint32_t r) { return Input##Kernel##Plain(s, d, r); }
#define TRVX_OUTPUT_STAND_IN(Kernel, Set) \
  int32_t Output##Kernel##Set(uint8_t* d, const int16_t* s, uint32_t r) { return Output##Kernel##Plain(d, s, r); }
#define TRVX_STAND_INS(Set)                                                                        \
  TRVX_INPUT_STAND_IN(Rgb24, Set) TRVX_INPUT_STAND_IN(Rgb32, Set) TRVX_INPUT_STAND_IN(Uyvy, Set)    \
  TRVX_INPUT_STAND_IN(Yuy2, Set) TRVX_INPUT_STAND_IN(Yvyu, Set) TRVX_INPUT_STAND_IN(Y16, Set)       \
  TRVX_OUTPUT_STAND_IN(Rgb24, Set) TRVX_OUTPUT_STAND_IN(Rgb32, Set) TRVX_OUTPUT_STAND_IN(Uyvy, Set) \
  TRVX_OUTPUT_STAND_IN(Yuy2, Set) TRVX_OUTPUT_STAND_IN(Yvyu, Set) TRVX_OUTPUT_STAND_IN(Y16, Set)    \
  void Copy##Set(void* dest, const void* src, std::size_t count) { CopyPlain(dest, src, count); }

TRVX_STAND_INS(Mmx)
TRVX_STAND_INS(Sse)
TRVX_STAND_INS(Sse2)
TRVX_INPUT_STAND_IN(Rgb24, PlainSse2)
TRVX_INPUT_STAND_IN(Rgb32, PlainSse2)
TRVX_OUTPUT_STAND_IN(Rgb24, PlainSse2)
TRVX_OUTPUT_STAND_IN(Rgb32, PlainSse2)
TRVX_OUTPUT_STAND_IN(Uyvy, PlainSse2)
TRVX_OUTPUT_STAND_IN(Yuy2, PlainSse2)
TRVX_OUTPUT_STAND_IN(Yvyu, PlainSse2)
TRVX_OUTPUT_STAND_IN(Y16, PlainSse2)
void CopyAmd(void* dest, const void* src, std::size_t count) { CopyPlain(dest, src, count); }
void ClearMmxState() {}
void FenceStreamingStores() {}

}  // namespace trvx
#endif
