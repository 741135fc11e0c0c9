#include <atomic>
#include <condition_variable>
#include <mutex>
#include <new>
#include <thread>

#include "platform/fault_guard.h"
#include "platform/worker_thread.h"

namespace trvx {

namespace {

// The Windows auto-reset event: one waiter wakes per signal, and the signal clears.
class AutoResetEvent {
 public:
  void Set() {
    std::lock_guard<std::mutex> lock(mutex_);
    signalled_ = true;
    condition_.notify_one();
  }
  void Wait() {
    std::unique_lock<std::mutex> lock(mutex_);
    condition_.wait(lock, [this] { return signalled_; });
    signalled_ = false;
  }

 private:
  std::mutex mutex_;
  std::condition_variable condition_;
  bool signalled_ = false;
};

}  // namespace

struct WorkerThread::State {
  WorkerThread::Job job = nullptr;
  void* context = nullptr;
  AutoResetEvent startEvent;
  AutoResetEvent doneEvent;
  std::atomic<bool> quit{false};
  std::thread thread;

  int32_t Loop() {
    for (;;) {
      startEvent.Wait();
      if (quit) return 0;
      if (job(context) != 0) return -1;
      doneEvent.Set();
    }
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
  State* state = state_.get();
  state_->thread = std::thread([state] { RunGuarded([state] { return state->Loop(); }); });
  return true;
}

void WorkerThread::Start() { state_->startEvent.Set(); }

void WorkerThread::WaitUntilDone() { state_->doneEvent.Wait(); }

bool WorkerThread::Running() const { return state_ != nullptr; }

void WorkerThread::Stop() {
  if (!state_) return;
  state_->quit = true;
  state_->startEvent.Set();
  state_->thread.join();
  state_.reset();
}

uint32_t SystemProcessorCount() { return std::thread::hardware_concurrency(); }

}  // namespace trvx
