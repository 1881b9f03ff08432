#include "ui/LPaintContextQt.h"

#include <QFontMetricsF>
#include <QLinearGradient>
#include <QPainterPath>
#include <QRadialGradient>
#include <QRegion>
#include <algorithm>
#include <cmath>

#include "canvas/LGuiImage.h"

namespace
{
QRectF ToRect(const LBoundingBox2T<float>& b)
{
    return QRectF(QPointF(std::min(b.left, b.right), std::min(b.top, b.bottom)),
                  QPointF(std::max(b.left, b.right), std::max(b.top, b.bottom)));
}

QPainterPath ToPath(const LGraphicsPath& path)
{
    QPainterPath out;
    out.setFillRule(Qt::OddEvenFill);
    const auto& e = path.vElements;
    for (size_t i = 0; i < e.size(); ++i)
    {
        const QPointF p(e[i].pt.x, e[i].pt.y);
        switch (e[i].eOp)
        {
        case LGraphicsPath::OpMove:
            out.moveTo(p);
            break;
        case LGraphicsPath::OpLine:
            out.lineTo(p);
            break;
        case LGraphicsPath::OpCubic:
            if (i + 2 < e.size())
            {
                out.cubicTo(p, QPointF(e[i + 1].pt.x, e[i + 1].pt.y), QPointF(e[i + 2].pt.x, e[i + 2].pt.y));
                i += 2;
            }
            break;
        case LGraphicsPath::OpClose:
            out.closeSubpath();
            break;
        }
    }
    return out;
}

QPen MakePen(const QColor& colour, float width, LLineStyle style = LLineStyleSolid, float dashOffset = 0)
{
    QPen pen(colour);
    pen.setWidthF(width);
    pen.setCapStyle(Qt::FlatCap);
    pen.setJoinStyle(Qt::MiterJoin);
    if (style == LLineStyleDash)
    {
        pen.setDashPattern({4, 4});
        pen.setDashOffset(dashOffset);
    }
    else if (style == LLineStyleDot)
    {
        pen.setDashPattern({1, 2});
        pen.setDashOffset(dashOffset);
    }
    return pen;
}

// A two-by-two-cell tile of the pattern, made once per look.
const QImage& CheckerTile(int cell, const QColor& base, const QColor& alternate)
{
    static QImage tile;
    static int tileCell = 0;
    static QRgb tileBase = 0, tileAlternate = 0;
    if (tile.isNull() || tileCell != cell || tileBase != base.rgba() || tileAlternate != alternate.rgba())
    {
        tile = QImage(2 * cell, 2 * cell, QImage::Format_ARGB32_Premultiplied);
        tile.fill(base);
        QPainter p(&tile);
        p.fillRect(cell, 0, cell, cell, alternate);
        p.fillRect(0, cell, cell, cell, alternate);
        tileCell = cell;
        tileBase = base.rgba();
        tileAlternate = alternate.rgba();
    }
    return tile;
}
} // namespace

QColor LPaintContextQt::ToQColor(LGuiColor c, float alpha)
{
    return QColor(c.red >> 8, c.green >> 8, c.blue >> 8, int(std::clamp(alpha, 0.0f, 1.0f) * 255.0f + 0.5f));
}

LPaintContextQt::LPaintContextQt(QPainter& painter, const QRect& clip)
    : rPainter(painter), rcClip(clip), tBase(painter.worldTransform())
{
    ApplyAntialias();
}

void LPaintContextQt::ApplyAntialias()
{
    rPainter.setRenderHint(QPainter::Antialiasing, bAntialias);
}

LBoundingBox2T<int> LPaintContextQt::GetClipBox() const
{
    return LBoundingBox2T<int>(rcClip.left(), rcClip.top(), rcClip.left() + rcClip.width(),
                               rcClip.top() + rcClip.height());
}

void LPaintContextQt::FillRect(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha)
{
    rPainter.fillRect(ToRect(box), ToQColor(colour, alpha));
}

