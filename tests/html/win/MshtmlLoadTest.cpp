// The loader over MSHTML: where the engine cannot be created it fails with the engine's HRESULT
// instead of waiting or returning nothing (under Wine, whose runner switches the engine off: there
// is no Gecko); where it can, as on Windows, the document loads.
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

TEST(MshtmlLoad, LoadsWhereTheEngineIsAndFailsWithItsHresultWhereItIsNot) {
    ComApartment apartment;
    // CLSID_HTMLDocument
    constexpr CLSID kHtmlDocument = {
        0x25336920, 0x03F9, 0x11CF, {0x8F, 0xD0, 0x00, 0xAA, 0x00, 0x68, 0x6F, 0x13}};
    IUnknown* engine = nullptr;
    const HRESULT created = ::CoCreateInstance(kHtmlDocument, nullptr, CLSCTX_ALL, IID_IUnknown,
                                               reinterpret_cast<void**>(&engine));
    if (SUCCEEDED(created)) {
        engine->Release();
        EXPECT_NE(Global::CreateDOM(u"<p>x</p>"), nullptr);
        return;
    }
    try {
        const auto document = Global::CreateDOM(u"<p>x</p>");
        FAIL() << "a document without an engine";
    } catch (HResult hr) {
        EXPECT_EQ(hr, created) << std::hex << hr;
    }
}

} // namespace
