// The stand-in document class. Written against MSHTML's C vtables (CINTERFACE), so that every
// method it implements is typed by the public header; a method it does not implement ends the
// test program naming its vtable slot, instead of answering something MSHTML would not.
#define CINTERFACE
#define COBJMACROS
#include <windows.h>

#include <initguid.h>

#include <mshtmdid.h>
#include <mshtml.h>
#include <ocidl.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <cstring>
#include <cwctype>
#include <sstream>
#include <stdexcept>
#include <utility>

#include "core/Utf.h"
#include "html/CorpusFormat.h"
#include "html/Document.h"
#include "html/win/StandInEngine.h"

namespace Tessarix::Testing::StandIn {
namespace {

using Html::CssProperty;

// {25336920-03F9-11CF-8FD0-00AA00686F13}
constexpr CLSID kClsidHtmlDocument = {
    0x25336920, 0x03F9, 0x11CF, {0x8F, 0xD0, 0x00, 0xAA, 0x00, 0x68, 0x6F, 0x13}};
// What MSHTML assumes when no client site answers the download control.
constexpr long kDefaultDownloadControl = DLCTL_DLIMAGES | DLCTL_VIDEOS | DLCTL_BGSOUNDS;
constexpr UINT kCompleteMessage = WM_APP + 1;

// ---- the served document ----

struct SnapAttribute {
    std::u16string name;
    bool specified = false;
    std::optional<std::u16string> value;
};

struct SnapNode {
    long type = 0;
    std::u16string name;
    std::optional<std::u16string> value;
    std::vector<SnapAttribute> attributes;
    std::optional<std::array<std::u16string, Html::kCssPropertyCount>> style;
    std::vector<std::size_t> children;
    std::optional<std::u16string> source; // IMG elements: the address the picture list gives
};

struct Snapshot {
    std::uint64_t hash = 0;
    std::size_t length = 0;
    std::vector<SnapNode> nodes; // [0] is the document
    std::vector<std::size_t> images;

    const SnapAttribute* Find(std::size_t node, std::u16string_view name) const {
        for (const SnapAttribute& a : nodes[node].attributes)
            if (a.name == name)
                return &a;
        return nullptr;
    }
};

// What a document shows before anything is loaded into it.
const Snapshot& EmptyDocument() {
    static const Snapshot empty = [] {
        Snapshot s;
        s.nodes.emplace_back().type = 9;
        s.nodes[0].name = u"#document";
        return s;
    }();
    return empty;
}

std::u16string Text(std::string_view token) {
    return FromUtf8(Corpus::Unescape(token));
}

std::optional<std::u16string> OptionalText(std::string_view token) {
    const auto value = Corpus::ParseValue(token);
    if (!value)
        return std::nullopt;
    return FromUtf8(*value);
}

Snapshot Parse(const std::string& text) {
    Snapshot result;
    std::istringstream lines(text);
    std::string line;
    std::vector<std::size_t> path; // the last node seen at each depth
    std::vector<std::optional<std::u16string>> pictures;
    auto fail = [&](const char* what) {
        throw std::runtime_error(std::string(what) + ": " + line);
    };
    if (!std::getline(lines, line) || line != Corpus::kHeader)
        fail("not a corpus snapshot");
    while (std::getline(lines, line)) {
        const std::size_t depth = line.find_first_not_of(' ') / 2;
        std::istringstream tokens(line);
        std::string kind, a, b, c;
        tokens >> kind;
        if (kind == "input") {
            tokens >> a >> b;
            result.hash = std::stoull(a, nullptr, 16);
            result.length = std::stoull(b);
        } else if (kind == "node") {
            tokens >> a >> b >> c;
            if (depth > path.size() || (depth == 0) != result.nodes.empty())
                fail("misplaced node");
            path.resize(depth);
            if (depth > 0)
                result.nodes[path.back()].children.push_back(result.nodes.size());
            path.push_back(result.nodes.size());
            SnapNode& node = result.nodes.emplace_back();
            node.type = std::stol(a);
            node.name = Text(b);
            node.value = OptionalText(c);
        } else if (kind == "attr" || kind == "style") {
            if (depth + 1 != path.size())
                fail("misplaced item");
            SnapNode& node = result.nodes[path.back()];
            if (kind == "attr") {
                tokens >> a >> b >> c;
                node.attributes.push_back({Text(a), b == "1", OptionalText(c)});
                continue;
            }
            auto& style = node.style.emplace();
            for (std::size_t p = 0; p < Html::kCssPropertyCount; ++p) {
                tokens >> a;
                const std::size_t equals = a.find('=');
                if (equals == std::string::npos ||
                    FromUtf8(a.substr(0, equals)) != Html::kCssPropertyNames[p])
                    fail("style out of order");
                style[p] = Text(std::string_view(a).substr(equals + 1));
            }
        } else if (kind == "image") {
            tokens >> a;
            pictures.push_back(OptionalText(a));
        } else {
            fail("unknown line");
        }
    }
    // MSHTML's images collection: the IMG elements in document order.
    std::vector<std::size_t> walk{0};
    while (!walk.empty()) {
        const std::size_t n = walk.back();
        walk.pop_back();
        if (result.nodes[n].type == 1 && result.nodes[n].name == u"IMG")
            result.images.push_back(n);
        walk.insert(walk.end(), result.nodes[n].children.rbegin(), result.nodes[n].children.rend());
    }
    if (result.images.size() != pictures.size())
        throw std::runtime_error("the picture list is not the IMG elements");
    for (std::size_t i = 0; i < pictures.size(); ++i)
        result.nodes[result.images[i]].source = pictures[i];
    return result;
}

} // namespace

// ---- COM objects ----

struct Object;

// One interface of an object: what an interface pointer points to.
struct Face {
    const void* vtbl;
    Object* owner;
};

struct DocumentObject;

struct Engine::State {
    std::vector<std::unique_ptr<Object>> objects; // kept after their last release, to see misuse
    std::vector<Snapshot> served;
    std::vector<Fault> faults;
    Completion completion = Completion::AtLoad;
    std::vector<std::string> misuse;
    std::optional<long> downloadControl;
    std::vector<std::string> activity;
    std::optional<unsigned long> siteReferencesAfterRelease;
    HWND window = nullptr;
    Object* factory = nullptr;
    DWORD cookie = 0;

