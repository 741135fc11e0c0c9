// Fault guard for native builds: synchronous fault signals jump back to the
// innermost guard of the faulting thread; everything else goes to whoever handled
// the signal before us (the default action, or AddressSanitizer's reporter).
#include "platform/fault_guard.h"

#include <errno.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <atomic>
#include <cfenv>
#include <cstddef>
#include <mutex>

namespace trvx {
namespace {

constexpr int kFaultSignals[] = {SIGSEGV, SIGBUS, SIGILL, SIGFPE};
constexpr int kSignalCount = sizeof(kFaultSignals) / sizeof(kFaultSignals[0]);

struct Guard {
  sigjmp_buf resume;
  Guard* previous;
};

// Initial-exec so the handler never triggers a lazy TLS allocation.
__attribute__((tls_model("initial-exec"))) thread_local Guard* t_guard = nullptr;

std::mutex g_install_mutex;
std::atomic<bool> g_installed{false};
struct sigaction g_previous[kSignalCount];

int SignalIndex(int signal_number) {
  for (int i = 0; i < kSignalCount; ++i) {
    if (kFaultSignals[i] == signal_number) return i;
  }
  return 0;
}

// Hands a signal we do not own to the handler that was there before us.
void ForwardSignal(int signal_number, siginfo_t* info, void* ucontext) {
  const struct sigaction& previous = g_previous[SignalIndex(signal_number)];
  if (previous.sa_flags & SA_SIGINFO) {
    if (previous.sa_sigaction != nullptr) previous.sa_sigaction(signal_number, info, ucontext);
    return;
  }
  if (previous.sa_handler == SIG_IGN && info->si_code <= 0) return;
  if (previous.sa_handler == SIG_DFL || previous.sa_handler == SIG_IGN) {
    // Returning re-executes the faulting instruction, which now gets the default
    // action: the process ends exactly as it would have without the guard.
    struct sigaction fallback = {};
    fallback.sa_handler = SIG_DFL;
    sigemptyset(&fallback.sa_mask);
    sigaction(signal_number, &fallback, nullptr);
    if (info->si_code <= 0) raise(signal_number);  // sent by kill(): nothing re-executes
    return;
  }
  previous.sa_handler(signal_number);
}

void OnFaultSignal(int signal_number, siginfo_t* info, void* ucontext) {
  Guard* guard = t_guard;
  // si_code > 0: raised by the processor, not sent by another process.
  if (guard != nullptr && info != nullptr && info->si_code > 0) siglongjmp(guard->resume, 1);
  const int saved_errno = errno;
  ForwardSignal(signal_number, info, ucontext);
  errno = saved_errno;
}

// A stack overflow can only be handled on an alternate signal stack. AddressSanitizer
// sets one up on its threads; other threads get ours on their first guarded call.
class AltStack {
 public:
  ~AltStack() {
    if (memory_ == nullptr) return;
    stack_t current;
    if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == usable_) {
      stack_t off = {};
      off.ss_flags = SS_DISABLE;
      sigaltstack(&off, nullptr);
    }
    munmap(memory_, kGuardSize + kUsableSize);
  }

  void Ensure() {
    if (checked_) return;
    checked_ = true;
    stack_t current;
    if (sigaltstack(nullptr, &current) == 0 && !(current.ss_flags & SS_DISABLE)) return;
    void* memory = mmap(nullptr, kGuardSize + kUsableSize, PROT_READ | PROT_WRITE,
                        MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (memory == MAP_FAILED) return;
    // The lowest page stays inaccessible so an overflow of the handler itself faults
    // instead of silently writing below the mapping.
    mprotect(memory, kGuardSize, PROT_NONE);
    stack_t stack = {};
    stack.ss_sp = static_cast<char*>(memory) + kGuardSize;
    stack.ss_size = kUsableSize;
    if (sigaltstack(&stack, nullptr) != 0) {
      munmap(memory, kGuardSize + kUsableSize);
      return;
    }
    memory_ = memory;
    usable_ = stack.ss_sp;
  }

 private:
  static constexpr size_t kGuardSize = 64 * 1024;  // covers any page size in use
  static constexpr size_t kUsableSize = 64 * 1024;
  void* memory_ = nullptr;
  void* usable_ = nullptr;
  bool checked_ = false;
};

thread_local AltStack t_alt_stack;

// Pops the guard when the body throws; RunGuarded pops it otherwise.
int32_t CallBody(Guard* guard, int32_t (*body)(void*), void* context) {
  t_guard = guard;
  try {
    return body(context);
  } catch (...) {
    t_guard = guard->previous;
    throw;
  }
}

}  // namespace

void InstallFaultGuard() {
  std::lock_guard<std::mutex> lock(g_install_mutex);
  if (g_installed.load(std::memory_order_relaxed)) return;
  for (int i = 0; i < kSignalCount; ++i) {
    struct sigaction action = {};
    action.sa_sigaction = OnFaultSignal;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigemptyset(&action.sa_mask);
    sigaction(kFaultSignals[i], &action, &g_previous[i]);
  }
  g_installed.store(true, std::memory_order_release);
}

void RemoveFaultGuard() {
  std::lock_guard<std::mutex> lock(g_install_mutex);
  if (!g_installed.load(std::memory_order_relaxed)) return;
  for (int i = 0; i < kSignalCount; ++i) sigaction(kFaultSignals[i], &g_previous[i], nullptr);
  g_installed.store(false, std::memory_order_release);
}

int32_t RunGuarded(int32_t (*body)(void*), void* context) {
  if (!g_installed.load(std::memory_order_acquire)) InstallFaultGuard();
  t_alt_stack.Ensure();

  Guard guard;
  guard.previous = t_guard;
  // The handler starts with a fresh floating-point state and siglongjmp keeps it,
  // so the caller's rounding mode, exception masks and x87 stack come back from here.
  fenv_t floating_point;
  fegetenv(&floating_point);
  if (sigsetjmp(guard.resume, 1) != 0) {
    t_guard = guard.previous;
    fesetenv(&floating_point);
    return kFaultResult;
  }
  const int32_t result = CallBody(&guard, body, context);
  t_guard = guard.previous;
  return result;
}

namespace {
int* volatile g_zero_page = nullptr;
}

// Unsanitised: the null store is the point, the processor has to see it.
__attribute__((no_sanitize("address", "thread", "undefined"))) void DeliberateFault() {
  *static_cast<volatile int*>(g_zero_page) = 0;
  __builtin_trap();
}

}  // namespace trvx
