#include "image/LImgProFisheye.h"

#ifdef __SSE2__
#include <emmintrin.h>
#endif

#include <algorithm>
#include <cmath>

#include "image/LImgProColour.h"
#include "image/LImgProRowLoop.h"

namespace
{
// Round of a value that isn't negative: the same addition, then a truncation, which is the floor
// for such values and needs no library call.
inline float RoundPositive(float v)
{
    return float(int(v + 0.5f));
}

// The four-pixel mix of all channels: in x, rounded; in y, rounded and capped.
inline LPixelColour Mix(LPixelColour p00, LPixelColour p10, LPixelColour p01, LPixelColour p11, float wx0,
                        float wx1, float wy0, float wy1)
{
#ifdef __SSE2__
    // The same float operations four channels at a time, so the result is the same to the bit.
    const __m128i zero = _mm_setzero_si128();
    auto widen = [&](LPixelColour c)
    {
        const __m128i v = _mm_unpacklo_epi8(_mm_cvtsi32_si128(int(c.ToUInt32())), zero);
        return _mm_cvtepi32_ps(_mm_unpacklo_epi16(v, zero));
    };
    auto round = [](__m128 v) { return _mm_cvtepi32_ps(_mm_cvttps_epi32(_mm_add_ps(v, _mm_set1_ps(0.5f)))); };
    const __m128 a0 = _mm_set1_ps(wx0), a1 = _mm_set1_ps(wx1);
    const __m128 t = round(_mm_add_ps(_mm_mul_ps(widen(p00), a0), _mm_mul_ps(widen(p10), a1)));
    const __m128 u = round(_mm_add_ps(_mm_mul_ps(widen(p01), a0), _mm_mul_ps(widen(p11), a1)));
    const __m128 o =
        _mm_min_ps(round(_mm_add_ps(_mm_mul_ps(t, _mm_set1_ps(wy0)), _mm_mul_ps(u, _mm_set1_ps(wy1)))),
                   _mm_set1_ps(255.0f));
    __m128i i = _mm_cvttps_epi32(o);
    i = _mm_packs_epi32(i, i);
    return LPixelColour::FromUInt32(uint32_t(_mm_cvtsi128_si32(_mm_packus_epi16(i, i))));
#else
    auto mix = [&](uint8_t a, uint8_t b, uint8_t c, uint8_t d)
    {
        const float t = RoundPositive(a * wx0 + b * wx1), u = RoundPositive(c * wx0 + d * wx1);
        return uint8_t(std::min(RoundPositive(t * wy0 + u * wy1), 255.0f));
    };
    return LPixelColour(mix(p00.b, p10.b, p01.b, p11.b), mix(p00.g, p10.g, p01.g, p11.g),
                        mix(p00.r, p10.r, p01.r, p11.r), mix(p00.a, p10.a, p01.a, p11.a));
#endif
}

// Round of a value between -1 and the int range: halves away from zero.
inline float RoundNear(float v)
{
    if (v >= 0)
        return RoundPositive(v);
    return v - 0.5f > -1.0f ? 0.0f : -1.0f;
}
} // namespace

float LImgProFisheye::GetScale(float dx, float dy, float diag) const
{
    // No power, or a single pixel with no diagonal: nothing bends.
    if (fPower == 0 || diag == 0)
        return 1;
    const float d = diag / fPower;
    float rho = std::sqrt((dx * dx + dy * dy) * 0.5f) / d;
    if (fPower < 0)
    {
        // Rm is the power itself, negative here, which turns the scale into one that grows
        // towards the edges.
        const float rm = diag / d;
        rho = std::fabs(rho);
        const float u = rho + (rm - std::sqrt(std::max(rm * rm - rho * rho, 0.0f))) * 0.5f;
        return u == 0 ? 1 : std::atan(u) / u;
    }
    return rho == 0 ? 1 : std::atan(rho) / rho;
}

