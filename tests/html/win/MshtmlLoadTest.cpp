// MSHTML needs a browser engine that the Wine test host does not have (the runner switches it
// off): the loader must then fail with the engine's HRESULT instead of waiting or returning
// nothing.
#include <windows.h>

#include <gtest/gtest.h>

#include "core/Exceptions.h"
#include "core/Utf.h"
#include "html/DomLoader.h"

using namespace Tessarix;

namespace {

class ComApartment {
public:
    ComApartment() : hr_(::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED)) {}
    ~ComApartment() {
        if (SUCCEEDED(hr_))
            ::CoUninitialize();
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

private:
    HRESULT hr_;
};

TEST(MshtmlLoad, FailsWithTheEngineHresultWhenTheDocumentCannotBeCreated) {
    ComApartment apartment;
    try {
        const auto document = Global::CreateDOM(u"<p>x</p>");
        FAIL() << "MSHTML loaded a document on a host without it";
    } catch (HResult hr) {
        EXPECT_TRUE(Failed(hr)) << std::hex << hr;
    }
}

} // namespace