void LPaintContextQt::FillRectCheckerPattern(const LBoundingBox2T<float>& box, int cell, LGuiColor base,
                                             LGuiColor alternate, float originX, float originY)
{
    if (cell <= 0)
        return;
    QBrush brush(CheckerTile(cell, ToQColor(base), ToQColor(alternate)));
    brush.setTransform(QTransform::fromTranslate(originX, originY));
    rPainter.fillRect(ToRect(box), brush);
}

void LPaintContextQt::DrawImage(const LGuiImage& image, const LBoundingBox2T<float>& box, float opacity,
                                bool bInterpolate)
{
    if (image.IsEmpty())
        return;
    auto wrap = [](const LImageBuffer& b)
    {
        return QImage(b.GetData(), b.GetWidth(), b.GetHeight(), qsizetype(b.GetWidthBytes()),
                      QImage::Format_ARGB32_Premultiplied);
    };
    const int iw = image.GetWidth(), ih = image.GetHeight();
    const QRectF target = ToRect(box);
    if (target.isEmpty())
        return;
    rPainter.save();
    rPainter.setOpacity(rPainter.opacity() * std::clamp(opacity, 0.0f, 1.0f));
    rPainter.setRenderHint(QPainter::SmoothPixmapTransform, bInterpolate);
    // The transform pushed by the caller, on top of the one that makes a unit one device pixel.
    const QTransform t = rPainter.worldTransform() * tBase.inverted();
    if (t.type() > QTransform::TxScale)
    {
        rPainter.drawImage(target, wrap(image.GetBuffer()));
        rPainter.restore();
        return;
    }
    // Only the source pixels that land in the clip are handed on, so that a magnified picture costs
    // what is visible and huge target rectangles never reach the rasteriser.
    const QRectF deviceTarget = t.mapRect(target);
    const QRectF visible = deviceTarget.intersected(QRectF(rcClip));
    if (visible.isEmpty())
    {
        rPainter.restore();
        return;
    }
    const double sx = iw / deviceTarget.width(), sy = ih / deviceTarget.height();
    const int margin = bInterpolate ? 1 : 0;
    const int x0 = std::max(0, int(std::floor((visible.left() - deviceTarget.left()) * sx)) - margin);
    const int y0 = std::max(0, int(std::floor((visible.top() - deviceTarget.top()) * sy)) - margin);
    const int x1 = std::min(iw, int(std::ceil((visible.right() - deviceTarget.left()) * sx)) + margin);
    const int y1 = std::min(ih, int(std::ceil((visible.bottom() - deviceTarget.top()) * sy)) + margin);
    if (x1 <= x0 || y1 <= y0)
    {
        rPainter.restore();
        return;
    }
    const QRectF part(deviceTarget.left() + x0 / sx, deviceTarget.top() + y0 / sy, (x1 - x0) / sx,
                      (y1 - y0) / sy);
    rPainter.setWorldTransform(tBase);
    rPainter.drawImage(part, wrap(image.GetBufferRows(y0, y1)), QRectF(x0, y0, x1 - x0, y1 - y0));
    rPainter.restore();
}

void LPaintContextQt::DrawBoxShadow(LGuiColor colour, const LBoundingBox2T<float>& box, float depth)
{
    if (depth <= 0)
        return;
    // The box moved down and right by half the depth and blurred by the other half, so the shadow
    // reaches depth beyond the right and bottom edges and fades to nothing at the left and top ones.
    const QRectF r = ToRect(box).translated(depth / 2, depth / 2);
    const float blur = depth / 2;
    const QColor solid = ToQColor(colour, 0.8f), clear = ToQColor(colour, 0.0f);
    rPainter.save();
    rPainter.setPen(Qt::NoPen);
    const QRectF inner = r.adjusted(blur, blur, -blur, -blur);
    if (inner.isValid())
        rPainter.fillRect(inner, solid);
    auto band = [&](const QRectF& area, QPointF from, QPointF to)
    {
        if (area.isEmpty())
            return;
        QLinearGradient g(from, to);
        g.setColorAt(0, solid);
        g.setColorAt(1, clear);
        rPainter.fillRect(area, g);
    };
    const double l = inner.left(), t = inner.top(), rr = inner.right(), bb = inner.bottom();
    band(QRectF(QPointF(rr, t), QPointF(rr + 2 * blur, bb)), {rr, 0}, {rr + 2 * blur, 0});
    band(QRectF(QPointF(l - 2 * blur, t), QPointF(l, bb)), {l, 0}, {l - 2 * blur, 0});
    band(QRectF(QPointF(l, bb), QPointF(rr, bb + 2 * blur)), {0, bb}, {0, bb + 2 * blur});
    band(QRectF(QPointF(l, t - 2 * blur), QPointF(rr, t)), {0, t}, {0, t - 2 * blur});
    auto corner = [&](QPointF c, QRectF area)
    {
        QRadialGradient g(c, 2 * blur);
        g.setColorAt(0, solid);
        g.setColorAt(1, clear);
        rPainter.fillRect(area, g);
    };
    const double d = 2 * blur;
    corner({rr, bb}, QRectF(rr, bb, d, d));
    corner({l, bb}, QRectF(l - d, bb, d, d));
    corner({rr, t}, QRectF(rr, t - d, d, d));
    corner({l, t}, QRectF(l - d, t - d, d, d));
    rPainter.restore();
}

