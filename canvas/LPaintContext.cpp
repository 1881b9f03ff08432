#include "canvas/LPaintContext.h"

#include <algorithm>
#include <cmath>

void LGraphicsPath::AddPolygon(const LPointF* points, size_t count)
{
    if (!count)
        return;
    MoveTo(points[0].x, points[0].y);
    for (size_t i = 1; i < count; ++i)
        LineTo(points[i].x, points[i].y);
    Close();
}

void LGraphicsPath::AddRect(const LBoundingBox2T<float>& box)
{
    const LPointF p[4] = {
        {box.left, box.top}, {box.right, box.top}, {box.right, box.bottom}, {box.left, box.bottom}};
    AddPolygon(p, 4);
}

LGraphicsPath LPaintContext::GetLineArrowPath(float x0, float y0, float x1, float y1, float width,
                                              float headFactor)
{
    LGraphicsPath path;
    const float dx = x1 - x0, dy = y1 - y0;
    const float length = std::sqrt(dx * dx + dy * dy);
    if (length <= 0)
        return path;
    const float ux = dx / length, uy = dy / length; // along
    const float nx = -uy, ny = ux;                  // across
    const float head = width * headFactor;
    const float headLength = std::min(head, length);
    const float bx = x1 - ux * headLength, by = y1 - uy * headLength;
    const float s = width / 2, h = head / 2;
    const LPointF p[7] = {
        {x0 + nx * s, y0 + ny * s}, {bx + nx * s, by + ny * s}, {bx + nx * h, by + ny * h}, {x1, y1},
        {bx - nx * h, by - ny * h}, {bx - nx * s, by - ny * s}, {x0 - nx * s, y0 - ny * s},
    };
    path.AddPolygon(p, 7);
    return path;
}
