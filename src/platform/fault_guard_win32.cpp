// Fault guard for Windows (mingw, 32- and 64-bit). GCC has no __try/__except and a
// hand-built SEH frame misses faults that Wine's own handlers see first, so a
// vectored handler catches the fault and moves the thread to Recover, which jumps
// back into RunGuarded.
#include "platform/fault_guard.h"

#include <windows.h>
#include <malloc.h>  // _resetstkoflw

namespace trvx {
namespace {

struct GuardRecord {
  void* resume[5];  // __builtin_setjmp buffer
  GuardRecord* previous;
  // Dead stack below the guard's frame where Recover runs; the faulting stack
  // pointer may be exhausted or garbage.
  uintptr_t recovery_stack;
#if defined(__i386__)
  void* seh_head;  // fs:[0] at guard entry; the body may have pushed frames since
#endif
  uint32_t mxcsr;
  uint16_t fpu_control;
  volatile DWORD code;
};

// The slot index doubles as the "installed" flag; the vectored handler reads it.
DWORD g_slot = TLS_OUT_OF_INDEXES;
PVOID g_handler = nullptr;
bool g_has_sse = false;
volatile LONG g_install_lock = 0;

// Install can run under the loader lock (DllMain), so no lock that could need it.
class InstallLock {
 public:
  InstallLock() {
    while (InterlockedCompareExchange(&g_install_lock, 1, 0) != 0) Sleep(0);
  }
  ~InstallLock() { InterlockedExchange(&g_install_lock, 0); }
  InstallLock(const InstallLock&) = delete;
  InstallLock& operator=(const InstallLock&) = delete;
};

DWORD CurrentSlot() { return __atomic_load_n(&g_slot, __ATOMIC_ACQUIRE); }

bool IsProcessorFault(DWORD code) {
  switch (code) {
    case EXCEPTION_ACCESS_VIOLATION:
    case EXCEPTION_IN_PAGE_ERROR:
    case EXCEPTION_DATATYPE_MISALIGNMENT:
    case EXCEPTION_ARRAY_BOUNDS_EXCEEDED:
    case EXCEPTION_ILLEGAL_INSTRUCTION:
    case EXCEPTION_PRIV_INSTRUCTION:
    case EXCEPTION_INT_DIVIDE_BY_ZERO:
    case EXCEPTION_INT_OVERFLOW:  // idiv of INT_MIN by -1
    case EXCEPTION_STACK_OVERFLOW:
    case EXCEPTION_FLT_DENORMAL_OPERAND:
    case EXCEPTION_FLT_DIVIDE_BY_ZERO:
    case EXCEPTION_FLT_INEXACT_RESULT:
    case EXCEPTION_FLT_INVALID_OPERATION:
    case EXCEPTION_FLT_OVERFLOW:
    case EXCEPTION_FLT_STACK_CHECK:
    case EXCEPTION_FLT_UNDERFLOW:
    // SSE traps of 32-bit code arrive with these codes (under Wine as well).
    case 0xC00002B4:  // STATUS_FLOAT_MULTIPLE_FAULTS
    case 0xC00002B5:  // STATUS_FLOAT_MULTIPLE_TRAPS
      return true;
    default:
      return false;
  }
}

// Entered with the instruction and stack pointer set by OnException, not by a call.
[[noreturn]] __attribute__((noinline)) void Recover() {
  GuardRecord* guard = static_cast<GuardRecord*>(TlsGetValue(CurrentSlot()));
#if defined(__i386__)
  __asm__ __volatile__("movl %0, %%fs:0" : : "r"(guard->seh_head) : "memory");
#endif
  // Values the body left on the x87 stack would make later results NaN.
  __asm__ __volatile__("fninit\n\tfldcw %0" : : "m"(guard->fpu_control));
  if (g_has_sse) __asm__ __volatile__("ldmxcsr %0" : : "m"(guard->mxcsr));
  __builtin_longjmp(guard->resume, 1);
}

LONG CALLBACK OnException(EXCEPTION_POINTERS* info) {
  const DWORD code = info->ExceptionRecord->ExceptionCode;
  if (!IsProcessorFault(code)) return EXCEPTION_CONTINUE_SEARCH;
  const DWORD slot = CurrentSlot();
  if (slot == TLS_OUT_OF_INDEXES) return EXCEPTION_CONTINUE_SEARCH;
  // Faults on unguarded threads go on to their own handlers with the error intact.
  const DWORD last_error = GetLastError();
  GuardRecord* guard = static_cast<GuardRecord*>(TlsGetValue(slot));
  SetLastError(last_error);
  if (guard == nullptr) return EXCEPTION_CONTINUE_SEARCH;

  guard->code = code;
  CONTEXT* context = info->ContextRecord;
  // Lay out the stack as a call would have: a (null) return address with the
  // stack 16-byte aligned above it.
  uintptr_t stack = guard->recovery_stack - sizeof(void*);
  *reinterpret_cast<uintptr_t*>(stack) = 0;
#if defined(__x86_64__)
  context->Rsp = stack;
  context->Rip = reinterpret_cast<DWORD64>(&Recover);
#else
  context->Esp = stack;
  context->Eip = reinterpret_cast<DWORD>(&Recover);
#endif
  context->EFlags &= ~0x400u;  // direction flag: the calling convention wants it clear
  return EXCEPTION_CONTINUE_EXECUTION;
}

// Out of line so that its frame lies below everything RunGuarded still needs: the
// space from here down is dead once the body has faulted. Pops the guard when the
// body throws; RunGuarded pops it otherwise.
__attribute__((noinline)) int32_t CallBody(GuardRecord* guard, DWORD slot,
                                           int32_t (*body)(void*), void* context) {
  guard->recovery_stack =
      (reinterpret_cast<uintptr_t>(__builtin_frame_address(0)) - 256) & ~uintptr_t{15};
  TlsSetValue(slot, guard);
  try {
    return body(context);
  } catch (...) {
    TlsSetValue(slot, guard->previous);
    throw;
  }
}

}  // namespace

void InstallFaultGuard() {
  InstallLock lock;
  if (g_slot != TLS_OUT_OF_INDEXES) return;
  const DWORD slot = TlsAlloc();
  if (slot == TLS_OUT_OF_INDEXES) return;
#if defined(__x86_64__)
  g_has_sse = true;
#else
  g_has_sse = IsProcessorFeaturePresent(PF_XMMI_INSTRUCTIONS_AVAILABLE) != 0;
#endif
  __atomic_store_n(&g_slot, slot, __ATOMIC_RELEASE);
  g_handler = AddVectoredExceptionHandler(1, &OnException);
  if (g_handler == nullptr) {
    __atomic_store_n(&g_slot, TLS_OUT_OF_INDEXES, __ATOMIC_RELEASE);
    TlsFree(slot);
  }
}

void RemoveFaultGuard() {
  InstallLock lock;
  if (g_handler != nullptr) {
    RemoveVectoredExceptionHandler(g_handler);
    g_handler = nullptr;
  }
  const DWORD slot = g_slot;
  if (slot != TLS_OUT_OF_INDEXES) {
    __atomic_store_n(&g_slot, TLS_OUT_OF_INDEXES, __ATOMIC_RELEASE);
    TlsFree(slot);
  }
}

int32_t RunGuarded(int32_t (*body)(void*), void* context) {
  DWORD slot = CurrentSlot();
  if (slot == TLS_OUT_OF_INDEXES) {
    InstallFaultGuard();
    slot = CurrentSlot();
    // Without a TLS slot there is no way to guard; running unguarded is better
    // than refusing every call.
    if (slot == TLS_OUT_OF_INDEXES) return body(context);
  }

  GuardRecord guard;
  guard.previous = static_cast<GuardRecord*>(TlsGetValue(slot));
  guard.code = 0;
#if defined(__i386__)
  __asm__ __volatile__("movl %%fs:0, %0" : "=r"(guard.seh_head));
#endif
  __asm__ __volatile__("fnstcw %0" : "=m"(guard.fpu_control));
  guard.mxcsr = 0;
  if (g_has_sse) __asm__ __volatile__("stmxcsr %0" : "=m"(guard.mxcsr));

  if (__builtin_setjmp(guard.resume) == 0) {
    // Not a tail call: this frame has to stay alive for Recover to land in.
    const int32_t result = CallBody(&guard, slot, body, context);
    TlsSetValue(slot, guard.previous);
    return result;
  }

  // Back from Recover.
  TlsSetValue(CurrentSlot(), guard.previous);
  // The overflow used up the guard page; without a new one the next overflow
  // would end the process.
  if (guard.code == EXCEPTION_STACK_OVERFLOW) _resetstkoflw();
  return kFaultResult;
}

namespace {
int* volatile g_zero_page = nullptr;
}

void DeliberateFault() {
  *static_cast<volatile int*>(g_zero_page) = 0;
  __builtin_trap();
}

}  // namespace trvx
