#pragma once
// The paint surface as the canvas logic sees it: the drawing operations nodes use, in the
// control's pixels (XY) unless a transform is pushed. The window system supplies the one
// implementation; LImageBufferPainter supplies one that draws into an LImageBuffer.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "document/LBoundingBox2.h"
#include "document/LGuiColor.h"

class LGuiImage;
class LImageBuffer;

inline LGuiColor LGuiGrey(uint8_t value)
{
    const uint16_t v = uint16_t(value << 8);
    return LGuiColor{v, v, v};
}
inline LGuiColor LGuiRGB(uint8_t r, uint8_t g, uint8_t b)
{
    return LGuiColor{uint16_t(r << 8), uint16_t(g << 8), uint16_t(b << 8)};
}
// Each channel raised by amount of 255, clamped: the hover highlight of outlines and arrows.
inline LGuiColor LGuiLighten(LGuiColor c, int amount)
{
    auto up = [amount](uint16_t v)
    {
        int x = (v >> 8) + amount;
        return uint16_t((x > 255 ? 255 : x) << 8);
    };
    return LGuiColor{up(c.red), up(c.green), up(c.blue)};
}

struct LPointF
{
    float x = 0, y = 0;
};

enum LLineStyle : int
{
    LLineStyleSolid = 0,
    LLineStyleDash = 1,
    LLineStyleDot = 2,
};

// A path described by the logic and drawn by the surface.
class LGraphicsPath
{
public:
    enum Op : uint8_t
    {
        OpMove,
        OpLine,
        OpCubic, // three points: two controls, then the end
        OpClose,
    };
    struct Element
    {
        Op eOp;
        LPointF pt;
    };

    void MoveTo(float x, float y) { vElements.push_back({OpMove, {x, y}}); }
    void LineTo(float x, float y) { vElements.push_back({OpLine, {x, y}}); }
    void CubicTo(float x1, float y1, float x2, float y2, float x, float y)
    {
        vElements.push_back({OpCubic, {x1, y1}});
        vElements.push_back({OpCubic, {x2, y2}});
        vElements.push_back({OpCubic, {x, y}});
    }
    void Close() { vElements.push_back({OpClose, {}}); }
    void AddPolygon(const LPointF* points, size_t count);
    void AddRect(const LBoundingBox2T<float>& box);
    bool IsEmpty() const { return vElements.empty(); }
    void Clear() { vElements.clear(); }

    std::vector<Element> vElements;
};

class LPaintContext
{
public:
    LPaintContext() = default;
    LPaintContext(const LPaintContext&) = delete;
    LPaintContext& operator=(const LPaintContext&) = delete;
    virtual ~LPaintContext() = default;

    // The switch is kept here so that a caller can save and restore it around its drawing.
    void SetAntialias(bool on)
    {
        bAntialias = on;
        ApplyAntialias();
    }
    bool GetAntialias() const { return bAntialias; }

    // The part of the surface that this paint may change, in surface pixels.
    virtual LBoundingBox2T<int> GetClipBox() const = 0;

    virtual void FillRect(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha = 1.0f) = 0;
    // Squares of cell pixels in two colours, counted from the origin so that the pattern stays
    // put when the box moves.
    virtual void FillRectCheckerPattern(const LBoundingBox2T<float>& box, int cell, LGuiColor base,
                                        LGuiColor alternate, float originX, float originY) = 0;
    // The neutral grey of an empty page.
    void FillGray(const LBoundingBox2T<float>& box) { FillRect(box, LGuiGrey(128)); }
    // Stretched to box; without interpolation every image pixel is a sharp block.
    virtual void DrawImage(const LGuiImage& image, const LBoundingBox2T<float>& box, float opacity,
                           bool bInterpolate) = 0;
    // A soft shadow cast down and to the right by depth pixels.
    virtual void DrawBoxShadow(LGuiColor colour, const LBoundingBox2T<float>& box, float depth) = 0;

    virtual void DrawFrameDashedAA(const LBoundingBox2T<float>& box, LGuiColor colour, float width,
                                   LLineStyle style) = 0;
    virtual void DrawFrameAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha,
                             float width) = 0;
    virtual void DrawLineAA(float x0, float y0, float x1, float y1, LGuiColor colour, float alpha,
                            float width) = 0;
    virtual void DrawLinesAA(const LPointF* points, size_t count, bool bClosed, LGuiColor colour, float alpha,
                             float width) = 0;
    virtual void DrawEllipseAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha,
                               float width) = 0;
    virtual void FillEllipseAA(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha) = 0;
    virtual void FillPolygonAA(const LPointF* points, size_t count, LGuiColor colour, float alpha) = 0;
    // Odd-even fill, so a ring is two closed sub-paths.
    virtual void FillPath(const LGraphicsPath& path, LGuiColor colour, float alpha) = 0;
    virtual void DrawPath(const LGraphicsPath& path, LGuiColor colour, float alpha, float width,
                          LLineStyle style, float dashOffset = 0) = 0;
    // Pixel-aligned outline, never smoothed.
    virtual void DrawRectangle(const LBoundingBox2T<float>& box, LGuiColor colour, float alpha) = 0;

    // A filled arrow from (x0, y0) to (x1, y1): a shaft of the given width and a head headFactor
    // times as wide, as long as it is wide.
    static LGraphicsPath GetLineArrowPath(float x0, float y0, float x1, float y1, float width,
                                          float headFactor);

    virtual void ClipIntersect(const LBoundingBox2T<float>& box) = 0;
    virtual void ClipExclude(const LBoundingBox2T<float>& box) = 0;
    virtual void ClipStackPush() = 0;
    virtual void ClipStackPop() = 0;
    virtual void TransformStackPush() = 0;
    virtual void TransformStackPop() = 0;
    virtual void TransformTranslate(float dx, float dy) = 0;
    // Clockwise on screen.
    virtual void TransformRotate(double radians) = 0;
    virtual void TransformScale(float sx, float sy) = 0;

    // size in surface pixels.
    virtual void SetFont(const char* face, float size, bool bBold) = 0;
    virtual void SetTextColor(LGuiColor colour, float alpha = 1.0f) = 0;
    virtual void MeasureText(const char* text, float& width, float& height) = 0;
    // (x, y) is the top-left of the text's box.
    virtual void DrawText(const char* text, float x, float y) = 0;

protected:
    virtual void ApplyAntialias() = 0;
    bool bAntialias = true;
};