void LPaintContextQt::DrawFrameDashedAA(const LBoundingBox2T<float>& box, LGuiColor colour, float width,
                                        LLineStyle style)
{
    rPainter.save();
    rPainter.setRenderHint(QPainter::Antialiasing, true);
    rPainter.setPen(MakePen(ToQColor(colour), width, style));
    rPainter.setBrush(Qt::NoBrush);
    rPainter.drawRect(ToRect(box));
    rPainter.restore();
}

void LPaintContextQt::DrawFrameAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha,
                                  float width)
{
    rPainter.save();
    rPainter.setRenderHint(QPainter::Antialiasing, true);
    rPainter.setPen(MakePen(ToQColor(colour, alpha), width));
    rPainter.setBrush(Qt::NoBrush);
    rPainter.drawRect(ToRect(box));
    rPainter.restore();
}

void LPaintContextQt::DrawLineAA(float x0, float y0, float x1, float y1, LGuiColor colour, float alpha,
                                 float width)
{
    rPainter.save();
    rPainter.setRenderHint(QPainter::Antialiasing, true);
    rPainter.setPen(MakePen(ToQColor(colour, alpha), width));
    rPainter.drawLine(QPointF(x0, y0), QPointF(x1, y1));
    rPainter.restore();
}

void LPaintContextQt::DrawLinesAA(const LPointF* points, size_t count, bool bClosed, LGuiColor colour,
                                  float alpha, float width)
{
    if (count < 2)
        return;
    QPolygonF poly;
    for (size_t i = 0; i < count; ++i)
        poly << QPointF(points[i].x, points[i].y);
    rPainter.save();
    rPainter.setRenderHint(QPainter::Antialiasing, true);
    rPainter.setPen(MakePen(ToQColor(colour, alpha), width));
    rPainter.setBrush(Qt::NoBrush);
    if (bClosed)
        rPainter.drawPolygon(poly);
    else
        rPainter.drawPolyline(poly);
    rPainter.restore();
}

void LPaintContextQt::DrawEllipseAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha,
                                    float width)
{
    rPainter.save();
    rPainter.setRenderHint(QPainter::Antialiasing, true);
    rPainter.setPen(MakePen(ToQColor(colour, alpha), width));
    rPainter.setBrush(Qt::NoBrush);
    rPainter.drawEllipse(ToRect(box));
    rPainter.restore();
}

void LPaintContextQt::FillEllipseAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha)
{
    rPainter.save();
    rPainter.setRenderHint(QPainter::Antialiasing, true);
    rPainter.setPen(Qt::NoPen);
    rPainter.setBrush(ToQColor(colour, alpha));
    rPainter.drawEllipse(ToRect(box));
    rPainter.restore();
}

void LPaintContextQt::FillPolygonAA(const LPointF* points, size_t count, LGuiColor colour, float alpha)
{
    QPolygonF poly;
    for (size_t i = 0; i < count; ++i)
        poly << QPointF(points[i].x, points[i].y);
    rPainter.save();
    rPainter.setRenderHint(QPainter::Antialiasing, true);
    rPainter.setPen(Qt::NoPen);
    rPainter.setBrush(ToQColor(colour, alpha));
    rPainter.drawPolygon(poly);
    rPainter.restore();
}

