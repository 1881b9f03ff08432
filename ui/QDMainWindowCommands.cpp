// The window's commands as the controller lists them: menus, the caption toolbar, the tabbed
// toolbar and the key map, each command one QAction whose enablement, check and text the
// controller sets once for all the places it shows.

#include <QAction>
#include <QIcon>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QShortcut>
#include <QStackedWidget>
#include <QToolBar>

#include "canvas/LKeyHandler.h"
#include "ui/QDMainWindow.h"
#include "ui/QDTabbedToolBar.h"

namespace
{
std::vector<QKeySequence> KeySequences(uint32_t key)
{
    switch (int(key >> 24))
    {
    case 0:
        break;
    case LVK_BACKSPACE:
        return {QKeySequence(Qt::Key_Delete), QKeySequence(Qt::Key_Backspace)};
    case LVK_UP:
        return {QKeySequence(Qt::Key_Up)};
    case LVK_DOWN:
        return {QKeySequence(Qt::Key_Down)};
    case LVK_LEFT:
        return {QKeySequence(Qt::Key_Left)};
    case LVK_RIGHT:
        return {QKeySequence(Qt::Key_Right)};
    case 0x67:
        return {QKeySequence(Qt::Key_F11)};
    default:
        return {};
    }
    QString text;
    if (key & LKeyCommand)
        text += "Ctrl+";
    if (key & LKeyShift)
        text += "Shift+";
    text += QChar(char(key & 0xFF)).toUpper();
    return {QKeySequence(text)};
}

// Keys that belong to what has the focus on the canvas side: arrows scroll the canvas, but not
// while a slider or a list has the keyboard.
bool IsCanvasKey(uint32_t key)
{
    const int virtualKey = int(key >> 24);
    return virtualKey == LVK_UP || virtualKey == LVK_DOWN || virtualKey == LVK_LEFT ||
           virtualKey == LVK_RIGHT || virtualKey == LVK_BACKSPACE;
}

QIcon IconFor(const LToolbarItem& item)
{
    if (item.lpIcon && item.lpIcon->IsValid())
        return QIcon(QPixmap::fromImage(QDMainWindow::ToQImage(*item.lpIcon)));
    if (!item.szIconName.empty())
    {
        QIcon icon = QIcon::fromTheme(QString::fromStdString(item.szIconName));
        if (!icon.isNull())
            return icon;
    }
    return QIcon::fromTheme("applications-graphics");
}
} // namespace

QAction* QDMainWindow::MakeCommandAction(int id, const QString& text, bool bMenu)
{
    auto* action = new QAction(text, this);
    connect(action, &QAction::triggered, this, [this, id] { rHandler.Command(id, 0); });
    CommandState& state = mapCommands[id];
    (bMenu ? state.vMenuActions : state.vOtherActions).push_back(action);
    action->setEnabled(state.bEnabled);
    if (state.bCheckable)
    {
        action->setCheckable(true);
        action->setChecked(state.bChecked);
    }
    return action;
}

void QDMainWindow::ApplyState(int id)
{
    auto it = mapCommands.find(id);
    if (it == mapCommands.end())
        return;
    const CommandState& s = it->second;
    for (const auto* list : {&s.vMenuActions, &s.vOtherActions})
        for (QAction* a : *list)
        {
            a->setEnabled(s.bEnabled);
            if (s.bCheckable)
            {
                a->setCheckable(true);
                a->setChecked(s.bChecked);
            }
        }
}

void QDMainWindow::SetMenus(const std::vector<LMenu>& menus)
{
    menuBar()->clear();
    for (auto& [id, state] : mapCommands)
        state.vMenuActions.clear();
    for (const LMenu& m : menus)
    {
        QMenu* top = menuBar()->addMenu(QString::fromStdString(m.szName));
        connect(top, &QMenu::aboutToShow, this, [this] { rHandler.EvMenuOpen(); });
        std::vector<QMenu*> stack{top};
        for (const LMenuItem& item : m.items)
        {
            QMenu* menu = stack.back();
            if (item.iCommandId == 0)
                menu->addSeparator();
            else if (item.iCommandId == -1 && !item.szText.empty())
                stack.push_back(menu->addMenu(QString::fromStdString(item.szText)));
            else if (item.iCommandId == -1)
            {
                if (stack.size() > 1)
                    stack.pop_back();
            }
            else
            {
                QString text = QString::fromStdString(item.szText);
                if (!item.szShortcut.empty())
                    text += "\t" + QString::fromStdString(item.szShortcut);
                menu->addAction(MakeCommandAction(item.iCommandId, text, true));
            }
        }
    }
}

