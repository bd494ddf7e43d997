#pragma once
// Every library the add-in loads at run time is loaded here, and never by a bare name: a bare name
// that is not already loaded is searched for in folders such as the current one, where whoever
// sent the user a file can put a library of the same name.
#include <windows.h>

#include <memory>
#include <string>
#include <type_traits>

namespace Tessarix::Win {

struct ModuleFree {
    void operator()(HMODULE module) const { ::FreeLibrary(module); }
};
using UniqueModule = std::unique_ptr<std::remove_pointer_t<HMODULE>, ModuleFree>;

// A library of the system folder: searched there alone where Windows can restrict the search
// (LOAD_LIBRARY_SEARCH_SYSTEM32), else loaded by its full path in the system folder.
HMODULE LoadSystemLibrary(const wchar_t* name);

// The host's MAPI library, with a reference of its own: the one Outlook has already loaded
// (olmapi32.dll from Outlook 2010 on, msmapi32.dll before), else the full path that the installed
// Outlook registers for MAPI clients. Null when there is neither.
HMODULE LoadOutlookMapi();

// A resource-only module by its full path, mapped as data: its strings and pictures are read, no
// code of it runs.
HMODULE LoadResourceModule(const std::wstring& fullPath);

// Tests: called with each file name and flags just before it is loaded.
using LibraryLoadObserver = void (*)(const wchar_t* file, DWORD flags);
void ObserveLibraryLoads(LibraryLoadObserver observer);

} // namespace Tessarix::Win
