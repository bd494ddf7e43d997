#pragma once
// The views the window trackers hold, and the factories that build them.
#include <windows.h>

#include <oaidl.h>

#include <memory>
#include <vector>

namespace Tessarix {
class IAction;
}

namespace Tessarix::Addin {

class CButton;

// The explorer's own reaction to its button.
class IExplorerViewListener {
public:
    virtual ~IExplorerViewListener() = default;
    virtual void OnAddNote() = 0;
};

class IExplorerView {
public:
    virtual ~IExplorerView() = default;
    virtual void Init() = 0;
    virtual void SetEnabled(bool enabled) = 0;
    virtual void Advise(IExplorerViewListener* listener) = 0;
};

class IExplorerViewFactory {
public:
    virtual ~IExplorerViewFactory() = default;
    // `explorer` is Outlook's _Explorer.
    virtual std::shared_ptr<IExplorerView> Create(IDispatch* explorer, IExplorerViewListener* listener) = 0;
};

// The view of one Outlook 2003 inspector: it owns its buttons and releases them in list order.
class CAddinView {
public:
    CAddinView();
    ~CAddinView();
    CAddinView(const CAddinView&) = delete;
    CAddinView& operator=(const CAddinView&) = delete;

    void Add(std::shared_ptr<CButton> button);

private:
    std::vector<std::shared_ptr<CButton>> m_buttons;
};

class IInspectorViewBuilder {
public:
    virtual ~IInspectorViewBuilder() = default;
    // Empty when no view could be built; `action` may be empty.
    virtual std::shared_ptr<CAddinView> Create(IDispatch* inspector, std::shared_ptr<IAction> action) = 0;
};

} // namespace Tessarix::Addin
