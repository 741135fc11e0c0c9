// Builds natively (plain and with sanitisers) and with mingw for Wine.
#include "platform/fault_guard.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cfenv>
#include <cmath>
#include <cstdint>
#include <stdexcept>
#include <thread>
#include <vector>

#if defined(_WIN32)
#include <windows.h>
#else
#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <stdio.h>
#include <unistd.h>
#endif

#if defined(__i386__) || defined(__x86_64__)
#define TRVX_TEST_X86 1
#else
#define TRVX_TEST_X86 0
#endif

// Faulting helpers stay out of line so the optimiser cannot reason about them, and
// unsanitised so the sanitisers don't report the fault before the processor does.
#define TRVX_FAULTING \
  __attribute__((noinline, no_sanitize("address", "thread", "undefined")))

namespace trvx {
namespace {

class FaultGuardEnvironment : public ::testing::Environment {
 public:
  void SetUp() override { InstallFaultGuard(); }
  void TearDown() override { RemoveFaultGuard(); }
};

[[maybe_unused]] ::testing::Environment* const g_environment =
    ::testing::AddGlobalTestEnvironment(new FaultGuardEnvironment);

int* volatile g_null = nullptr;
volatile int g_zero = 0;
volatile int32_t g_int_min = INT32_MIN;
volatile int32_t g_minus_one = -1;
volatile float g_zero_float = 0.0f;
volatile int g_recursion_stop = -1;

TRVX_FAULTING int32_t WriteNull(void*) { return *static_cast<volatile int*>(g_null) = 1; }
TRVX_FAULTING int32_t DivideByZero(void*) { return 7 / g_zero; }
TRVX_FAULTING int32_t DivideOverflow(void*) { return g_int_min / g_minus_one; }
TRVX_FAULTING int32_t ExecuteTrap(void*) { __builtin_trap(); }
int32_t CallDeliberateFault(void*) { DeliberateFault(); }
int32_t ReturnContextValue(void* context) { return *static_cast<int32_t*>(context); }

#if TRVX_TEST_X86
TRVX_FAULTING int32_t ExecutePrivileged(void*) {
  __asm__ __volatile__("hlt");
  return 1;
}

// SSE divide by zero with the exception unmasked traps at the instruction.
TRVX_FAULTING int32_t UnmaskedSseDivide(void*) {
  uint32_t csr;
  __asm__ __volatile__("stmxcsr %0" : "=m"(csr));
  csr &= ~(1u << 9);
  __asm__ __volatile__("ldmxcsr %0" : : "m"(csr));
  float value = 1.0f;
  const float zero = g_zero_float;
  __asm__ __volatile__("movss %0, %%xmm0\n\tdivss %1, %%xmm0\n\tmovss %%xmm0, %0"
                       : "+m"(value)
                       : "m"(zero)
#if defined(__SSE__)
                       : "xmm0"
#endif
  );
  return static_cast<int32_t>(value);
}

// x87 divide by zero with the exception unmasked traps at the next wait.
TRVX_FAULTING int32_t UnmaskedX87Divide(void*) {
  uint16_t control;
  __asm__ __volatile__("fnstcw %0" : "=m"(control));
  const uint16_t unmasked = control & ~uint16_t{0x4};
  __asm__ __volatile__("fldcw %0" : : "m"(unmasked));
  const float zero = g_zero_float;
  __asm__ __volatile__("fld1\n\tfdivs %0\n\tfwait\n\tfstp %%st(0)" : : "m"(zero) : "st");
  __asm__ __volatile__("fldcw %0" : : "m"(control));
  return 1;
}

// Leaves all eight x87 registers in use; without a reset afterwards every later
// x87 load overflows the register stack and yields NaN.
TRVX_FAULTING int32_t FaultWithFullX87Stack(void*) {
  __asm__ __volatile__(".rept 8\n\tfld1\n\t.endr\n\tud2\n\t.rept 8\n\tfstp %%st(0)\n\t.endr" ::
                           : "st", "st(1)", "st(2)", "st(3)", "st(4)", "st(5)", "st(6)", "st(7)", "memory");
  return 1;
}

// Fills the general registers a caller expects to survive a call, then faults.
TRVX_FAULTING int32_t ClobberCalleeSavedThenFault(void*) {
#if defined(__x86_64__)
  __asm__ __volatile__("movq $-1, %%rbx\n\tmovq $-1, %%r12\n\tmovq $-1, %%r13\n\tmovq $-1, %%r14\n\t"
                       "movq $-1, %%r15\n\tud2" ::: "rbx", "r12", "r13", "r14", "r15", "memory");
#else
  __asm__ __volatile__("movl $-1, %%ebx\n\tmovl $-1, %%esi\n\tmovl $-1, %%edi\n\tud2" ::: "ebx", "esi", "edi",
                       "memory");
#endif
  return 1;
}

TRVX_FAULTING int32_t FaultWithDirectionFlagSet(void*) {
  __asm__ __volatile__("std\n\tud2\n\tcld" ::: "memory");
  return 1;
}

uintptr_t ReadFlags() {
  uintptr_t flags;
  __asm__ __volatile__("pushf\n\tpop %0" : "=r"(flags));
  return flags;
}

struct FloatingPointControl {
  uint16_t x87;
  uint32_t sse;  // without the sticky exception flags
};

FloatingPointControl ReadFloatingPointControl() {
  FloatingPointControl control;
  __asm__ __volatile__("fnstcw %0" : "=m"(control.x87));
  __asm__ __volatile__("stmxcsr %0" : "=m"(control.sse));
  control.sse &= ~uint32_t{0x3f};
  return control;
}
#endif  // TRVX_TEST_X86

#if defined(__i386__) && defined(_WIN32)
EXCEPTION_DISPOSITION __cdecl PassOnException(EXCEPTION_RECORD*, void*, CONTEXT*, void*) {
  return ExceptionContinueSearch;
}

void* ReadSehHead() {
  void* head;
  __asm__ __volatile__("movl %%fs:0, %0" : "=r"(head));
  return head;
}

// Faults with an SEH frame of its own registered, as system code often has one.
TRVX_FAULTING int32_t FaultWithSehFrameRegistered(void*) {
  struct Registration {
    void* next;
    void* handler;
  } registration;
  registration.next = ReadSehHead();
  registration.handler = reinterpret_cast<void*>(&PassOnException);
  __asm__ __volatile__("movl %0, %%fs:0" : : "r"(&registration) : "memory");
  WriteNull(nullptr);
  __asm__ __volatile__("movl %0, %%fs:0" : : "r"(registration.next) : "memory");
  return 1;
}
#endif

TRVX_FAULTING int32_t RecurseWithoutEnd(int depth) {
  volatile char frame[1024];
  frame[depth % 1024] = static_cast<char>(depth);
  if (depth == g_recursion_stop) return frame[0];
  return RecurseWithoutEnd(depth + 1) + frame[(depth * 7) % 1024];
}

int32_t OverflowStack(void*) { return RecurseWithoutEnd(0); }

struct FaultKind {
  const char* name;
  int32_t (*body)(void*);
};

// Every kind raises a different signal or exception code.
std::vector<FaultKind> AllFaultKinds() {
  std::vector<FaultKind> kinds = {{"null write", WriteNull},
                                  {"deliberate fault", CallDeliberateFault},
                                  {"integer divide by zero", DivideByZero},
                                  {"integer divide overflow", DivideOverflow},
                                  {"illegal instruction", ExecuteTrap}};
#if TRVX_TEST_X86
  kinds.push_back({"privileged instruction", ExecutePrivileged});
  kinds.push_back({"unmasked SSE divide", UnmaskedSseDivide});
  kinds.push_back({"unmasked x87 divide", UnmaskedX87Divide});
#endif
#if defined(__i386__) && defined(_WIN32)
  kinds.push_back({"fault under an SEH frame", FaultWithSehFrameRegistered});
#endif
  return kinds;
}

// A thousand faults of every kind, each followed by a call that must work; the heap
// and (on 32-bit Windows) the SEH chain survive all those abandoned frames.
TEST(FaultGuardCatches, EveryFaultKindGivesFaultResultAndLeavesTheProcessHealthy) {
#if defined(__i386__) && defined(_WIN32)
  void* const seh_head_before = ReadSehHead();
#endif
  const std::vector<FaultKind> kinds = AllFaultKinds();
  for (int i = 0; i < 1000; ++i) {
    const FaultKind& kind = kinds[i % kinds.size()];
    ASSERT_EQ(RunGuarded(kind.body, nullptr), kFaultResult) << kind.name;
    int32_t value = i;
    ASSERT_EQ(RunGuarded(ReturnContextValue, &value), i) << "after " << kind.name;
  }
  std::vector<int> after(1000, 3);
  EXPECT_EQ(after[999], 3);
#if defined(__i386__) && defined(_WIN32)
  EXPECT_EQ(ReadSehHead(), seh_head_before);
#endif
}

#if TRVX_TEST_X86
// x87 stack, the caller's (not the default) rounding and exception masks, and the
// direction flag are all as before the fault.
TEST(FaultGuardState, FloatingPointStateAndDirectionFlagComeBackAfterAFault) {
  ASSERT_EQ(RunGuarded(FaultWithFullX87Stack, nullptr), kFaultResult);
  volatile long double a = 3.0L, b = 4.0L;
  EXPECT_EQ(static_cast<double>(std::sqrt(a * a + b * b)), 5.0);

  ASSERT_EQ(std::fesetround(FE_DOWNWARD), 0);
  const FloatingPointControl before = ReadFloatingPointControl();
  const int32_t rounding_fault = RunGuarded([] {
    std::fesetround(FE_UPWARD);
    return WriteNull(nullptr);
  });
  const FloatingPointControl after_rounding = ReadFloatingPointControl();
  const int32_t sse_fault = RunGuarded(UnmaskedSseDivide, nullptr);
  const FloatingPointControl after_sse = ReadFloatingPointControl();
  const int32_t x87_fault = RunGuarded(UnmaskedX87Divide, nullptr);
  const FloatingPointControl after_x87 = ReadFloatingPointControl();
  std::fesetround(FE_TONEAREST);
  EXPECT_EQ(rounding_fault, kFaultResult);
  EXPECT_EQ(sse_fault, kFaultResult);
  EXPECT_EQ(x87_fault, kFaultResult);
  for (const FloatingPointControl& after : {after_rounding, after_sse, after_x87}) {
    EXPECT_EQ(after.x87, before.x87);
    EXPECT_EQ(after.sse, before.sse);
  }
  // Masked again: dividing by zero gives infinity instead of another trap.
  volatile float one = 1.0f;
  EXPECT_TRUE(std::isinf(one / g_zero_float));
  volatile long double wide_one = 1.0L;
  EXPECT_TRUE(std::isinf(wide_one / static_cast<long double>(g_zero_float)));
  std::feclearexcept(FE_ALL_EXCEPT);

  EXPECT_EQ(RunGuarded(FaultWithDirectionFlagSet, nullptr), kFaultResult);
  EXPECT_EQ(ReadFlags() & 0x400, 0u);
}

TEST(FaultGuardState, CallerRegistersSurviveABodyThatClobberedThem) {
  volatile int seed = 3;
  const int start = seed;
  int64_t a = start, b = start * 5, c = start * 7, ea = a, eb = b, ec = c;
  for (int i = 0; i < 8; ++i) {
    EXPECT_EQ(RunGuarded(ClobberCalleeSavedThenFault, nullptr), kFaultResult);
    a = a * 3 + 1, b ^= a, c += b;
  }
  for (int i = 0; i < 8; ++i) ea = ea * 3 + 1, eb ^= ea, ec += eb;
  EXPECT_EQ(a, ea);
  EXPECT_EQ(b, eb);
  EXPECT_EQ(c, ec);
}
#endif  // TRVX_TEST_X86

// Inner guards that returned, faulted or were left by an exception: each fault goes
// to the innermost live guard, and caught exceptions inside a body pass undisturbed.
TEST(FaultGuardNesting, EachFaultGoesToTheInnermostLiveGuard) {
  int32_t results[3] = {};
  const int32_t level0 = RunGuarded([&] {
    results[0] = RunGuarded([&] {
      results[1] = RunGuarded([&] {
        results[2] = RunGuarded(DivideByZero, nullptr);
        return WriteNull(nullptr);
      });
      return ExecuteTrap(nullptr);
    });
    return int32_t{3};
  });
  EXPECT_EQ(results[2], kFaultResult);
  EXPECT_EQ(results[1], kFaultResult);
  EXPECT_EQ(results[0], kFaultResult);
  EXPECT_EQ(level0, 3);

  int32_t value = 8, first = 0;
  EXPECT_EQ(RunGuarded([&]() -> int32_t {
              first = RunGuarded(ReturnContextValue, &value);
              DeliberateFault();
            }),
            kFaultResult);
  EXPECT_EQ(first, 8);

  EXPECT_EQ(RunGuarded([] {
              int32_t caught = 0;
              for (int i = 0; i < 10; ++i) {
                try {
                  throw std::runtime_error("inside");
                } catch (const std::runtime_error&) {
                  ++caught;
                }
              }
              return caught;
            }),
            10);
  EXPECT_THROW(RunGuarded([]() -> int32_t { throw std::runtime_error("out"); }), std::runtime_error);
  EXPECT_EQ(RunGuarded(WriteNull, nullptr), kFaultResult);
  bool caught = false;
  const int32_t outer = RunGuarded([&] {
    try {
      RunGuarded([]() -> int32_t { throw std::logic_error("inner"); });
    } catch (const std::logic_error&) {
      caught = true;
    }
    return WriteNull(nullptr);
  });
  EXPECT_TRUE(caught);
  EXPECT_EQ(outer, kFaultResult);
}

TEST(FaultGuardThreads, SeveralThreadsFaultingAtOnceEachGetTheirOwnResult) {
  std::atomic<int> wrong{0};
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t) {
    threads.emplace_back([&, t] {
      const std::vector<FaultKind> kinds = AllFaultKinds();
      for (int i = 0; i < 250; ++i) {
        int32_t value = t * 1000 + i;
        if (RunGuarded(kinds[(i + t) % kinds.size()].body, nullptr) != kFaultResult) ++wrong;
        if (RunGuarded(ReturnContextValue, &value) != t * 1000 + i) ++wrong;
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(wrong.load(), 0);
}

// Two overflows in a row on a worker thread (and on Windows on the main thread too):
// the second needs the guard page or alternate stack set up again.
TEST(FaultGuardStackOverflow, UnboundedRecursionIsCaughtTwice) {
  int32_t results[2] = {};
  auto overflowTwice = [](int32_t* out) {
    out[0] = RunGuarded(OverflowStack, nullptr);
    out[1] = RunGuarded(OverflowStack, nullptr);
  };
#if defined(_WIN32)
  std::thread worker(overflowTwice, results);
  worker.join();
  EXPECT_EQ(RunGuarded(OverflowStack, nullptr), kFaultResult);
  EXPECT_EQ(RunGuarded(OverflowStack, nullptr), kFaultResult);
#else
  // A bounded stack keeps the test quick whatever the stack limit of the shell.
  struct Run {
    void (*body)(int32_t*);
    int32_t* out;
  } run = {overflowTwice, results};
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  pthread_attr_setstacksize(&attributes, 512 * 1024);
  pthread_t thread;
  ASSERT_EQ(pthread_create(&thread, &attributes,
                           [](void* self) -> void* {
                             auto* r = static_cast<Run*>(self);
                             r->body(r->out);
                             return nullptr;
                           },
                           &run),
            0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
#endif
  EXPECT_EQ(results[0], kFaultResult);
  EXPECT_EQ(results[1], kFaultResult);
  int32_t value = 11;
  EXPECT_EQ(RunGuarded(ReturnContextValue, &value), 11);
}

#if defined(_WIN32)
// IsBadReadPtr relies on its own exception handler: a guard on another thread must
// not take the fault away from it.
TEST(FaultGuardWindows, UnguardedThreadKeepsItsOwnHandlersWhileAnotherIsGuarded) {
  void* page = VirtualAlloc(nullptr, 4096, MEM_COMMIT | MEM_RESERVE, PAGE_NOACCESS);
  ASSERT_NE(page, nullptr);
  std::atomic<bool> inside{false}, release{false};
  int32_t worker_result = 0;
  std::thread worker([&] {
    worker_result = RunGuarded([&] {
      inside = true;
      while (!release) Sleep(1);
      return int32_t{6};
    });
  });
  while (!inside) Sleep(1);
  EXPECT_TRUE(IsBadReadPtr(page, 4));
  EXPECT_TRUE(IsBadWritePtr(page, 4));
  release = true;
  worker.join();
  EXPECT_EQ(worker_result, 6);
  VirtualFree(page, 0, MEM_RELEASE);
}
#else
sigjmp_buf g_previous_handler_exit;
volatile sig_atomic_t g_previous_handler_calls = 0;

void PreviousHandler(int, siginfo_t*, void*) {
  ++g_previous_handler_calls;
  siglongjmp(g_previous_handler_exit, 1);
}

TEST(FaultGuardPosix, UnguardedFaultGoesToThePreviousHandlerWhileAnotherThreadIsGuarded) {
  RemoveFaultGuard();
  struct sigaction test_action = {};
  test_action.sa_sigaction = PreviousHandler;
  test_action.sa_flags = SA_SIGINFO;
  sigemptyset(&test_action.sa_mask);
  struct sigaction original;
  ASSERT_EQ(sigaction(SIGSEGV, &test_action, &original), 0);
  InstallFaultGuard();
  g_previous_handler_calls = 0;

  std::atomic<bool> inside{false}, release{false};
  int32_t worker_result = 0;
  std::thread worker([&] {
    worker_result = RunGuarded([&] {
      inside = true;
      while (!release) std::this_thread::yield();
      return int32_t{6};
    });
  });
  while (!inside) std::this_thread::yield();
  if (sigsetjmp(g_previous_handler_exit, 1) == 0) {
    WriteNull(nullptr);
    ADD_FAILURE() << "the null write did not fault";
  }
  EXPECT_EQ(g_previous_handler_calls, 1);
  release = true;
  worker.join();
  EXPECT_EQ(worker_result, 6);

  // A guarded fault still belongs to the guard.
  EXPECT_EQ(RunGuarded(WriteNull, nullptr), kFaultResult);
  EXPECT_EQ(g_previous_handler_calls, 1);

  // Removing puts the previous handler back.
  RemoveFaultGuard();
  struct sigaction current;
  ASSERT_EQ(sigaction(SIGSEGV, nullptr, &current), 0);
  EXPECT_EQ(current.sa_sigaction, &PreviousHandler);
  sigaction(SIGSEGV, &original, nullptr);
  InstallFaultGuard();
}
#endif  // _WIN32

TEST(FaultGuardLifetime, InstallAndRemoveAreIdempotentAndGuardingInstallsOnDemand) {
  InstallFaultGuard();
  InstallFaultGuard();
  EXPECT_EQ(RunGuarded(WriteNull, nullptr), kFaultResult);
  RemoveFaultGuard();
  RemoveFaultGuard();
  EXPECT_EQ(RunGuarded(WriteNull, nullptr), kFaultResult);
  int32_t value = 2;
  EXPECT_EQ(RunGuarded(ReturnContextValue, &value), 2);
  InstallFaultGuard();
}

}  // namespace
}  // namespace trvx
