// Main of the Windows test programs. After the tests it throws and catches one C++
// exception: an exception handler that the codec left behind would crash the process
// here, and Wine would still exit with 0, so the run is judged by the closing line.
#include <gtest/gtest.h>
#include <windows.h>

#include <cstdio>
#include <cstdlib>
#include <stdexcept>

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  // The one-processor runs hide the second processor from Wine; make sure they did.
  SYSTEM_INFO system;
  GetSystemInfo(&system);
  const char* count = std::getenv("TRVX_EXPECT_PROCESSORS");
  if (count != nullptr && system.dwNumberOfProcessors != DWORD(std::atoi(count))) {
    std::printf("the system reports %lu processors, not %s\n", system.dwNumberOfProcessors, count);
    return 1;
  }
  const int result = RUN_ALL_TESTS();
  try {
    throw std::runtime_error("process still healthy");
  } catch (const std::runtime_error&) {
  }
  if (result == 0) std::puts("all done: every test passed");
  std::fflush(stdout);
  return result;
}
