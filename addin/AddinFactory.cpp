#include "addin/AddinFactory.h"

#include "addin/Buttons.h"
#include "addin/ClipActions.h"
#include "addin/CommandBarViews.h"
#include "addin/Dispatch.h"
#include "addin/ExplorerView2010.h"
#include "addin/Explorers.h"
#include "addin/ItemWindows.h"
#include "addin/Localize.h"
#include "addin/OutlookVersion.h"
#include "core/Format.h"
#include "core/Log.h"

namespace Tessarix::Addin {

CAddin2003::CAddin2003(IDispatch* application, const std::shared_ptr<CLocalize>& /*localize*/,
                       const std::shared_ptr<CTessarixButtonCreator>& tessarixButtonCreator,
                       const std::shared_ptr<IClipActions>& clipActions) {
    CallTracer trace(u"CAddin2003::Ctor");
    explorerViewFactory = std::make_shared<ExplorerViewFactory2003>(tessarixButtonCreator, clipActions);
    explorers = std::make_shared<CExplorers>(application, explorerViewFactory, clipActions);
    inspectorViewBuilder = std::make_shared<CInspectorViewBuilder>(tessarixButtonCreator);
    inspectors = std::make_shared<CInspectors>(application, inspectorViewBuilder, clipActions);
}

CAddin2003::~CAddin2003() {
    CallTracer trace(u"CAddin2003::Dtor");
}

HRESULT CAddin2003::GetCustomUI(BSTR, BSTR*) {
    CallTracer trace(u"CAddin2003::GetCustomUI()");
    return S_FALSE;
}

HRESULT CAddin2003::GetImage(IDispatch*, IPictureDisp**) {
    CallTracer trace(u"CAddin2003::GetImage()");
    return S_FALSE;
}

HRESULT CAddin2003::OnClick(IDispatch*) {
    CallTracer trace(u"CAddin2003::OnClick()");
    return S_FALSE;
}

HRESULT CAddin2003::GetLabel(IDispatch*, BSTR*) {
    CallTracer trace(u"CAddin2003::GetLabel()");
    return S_FALSE;
}

HRESULT CAddin2003::GetEnabled(IDispatch*, VARIANT_BOOL*) {
    CallTracer trace(u"CAddin2003::GetEnabled()");
    return S_FALSE;
}

HRESULT CAddin2003::OnLoad(IDispatch*) {
    CallTracer trace(u"CAddin2003::OnLoad()");
    return S_FALSE;
}

CAddin2007::CAddin2007(IDispatch* application, const std::shared_ptr<CLocalize>& localize,
                       const std::shared_ptr<CTessarixButtonCreator>& tessarixButtonCreator,
                       const std::shared_ptr<IClipActions>& clipActions)
    : CRibbonAddin(localize, clipActions) {
    CallTracer trace(u"CAddin2007::Ctor");
    explorerViewFactory = std::make_shared<ExplorerViewFactory2007>(tessarixButtonCreator);
    explorers = std::make_shared<CExplorers>(application, explorerViewFactory, clipActions);
    // Inspectors get their button from the ribbon: no inspector tracker.
    contextMenu = std::make_shared<CContextMenu2007>(application, tessarixButtonCreator, clipActions);
}

CAddin2007::~CAddin2007() {
    CallTracer trace(u"CAddin2007::Dtor");
}

CAddin2010::CAddin2010(IDispatch* application, const std::shared_ptr<CLocalize>& localize,
                       const std::shared_ptr<CTessarixButtonCreator>& tessarixButtonCreator,
                       const std::shared_ptr<IClipActions>& clipActions)
    : CRibbonAddin(localize, clipActions) {
    CallTracer trace(u"CAddin2010::Ctor");
    explorerViewFactory = std::make_shared<ExplorerViewFactory2010>(static_cast<CRibbonSupport*>(this));
    explorers = std::make_shared<CExplorers>(application, explorerViewFactory, clipActions);
    contextMenu = std::make_shared<CContextMenu2007>(application, tessarixButtonCreator, clipActions);
}

CAddin2010::~CAddin2010() {
    CallTracer trace(u"CAddin2010::Dtor");
}

CAddinFactory::CAddinFactory(IDispatch* application, std::shared_ptr<IClipActions> clipActions)
    : m_application(application), m_clipActions(clipActions ? std::move(clipActions) : MakeClipActions()) {
    CallTracer trace(u"CAddinFactory::Ctor");
    localize = std::make_shared<CLocalize>();
    buttonCreator = std::make_shared<CButtonCreator>();
    tessarixButtonCreator = std::make_shared<CTessarixButtonCreator>(localize, buttonCreator);
}

CAddinFactory::~CAddinFactory() {
    CallTracer trace(u"CAddinFactory::Dtor");
}

std::shared_ptr<IAddin> CAddinFactory::Create() {
    CallTracer trace(u"CAddinFactory::Create()");
    const std::u16string version = Dispatch::GetString(m_application.Get(), L"Version");
    const std::u16string major = MajorVersion(version);
    Log().Debug(Format(u"CAddinFactory: Outlook version is %s", version));
    switch (VariantForMajorVersion(major)) {
    case OutlookVariant::Outlook2003:
        return std::make_shared<CAddin2003>(m_application.Get(), localize, tessarixButtonCreator,
                                            m_clipActions);
    case OutlookVariant::Outlook2007:
        return std::make_shared<CAddin2007>(m_application.Get(), localize, tessarixButtonCreator,
                                            m_clipActions);
    case OutlookVariant::Outlook2010:
        return std::make_shared<CAddin2010>(m_application.Get(), localize, tessarixButtonCreator,
                                            m_clipActions);
    case OutlookVariant::Unsupported:
        break;
    }
    Log().Info(Format(u"Unsupported Outlook version: %s", major));
    return {};
}

} // namespace Tessarix::Addin