    template <typename T, typename... Args> T* Make(Args&&... args) {
        auto object = std::make_unique<T>(*this, std::forward<Args>(args)...);
        T* result = object.get();
        objects.push_back(std::move(object));
        return result;
    }
    const Fault* FaultOn(Call call, std::u16string_view target) const {
        for (const Fault& f : faults)
            if (f.call == call && f.target == target)
                return &f;
        return nullptr;
    }
};

using State = Engine::State;

struct Object {
    explicit Object(State& s, const char* what) : state(s), kind(what) {}
    virtual ~Object() = default;
    Object(const Object&) = delete;
    Object& operator=(const Object&) = delete;

    virtual Face* Primary() = 0;
    virtual Face* Query(REFIID) { return nullptr; }
    // The last reference went: let go of what the object holds.
    virtual void Final() {}

    State& state;
    const char* kind;
    ULONG references = 1;
};

namespace {

template <typename T> T& Self(void* face) {
    return static_cast<T&>(*static_cast<Face*>(face)->owner);
}

template <typename I> ULONG STDMETHODCALLTYPE AddRefTo(I* face) {
    Object& o = *static_cast<Face*>(static_cast<void*>(face))->owner;
    if (o.references == 0)
        o.state.misuse.push_back(std::string("AddRef on a released ") + o.kind);
    return ++o.references;
}

template <typename I> ULONG STDMETHODCALLTYPE ReleaseOf(I* face) {
    Object& o = *static_cast<Face*>(static_cast<void*>(face))->owner;
    if (o.references == 0) {
        o.state.misuse.push_back(std::string("Release of a released ") + o.kind);
        return 0;
    }
    if (--o.references == 0)
        o.Final();
    return o.references;
}

template <typename I> HRESULT STDMETHODCALLTYPE QueryInterfaceOf(I* face, REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    Object& o = *static_cast<Face*>(static_cast<void*>(face))->owner;
    Face* found = IsEqualIID(iid, IID_IUnknown) ? o.Primary() : o.Query(iid);
    *out = found;
    if (!found)
        return E_NOINTERFACE;
    ++o.references;
    return S_OK;
}

template <std::size_t N> [[noreturn]] void Unexpected() {
    std::fprintf(stderr, "stand-in engine: a call through vtable slot %u, which it does not implement\n",
                 static_cast<unsigned>(N));
    std::fflush(stderr);
    ::ExitProcess(3);
}

template <std::size_t... N> constexpr std::array<void (*)(), sizeof...(N)> Stubs(std::index_sequence<N...>) {
    return {&Unexpected<N>...};
}
constexpr auto kStubs = Stubs(std::make_index_sequence<200>());

// A vtable whose every method ends the program, but for IUnknown's.
template <typename I, typename Vtbl> Vtbl Slots() {
    static_assert(sizeof(Vtbl) <= sizeof(kStubs) && sizeof(Vtbl) % sizeof(void*) == 0);
    Vtbl v;
    std::memcpy(static_cast<void*>(&v), kStubs.data(), sizeof(Vtbl));
    v.QueryInterface = &QueryInterfaceOf<I>;
    v.AddRef = &AddRefTo<I>;
    v.Release = &ReleaseOf<I>;
    return v;
}

HRESULT Give(Face* face, void** out) {
    *out = face;
    return S_OK;
}

HRESULT GiveText(std::u16string_view text, BSTR* out) {
    if (!out)
        return E_POINTER;
    *out = ::SysAllocStringLen(reinterpret_cast<const OLECHAR*>(text.data()), static_cast<UINT>(text.size()));
    return *out ? S_OK : E_OUTOFMEMORY;
}

// A BSTR answer after the fault for the call, if there is one.
HRESULT GiveText(const Fault* fault, std::u16string_view text, BSTR* out) {
    if (!fault)
        return GiveText(text, out);
    switch (fault->answer) {
    case Answer::Fails:
        return E_FAIL;
    case Answer::OutOfMemory:
        return E_OUTOFMEMORY;
    case Answer::Null:
        *out = nullptr;
        return S_OK;
    case Answer::Empty:
    case Answer::NotAString:
        return GiveText(u"", out);
    }
    return E_FAIL;
}

// The answer of a call that gives an interface, or one that fails.
HRESULT FaultResult(const Fault& fault) {
    return fault.answer == Answer::OutOfMemory ? E_OUTOFMEMORY : fault.answer == Answer::Null ? S_OK : E_FAIL;
}

HRESULT GiveVariant(const Fault* fault, std::u16string_view text, VARIANT* out) {
    ::VariantInit(out);
    if (fault && fault->answer == Answer::NotAString) {
        out->vt = VT_DISPATCH;
        out->pdispVal = nullptr;
        return S_OK;
    }
    // MSHTML gives whole numbers (z-index, font weight, HTML font sizes) as numbers.
    const bool number =
        !fault && !text.empty() && text.size() < 9 &&
        text.find_first_not_of(u"0123456789", text[0] == u'-' ? 1 : 0) == std::u16string_view::npos &&
        text != u"-";
    if (number) {
        out->vt = VT_I4;
        out->lVal = std::stol(ToUtf8(std::u16string(text)));
        return S_OK;
    }
    out->vt = VT_BSTR;
    return GiveText(fault, text, &out->bstrVal);
}

// ---- the document tree ----

struct DocumentObject;
HRESULT GiveNode(DocumentObject& document, std::size_t index, IDispatch** out);

// Objects of one loaded document keep it alive, as MSHTML's do.
struct DocumentPart : Object {
    DocumentPart(State& s, const char* what, DocumentObject& document);
    void Final() override;
    DocumentObject& document;
};

struct StyleObject final : DocumentPart {
    StyleObject(State& s, DocumentObject& d,
                const std::array<std::u16string, Html::kCssPropertyCount>& values)
        : DocumentPart(s, "current style", d), values_(values) {}
    Face* Primary() override { return &face_; }
    Face* Query(REFIID iid) override {
        return IsEqualIID(iid, IID_IHTMLCurrentStyle) || IsEqualIID(iid, IID_IDispatch) ? &face_ : nullptr;
    }