void LPaintContextQt::FillPath(const LGraphicsPath& path, LGuiColor colour, float alpha)
{
    rPainter.save();
    rPainter.setPen(Qt::NoPen);
    rPainter.fillPath(ToPath(path), ToQColor(colour, alpha));
    rPainter.restore();
}

void LPaintContextQt::DrawPath(const LGraphicsPath& path, LGuiColor colour, float alpha, float width,
                               LLineStyle style, float dashOffset)
{
    rPainter.save();
    rPainter.strokePath(ToPath(path), MakePen(ToQColor(colour, alpha), width, style, dashOffset));
    rPainter.restore();
}

void LPaintContextQt::DrawRectangle(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha)
{
    rPainter.save();
    rPainter.setRenderHint(QPainter::Antialiasing, false);
    rPainter.setPen(MakePen(ToQColor(colour, alpha), 0));
    rPainter.setBrush(Qt::NoBrush);
    const QRectF r = ToRect(box);
    rPainter.drawRect(QRectF(std::floor(r.left()), std::floor(r.top()), std::round(r.width()) - 1,
                             std::round(r.height()) - 1));
    rPainter.restore();
}

void LPaintContextQt::ClipIntersect(const LBoundingBox2T<float>& box)
{
    rPainter.setClipRect(ToRect(box), rPainter.hasClipping() ? Qt::IntersectClip : Qt::ReplaceClip);
}

void LPaintContextQt::ClipExclude(const LBoundingBox2T<float>& box)
{
    QPainterPath everything;
    everything.addRect(QRectF(-1e6, -1e6, 2e6, 2e6));
    QPainterPath hole;
    hole.addRect(ToRect(box));
    rPainter.setClipPath(everything.subtracted(hole),
                         rPainter.hasClipping() ? Qt::IntersectClip : Qt::ReplaceClip);
}

void LPaintContextQt::Push()
{
    vAntialiasStack.push_back(bAntialias);
    rPainter.save();
}

void LPaintContextQt::Pop()
{
    if (vAntialiasStack.empty())
        return;
    rPainter.restore();
    bAntialias = vAntialiasStack.back();
    vAntialiasStack.pop_back();
    ApplyAntialias();
}

void LPaintContextQt::ClipStackPush()
{
    Push();
}

void LPaintContextQt::ClipStackPop()
{
    Pop();
}

void LPaintContextQt::TransformStackPush()
{
    Push();
}

void LPaintContextQt::TransformStackPop()
{
    Pop();
}

void LPaintContextQt::TransformTranslate(float dx, float dy)
{
    rPainter.translate(dx, dy);
}

void LPaintContextQt::TransformRotate(double radians)
{
    rPainter.rotate(radians * 180.0 / M_PI);
}

void LPaintContextQt::TransformScale(float sx, float sy)
{
    rPainter.scale(sx, sy);
}

void LPaintContextQt::SetFont(const char* face, float size, bool bBold)
{
    QFont font(QString::fromUtf8(face ? face : ""));
    font.setPixelSize(std::max(1, int(std::lround(size))));
    font.setBold(bBold);
    rPainter.setFont(font);
}

void LPaintContextQt::SetTextColor(LGuiColor colour, float alpha)
{
    colText = ToQColor(colour, alpha);
}

void LPaintContextQt::MeasureText(const char* text, float& width, float& height)
{
    const QFontMetricsF fm(rPainter.font());
    width = float(fm.horizontalAdvance(QString::fromUtf8(text ? text : "")));
    height = float(fm.height());
}

void LPaintContextQt::DrawText(const char* text, float x, float y)
{
    const QFontMetricsF fm(rPainter.font());
    rPainter.save();
    rPainter.setPen(colText);
    rPainter.drawText(QPointF(x, y + fm.ascent()), QString::fromUtf8(text ? text : ""));
    rPainter.restore();
}
