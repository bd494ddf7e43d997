// The Windows HTML engine: MSHTML, loaded from a memory stream and read through its DOM and
// current-style interfaces. Every COM reference is owned; a failed call raises its HRESULT.
#include <windows.h>

#include <mshtmdid.h>
#include <mshtml.h>
#include <ocidl.h>
#include <ole2.h>

#include <cstring>
#include <deque>
#include <unordered_set>
#include <utility>
#include <vector>

#include "core/Exceptions.h"
#include "core/ForeignCode.h"
#include "core/Utf.h"
#include "core/win/ComPtr.h"
#include "core/win/OleTypes.h"
#include "html/Engine.h"

namespace Tessarix::Html {
namespace {

using Win::Bstr;
using Win::ComPtr;
using Win::Variant;

// {25336920-03F9-11CF-8FD0-00AA00686F13}
constexpr CLSID kClsidHtmlDocument = {
    0x25336920, 0x03F9, 0x11CF, {0x8F, 0xD0, 0x00, 0xAA, 0x00, 0x68, 0x6F, 0x13}};
// CLSCTX_INPROC_SERVER | CLSCTX_INPROC_HANDLER | CLSCTX_LOCAL_SERVER | CLSCTX_REMOTE_SERVER
constexpr DWORD kClassContext = 23;

// The mail is someone else's: no script, Java or ActiveX control runs, nothing is downloaded
// (frames, behaviours, controls, pictures, videos, sounds), no client pull, offline, silent.
// The charset declaration that the loader adds must keep working, so DLCTL_NO_METACHARSET stays off.
constexpr long kDownloadControl = DLCTL_NO_SCRIPTS | DLCTL_NO_JAVA | DLCTL_NO_RUNACTIVEXCTLS |
                                  DLCTL_NO_DLACTIVEXCTLS | DLCTL_NO_FRAMEDOWNLOAD | DLCTL_NO_BEHAVIORS |
                                  DLCTL_NO_CLIENTPULL | DLCTL_FORCEOFFLINE | DLCTL_SILENT;

void Check(HRESULT hr) {
    ThrowIfFailed(static_cast<HResult>(hr));
}

// A failed query leaves that part of the document out, but running out of memory is no answer
// about the document: it raises.
bool Failed(HRESULT hr) {
    if (hr == E_OUTOFMEMORY)
        Check(hr);
    return FAILED(hr);
}

// COM objects are destroyed by their own Release, never through an interface pointer, and COM
// interfaces have no destructors by design.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
// The document's client site: its only answer is the download control, as an ambient property.
class ClientSite final : public IOleClientSite, public IDispatch {
public:
    static ComPtr<IOleClientSite> Create() { return ComPtr<IOleClientSite>::Attach(new ClientSite()); }

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (!out)
            return E_POINTER;
        if (iid == IID_IUnknown || iid == IID_IOleClientSite)
            *out = static_cast<IOleClientSite*>(this);
        else if (iid == IID_IDispatch)
            *out = static_cast<IDispatch*>(this);
        else {
            *out = nullptr;
            return E_NOINTERFACE;
        }
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }
    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --references_;
        if (left == 0)
            delete this;
        return left;
    }

