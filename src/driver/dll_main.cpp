#include <windows.h>

#include "platform/module_handle.h"
#include "platform/fault_guard.h"
#include "platform/private_heap.h"
#include "settings/defective_apps.h"
#include "settings/settings_store.h"

namespace trvx {

namespace {

HINSTANCE codecModule = nullptr;

void AttachProcess(HINSTANCE module) {
  CreatePrivateHeap();
  if (codecModule == nullptr) codecModule = module;
  InstallFaultGuard();
  InitialiseDefectiveApps(codecModule);
  if (!LoadSettings(ProcessSettings())) WriteDefaultSettings(ProcessSettings());
}

void DetachProcess() {
  // The host keeps running after the manager unloads the driver: nothing of ours may
  // stay hooked into its exception handling.
  RemoveFaultGuard();
  DestroyPrivateHeap();
}

}  // namespace

HINSTANCE CodecModule() { return codecModule; }

}  // namespace trvx

extern "C" BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) trvx::AttachProcess(module);
  if (reason == DLL_PROCESS_DETACH) trvx::DetachProcess();
  return TRUE;
}