    // The getter of property P, typed BSTR or VARIANT as the header types it.
    template <CssProperty P, typename Out>
    static HRESULT STDMETHODCALLTYPE Get(IHTMLCurrentStyle* face, Out* out) {
        StyleObject& self = Self<StyleObject>(face);
        const Fault* fault = self.state.FaultOn(Call::StyleValue, Html::CssPropertyName(P));
        const std::u16string& value = self.values_[static_cast<std::size_t>(P)];
        if constexpr (std::is_same_v<Out, VARIANT>)
            return GiveVariant(fault, value, out);
        else
            return GiveText(fault, value, out);
    }

    static const IHTMLCurrentStyleVtbl kVtbl;

private:
    const std::array<std::u16string, Html::kCssPropertyCount>& values_;
    Face face_{&kVtbl, this};
};

const IHTMLCurrentStyleVtbl StyleObject::kVtbl = [] {
    using P = CssProperty;
    using S = StyleObject;
    auto v = Slots<IHTMLCurrentStyle, IHTMLCurrentStyleVtbl>();
    v.get_backgroundImage = &S::Get<P::BackgroundImage>;
    v.get_backgroundAttachment = &S::Get<P::BackgroundAttachment>;
    v.get_backgroundColor = &S::Get<P::BackgroundColor>;
    v.get_backgroundPositionX = &S::Get<P::BackgroundPositionX>;
    v.get_backgroundPositionY = &S::Get<P::BackgroundPositionY>;
    v.get_backgroundRepeat = &S::Get<P::BackgroundRepeat>;
    v.get_borderBottomColor = &S::Get<P::BorderBottomColor>;
    v.get_borderBottomStyle = &S::Get<P::BorderBottomStyle>;
    v.get_borderBottomWidth = &S::Get<P::BorderBottomWidth>;
    v.get_borderLeftColor = &S::Get<P::BorderLeftColor>;
    v.get_borderLeftStyle = &S::Get<P::BorderLeftStyle>;
    v.get_borderLeftWidth = &S::Get<P::BorderLeftWidth>;
    v.get_borderRightColor = &S::Get<P::BorderRightColor>;
    v.get_borderRightStyle = &S::Get<P::BorderRightStyle>;
    v.get_borderRightWidth = &S::Get<P::BorderRightWidth>;
    v.get_borderTopColor = &S::Get<P::BorderTopColor>;
    v.get_borderTopStyle = &S::Get<P::BorderTopStyle>;
    v.get_borderTopWidth = &S::Get<P::BorderTopWidth>;
    v.get_borderWidth = &S::Get<P::BorderWidth>;
    v.get_clear = &S::Get<P::Clear>;
    v.get_color = &S::Get<P::Color>;
    v.get_cursor = &S::Get<P::Cursor>;
    v.get_display = &S::Get<P::Display>;
    v.get_fontFamily = &S::Get<P::FontFamily>;
    v.get_fontSize = &S::Get<P::FontSize>;
    v.get_fontStyle = &S::Get<P::FontStyle>;
    v.get_fontVariant = &S::Get<P::FontVariant>;
    v.get_fontWeight = &S::Get<P::FontWeight>;
    v.get_left = &S::Get<P::Left>;
    v.get_letterSpacing = &S::Get<P::LetterSpacing>;
    v.get_lineHeight = &S::Get<P::LineHeight>;
    v.get_listStyleImage = &S::Get<P::ListStyleImage>;
    v.get_listStylePosition = &S::Get<P::ListStylePosition>;
    v.get_listStyleType = &S::Get<P::ListStyleType>;
    v.get_margin = &S::Get<P::Margin>;
    v.get_marginBottom = &S::Get<P::MarginBottom>;
    v.get_marginLeft = &S::Get<P::MarginLeft>;
    v.get_marginRight = &S::Get<P::MarginRight>;
    v.get_marginTop = &S::Get<P::MarginTop>;
    v.get_overflow = &S::Get<P::Overflow>;
    v.get_padding = &S::Get<P::Padding>;
    v.get_paddingBottom = &S::Get<P::PaddingBottom>;
    v.get_paddingLeft = &S::Get<P::PaddingLeft>;
    v.get_paddingRight = &S::Get<P::PaddingRight>;
    v.get_paddingTop = &S::Get<P::PaddingTop>;
    v.get_pageBreakAfter = &S::Get<P::PageBreakAfter>;
    v.get_pageBreakBefore = &S::Get<P::PageBreakBefore>;
    v.get_position = &S::Get<P::Position>;
    v.get_styleFloat = &S::Get<P::Float>;
    v.get_textAlign = &S::Get<P::TextAlign>;
    v.get_textDecoration = &S::Get<P::TextDecoration>;
    v.get_textIndent = &S::Get<P::TextIndent>;
    v.get_textTransform = &S::Get<P::TextTransform>;
    v.get_visibility = &S::Get<P::Visibility>;
    v.get_verticalAlign = &S::Get<P::VerticalAlign>;
    v.get_zIndex = &S::Get<P::ZIndex>;
    return v;
}();

extern const IHTMLDOMNodeVtbl kNodeVtbl;

struct DocumentObject final : Object {
    explicit DocumentObject(State& s) : Object(s, "document") {}
    Face* Primary() override { return &document_; }
    Face* Query(REFIID iid) override {
        if (IsEqualIID(iid, IID_IHTMLDocument2) || IsEqualIID(iid, IID_IHTMLDocument) ||
            IsEqualIID(iid, IID_IDispatch))
            return &document_;
        if (IsEqualIID(iid, IID_IPersistStreamInit))
            return &persist_;
        if (IsEqualIID(iid, IID_IHTMLDOMNode))
            return &node_;
        if (IsEqualIID(iid, IID_IOleObject))
            return &ole_;
        if (IsEqualIID(iid, IID_IOleControl))
            return &control_;
        return nullptr;
    }
    void Final() override {
        if (site) {
            // The document lets its site go with its last reference.
            state.siteReferencesAfterRelease = IOleClientSite_Release(std::exchange(site, nullptr));
        }
    }