    STDMETHODIMP SaveObject() override { return E_NOTIMPL; }
    STDMETHODIMP GetMoniker(DWORD, DWORD, IMoniker** out) override {
        if (out)
            *out = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP GetContainer(IOleContainer** out) override {
        if (out)
            *out = nullptr;
        return E_NOINTERFACE;
    }
    STDMETHODIMP ShowObject() override { return S_OK; }
    STDMETHODIMP OnShowWindow(BOOL) override { return S_OK; }
    STDMETHODIMP RequestNewObjectLayout() override { return E_NOTIMPL; }

    STDMETHODIMP GetTypeInfoCount(UINT* count) override {
        if (!count)
            return E_POINTER;
        *count = 0;
        return S_OK;
    }
    STDMETHODIMP GetTypeInfo(UINT, LCID, ITypeInfo** out) override {
        if (out)
            *out = nullptr;
        return E_NOTIMPL;
    }
    STDMETHODIMP GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
    STDMETHODIMP Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS*, VARIANT* result, EXCEPINFO*,
                        UINT*) override {
        if (id != DISPID_AMBIENT_DLCONTROL || !(flags & DISPATCH_PROPERTYGET))
            return DISP_E_MEMBERNOTFOUND;
        if (!result)
            return E_POINTER;
        ::VariantInit(result);
        result->vt = VT_I4;
        result->lVal = kDownloadControl;
        return S_OK;
    }

private:
    ClientSite() = default;
    ~ClientSite() = default;
    ULONG references_ = 1;
};
#pragma GCC diagnostic pop

// Takes the site from the document again when the document goes, so that neither keeps the other.
class SiteHolder {
public:
    explicit SiteHolder(ComPtr<IOleObject> object) : object_(std::move(object)) {}
    ~SiteHolder() {
        if (object_)
            object_->SetClientSite(nullptr);
    }
    SiteHolder(SiteHolder&&) = default;
    SiteHolder& operator=(SiteHolder&&) = delete;
    SiteHolder(const SiteHolder&) = delete;
    SiteHolder& operator=(const SiteHolder&) = delete;

private:
    ComPtr<IOleObject> object_;
};

// Global memory until a stream takes it over.
class GlobalMemory {
public:
    explicit GlobalMemory(std::size_t size) : handle_(::GlobalAlloc(GMEM_ZEROINIT, size)) {
        if (!handle_)
            throw kE_OUTOFMEMORY;
    }
    ~GlobalMemory() {
        if (handle_)
            ::GlobalFree(handle_);
    }
    GlobalMemory(const GlobalMemory&) = delete;
    GlobalMemory& operator=(const GlobalMemory&) = delete;
    HGLOBAL Get() const { return handle_; }
    void Release() { handle_ = nullptr; }

private:
    HGLOBAL handle_;
};

class MshtmlDocument final : public Document {
public:
    MshtmlDocument(ComPtr<IHTMLDocument2> document, SiteHolder site)
        : document_(std::move(document)), site_(std::move(site)) {
        ComPtr<IHTMLDOMNode> root;
        if (Failed(document_.As(root)) || !root) {
            // Older engines keep the document object out of the DOM: start at the root element.
            ComPtr<IHTMLDocument3> document3;
            ComPtr<IHTMLElement> element;
            if (!Failed(document_.As(document3)) &&
                !Failed(document3->get_documentElement(element.AddressOf())))
                element.As(root);
        }
        root_ = Keep(std::move(root));
    }

    Node Root() const override { return root_; }

    NodeType TypeOf(Node node) const override {
        long type = 0;
        if (Failed(At(node).node->get_nodeType(&type)))
            return NodeType::Other;
        return static_cast<NodeType>(type);
    }
    std::u16string_view NameOf(Node node) const override {
        Bstr name;
        if (Failed(At(node).node->get_nodeName(name.AddressOf())))
            return {};
        return Intern(name.View());
    }
    std::optional<std::u16string_view> ValueOf(Node node) const override {
        Variant value;
        if (Failed(At(node).node->get_nodeValue(value.AddressOf())) || value->vt != VT_BSTR ||
            !value->bstrVal)
            return std::nullopt;
        return Intern(FromWide(value->bstrVal, ::SysStringLen(value->bstrVal)));
    }

    std::size_t ChildCount(Node node) const override {
        long length = 0;
        const auto& children = Children(node);
        if (!children || Failed(children->get_length(&length)) || length < 0)
            return 0;
        return static_cast<std::size_t>(length);
    }
    Node ChildAt(Node node, std::size_t index) const override {
        const auto& children = Children(node);
        ComPtr<IDispatch> item;
        ComPtr<IHTMLDOMNode> child;
        if (!children || Failed(children->item(static_cast<long>(index), item.AddressOf())) ||
            Failed(item.As(child)))
            return Node{};
        return Keep(std::move(child));
    }

