#pragma once
// The ribbon objects Outlook hands to the add-in's ribbon callbacks. They live on the test's stack:
// the count is kept for the tests to read, never used to free.
#include <windows.h>

#include <oleauto.h>

#include "addin/OfficeInterfaces.h"

// COM objects are destroyed by their own Release; COM interfaces have no destructors.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace Tessarix::Addin::Testing {

// IUnknown with a plain count and an IDispatch without type information, under `Interface`.
template <typename Interface> class FakeDispatchOf : public Interface {
public:
    LONG refs = 1;

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        *out = nullptr;
        if (!IsEqualIID(iid, IID_IUnknown) && !IsEqualIID(iid, IID_IDispatch) &&
            !IsEqualIID(iid, __uuidof(Interface))) {
            return E_NOINTERFACE;
        }
        *out = this;
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE Invoke(DISPID, REFIID, LCID, WORD, DISPPARAMS*, VARIANT*, EXCEPINFO*,
                                     UINT*) override {
        return E_NOTIMPL;
    }
};

class FakeRibbonControl final : public FakeDispatchOf<IRibbonControl> {
public:
    explicit FakeRibbonControl(IDispatch* context) : context_(context) {}

    HRESULT STDMETHODCALLTYPE get_Id(BSTR* id) override {
        *id = ::SysAllocString(L"Tessarix_MailsButton");
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Context(IDispatch** context) override {
        *context = context_;
        if (context_)
            context_->AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE get_Tag(BSTR* tag) override {
        *tag = nullptr;
        return S_OK;
    }

private:
    IDispatch* context_;
};

class FakeRibbonUI final : public FakeDispatchOf<IRibbonUI> {
public:
    int invalidations = 0;

    HRESULT STDMETHODCALLTYPE Invalidate() override {
        ++invalidations;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE InvalidateControl(BSTR) override { return S_OK; }
};

} // namespace Tessarix::Addin::Testing

#pragma GCC diagnostic pop