    const Snapshot* snapshot = &EmptyDocument(); // until a load finds the served one
    bool loaded = false;
    std::u16string readyState = u"uninitialized";
    IOleClientSite* site = nullptr;
    std::optional<long> downloadControl;

    static const IHTMLDocument2Vtbl kDocumentVtbl;
    static const IPersistStreamInitVtbl kPersistVtbl;
    static const IOleObjectVtbl kOleVtbl;
    static const IOleControlVtbl kControlVtbl;

    Face document_{&kDocumentVtbl, this};
    Face persist_{&kPersistVtbl, this};
    Face node_{&kNodeVtbl, this};
    Face ole_{&kOleVtbl, this};
    Face control_{&kControlVtbl, this};

    void Load(const std::string& bytes);
    void RecordActivity();
};

DocumentPart::DocumentPart(State& s, const char* what, DocumentObject& d) : Object(s, what), document(d) {
    IHTMLDocument2_AddRef(reinterpret_cast<IHTMLDocument2*>(d.Primary()));
}
void DocumentPart::Final() {
    IHTMLDocument2_Release(reinterpret_cast<IHTMLDocument2*>(document.Primary()));
}

struct AttributeObject final : DocumentPart {
    AttributeObject(State& s, DocumentObject& d, const SnapAttribute& a)
        : DocumentPart(s, "attribute", d), attribute(a) {}
    Face* Primary() override { return &attribute_; }
    Face* Query(REFIID iid) override {
        if (IsEqualIID(iid, IID_IHTMLDOMAttribute) || IsEqualIID(iid, IID_IDispatch))
            return &attribute_;
        return IsEqualIID(iid, IID_IHTMLDOMAttribute2) ? &attribute2_ : nullptr;
    }
    const Fault* ValueFault() const { return state.FaultOn(Call::AttributeValue, attribute.name); }

    static const IHTMLDOMAttributeVtbl kVtbl;
    static const IHTMLDOMAttribute2Vtbl kVtbl2;
    const SnapAttribute& attribute;
    Face attribute_{&kVtbl, this};
    Face attribute2_{&kVtbl2, this};
};

const IHTMLDOMAttributeVtbl AttributeObject::kVtbl = [] {
    auto v = Slots<IHTMLDOMAttribute, IHTMLDOMAttributeVtbl>();
    v.get_nodeName = [](IHTMLDOMAttribute* f, BSTR* out) STDMETHODCALLTYPE -> HRESULT {
        return GiveText(Self<AttributeObject>(f).attribute.name, out);
    };
    v.get_specified = [](IHTMLDOMAttribute* f, VARIANT_BOOL* out) STDMETHODCALLTYPE -> HRESULT {
        *out = Self<AttributeObject>(f).attribute.specified ? VARIANT_TRUE : VARIANT_FALSE;
        return S_OK;
    };
    return v;
}();

const IHTMLDOMAttribute2Vtbl AttributeObject::kVtbl2 = [] {
    auto v = Slots<IHTMLDOMAttribute2, IHTMLDOMAttribute2Vtbl>();
    v.get_value = [](IHTMLDOMAttribute2* f, BSTR* out) STDMETHODCALLTYPE -> HRESULT {
        const AttributeObject& self = Self<AttributeObject>(f);
        const Fault* fault = self.ValueFault();
        // An attribute whose value is no string (an object, a number MSHTML keeps as such) has no
        // text to give.
        if (!self.attribute.value || (fault && fault->answer == Answer::NotAString))
            return DISP_E_TYPEMISMATCH;
        return GiveText(fault, *self.attribute.value, out);
    };
    return v;
}();

struct AttributesObject final : DocumentPart {
    AttributesObject(State& s, DocumentObject& d, std::size_t n)
        : DocumentPart(s, "attribute collection", d), node(n) {}
    Face* Primary() override { return &collection_; }
    Face* Query(REFIID iid) override {
        if (IsEqualIID(iid, IID_IHTMLAttributeCollection) || IsEqualIID(iid, IID_IDispatch))
            return &collection_;
        return IsEqualIID(iid, IID_IHTMLAttributeCollection2) ? &collection2_ : nullptr;
    }
    const std::vector<SnapAttribute>& Items() const { return document.snapshot->nodes[node].attributes; }

