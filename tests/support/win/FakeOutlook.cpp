#include "support/win/FakeOutlook.h"

#include <oleauto.h>
#include <olectl.h>

#include <algorithm>
#include <cwchar>

#include "core/Automation.h"
#include "core/win/MapiPropWin.h"

#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"

namespace Tessarix::Addin::Testing {

VariantValue::VariantValue() {
    ::VariantInit(&value_);
}

VariantValue::VariantValue(const VARIANT& value) : VariantValue() {
    ::VariantCopyInd(&value_, const_cast<VARIANT*>(&value));
}

VariantValue::VariantValue(const VariantValue& other) : VariantValue(other.value_) {}

VariantValue& VariantValue::operator=(const VariantValue& other) {
    if (this != &other) {
        ::VariantClear(&value_);
        ::VariantCopy(&value_, const_cast<VARIANT*>(&other.value_));
    }
    return *this;
}

VariantValue::~VariantValue() {
    ::VariantClear(&value_);
}

VariantValue VariantValue::Bool(bool value) {
    VariantValue v;
    v.value_.vt = VT_BOOL;
    v.value_.boolVal = value ? VARIANT_TRUE : VARIANT_FALSE;
    return v;
}

VariantValue VariantValue::Text(const std::wstring& value) {
    VariantValue v;
    v.value_.vt = VT_BSTR;
    v.value_.bstrVal = ::SysAllocStringLen(value.data(), static_cast<UINT>(value.size()));
    return v;
}

VariantValue VariantValue::Object(IDispatch* value) {
    VariantValue v;
    v.value_.vt = VT_DISPATCH;
    v.value_.pdispVal = value;
    if (value)
        value->AddRef();
    return v;
}

VariantValue VariantValue::Date(DATE value) {
    VariantValue v;
    v.value_.vt = VT_DATE;
    v.value_.date = value;
    return v;
}

std::wstring VariantValue::Text() const {
    if (value_.vt != VT_BSTR || !value_.bstrVal)
        return L"<not text>";
    return std::wstring(value_.bstrVal, ::SysStringLen(value_.bstrVal));
}

bool VariantValue::Bool() const {
    return value_.vt == VT_BOOL && value_.boolVal != VARIANT_FALSE;
}

LONG VariantValue::Int() const {
    return value_.vt == VT_I4 ? value_.lVal : -1;
}

IDispatch* VariantValue::Object() const {
    return value_.vt == VT_DISPATCH ? value_.pdispVal : nullptr;
}

// One event interface's sinks.
class FakeConnectionPoint final : public IConnectionPoint {
public:
    FakeConnectionPoint(const IID& iid, IConnectionPointContainer* container)
        : iid_(iid), container_(container) {}
    ~FakeConnectionPoint() {
        for (auto& [cookie, sink] : sinks_)
            sink->Release();
    }

    const IID& Iid() const { return iid_; }
    std::size_t Count() const { return sinks_.size(); }

    void Fire(DISPID id, const std::vector<VariantValue>& args) {
        std::vector<VARIANT> reversed;
        for (auto it = args.rbegin(); it != args.rend(); ++it)
            reversed.push_back(it->Get());
        DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(), nullptr,
                          static_cast<UINT>(reversed.size()), 0};
        // A sink may unadvise itself (or others) while the event runs.
        std::vector<std::pair<DWORD, IDispatch*>> snapshot(sinks_.begin(), sinks_.end());
        for (auto& [cookie, sink] : snapshot) {
            if (!sinks_.contains(cookie))
                continue;
            sink->AddRef();
            sink->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, nullptr, nullptr,
                         nullptr);
            sink->Release();
        }
    }

    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override {
        if (IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IConnectionPoint)) {
            *out = this;
            return S_OK;
        }
        *out = nullptr;
        return E_NOINTERFACE;
    }
    ULONG STDMETHODCALLTYPE AddRef() override { return 2; }
    ULONG STDMETHODCALLTYPE Release() override { return 1; }
    HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override {
        *iid = iid_;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) override {
        *container = container_;
        container_->AddRef();
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override {
        IDispatch* dispatch = nullptr;
        if (FAILED(sink->QueryInterface(iid_, reinterpret_cast<void**>(&dispatch))))
            return CONNECT_E_CANNOTCONNECT;
        *cookie = ++lastCookie_;
        sinks_[*cookie] = dispatch;
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override {
        const auto found = sinks_.find(cookie);
        if (found == sinks_.end())
            return CONNECT_E_NOCONNECTION;
        found->second->Release();
        sinks_.erase(found);
        return S_OK;
    }
    HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections**) override { return E_NOTIMPL; }

private:
    IID iid_;
    IConnectionPointContainer* container_;
    std::map<DWORD, IDispatch*> sinks_;
    DWORD lastCookie_ = 0;
};

