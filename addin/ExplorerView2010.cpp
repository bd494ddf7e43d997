#include "addin/ExplorerView2010.h"

#include "core/Log.h"

namespace Tessarix::Addin {

ExplorerView2010::ExplorerView2010(IDispatch* explorer, CRibbonSupport* ribbonSupport)
    : m_explorer(explorer), m_ribbonSupport(ribbonSupport) {
    CallTracer trace(u"ExplorerView2010::Ctor");
    m_ribbonSupport->AddView(m_explorer.Get(), this);
}

ExplorerView2010::~ExplorerView2010() {
    CallTracer trace(u"ExplorerView2010::Dtor");
    m_ribbonSupport->RemoveView(m_explorer.Get());
}

void ExplorerView2010::SetEnabled(bool enabled) {
    CallTracer trace(u"ExplorerView2010::SetEnabled()");
    if (enabled == m_enabled)
        return;
    m_enabled = enabled;
    m_ribbonSupport->Invalidate();
}

bool ExplorerView2010::GetEnabled() {
    CallTracer trace(u"ExplorerView2010::GetEnabled()");
    return m_enabled;
}

void ExplorerView2010::Advise(IExplorerViewListener* listener) {
    CallTracer trace(u"ExplorerView2010::Advise()");
    m_listener = listener;
}

void ExplorerView2010::OnAddNote() {
    CallTracer trace(u"ExplorerView2010::OnAddNote()");
    if (m_listener)
        m_listener->OnAddNote();
}

std::shared_ptr<IExplorerView> ExplorerViewFactory2010::Create(IDispatch* explorer, IExplorerViewListener*) {
    CallTracer trace(u"ExplorerViewFactory2010::Create");
    return std::make_shared<ExplorerView2010>(explorer, ribbonSupport);
}

} // namespace Tessarix::Addin
