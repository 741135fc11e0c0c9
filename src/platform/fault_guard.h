// Turns processor faults inside the codec into an error code instead of a crash of
// the host application. A video editor that loads the codec must survive a bad
// frame, so every entry point runs its work through RunGuarded.
//
// Rules for guarded code: the fault path skips all destructors between the guard
// and the faulting instruction, so nothing on that path may own heap memory, hold a
// lock or sit inside a catch block. Exceptions may be thrown and caught freely
// inside the body, and may also leave it (the guard is popped on the way out).
// On Windows the guard sees a fault before any handler inside the body does, so
// calls that probe memory by faulting on purpose (IsBadReadPtr and the like) make
// the whole body fail.
#pragma once

#include <cstdint>
#include <memory>
#include <type_traits>

namespace trvx {

constexpr int32_t kFaultResult = -100;

// Process-wide set-up and tear-down; both are idempotent. The DLL installs at
// process attach and must remove at process detach: the host may unload the codec
// while it keeps running, and a handler left pointing into unmapped code would
// crash it at its next exception. Do not remove while another thread is inside
// RunGuarded.
void InstallFaultGuard();
void RemoveFaultGuard();

// Runs body(context) and returns its result, or kFaultResult when the processor
// faulted inside it. Nestable and usable from any thread; installs the guard on
// first use if nobody did.
int32_t RunGuarded(int32_t (*body)(void*), void* context);

template <class Body>
int32_t RunGuarded(Body&& body) {
  using Target = std::remove_reference_t<Body>;
  static_assert(std::is_convertible_v<std::invoke_result_t<Target&>, int32_t>,
                "a guarded body returns int32_t");
  return RunGuarded(
      [](void* context) -> int32_t { return (*static_cast<Target*>(context))(); },
      const_cast<void*>(static_cast<const volatile void*>(std::addressof(body))));
}

// The codec's reaction to internal states it does not support: a store to address
// zero, which the surrounding guard turns into kFaultResult.
[[noreturn]] void DeliberateFault();

}  // namespace trvx