namespace {
std::vector<FakeObject*>& LiveObjects() {
    static std::vector<FakeObject*> live;
    return live;
}
} // namespace

FakeObject::FakeObject(std::vector<IID> iids) : iids_(std::move(iids)) {
    LiveObjects().push_back(this);
}

FakeObject::~FakeObject() {
    std::erase(LiveObjects(), this);
}

const std::vector<FakeObject*>& FakeObject::Live() {
    return LiveObjects();
}

std::size_t FakeObject::AllSinks() const {
    std::size_t sinks = 0;
    for (const auto& point : points_)
        sinks += point->Count();
    return sinks;
}

void FakeObject::Define(const std::wstring& name, Member member) {
    members_[names_[IdOf(name) - 1]] = std::move(member);
}

DISPID FakeObject::IdOf(const std::wstring& name) {
    for (std::size_t i = 0; i < names_.size(); ++i) {
        if (_wcsicmp(names_[i].c_str(), name.c_str()) == 0)
            return static_cast<DISPID>(i + 1);
    }
    names_.push_back(name);
    return static_cast<DISPID>(names_.size());
}

void FakeObject::Property(const std::wstring& name, const VariantValue& value) {
    Define(name, [value](WORD flags, const std::vector<VariantValue>&, VARIANT* result) -> HRESULT {
        if (!(flags & DISPATCH_PROPERTYGET))
            return DISP_E_MEMBERNOTFOUND;
        if (result)
            ::VariantCopy(result, const_cast<VARIANT*>(&value.Get()));
        return S_OK;
    });
}

void FakeObject::ObjectProperty(const std::wstring& name, IDispatch* object) {
    Define(name, [object](WORD flags, const std::vector<VariantValue>&, VARIANT* result) -> HRESULT {
        if (!(flags & DISPATCH_PROPERTYGET))
            return DISP_E_MEMBERNOTFOUND;
        if (result) {
            result->vt = VT_DISPATCH;
            result->pdispVal = object;
            if (object)
                object->AddRef();
        }
        return S_OK;
    });
}

void FakeObject::Failing(const std::wstring& name, HRESULT hr) {
    Define(name, [hr](WORD, const std::vector<VariantValue>&, VARIANT*) { return hr; });
}

bool FakeObject::WasPut(const std::wstring& name) const {
    return puts_.contains(name);
}

const VariantValue& FakeObject::Put(const std::wstring& name) const {
    static const VariantValue none;
    const auto found = puts_.find(name);
    return found == puts_.end() ? none : found->second;
}

int FakeObject::Calls(const std::wstring& name) const {
    const auto found = calls_.find(name);
    return found == calls_.end() ? 0 : found->second;
}

void FakeObject::Events(const IID& iid) {
    points_.push_back(std::make_unique<FakeConnectionPoint>(iid, this));
}

void FakeObject::Fire(const IID& iid, DISPID id, const std::vector<VariantValue>& args) {
    for (auto& point : points_) {
        if (IsEqualIID(point->Iid(), iid))
            point->Fire(id, args);
    }
}

std::size_t FakeObject::Sinks(const IID& iid) const {
    for (const auto& point : points_) {
        if (IsEqualIID(point->Iid(), iid))
            return point->Count();
    }
    return 0;
}

