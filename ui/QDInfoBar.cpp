#include "ui/QDInfoBar.h"

#include <QHBoxLayout>
#include <QIcon>
#include <QLabel>
#include <QPushButton>
#include <QToolButton>

QDInfoBar::QDInfoBar(QWidget* parent)
    : QFrame(parent), lpText(new QLabel(this)), lpLink(new QLabel(this)), lpButton(new QPushButton(this)),
      lpClose(new QToolButton(this))
{
    setFrameShape(QFrame::StyledPanel);
    setAutoFillBackground(true);
    setBackgroundRole(QPalette::ToolTipBase);
    setAccessibleName("Information");
    lpText->setWordWrap(true);
    lpText->setForegroundRole(QPalette::ToolTipText);
    lpLink->setTextFormat(Qt::RichText);
    lpLink->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    lpClose->setAutoRaise(true);
    lpClose->setIcon(QIcon::fromTheme("window-close"));
    if (lpClose->icon().isNull())
        lpClose->setText("x");
    lpClose->setToolTip("Close");
    lpClose->setAccessibleName("Close the information");
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(8, 4, 4, 4);
    row->addWidget(lpText, 1);
    row->addWidget(lpLink);
    row->addWidget(lpButton);
    row->addWidget(lpClose);
    connect(lpLink, &QLabel::linkActivated, this, [this] { emit command(iLinkCommand); });
    connect(lpButton, &QPushButton::clicked, this, [this] { emit command(iButtonCommand); });
    // The program's own "hide the info bar".
    connect(lpClose, &QToolButton::clicked, this, [this] { emit command(2092); });
    hide();
}

void QDInfoBar::ShowMessage(const QString& text, const QString& linkText, int linkCommand,
                            const QString& buttonText, int buttonCommand)
{
    lpText->setText(text);
    iLinkCommand = linkCommand;
    iButtonCommand = buttonCommand;
    lpLink->setText(linkCommand ? QString("<a href=\"#\">%1</a>").arg(linkText.toHtmlEscaped()) : QString());
    lpLink->setVisible(linkCommand != 0);
    lpButton->setText(buttonText);
    lpButton->setVisible(buttonCommand != 0);
    show();
}

QString QDInfoBar::GetText() const
{
    return lpText->text();
}
