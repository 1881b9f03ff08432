#pragma once
// Tone curves: a list of control points through which a centripetal Catmull-Rom spline is drawn
// into a 256-entry table per channel, and the kernel that maps an image through four such tables
// (RGB, red, green, blue) on threads of its own.

#include <cstdint>
#include <memory>

#include "foundation/LList.h"
#include "foundation/LThread.h"
#include "image/LImgProFrame.h"

struct LCurvePoint : LListItem<LCurvePoint>
{
    LCurvePoint(int x, int y) : iX(x), iY(y) {}
    int32_t iX;
    int32_t iY;
};

class LCurveSettings
{
public:
    // The points (0,0) and (255,255) and the identity table.
    LCurveSettings();
    LCurveSettings(const LCurveSettings& o);
    LCurveSettings& operator=(const LCurveSettings& o);

    // Compares the points only (count, then pairs in order): the table follows from them.
    bool operator==(const LCurveSettings& o) const;
    bool operator!=(const LCurveSettings& o) const { return !(*this == o); }
    // True when the points are those of a new curve.
    bool IsIdentity() const;

    // Ordered insert by iX, behind points of the same iX; the table is left as it is.
    void AddPoint(int iX, int iY);
    void RemoveAllPoints() { listPoints.DeleteAll(); }
    // Rebuilds the table from the points; fewer than two points leave it alone.
    void UpdateCurveValues();

    // Fills the table between b and c along the spline through a, b, c, d.
    void Interpolate(const LCurvePoint& a, const LCurvePoint& b, const LCurvePoint& c, const LCurvePoint& d);

    uint8_t arValues[256];
    LList<LCurvePoint> listPoints;
};

// Maps one band of rows (in memory order) through the curves: each channel through its own
// curve, then all three through the RGB curve, skipping identity curves; alpha is written back
// unchanged. IsToStop is asked after each row; the result is 1 when stopped.
LProcessResult LImageRenderCurves(LProcessInterface& oProcess, unsigned long iFirstRow,
                                  unsigned long iRowCount, LImageBuffer& oImage, const LCurveSettings& oRGB,
                                  const LCurveSettings& oRed, const LCurveSettings& oGreen,
                                  const LCurveSettings& oBlue);

// One worker of LImgProCurves. It starts on its first job and then waits for the next one; each
// job ends by setting soDone, also when it was stopped.
class LImageCurvesThread : public LThread
{
public:
    ~LImageCurvesThread() override;
    void ThreadFunction() override;
    // Hands over a job: starts the thread at the caller's priority on first use, then signals it.
    void ProcessAsync(unsigned long iFirstRow, unsigned long iRowCount, LImageBuffer& oImage,
                      const LCurveSettings& oRGB, const LCurveSettings& oRed, const LCurveSettings& oGreen,
                      const LCurveSettings& oBlue);

    LSignalObject soStart;
    LSignalObject soDone;

private:
    unsigned long iFirstRow = 0;
    unsigned long iRowCount = 0;
    LImageBuffer* lpImage = nullptr;
    const LCurveSettings* arCurves[4] = {};
};

class LImgProCurves
{
public:
    enum
    {
        RGB = 0,
        Red = 1,
        Green = 2,
        Blue = 3
    };

    // One worker per processor (LImgProGetThreadCount), made here and started on first use.
    LImgProCurves();
    explicit LImgProCurves(const LCurveSettings& oRGB);
    LImgProCurves(const LCurveSettings& oRGB, const LCurveSettings& oRed, const LCurveSettings& oGreen,
                  const LCurveSettings& oBlue);
    LImgProCurves(const LImgProCurves&) = delete;
    LImgProCurves& operator=(const LImgProCurves&) = delete;

    // Formats 0 to 4. The height is split into one band per worker (the last takes the rest);
    // completions are awaited in order with a stop test after each, and a stop or a failed wait
    // stops every worker and gives 1. All curves at identity leave the image untouched.
    LProcessResult Process(LProcessInterface& oProcess, LImageBuffer& oImage);
    template <class F>
    int ProcessImage(LProcessInterface& oProcess, LImageBuffer& oImage)
    {
        return Process(oProcess, oImage);
    }

    LCurveSettings arCurves[4];

private:
    int nThreads = 0;
    std::unique_ptr<LImageCurvesThread[]> arThreads;
};
