// The add-in module's process attach only notes the module: loading the satellite, the log's
// known-folder lookup and registering a window message are calls that Microsoft's "Dynamic-Link
// Library Best Practices" rules out under the loader lock. They run on first use instead, before
// Outlook gets anything from the module (docs/localisation.md, "Start-up").
#include "addin/Module.h"

#include <atomic>
#include <new>

#include "addin/ComModule.h"
#include "core/Log.h"
#include "core/win/LocalizedStringsWin.h"
#include "notes/win/TxClipperSDKWin.h"

namespace Tessarix::Addin {
namespace {

HINSTANCE moduleInstance = nullptr;
std::atomic<bool> started{false};

} // namespace

HINSTANCE ModuleInstance() {
    return moduleInstance;
}

HRESULT StartModule() noexcept {
    if (started.load(std::memory_order_acquire))
        return S_OK;
    try {
        CriticalSection::Guard guard(ModuleCriticalSection());
        if (started.load(std::memory_order_relaxed))
            return S_OK;
        // A missing satellite only leaves the texts empty.
        LoadSatelliteModule(moduleInstance);
        Logger& log = Logger::Instance();
        if (!log.HasFileNamePattern())
            log.SetFileNamePattern(LogFileNamePattern(u"OLClipper", u'_'));
        Notes::RegisterPingMessage();
        started.store(true, std::memory_order_release);
        return S_OK;
    } catch (const std::bad_alloc&) {
        return E_OUTOFMEMORY;
    } catch (...) {
        return E_FAIL;
    }
}

} // namespace Tessarix::Addin

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        Tessarix::Addin::moduleInstance = instance;
        ::DisableThreadLibraryCalls(instance);
    }
    return TRUE;
}
