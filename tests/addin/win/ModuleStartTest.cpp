// The module's start-up: loading it does nothing but note the module, and the first class-factory
// request sets up the satellite texts and the log, once, while other threads load and unload
// libraries (and so take the loader lock) beside it. A copy of the DLL of its own is loaded and
// unloaded, so that the process attach really runs here.
#include <windows.h>

#include <psapi.h>

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "AddinModule.h"
#include "addin/OfficeInterfaces.h"
#include "addin/TessarixOL.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {
namespace {

using Testing::AddinModule;
using Testing::Bind;
using Testing::DllPath;
using Testing::LogCapture;
using Win::ComPtr;

std::wstring FolderOf(const std::wstring& path) {
    return path.substr(0, path.find_last_of(L'\\') + 1);
}

bool EndsWithNoCase(const std::wstring& text, const std::wstring& end) {
    return text.size() >= end.size() && _wcsicmp(text.c_str() + text.size() - end.size(), end.c_str()) == 0;
}

// How many views of `name` (a path ending in folder\file) the process has mapped, as data or image.
int MappedViews(const std::wstring& name) {
    int views = 0;
    MEMORY_BASIC_INFORMATION region{};
    for (auto* at = static_cast<char*>(nullptr); VirtualQuery(at, &region, sizeof(region)) == sizeof(region);
         at = static_cast<char*>(region.BaseAddress) + region.RegionSize) {
        if (region.State == MEM_FREE || region.BaseAddress != region.AllocationBase ||
            (region.Type != MEM_MAPPED && region.Type != MEM_IMAGE))
            continue;
        wchar_t mapped[MAX_PATH * 2];
        const DWORD length =
            K32GetMappedFileNameW(GetCurrentProcess(), region.BaseAddress, mapped, MAX_PATH * 2);
        if (length > 0 && EndsWithNoCase(std::wstring(mapped, length), name))
            ++views;
    }
    return views;
}

// Runs `step` on a thread of its own and waits for it a bounded time: a step stuck on the loader
// lock ends the program with a failure instead of hanging the run.
void WithinBound(const char* what, const std::function<void()>& step) {
    std::atomic<bool> done{false};
    std::thread worker([&] {
        step();
        done = true;
    });
    for (int waited = 0; !done && waited < 300; ++waited)
        Sleep(100);
    if (!done) {
        ADD_FAILURE() << what << " did not finish within 30 s: a deadlock on the loader lock";
        fflush(stdout);
        TerminateProcess(GetCurrentProcess(), 3);
    }
    worker.join();
}

// Loads and unloads another library again and again, each time through the loader lock.
class LoaderTraffic {
public:
    LoaderTraffic()
        : thread_([this] {
              while (!stop_) {
                  if (HMODULE other = LoadLibraryW(L"msimg32.dll")) {
                      FreeLibrary(other);
                      ++rounds_;
                  }
              }
          }) {}
    ~LoaderTraffic() { Stop(); }
    LoaderTraffic(const LoaderTraffic&) = delete;
    LoaderTraffic& operator=(const LoaderTraffic&) = delete;

    long Stop() {
        stop_ = true;
        if (thread_.joinable())
            WithinBound("the other library's loads", [this] { thread_.join(); });
        return rounds_;
    }

private:
    std::atomic<bool> stop_{false};
    std::atomic<long> rounds_{0};
    std::thread thread_;
};

// The built DLL and its satellite, copied into a folder of this process's own.
class ModuleCopy {
public:
    ModuleCopy() {
        wchar_t temp[MAX_PATH];
        GetTempPathW(MAX_PATH, temp);
        folderName_ = L"TessarixStart" + std::to_wstring(GetCurrentProcessId());
        folder_ = std::wstring(temp) + folderName_ + L"\\";
        CreateDirectoryW(folder_.c_str(), nullptr);
        const std::wstring built = FolderOf(DllPath());
        for (const wchar_t* file : {L"TessarixOL.dll", L"Resource.dll"})
            copied_ = CopyFileW((built + file).c_str(), (folder_ + file).c_str(), FALSE) && copied_;
    }
    ~ModuleCopy() {
        // The satellite stays mapped for the life of the process; what cannot go yet is left.
        for (const wchar_t* file : {L"TessarixOL.dll", L"Resource.dll"})
            DeleteFileW((folder_ + file).c_str());
        RemoveDirectoryW(folder_.c_str());
    }
    ModuleCopy(const ModuleCopy&) = delete;
    ModuleCopy& operator=(const ModuleCopy&) = delete;

    bool Copied() const { return copied_; }
    std::wstring Dll() const { return folder_ + L"TessarixOL.dll"; }
    // The satellite as its mapped name ends.
    std::wstring SatelliteName() const { return L"\\" + folderName_ + L"\\Resource.dll"; }

private:
    std::wstring folderName_;
    std::wstring folder_;
    bool copied_ = true;
};

TEST(ModuleStart, LoadingDoesNothingAndTheFirstClassRequestSetsUpOnceBesideOtherLoads) {
    ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    ModuleCopy copy;
    ASSERT_TRUE(copy.Copied());
    LogCapture log;
    LoaderTraffic traffic;

    AddinModule dll;
    WithinBound("LoadLibraryW of the add-in", [&] { dll.module = LoadLibraryW(copy.Dll().c_str()); });
    ASSERT_NE(dll.module, nullptr) << GetLastError();
    Bind(dll.module, "DllGetClassObject", dll.getClassObject);
    Bind(dll.module, "DllCanUnloadNow", dll.canUnloadNow);
    ASSERT_TRUE(dll.getClassObject && dll.canUnloadNow);
    EXPECT_EQ(MappedViews(copy.SatelliteName()), 0) << "the process attach loaded the satellite";

    // Two first requests at once: one sets up, the other waits for it.
    ComPtr<IClassFactory> factories[2];
    HRESULT results[2] = {E_FAIL, E_FAIL};
    WithinBound("two first class requests", [&] {
        std::thread second([&] {
            results[1] = dll.getClassObject(__uuidof(::Connect), IID_IClassFactory,
                                            reinterpret_cast<void**>(factories[1].AddressOf()));
        });
        results[0] = dll.getClassObject(__uuidof(::Connect), IID_IClassFactory,
                                        reinterpret_cast<void**>(factories[0].AddressOf()));
        second.join();
    });
    EXPECT_EQ(results[0], S_OK);
    EXPECT_EQ(results[1], S_OK);
    EXPECT_EQ(MappedViews(copy.SatelliteName()), 1);

    // The log is the OLClipper files from the first object on, as when the attach set it up.
    if (factories[0]) {
        ComPtr<_IDTExtensibility2> connect;
        EXPECT_EQ(factories[0]->CreateInstance(nullptr, __uuidof(_IDTExtensibility2),
                                               reinterpret_cast<void**>(connect.AddressOf())),
                  S_OK);
    }
    const std::string lines = log.Text();
    EXPECT_NE(lines.find("Debug: \xE4\xBD\xA0\xE5\xA5\xBD"
                         "CConnect::Ctor call begin\r"),
              std::string::npos)
        << lines;
    EXPECT_NE(lines.find("Debug: CConnect::Dtor call end\r"), std::string::npos) << lines;

    factories[0].Reset();
    factories[1].Reset();
    EXPECT_EQ(dll.canUnloadNow(), S_OK);
    WithinBound("FreeLibrary of the add-in", [&] { EXPECT_TRUE(FreeLibrary(dll.module)); });
    EXPECT_GT(traffic.Stop(), 0) << "the other library was never loaded beside the add-in";
    ::CoUninitialize();
}

} // namespace
} // namespace Tessarix::Addin
