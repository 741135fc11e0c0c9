#include <process.h>
#include <windows.h>

#include "platform/fault_guard.h"
#include "platform/worker_thread.h"

namespace trvx {

namespace {
// The job loop keeps little on its stack: the coding state lives in the session.
constexpr unsigned kWorkerStackBytes = 4096;
}  // namespace

struct WorkerThread::State {
  WorkerThread::Job job = nullptr;
  void* context = nullptr;
  HANDLE thread = nullptr;
  HANDLE startEvent = nullptr;
  HANDLE doneEvent = nullptr;
  volatile LONG quit = 0;

  int32_t Loop() {
    for (;;) {
      WaitForSingleObject(startEvent, INFINITE);
      if (quit != 0) return 0;
      if (job(context) != 0) return -1;
      SetEvent(doneEvent);
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
  state_->doneEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  state_->startEvent = CreateEventA(nullptr, FALSE, FALSE, nullptr);
  state_->thread = reinterpret_cast<HANDLE>(
      _beginthreadex(nullptr, kWorkerStackBytes, &State::Run, state_.get(), 0, nullptr));
  if (state_->thread == nullptr || state_->doneEvent == nullptr || state_->startEvent == nullptr) {
    Stop();
    return false;
  }
  return true;
}

void WorkerThread::Start() { SetEvent(state_->startEvent); }

void WorkerThread::WaitUntilDone() { WaitForSingleObject(state_->doneEvent, INFINITE); }

bool WorkerThread::Running() const { return state_ != nullptr; }

void WorkerThread::Stop() {
  if (!state_) return;
  if (state_->thread != nullptr) {
    state_->quit = 1;
    SetEvent(state_->startEvent);
    WaitForSingleObject(state_->thread, INFINITE);
    CloseHandle(state_->thread);
  }
  if (state_->startEvent != nullptr) CloseHandle(state_->startEvent);
  if (state_->doneEvent != nullptr) CloseHandle(state_->doneEvent);
  state_.reset();
}

uint32_t SystemProcessorCount() {
  SYSTEM_INFO info;
  GetSystemInfo(&info);
  return info.dwNumberOfProcessors;
}

}  // namespace trvx
