#include "image/LImgProCurves.h"

#include <algorithm>
#include <cmath>
#include <cstring>

#include "image/LImgProBands.h"
#include "image/LImgProChannelMap.h"
#include "image/LImgProColour.h"

namespace
{
// The Barry-Goldman recurrence for one coordinate of the four points at knots t.
float Recurrence(const float* p, const float* t, float u)
{
    const float a1 = ((t[1] - u) * p[0] + (u - t[0]) * p[1]) / (t[1] - t[0]);
    const float a2 = ((t[2] - u) * p[1] + (u - t[1]) * p[2]) / (t[2] - t[1]);
    const float a3 = ((t[3] - u) * p[2] + (u - t[2]) * p[3]) / (t[3] - t[2]);
    const float b1 = ((t[2] - u) * a1 + (u - t[0]) * a2) / (t[2] - t[0]);
    const float b2 = ((t[3] - u) * a2 + (u - t[1]) * a3) / (t[3] - t[1]);
    return ((t[2] - u) * b1 + (u - t[1]) * b2) / (t[2] - t[1]);
}

int ClampByte(int v)
{
    return std::clamp(v, 0, 255);
}
// Rounded and clamped on the float value; a value that isn't a number (which only degenerate
// point sets could give) reports false.
bool ToIndex(float v, int& out)
{
    v = Round(v);
    if (!(v == v))
        return false;
    out = int(std::clamp(v, 0.0f, 255.0f));
    return true;
}

} // namespace

LCurveSettings::LCurveSettings()
{
    memcpy(arValues, LImgProChannelMap::IdentityTable(), 256);
    listPoints.AddTail(new LCurvePoint(0, 0));
    listPoints.AddTail(new LCurvePoint(255, 255));
}

LCurveSettings::LCurveSettings(const LCurveSettings& o)
{
    *this = o;
}

LCurveSettings& LCurveSettings::operator=(const LCurveSettings& o)
{
    if (this == &o)
        return *this;
    memcpy(arValues, o.arValues, 256);
    listPoints.DeleteAll();
    for (const LCurvePoint* p = o.listPoints.GetFirst(); p; p = p->GetNextItem())
        listPoints.AddTail(new LCurvePoint(p->iX, p->iY));
    return *this;
}

bool LCurveSettings::operator==(const LCurveSettings& o) const
{
    if (listPoints.GetCount() != o.listPoints.GetCount())
        return false;
    for (const LCurvePoint *a = listPoints.GetFirst(), *b = o.listPoints.GetFirst(); a && b;
         a = a->GetNextItem(), b = b->GetNextItem())
        if (a->iX != b->iX || a->iY != b->iY)
            return false;
    return true;
}

bool LCurveSettings::IsIdentity() const
{
    const LCurvePoint* a = listPoints.GetFirst();
    const LCurvePoint* b = listPoints.GetLast();
    return listPoints.GetCount() == 2 && a->iX == 0 && a->iY == 0 && b->iX == 255 && b->iY == 255;
}

void LCurveSettings::AddPoint(int iX, int iY)
{
    listPoints.AddOrdered(new LCurvePoint(iX, iY),
                          [](const LCurvePoint& a, const LCurvePoint& b) { return a.iX < b.iX; });
}

void LCurveSettings::Interpolate(const LCurvePoint& a, const LCurvePoint& b, const LCurvePoint& c,
                                 const LCurvePoint& d)
{
    const float xs[4] = {float(a.iX), float(b.iX), float(c.iX), float(d.iX)};
    const float ys[4] = {float(a.iY), float(b.iY), float(c.iY), float(d.iY)};
    float t[4] = {0, 0, 0, 0};
    for (int k = 0; k < 3; ++k)
    {
        const float dx = xs[k + 1] - xs[k], dy = ys[k + 1] - ys[k];
        float gap = std::pow(dx * dx + dy * dy, 0.25f);
        // Coincident points would divide by zero; a unit gap keeps the recurrence finite.
        if (!(gap > 0))
            gap = 1;
        t[k + 1] = t[k] + gap;
    }
    // Two points at one x make a window without steps: its ends are written by the neighbouring
    // windows, which average the two values at that x.
    const int steps = int(xs[2] - xs[1]);
    if (steps <= 0)
        return;
    int prev = ClampByte(b.iX);
    for (int i = 0; i <= steps; ++i)
    {
        const float u = i * (t[2] - t[1]) / steps + t[1];
        int x, y;
        if (!ToIndex(Recurrence(xs, t, u), x) || !ToIndex(Recurrence(ys, t, u), y))
            continue;
        if (x == prev)
            arValues[x] = uint8_t((arValues[x] + y) >> 1);
        else
        {
            arValues[x] = uint8_t(y);
            if (x - prev > 1)
                for (int k = prev + 1; k < x; ++k)
                    arValues[k] = uint8_t((arValues[prev] + arValues[x]) >> 1);
        }
        prev = x;
    }
}

