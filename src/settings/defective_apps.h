// The process-wide list of hosts that must not be offered packed YUV (src/settings),
// kept in the registry.
#pragma once

#include <windows.h>

#include <cstddef>

namespace trvx {

constexpr std::size_t kDefectiveAppSlots = 16;
constexpr std::size_t kDefectiveAppNameBytes = MAX_PATH;

// Host programs that misbehave when offered packed YUV: process-wide, upper case,
// the first empty entry ends the list.
struct DefectiveAppList {
  char entries[kDefectiveAppSlots][kDefectiveAppNameBytes];
};

DefectiveAppList& DefectiveApps();

// At library attach: keeps the module for the list's dialog, loads the list and puts
// the default list in place of a missing or invalid one.
void InitialiseDefectiveApps(HINSTANCE module);
HINSTANCE DefectiveAppsModule();
bool LoadDefectiveApps();
void WriteDefectiveApps();

// True when the running program is on the list, or cannot be named (the safe side).
bool IsHostDefective();

}  // namespace trvx
