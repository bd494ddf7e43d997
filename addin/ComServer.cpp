// The four standard exports of an in-process COM server, and DllInstall for per-user
// registration ("regsvr32 /n /i:user TessarixOL.dll").
#include <windows.h>

#include <objbase.h>

#include <cwchar>

#include "addin/ComModule.h"
#include "addin/Connect.h"
#include "addin/Module.h"
#include "addin/Registrar.h"
#include "addin/TessarixOL.h"

namespace Tessarix::Addin {
namespace {

// The class factory of Connect, made on first request and released when the module unloads.
class FactoryCache {
public:
    FactoryCache() = default;
    FactoryCache(const FactoryCache&) = delete;
    FactoryCache& operator=(const FactoryCache&) = delete;
    ~FactoryCache() {
        if (factory_)
            factory_->Release();
    }

    HRESULT Get(REFIID iid, void** out) {
        {
            CriticalSection::Guard guard(ModuleCriticalSection());
            if (!factory_) {
                factory_ = new (std::nothrow) ClassFactory(&CreateComObject<CConnect>);
                if (!factory_)
                    return E_OUTOFMEMORY;
            }
        }
        return factory_->QueryInterface(iid, out);
    }

private:
    ClassFactory* factory_ = nullptr;
};

FactoryCache g_connectFactory;

} // namespace
} // namespace Tessarix::Addin

using namespace Tessarix::Addin;

extern "C" {

STDAPI DllGetClassObject(REFCLSID clsid, REFIID iid, LPVOID* out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (!IsEqualCLSID(clsid, __uuidof(Connect)))
        return CLASS_E_CLASSNOTAVAILABLE;
    // Outlook's first request, before it has anything of ours.
    if (const HRESULT started = StartModule(); FAILED(started))
        return started;
    return g_connectFactory.Get(iid, out);
}

STDAPI DllCanUnloadNow() {
    return ModuleLockCount() == 0 ? S_OK : S_FALSE;
}

// Registration logs its failures, so it starts the module too.
STDAPI DllRegisterServer() {
    if (const HRESULT started = StartModule(); FAILED(started))
        return started;
    return RegisterServer(RegistrationScope::Machine);
}

STDAPI DllUnregisterServer() {
    if (const HRESULT started = StartModule(); FAILED(started))
        return started;
    return UnregisterServer(RegistrationScope::Machine);
}

// "user" registers for the current user only; no text (or "machine") registers machine-wide.
STDAPI DllInstall(BOOL install, LPCWSTR commandLine) {
    RegistrationScope scope = RegistrationScope::Machine;
    if (commandLine && *commandLine) {
        if (_wcsicmp(commandLine, L"user") == 0) {
            scope = RegistrationScope::CurrentUser;
        } else if (_wcsicmp(commandLine, L"machine") != 0) {
            return E_INVALIDARG;
        }
    }
    if (const HRESULT started = StartModule(); FAILED(started))
        return started;
    return install ? RegisterServer(scope) : UnregisterServer(scope);
}

} // extern "C"
