#include "core/win/MapiPropWin.h"

#include <windows.h>

#include <mapi.h>
#include <mapicode.h>
#include <mapiutil.h>
#include <objidl.h>

#include <cstddef>
#include <memory>
#include <type_traits>

#include "core/Utf.h"
#include "core/win/ComPtr.h"
#include "core/win/Libraries.h"

namespace Tessarix::Win {
namespace {

// Not in the MinGW headers: the compressed-RTF options of Outlook's MAPI library.
constexpr ULONG kMAPI_NATIVE_BODY = 0x00010000;
struct RtfWcsInfo { // RTF_WCSINFO
    ULONG size;
    ULONG ulFlags;
    ULONG ulInCodePage;
    ULONG ulOutCodePage;
};
struct RtfWcsRetInfo { // RTF_WCSRETINFO
    ULONG size;
    ULONG ulStreamFlags;
};
// MAPI's values as msmapi32.dll and mapi32.dll lay them out: the value union is 8-aligned on both
// bitnesses (it holds doubles, 64-bit integers and FILETIMEs), so it starts at byte 8.
static_assert(sizeof(RtfWcsInfo) == 16 && sizeof(RtfWcsRetInfo) == 8);
static_assert(offsetof(SPropValue, Value) == 8 && offsetof(SPropValue, Value.ft) == 8 &&
              sizeof(FILETIME) == 8);
static_assert(sizeof(SPropValue) == (sizeof(void*) == 4 ? 16 : 24));
using WrapCompressedRtfStreamExFn = HRESULT(STDAPICALLTYPE*)(IStream*, const RtfWcsInfo*, IStream**,
                                                             RtfWcsRetInfo*);
using HrGetOnePropFn = HRESULT(STDAPICALLTYPE*)(IMAPIProp*, ULONG, SPropValue**);
using MapiFreeBufferFn = ULONG(STDAPICALLTYPE*)(void*);
// Looked up at run time, so only these declarations say how they are called; a wrong convention
// corrupts the stack on x86 alone.
static_assert(std::is_same_v<HrGetOnePropFn, decltype(&::HrGetOneProp)>);
static_assert(std::is_same_v<MapiFreeBufferFn, decltype(&::MAPIFreeBuffer)>);

struct ModuleDeleter {
    void operator()(HMODULE module) const { FreeLibrary(module); }
};
using SharedModule = std::shared_ptr<std::remove_pointer_t<HMODULE>>;

template <typename Fn> Fn Lookup(HMODULE module, const char* name, const char* decorated) {
    FARPROC proc = GetProcAddress(module, name);
    if (!proc)
        proc = GetProcAddress(module, decorated);
    return reinterpret_cast<Fn>(reinterpret_cast<void*>(proc));
}

// HrGetOneProp and MAPIFreeBuffer. mapi32.dll stays loaded for the life of the process (freeing it
// while the module unloads is unsafe); some versions export only the decorated names.
struct Mapi32 {
    HResult status = S_OK;
    HrGetOnePropFn hrGetOneProp = nullptr;
    MapiFreeBufferFn freeBuffer = nullptr;

    static const Mapi32& Get() {
        static const Mapi32 functions = [] {
            Mapi32 f;
            HMODULE module = LoadSystemLibrary(L"mapi32.dll");
            if (!module) {
                f.status = Mapi::kE_MOD_NOT_FOUND;
                return f;
            }
            f.hrGetOneProp = Lookup<HrGetOnePropFn>(module, "HrGetOneProp", "HrGetOneProp@12");
            f.freeBuffer = Lookup<MapiFreeBufferFn>(module, "MAPIFreeBuffer", "MAPIFreeBuffer@4");
            if (!f.hrGetOneProp || !f.freeBuffer)
                f.status = Mapi::kE_PROC_NOT_FOUND;
            return f;
        }();
        return functions;
    }
};

struct MapiBufferDeleter {
    void operator()(SPropValue* value) const { Mapi32::Get().freeBuffer(value); }
};

class ComPropStream final : public Mapi::IPropStream {
public:
    // `parent` and `module` stay alive as long as the stream: a storage's streams are reverted when
    // the storage is released, and a stream's code is in the library that made it.
    ComPropStream(ComPtr<IStream> stream, SharedModule module, ComPtr<IUnknown> parent = {})
        : module_(std::move(module)), parent_(std::move(parent)), stream_(std::move(stream)) {}

    IStream* Stream() const { return stream_.Get(); }

    HResult Size(std::uint64_t& size) override {
        STATSTG stat{};
        const HResult hr = stream_->Stat(&stat, STATFLAG_NONAME);
        if (Failed(hr))
            return hr;
        size = stat.cbSize.QuadPart;
        return hr;
    }

    HResult Read(char* buffer, std::uint32_t count, std::uint32_t& read) override {
        ULONG got = 0;
        const HResult hr = stream_->Read(buffer, count, &got);
        read = Failed(hr) ? 0 : got;
        return hr;
    }

private:
    SharedModule module_;
    ComPtr<IUnknown> parent_;
    ComPtr<IStream> stream_;
};

class ComPropStorage final : public Mapi::IPropStorage {
public:
    explicit ComPropStorage(ComPtr<IStorage> storage) : storage_(std::move(storage)) {}

