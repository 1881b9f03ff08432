#include "effects/QDEffectGeometry.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "document/QDImagePipelineElement.h"
#include "image/LImageTransform.h"

void QDSetAxisTransform(QDImagePipelineElement& e, double sx, double ox, double sy, double oy,
                        unsigned outWidth, unsigned outHeight)
{
    // The base maps dx = x - (w >> 1), dy = (h >> 1) - y through the matrix and adds the output's
    // integer halves back, so the offsets take the difference of the halves.
    const double inHalfW = double(e.iWidth >> 1), inHalfH = double(e.iHeight >> 1);
    const double outHalfW = double(outWidth >> 1), outHalfH = double(outHeight >> 1);
    double* t = e.adTransform;
    t[0] = sx;
    t[1] = 0;
    t[2] = sx * inHalfW + ox - outHalfW;
    t[3] = 0;
    t[4] = sy;
    t[5] = outHalfH - (sy * inHalfH + oy);
}

void QDSetRotationTransform(QDImagePipelineElement& e, double degrees, double scale, unsigned outWidth,
                            unsigned outHeight)
{
    // Clockwise on screen is clockwise with y down, which is a negative angle with y up.
    const double a = -degrees * 0.01745329251994329577;
    const double c = std::cos(a) * scale, s = std::sin(a) * scale;
    // The base measures from the integer halves of the sizes, the turn goes about the true centres
    // ((w - 1) / 2 in pixels); the offsets make up the difference on both sides.
    const double inX = (double(e.iWidth) - 1) / 2 - double(e.iWidth >> 1);
    const double inY = (double(e.iHeight) - 1) / 2 - double(e.iHeight >> 1);
    const double outX = (double(outWidth) - 1) / 2 - double(outWidth >> 1);
    const double outY = (double(outHeight) - 1) / 2 - double(outHeight >> 1);
    double* t = e.adTransform;
    t[0] = c;
    t[1] = -s;
    t[3] = s;
    t[4] = c;
    t[2] = -t[0] * inX + t[1] * inY + outX;
    t[5] = -t[3] * inX + t[4] * inY - outY;
}

bool QDGetPointTransformedBack(const QDImagePipelineElement& e, int& x, int& y)
{
    const double* t = e.adTransform;
    const double det = t[0] * t[4] - t[1] * t[3];
    if (det == 0)
        return false;
    const double u = double(x) - double(e.GetWidth() >> 1) - t[2];
    const double v = double(e.GetHeight() >> 1) - double(y) - t[5];
    const double dx = (t[4] * u - t[1] * v) / det, dy = (t[0] * v - t[3] * u) / det;
    const long nx = std::lround(dx) + long(e.iWidth >> 1);
    const long ny = long(e.iHeight >> 1) - std::lround(dy);
    x = int(nx);
    y = int(ny);
    return nx >= 0 && nx < long(e.iWidth) && ny >= 0 && ny < long(e.iHeight);
}

bool QDGetPipelinePointBack(int& x, int& y, const QDImagePipelineElement* element)
{
    std::vector<const QDImagePipelineElement*> behind;
    for (const QDImagePipelineElement* e = element ? element->GetNextItem() : nullptr; e && e->bVisible;
         e = e->GetNextItem())
        behind.push_back(e);
    for (auto it = behind.rbegin(); it != behind.rend(); ++it)
        if (!QDGetPointTransformedBack(**it, x, y))
            return false;
    return true;
}

bool QDFitCentred(LImageBuffer& buffer, int width, int height)
{
    if (buffer.GetWidth() == width && buffer.GetHeight() == height)
        return true;
    LImageBuffer fitted;
    if (!LImage::New(fitted, width, height, buffer.GetPixelFormat()) || !fitted.IsValid())
        return false;
    fitted.Clear(LPixelColour(0, 0, 0, 0));
    // Integer halves on both sides, as the rotation centres them.
    const int dx = (width - buffer.GetWidth()) / 2, dy = (height - buffer.GetHeight()) / 2;
    LImage::Copy(buffer, fitted, std::max(dx, 0), std::max(dy, 0), std::max(-dx, 0), std::max(-dy, 0),
                 std::min(width, buffer.GetWidth()), std::min(height, buffer.GetHeight()));
    buffer.Assign(fitted);
    return true;
}

double QDPreviewScale(const QDImagePipelineElement& e, const LImageBuffer& buffer)
{
    return e.iWidth ? double(buffer.GetWidth()) / double(e.iWidth) : 1.0;
}