    std::size_t AttributeCount(Node element) const override {
        long length = 0;
        const auto& attributes = Attributes(element);
        if (!attributes || Failed(attributes->get_length(&length)) || length < 0)
            return 0;
        return static_cast<std::size_t>(length);
    }
    Attribute AttributeAt(Node element, std::size_t index) const override {
        const auto& attributes = Attributes(element);
        if (!attributes)
            return Attribute{};
        Variant which;
        which->vt = VT_I4;
        which->lVal = static_cast<LONG>(index);
        ComPtr<IDispatch> item;
        ComPtr<IHTMLDOMAttribute> attribute;
        if (Failed(attributes->item(which.Get(), item.AddressOf())) || Failed(item.As(attribute)))
            return Attribute{};
        return Read(attribute);
    }
    std::optional<Attribute> NamedAttribute(Node element, std::u16string_view name) const override {
        ComPtr<IHTMLAttributeCollection2> attributes;
        ComPtr<IHTMLDOMAttribute> attribute;
        Bstr text(name);
        if (!Attributes(element) || Failed(Attributes(element).As(attributes)) ||
            Failed(attributes->getNamedItem(text.Get(), attribute.AddressOf())) || !attribute)
            return std::nullopt;
        return Read(attribute);
    }

    Style StyleOf(Node element) const override {
        ComPtr<IHTMLElement2> element2;
        ComPtr<IHTMLCurrentStyle> style;
        if (Failed(At(element).node.As(element2)) || Failed(element2->get_currentStyle(style.AddressOf())) ||
            !style)
            return Style{};
        styles_.push_back(std::move(style));
        return Style{styles_.size()};
    }
    std::u16string_view StyleValue(Style style, CssProperty property) const override {
        if (!style)
            return {};
        return Intern(ReadStyle(*styles_.at(style.id - 1).Get(), property));
    }

    std::size_t ImageCount() const override {
        LoadImages();
        return images_.size();
    }
    std::optional<std::u16string_view> ImageSource(std::size_t index) const override {
        LoadImages();
        if (index >= images_.size())
            return std::nullopt;
        return images_[index];
    }

private:
    struct Entry {
        ComPtr<IHTMLDOMNode> node;
        ComPtr<IHTMLDOMChildrenCollection> children;
        ComPtr<IHTMLAttributeCollection> attributes;
        bool childrenRead = false, attributesRead = false;
    };

    // Handles index the nodes handed out; the document keeps them until it goes.
    Node Keep(ComPtr<IHTMLDOMNode> node) const {
        if (!node)
            return Node{};
        entries_.emplace_back().node = std::move(node);
        return Node{entries_.size()};
    }
    Entry& At(Node node) const { return entries_.at(node.id - 1); }

    const ComPtr<IHTMLDOMChildrenCollection>& Children(Node node) const {
        Entry& e = At(node);
        if (!e.childrenRead) {
            e.childrenRead = true;
            ComPtr<IDispatch> children;
            if (!Failed(e.node->get_childNodes(children.AddressOf())))
                children.As(e.children);
        }
        return e.children;
    }
    const ComPtr<IHTMLAttributeCollection>& Attributes(Node node) const {
        Entry& e = At(node);
        if (!e.attributesRead) {
            e.attributesRead = true;
            ComPtr<IDispatch> attributes;
            if (!Failed(e.node->get_attributes(attributes.AddressOf())))
                attributes.As(e.attributes);
        }
        return e.attributes;
    }