HRESULT STDMETHODCALLTYPE FakeObject::QueryInterface(REFIID iid, void** out) {
    if (!out)
        return E_POINTER;
    *out = nullptr;
    if (IsEqualIID(iid, IID_IConnectionPointContainer)) {
        if (points_.empty())
            return E_NOINTERFACE;
        *out = static_cast<IConnectionPointContainer*>(this);
    } else {
        bool known = IsEqualIID(iid, IID_IUnknown) || IsEqualIID(iid, IID_IDispatch);
        for (const IID& extra : iids_)
            known = known || IsEqualIID(iid, extra);
        if (!known)
            return E_NOINTERFACE;
        *out = static_cast<IDispatch*>(this);
    }
    AddRef();
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeObject::GetTypeInfoCount(UINT* count) {
    *count = 0;
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeObject::GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID locale,
                                                    DISPID* ids) {
    namesLocale = locale;
    if (count != 1)
        return E_INVALIDARG;
    // Otherwise any name has an id; members that were never defined fail when invoked.
    if (onlyDefinedNames && !members_.contains(names[0]))
        return DISP_E_UNKNOWNNAME;
    ids[0] = IdOf(names[0]);
    return S_OK;
}

HRESULT STDMETHODCALLTYPE FakeObject::Invoke(DISPID id, REFIID, LCID locale, WORD flags, DISPPARAMS* params,
                                             VARIANT* result, EXCEPINFO*, UINT*) {
    invokeLocale = locale;
    if (id < 1 || id > static_cast<DISPID>(names_.size()))
        return DISP_E_MEMBERNOTFOUND;
    const std::wstring& name = names_[id - 1];
    ++calls_[name];
    std::vector<VariantValue> args;
    for (UINT i = params ? params->cArgs : 0; i > 0; --i)
        args.emplace_back(params->rgvarg[i - 1]);
    if (result)
        ::VariantInit(result);
    const auto member = members_.find(name);
    if (member != members_.end())
        return member->second(flags, args, result);
    if ((flags & (DISPATCH_PROPERTYPUT | DISPATCH_PROPERTYPUTREF)) && args.size() == 1) {
        puts_[name] = args[0];
        return S_OK;
    }
    return DISP_E_MEMBERNOTFOUND;
}

HRESULT STDMETHODCALLTYPE FakeObject::FindConnectionPoint(REFIID iid, IConnectionPoint** point) {
    for (auto& p : points_) {
        if (IsEqualIID(p->Iid(), iid)) {
            *point = p.get();
            return S_OK;
        }
    }
    *point = nullptr;
    return CONNECT_E_NOCONNECTION;
}

// ---------------------------------------------------------------------------------------------

namespace {

HRESULT ReturnObject(IDispatch* object, VARIANT* result) {
    if (!result)
        return E_POINTER;
    result->vt = VT_DISPATCH;
    result->pdispVal = object;
    if (object)
        object->AddRef();
    return S_OK;
}

} // namespace

FakeCollection::FakeCollection() {
    Define(L"Count", [this](WORD flags, const std::vector<VariantValue>&, VARIANT* result) -> HRESULT {
        if (!(flags & DISPATCH_PROPERTYGET) || !result)
            return DISP_E_MEMBERNOTFOUND;
        result->vt = VT_I4;
        result->lVal = static_cast<LONG>(items.size());
        return S_OK;
    });
    Define(L"Item", [this](WORD, const std::vector<VariantValue>& args, VARIANT* result) -> HRESULT {
        if (args.size() != 1 || args[0].Get().vt != VT_I4)
            return E_INVALIDARG;
        const LONG i = args[0].Int();
        if (i < 1 || i > static_cast<LONG>(items.size()))
            return E_INVALIDARG;
        return ReturnObject(items[i - 1], result);
    });
}

std::unique_ptr<FakeObject> NewStickyNote(const StickyNoteFields& fields) {
    auto note = std::make_unique<FakeObject>(std::vector<IID>{Win::ToIid(Tessarix::Outlook::kIID_NoteItem)});
    note->Property(L"MessageClass", VariantValue::Text(L"IPM.StickyNote"));
    note->Property(L"Subject", VariantValue::Text(fields.subject));
    note->Property(L"Body", VariantValue::Text(fields.body));
    note->Property(L"Categories", VariantValue::Text(fields.categories));
    note->Property(L"CreationTime", VariantValue::Date(fields.created));
    return note;
}

std::unique_ptr<FakeObject> NewMail(const std::wstring& subject, bool sent) {
    auto mail = std::make_unique<FakeObject>(std::vector<IID>{Win::ToIid(Tessarix::Outlook::kIID_MailItem)});
    mail->Property(L"MessageClass", VariantValue::Text(L"IPM.Note"));
    mail->Property(L"Subject", VariantValue::Text(subject));
    mail->Property(L"Sent", VariantValue::Bool(sent));
    return mail;
}

std::unique_ptr<FakeObject> NewItem(const std::wstring& messageClass) {
    auto item = std::make_unique<FakeObject>();
    item->Property(L"MessageClass", VariantValue::Text(messageClass));
    item->Property(L"Subject", VariantValue::Text(messageClass));
    return item;
}

// ---------------------------------------------------------------------------------------------

FakeBar::FakeBar() {
    bar.ObjectProperty(L"Controls", D(controls));
    controls.Define(L"Add", [this](WORD, const std::vector<VariantValue>& args, VARIANT* result) -> HRESULT {
        // Type 1 (a button), Id/Parameter/Before left out, Temporary true.
        if (args.size() != 5 || args[0].Int() != 1 || args[1].Get().vt != VT_ERROR || !args[4].Bool())
            return E_INVALIDARG;
        auto button = std::make_unique<FakeObject>();
        button->Events(Office::kIID_CommandBarButtonEvents);
        button->Define(L"Delete", [](WORD, const std::vector<VariantValue>&, VARIANT*) { return S_OK; });
        const HRESULT hr = ReturnObject(D(*button), result);
        buttons.push_back(std::move(button));
        return hr;
    });
}

std::size_t FakeBar::Shown() const {
    return static_cast<std::size_t>(std::count_if(
        buttons.begin(), buttons.end(), [](const auto& button) { return button->Calls(L"Delete") == 0; }));
}

FakeCommandBars::FakeCommandBars() {
    bars.Events(Office::kIID_CommandBarsEvents);
    bars.Define(L"Item", [this](WORD, const std::vector<VariantValue>& args, VARIANT* result) -> HRESULT {
        const std::wstring name = args.empty() ? L"" : args[0].Text();
        FakeObject* bar = name == L"Standard"                           ? &standard.bar
                          : name == L"Menu Bar"                         ? &menu.bar
                          : name == L"Context Menu" && contextMenuShown ? &context.bar
                                                                        : nullptr;
        if (!bar)
            return E_INVALIDARG;
        return ReturnObject(D(*bar), result);
    });
    toolsPopup.ObjectProperty(L"CommandBar", D(tools.bar));
    menu.bar.Define(L"FindControl", [this](WORD, const std::vector<VariantValue>& args, VARIANT* result) {
        if (args.size() == 5 && args[0].Int() == 10 && args[1].Int() == 30007 && hasToolsMenu)
            return ReturnObject(D(toolsPopup), result);
        return S_OK; // nothing when there is no such control
    });
}

FakeExplorer::FakeExplorer() {
    explorer.Events(Outlook::kIID_ExplorerEvents_10);
    explorer.ObjectProperty(L"Selection", D(selection));
    explorer.ObjectProperty(L"CommandBars", D(commandBars.bars));
}

FakeApplication::FakeApplication(std::vector<FakeExplorer*> open, const std::wstring& version) {
    application.Events(Outlook::kIID_ApplicationEvents_11);
    if (!version.empty())
        application.Property(L"Version", VariantValue::Text(version));
    application.ObjectProperty(L"Explorers", D(explorers));
    application.ObjectProperty(L"Inspectors", D(inspectors));
    explorers.Events(Outlook::kIID_ExplorersEvents);
    inspectors.Events(Outlook::kIID_InspectorsEvents);
    for (FakeExplorer* explorer : open) {
        explorers.items.push_back(D(explorer->explorer));
        explorer->explorer.ObjectProperty(L"Application", D(application));
    }
}

FakeInspector::FakeInspector(IDispatch* shown) {
    inspector.Events(Outlook::kIID_InspectorEvents_10);
    inspector.ObjectProperty(L"CurrentItem", shown ? shown : D(item));
    inspector.ObjectProperty(L"CommandBars", D(commandBars.bars));
}

} // namespace Tessarix::Addin::Testing
