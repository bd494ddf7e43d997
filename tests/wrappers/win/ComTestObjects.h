#pragma once
// A MAPI attachment of the tests whose properties HrGetOneProp (Wine's mapi32.dll) reads through
// GetProps.
#include <windows.h>

#include <mapicode.h>
#include <mapidefs.h>
#include <mapitags.h>
#include <objidl.h>
#include <oleauto.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "core/win/MapiPropWin.h"

// COM interfaces have no virtual destructor; these objects delete themselves in Release.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace Tessarix::Testing {

// mapi32.dll's allocator: what HrGetOneProp's caller frees with MAPIFreeBuffer.
inline HRESULT MapiAllocate(ULONG size, void** out) {
    using Fn = SCODE(STDAPICALLTYPE*)(ULONG, void**);
    static const Fn allocate = [] {
        HMODULE module = LoadLibraryW(L"mapi32.dll");
        FARPROC proc = module ? GetProcAddress(module, "MAPIAllocateBuffer") : nullptr;
        if (module && !proc)
            proc = GetProcAddress(module, "MAPIAllocateBuffer@8");
        return reinterpret_cast<Fn>(reinterpret_cast<void*>(proc));
    }();
    return allocate ? allocate(size, out) : E_FAIL;
}

class TestMapiProp final : public IAttach {
public:
    void SetText(ULONG tag, const std::wstring& text) { texts_[tag] = text; }
    void SetLong(ULONG tag, ULONG value) { fixed_[tag].ul = value; }
    void SetBool(ULONG tag, bool value) { fixed_[tag].b = value ? 1 : 0; }
    void SetTime(ULONG tag, FILETIME value) { fixed_[tag].ft = value; }
    void SetBinary(ULONG tag, const std::string& bytes) { binaries_[tag] = bytes; }
    void Fail(ULONG tag, HRESULT result) { failures_[tag] = result; }
    void SetStream(ULONG tag, const std::string& bytes) { streams_[tag] = bytes; }
    // An OLE storage holding one stream.
    void SetStorage(ULONG tag, const std::wstring& stream, const std::string& bytes) {
        storages_[tag] = {stream, bytes};
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        const bool known = iid == IID_IUnknown || iid == Win::ToIid(Mapi::kIID_IMAPIProp) ||
                           iid == Win::ToIid(Mapi::kIID_IAttachment);
        if (!known) {
            *out = nullptr;
            return E_NOINTERFACE;
        }
        *out = static_cast<IAttach*>(this);
        AddRef();
        return S_OK;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override {
        const ULONG left = --refs;
        if (left == 0)
            delete this;
        return left;
    }

    HRESULT STDMETHODCALLTYPE GetProps(LPSPropTagArray tags, ULONG, ULONG* count,
                                       LPSPropValue* values) override {
        if (!tags || tags->cValues != 1)
            return MAPI_E_NO_SUPPORT;
        const ULONG tag = tags->aulPropTag[0];
        if (const auto failure = failures_.find(tag); failure != failures_.end())
            return failure->second;

        std::size_t extra = 0;
        if (const auto text = texts_.find(tag); text != texts_.end())
            extra = (text->second.size() + 1) * sizeof(WCHAR);
        if (const auto bytes = binaries_.find(tag); bytes != binaries_.end())
            extra = bytes->second.size();
        void* block = nullptr;
        if (FAILED(MapiAllocate(static_cast<ULONG>(sizeof(SPropValue) + extra), &block)))
            return MAPI_E_NOT_ENOUGH_MEMORY;
        auto* value = static_cast<SPropValue*>(block);
        char* payload = static_cast<char*>(block) + sizeof(SPropValue);
        *count = 1;
        *values = value;
        value->ulPropTag = tag;
        value->dwAlignPad = 0;
        if (const auto text = texts_.find(tag); text != texts_.end()) {
            memcpy(payload, text->second.c_str(), extra);
            value->Value.lpszW = reinterpret_cast<LPWSTR>(payload);
            return S_OK;
        }
        if (const auto bytes = binaries_.find(tag); bytes != binaries_.end()) {
            memcpy(payload, bytes->second.data(), extra);
            value->Value.bin.cb = static_cast<ULONG>(extra);
            value->Value.bin.lpb = reinterpret_cast<LPBYTE>(payload);
            return S_OK;
        }
        if (const auto fixed = fixed_.find(tag); fixed != fixed_.end()) {
            value->Value = fixed->second;
            return S_OK;
        }
        value->ulPropTag = PROP_TAG(PT_ERROR, PROP_ID(tag));
        value->Value.err = MAPI_E_NOT_FOUND;
        return MAPI_W_ERRORS_RETURNED;
    }

    HRESULT STDMETHODCALLTYPE OpenProperty(ULONG tag, LPCIID iid, ULONG, ULONG, LPUNKNOWN* out) override {
        *out = nullptr;
        if (*iid == IID_IStream) {
            const auto found = streams_.find(tag);
            if (found == streams_.end())
                return MAPI_E_NOT_FOUND;
            IStream* stream = MemoryStream(found->second);
            if (!stream)
                return E_OUTOFMEMORY;
            *out = stream;
            return S_OK;
        }
        if (*iid == IID_IStorage) {
            const auto found = storages_.find(tag);
            if (found == storages_.end())
                return MAPI_E_NOT_FOUND;
            return MemoryStorage(found->second.first, found->second.second, out);
        }
        return MAPI_E_INTERFACE_NOT_SUPPORTED;
    }

    HRESULT STDMETHODCALLTYPE GetLastError(HRESULT, ULONG, LPMAPIERROR*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SaveChanges(ULONG) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetPropList(ULONG, LPSPropTagArray*) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE SetProps(ULONG, LPSPropValue, LPSPropProblemArray*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE DeleteProps(LPSPropTagArray, LPSPropProblemArray*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CopyTo(ULONG, LPCIID, LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID,
                                     ULONG, LPSPropProblemArray*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE CopyProps(LPSPropTagArray, ULONG, LPMAPIPROGRESS, LPCIID, LPVOID, ULONG,
                                        LPSPropProblemArray*) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetNamesFromIDs(LPSPropTagArray*, LPGUID, ULONG, ULONG*,
                                              LPMAPINAMEID**) override {
        return E_NOTIMPL;
    }
    HRESULT STDMETHODCALLTYPE GetIDsFromNames(ULONG, LPMAPINAMEID*, ULONG, LPSPropTagArray*) override {
        return E_NOTIMPL;
    }

    ULONG refs = 1;

private:
    static IStream* MemoryStream(const std::string& bytes) {
        IStream* stream = nullptr;
        if (FAILED(CreateStreamOnHGlobal(nullptr, TRUE, &stream)))
            return nullptr;
        ULONG written = 0;
        stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
        stream->Seek(LARGE_INTEGER{}, STREAM_SEEK_SET, nullptr);
        return stream;
    }

    static HRESULT MemoryStorage(const std::wstring& name, const std::string& bytes, LPUNKNOWN* out) {
        ILockBytes* lockBytes = nullptr;
        HRESULT hr = CreateILockBytesOnHGlobal(nullptr, TRUE, &lockBytes);
        if (FAILED(hr))
            return hr;
        IStorage* storage = nullptr;
        hr = StgCreateDocfileOnILockBytes(lockBytes, STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0,
                                          &storage);
        lockBytes->Release();
        if (FAILED(hr))
            return hr;
        IStream* stream = nullptr;
        hr = storage->CreateStream(name.c_str(), STGM_CREATE | STGM_READWRITE | STGM_SHARE_EXCLUSIVE, 0, 0,
                                   &stream);
        if (SUCCEEDED(hr)) {
            ULONG written = 0;
            hr = stream->Write(bytes.data(), static_cast<ULONG>(bytes.size()), &written);
            stream->Release();
        }
        if (SUCCEEDED(hr))
            hr = storage->Commit(STGC_DEFAULT);
        if (FAILED(hr)) {
            storage->Release();
            return hr;
        }
        *out = storage;
        return S_OK;
    }

    std::map<ULONG, std::wstring> texts_;
    std::map<ULONG, std::string> binaries_;
    std::map<ULONG, __UPV> fixed_;
    std::map<ULONG, HRESULT> failures_;
    std::map<ULONG, std::string> streams_;
    std::map<ULONG, std::pair<std::wstring, std::string>> storages_;
};

} // namespace Tessarix::Testing

#pragma GCC diagnostic pop
