// What the YUV output variant files share whatever their registers: the layouts, and
// the macro that defines a file's four kernels from its ConvertRows<P, Layout>. Only
// those files include it.
#pragma once

#include <cstdint>

namespace trvx {
namespace {

enum class Layout { Uyvy, Yuy2, Yvyu, Y16 };

}  // namespace
}  // namespace trvx

// Defines a variant file's four kernels, OutputUyvy<Set> and the rest, through its
// ConvertRows for the policy P.
#define TRVX_OUTPUT_YUV_KERNELS(Set, P)                                                                               \
  int32_t OutputUyvy##Set(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<P, Layout::Uyvy>(d, s, r); } \
  int32_t OutputYuy2##Set(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<P, Layout::Yuy2>(d, s, r); } \
  int32_t OutputYvyu##Set(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<P, Layout::Yvyu>(d, s, r); } \
  int32_t OutputY16##Set(uint8_t* d, const int16_t* s, uint32_t r) { return ConvertRows<P, Layout::Y16>(d, s, r); }
