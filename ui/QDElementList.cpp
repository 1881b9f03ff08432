#include "ui/QDElementList.h"

#include <QApplication>
#include <QFrame>
#include <QHBoxLayout>
#include <QIcon>
#include <QKeyEvent>
#include <QLabel>
#include <QMouseEvent>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>

namespace
{
QIcon ThemeIcon(const char* name)
{
    return QIcon::fromTheme(QString::fromLatin1(name));
}
} // namespace

QDElementList::QDElementList(QWidget* parent)
    : QScrollArea(parent), lpInner(new QWidget), lpLayout(new QVBoxLayout(lpInner)), lpDropMarker(nullptr)
{
    setWidgetResizable(true);
    setFrameShape(QFrame::StyledPanel);
    setFocusPolicy(Qt::StrongFocus);
    setAccessibleName("Layers");
    lpLayout->setContentsMargins(2, 2, 2, 2);
    lpLayout->setSpacing(1);
    lpLayout->addStretch(1);
    setWidget(lpInner);
    lpDropMarker = new QFrame(lpInner);
    lpDropMarker->setFrameShape(QFrame::HLine);
    lpDropMarker->setLineWidth(2);
    lpDropMarker->setStyleSheet("color: palette(highlight);");
    lpDropMarker->hide();
}

void QDElementList::SetItems(const std::vector<QDElementListItem>& items)
{
    // The rows go later: this may run inside a signal of one of their buttons.
    for (Row& r : vRows)
    {
        r.lpFrame->hide();
        r.lpFrame->deleteLater();
    }
    vRows.clear();
    bDragging = false;
    iPressedRow = -1;
    lpDropMarker->hide();
    // Newest on top.
    for (auto it = items.rbegin(); it != items.rend(); ++it)
    {
        const QDElementListItem& item = *it;
        Row row{new QFrame(lpInner), new QToolButton, new QLabel(item.szName), new QToolButton, item};
        row.lpFrame->setFrameShape(QFrame::NoFrame);
        row.lpFrame->setAutoFillBackground(true);
        row.lpFrame->setBackgroundRole(item.bSelected ? QPalette::Highlight : QPalette::Base);
        row.lpFrame->setAccessibleName(item.szName);
        row.lpName->setForegroundRole(item.bSelected ? QPalette::HighlightedText : QPalette::Text);
        row.lpName->setEnabled(item.bRendered);
        auto* line = new QHBoxLayout(row.lpFrame);
        line->setContentsMargins(4, 2, 4, 2);
        row.lpEye->setParent(row.lpFrame);
        row.lpEye->setCheckable(true);
        row.lpEye->setChecked(item.bVisible);
        row.lpEye->setAutoRaise(true);
        row.lpEye->setIcon(ThemeIcon(item.bVisible ? "view-visible" : "view-hidden"));
        if (row.lpEye->icon().isNull())
            row.lpEye->setText(item.bVisible ? "o" : "-");
        const QString eyeText =
            item.bVisible ? QString("Hide %1").arg(item.szName) : QString("Show %1").arg(item.szName);
        row.lpEye->setToolTip(eyeText);
        row.lpEye->setAccessibleName(eyeText);
        row.lpEye->setEnabled(!item.bBase || !item.bVisible);
        row.lpDelete->setParent(row.lpFrame);
        row.lpDelete->setAutoRaise(true);
        row.lpDelete->setIcon(ThemeIcon("edit-delete"));
        if (row.lpDelete->icon().isNull())
            row.lpDelete->setText("x");
        row.lpDelete->setToolTip(QString("Delete %1").arg(item.szName));
        row.lpDelete->setAccessibleName(QString("Delete %1").arg(item.szName));
        row.lpDelete->setVisible(!item.bBase);
        row.lpName->setParent(row.lpFrame);
        line->addWidget(row.lpEye);
        line->addWidget(row.lpName, 1);
        line->addWidget(row.lpDelete);
        QDImagePipelineElement* element = item.lpElement;
        connect(row.lpEye, &QToolButton::toggled, this,
                [this, element](bool on) { emit visibilityToggled(element, on); });
        connect(row.lpDelete, &QToolButton::clicked, this,
                [this, element] { emit deleteRequested(element); });
        row.lpFrame->installEventFilter(this);
        row.lpName->installEventFilter(this);
        lpLayout->insertWidget(lpLayout->count() - 1, row.lpFrame);
        vRows.push_back(row);
    }
}

QFrame* QDElementList::GetRow(int row) const
{
    return row >= 0 && row < int(vRows.size()) ? vRows[size_t(row)].lpFrame : nullptr;
}

QToolButton* QDElementList::GetEyeButton(int row) const
{
    return row >= 0 && row < int(vRows.size()) ? vRows[size_t(row)].lpEye : nullptr;
}

