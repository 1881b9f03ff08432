#pragma once
// The paint surface over a QPainter. Coordinates are the target's device pixels: the caller sets
// the painter up so that one unit is one pixel of the screen or the image.

#include <QPainter>
#include <QRect>
#include <QTransform>
#include <vector>

#include "canvas/LPaintContext.h"

class LPaintContextQt : public LPaintContext
{
public:
    // clip: the device pixels this paint may change.
    LPaintContextQt(QPainter& painter, const QRect& clip);

    LBoundingBox2T<int> GetClipBox() const override;
    void FillRect(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha) override;
    void FillRectCheckerPattern(const LBoundingBox2T<float>& box, int cell, LGuiColor base,
                                LGuiColor alternate, float originX, float originY) override;
    void DrawImage(const LGuiImage& image, const LBoundingBox2T<float>& box, float opacity,
                   bool bInterpolate) override;
    void DrawBoxShadow(LGuiColor colour, const LBoundingBox2T<float>& box, float depth) override;
    void DrawFrameDashedAA(const LBoundingBox2T<float>& box, LGuiColor colour, float width,
                           LLineStyle style) override;
    void DrawFrameAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha, float width) override;
    void DrawLineAA(float x0, float y0, float x1, float y1, LGuiColor colour, float alpha,
                    float width) override;
    void DrawLinesAA(const LPointF* points, size_t count, bool bClosed, LGuiColor colour, float alpha,
                     float width) override;
    void DrawEllipseAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha, float width) override;
    void FillEllipseAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha) override;
    void FillPolygonAA(const LPointF* points, size_t count, LGuiColor colour, float alpha) override;
    void FillPath(const LGraphicsPath& path, LGuiColor colour, float alpha) override;
    void DrawPath(const LGraphicsPath& path, LGuiColor colour, float alpha, float width, LLineStyle style,
                  float dashOffset) override;
    void DrawRectangle(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha) override;
    void ClipIntersect(const LBoundingBox2T<float>& box) override;
    void ClipExclude(const LBoundingBox2T<float>& box) override;
    void ClipStackPush() override;
    void ClipStackPop() override;
    void TransformStackPush() override;
    void TransformStackPop() override;
    void TransformTranslate(float dx, float dy) override;
    void TransformRotate(double radians) override;
    void TransformScale(float sx, float sy) override;
    void SetFont(const char* face, float size, bool bBold) override;
    void SetTextColor(LGuiColor colour, float alpha) override;
    void MeasureText(const char* text, float& width, float& height) override;
    void DrawText(const char* text, float x, float y) override;

    static QColor ToQColor(LGuiColor colour, float alpha = 1.0f);

protected:
    void ApplyAntialias() override;

private:
    void Push();
    void Pop();

    QPainter& rPainter;
    QRect rcClip;
    QTransform tBase;
    QColor colText{0, 0, 0};
    std::vector<bool> vAntialiasStack;
};