void LCurveSettings::UpdateCurveValues()
{
    if (listPoints.GetCount() < 2)
        return;
    const LCurvePoint* first = listPoints.GetFirst();
    const LCurvePoint* second = first->GetNextItem();
    const LCurvePoint* last = listPoints.GetLast();
    const LCurvePoint* beforeLast = first;
    while (beforeLast->GetNextItem() != last)
        beforeLast = beforeLast->GetNextItem();
    // Phantom ends mirror the neighbouring point, so the first and last segments have a tangent.
    const LCurvePoint head(2 * first->iX - second->iX, 2 * first->iY - second->iY);
    const LCurvePoint tail(2 * last->iX - beforeLast->iX, 2 * last->iY - beforeLast->iY);
    const LCurvePoint* w[4] = {&head, first, second, second->GetNextItem() ? second->GetNextItem() : &tail};
    for (;;)
    {
        Interpolate(*w[0], *w[1], *w[2], *w[3]);
        if (w[3] == &tail)
            break;
        w[0] = w[1];
        w[1] = w[2];
        w[2] = w[3];
        w[3] = w[3]->GetNextItem() ? w[3]->GetNextItem() : &tail;
    }
    for (int i = 0; i < std::min(first->iX, 256); ++i)
        arValues[i] = uint8_t(ClampByte(first->iY));
    if (last->iX < 255)
        for (int i = std::max(last->iX, 0); i < 256; ++i)
            arValues[i] = uint8_t(ClampByte(last->iY));
}

LProcessResult LImageRenderCurves(LProcessInterface& oProcess, unsigned long iFirstRow,
                                  unsigned long iRowCount, LImageBuffer& oImage, const LCurveSettings& oRGB,
                                  const LCurveSettings& oRed, const LCurveSettings& oGreen,
                                  const LCurveSettings& oBlue)
{
    // Both stages fold into one table per channel: the channel's own curve, then the RGB curve.
    LImgProChannelMap map;
    const uint8_t* id = LImgProChannelMap::IdentityTable();
    map.Then(oRed.IsIdentity() ? id : oRed.arValues, oGreen.IsIdentity() ? id : oGreen.arValues,
             oBlue.IsIdentity() ? id : oBlue.arValues);
    if (!oRGB.IsIdentity())
        map.Then(oRGB.arValues, oRGB.arValues, oRGB.arValues);
    const int w = oImage.GetWidth();
    const pixelformat_t pf = oImage.GetPixelFormat();
    const unsigned long end = std::min<unsigned long>(iFirstRow + iRowCount, oImage.GetHeight());
    for (unsigned long y = iFirstRow; y < end; ++y)
    {
        map.MapRow(oImage.GetScanLine(int(y)), w, pf);
        if (oProcess.IsToStop())
            return LProcessResultCancelled;
    }
    return LProcessResultSuccess;
}

LImageCurvesThread::~LImageCurvesThread()
{
    StopThreadNow();
}

void LImageCurvesThread::ThreadFunction()
{
    while (ProcessWaitSignal(soStart, LProcessWaitForever) == 0)
    {
        soStart.Reset();
        LImageRenderCurves(*this, iFirstRow, iRowCount, *lpImage, *arCurves[0], *arCurves[1], *arCurves[2],
                           *arCurves[3]);
        // The caller waits on nothing else, so every job ends here, stopped or not.
        soDone.Set();
    }
}

void LImageCurvesThread::ProcessAsync(unsigned long first, unsigned long count, LImageBuffer& oImage,
                                      const LCurveSettings& oRGB, const LCurveSettings& oRed,
                                      const LCurveSettings& oGreen, const LCurveSettings& oBlue)
{
    iFirstRow = first;
    iRowCount = count;
    lpImage = &oImage;
    arCurves[0] = &oRGB;
    arCurves[1] = &oRed;
    arCurves[2] = &oGreen;
    arCurves[3] = &oBlue;
    soDone.Reset();
    if (!IsRunning())
        StartSame();
    soStart.Set();
}

LImgProCurves::LImgProCurves()
    : nThreads(LImgProGetThreadCount()), arThreads(new LImageCurvesThread[size_t(nThreads)])
{
}

LImgProCurves::LImgProCurves(const LCurveSettings& oRGB) : LImgProCurves()
{
    arCurves[RGB] = oRGB;
}

LImgProCurves::LImgProCurves(const LCurveSettings& oRGB, const LCurveSettings& oRed,
                             const LCurveSettings& oGreen, const LCurveSettings& oBlue)
    : LImgProCurves()
{
    arCurves[RGB] = oRGB;
    arCurves[Red] = oRed;
    arCurves[Green] = oGreen;
    arCurves[Blue] = oBlue;
}

LProcessResult LImgProCurves::Process(LProcessInterface& oProcess, LImageBuffer& oImage)
{
    if (!oImage.IsValid() || oImage.GetPixelFormat() > B5G5R5X1)
        return LProcessResultFailed;
    if (std::all_of(arCurves, arCurves + 4, [](const LCurveSettings& c) { return c.IsIdentity(); }))
        return LProcessResultSuccess;
    const unsigned long h = oImage.GetHeight(), per = h / nThreads;
    // Out of descriptors, a worker's signals would never fire: the caller then does it all.
    for (int i = 0; i < nThreads; ++i)
        if (!arThreads[i].soStart.IsValid() || !arThreads[i].soDone.IsValid() ||
            !arThreads[i].soToStop.IsValid())
            return LImageRenderCurves(oProcess, 0, h, oImage, arCurves[RGB], arCurves[Red], arCurves[Green],
                                      arCurves[Blue]);
    for (int i = 0; i < nThreads; ++i)
    {
        const unsigned long first = i * per;
        arThreads[i].ProcessAsync(first, i == nThreads - 1 ? h - first : per, oImage, arCurves[RGB],
                                  arCurves[Red], arCurves[Green], arCurves[Blue]);
    }
    for (int i = 0; i < nThreads; ++i)
    {
        const int r = oProcess.ProcessWaitSignal(arThreads[i].soDone, LProcessWaitForever);
        if (r != 0 || oProcess.IsToStop())
        {
            for (int k = 0; k < nThreads; ++k)
                arThreads[k].StopThreadNow();
            return LProcessResultCancelled;
        }
    }
    return LProcessResultSuccess;
}
