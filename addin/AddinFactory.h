#pragma once
// The add-in variants and the factory that picks one for the running Outlook.
#include <windows.h>

#include <oaidl.h>

#include <memory>

#include "addin/Addin.h"
#include "addin/RibbonSupport.h"
#include "core/win/ComPtr.h"

namespace Tessarix::Addin {

class CAddinView;
class CButtonCreator;
class CContextMenu2007;
class CExplorers;
class CInspectors;
class CLocalize;
class CTessarixButtonCreator;
class IClipActions;
class IExplorerViewFactory;
class IInspectorViewBuilder;

// Outlook 2003: command bars only; Outlook never calls its ribbon operations.
class CAddin2003 final : public IAddin {
public:
    // `application` is Outlook's _Application; the localisation is not kept.
    CAddin2003(IDispatch* application, const std::shared_ptr<CLocalize>& localize,
               const std::shared_ptr<CTessarixButtonCreator>& tessarixButtonCreator,
               const std::shared_ptr<IClipActions>& clipActions);
    ~CAddin2003() override;
    CAddin2003(const CAddin2003&) = delete;
    CAddin2003& operator=(const CAddin2003&) = delete;

    // Each traces and returns S_FALSE, leaving the out values untouched.
    HRESULT GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) override;
    HRESULT GetImage(IDispatch* control, IPictureDisp** image) override;
    HRESULT OnClick(IDispatch* control) override;
    HRESULT GetLabel(IDispatch* control, BSTR* label) override;
    HRESULT GetEnabled(IDispatch* control, VARIANT_BOOL* enabled) override;
    HRESULT OnLoad(IDispatch* ribbon) override;

private:
    std::shared_ptr<CExplorers> explorers;
    std::shared_ptr<IExplorerViewFactory> explorerViewFactory;
    std::shared_ptr<CInspectors> inspectors;
    std::shared_ptr<IInspectorViewBuilder> inspectorViewBuilder;
};

// Outlook 2007 (ribbon in inspectors) and Outlook 2010 (ribbon everywhere): the ribbon operations
// are the ribbon support's.
class CRibbonAddin : public CRibbonSupport, public virtual IAddin {
public:
    HRESULT GetCustomUI(BSTR ribbonId, BSTR* ribbonXml) override {
        return CRibbonSupport::GetCustomUI(ribbonId, ribbonXml);
    }
    HRESULT GetImage(IDispatch* control, IPictureDisp** image) override {
        return CRibbonSupport::GetImage(control, image);
    }
    HRESULT OnClick(IDispatch* control) override { return CRibbonSupport::OnClick(control); }
    HRESULT GetLabel(IDispatch* control, BSTR* label) override {
        return CRibbonSupport::GetLabel(control, label);
    }
    HRESULT GetEnabled(IDispatch* control, VARIANT_BOOL* enabled) override {
        return CRibbonSupport::GetEnabled(control, enabled);
    }
    HRESULT OnLoad(IDispatch* ribbon) override { return CRibbonSupport::OnLoad(ribbon); }

protected:
    using CRibbonSupport::CRibbonSupport;
};

// Command bars in explorers (the ribbon serves only the inspectors).
class CAddin2007 final : public CRibbonAddin {
public:
    CAddin2007(IDispatch* application, const std::shared_ptr<CLocalize>& localize,
               const std::shared_ptr<CTessarixButtonCreator>& tessarixButtonCreator,
               const std::shared_ptr<IClipActions>& clipActions);
    ~CAddin2007() override;

private:
    std::shared_ptr<CExplorers> explorers;
    std::shared_ptr<CContextMenu2007> contextMenu;
    std::shared_ptr<IExplorerViewFactory> explorerViewFactory;
};

// The ribbon everywhere: each explorer's view registers with this add-in's ribbon support.
class CAddin2010 final : public CRibbonAddin {
public:
    CAddin2010(IDispatch* application, const std::shared_ptr<CLocalize>& localize,
               const std::shared_ptr<CTessarixButtonCreator>& tessarixButtonCreator,
               const std::shared_ptr<IClipActions>& clipActions);
    ~CAddin2010() override;

private:
    std::shared_ptr<CExplorers> explorers;
    std::shared_ptr<CContextMenu2007> contextMenu;
    std::shared_ptr<IExplorerViewFactory> explorerViewFactory;
};

class CAddinFactory {
public:
    // `application` is Outlook's _Application; the factory keeps a reference to it.
    // `clipActions` empty: the product's own (MakeClipActions).
    explicit CAddinFactory(IDispatch* application, std::shared_ptr<IClipActions> clipActions = {});
    ~CAddinFactory();
    CAddinFactory(const CAddinFactory&) = delete;
    CAddinFactory& operator=(const CAddinFactory&) = delete;

    // The variant for Outlook's major version; empty (and one Info line) when it is unsupported.
    std::shared_ptr<IAddin> Create();

private:
    Win::ComPtr<IDispatch> m_application;
    std::shared_ptr<CLocalize> localize;
    std::shared_ptr<CButtonCreator> buttonCreator;
    std::shared_ptr<CTessarixButtonCreator> tessarixButtonCreator;
    std::shared_ptr<IClipActions> m_clipActions;
};

} // namespace Tessarix::Addin
