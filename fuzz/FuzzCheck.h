#pragma once
// Shared by the fuzz targets: a broken invariant ends the run the way a sanitizer report does, so
// that libFuzzer keeps the input as a crash.
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>

#include "core/Exceptions.h"
#include "core/Utf.h"

namespace Tessarix::Fuzz {

[[noreturn]] inline void Fail(const char* what, const std::string& detail = {}) {
    std::fprintf(stderr, "==fuzz== invariant broken: %s%s%s\n", what, detail.empty() ? "" : ": ",
                 detail.c_str());
    std::abort();
}

inline void Require(bool holds, const char* what, const std::string& detail = {}) {
    if (!holds)
        Fail(what, detail);
}

// What an exception that no caller expects says, for the report.
inline std::string Describe(const std::exception_ptr& error) {
    try {
        std::rethrow_exception(error);
    } catch (const BaseException& e) {
        return "BaseException: " + ToUtf8(e.GetMessage());
    } catch (const std::exception& e) {
        return std::string("std::exception: ") + e.what();
    } catch (HResult hr) {
        char text[32];
        std::snprintf(text, sizeof text, "HRESULT 0x%08X", static_cast<unsigned>(hr));
        return text;
    } catch (...) {
        return "an exception of another type";
    }
}

} // namespace Tessarix::Fuzz
