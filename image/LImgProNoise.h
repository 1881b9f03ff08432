#pragma once
// Noise reduction by non-local means: every pixel is averaged with the pixels of its search
// window, weighted by how alike the patches around the two are. Patch sums come from integral
// images, so the cost per pixel is independent of the patch size.

#include "image/LImageBuffer.h"

struct LImgProNoiseSettings
{
    float fNoise = 0.5f;
    float fSmoothing = 0.5f;
    int iPatchRadius = 3;
    int iSearchRadius = 10;
};

// Adds the contributions of one band of rows into the four sums (red, green, blue in 0..1, and
// the weights), W*H floats each. Only offsets with both steps from 0 to the search radius are
// visited, each serving both directions; patch sums are clamped to the band. Neighbour rows
// below the band go into lpSpill (search radius rows of W, four arrays after each other) when it
// is given, so that bands can run at once without sharing memory.
LProcessResult QDEffectRenderNoise(LProcessInterface& oProcess, int iFirstRow, int iRowCount,
                                   const LImageBuffer& oImage, float* lpRed, float* lpGreen, float* lpBlue,
                                   float* lpWeight, const LImgProNoiseSettings& oSettings,
                                   float* lpSpill = nullptr);

// The whole render: one band per processor, then each pixel becomes its weighted mean; alpha
// stays. Formats 0 and 1.
LProcessResult LImgProNoiseReduction(LProcessInterface& oProcess, LImageBuffer& oImage,
                                     const LImgProNoiseSettings& oSettings);
