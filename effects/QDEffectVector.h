#pragma once
// Vector paths of the per-pixel effects: AVX2 code is compiled for its own functions and chosen
// at run time, so the program still runs on processors without it. Each such path repeats its
// scalar form's operations in the same order, so both give the same bytes.

#include <immintrin.h>

#include <cstdint>

#define QD_AVX2 __attribute__((target("avx2")))

// Whether the vector paths run; tests switch them off to compare with the plain form.
bool QDUseVectorPaths();
void QDSetVectorPaths(bool bEnabled);

// Eight B8G8R8A8 pixels as blue, green and red in 32-bit lanes.
QD_AVX2 inline void QDSplit8(__m256i px, __m256i& b, __m256i& g, __m256i& r)
{
    const __m256i byte = _mm256_set1_epi32(0xFF);
    b = _mm256_and_si256(px, byte);
    g = _mm256_and_si256(_mm256_srli_epi32(px, 8), byte);
    r = _mm256_and_si256(_mm256_srli_epi32(px, 16), byte);
}

// Channels in 0..255 back into pixels, alpha taken from the top byte of alpha.
QD_AVX2 inline __m256i QDJoin8(__m256i alpha, __m256i b, __m256i g, __m256i r)
{
    const __m256i a = _mm256_andnot_si256(_mm256_set1_epi32(0x00FFFFFF), alpha);
    return _mm256_or_si256(_mm256_or_si256(a, _mm256_slli_epi32(r, 16)),
                           _mm256_or_si256(_mm256_slli_epi32(g, 8), b));
}

// table[i] of a table of 32-bit values.
QD_AVX2 inline __m256i QDLookup8(const int32_t* table, __m256i i)
{
    return _mm256_i32gather_epi32(reinterpret_cast<const int*>(table), i, 4);
}

// bytes[i] of a byte table that has three bytes to spare after its last entry.
QD_AVX2 inline __m256i QDLookupBytes8(const uint8_t* bytes, __m256i i)
{
    return _mm256_and_si256(_mm256_i32gather_epi32(reinterpret_cast<const int*>(bytes), i, 1),
                            _mm256_set1_epi32(0xFF));
}