    Attribute Read(const ComPtr<IHTMLDOMAttribute>& attribute) const {
        Attribute result;
        Bstr name;
        VARIANT_BOOL specified = VARIANT_FALSE;
        if (!Failed(attribute->get_nodeName(name.AddressOf())))
            result.name = Intern(name.View());
        if (!Failed(attribute->get_specified(&specified)))
            result.specified = specified != VARIANT_FALSE;
        ComPtr<IHTMLDOMAttribute2> attribute2;
        Bstr value;
        if (!Failed(attribute.As(attribute2)) && !Failed(attribute2->get_value(value.AddressOf())))
            result.value = Intern(value.View());
        return result;
    }

    static std::u16string Text(const Bstr& value) { return value.Text(); }
    // Values MSHTML gives as VARIANTs are converted to text; a failed conversion raises.
    static std::u16string Text(Variant& value) {
        if (value->vt == VT_EMPTY || value->vt == VT_NULL)
            return {};
        Check(::VariantChangeType(value.Get(), value.Get(), 0, VT_BSTR));
        return value->bstrVal ? FromWide(value->bstrVal, ::SysStringLen(value->bstrVal)) : std::u16string();
    }
    static std::u16string GetVariant(IHTMLCurrentStyle& style,
                                     HRESULT (STDMETHODCALLTYPE IHTMLCurrentStyle::*getter)(VARIANT*)) {
        Variant value;
        Check((style.*getter)(value.AddressOf()));
        return Text(value);
    }
    static std::u16string GetBstr(IHTMLCurrentStyle& style,
                                  HRESULT (STDMETHODCALLTYPE IHTMLCurrentStyle::*getter)(BSTR*)) {
        Bstr value;
        Check((style.*getter)(value.AddressOf()));
        return Text(value);
    }

