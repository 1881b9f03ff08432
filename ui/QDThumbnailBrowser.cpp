#include "ui/QDThumbnailBrowser.h"

#include <QContextMenuEvent>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QImage>
#include <QLabel>
#include <QMouseEvent>
#include <QPixmap>
#include <QToolButton>
#include <QVBoxLayout>

QDThumbnailBrowser::QDThumbnailBrowser(QWidget* parent)
    : QScrollArea(parent), lpInner(new QWidget), lpLayout(new QHBoxLayout(lpInner))
{
    setWidgetResizable(true);
    setFrameShape(QFrame::NoFrame);
    setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setAccessibleName("Open projects");
    lpLayout->setContentsMargins(4, 2, 4, 2);
    lpLayout->setSpacing(6);
    lpLayout->addStretch(1);
    setWidget(lpInner);
    setFixedHeight(kPictureHeight + 2 * fontMetrics().height() + 24);
}

void QDThumbnailBrowser::Add(QDProject* project, const QString& name)
{
    if (!project || mapItems.count(project))
        return;
    Item item{new QFrame(lpInner), nullptr, nullptr, nullptr};
    item.lpFrame->setFrameShape(QFrame::StyledPanel);
    item.lpFrame->setAutoFillBackground(true);
    item.lpFrame->setAccessibleName(name);
    item.lpFrame->setToolTip(name);
    auto* column = new QVBoxLayout(item.lpFrame);
    column->setContentsMargins(3, 3, 3, 3);
    column->setSpacing(2);
    item.lpPicture = new QLabel(item.lpFrame);
    item.lpPicture->setFixedSize(kPictureWidth, kPictureHeight);
    item.lpPicture->setAlignment(Qt::AlignCenter);
    column->addWidget(item.lpPicture, 0, Qt::AlignHCenter);
    auto* line = new QHBoxLayout;
    item.lpName = new QLabel(item.lpFrame);
    item.lpName->setMaximumWidth(kPictureWidth - 18);
    item.lpName->setText(item.lpName->fontMetrics().elidedText(name, Qt::ElideMiddle, kPictureWidth - 18));
    item.lpClose = new QToolButton(item.lpFrame);
    item.lpClose->setAutoRaise(true);
    item.lpClose->setIcon(QIcon::fromTheme("window-close"));
    if (item.lpClose->icon().isNull())
        item.lpClose->setText("x");
    item.lpClose->setIconSize(QSize(12, 12));
    item.lpClose->setToolTip(QString("Close %1").arg(name));
    item.lpClose->setAccessibleName(QString("Close %1").arg(name));
    line->addWidget(item.lpName, 1);
    line->addWidget(item.lpClose);
    column->addLayout(line);
    connect(item.lpClose, &QToolButton::clicked, this, [this, project] { emit closeRequested(project); });
    for (QObject* o : {static_cast<QObject*>(item.lpFrame), static_cast<QObject*>(item.lpPicture),
                       static_cast<QObject*>(item.lpName)})
        o->installEventFilter(this);
    lpLayout->insertWidget(lpLayout->count() - 1, item.lpFrame);
    mapItems[project] = item;
}

void QDThumbnailBrowser::Update(QDProject* project, const QImage& image, const QString& name)
{
    auto it = mapItems.find(project);
    if (it == mapItems.end())
        return;
    Item& item = it->second;
    if (!image.isNull())
    {
        const qreal dpr = devicePixelRatioF();
        QPixmap picture = QPixmap::fromImage(image.scaled(QSize(kPictureWidth, kPictureHeight) * dpr,
                                                          Qt::KeepAspectRatio, Qt::SmoothTransformation));
        picture.setDevicePixelRatio(dpr);
        item.lpPicture->setPixmap(picture);
    }
    item.lpFrame->setAccessibleName(name);
    item.lpFrame->setToolTip(name);
    item.lpName->setText(item.lpName->fontMetrics().elidedText(name, Qt::ElideMiddle, kPictureWidth - 18));
    item.lpClose->setToolTip(QString("Close %1").arg(name));
    item.lpClose->setAccessibleName(QString("Close %1").arg(name));
}

void QDThumbnailBrowser::Remove(QDProject* project)
{
    auto it = mapItems.find(project);
    if (it == mapItems.end())
        return;
    // Later: this may run inside the close button's own signal.
    it->second.lpFrame->hide();
    it->second.lpFrame->deleteLater();
    mapItems.erase(it);
    if (lpSelected == project)
        lpSelected = nullptr;
}

void QDThumbnailBrowser::Select(QDProject* project)
{
    lpSelected = project;
    for (auto& [p, item] : mapItems)
        item.lpFrame->setBackgroundRole(p == project ? QPalette::Highlight : QPalette::Window);
    if (auto it = mapItems.find(project); it != mapItems.end())
        ensureWidgetVisible(it->second.lpFrame);
}

QFrame* QDThumbnailBrowser::GetItem(QDProject* project) const
{
    auto it = mapItems.find(project);
    return it == mapItems.end() ? nullptr : it->second.lpFrame;
}

QToolButton* QDThumbnailBrowser::GetCloseButton(QDProject* project) const
{
    auto it = mapItems.find(project);
    return it == mapItems.end() ? nullptr : it->second.lpClose;
}

QPixmap QDThumbnailBrowser::GetPicture(QDProject* project) const
{
    auto it = mapItems.find(project);
    return it == mapItems.end() ? QPixmap() : it->second.lpPicture->pixmap();
}

bool QDThumbnailBrowser::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() != QEvent::MouseButtonRelease && event->type() != QEvent::ContextMenu)
        return QScrollArea::eventFilter(watched, event);
    QDProject* project = nullptr;
    for (auto& [p, item] : mapItems)
        if (item.lpFrame == watched || item.lpPicture == watched || item.lpName == watched)
            project = p;
    if (!project)
        return QScrollArea::eventFilter(watched, event);
    if (event->type() == QEvent::ContextMenu)
    {
        emit rightClicked(project);
        return true;
    }
    if (static_cast<QMouseEvent*>(event)->button() == Qt::LeftButton)
    {
        emit projectSelected(project);
        return true;
    }
    return QScrollArea::eventFilter(watched, event);
}
