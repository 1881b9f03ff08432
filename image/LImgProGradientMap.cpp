#include "image/LImgProGradientMap.h"

#include <immintrin.h>

#include <algorithm>
#include <vector>

#include "image/LImgProColour.h"
#include "image/LImgProRowLoop.h"

namespace
{
bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}

// Eight pixels at a time: blue and red, then green, as 16-bit pairs into one multiply-add each,
// the grey then gathers its colour. Returns the pixels done.
__attribute__((target("avx2"))) int MapRowAVX2(uint32_t* q, int n, const uint32_t* packed)
{
    const __m256i low = _mm256_set1_epi32(0x00FF00FF);
    const __m256i wBR = _mm256_set1_epi32(25 | 76 << 16), wG = _mm256_set1_epi32(155);
    int x = 0;
    for (; x + 8 <= n; x += 8)
    {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(q + x));
        const __m256i br = _mm256_and_si256(v, low), ga = _mm256_and_si256(_mm256_srli_epi32(v, 8), low);
        const __m256i y =
            _mm256_srli_epi32(_mm256_add_epi32(_mm256_madd_epi16(br, wBR), _mm256_madd_epi16(ga, wG)), 8);
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(q + x),
                            _mm256_i32gather_epi32(reinterpret_cast<const int*>(packed), y, 4));
    }
    return x;
}
} // namespace

LImgProGradientMap::LImgProGradientMap()
{
    for (int i = 0; i < 256; ++i)
        arColors[i] = LPixelColour(uint8_t(i), uint8_t(i), uint8_t(i), 255);
}

void LImgProGradientMap::FillColorArray(const LList<LGradientMarker>& list)
{
    std::vector<const LGradientMarker*> m;
    for (const LGradientMarker* p = list.GetFirst(); p; p = p->GetNextItem())
        m.push_back(p);
    if (m.empty())
    {
        *this = LImgProGradientMap();
        return;
    }
    std::stable_sort(m.begin(), m.end(),
                     [](const LGradientMarker* a, const LGradientMarker* b)
                     { return a->fPosition < b->fPosition; });
    size_t left = 0, right = m.size() > 1 ? 1 : 0;
    for (int i = 0; i < 256; ++i)
    {
        const float p = i / 256.0f;
        // One step per entry at most; past the last marker the pair closes on it.
        if (p > m[right]->fPosition)
        {
            left = right;
            if (right + 1 < m.size())
                ++right;
        }
        const LGradientMarker &l = *m[left], &r = *m[right];
        float f = 0;
        if (r.fPosition - l.fPosition > 0)
            f = std::max(0.0f, (p - l.fPosition) / (r.fPosition - l.fPosition));
        auto mix = [f](uint8_t a, uint8_t b)
        { return uint8_t(std::clamp(Round(a * (1 - f) + b * f), 0.0f, 255.0f)); };
        arColors[i] = LPixelColour(mix(l.oColour.b, r.oColour.b), mix(l.oColour.g, r.oColour.g),
                                   mix(l.oColour.r, r.oColour.r), 255);
    }
}

LProcessResult LImgProGradientMap::Process(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || pf > B5G5R5X1)
        return LProcessResultFailed;
    const int w = oImage.GetWidth();
    uint32_t packed[256];
    for (int i = 0; i < 256; ++i)
        packed[i] = arColors[i].ToUInt32();
    const LImageConstIterator::ReadFunc read = LGetPixelReadFunc(pf);
    const LImageIterator::WriteFunc write = LGetPixelWriteFunc(pf);
    const int bpp = LGetPixelFormatBits(pf) >> 3;
    const bool avx2 = HasAVX2();
    return LImgProForEachRow(
        oProcess, oImage.GetHeight(),
        [&](int y)
        {
            uint8_t* p = oImage.GetScanLine(y);
            if (pf == B8G8R8A8)
            {
                uint32_t* q = reinterpret_cast<uint32_t*>(p);
                for (int x = avx2 ? MapRowAVX2(q, w, packed) : 0; x < w; ++x)
                {
                    const uint32_t v = q[x];
                    q[x] = packed[((v >> 16 & 255) * 76 + (v >> 8 & 255) * 155 + (v & 255) * 25) >> 8];
                }
            }
            else if (pf == B8G8R8)
                for (int x = 0; x < w; ++x, p += 3)
                {
                    const LPixelColour& c = arColors[(p[2] * 76 + p[1] * 155 + p[0] * 25) >> 8];
                    p[0] = c.b;
                    p[1] = c.g;
                    p[2] = c.r;
                }
            else
                for (int x = 0; x < w; ++x, p += bpp)
                {
                    const LPixelColour c = read(p);
                    write(p, arColors[(c.r * 76 + c.g * 155 + c.b * 25) >> 8]);
                }
        },
        LImgProStopBeforeRow, 64);
}