    static std::u16string ReadStyle(IHTMLCurrentStyle& s, CssProperty p) {
        using S = IHTMLCurrentStyle;
        switch (p) {
        case CssProperty::BackgroundImage:
            return GetBstr(s, &S::get_backgroundImage);
        case CssProperty::BackgroundAttachment:
            return GetBstr(s, &S::get_backgroundAttachment);
        case CssProperty::BackgroundColor:
            return GetVariant(s, &S::get_backgroundColor);
        case CssProperty::BackgroundPositionX:
            return GetVariant(s, &S::get_backgroundPositionX);
        case CssProperty::BackgroundPositionY:
            return GetVariant(s, &S::get_backgroundPositionY);
        case CssProperty::BackgroundRepeat:
            return GetBstr(s, &S::get_backgroundRepeat);
        case CssProperty::BorderBottomColor:
            return GetVariant(s, &S::get_borderBottomColor);
        case CssProperty::BorderBottomStyle:
            return GetBstr(s, &S::get_borderBottomStyle);
        case CssProperty::BorderBottomWidth:
            return GetVariant(s, &S::get_borderBottomWidth);
        case CssProperty::BorderLeftColor:
            return GetVariant(s, &S::get_borderLeftColor);
        case CssProperty::BorderLeftStyle:
            return GetBstr(s, &S::get_borderLeftStyle);
        case CssProperty::BorderLeftWidth:
            return GetVariant(s, &S::get_borderLeftWidth);
        case CssProperty::BorderRightColor:
            return GetVariant(s, &S::get_borderRightColor);
        case CssProperty::BorderRightStyle:
            return GetBstr(s, &S::get_borderRightStyle);
        case CssProperty::BorderRightWidth:
            return GetVariant(s, &S::get_borderRightWidth);
        case CssProperty::BorderTopColor:
            return GetVariant(s, &S::get_borderTopColor);
        case CssProperty::BorderTopStyle:
            return GetBstr(s, &S::get_borderTopStyle);
        case CssProperty::BorderTopWidth:
            return GetVariant(s, &S::get_borderTopWidth);
        case CssProperty::BorderWidth:
            return GetBstr(s, &S::get_borderWidth);
        case CssProperty::Clear:
            return GetBstr(s, &S::get_clear);
        case CssProperty::Color:
            return GetVariant(s, &S::get_color);
        case CssProperty::Cursor:
            return GetBstr(s, &S::get_cursor);
        case CssProperty::Display:
            return GetBstr(s, &S::get_display);
        case CssProperty::FontFamily:
            return GetBstr(s, &S::get_fontFamily);
        case CssProperty::FontSize:
            return GetVariant(s, &S::get_fontSize);
        case CssProperty::FontStyle:
            return GetBstr(s, &S::get_fontStyle);
        case CssProperty::FontVariant:
            return GetBstr(s, &S::get_fontVariant);
        case CssProperty::FontWeight:
            return GetVariant(s, &S::get_fontWeight);
        case CssProperty::Left:
            return GetVariant(s, &S::get_left);
        case CssProperty::LetterSpacing:
            return GetVariant(s, &S::get_letterSpacing);
        case CssProperty::LineHeight:
            return GetVariant(s, &S::get_lineHeight);
        case CssProperty::ListStyleImage:
            return GetBstr(s, &S::get_listStyleImage);
        case CssProperty::ListStylePosition:
            return GetBstr(s, &S::get_listStylePosition);
        case CssProperty::ListStyleType:
            return GetBstr(s, &S::get_listStyleType);
        case CssProperty::Margin:
            return GetBstr(s, &S::get_margin);
        case CssProperty::MarginBottom:
            return GetVariant(s, &S::get_marginBottom);
        case CssProperty::MarginLeft:
            return GetVariant(s, &S::get_marginLeft);
        case CssProperty::MarginRight:
            return GetVariant(s, &S::get_marginRight);
        case CssProperty::MarginTop:
            return GetVariant(s, &S::get_marginTop);
        case CssProperty::Overflow:
            return GetBstr(s, &S::get_overflow);
        case CssProperty::Padding:
            return GetBstr(s, &S::get_padding);
        case CssProperty::PaddingBottom:
            return GetVariant(s, &S::get_paddingBottom);
        case CssProperty::PaddingLeft:
            return GetVariant(s, &S::get_paddingLeft);
        case CssProperty::PaddingRight:
            return GetVariant(s, &S::get_paddingRight);
        case CssProperty::PaddingTop:
            return GetVariant(s, &S::get_paddingTop);
        case CssProperty::PageBreakAfter:
            return GetBstr(s, &S::get_pageBreakAfter);
        case CssProperty::PageBreakBefore:
            return GetBstr(s, &S::get_pageBreakBefore);
        case CssProperty::Position:
            return GetBstr(s, &S::get_position);
        case CssProperty::Float:
            return GetBstr(s, &S::get_styleFloat);
        case CssProperty::TextAlign:
            return GetBstr(s, &S::get_textAlign);
        case CssProperty::TextDecoration:
            return GetBstr(s, &S::get_textDecoration);
        case CssProperty::TextIndent:
            return GetVariant(s, &S::get_textIndent);
        case CssProperty::TextTransform:
            return GetBstr(s, &S::get_textTransform);
        case CssProperty::Visibility:
            return GetBstr(s, &S::get_visibility);
        case CssProperty::VerticalAlign:
            return GetVariant(s, &S::get_verticalAlign);
        case CssProperty::ZIndex:
            return GetVariant(s, &S::get_zIndex);
        }
        return {};
    }

    void LoadImages() const {
        if (imagesRead_)
            return;
        imagesRead_ = true;
        ComPtr<IHTMLElementCollection> images;
        long length = 0;
        if (Failed(document_->get_images(images.AddressOf())) || !images ||
            Failed(images->get_length(&length)))
            return;
        for (long i = 0; i < length; ++i) {
            Variant index;
            index->vt = VT_I4;
            index->lVal = i;
            ComPtr<IDispatch> item;
            ComPtr<IHTMLImgElement> image;
            Bstr source;
            // A picture MSHTML can't answer for is skipped by the caller.
            if (Failed(images->item(*index.Get(), *index.Get(), item.AddressOf())) ||
                Failed(item.As(image)) || Failed(image->get_src(source.AddressOf()))) {
                images_.emplace_back(std::nullopt);
                continue;
            }
            images_.emplace_back(Intern(source.View()));
        }
    }