void QDMainWindow::SetCaptionToolbar(const std::vector<LToolbarItem>& items)
{
    lpCaptionBar->clear();
    for (const LToolbarItem& item : items)
    {
        QAction* a = MakeCommandAction(item.iCommandId, QString::fromStdString(item.szLabel), false);
        a->setIcon(IconFor(item));
        a->setToolTip(QString::fromStdString(item.szTip));
        lpCaptionBar->addAction(a);
        if (QWidget* w = lpCaptionBar->widgetForAction(a))
            w->setAccessibleName(QString::fromStdString(item.szTip));
    }
}

void QDMainWindow::SetToolbarTabs(const std::vector<LToolbarTab>& tabs)
{
    // The old buttons' actions go with them.
    for (auto& [id, state] : mapCommands)
        std::erase_if(state.vOtherActions,
                      [](QAction* a)
                      {
                          if (!a->property("tabbed").toBool())
                              return false;
                          a->deleteLater();
                          return true;
                      });
    lpTabs->SetTabs(tabs,
                    [this](const LToolbarItem& item)
                    {
                        QAction* a =
                            MakeCommandAction(item.iCommandId, QString::fromStdString(item.szLabel), false);
                        a->setProperty("tabbed", true);
                        a->setIcon(IconFor(item));
                        a->setToolTip(QString::fromStdString(item.szTip));
                        return a;
                    });
}

void QDMainWindow::SetKeyMap(const std::vector<LKeyMapEntry>& keys)
{
    for (QShortcut* s : vShortcuts)
        delete s;
    vShortcuts.clear();
    for (const LKeyMapEntry& entry : keys)
        for (const QKeySequence& sequence : KeySequences(entry.iKey))
        {
            QShortcut* s = IsCanvasKey(entry.iKey) ? new QShortcut(sequence, lpCanvasStack)
                                                   : new QShortcut(sequence, this);
            s->setContext(IsCanvasKey(entry.iKey) ? Qt::WidgetWithChildrenShortcut : Qt::WindowShortcut);
            const uint32_t key = entry.iKey;
            connect(s, &QShortcut::activated, this, [this, key] { rHandler.EvKeyDown(key); });
            vShortcuts.push_back(s);
        }
}

void QDMainWindow::EnableCommand(int id, bool bEnable)
{
    CommandState& s = mapCommands[id];
    if (s.bEnabled == bEnable)
        return;
    s.bEnabled = bEnable;
    ApplyState(id);
}

void QDMainWindow::CheckCommand(int id, bool bCheck)
{
    CommandState& s = mapCommands[id];
    if (s.bCheckable && s.bChecked == bCheck)
        return;
    s.bCheckable = true;
    s.bChecked = bCheck;
    ApplyState(id);
}

void QDMainWindow::SetCommandText(int id, const char* text)
{
    auto it = mapCommands.find(id);
    if (it == mapCommands.end())
        return;
    for (QAction* a : it->second.vMenuActions)
    {
        const QString old = a->text();
        const int tab = old.indexOf('\t');
        a->setText(QString::fromUtf8(text) + (tab >= 0 ? old.mid(tab) : QString()));
    }
    for (QAction* a : it->second.vOtherActions)
        a->setToolTip(QString::fromUtf8(text));
}

bool QDMainWindow::IsCommandEnabled(int id) const
{
    auto it = mapCommands.find(id);
    return it == mapCommands.end() || it->second.bEnabled;
}

QAction* QDMainWindow::GetMenuAction(int id) const
{
    auto it = mapCommands.find(id);
    return it == mapCommands.end() || it->second.vMenuActions.empty() ? nullptr
                                                                      : it->second.vMenuActions.front();
}

void QDMainWindow::ShowToolbarTab(int controlId)
{
    lpTabs->ShowTab(controlId);
}
