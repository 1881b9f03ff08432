// The Qt paint surface: a picture drawn through the paint context, which hands the rasteriser
// only the visible source pixels, must match the same picture drawn whole by QPainter.

#include <QImage>
#include <QPainter>

#include "canvas/LGuiImage.h"
#include "canvas_support.h"
#include "ui/LPaintContextQt.h"

namespace
{
QImage Draw(const LGuiImage& image, const QRectF& target, bool smooth, bool whole)
{
    QImage out(97, 61, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::black);
    QPainter p(&out);
    if (whole)
    {
        const LImageBuffer& b = image.GetBuffer();
        const QImage src(b.GetData(), b.GetWidth(), b.GetHeight(), qsizetype(b.GetWidthBytes()),
                         QImage::Format_ARGB32_Premultiplied);
        p.setRenderHint(QPainter::SmoothPixmapTransform, smooth);
        p.drawImage(target, src);
    }
    else
    {
        LPaintContextQt pc(p, QRect(0, 0, 97, 61));
        pc.DrawImage(
            image,
            LBoxF(float(target.left()), float(target.top()), float(target.right()), float(target.bottom())),
            1.0f, smooth);
    }
    return out;
}
} // namespace

TEST(PaintContextQt, APartlyVisiblePictureMatchesTheWholeDrawAtEveryOffset)
{
    CanvasApp();
    LImageBuffer b;
    LImage::New(b, 40, 30, B8G8R8A8);
    for (int y = 0; y < 30; ++y)
        for (int x = 0; x < 40; ++x)
            reinterpret_cast<uint32_t*>(b.GetRow(y))[x] =
                0xFF000000u | uint32_t(x * 6) << 16 | uint32_t(y * 8) << 8 | uint32_t((x * y) & 255);
    LGuiImage image;
    ASSERT_TRUE(image.SetFromImageBuffer(b));
    // Magnified and scrolled so that the picture overhangs every edge by odd amounts.
    int tried = 0;
    for (double scale : {5.0, 3.25})
        for (double dx : {-61.0, -17.5, 3.0})
            for (double dy : {-40.25, -9.0})
            {
                const QRectF target(dx, dy, 40 * scale, 30 * scale);
                EXPECT_EQ(Draw(image, target, false, false), Draw(image, target, false, true))
                    << scale << " " << dx << " " << dy;
                ++tried;
            }
    EXPECT_EQ(tried, 12);
    // Nothing visible, nothing drawn.
    const QImage none = Draw(image, QRectF(200, 200, 50, 50), false, false);
    EXPECT_EQ(none.pixel(96, 60), qRgb(0, 0, 0));
}

TEST(PaintContextQt, TheBoxShadowFallsRightAndBelowWithinItsDepth)
{
    CanvasApp();
    QImage out(100, 100, QImage::Format_ARGB32_Premultiplied);
    out.fill(Qt::white);
    {
        QPainter p(&out);
        LPaintContextQt pc(p, QRect(0, 0, 100, 100));
        pc.DrawBoxShadow(LGuiGrey(0), LBoxF(20, 20, 60, 60), 10);
    }
    EXPECT_LT(qRed(out.pixel(62, 40)), 255); // just right of the box
    EXPECT_LT(qRed(out.pixel(40, 62)), 255); // just below
    EXPECT_EQ(qRed(out.pixel(71, 40)), 255); // past the depth
    EXPECT_EQ(qRed(out.pixel(40, 71)), 255);
    EXPECT_EQ(qRed(out.pixel(19, 40)), 255);                     // nothing left of the box
    EXPECT_EQ(qRed(out.pixel(40, 19)), 255);                     // or above it
    EXPECT_LT(qRed(out.pixel(62, 40)), qRed(out.pixel(68, 40))); // fading outwards
}
