#pragma once
// The Outlook 2010 explorer view: no buttons of its own, only the enabled state that the ribbon's
// explorer buttons show.
#include <windows.h>

#include <oaidl.h>

#include <memory>

#include "addin/RibbonSupport.h"
#include "addin/Views.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {

class ExplorerView2010 final : public IExplorerView, public IRibbonView {
public:
    // Registers itself with the ribbon support for `explorer` (Outlook's _Explorer).
    ExplorerView2010(IDispatch* explorer, CRibbonSupport* ribbonSupport);
    ~ExplorerView2010() override;
    ExplorerView2010(const ExplorerView2010&) = delete;
    ExplorerView2010& operator=(const ExplorerView2010&) = delete;

    void Init() override {}
    // A real change asks the ribbon for every control's state again.
    void SetEnabled(bool enabled) override;
    bool GetEnabled() override;
    void Advise(IExplorerViewListener* listener) override;
    void OnAddNote();

private:
    Win::ComPtr<IDispatch> m_explorer;
    CRibbonSupport* m_ribbonSupport;
    IExplorerViewListener* m_listener = nullptr;
    bool m_enabled = false; // disabled until the first selection change
};

class ExplorerViewFactory2010 final : public IExplorerViewFactory {
public:
    explicit ExplorerViewFactory2010(CRibbonSupport* support) : ribbonSupport(support) {}
    std::shared_ptr<IExplorerView> Create(IDispatch* explorer, IExplorerViewListener* listener) override;

private:
    CRibbonSupport* ribbonSupport; // the add-in variant's own, which outlives its views
};

} // namespace Tessarix::Addin