    static const IHTMLAttributeCollectionVtbl kVtbl;
    static const IHTMLAttributeCollection2Vtbl kVtbl2;
    std::size_t node;
    Face collection_{&kVtbl, this};
    Face collection2_{&kVtbl2, this};
};

const IHTMLAttributeCollectionVtbl AttributesObject::kVtbl = [] {
    auto v = Slots<IHTMLAttributeCollection, IHTMLAttributeCollectionVtbl>();
    v.get_length = [](IHTMLAttributeCollection* f, LONG* out) STDMETHODCALLTYPE -> HRESULT {
        *out = static_cast<LONG>(Self<AttributesObject>(f).Items().size());
        return S_OK;
    };
    v.item = [](IHTMLAttributeCollection* f, VARIANT* which, IDispatch** out) STDMETHODCALLTYPE -> HRESULT {
        AttributesObject& self = Self<AttributesObject>(f);
        const auto& items = self.Items();
        const SnapAttribute* found = nullptr;
        if (which && which->vt == VT_I4 && which->lVal >= 0 &&
            static_cast<std::size_t>(which->lVal) < items.size())
            found = &items[static_cast<std::size_t>(which->lVal)];
        if (!found)
            return E_INVALIDARG;
        return Give(self.state.Make<AttributeObject>(self.document, *found)->Primary(),
                    reinterpret_cast<void**>(out));
    };
    return v;
}();

const IHTMLAttributeCollection2Vtbl AttributesObject::kVtbl2 = [] {
    auto v = Slots<IHTMLAttributeCollection2, IHTMLAttributeCollection2Vtbl>();
    v.getNamedItem = [](IHTMLAttributeCollection2* f, BSTR name, IHTMLDOMAttribute** out)
                         STDMETHODCALLTYPE -> HRESULT {
        AttributesObject& self = Self<AttributesObject>(f);
        const std::u16string wanted = FromWide(name, ::SysStringLen(name));
        if (const Fault* fault = self.state.FaultOn(Call::NamedItem, wanted)) {
            *out = nullptr;
            return FaultResult(*fault);
        }
        // MSHTML matches attribute names without regard to case.
        for (const SnapAttribute& a : self.Items()) {
            if (a.name.size() != wanted.size() ||
                !std::equal(a.name.begin(), a.name.end(), wanted.begin(),
                            [](char16_t x, char16_t y) { return std::towlower(x) == std::towlower(y); }))
                continue;
            return Give(self.state.Make<AttributeObject>(self.document, a)->Primary(),
                        reinterpret_cast<void**>(out));
        }
        *out = nullptr;
        return E_INVALIDARG;
    };
    return v;
}();

struct ChildrenObject final : DocumentPart {
    ChildrenObject(State& s, DocumentObject& d, std::size_t n)
        : DocumentPart(s, "child collection", d), node(n) {}
    Face* Primary() override { return &face_; }
    Face* Query(REFIID iid) override {
        return IsEqualIID(iid, IID_IHTMLDOMChildrenCollection) || IsEqualIID(iid, IID_IDispatch) ? &face_
                                                                                                 : nullptr;
    }
    const std::vector<std::size_t>& Items() const { return document.snapshot->nodes[node].children; }

