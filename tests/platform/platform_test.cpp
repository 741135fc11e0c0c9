// Fault guard, worker thread and work areas, natively (also sanitised) and under Wine.
#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "platform/aligned_buffer.h"
#include "platform/fault_guard.h"
#include "platform/worker_thread.h"

#if defined(_WIN32)
#include <windows.h>
#endif

// Out of line so the optimiser cannot reason about them, unsanitised so the fault reaches the processor.
#define TRVX_FAULTING __attribute__((noinline, no_sanitize("address", "thread", "undefined")))

namespace trvx {
namespace {

int* volatile g_null = nullptr;
volatile int32_t g_int_min = INT32_MIN, g_minus_one = -1;
volatile float g_zero = 0.0f, g_one = 1.0f;

TRVX_FAULTING int32_t WriteNull(void*) { return *static_cast<volatile int*>(g_null) = 1; }
TRVX_FAULTING int32_t DivideByZero(void*) { return 7 / (g_minus_one + 1); }
TRVX_FAULTING int32_t DivideOverflow(void*) { return g_int_min / g_minus_one; }
TRVX_FAULTING int32_t ExecuteTrap(void*) { __builtin_trap(); }
TRVX_FAULTING int32_t RecurseWithoutEnd(int depth) {
  volatile char frame[1024];
  frame[depth % 1024] = static_cast<char>(depth);
  return depth < g_minus_one ? frame[0] : RecurseWithoutEnd(depth + 1) + frame[(depth * 7) % 1024];
}
int32_t OverflowStack(void*) { return RecurseWithoutEnd(0); }

#if defined(__i386__) || defined(__x86_64__)
TRVX_FAULTING int32_t ExecutePrivileged(void*) {
  __asm__ __volatile__("hlt");
  return 1;
}

// Only divide by zero unmasked, rounding changed: x87 traps at the wait, leaving a stack register in use.
TRVX_FAULTING int32_t UnmaskedSseDivide(void*) {
  const uint32_t control = 0x7f80 & ~(1u << 9);
  __asm__ __volatile__("ldmxcsr %0\n\tmovss %1, %%xmm0\n\tdivss %2, %%xmm0" : : "m"(control), "m"(g_one), "m"(g_zero));
  return 1;
}
TRVX_FAULTING int32_t UnmaskedX87Divide(void*) {
  const uint16_t control = 0x0f7f & ~0x4;
  __asm__ __volatile__("fldcw %0\n\tfld1\n\tfdivs %1\n\tfwait" : : "m"(control), "m"(g_zero));
  return 1;
}

// Overwrites registers a caller expects to survive a call and sets the direction flag.
TRVX_FAULTING int32_t SpoilRegistersThenFault(void*) {
#if defined(__x86_64__)
  __asm__ __volatile__(
      "movq $-1, %%rbx\n\tmovq $-1, %%r12\n\tmovq $-1, %%r13\n\tmovq $-1, %%r14\n\tmovq $-1, %%r15\n\t"
      "std\n\tud2" ::
          : "rbx", "r12", "r13", "r14", "r15");
#else
  __asm__ __volatile__("movl $-1, %%ebx\n\tmovl $-1, %%esi\n\tmovl $-1, %%edi\n\tstd\n\tud2" ::: "ebx", "esi", "edi");
#endif
  return 1;
}

// The x87 and SSE control words, without the sticky exception flags, and the direction flag.
uint64_t ReadProcessorState() {
  uint16_t x87;
  uint32_t sse;
  uintptr_t flags;
  __asm__ __volatile__("fnstcw %0\n\tstmxcsr %1\n\tpushf\n\tpop %2" : "=m"(x87), "=m"(sse), "=r"(flags));
  return uint64_t{x87} << 32 | (sse & ~uint32_t{0x3f}) | (flags & 0x400) << 20;
}
#endif

// Each raises its own signal or exception code, or leaves its own state to restore.
const struct {
  const char* name;
  int32_t (*body)(void*);
} kFaultKinds[] = {
    {"null write", WriteNull},
    {"integer divide by zero", DivideByZero},
    {"integer divide overflow", DivideOverflow},
    {"illegal instruction", ExecuteTrap},
#if defined(__i386__) || defined(__x86_64__)
    {"privileged instruction", ExecutePrivileged},
    {"unmasked SSE divide", UnmaskedSseDivide},
    {"unmasked x87 divide", UnmaskedX87Divide},
    {"registers and direction flag spoilt", SpoilRegistersThenFault},
#endif
};

// Each kind in turn, each followed by a call that must work, under the caller's own rounding; empty or the error.
std::string FaultEveryKind(int rounds) {
  std::fesetround(FE_DOWNWARD);
#if defined(__i386__) || defined(__x86_64__)
  const uint64_t before = ReadProcessorState();
#endif
  int64_t sum = g_minus_one;  // lives across the faults
  for (int i = 0; i < rounds; ++i) {
    const auto& kind = kFaultKinds[i % (sizeof kFaultKinds / sizeof kFaultKinds[0])];
    if (RunGuarded(kind.body, nullptr) != kFaultResult) return std::string(kind.name) + ": missed";
    if (RunGuarded([i] { return int32_t{i}; }) != i) return std::string(kind.name) + ": no result after it";
#if defined(__i386__) || defined(__x86_64__)
    volatile long double x = 3.0L, y = 4.0L;  // NaN if the x87 stack was left full
    if (ReadProcessorState() != before || std::sqrt(x * x + y * y) != 5.0L) return std::string(kind.name) + ": state";
#endif
    sum += i;
  }
  std::fesetround(FE_TONEAREST);
  std::feclearexcept(FE_ALL_EXCEPT);
  return sum == -1 + int64_t{rounds} * (rounds - 1) / 2 ? "" : "the caller's registers spoilt";
}

TEST(FaultGuard, EveryFaultKindOnFourThreadsAtOnceGivesTheCodeAndLeavesTheCallerAsItWas) {
  std::string results[4];
  std::vector<std::thread> threads;
  for (int t = 1; t < 4; ++t) threads.emplace_back([&results, t] { results[t] = FaultEveryKind(250); });
  results[0] = FaultEveryKind(1000);
  for (std::thread& thread : threads) thread.join();
  for (const std::string& result : results) EXPECT_EQ(result, "");
}

// Each fault goes to the innermost live guard, whether inner ones returned, faulted or were left by an
// exception. A second stack overflow needs the guard page or alternate stack set up again.
TEST(FaultGuard, NestedGuardsExceptionsAndStackOverflows) {
  int32_t results[4] = {};
  bool caught = false;
  const int32_t outer = RunGuarded([&] {
    results[0] = RunGuarded([&] {
      results[1] = RunGuarded(DivideByZero, nullptr);
      return WriteNull(nullptr);
    });
    results[2] = RunGuarded([] { return int32_t{8}; });
    try {
      RunGuarded([]() -> int32_t { throw std::logic_error("inner"); });
    } catch (const std::logic_error&) {
      caught = true;
    }
    return ExecuteTrap(nullptr);
  });
  EXPECT_TRUE(caught);
  EXPECT_EQ(std::vector<int32_t>({outer, results[0], results[1], results[2]}),
            std::vector<int32_t>({kFaultResult, kFaultResult, kFaultResult, 8}));
  EXPECT_THROW(RunGuarded([]() -> int32_t { throw std::runtime_error("out"); }), std::runtime_error);

  std::thread([&results] {
    for (int32_t& result : results) result = RunGuarded(OverflowStack, nullptr);
  }).join();
  EXPECT_EQ(std::vector<int32_t>(results, results + 4), std::vector<int32_t>(4, kFaultResult));
#if defined(_WIN32)  // the main thread's guard page too
  for (int i = 0; i < 2; ++i) EXPECT_EQ(RunGuarded(OverflowStack, nullptr), kFaultResult);
#endif
}

// A guard on one thread leaves another's faults to the host's handlers; guarding after removal installs again.
TEST(FaultGuard, TheHostKeepsItsOwnHandlers) {
  InstallFaultGuard();
  InstallFaultGuard();
#if defined(_WIN32)
  void* page = VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_NOACCESS);
  RunGuarded([page] {
    std::thread([page] {
      EXPECT_TRUE(IsBadReadPtr(page, 4));
      EXPECT_TRUE(IsBadWritePtr(page, 4));
    }).join();
    return int32_t{0};
  });
  VirtualFree(page, 0, MEM_RELEASE);
#endif
  RemoveFaultGuard();
  RemoveFaultGuard();
  EXPECT_EQ(RunGuarded(WriteNull, nullptr), kFaultResult);
}

// Most jobs end while the caller still spins for them, every eighth long after.
int32_t CountAfterAWhile(void* count) {
  auto& done = *static_cast<std::atomic<int>*>(count);
  std::this_thread::sleep_for(std::chrono::microseconds(done % 8 == 7 ? 3000 : 50));
  ++done;
  return 0;
}

// The wait for the second field ends only once its job is done, frame after frame,
// whether the worker still spins for its start or has gone to sleep.
TEST(WorkerThread, EachWaitEndsWhenItsJobIsDone) {
  std::atomic<int> done{0};
  WorkerThread worker;
  ASSERT_TRUE(worker.Launch(CountAfterAWhile, &done));
  for (int frame = 1; frame <= 1000; ++frame) {
    if (frame % 8 == 0) std::this_thread::sleep_for(std::chrono::milliseconds(3));
    worker.Start();
    worker.WaitUntilDone();
    ASSERT_EQ(done.load(), frame);
  }
}

// Sizes from hosts' headers near the top of the address space must not wrap round to a small block.
TEST(AlignedBuffer, RefusesSizesThatWouldWrapAndAlignsTheRest) {
  AlignedBuffer buffer;
  buffer.Allocate(SIZE_MAX - kWorkAreaAlignment + 1);
  EXPECT_TRUE(buffer.empty());
  buffer.Allocate(100);
  ASSERT_FALSE(buffer.empty());
  EXPECT_EQ(reinterpret_cast<std::uintptr_t>(buffer.data()) % kWorkAreaAlignment, 0u);
}

}  // namespace
}  // namespace trvx
