#pragma once
// Scripted Outlook and Office objects for the tests of the add-in and of the automation seam:
// automation objects whose members are test functions, which record what is put into them and fire
// events through real connection points, and the Outlook windows, command bars and items built from
// them. Objects are owned by the tests; their reference counts are checked, never acted on.
#include <windows.h>

#include <oaidl.h>
#include <ocidl.h>

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "addin/OfficeInterfaces.h"

#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor" // COM interfaces have no destructors

namespace Tessarix::Addin::Testing {

class FakeConnectionPoint;

// A VARIANT that owns a copy of what it was given.
class VariantValue {
public:
    VariantValue();
    explicit VariantValue(const VARIANT& value);
    VariantValue(const VariantValue& other);
    VariantValue& operator=(const VariantValue& other);
    ~VariantValue();
    static VariantValue Bool(bool value);
    static VariantValue Text(const std::wstring& value);
    static VariantValue Object(IDispatch* value);
    static VariantValue Date(DATE value);

    const VARIANT& Get() const { return value_; }
    std::wstring Text() const; // VT_BSTR
    bool Bool() const;         // VT_BOOL
    LONG Int() const;          // VT_I4
    IDispatch* Object() const; // VT_DISPATCH (no reference added)

private:
    VARIANT value_;
};

class FakeObject : public IDispatch, public IConnectionPointContainer {
public:
    explicit FakeObject(std::vector<IID> iids = {});
    virtual ~FakeObject();
    FakeObject(const FakeObject&) = delete;
    FakeObject& operator=(const FakeObject&) = delete;

    // A member answers a get, put or call: `args` in their written order; S_OK or a failure.
    using Member = std::function<HRESULT(WORD flags, const std::vector<VariantValue>& args, VARIANT* result)>;
    void Define(const std::wstring& name, Member member);
    // A property that reads as `value`, a copy each time.
    void Property(const std::wstring& name, const VariantValue& value);
    // A property that reads as `object` (null: nothing) without holding a reference to it, so that
    // objects may point at each other and be destroyed in any order.
    void ObjectProperty(const std::wstring& name, IDispatch* object);
    // A property whose read fails with `hr`.
    void Failing(const std::wstring& name, HRESULT hr);
    // Puts are recorded under the property name (last value wins) unless a member is defined.
    bool WasPut(const std::wstring& name) const;
    const VariantValue& Put(const std::wstring& name) const;
    int Calls(const std::wstring& name) const;
    bool Defines(const std::wstring& name) const { return members_.contains(name); }
    // The sinks on all its connection points.
    std::size_t AllSinks() const;
    // Every FakeObject alive, in the order made: a test can check that each was let go.
    static const std::vector<FakeObject*>& Live();

    // A connection point for the event interface `iid`; Fire calls its sinks with `args` in their
    // written order.
    void Events(const IID& iid);
    void Fire(const IID& iid, DISPID id, const std::vector<VariantValue>& args = {});
    std::size_t Sinks(const IID& iid) const;

    LONG refs = 1;
    // Names not defined are unknown to GetIDsOfNames instead of failing when invoked.
    bool onlyDefinedNames = false;
    LCID namesLocale = 0, invokeLocale = 0; // of the last calls

    // IUnknown, IDispatch, IConnectionPointContainer
    HRESULT STDMETHODCALLTYPE QueryInterface(REFIID iid, void** out) override;
    ULONG STDMETHODCALLTYPE AddRef() override { return ++refs; }
    ULONG STDMETHODCALLTYPE Release() override { return --refs; }
    HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override;
    HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID locale,
                                            DISPID* ids) override;
    HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID locale, WORD flags, DISPPARAMS* params,
                                     VARIANT* result, EXCEPINFO*, UINT*) override;
    HRESULT STDMETHODCALLTYPE EnumConnectionPoints(IEnumConnectionPoints**) override { return E_NOTIMPL; }
    HRESULT STDMETHODCALLTYPE FindConnectionPoint(REFIID iid, IConnectionPoint** point) override;

private:
    DISPID IdOf(const std::wstring& name);

    std::vector<IID> iids_;
    std::vector<std::wstring> names_; // DISPID - 1
    std::map<std::wstring, Member> members_;
    std::map<std::wstring, VariantValue> puts_;
    std::map<std::wstring, int> calls_;
    std::vector<std::unique_ptr<FakeConnectionPoint>> points_;
};

inline IDispatch* D(FakeObject& object) {
    return static_cast<IDispatch*>(&object);
}

// A collection (a selection, the explorers): Count and Item(index) over `items`, the index a VT_I4
// counting from 1. It holds no references to the items.
class FakeCollection : public FakeObject {
public:
    FakeCollection();
    std::vector<IDispatch*> items;
};

// ---------------------------------------------------------------------------------------------
// Items

struct StickyNoteFields {
    std::wstring subject;
    std::wstring body;
    std::wstring categories;
    DATE created = 0;
};

// "IPM.StickyNote" answering _NoteItem.
std::unique_ptr<FakeObject> NewStickyNote(const StickyNoteFields& fields);
// "IPM.Note" answering _MailItem, with its Sent flag.
std::unique_ptr<FakeObject> NewMail(const std::wstring& subject, bool sent);
// An item of a class without a wrapper, e.g. "IPM.DistList".
std::unique_ptr<FakeObject> NewItem(const std::wstring& messageClass);

// ---------------------------------------------------------------------------------------------
// Windows and command bars

// A command bar whose Controls.Add makes recorded buttons with Click events.
struct FakeBar {
    FakeObject bar;
    FakeObject controls;
    std::vector<std::unique_ptr<FakeObject>> buttons;

    FakeBar();
    FakeObject& Last() { return *buttons.back(); }
    // The buttons not deleted yet.
    std::size_t Shown() const;
};

// CommandBars with "Standard", "Menu Bar" (its Tools popup optional) and "Context Menu", and the
// OnUpdate event.
struct FakeCommandBars {
    FakeObject bars;
    FakeBar standard, menu, tools, context;
    FakeObject toolsPopup{{Office::kIID_CommandBarPopup}};
    bool hasToolsMenu = true;
    bool contextMenuShown = true;

    FakeCommandBars();
};

struct FakeExplorer {
    FakeObject explorer{{Outlook::kIID_Explorer}};
    FakeCollection selection;
    FakeCommandBars commandBars;

    FakeExplorer();
    void Select(std::vector<IDispatch*> items) { selection.items = std::move(items); }
};

// The application with its explorer collection (the given explorers are open) and inspector
// collection; each open explorer's Application is this one.
struct FakeApplication {
    FakeObject application{{Outlook::kIID_Application}};
    FakeCollection explorers;
    FakeObject inspectors;

    explicit FakeApplication(std::vector<FakeExplorer*> open = {}, const std::wstring& version = L"");
    void Activate(FakeExplorer& explorer) {
        application.ObjectProperty(L"ActiveExplorer", D(explorer.explorer));
    }
};

struct FakeInspector {
    FakeObject inspector{{Outlook::kIID_Inspector}};
    FakeObject item;
    FakeCommandBars commandBars;

    // Shows `shown`, or else its own plain item.
    explicit FakeInspector(IDispatch* shown = nullptr);
};

} // namespace Tessarix::Addin::Testing

#pragma GCC diagnostic pop
