// The second coding thread each session owns (src/platform): a Win32 thread and two
// events in the DLL, std::thread natively.
#pragma once

#include <cstdint>
#include <memory>

namespace trvx {

// A second coding thread that runs one job each time it is started, in the way the
// sessions hand their second field over: the caller fills a job record, calls
// Start, does its own field and waits with WaitUntilDone. A job that fails, or a
// processor fault inside it, ends the thread without signalling completion.
class WorkerThread {
 public:
  // Returns 0 to go on waiting for the next start; anything else ends the thread.
  using Job = int32_t (*)(void* context);

  WorkerThread() noexcept;
  ~WorkerThread();
  WorkerThread(const WorkerThread&) = delete;
  WorkerThread& operator=(const WorkerThread&) = delete;

  // Creates the thread and its two events; false if the system refuses.
  bool Launch(Job job, void* context);
  void Start();
  // Waits without a time-out: a thread that ended early never signals.
  void WaitUntilDone();
  // Asks the thread to quit, waits for it and releases everything. Harmless when not running.
  void Stop();
  bool Running() const;

  struct State;

 private:
  std::unique_ptr<State> state_;
};

// The number of processors the system reports; the sessions only ask whether it is two or more.
uint32_t SystemProcessorCount();
// Where a session asks; tests give one that answers 1 or 2.
using ProcessorCountQuery = uint32_t (*)();

}  // namespace trvx
