#pragma once
// The project's page: the rectangle, in project pixels, that the rendered image fills, and the
// scale of the low-resolution render.

#include <cstddef>
#include <vector>

#include "document/LBoundingBox2.h"
#include "foundation/LNotifier.h"

// Nine-point anchor of a size change.
enum ANCHOR : int
{
    ANCHOR_CENTRE = 1,
    ANCHOR_LEFT = 2,
    ANCHOR_TOP = 3,
    ANCHOR_RIGHT = 4,
    ANCHOR_BOTTOM = 5,
    ANCHOR_TOPLEFT = 6,
    ANCHOR_TOPRIGHT = 7,
    ANCHOR_BOTTOMRIGHT = 8,
    ANCHOR_BOTTOMLEFT = 9,
};

class QDViewport;

class QDViewportNotifyee
{
public:
    virtual ~QDViewportNotifyee() = default;
    virtual void EvViewportBoundsChanged(QDViewport& viewport) { (void)viewport; }
};

struct QDViewportParameters
{
    LBoundingBox2T<double> bxBounds;
    LBoundingBox2T<double> bxOriginalBounds;
    double dOriginX = 0;
    double dOriginY = 0;
    float fLowResScale = 0.2f;
};

class QDViewport : public QDViewportParameters
{
public:
    QDViewport(double width, double height, float lowResScale = 0.2f);

    LBoundingBox2T<double> GetBoundsFromLayersOrigin() const;
    const LBoundingBox2T<double>& GetBounds() const { return bxBounds; }

    void SetWidth(double width, ANCHOR anchor);
    void SetHeight(double height, ANCHOR anchor);
    void SetDimensions(double width, double height, ANCHOR anchor);
    // Without force an equal box changes nothing and tells no one.
    void SetBounds(const LBoundingBox2T<double>& box, bool bForce);

    void AddNotifyee(QDViewportNotifyee* notifyee);
    void RemoveNotifyee(QDViewportNotifyee* notifyee);
    void NotifyBoundsChanged();

    // A notifyee may leave, or remove another, while it is being told.
    LNotifierList<QDViewportNotifyee> lNotifyees;

private:
    void ApplyWidth(double width, ANCHOR anchor);
    void ApplyHeight(double height, ANCHOR anchor);
};