template <class F>
int LImgProFisheye::ProcessImage(LProcessInterface& oProcess, LImageBuffer& oDest,
                                 const LImageBuffer& oSource) const
{
    if (!oSource.IsValid() || !oDest.IsValid() || &oDest == &oSource ||
        oDest.GetWidth() != oSource.GetWidth() || oDest.GetHeight() != oSource.GetHeight())
        return LProcessResultFailed;
    const int w = oSource.GetWidth(), h = oSource.GetHeight();
    const float cx = float(w / 2), cy = float(h / 2), diag = std::sqrt(cx * cx + cy * cy);
    const float maxX = float(w - 1), maxY = float(h - 1);
    const int icx = w / 2;
    oProcess.SetProgress(0.0);
    return LImgProForEachRow(
        oProcess, h,
        [&](int y)
        {
            F* out = reinterpret_cast<F*>(oDest.GetRow(y));
            const float dy = y - cy;
            auto sample = [&](int x, float g)
            {
                const float dx = x - cx;
                const float sx = cx + dx * g * fZoom, sy = cy + dy * g * fZoom;
                // Coordinates are tested before any conversion, so that a value that isn't a
                // number or is out of range counts as outside.
                if (!bSmooth)
                {
                    if (!(sx > -1 && sy > -1 && sx < maxX + 1 && sy < maxY + 1))
                        return;
                    const float nx = RoundNear(sx), ny = RoundNear(sy);
                    if (nx >= 0 && ny >= 0 && nx <= maxX && ny <= maxY)
                        out[x] = reinterpret_cast<const F*>(oSource.GetRow(int(ny)))[int(nx)];
                    return;
                }
                // Inside, floor is the truncation and ceil one more unless the value is whole.
                if (!(sx >= 0 && sy >= 0 && sx <= maxX && sy <= maxY))
                    return;
                const int ix0 = int(sx), iy0 = int(sy);
                const float x0 = float(ix0), y0 = float(iy0);
                const int ix1 = x0 == sx ? ix0 : ix0 + 1, iy1 = y0 == sy ? iy0 : iy0 + 1;
                const float x1 = float(ix1), y1 = float(iy1);
                const float wx0 = ix0 == ix1 ? 0.5f : x1 - sx, wx1 = ix0 == ix1 ? 0.5f : sx - x0;
                const float wy0 = iy0 == iy1 ? 0.5f : y1 - sy, wy1 = iy0 == iy1 ? 0.5f : sy - y0;
                const F* top = reinterpret_cast<const F*>(oSource.GetRow(iy0));
                const F* bottom = reinterpret_cast<const F*>(oSource.GetRow(iy1));
                LImgProWriteWide(out[x], Mix(LImgProReadWide(top[ix0]), LImgProReadWide(top[ix1]),
                                             LImgProReadWide(bottom[ix0]), LImgProReadWide(bottom[ix1]), wx0,
                                             wx1, wy0, wy1));
            };
            // The scale depends on dx*dx alone: one evaluation serves a column on each side.
            for (int d = 0; d <= std::max(icx, w - 1 - icx); ++d)
            {
                const float g = GetScale(float(d), dy, diag);
                if (icx + d < w)
                    sample(icx + d, g);
                if (d > 0 && icx - d >= 0)
                    sample(icx - d, g);
            }
        });
}

template int LImgProFisheye::ProcessImage<LPFB8G8R8A8>(LProcessInterface&, LImageBuffer&,
                                                       const LImageBuffer&) const;
template int LImgProFisheye::ProcessImage<LPFB8G8R8>(LProcessInterface&, LImageBuffer&,
                                                     const LImageBuffer&) const;
template int LImgProFisheye::ProcessImage<LPFB5G6R5>(LProcessInterface&, LImageBuffer&,
                                                     const LImageBuffer&) const;
template int LImgProFisheye::ProcessImage<LPFB5G5R5A1>(LProcessInterface&, LImageBuffer&,
                                                       const LImageBuffer&) const;
template int LImgProFisheye::ProcessImage<LPFB5G5R5X1>(LProcessInterface&, LImageBuffer&,
                                                       const LImageBuffer&) const;