    static const IHTMLDOMChildrenCollectionVtbl kVtbl;
    std::size_t node;
    Face face_{&kVtbl, this};
};

const IHTMLDOMChildrenCollectionVtbl ChildrenObject::kVtbl = [] {
    auto v = Slots<IHTMLDOMChildrenCollection, IHTMLDOMChildrenCollectionVtbl>();
    v.get_length = [](IHTMLDOMChildrenCollection* f, LONG* out) STDMETHODCALLTYPE -> HRESULT {
        *out = static_cast<LONG>(Self<ChildrenObject>(f).Items().size());
        return S_OK;
    };
    v.item = [](IHTMLDOMChildrenCollection* f, LONG index, IDispatch** out) STDMETHODCALLTYPE -> HRESULT {
        ChildrenObject& self = Self<ChildrenObject>(f);
        if (index < 0 || static_cast<std::size_t>(index) >= self.Items().size())
            return E_INVALIDARG;
        return GiveNode(self.document, self.Items()[static_cast<std::size_t>(index)], out);
    };
    return v;
}();

// The DOM node calls, for the document node (index 0) and the nodes of its tree alike.
struct NodeAt {
    DocumentObject& document;
    std::size_t index;
    const SnapNode& node() const;
};
NodeAt NodeOf(void* face);

const IHTMLDOMNodeVtbl kNodeVtbl = [] {
    auto v = Slots<IHTMLDOMNode, IHTMLDOMNodeVtbl>();
    v.get_nodeType = [](IHTMLDOMNode* f, LONG* out) STDMETHODCALLTYPE -> HRESULT {
        *out = NodeOf(f).node().type;
        return S_OK;
    };
    v.get_nodeName = [](IHTMLDOMNode* f, BSTR* out) STDMETHODCALLTYPE -> HRESULT {
        const NodeAt at = NodeOf(f);
        const SnapNode& node = at.node();
        return GiveText(node.type == 1 ? at.document.state.FaultOn(Call::NodeName, node.name) : nullptr,
                        node.name, out);
    };
    v.get_nodeValue = [](IHTMLDOMNode* f, VARIANT* out) STDMETHODCALLTYPE -> HRESULT {
        const NodeAt at = NodeOf(f);
        const SnapNode& node = at.node();
        ::VariantInit(out);
        if (!node.value) {
            out->vt = VT_NULL;
            return S_OK;
        }
        const Fault* fault =
            node.type == 3 ? at.document.state.FaultOn(Call::NodeValue, *node.value) : nullptr;
        if (fault && (fault->answer == Answer::Fails || fault->answer == Answer::OutOfMemory))
            return FaultResult(*fault);
        if (fault && fault->answer == Answer::NotAString)
            return GiveVariant(fault, u"", out);
        out->vt = VT_BSTR;
        return GiveText(fault, *node.value, &out->bstrVal);
    };
    v.get_childNodes = [](IHTMLDOMNode* f, IDispatch** out) STDMETHODCALLTYPE -> HRESULT {
        const NodeAt at = NodeOf(f);
        return Give(at.document.state.Make<ChildrenObject>(at.document, at.index)->Primary(),
                    reinterpret_cast<void**>(out));
    };
    v.get_attributes = [](IHTMLDOMNode* f, IDispatch** out) STDMETHODCALLTYPE -> HRESULT {
        const NodeAt at = NodeOf(f);
        *out = nullptr;
        if (at.node().type != 1)
            return S_OK;
        return Give(at.document.state.Make<AttributesObject>(at.document, at.index)->Primary(),
                    reinterpret_cast<void**>(out));
    };
    return v;
}();

struct NodeObject final : DocumentPart {
    NodeObject(State& s, DocumentObject& d, std::size_t n) : DocumentPart(s, "node", d), index(n) {}
    const SnapNode& Node() const { return document.snapshot->nodes[index]; }
    Face* Primary() override { return &node_; }
    Face* Query(REFIID iid) override {
        if (IsEqualIID(iid, IID_IHTMLDOMNode) || IsEqualIID(iid, IID_IDispatch))
            return &node_;
        if (Node().type != 1)
            return nullptr;
        if (IsEqualIID(iid, IID_IHTMLElement2))
            return &element2_;
        if (IsEqualIID(iid, IID_IHTMLImgElement) && Node().name == u"IMG")
            return &image_;
        return nullptr;
    }

