#pragma once
// The outline of a border and what is drawn along it: a rounded rectangle or an oval inside a box,
// the colour laid outside it with a soft one-pixel edge, and a shadow cast inward from it.

#include "image/LImgProFrame.h"

struct LFrameShape
{
    // The box, in pixel centres: 0 to w - 1 covers a picture w pixels wide.
    double dLeft = 0, dTop = 0, dRight = 0, dBottom = 0;
    bool bOval = false;
    // Rounded rectangle: the corners' radius, at most half the shorter side.
    double dCornerRadius = 0;
    // Oval: its half axes, about the box's centre.
    double dRadiusX = 0, dRadiusY = 0;

    // A box w x h pulled in by min(w, h) * fWidth on all sides.
    static LFrameShape Bounds(int iWidth, int iHeight, double fWidth);
    // The outline in the box: fRoundness 0 to 1 is the corner radius as a share of half the
    // shorter side; the oval fills the box, made narrower for an aspect below 0 and lower above it.
    LFrameShape Path(bool bOval, double fRoundness, double fAspect) const;

    // Signed distance to the outline, negative inside; exact for the rectangle, close to it near
    // the oval's outline.
    double Distance(double x, double y) const;
};

// Colours everything outside the outline; a pixel on it takes its share of the colour. Formats 0
// and 1 (else 2); in place; a colour alpha of 255 makes the border opaque.
LProcessResult LImgProDrawFrame(LProcessInterface& oProcess, LImageBuffer& oImage, const LFrameShape& oShape,
                                LPixelColour oColour);
// Darkens the inside along the outline, by iOpacity/255 at the outline falling to nothing dDepth
// pixels in. Formats 0 and 1 (else 2).
LProcessResult LImgProDrawFrameShadow(LProcessInterface& oProcess, LImageBuffer& oImage,
                                      const LFrameShape& oShape, double dDepth, int iOpacity);
