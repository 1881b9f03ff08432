#include "ui/LSceneGraphView.h"

#include <QApplication>
#include <QCursor>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QNativeGestureEvent>
#include <QPaintEvent>
#include <QPainter>
#include <QToolTip>
#include <QWheelEvent>
#include <cmath>

#include "canvas/LKeyHandler.h"
#include "ui/LPaintContextQt.h"

LSceneGraphView::LSceneGraphView(LSceneGraph& graph, QWidget* parent) : QWidget(parent), rGraph(graph)
{
    setMouseTracking(true);
    setFocusPolicy(Qt::StrongFocus);
    setAttribute(Qt::WA_OpaquePaintEvent);
    setAttribute(Qt::WA_AcceptTouchEvents, false);
    rGraph.Init(this);
}

LSceneGraphView::~LSceneGraphView()
{
    if (rGraph.GetHost() == this)
        rGraph.Init(nullptr);
}

qreal LSceneGraphView::GetDeviceScale() const
{
    return devicePixelRatioF();
}

QPointF LSceneGraphView::ToLogical(float x, float y) const
{
    const qreal s = GetDeviceScale();
    return QPointF(x / s, y / s);
}

void LSceneGraphView::SendSize()
{
    const qreal s = GetDeviceScale();
    rGraph.OnSize(int(std::lround(width() * s)), int(std::lround(height() * s)), float(s));
}

uint32_t LSceneGraphView::MapModifiers(Qt::KeyboardModifiers modifiers)
{
    uint32_t m = 0;
    if (modifiers & Qt::ControlModifier)
        m |= LKeyCommand;
    if (modifiers & Qt::ShiftModifier)
        m |= LKeyShift;
    if (modifiers & Qt::AltModifier)
        m |= LKeyOption;
    if (modifiers & Qt::MetaModifier)
        m |= LKeyControl;
    return m;
}

int LSceneGraphView::MapKey(int qtKey)
{
    // The one table from the toolkit's keys to the program's key codes.
    static const struct
    {
        int iQt;
        int iKey;
    } kKeys[] = {
        {Qt::Key_Backspace, LVK_BACKSPACE},
        {Qt::Key_Delete, LVK_FORWARD_DELETE},
        {Qt::Key_Space, LVK_SPACE},
        {Qt::Key_Return, LVK_RETURN},
        {Qt::Key_Enter, LVK_RETURN},
        {Qt::Key_Escape, LVK_ESCAPE},
        {Qt::Key_Tab, LVK_TAB},
        {Qt::Key_Left, LVK_LEFT},
        {Qt::Key_Right, LVK_RIGHT},
        {Qt::Key_Up, LVK_UP},
        {Qt::Key_Down, LVK_DOWN},
        {Qt::Key_A, LVK_A},
    };
    for (const auto& k : kKeys)
        if (k.iQt == qtKey)
            return k.iKey;
    return LVK_UNKNOWN;
}

bool LSceneGraphView::event(QEvent* e)
{
    switch (e->type())
    {
    case QEvent::NativeGesture:
    {
        auto* g = static_cast<QNativeGestureEvent*>(e);
        if (g->gestureType() == Qt::ZoomNativeGesture)
        {
            const qreal s = GetDeviceScale();
            LKeyHandler::SetModifiers(MapModifiers(g->modifiers()));
            rGraph.OnPinch(float(g->position().x() * s), float(g->position().y() * s),
                           float(1.0 + g->value()));
            return true;
        }
        break;
    }
    case QEvent::ScreenChangeInternal:
        SendSize();
        update();
        break;
    default:
        break;
    }
    return QWidget::event(e);
}

void LSceneGraphView::paintEvent(QPaintEvent* e)
{
    QPainter painter(this);
    const qreal s = painter.device()->devicePixelRatioF();
    if (std::lround(width() * s) != rGraph.GetWidth() || std::lround(height() * s) != rGraph.GetHeight())
        SendSize();
    painter.scale(1 / s, 1 / s);
    const QRect r = e->rect();
    const QRect clip(
        QPoint(int(std::floor(r.left() * s)), int(std::floor(r.top() * s))),
        QPoint(int(std::ceil((r.right() + 1) * s)) - 1, int(std::ceil((r.bottom() + 1) * s)) - 1));
    LPaintContextQt pc(painter, clip);
    rGraph.OnPaint(pc);
    ++iPaintCount;
}

void LSceneGraphView::resizeEvent(QResizeEvent* e)
{
    QWidget::resizeEvent(e);
    SendSize();
}

void LSceneGraphView::mousePressEvent(QMouseEvent* e)
{
    const qreal s = GetDeviceScale();
    const float x = float(e->position().x() * s), y = float(e->position().y() * s);
    LKeyHandler::SetModifiers(MapModifiers(e->modifiers()));
    switch (e->button())
    {
    case Qt::LeftButton:
        rGraph.OnLButtonDown(x, y);
        break;
    case Qt::RightButton:
        rGraph.OnRButtonDown(x, y);
        break;
    case Qt::MiddleButton:
        rGraph.OnMButtonDown(x, y);
        break;
    default:
        break;
    }
}