    std::u16string_view Intern(std::u16string_view text) const { return *strings_.emplace(text).first; }
    std::u16string_view Intern(std::u16string text) const { return *strings_.insert(std::move(text)).first; }

    ComPtr<IHTMLDocument2> document_;
    Node root_;
    mutable std::deque<Entry> entries_;
    mutable std::vector<ComPtr<IHTMLCurrentStyle>> styles_;
    mutable std::unordered_set<std::u16string> strings_;
    mutable std::vector<std::optional<std::u16string_view>> images_;
    mutable bool imagesRead_ = false;
    SiteHolder site_;
};

// MSHTML parses on this thread's message loop: pump until the document says it is complete,
// but not forever, and never past a request to quit.
void WaitUntilComplete(IHTMLDocument2& document) {
    const ULONGLONG start = ::GetTickCount64();
    for (;;) {
        Bstr state;
        Check(document.get_readyState(state.AddressOf()));
        if (state.View() == u"complete")
            return;
        const ULONGLONG elapsed = ::GetTickCount64() - start;
        if (elapsed >= kLoadTimeoutMs)
            throw kLoadTimedOut;
        // Every window of the thread runs from here, Outlook's and other add-ins' too.
        const ForeignCodeScope foreign;
        MSG message;
        if (!::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            const DWORD waited = ::MsgWaitForMultipleObjectsEx(
                0, nullptr, static_cast<DWORD>(kLoadTimeoutMs - elapsed), QS_ALLINPUT, MWMO_INPUTAVAILABLE);
            if (waited == WAIT_FAILED)
                Check(HRESULT_FROM_WIN32(::GetLastError()));
            continue;
        }
        if (message.message == WM_QUIT) {
            // The quit belongs to the host's own loop.
            ::PostQuitMessage(static_cast<int>(message.wParam));
            throw kLoadCancelled;
        }
        ::TranslateMessage(&message);
        ::DispatchMessageW(&message);
    }
}

} // namespace

DocumentPtr LoadDocument(const StringUTF8& bytes, std::int32_t /*contentLimit: MSHTML loads whole*/) {
    ComPtr<IHTMLDocument2> document;
    Check(::CoCreateInstance(kClsidHtmlDocument, nullptr, kClassContext, __uuidof(IHTMLDocument2),
                             reinterpret_cast<void**>(document.AddressOf())));
    if (!document)
        throw kE_POINTER;

    // Before anything is loaded, the document learns from its site what it may run and fetch.
    ComPtr<IOleObject> object;
    Check(document.As(object));
    const ComPtr<IOleClientSite> site = ClientSite::Create();
    Check(object->SetClientSite(site.Get()));
    SiteHolder holder(std::move(object));
    ComPtr<IOleControl> control;
    Check(document.As(control));
    Check(control->OnAmbientPropertyChange(DISPID_AMBIENT_DLCONTROL));

    GlobalMemory memory(bytes.Length());
    void* target = ::GlobalLock(memory.Get());
    if (!target)
        throw std::u16string(u"Cannot lock stream memory");
    if (bytes.Length() > 0)
        std::memcpy(target, bytes.Data(), bytes.Length());
    ::GlobalUnlock(memory.Get());

    ComPtr<IStream> stream;
    Check(::CreateStreamOnHGlobal(memory.Get(), TRUE, stream.AddressOf()));
    memory.Release(); // the stream owns it now

    ComPtr<IPersistStreamInit> persist;
    Check(document.As(persist));
    Check(persist->InitNew());
    Check(persist->Load(stream.Get()));
    WaitUntilComplete(*document.Get());
    return std::make_shared<MshtmlDocument>(std::move(document), std::move(holder));
}

} // namespace Tessarix::Html
