#include "image/LImgProSimple.h"

#include "image/LImgProBands.h"

bool LImgProPrepareDest(LImageBuffer& oDest, const LImageBuffer& oSource)
{
    if (!oSource.IsValid())
        return false;
    const LImageFormat& s = oSource.GetFormat();
    const LImageFormat& d = oDest.GetFormat();
    if (oDest.IsValid() && d.pf == s.pf && d.iWidth == s.iWidth && d.iHeight == s.iHeight &&
        d.bUpsideDown == s.bUpsideDown)
        return true;
    LImageFormat f(s.pf, s.iWidth, s.iHeight, s.bUpsideDown != 0);
    f.HorizontalResolution = s.HorizontalResolution;
    f.VerticalResolution = s.VerticalResolution;
    return oDest.AllocateNewBuffer(f) && oDest.IsValid();
}

LProcessResult LImgProGreyScale::Process(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    return Process(oProcess, oImage, oImage);
}

LProcessResult LImgProGreyScale::Process(LProcessInterface& oProcess, LImageBuffer& oDest,
                                         const LImageBuffer& oSource) const
{
    if (&oDest != &oSource && !LImgProPrepareDest(oDest, oSource))
        return LProcessResultFailed;
    if (!oSource.IsValid())
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight();
    const int bpp = oSource.GetPixelFormat() == B8G8R8A8 ? 4 : 3;
    oProcess.SetProgress(0.0);
    LImgProBandRunner runner(h, 64);
    std::atomic<int> done{0};
    const int r = runner.Run(oProcess,
                             [&](const LImgProBand& band, LImgProBandRunner& run)
                             {
                                 for (int y = band.iFirst; y < band.iFirst + band.iCount; ++y)
                                 {
                                     const uint8_t* s = oSource.GetRow(y);
                                     uint8_t* d = oDest.GetRow(y);
                                     for (int x = 0; x < w; ++x, s += bpp, d += bpp)
                                     {
                                         const uint8_t v = Luma(s[2], s[1], s[0]);
                                         if (bpp == 4)
                                             d[3] = s[3];
                                         d[0] = d[1] = d[2] = v;
                                     }
                                     const int n = ++done;
                                     if (run.IsToStop(band))
                                         return false;
                                     run.SetProgress(band, double(n) / h);
                                 }
                                 return true;
                             });
    return r ? LProcessResultCancelled : LProcessResultSuccess;
}