QToolButton* QDElementList::GetDeleteButton(int row) const
{
    return row >= 0 && row < int(vRows.size()) ? vRows[size_t(row)].lpDelete : nullptr;
}

QDImagePipelineElement* QDElementList::GetRowElement(int row) const
{
    return row >= 0 && row < int(vRows.size()) ? vRows[size_t(row)].item.lpElement : nullptr;
}

QString QDElementList::GetRowName(int row) const
{
    return row >= 0 && row < int(vRows.size()) ? vRows[size_t(row)].item.szName : QString();
}

int QDElementList::RowAt(const QPoint& inViewport) const
{
    const QPoint p = lpInner->mapFrom(viewport(), inViewport);
    for (size_t i = 0; i < vRows.size(); ++i)
    {
        const QRect r = vRows[i].lpFrame->geometry();
        if (p.y() < r.bottom() + 1)
            return int(i);
    }
    return vRows.empty() ? -1 : int(vRows.size()) - 1;
}

void QDElementList::ShowDropMarker(int row)
{
    if (row < 0 || row >= int(vRows.size()))
    {
        lpDropMarker->hide();
        return;
    }
    const QRect r = vRows[size_t(row)].lpFrame->geometry();
    // Above the row when moving up, below it when moving down: where the element will stand.
    const int y = row < iPressedRow ? r.top() - 1 : r.bottom();
    lpDropMarker->setGeometry(r.left(), y - 1, r.width(), 3);
    lpDropMarker->show();
    lpDropMarker->raise();
}

bool QDElementList::eventFilter(QObject* watched, QEvent* event)
{
    auto rowOf = [this](QObject* o)
    {
        for (size_t i = 0; i < vRows.size(); ++i)
            if (vRows[i].lpFrame == o || vRows[i].lpName == o)
                return int(i);
        return -1;
    };
    switch (event->type())
    {
    case QEvent::MouseButtonPress:
    {
        auto* e = static_cast<QMouseEvent*>(event);
        if (e->button() != Qt::LeftButton)
            break;
        iPressedRow = rowOf(watched);
        ptPressed = viewport()->mapFromGlobal(e->globalPosition().toPoint());
        bDragging = false;
        setFocus(Qt::MouseFocusReason);
        return true;
    }
    case QEvent::MouseMove:
    {
        auto* e = static_cast<QMouseEvent*>(event);
        if (iPressedRow < 0 || !(e->buttons() & Qt::LeftButton))
            break;
        const QPoint at = viewport()->mapFromGlobal(e->globalPosition().toPoint());
        if (!bDragging && (at - ptPressed).manhattanLength() >= QApplication::startDragDistance() &&
            !vRows[size_t(iPressedRow)].item.bBase)
            bDragging = true;
        if (bDragging)
            ShowDropMarker(RowAt(at));
        return true;
    }
    case QEvent::MouseButtonRelease:
    {
        auto* e = static_cast<QMouseEvent*>(event);
        if (e->button() != Qt::LeftButton || iPressedRow < 0)
            break;
        const int pressed = iPressedRow;
        iPressedRow = -1;
        lpDropMarker->hide();
        QDImagePipelineElement* element = vRows[size_t(pressed)].item.lpElement;
        if (!bDragging)
        {
            emit elementSelected(element);
            return true;
        }
        bDragging = false;
        const int target = RowAt(viewport()->mapFromGlobal(e->globalPosition().toPoint()));
        if (target >= 0 && target != pressed)
            // Rows count from the top, the pipeline from the bottom.
            emit moveRequested(element, int(vRows.size()) - 1 - target);
        return true;
    }
    default:
        break;
    }
    return QScrollArea::eventFilter(watched, event);
}

bool QDElementList::event(QEvent* event)
{
    // Delete and Backspace belong to the list while it has the focus, not to the window's keys.
    if (event->type() == QEvent::ShortcutOverride)
    {
        auto* e = static_cast<QKeyEvent*>(event);
        if ((e->key() == Qt::Key_Delete || e->key() == Qt::Key_Backspace) && e->modifiers() == Qt::NoModifier)
        {
            e->accept();
            return true;
        }
    }
    return QScrollArea::event(event);
}

void QDElementList::keyPressEvent(QKeyEvent* event)
{
    if ((event->key() == Qt::Key_Delete || event->key() == Qt::Key_Backspace) &&
        event->modifiers() == Qt::NoModifier)
    {
        for (const Row& r : vRows)
            if (r.item.bSelected && !r.item.bBase)
            {
                emit deleteRequested(r.item.lpElement);
                break;
            }
        event->accept();
        return;
    }
    QScrollArea::keyPressEvent(event);
}