void LSceneGraphView::mouseReleaseEvent(QMouseEvent* e)
{
    const qreal s = GetDeviceScale();
    const float x = float(e->position().x() * s), y = float(e->position().y() * s);
    LKeyHandler::SetModifiers(MapModifiers(e->modifiers()));
    switch (e->button())
    {
    case Qt::LeftButton:
        rGraph.OnLButtonUp(x, y);
        break;
    case Qt::RightButton:
        rGraph.OnRButtonUp(x, y);
        break;
    case Qt::MiddleButton:
        rGraph.OnMButtonUp(x, y);
        break;
    default:
        break;
    }
}

void LSceneGraphView::mouseDoubleClickEvent(QMouseEvent* e)
{
    if (e->button() != Qt::LeftButton)
    {
        mousePressEvent(e);
        return;
    }
    const qreal s = GetDeviceScale();
    const float x = float(e->position().x() * s), y = float(e->position().y() * s);
    LKeyHandler::SetModifiers(MapModifiers(e->modifiers()));
    // The second press still presses, so that every release has its press.
    rGraph.OnLButtonDown(x, y);
    rGraph.OnDoubleClick(x, y);
}

void LSceneGraphView::mouseMoveEvent(QMouseEvent* e)
{
    const qreal s = GetDeviceScale();
    LKeyHandler::SetModifiers(MapModifiers(e->modifiers()));
    rGraph.OnMouseMove(float(e->position().x() * s), float(e->position().y() * s));
}

void LSceneGraphView::wheelEvent(QWheelEvent* e)
{
    // Fine-grained wheels and touchpads add up to whole notches.
    int delta = e->angleDelta().y();
    if (delta == 0)
        delta = e->pixelDelta().y() * 4;
    iWheelRemainder += delta;
    const qreal s = GetDeviceScale();
    LKeyHandler::SetModifiers(MapModifiers(e->modifiers()));
    while (std::abs(iWheelRemainder) >= 120)
    {
        const int step = iWheelRemainder > 0 ? 1 : -1;
        iWheelRemainder -= step * 120;
        rGraph.OnMouseWheel(float(e->position().x() * s), float(e->position().y() * s), step);
    }
    e->accept();
}

void LSceneGraphView::keyPressEvent(QKeyEvent* e)
{
    LKeyHandler::SetModifiers(MapModifiers(e->modifiers()));
    bool used = false;
    const int key = MapKey(e->key());
    if (key != LVK_UNKNOWN)
        used = rGraph.OnKeyDown(key);
    const QString text = e->text();
    // Typed characters belong to a focused node; without one they stay the window's.
    if (rGraph.GetFocus() && !text.isEmpty() && text.at(0).isPrint() && !(e->modifiers() & Qt::ControlModifier))
    {
        for (char32_t c : text.toUcs4())
            rGraph.OnChar(uint32_t(c));
        used = true;
    }
    if (!used)
        QWidget::keyPressEvent(e);
}

void LSceneGraphView::keyReleaseEvent(QKeyEvent* e)
{
    LKeyHandler::SetModifiers(MapModifiers(e->modifiers()));
    const int key = MapKey(e->key());
    if (key != LVK_UNKNOWN && !e->isAutoRepeat())
        rGraph.OnKeyUp(key);
    QWidget::keyReleaseEvent(e);
}

void LSceneGraphView::leaveEvent(QEvent* e)
{
    rGraph.OnMouseLeave();
    QWidget::leaveEvent(e);
}

void LSceneGraphView::HostInvalidate(const LBoundingBox2T<int>* box)
{
    if (!box)
    {
        update();
        return;
    }
    const qreal s = GetDeviceScale();
    const int l = int(std::floor(box->left / s)), t = int(std::floor(box->top / s));
    const int r = int(std::ceil(box->right / s)), b = int(std::ceil(box->bottom / s));
    update(QRect(QPoint(l, t), QPoint(r, b)));
}

void LSceneGraphView::HostSetCapture(bool bCapture)
{
    // Qt already keeps the mouse for a pressed button; an explicit grab is only needed without one.
    if (bCapture && !bGrabbed && QApplication::mouseButtons() == Qt::NoButton && isVisible())
    {
        grabMouse();
        bGrabbed = true;
    }
    else if (!bCapture && bGrabbed)
    {
        releaseMouse();
        bGrabbed = false;
    }
}

void LSceneGraphView::HostSetCursor(int cursor)
{
    static const Qt::CursorShape kShapes[] = {
        Qt::ArrowCursor,     Qt::SizeVerCursor,      Qt::SizeHorCursor,  Qt::SizeBDiagCursor,
        Qt::SizeFDiagCursor, Qt::PointingHandCursor, Qt::OpenHandCursor, Qt::ClosedHandCursor,
    };
    if (cursor >= 0 && cursor < int(sizeof(kShapes) / sizeof(kShapes[0])))
        setCursor(kShapes[cursor]);
}

void LSceneGraphView::HostSetFocus()
{
    setFocus(Qt::MouseFocusReason);
}

void LSceneGraphView::HostSetToolTip(const char* text)
{
    setToolTip(text && *text ? QString::fromUtf8(text) : QString());
}
