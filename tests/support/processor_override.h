// Forces the codec's processor path (TRVX_CPU) for as long as it lives, and puts back
// what was there. A null value removes the override.
#pragma once

#include <cstdlib>
#include <string>

namespace trvx::test {

class ProcessorOverride {
 public:
  explicit ProcessorOverride(const char* flag) {
    const char* old = std::getenv("TRVX_CPU");
    hadOld_ = old != nullptr;
    if (hadOld_) old_ = old;
    Set(flag);
  }
  ~ProcessorOverride() { Set(hadOld_ ? old_.c_str() : nullptr); }
  ProcessorOverride(const ProcessorOverride&) = delete;
  ProcessorOverride& operator=(const ProcessorOverride&) = delete;

  static void Set(const char* value) {
#if defined(_WIN32)
    _putenv((std::string("TRVX_CPU=") + (value != nullptr ? value : "")).c_str());
#else
    if (value != nullptr) {
      setenv("TRVX_CPU", value, 1);
    } else {
      unsetenv("TRVX_CPU");
    }
#endif
  }

 private:
  bool hadOld_ = false;
  std::string old_;
};

}  // namespace trvx::test
