#include <process.h>
#include <windows.h>

#include "platform/fault_guard.h"
#include "platform/worker_thread.h"

namespace trvx {

namespace {
// The job loop keeps little on its stack: the coding state lives in the session.
constexpr unsigned kWorkerStackBytes = 4096;
// Some tens of microseconds to a millisecond, by the processor's pause: about what
// the two fields of a frame differ by, and what a host takes between frames.
constexpr int kSpins = 1 << 14;

// One signal at a time from one thread to another. The waiter spins a while before it
// sleeps on the event, and the poster sets the event only for a sleeping waiter: an
// event costs a kernel round trip each way (a server call under Wine) and a wake-up.
class Handoff {
 public:
  bool Create() {
    event_ = CreateEventA(nullptr, FALSE, FALSE, nullptr);
    return event_ != nullptr;
  }
  void Close() {
    if (event_ != nullptr) CloseHandle(event_);
    event_ = nullptr;
  }

  void Post() {
    InterlockedExchange(&posted_, 1);
    if (InterlockedExchange(&sleeping_, 0) == 1) SetEvent(event_);
  }

  void Wait() {
    for (int spin = 0; spin < kSpins; ++spin) {
      if (posted_ != 0 && InterlockedExchange(&posted_, 0) == 1) return;
      YieldProcessor();
    }
    InterlockedExchange(&sleeping_, 1);
    // A post that came before the flag was seen, or after it: in the second case the
    // poster took the flag back and its event must be consumed.
    if (InterlockedExchange(&posted_, 0) == 1 && InterlockedExchange(&sleeping_, 0) == 1) return;
    WaitForSingleObject(event_, INFINITE);
    InterlockedExchange(&posted_, 0);
  }

 private:
  HANDLE event_ = nullptr;
  volatile LONG posted_ = 0;
  volatile LONG sleeping_ = 0;
};

}  // namespace

struct WorkerThread::State {
  WorkerThread::Job job = nullptr;
  void* context = nullptr;
  HANDLE thread = nullptr;
  Handoff start;
  Handoff done;
  volatile LONG quit = 0;

  int32_t Loop() {
    for (;;) {
      start.Wait();
      if (quit != 0) return 0;
      if (job(context) != 0) return -1;
      done.Post();
    }
  }

  static unsigned __stdcall Run(void* self) {
    State* state = static_cast<State*>(self);
    return static_cast<unsigned>(RunGuarded([state] { return state->Loop(); }));
  }
};

WorkerThread::WorkerThread() noexcept = default;

WorkerThread::~WorkerThread() { Stop(); }

bool WorkerThread::Launch(Job job, void* context) {
  Stop();
  state_.reset(new (std::nothrow) State);
  if (!state_) return false;
  state_->job = job;
  state_->context = context;
  if (!state_->done.Create() || !state_->start.Create()) {
    Stop();
    return false;
  }
  state_->thread = reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, kWorkerStackBytes, &State::Run, state_.get(), 0, nullptr));
  if (state_->thread == nullptr) {
    Stop();
    return false;
  }
  return true;
}

void WorkerThread::Start() { state_->start.Post(); }

void WorkerThread::WaitUntilDone() { state_->done.Wait(); }

bool WorkerThread::Running() const { return state_ != nullptr; }

void WorkerThread::Stop() {
  if (!state_) return;
  if (state_->thread != nullptr) {
    state_->quit = 1;
    state_->start.Post();
    WaitForSingleObject(state_->thread, INFINITE);
    CloseHandle(state_->thread);
  }
  state_->start.Close();
  state_->done.Close();
  state_.reset();
}

uint32_t SystemProcessorCount() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors;
}

}  // namespace trvx
