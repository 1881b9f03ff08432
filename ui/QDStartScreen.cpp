#include "ui/QDStartScreen.h"

#include <QAction>
#include <QFileInfo>
#include <QGridLayout>
#include <QIcon>
#include <QLabel>
#include <QToolButton>
#include <QVBoxLayout>

namespace
{
struct StartItem
{
    int iCommandId; // 0: the guide, which the window opens itself
    const char* szTitle;
    const char* szDescription;
    const char* szIcon;
};

// Commands of the start screen; ids of the program's command table.
const StartItem kItems[] = {
    {2502, "Open an Image", "Open an image file from your hard disk.", "document-open"},
    {2001, "New Image", "Start with a blank picture of the size and colour you choose.", "document-new"},
    {2504, "Create a new collage", "Create a collage from several existing images.", "view-grid"},
    {2503, "Batch Editor", "Apply the same edits to many pictures at once.", "view-list-details"},
    {0, "Getting started", "Open the Quendrel getting started guide.", "help-contents"},
};
} // namespace

QDStartScreen::QDStartScreen(const std::function<QAction*(int id, const QString& text)>& action,
                             QWidget* parent)
    : QWidget(parent), lpRecentLayout(new QVBoxLayout), lpRecentTitle(new QLabel("Recent files"))
{
    setAccessibleName("Start");
    setAutoFillBackground(true);
    auto* outer = new QVBoxLayout(this);
    outer->addStretch(1);
    auto* title = new QLabel("How would you like to begin?", this);
    QFont big = title->font();
    big.setPointSizeF(big.pointSizeF() * 1.6);
    title->setFont(big);
    title->setAlignment(Qt::AlignCenter);
    outer->addWidget(title);
    auto* grid = new QGridLayout;
    grid->setSpacing(12);
    int column = 0;
    for (const StartItem& item : kItems)
    {
        auto* button = new QToolButton(this);
        button->setToolButtonStyle(Qt::ToolButtonTextUnderIcon);
        button->setIconSize(QSize(48, 48));
        button->setMinimumSize(150, 110);
        button->setAutoRaise(true);
        if (item.iCommandId)
        {
            QAction* a = action(item.iCommandId, item.szTitle);
            a->setIcon(QIcon::fromTheme(item.szIcon));
            a->setToolTip(item.szDescription);
            button->setDefaultAction(a);
            // What this build can't do yet isn't offered as a way to begin.
            connect(a, &QAction::changed, button, [button, a] { button->setVisible(a->isEnabled()); });
            button->setVisible(a->isEnabled());
        }
        else
        {
            button->setText(item.szTitle);
            button->setIcon(QIcon::fromTheme(item.szIcon));
            button->setToolTip(item.szDescription);
            connect(button, &QToolButton::clicked, this, &QDStartScreen::guideRequested);
        }
        button->setAccessibleName(item.szTitle);
        button->setAccessibleDescription(item.szDescription);
        button->setProperty("commandId", item.iCommandId);
        grid->addWidget(button, 0, column++);
        vButtons.push_back(button);
    }
    auto* row = new QHBoxLayout;
    row->addStretch(1);
    row->addLayout(grid);
    row->addStretch(1);
    outer->addLayout(row);
    outer->addSpacing(24);
    auto* recentRow = new QHBoxLayout;
    recentRow->addStretch(1);
    auto* recentColumn = new QVBoxLayout;
    recentColumn->addWidget(lpRecentTitle);
    recentColumn->addLayout(lpRecentLayout);
    recentRow->addLayout(recentColumn);
    recentRow->addStretch(1);
    outer->addLayout(recentRow);
    outer->addStretch(2);
    SetRecentFiles({});
}

void QDStartScreen::SetRecentFiles(const std::vector<std::string>& paths)
{
    for (QToolButton* b : vRecent)
        b->deleteLater();
    vRecent.clear();
    for (const std::string& p : paths)
    {
        const QString path = QString::fromStdString(p);
        auto* button = new QToolButton(this);
        button->setAutoRaise(true);
        button->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
        button->setIcon(QIcon::fromTheme("image-x-generic"));
        button->setText(QFileInfo(path).fileName());
        button->setToolTip(path);
        button->setAccessibleName(QString("Open %1").arg(QFileInfo(path).fileName()));
        connect(button, &QToolButton::clicked, this, [this, path] { emit recentFileChosen(path); });
        lpRecentLayout->addWidget(button);
        vRecent.push_back(button);
    }
    lpRecentTitle->setVisible(!paths.empty());
}

QToolButton* QDStartScreen::GetButton(int commandId) const
{
    for (QToolButton* b : vButtons)
        if (b->property("commandId").toInt() == commandId)
            return b;
    return nullptr;
}

QToolButton* QDStartScreen::GetRecentButton(int index) const
{
    return index >= 0 && index < int(vRecent.size()) ? vRecent[size_t(index)] : nullptr;
}