    HResult OpenStream(std::u16string_view name, std::shared_ptr<Mapi::IPropStream>& stream) override {
        const std::u16string copy(name);
        ComPtr<IStream> opened;
        const HResult hr = storage_->OpenStream(AsWide(copy), nullptr, STGM_SHARE_EXCLUSIVE | STGM_READ, 0,
                                                opened.AddressOf());
        if (Failed(hr))
            return hr;
        stream =
            std::make_shared<ComPropStream>(std::move(opened), nullptr, ComPtr<IUnknown>(storage_.Get()));
        return hr;
    }

private:
    ComPtr<IStorage> storage_;
};

class MapiPropObject final : public Mapi::IProp {
public:
    explicit MapiPropObject(IMAPIProp* prop) : prop_(prop) {}

    IMAPIProp* Prop() const { return prop_.Get(); }

    HResult GetProp(Mapi::PropTag tag, Mapi::PropValue& value) override {
        const Mapi32& mapi = Mapi32::Get();
        if (Failed(mapi.status))
            return mapi.status;
        SPropValue* raw = nullptr;
        const HResult hr = mapi.hrGetOneProp(prop_.Get(), tag, &raw);
        if (Failed(hr))
            return hr;
        const std::unique_ptr<SPropValue, MapiBufferDeleter> owned(raw);
        if (!raw)
            return MAPI_E_NOT_FOUND;
        switch (PROP_TYPE(raw->ulPropTag)) {
        case PT_UNICODE:
            value = FromWide(raw->Value.lpszW);
            return S_OK;
        case PT_LONG:
            value = static_cast<std::uint32_t>(raw->Value.ul);
            return S_OK;
        case PT_BOOLEAN:
            value = raw->Value.b != 0;
            return S_OK;
        case PT_SYSTIME:
            value = FileTime{raw->Value.ft.dwLowDateTime, raw->Value.ft.dwHighDateTime};
            return S_OK;
        case PT_BINARY:
            value = Mapi::Binary{
                std::string(reinterpret_cast<const char*>(raw->Value.bin.lpb), raw->Value.bin.cb)};
            return S_OK;
        case PT_ERROR:
            return Failed(raw->Value.err) ? raw->Value.err : MAPI_E_NOT_FOUND;
        default:
            return MAPI_E_BAD_VALUE;
        }
    }

    HResult OpenStream(Mapi::PropTag tag, std::shared_ptr<Mapi::IPropStream>& stream) override {
        ComPtr<IStream> opened;
        const HResult hr = prop_->OpenProperty(tag, &__uuidof(IStream), 0, 0,
                                               reinterpret_cast<IUnknown**>(opened.AddressOf()));
        if (Failed(hr))
            return hr;
        stream = std::make_shared<ComPropStream>(std::move(opened), nullptr);
        return hr;
    }

    HResult OpenStorage(Mapi::PropTag tag, std::shared_ptr<Mapi::IPropStorage>& storage) override {
        ComPtr<IStorage> opened;
        const HResult hr = prop_->OpenProperty(tag, &__uuidof(IStorage), 0, 0,
                                               reinterpret_cast<IUnknown**>(opened.AddressOf()));
        if (Failed(hr))
            return hr;
        storage = std::make_shared<ComPropStorage>(std::move(opened));
        return hr;
    }

    HResult WrapCompressedRtf(Mapi::IPropStream& compressed, std::uint32_t codePage,
                              Mapi::NativeBody& body) override {
        auto* source = dynamic_cast<ComPropStream*>(&compressed);
        if (!source)
            return E_INVALIDARG;
        SharedModule module(LoadOutlookMapi(), ModuleDeleter());
        if (!module)
            return Mapi::kE_MOD_NOT_FOUND;
        const auto wrap = Lookup<WrapCompressedRtfStreamExFn>(module.get(), "WrapCompressedRTFStreamEx",
                                                              "WrapCompressedRTFStreamEx@16");
        if (!wrap)
            return Mapi::kE_PROC_NOT_FOUND;
        const RtfWcsInfo info{sizeof(RtfWcsInfo), kMAPI_NATIVE_BODY, codePage, 0};
        RtfWcsRetInfo result{sizeof(RtfWcsRetInfo), 0};
        ComPtr<IStream> uncompressed;
        const HResult hr = wrap(source->Stream(), &info, uncompressed.AddressOf(), &result);
        if (Failed(hr))
            return hr;
        body.stream = std::make_shared<ComPropStream>(std::move(uncompressed), std::move(module),
                                                      ComPtr<IUnknown>(source->Stream()));
        body.type = result.ulStreamFlags;
        return hr;
    }

private:
    ComPtr<IMAPIProp> prop_;
};

} // namespace

Mapi::PropPtr WrapMapiProp(IMAPIProp* prop) {
    if (!prop)
        return nullptr;
    return std::make_shared<MapiPropObject>(prop);
}

IMAPIProp* MapiPropOf(const Mapi::IProp* prop) {
    const auto* adapter = dynamic_cast<const MapiPropObject*>(prop);
    return adapter ? adapter->Prop() : nullptr;
}

} // namespace Tessarix::Win