    static const IHTMLElement2Vtbl kElement2Vtbl;
    static const IHTMLImgElementVtbl kImageVtbl;
    std::size_t index;
    Face node_{&kNodeVtbl, this};
    Face element2_{&kElement2Vtbl, this};
    Face image_{&kImageVtbl, this};
};

const IHTMLElement2Vtbl NodeObject::kElement2Vtbl = [] {
    auto v = Slots<IHTMLElement2, IHTMLElement2Vtbl>();
    v.get_currentStyle = [](IHTMLElement2* f, IHTMLCurrentStyle** out) STDMETHODCALLTYPE -> HRESULT {
        NodeObject& self = Self<NodeObject>(f);
        *out = nullptr;
        if (const Fault* fault = self.state.FaultOn(Call::CurrentStyle, self.Node().name))
            return FaultResult(*fault);
        if (!self.Node().style)
            return E_FAIL;
        auto* style = self.state.Make<StyleObject>(self.document, *self.Node().style);
        return Give(style->Primary(), reinterpret_cast<void**>(out));
    };
    return v;
}();

const IHTMLImgElementVtbl NodeObject::kImageVtbl = [] {
    auto v = Slots<IHTMLImgElement, IHTMLImgElementVtbl>();
    v.get_src = [](IHTMLImgElement* f, BSTR* out) STDMETHODCALLTYPE -> HRESULT {
        const NodeObject& self = Self<NodeObject>(f);
        if (!self.Node().source)
            return E_FAIL;
        return GiveText(*self.Node().source, out);
    };
    return v;
}();

const SnapNode& NodeAt::node() const {
    return document.snapshot->nodes[index];
}

NodeAt NodeOf(void* face) {
    Object& owner = *static_cast<Face*>(face)->owner;
    if (auto* node = dynamic_cast<NodeObject*>(&owner))
        return {node->document, node->index};
    return {dynamic_cast<DocumentObject&>(owner), 0};
}

HRESULT GiveNode(DocumentObject& document, std::size_t index, IDispatch** out) {
    return Give(document.state.Make<NodeObject>(document, index)->Primary(), reinterpret_cast<void**>(out));
}

struct ImagesObject final : DocumentPart {
    explicit ImagesObject(State& s, DocumentObject& d) : DocumentPart(s, "images collection", d) {}
    Face* Primary() override { return &face_; }
    Face* Query(REFIID iid) override {
        return IsEqualIID(iid, IID_IHTMLElementCollection) || IsEqualIID(iid, IID_IDispatch) ? &face_
                                                                                             : nullptr;
    }
    static const IHTMLElementCollectionVtbl kVtbl;
    Face face_{&kVtbl, this};
};

const IHTMLElementCollectionVtbl ImagesObject::kVtbl = [] {
    auto v = Slots<IHTMLElementCollection, IHTMLElementCollectionVtbl>();
    v.get_length = [](IHTMLElementCollection* f, LONG* out) STDMETHODCALLTYPE -> HRESULT {
        *out = static_cast<LONG>(Self<ImagesObject>(f).document.snapshot->images.size());
        return S_OK;
    };
    v.item = [](IHTMLElementCollection* f, VARIANT name, VARIANT, IDispatch** out)
                 STDMETHODCALLTYPE -> HRESULT {
        ImagesObject& self = Self<ImagesObject>(f);
        const auto& images = self.document.snapshot->images;
        *out = nullptr;
        if (name.vt != VT_I4 || name.lVal < 0 || static_cast<std::size_t>(name.lVal) >= images.size())
            return S_OK; // MSHTML answers an index it has no item for with nothing
        return GiveNode(self.document, images[static_cast<std::size_t>(name.lVal)], out);
    };
    return v;
}();

// ---- the document's own interfaces ----

const IHTMLDocument2Vtbl DocumentObject::kDocumentVtbl = [] {
    auto v = Slots<IHTMLDocument2, IHTMLDocument2Vtbl>();
    v.get_readyState = [](IHTMLDocument2* f, BSTR* out) STDMETHODCALLTYPE -> HRESULT {
        return GiveText(Self<DocumentObject>(f).readyState, out);
    };
    v.get_images = [](IHTMLDocument2* f, IHTMLElementCollection** out) STDMETHODCALLTYPE -> HRESULT {
        DocumentObject& self = Self<DocumentObject>(f);
        *out = nullptr;
        return Give(self.state.Make<ImagesObject>(self)->Primary(), reinterpret_cast<void**>(out));
    };
    return v;
}();

const IPersistStreamInitVtbl DocumentObject::kPersistVtbl = [] {
    auto v = Slots<IPersistStreamInit, IPersistStreamInitVtbl>();
    v.InitNew = [](IPersistStreamInit* f) STDMETHODCALLTYPE -> HRESULT {
        Self<DocumentObject>(f).readyState = u"complete";
        return S_OK;
    };
    v.Load = [](IPersistStreamInit* f, IStream* stream) STDMETHODCALLTYPE -> HRESULT {
        std::string bytes;
        char buffer[4096];
        ULONG read = 0;
        for (;;) {
            const HRESULT hr = IStream_Read(stream, buffer, sizeof buffer, &read);
            if (FAILED(hr))
                return hr;
            if (read == 0)
                break;
            bytes.append(buffer, read);
        }
        DocumentObject& self = Self<DocumentObject>(f);
        self.Load(bytes);
        return self.loaded ? S_OK : E_FAIL;
    };
    return v;
}();

const IOleObjectVtbl DocumentObject::kOleVtbl = [] {
    auto v = Slots<IOleObject, IOleObjectVtbl>();
    v.SetClientSite = [](IOleObject* f, IOleClientSite* site) STDMETHODCALLTYPE -> HRESULT {
        DocumentObject& self = Self<DocumentObject>(f);
        if (site)
            IOleClientSite_AddRef(site);
        if (self.site)
            self.state.siteReferencesAfterRelease = IOleClientSite_Release(self.site);
        self.site = site;
        return S_OK;
    };
    return v;
}();

const IOleControlVtbl DocumentObject::kControlVtbl = [] {
    auto v = Slots<IOleControl, IOleControlVtbl>();
    // As MSHTML does, a change of the download control (or of every ambient) makes the document
    // ask its client site's IDispatch for it.
    v.OnAmbientPropertyChange = [](IOleControl* f, DISPID changed) STDMETHODCALLTYPE -> HRESULT {
        DocumentObject& self = Self<DocumentObject>(f);
        if (!self.site || (changed != DISPID_AMBIENT_DLCONTROL && changed != DISPID_UNKNOWN))
            return S_OK;
        IDispatch* ambient = nullptr;
        if (FAILED(
                IOleClientSite_QueryInterface(self.site, IID_IDispatch, reinterpret_cast<void**>(&ambient))))
            return S_OK;
        DISPPARAMS none{};
        VARIANT answer;
        ::VariantInit(&answer);
        const HRESULT hr = IDispatch_Invoke(ambient, DISPID_AMBIENT_DLCONTROL, IID_NULL, LOCALE_USER_DEFAULT,
                                            DISPATCH_PROPERTYGET, &none, &answer, nullptr, nullptr);
        IDispatch_Release(ambient);
        if (SUCCEEDED(hr) && answer.vt == VT_I4)
            self.downloadControl = answer.lVal;
        ::VariantClear(&answer);
        return S_OK;
    };
    return v;
}();

void DocumentObject::Load(const std::string& bytes) {
    for (const Snapshot& s : state.served)
        if (s.length == bytes.size() && s.hash == Corpus::Fnv1a(bytes)) {
            snapshot = &s;
            loaded = true;
        }
    if (!loaded) {
        state.misuse.push_back("a load with input that was not served (" + std::to_string(bytes.size()) +
                               " bytes, " + Corpus::ToHex(Corpus::Fnv1a(bytes)) + ")");
        return;
    }
    state.downloadControl = downloadControl;
    RecordActivity();
    switch (state.completion) {
    case Completion::AtLoad:
        readyState = u"complete";
        break;
    case Completion::ByPostedMessage:
        readyState = u"loading";
        ::PostMessageW(state.window, kCompleteMessage, 0, reinterpret_cast<LPARAM>(this));
        break;
    case Completion::Never:
        readyState = u"loading";
        break;
    }
}

// What MSHTML would run or fetch for this document under its download control.
void DocumentObject::RecordActivity() {
    state.activity.clear();
    const long flags = downloadControl.value_or(kDefaultDownloadControl);
    const bool online = !(flags & DLCTL_FORCEOFFLINE);
    auto attribute = [&](std::size_t n, std::u16string_view name) -> std::optional<std::u16string> {
        const SnapAttribute* a = snapshot->Find(n, name);
        return a ? a->value : std::nullopt;
    };
    auto fetch = [&](const std::optional<std::u16string>& address, bool allowed) {
        if (address && allowed && online)
            state.activity.push_back("fetch " + ToUtf8(*address));
    };
    for (std::size_t n = 0; n < snapshot->nodes.size(); ++n) {
        const SnapNode& node = snapshot->nodes[n];
        if (node.type != 1)
            continue;
        const std::u16string& name = node.name;
        if (name == u"SCRIPT" && !(flags & DLCTL_NO_SCRIPTS)) {
            const auto source = attribute(n, u"src");
            fetch(source, true);
            std::u16string inline_text;
            for (std::size_t child : node.children)
                inline_text += snapshot->nodes[child].value.value_or(u"");
            state.activity.push_back("run script " + ToUtf8(source ? *source : inline_text));
        } else if (name == u"IMG") {
            fetch(attribute(n, u"src"), (flags & DLCTL_DLIMAGES) != 0);
        } else if (name == u"IFRAME" || name == u"FRAME") {
            fetch(attribute(n, u"src"), !(flags & DLCTL_NO_FRAMEDOWNLOAD));
        } else if (name == u"OBJECT" || name == u"EMBED" || name == u"APPLET") {
            const bool run = !(flags & (name == u"APPLET" ? DLCTL_NO_JAVA : DLCTL_NO_RUNACTIVEXCTLS));
            fetch(attribute(n, u"codebase"), !(flags & DLCTL_NO_DLACTIVEXCTLS));
            fetch(attribute(n, name == u"OBJECT" ? u"data" : u"src"), run);
            if (run)
                state.activity.push_back("run control " + ToUtf8(name));
        } else if (name == u"META" && !(flags & DLCTL_NO_CLIENTPULL)) {
            const auto equiv = attribute(n, u"http-equiv");
            const auto content = attribute(n, u"content");
            const std::size_t url = content ? content->find(u"url=") : std::u16string::npos;
            if (equiv && *equiv == u"refresh" && url != std::u16string::npos)
                fetch(content->substr(url + 4), true);
        }
        fetch(attribute(n, u"background"), (flags & DLCTL_DLIMAGES) != 0);
    }
}

struct FactoryObject final : Object {
    explicit FactoryObject(State& s) : Object(s, "class factory") {}
    Face* Primary() override { return &face_; }
    Face* Query(REFIID iid) override { return IsEqualIID(iid, IID_IClassFactory) ? &face_ : nullptr; }
    static const IClassFactoryVtbl kVtbl;
    Face face_{&kVtbl, this};
};

const IClassFactoryVtbl FactoryObject::kVtbl = [] {
    auto v = Slots<IClassFactory, IClassFactoryVtbl>();
    v.CreateInstance = [](IClassFactory* f, IUnknown* outer, REFIID iid, void** out)
                           STDMETHODCALLTYPE -> HRESULT {
        *out = nullptr;
        if (outer)
            return CLASS_E_NOAGGREGATION;
        DocumentObject* document = Self<FactoryObject>(f).state.Make<DocumentObject>();
        Face* face = document->Query(iid);
        if (!face) {
            document->references = 0;
            return E_NOINTERFACE;
        }
        return Give(face, out);
    };
    return v;
}();

LRESULT CALLBACK WindowProcedure(HWND window, UINT message, WPARAM w, LPARAM l) {
    if (message == kCompleteMessage) {
        reinterpret_cast<DocumentObject*>(l)->readyState = u"complete";
        return 0;
    }
    return ::DefWindowProcW(window, message, w, l);
}

} // namespace

Engine::Engine() : state_(std::make_unique<State>()) {
    WNDCLASSW windowClass{};
    windowClass.lpfnWndProc = &WindowProcedure;
    windowClass.hInstance = ::GetModuleHandleW(nullptr);
    windowClass.lpszClassName = L"TessarixStandInMshtml";
    ::RegisterClassW(&windowClass); // fails harmlessly when an earlier engine registered it
    state_->window = ::CreateWindowExW(0, windowClass.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE,
                                       nullptr, windowClass.hInstance, nullptr);
    if (!state_->window)
        throw std::runtime_error("stand-in engine: no message window");
    state_->factory = state_->Make<FactoryObject>();
    const HRESULT hr =
        ::CoRegisterClassObject(kClsidHtmlDocument, reinterpret_cast<IUnknown*>(state_->factory->Primary()),
                                CLSCTX_INPROC_SERVER, REGCLS_MULTIPLEUSE, &state_->cookie);
    if (FAILED(hr))
        throw std::runtime_error("stand-in engine: CoRegisterClassObject failed");
}

Engine::~Engine() {
    ::CoRevokeClassObject(state_->cookie);
    ::DestroyWindow(state_->window);
}

void Engine::Serve(const std::string& snapshot) {
    state_->served.push_back(Parse(snapshot));
}
void Engine::SetFaults(std::vector<Fault> faults) {
    state_->faults = std::move(faults);
}
void Engine::SetCompletion(Completion completion) {
    state_->completion = completion;
}

int Engine::LiveObjects() const {
    int live = 0;
    for (const auto& o : state_->objects)
        if (o.get() != state_->factory && o->references > 0)
            ++live;
    return live;
}
const std::vector<std::string>& Engine::Misuse() const {
    return state_->misuse;
}
std::optional<long> Engine::DownloadControl() const {
    return state_->downloadControl;
}
const std::vector<std::string>& Engine::Activity() const {
    return state_->activity;
}
std::optional<unsigned long> Engine::SiteReferencesAfterRelease() const {
    return state_->siteReferencesAfterRelease;
}

} // namespace Tessarix::Testing::StandIn
