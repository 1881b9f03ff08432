#include "ui/panels/QDPropertiesPanel.h"

#include <QPushButton>
#include <QResizeEvent>
#include <QVBoxLayout>
#include <algorithm>

#include "foundation/LInterWinMessage.h"

namespace
{
LWindow* gRefreshWindow = nullptr;
constexpr int kTopPadding = 18;
constexpr int kTrayHeight = 56;
} // namespace

QDPropertiesPanel::QDPropertiesPanel(QDImagePipelineElement& element, QWidget* parent)
    : QDEmbeddedWindow(parent), rElement(element),
      lpWrapped(dynamic_cast<QDWrappedPropertiesElement*>(&element))
{
    if (lpWrapped)
        lpWrapped->AddNotifyee(this);
    setAccessibleName(QString("%1 properties").arg(element.GetName()));
}

QDPropertiesPanel::~QDPropertiesPanel()
{
    if (lpWrapped)
        lpWrapped->RemoveNotifyee(this);
}

void QDPropertiesPanel::SetRefreshWindow(LWindow* window)
{
    gRefreshWindow = window;
}

void QDPropertiesPanel::InitDialog()
{
    if (lpContainer)
        return;
    lpContainer = new QWidget(this);
    lpContainerLayout = new QVBoxLayout(lpContainer);
    lpContainerLayout->setContentsMargins(8, kTopPadding, 8, 8);
    lpContainerLayout->setAlignment(Qt::AlignTop);
    QVBoxLayout* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    outer->setSpacing(0);
    outer->addWidget(lpContainer);
    outer->addStretch(1);
}

QPushButton* QDPropertiesPanel::CreateTrayResetButton()
{
    if (lpReset)
        return lpReset;
    lpTray = new QWidget(this);
    lpTray->setFixedHeight(kTrayHeight);
    lpReset = new QPushButton("Reset", lpTray);
    lpReset->setAccessibleName("Reset");
    connect(lpReset, &QPushButton::clicked, this, [this] { EvReset(); });
    if (QVBoxLayout* outer = qobject_cast<QVBoxLayout*>(layout()))
        outer->addWidget(lpTray);
    LayoutTray();
    return lpReset;
}

void QDPropertiesPanel::LayoutControls()
{
    LayoutTray();
}

void QDPropertiesPanel::LayoutTray()
{
    if (!lpTray)
        return;
    // 8 in from each side, 3 below the tray's top, 36 high.
    lpReset->setGeometry(8, 3, std::max(0, lpTray->width() - 16), 36);
    EvTrayLayout();
}

int QDPropertiesPanel::GetHeight() const
{
    const int inner = lpContainer ? lpContainer->sizeHint().height() : 0;
    return inner + (lpTray ? kTrayHeight : 0);
}

void QDPropertiesPanel::NotifyResized()
{
    for (QDPropertiesPanelNotifyee* n : std::vector<QDPropertiesPanelNotifyee*>(vNotifyees))
        n->EvPropertiesPanelResized(*this);
}

void QDPropertiesPanel::AddNotifyee(QDPropertiesPanelNotifyee* notifyee)
{
    if (notifyee && std::find(vNotifyees.begin(), vNotifyees.end(), notifyee) == vNotifyees.end())
        vNotifyees.push_back(notifyee);
}

void QDPropertiesPanel::RemoveNotifyee(QDPropertiesPanelNotifyee* notifyee)
{
    vNotifyees.erase(std::remove(vNotifyees.begin(), vNotifyees.end(), notifyee), vNotifyees.end());
}

void QDPropertiesPanel::resizeEvent(QResizeEvent* event)
{
    QDEmbeddedWindow::resizeEvent(event);
    LayoutControls();
    NotifyResized();
}

void QDPropertiesPanel::EvReset()
{
    if (!lpWrapped)
        return;
    lpWrapped->ResetProperties(true);
    PropertiesChanged();
}

void QDPropertiesPanel::Update()
{
    const bool was = bUpdating;
    bUpdating = true;
    UpdateControls();
    bUpdating = was;
}

void QDPropertiesPanel::EvNotify(QDWrappedPropertiesElement&)
{
    Update();
}

void QDPropertiesPanel::PropertiesChanged()
{
    LWindow::SendInterWinMessage(gRefreshWindow, 1, 0, 0);
}
