#include "document/QDViewport.h"

QDViewport::QDViewport(double width, double height, float lowResScale)
{
    bxBounds = LBoundingBox2T<double>(0, 0, width, height);
    bxOriginalBounds = bxBounds;
    fLowResScale = lowResScale;
}

LBoundingBox2T<double> QDViewport::GetBoundsFromLayersOrigin() const
{
    return LBoundingBox2T<double>(bxBounds.left - dOriginX, bxBounds.top - dOriginY,
                                  bxBounds.right - dOriginX, bxBounds.bottom - dOriginY);
}

void QDViewport::ApplyWidth(double width, ANCHOR anchor)
{
    switch (anchor)
    {
    case ANCHOR_LEFT:
    case ANCHOR_TOPLEFT:
    case ANCHOR_BOTTOMLEFT:
        bxBounds.right = bxBounds.left + width;
        break;
    case ANCHOR_RIGHT:
    case ANCHOR_TOPRIGHT:
    case ANCHOR_BOTTOMRIGHT:
        bxBounds.left = bxBounds.right - width;
        break;
    default:
    {
        double grow = (width - bxBounds.GetWidth()) / 2;
        bxBounds.left -= grow;
        bxBounds.right = bxBounds.left + width;
        break;
    }
    }
}

void QDViewport::ApplyHeight(double height, ANCHOR anchor)
{
    switch (anchor)
    {
    case ANCHOR_TOP:
    case ANCHOR_TOPLEFT:
    case ANCHOR_TOPRIGHT:
        bxBounds.bottom = bxBounds.top + height;
        break;
    case ANCHOR_BOTTOM:
    case ANCHOR_BOTTOMRIGHT:
    case ANCHOR_BOTTOMLEFT:
        bxBounds.top = bxBounds.bottom - height;
        break;
    default:
    {
        double grow = (height - bxBounds.GetHeight()) / 2;
        bxBounds.top -= grow;
        bxBounds.bottom = bxBounds.top + height;
        break;
    }
    }
}

void QDViewport::SetWidth(double width, ANCHOR anchor)
{
    ApplyWidth(width, anchor);
    NotifyBoundsChanged();
}

void QDViewport::SetHeight(double height, ANCHOR anchor)
{
    ApplyHeight(height, anchor);
    NotifyBoundsChanged();
}

void QDViewport::SetDimensions(double width, double height, ANCHOR anchor)
{
    ApplyWidth(width, anchor);
    ApplyHeight(height, anchor);
    NotifyBoundsChanged();
}

void QDViewport::SetBounds(const LBoundingBox2T<double>& box, bool bForce)
{
    if (!bForce && box == bxBounds)
        return;
    bxBounds = box;
    NotifyBoundsChanged();
}

void QDViewport::AddNotifyee(QDViewportNotifyee* notifyee)
{
    lNotifyees.AddNotifyee(notifyee);
}

void QDViewport::RemoveNotifyee(QDViewportNotifyee* notifyee)
{
    lNotifyees.RemoveNotifyee(notifyee);
}

void QDViewport::NotifyBoundsChanged()
{
    lNotifyees.ForEachNotifyee([this](QDViewportNotifyee* n) { n->EvViewportBoundsChanged(*this); });
}
