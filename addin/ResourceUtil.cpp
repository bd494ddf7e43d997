#include "addin/ResourceUtil.h"

#include <gdiplus.h>

#include <cstring>
#include <memory>
#include <type_traits>

#include "addin/ComModule.h"
#include "core/Log.h"

namespace Tessarix::Addin::ResourceUtil {
namespace {

void ThrowIfHrFailed(HRESULT hr) {
    if (FAILED(hr))
        throw HResultFrom(static_cast<std::uint32_t>(hr));
}

[[noreturn]] void ThrowLastError() {
    const DWORD error = ::GetLastError();
    throw HResultFrom(error ? HRESULT_FROM_WIN32(error) : E_FAIL);
}

struct BitmapDeleter {
    void operator()(HBITMAP bitmap) const { ::DeleteObject(bitmap); }
};
using UniqueBitmap = std::unique_ptr<std::remove_pointer_t<HBITMAP>, BitmapDeleter>;

struct GlobalDeleter {
    void operator()(HGLOBAL memory) const { ::GlobalFree(memory); }
};
using UniqueGlobal = std::unique_ptr<std::remove_pointer_t<HGLOBAL>, GlobalDeleter>;

// GDI+ lives only while a picture is decoded: the add-in decodes one image per ribbon refresh, and
// no GDI+ state then outlives the call or depends on the module's load order.
class GdiplusSession {
public:
    GdiplusSession() {
        Gdiplus::GdiplusStartupInput input;
        if (Gdiplus::GdiplusStartup(&token_, &input, nullptr) != Gdiplus::Ok)
            throw HResultFrom(E_FAIL);
    }
    ~GdiplusSession() { Gdiplus::GdiplusShutdown(token_); }
    GdiplusSession(const GdiplusSession&) = delete;
    GdiplusSession& operator=(const GdiplusSession&) = delete;

private:
    ULONG_PTR token_ = 0;
};

void ThrowIfGdiplusFailed(Gdiplus::GpStatus status) {
    if (status == Gdiplus::Ok)
        return;
    throw HResultFrom(status == Gdiplus::OutOfMemory ? E_OUTOFMEMORY : E_FAIL);
}

// The picture takes the bitmap over once it exists.
Win::ComPtr<IPicture> PictureFromBitmap(UniqueBitmap bitmap) {
    PICTDESC description{};
    description.cbSizeofstruct = sizeof(PICTDESC);
    description.picType = PICTYPE_BITMAP;
    description.bmp.hbitmap = bitmap.get();
    Win::ComPtr<IPicture> picture;
    ThrowIfHrFailed(::OleCreatePictureIndirect(&description, IID_IPicture, TRUE,
                                               reinterpret_cast<void**>(picture.AddressOf())));
    (void)bitmap.release();
    return picture;
}

// The bytes of a resource of this module; they live as long as the module.
std::pair<const void*, DWORD> ResourceBytes(unsigned id, const wchar_t* type) {
    const HMODULE module = ThisModule();
    HRSRC resource = ::FindResourceW(module, MAKEINTRESOURCEW(id), type);
    if (!resource)
        ThrowLastError();
    const DWORD size = ::SizeofResource(module, resource);
    HGLOBAL loaded = ::LoadResource(module, resource);
    const void* bytes = loaded ? ::LockResource(loaded) : nullptr;
    if (!bytes)
        ThrowLastError();
    return {bytes, size};
}

} // namespace

Win::ComPtr<IPicture> LoadBitmap(unsigned id) {
    CallTracer trace(u"ResourceUtil::LoadBitmap()");
    UniqueBitmap bitmap(static_cast<HBITMAP>(
        ::LoadImageW(ThisModule(), MAKEINTRESOURCEW(id), IMAGE_BITMAP, 0, 0, LR_LOADMAP3DCOLORS)));
    if (!bitmap)
        ThrowLastError();
    Log().Info(u"ResourceUtil::LoadBitmap before create picture");
    Win::ComPtr<IPicture> picture = PictureFromBitmap(std::move(bitmap));
    Log().Info(u"ResourceUtil::LoadBitmap OK");
    return picture;
}

Win::ComPtr<IPicture> LoadPng(unsigned id) {
    CallTracer trace(u"ResourceUtil::LoadPng()");
    Log().Info(u"ResourceUtil::LoadPng find resources");
    const auto [bytes, size] = ResourceBytes(id, L"PNG");

    Log().Info(u"ResourceUtil::LoadPng copy to memory");
    UniqueGlobal memory(::GlobalAlloc(GMEM_MOVEABLE, size));
    if (!memory)
        throw kE_OUTOFMEMORY;
    void* target = ::GlobalLock(memory.get());
    if (!target)
        ThrowLastError();
    std::memcpy(target, bytes, size);
    ::GlobalUnlock(memory.get());
    Win::ComPtr<IStream> stream;
    ThrowIfHrFailed(::CreateStreamOnHGlobal(memory.get(), FALSE, stream.AddressOf()));

    Log().Info(u"ResourceUtil::LoadPng proccess image");
    UniqueBitmap bitmap;
    {
        GdiplusSession gdiplus;
        Gdiplus::GpBitmap* decoded = nullptr;
        ThrowIfGdiplusFailed(Gdiplus::DllExports::GdipCreateBitmapFromStream(stream.Get(), &decoded));
        HBITMAP handle = nullptr;
        // A transparent background keeps the PNG's alpha channel in the 32-bit bitmap.
        const Gdiplus::GpStatus status =
            Gdiplus::DllExports::GdipCreateHBITMAPFromBitmap(decoded, &handle, 0);
        Gdiplus::DllExports::GdipDisposeImage(decoded);
        ThrowIfGdiplusFailed(status);
        bitmap.reset(handle);
    }
    stream.Reset();
    Win::ComPtr<IPicture> picture = PictureFromBitmap(std::move(bitmap));
    memory.reset();
    Log().Info(u"ResourceUtil::LoadPng OK");
    return picture;
}

Win::ComPtr<IPicture> LoadIcon(unsigned id) {
    CallTracer trace(u"ResourceUtil::LoadIcon()");
    HICON icon = ::LoadIconW(ThisModule(), MAKEINTRESOURCEW(id));
    if (!icon)
        ThrowLastError();
    Log().Info(u"ResourceUtil::LoadIcon before create picture");
    PICTDESC description{};
    description.cbSizeofstruct = sizeof(PICTDESC);
    description.picType = PICTYPE_ICON;
    description.icon.hicon = icon;
    Win::ComPtr<IPicture> picture;
    // LoadIconW hands out a shared icon that the system owns, so the picture must not destroy it.
    ThrowIfHrFailed(::OleCreatePictureIndirect(&description, IID_IPicture, FALSE,
                                               reinterpret_cast<void**>(picture.AddressOf())));
    Log().Info(u"ResourceUtil::LoadIcon OK");
    return picture;
}

Win::Bstr LoadRibbon(unsigned id) {
    CallTracer trace(u"ResourceUtil::LoadRibbon()");
    const HMODULE module = ThisModule();
    HRSRC resource = ::FindResourceW(module, MAKEINTRESOURCEW(id), L"XML");
    Log().Info(u"ResourceUtil::LoadRibbon SizeofResource");
    if (!resource)
        return {};
    const DWORD size = ::SizeofResource(module, resource);
    HGLOBAL loaded = ::LoadResource(module, resource);
    if (!loaded)
        return {};
    Log().Info(u"ResourceUtil::LoadRibbon Lock resources");
    const auto* text = static_cast<const char16_t*>(::LockResource(loaded));
    if (!text)
        return {};
    // The document carries no terminating zero: its length is its size.
    Win::Bstr xml(std::u16string_view(text, size / 2));
    Log().Info(u"ResourceUtil::LoadRibbon OK");
    return xml;
}

} // namespace Tessarix::Addin::ResourceUtil
