// The add-in module's process attach: before Outlook creates anything, the satellite texts are
// loaded, the log is pointed at its files and the hand-off's ping message is registered.
#include "addin/Module.h"

#include "core/Log.h"
#include "core/win/LocalizedStringsWin.h"
#include "notes/win/TxClipperSDKWin.h"

namespace Tessarix::Addin {
namespace {

HINSTANCE moduleInstance = nullptr;

void OnProcessAttach(HINSTANCE instance) {
    moduleInstance = instance;
    // A missing satellite only leaves the texts empty.
    LoadSatelliteModule(instance);
    Logger& log = Logger::Instance();
    if (!log.HasFileNamePattern())
        log.SetFileNamePattern(LogFileNamePattern(u"OLClipper", u'_'));
    Notes::RegisterPingMessage();
}

} // namespace

HINSTANCE ModuleInstance() {
    return moduleInstance;
}

} // namespace Tessarix::Addin

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
    if (reason != DLL_PROCESS_ATTACH)
        return TRUE;
    ::DisableThreadLibraryCalls(instance);
    try {
        Tessarix::Addin::OnProcessAttach(instance);
        return TRUE;
    } catch (...) {
        // Out of memory before anything ran: refuse to load rather than run half set up.
        return FALSE;
    }
}
