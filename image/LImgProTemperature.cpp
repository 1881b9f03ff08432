#include "image/LImgProTemperature.h"

#include <immintrin.h>

#include <algorithm>

#include "image/LImgProRowLoop.h"

void LImgProTemperature::SetTemperature(int t)
{
    iTemperature = t;
    if (t == 0)
        return;
    auto low = [](int v) { return uint8_t(v & 0xFF); };
    if (t < 0)
    {
        m0 = low(((t * 155) >> 7) - 1);
        m1 = m2 = low((t * -77) >> 7);
        m3 = 0;
        m4 = low(((t * 25) >> 6) - 1);
        m5 = low((t * -50) >> 7);
        m6 = m7 = 0;
        m8 = 255;
    }
    else
    {
        m0 = 255;
        m1 = m2 = 0;
        m3 = low((t * 50) >> 7);
        m4 = low(255 - ((t * 50) >> 7));
        m5 = 0;
        m6 = m7 = low((t * 77) >> 7);
        m8 = low(255 - ((t * 155) >> 7));
    }
}

namespace
{
// Each input channel's three products in one 64-bit word, 21 bits apart: the sums of three
// products stay below 2^18, so one addition does all three dot products without carries.
struct PackedMatrix
{
    uint64_t arRed[256], arGreen[256], arBlue[256];

    explicit PackedMatrix(const LImgProTemperature& k)
    {
        for (uint64_t v = 0; v < 256; ++v)
        {
            arRed[v] = k.m0 * v | (k.m1 * v) << 21 | (k.m2 * v) << 42;
            arGreen[v] = k.m3 * v | (k.m4 * v) << 21 | (k.m5 * v) << 42;
            arBlue[v] = k.m6 * v | (k.m7 * v) << 21 | (k.m8 * v) << 42;
        }
    }
    static uint8_t Channel(uint64_t sum, int shift)
    {
        return uint8_t(std::min<uint64_t>(((sum >> shift) & 0x1FFFFF) >> 8, 255));
    }
};

bool HasAVX2()
{
    static const bool b = __builtin_cpu_supports("avx2");
    return b;
}

// One output channel of eight pixels: blue with red, and green with alpha, as 16-bit pairs, so that
// it is two multiply-adds, shifted and capped.
__attribute__((target("avx2"))) inline __m256i Channel(__m256i br, __m256i ga, int wb, int wr, int wg)
{
    const __m256i sum = _mm256_add_epi32(_mm256_madd_epi16(br, _mm256_set1_epi32(wb | wr << 16)),
                                         _mm256_madd_epi16(ga, _mm256_set1_epi32(wg)));
    return _mm256_min_epi32(_mm256_srli_epi32(sum, 8), _mm256_set1_epi32(255));
}

// Eight 32-bit pixels at a time; returns the pixels done.
__attribute__((target("avx2"))) int TemperatureRowAVX2(const LImgProTemperature& k, uint32_t* q, int n)
{
    const __m256i low = _mm256_set1_epi32(0x00FF00FF), alpha = _mm256_set1_epi32(int(0xFF000000u));
    int x = 0;
    for (; x + 8 <= n; x += 8)
    {
        const __m256i v = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(q + x));
        const __m256i br = _mm256_and_si256(v, low), ga = _mm256_and_si256(_mm256_srli_epi32(v, 8), low);
        const __m256i r = Channel(br, ga, k.m6, k.m0, k.m3), g = Channel(br, ga, k.m7, k.m1, k.m4),
                      b = Channel(br, ga, k.m8, k.m2, k.m5);
        const __m256i out =
            _mm256_or_si256(_mm256_or_si256(_mm256_and_si256(v, alpha), _mm256_slli_epi32(r, 16)),
                            _mm256_or_si256(_mm256_slli_epi32(g, 8), b));
        _mm256_storeu_si256(reinterpret_cast<__m256i*>(q + x), out);
    }
    return x;
}

template <int bpp>
void TemperatureRow(const PackedMatrix& m, uint8_t* p, int n)
{
    for (int x = 0; x < n; ++x, p += bpp)
    {
        const uint64_t sum = m.arRed[p[2]] + m.arGreen[p[1]] + m.arBlue[p[0]];
        p[2] = PackedMatrix::Channel(sum, 0);
        p[1] = PackedMatrix::Channel(sum, 21);
        p[0] = PackedMatrix::Channel(sum, 42);
    }
}
} // namespace

LProcessResult LImgProTemperature::Process(LProcessInterface& oProcess, LImageBuffer& oImage) const
{
    const pixelformat_t pf = oImage.GetPixelFormat();
    if (!oImage.IsValid() || (pf != B8G8R8A8 && pf != B8G8R8))
        return LProcessResultFailed;
    if (iTemperature == 0)
    {
        oProcess.SetProgress(1.0);
        return LProcessResultSuccess;
    }
    oProcess.SetProgress(0.0);
    const int w = oImage.GetWidth();
    const PackedMatrix m(*this);
    const bool avx2 = HasAVX2();
    return LImgProForEachRow(
        oProcess, oImage.GetHeight(),
        [&](int y)
        {
            uint8_t* row = oImage.GetRow(y);
            if (pf == B8G8R8A8)
            {
                const int done = avx2 ? TemperatureRowAVX2(*this, reinterpret_cast<uint32_t*>(row), w) : 0;
                TemperatureRow<4>(m, row + 4 * done, w - done);
            }
            else
                TemperatureRow<3>(m, oImage.GetRow(y), w);
        },
        LImgProStopAfterRow, 64);
}
