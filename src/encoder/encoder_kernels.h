// The encoder's per-MCU stages after input conversion, in every processor variant:
// forward DCT, zig-zag reordering, quantisation. The vector variants exist only on
// x86 builds and may only run on a processor that has their instructions;
// SelectEncoderKernels knows which.
//
// The MMX-register kernels (ForwardDctMmx, ZigzagSse, QuantiseMmx) each end with
// EMMS themselves, so plain or floating-point code may run between any two stages.
#pragma once

#include <cstdint>

#include "format/frame_description.h"
#include "format/mcu_workspace.h"

namespace trvx {

// The per-MCU stages after input conversion, chosen once per session by processor class.
using ForwardDctKernel = void (*)(BlockBuffer& blocks);
using ZigzagKernel = void (*)(BlockBuffer& blocks);
using QuantiseKernel = void (*)(const FrameDescription& description, BlockBuffer& blocks);

struct EncoderKernels {
  ForwardDctKernel fdct;
  ZigzagKernel reorder;
  QuantiseKernel quantise;
  // The forward DCT reads the packed constant table (PreparePackedDctTables) rather
  // than the plain one (PrepareDctTables).
  bool packedTables;
};

EncoderKernels SelectEncoderKernels(int32_t processorFlag);

constexpr int kDctConstantCount = 11;
constexpr int kPackedDctLanes = 4;

// Fill the static constant tables the forward DCTs read; the session runs the one
// its kernels need at every begin, before the first MCU. Rebuilding writes the same
// values, so a second session may do it while another is coding.
void PrepareDctTables();
void PreparePackedDctTables();
// T0..T10: cosines times 2^15, and sums of two of them times 2^14.
const uint16_t* DctConstants();
// The same constants in the vector kernels' order, each repeated for four lanes: c(k)
// stands for cos(k pi / 16) x 2^15, S for a sum of two of them x 2^14, T10 for 23170.
enum PackedDctConstant {
  kPackedC7,
  kPackedC1,
  kPackedS17,
  kPackedC3,
  kPackedC5,
  kPackedS35,
  kPackedT10,
  kPackedC2,
  kPackedC6,
  kPackedS26,
  kPackedC4
};
const int16_t* PackedDctConstants();

// Two-dimensional forward DCT in place on every block: columns, then rows. Input and
// output are eight times their true values. PlainSse2 gives the plain kernel's words
// exactly, from the same table.
void ForwardDctPlain(BlockBuffer& blocks);
void ForwardDctPlainSse2(BlockBuffer& blocks);
void ForwardDctMmx(BlockBuffer& blocks);
void ForwardDctSse2(BlockBuffer& blocks);  // the MMX results, eight lanes at a time

// Natural to zig-zag order, in place, for each block.
void ZigzagPlain(BlockBuffer& blocks);
void ZigzagSse(BlockBuffer& blocks);  // pshufw: MMX with the SSE integer extension
void ZigzagSse2(BlockBuffer& blocks);

// Divide each zig-zag coefficient by eight times its table entry through the
// reciprocals: the first H1 x V1 blocks with reciprocals 0..63, the rest with
// 64..127. Plain rounds and faults unless quantTableCount is 2; the vector variants
// truncate (one lower at most) and do nothing unless it is 2. SSE2 needs 16-byte
// aligned reciprocals. PlainSse2 gives the plain kernel's words and fault exactly.
void QuantisePlain(const FrameDescription& description, BlockBuffer& blocks);
void QuantisePlainSse2(const FrameDescription& description, BlockBuffer& blocks);
void QuantiseMmx(const FrameDescription& description, BlockBuffer& blocks);
void QuantiseSse2(const FrameDescription& description, BlockBuffer& blocks);

}  // namespace trvx
