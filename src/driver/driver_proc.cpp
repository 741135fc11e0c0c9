// The driver's only export: turns a driver identifier into a codec instance and routes
// each message to its handler.
#include <windows.h>
// vfw.h needs the Windows types declared first.
#include <vfw.h>

#include <cstdint>
#include <new>

#include "driver/codec_info.h"
#include "driver/codec_instance.h"
#include "format/icm_results.h"
#include "pixel/memory_routines.h"
#include "pixel/processor.h"
#include "platform/fault_guard.h"
#include "settings/defective_apps.h"
#include "settings/settings_store.h"
#include "ui/dialogs.h"

namespace trvx {

namespace {

// The identifier of an open without codec parameters (the system's driver panel).
constexpr DWORD_PTR kNoInstanceId = 0xFFFFFFFF;
// ICM_CONFIGURE and ICM_ABOUT ask with this whether a dialog exists.
constexpr LPARAM kDialogQuery = -1;

const BitmapHeader* InFormat(LPARAM value) { return reinterpret_cast<const BitmapHeader*>(value); }
BitmapHeader* OutFormat(LPARAM value) { return reinterpret_cast<BitmapHeader*>(value); }

FormatPolicy Policy(const CodecInstance& instance) { return instance.Policy(&IsHostDefective); }

using Handler = LRESULT (*)(CodecInstance& instance, LPARAM lParam1, LPARAM lParam2);

struct Route {
  UINT message;
  Handler handler;
};

// The host's ICCOMPRESS and ICDECOMPRESS records as the Windows headers lay them out
// for this pointer width; a frame message with another size is refused.
static_assert(sizeof(ICCOMPRESS) == (sizeof(void*) == 4 ? 48 : 88), "ICCOMPRESS as hosts pass it");
static_assert(sizeof(ICDECOMPRESS) == (sizeof(void*) == 4 ? 24 : 48), "ICDECOMPRESS as hosts pass it");

// Messages that need an instance; each runs under the fault guard, since every one of
// them follows pointers that the host supplies.
const Route kRoutes[] = {
    {ICM_COMPRESS_GET_FORMAT,
     [](CodecInstance&, LPARAM in, LPARAM out) -> LRESULT {
       return CompressGetFormat(InFormat(in), reinterpret_cast<JpegBitmapHeader*>(out));
     }},
    {ICM_COMPRESS_GET_SIZE, [](CodecInstance&, LPARAM in, LPARAM) -> LRESULT { return CompressGetSize(InFormat(in)); }},
    {ICM_COMPRESS_QUERY,
     [](CodecInstance& c, LPARAM in, LPARAM out) -> LRESULT {
       return CompressQuery(Policy(c), InFormat(in), InFormat(out));
     }},
    {ICM_COMPRESS_BEGIN,
     [](CodecInstance& c, LPARAM in, LPARAM out) -> LRESULT {
       return c.CompressBegin(Policy(c), InFormat(in), InFormat(out));
     }},
    {ICM_COMPRESS,
     [](CodecInstance& c, LPARAM record, LPARAM size) -> LRESULT {
       if (size != LPARAM{sizeof(ICCOMPRESS)}) return kIcmError;
       const ICCOMPRESS& host = *reinterpret_cast<const ICCOMPRESS*>(record);
       return c.Compress({reinterpret_cast<BitmapHeader*>(host.lpbiOutput), static_cast<uint8_t*>(host.lpOutput),
                          reinterpret_cast<const BitmapHeader*>(host.lpbiInput),
                          static_cast<const uint8_t*>(host.lpInput), host.dwQuality});
     }},
    {ICM_COMPRESS_END, [](CodecInstance& c, LPARAM, LPARAM) -> LRESULT { return c.CompressEnd(); }},
    {ICM_DECOMPRESS_GET_FORMAT,
     [](CodecInstance&, LPARAM in, LPARAM out) -> LRESULT {
       return DecompressGetFormat(InFormat(in), OutFormat(out));
     }},
    {ICM_DECOMPRESS_QUERY,
     [](CodecInstance& c, LPARAM in, LPARAM out) -> LRESULT {
       return DecompressQuery(Policy(c), InFormat(in), InFormat(out));
     }},
    {ICM_DECOMPRESS_BEGIN,
     [](CodecInstance& c, LPARAM in, LPARAM out) -> LRESULT {
       return c.DecompressBegin(Policy(c), InFormat(in), InFormat(out));
     }},
    {ICM_DECOMPRESS,
     [](CodecInstance& c, LPARAM record, LPARAM size) -> LRESULT {
       if (size != LPARAM{sizeof(ICDECOMPRESS)}) return kIcmBadParam;
       const ICDECOMPRESS& host = *reinterpret_cast<const ICDECOMPRESS*>(record);
       return c.Decompress(
           {reinterpret_cast<const BitmapHeader*>(host.lpbiInput), static_cast<const uint8_t*>(host.lpInput),
            reinterpret_cast<const BitmapHeader*>(host.lpbiOutput), static_cast<uint8_t*>(host.lpOutput)});
     }},
    {ICM_DECOMPRESS_END, [](CodecInstance& c, LPARAM, LPARAM) -> LRESULT { return c.DecompressEnd(); }},
    {ICM_GETSTATE,
     [](CodecInstance& c, LPARAM buffer, LPARAM size) -> LRESULT {
       return c.GetState(reinterpret_cast<void*>(buffer), static_cast<uintptr_t>(size));
     }},
    {ICM_SETSTATE,
     [](CodecInstance& c, LPARAM state, LPARAM size) -> LRESULT {
       return c.SetState(reinterpret_cast<const void*>(state), size, ProcessSettings());
     }},
    {ICM_GETINFO,
     [](CodecInstance&, LPARAM info, LPARAM size) -> LRESULT {
       return GetCodecInfo(reinterpret_cast<void*>(info), size);
     }},
    {ICM_GETDEFAULTQUALITY,
     [](CodecInstance&, LPARAM quality, LPARAM) -> LRESULT {
       *reinterpret_cast<uint32_t*>(quality) = kDefaultQuality;
       return kIcmOk;
     }},
    {ICM_GETQUALITY,
     [](CodecInstance& c, LPARAM quality, LPARAM) -> LRESULT {
       return c.GetQuality(reinterpret_cast<uint32_t*>(quality));
     }},
    // The quality is read through the pointer in lParam1: that is this driver's contract.
    {ICM_SETQUALITY,
     [](CodecInstance& c, LPARAM quality, LPARAM) -> LRESULT {
       return c.SetQuality(*reinterpret_cast<const uint32_t*>(quality));
     }},
};

// Drawing is not offered; these answer "error" rather than "unsupported", with or
// without an instance, as hosts of this codec have always seen.
constexpr UINT kRefusedDrawMessages[] = {ICM_DRAW_BEGIN, ICM_DRAW_START,      ICM_DRAW_STOP, ICM_DRAW_END,
                                         ICM_DRAW_QUERY, ICM_DRAW_GETTIME,    ICM_DRAW,      ICM_DRAW_SETTIME,
                                         ICM_DRAW_FLUSH, ICM_GETBUFFERSWANTED};

// MMX kernels share their registers with the x87 unit: the host's floating point must
// find them free after every frame, including one that a fault cut short.
void ClearMmxStateAfterFrame() {
  if (UsesVectorKernels(DetectProcessor())) ClearMmxState();
}

LRESULT OpenInstance(LPARAM openRecord) {
  // An open without ICOPEN record holds no instance but still succeeds.
  if (openRecord == 0) return static_cast<LRESULT>(kNoInstanceId);
  return reinterpret_cast<LRESULT>(new (std::nothrow) CodecInstance(ProcessSettings()));
}

LRESULT ShowInstanceDialog(CodecInstance* instance, UINT message, LPARAM parent) {
  if (parent == kDialogQuery) return kIcmOk;
  if (instance == nullptr) return kIcmError;
  const HWND window = reinterpret_cast<HWND>(parent);
  if (message == ICM_CONFIGURE) return ShowSettingsDialog(window, &instance->Settings());
  return ShowAboutDialog(window, instance->Settings().tag);
}

LRESULT RouteCodecMessage(CodecInstance* instance, UINT message, LPARAM lParam1, LPARAM lParam2) {
  if (message == ICM_CONFIGURE || message == ICM_ABOUT) return ShowInstanceDialog(instance, message, lParam1);
  for (UINT refused : kRefusedDrawMessages) {
    if (message == refused) return kIcmError;
  }
  for (const Route& route : kRoutes) {
    if (route.message != message) continue;
    if (instance == nullptr) return kIcmError;
    // Results are pointer-wide (a state size comes back as the host gave it); the
    // guard's own is a 32-bit code.
    LRESULT result = 0;
    if (RunGuarded([&]() { return result = route.handler(*instance, lParam1, lParam2), int32_t{0}; }) == kFaultResult) {
      result = kFaultResult;
    }
    if (message == ICM_COMPRESS || message == ICM_DECOMPRESS) ClearMmxStateAfterFrame();
    return result;
  }
  return kIcmUnsupported;
}

LRESULT Dispatch(DWORD_PTR driverId, HDRVR driver, UINT message, LPARAM lParam1, LPARAM lParam2) {
  CodecInstance* instance = driverId == kNoInstanceId ? nullptr : reinterpret_cast<CodecInstance*>(driverId);
  switch (message) {
    case DRV_LOAD:
    case DRV_ENABLE:
    case DRV_DISABLE:
    case DRV_FREE:
    case DRV_QUERYCONFIGURE:
    case DRV_INSTALL:
    case DRV_REMOVE:
      return 1;
    case DRV_OPEN:
      return OpenInstance(lParam2);
    case DRV_CLOSE:
      delete instance;
      return 1;
    case DRV_CONFIGURE:
      if (lParam1 != 0) ShowDriverDialog(reinterpret_cast<HWND>(lParam1));
      return 0;
    default:
      break;
  }
  if (message < DRV_USER) return DefDriverProc(driverId, driver, message, lParam1, lParam2);
  return RouteCodecMessage(instance, message, lParam1, lParam2);
}

// What a message answers when a C++ exception (the private heap's bad_alloc, say)
// reached the entry: a host knows how to take a failed open or begin, not an unwind
// through its own frames.
LRESULT FailureResult(UINT message) {
  switch (message) {
    case DRV_OPEN:
      return 0;
    case ICM_COMPRESS_BEGIN:
    case ICM_DECOMPRESS_BEGIN:
      return kIcmMemory;
    default:
      return kIcmError;
  }
}

}  // namespace

}  // namespace trvx

extern "C" LRESULT WINAPI DriverProc(DWORD_PTR driverId, HDRVR driver, UINT message, LPARAM lParam1, LPARAM lParam2) {
  try {
    return trvx::Dispatch(driverId, driver, message, lParam1, lParam2);
  } catch (...) {
    return trvx::FailureResult(message);
  }
}
