#pragma once
// Spin and zoom blur about a centre: each pixel averages samples along the tangent (spin) or
// the radius (zoom), over a length that grows with the distance from the centre.

#include "image/LImageBuffer.h"

// Formats 0 and 1. Colour is the integer mean of the samples that fall inside, alpha becomes
// 255; the centre pixel is kept as it is.
LProcessResult LImgProMotionBlur(LProcessInterface& oProcess, LImageBuffer& oImage, double dRadius,
                                 int iCentreX, int iCentreY, bool bSpin);
