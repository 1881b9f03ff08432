#include "canvas/LSceneGraphShapes.h"

#include <algorithm>
#include <cmath>

void LSceneGraphNodeCircleBase::SetRadius(float radius)
{
    if (radius == fRadius)
        return;
    Update(false);
    fRadius = radius;
    Update(false);
}

LBoxF LSceneGraphNodeCircleBase::GetBounds() const
{
    const float r = GetRadius();
    return LBoxF(-r, -r, r, r);
}

LBoxF LSceneGraphArrow::GetSelectionBounds() const
{
    const float pad = fWidth * kHeadFactor / 2;
    return LBoxF(std::min(0.0f, fEndU) - pad, std::min(0.0f, fEndV) - pad, std::max(0.0f, fEndU) + pad,
                 std::max(0.0f, fEndV) + pad);
}

LBoxF LSceneGraphArrow::GetDrawBounds() const
{
    return GetSelectionBounds();
}

bool LSceneGraphArrow::HitTest(float u, float v)
{
    // Within the head's half width of the segment from the origin to the end.
    const float len2 = fEndU * fEndU + fEndV * fEndV;
    float t = len2 > 0 ? (u * fEndU + v * fEndV) / len2 : 0;
    t = std::clamp(t, 0.0f, 1.0f);
    const float du = u - t * fEndU, dv = v - t * fEndV;
    const float r = fWidth * kHeadFactor / 2;
    return du * du + dv * dv < r * r;
}

void LSceneGraphArrow::Draw(LPaintContext& pc)
{
    const LGuiColor colour = bMouseOver ? LGuiLighten(colArrow, 20) : colArrow;
    const LGraphicsPath path = LPaintContext::GetLineArrowPath(
        MapUToX(0), MapVToY(0), MapUToX(fEndU), MapVToY(fEndV), MapOffsetUVToXY(fWidth), kHeadFactor);
    pc.FillPath(path, colour, 1.0f);
}
