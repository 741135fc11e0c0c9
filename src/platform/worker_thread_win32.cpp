#include <process.h>
#include <windows.h>

#include "platform/fault_guard.h"
#include "platform/worker_thread.h"

namespace trvx {

namespace {
// The job loop keeps little on its stack: the coding state lives in the session.
constexpr unsigned kWorkerStackBytes = 4096;

// An auto-reset event that is set only for a waiter that went to sleep. Both fields of
// a frame take about as long, so the waiter mostly sees the signal while it spins:
// under Wine every SetEvent and every wait on an event is a round trip to the server,
// which cost a fifth of a 720x576 frame's time on two processors.
class Signal {
 public:
  bool Create() { return (event_ = CreateEventA(nullptr, FALSE, FALSE, nullptr)) != nullptr; }
  void Close() {
    if (event_ != nullptr) CloseHandle(event_);
  }
  void Raise() {
    if (InterlockedExchange(&state_, kRaised) == kSleeping) SetEvent(event_);
  }
  void Await() {
    for (int spin = 0; spin < kSpins; ++spin) {
      if (state_ == kRaised && InterlockedCompareExchange(&state_, kIdle, kRaised) == kRaised) return;
      YieldProcessor();
    }
    if (InterlockedCompareExchange(&state_, kSleeping, kIdle) == kIdle) WaitForSingleObject(event_, INFINITE);
    InterlockedExchange(&state_, kIdle);
  }

 private:
  static constexpr LONG kIdle = 0, kRaised = 1, kSleeping = 2;
  // Some tens to hundreds of microseconds, as long as the two fields usually differ.
  static constexpr int kSpins = 1 << 13;
  HANDLE event_ = nullptr;
  volatile LONG state_ = kIdle;
};

}  // namespace

struct WorkerThread::State {
  WorkerThread::Job job = nullptr;
  void* context = nullptr;
  HANDLE thread = nullptr;
  Signal start;
  Signal done;
  volatile LONG quit = 0;

  int32_t Loop() {
    for (;;) {
      start.Await();
      if (quit != 0) return 0;
      if (job(context) != 0) return -1;
      done.Raise();
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
  if (!state_->start.Create() || !state_->done.Create()) {
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

void WorkerThread::Start() { state_->start.Raise(); }

void WorkerThread::WaitUntilDone() { state_->done.Await(); }

bool WorkerThread::Running() const { return state_ != nullptr; }

void WorkerThread::Stop() {
  if (!state_) return;
  if (state_->thread != nullptr) {
    state_->quit = 1;
    state_->start.Raise();
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
