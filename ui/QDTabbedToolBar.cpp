#include "ui/QDTabbedToolBar.h"

#include <QAction>
#include <QFrame>
#include <QHBoxLayout>
#include <QScrollArea>
#include <QTabBar>
#include <QToolButton>

namespace
{
constexpr int kButtonWidth = 76;
} // namespace

QDTabbedToolBar::QDTabbedToolBar(QWidget* parent) : QTabWidget(parent)
{
    setDocumentMode(true);
    setAccessibleName("Toolbar");
    setObjectName("TabbedToolBar");
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
}

void QDTabbedToolBar::SetTabs(const std::vector<LToolbarTab>& tabs,
                              const std::function<QAction*(const LToolbarItem&)>& action)
{
    const int current = currentIndex();
    while (count() > 0)
    {
        QWidget* page = widget(0);
        removeTab(0);
        delete page;
    }
    vTabIds.clear();
    for (const LToolbarTab& tab : tabs)
    {
        auto* scroll = new QScrollArea;
        scroll->setFrameShape(QFrame::NoFrame);
        scroll->setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAsNeeded);
        scroll->setWidgetResizable(true);
        auto* page = new QWidget;
        auto* row = new QHBoxLayout(page);
        row->setContentsMargins(4, 2, 4, 2);
        row->setSpacing(2);
        for (const LToolbarItem& item : tab.items)
        {
            if (item.iCommandId == 0)
            {
                auto* bar = new QFrame(page);
                bar->setFrameShape(QFrame::VLine);
                bar->setFrameShadow(QFrame::Sunken);
                row->addWidget(bar);
                continue;
            }
            auto* button = new QToolButton(page);
            button->setDefaultAction(action(item));
            button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
            button->setIconSize(QSize(kIconSize, kIconSize));
            button->setAutoRaise(true);
            button->setMinimumWidth(kButtonWidth);
            button->setAccessibleName(QString::fromStdString(item.szLabel));
            button->setAccessibleDescription(QString::fromStdString(item.szTip));
            button->setProperty("commandId", item.iCommandId);
            row->addWidget(button);
        }
        row->addStretch(1);
        scroll->setWidget(page);
        scroll->setAccessibleName(QString::fromStdString(tab.szName));
        addTab(scroll, QString::fromStdString(tab.szName));
        vTabIds.push_back(tab.iControlId);
    }
    if (current >= 0 && current < count())
        setCurrentIndex(current);
    // Room for the big buttons and a horizontal bar, whatever the style's sizes.
    const int buttonHeight = kIconSize + 2 * fontMetrics().height() + 6;
    setFixedHeight(tabBar()->sizeHint().height() + buttonHeight + 8);
}

void QDTabbedToolBar::ShowTab(int controlId)
{
    for (size_t i = 0; i < vTabIds.size(); ++i)
        if (vTabIds[i] == controlId)
            setCurrentIndex(int(i));
}

int QDTabbedToolBar::GetTabControlId(int index) const
{
    return index >= 0 && size_t(index) < vTabIds.size() ? vTabIds[size_t(index)] : 0;
}

std::vector<QToolButton*> QDTabbedToolBar::GetButtons(int tabIndex) const
{
    std::vector<QToolButton*> buttons;
    if (QWidget* page = widget(tabIndex))
        for (QToolButton* b : page->findChildren<QToolButton*>())
            if (b->property("commandId").isValid())
                buttons.push_back(b);
    return buttons;
}

QToolButton* QDTabbedToolBar::FindButton(int commandId, int tabIndex) const
{
    for (int i = 0; i < count(); ++i)
    {
        if (tabIndex >= 0 && i != tabIndex)
            continue;
        for (QToolButton* b : GetButtons(i))
            if (b->property("commandId").toInt() == commandId)
                return b;
    }
    return nullptr;
}
