#pragma once
// The one record of every per-format save option, copied by value.

#include "image/LImageBuffer.h"

struct LCODEC_JPEG_EncodeSettings
{
    int iQuality = 100; // 0 to 100
    void SetQuality(int q) { iQuality = q > 100 ? 100 : q; }
};

struct LCODEC_JPEG2000_EncodeSettings
{
    int iMode = 1;     // 0 lossless, 1 lossy
    int iQuality = 90; // compression rate 0 to 100, lossy only
};

struct LCODEC_BMP_EncodeSettings
{
    enum PixelFormatType : int
    {
        Bits24 = 0,
        Bits32 = 1,
    };
    int PixelFormat = Bits24;
    // What transparent pixels are blended on when writing 24 bits; never persisted.
    LPixelColour BackgroundColour = LPixelColour(255, 255, 255, 255);

    void SetPixelFormat(int pf)
    {
        if (pf <= 1)
            PixelFormat = pf;
    }
    LPixelColour GetBackgroundColour() const { return BackgroundColour; }
};

struct LCODEC_PNM_EncodeSettings
{
    // Index in the list of variants: 0 Monochrome Plain, 1 Greyscale Plain, 2 RGB Plain,
    // 3 Monochrome Binary, 4 Grayscale Binary, 5 RGB Binary.
    int iType = 5;
    int iBinThreshold = 32;
};

struct LCODEC_WebP_EncodeSettings
{
    int iQuality = 90; // 1 to 100
};

struct LCODEC_AVIF_EncodeSettings
{
    int iQuality = 60; // 0 to 100; 100 is lossless
    int iSpeed = 6;    // 0 slowest and smallest to 10 fastest
};

struct LCODEC_JXL_EncodeSettings
{
    int iMode = 1;     // 0 lossless, 1 lossy
    int iQuality = 90; // 0 to 99, lossy only; 90 is a visually lossless distance of 1
};

struct LCODEC_HEIC_EncodeSettings
{
    int iQuality = 75; // 0 to 100
};

struct LImageEncodeSettings
{
    LCODEC_JPEG_EncodeSettings jpeg;
    LCODEC_JPEG2000_EncodeSettings jpeg2000;
    LCODEC_BMP_EncodeSettings bmp;
    LCODEC_PNM_EncodeSettings pnm;
    LCODEC_WebP_EncodeSettings webp;
    LCODEC_AVIF_EncodeSettings avif;
    LCODEC_JXL_EncodeSettings jxl;
    LCODEC_HEIC_EncodeSettings heic;

    // Read and write the user settings under section, with the clamps on loading.
    void Load(const char* section);
    void Save(const char* section) const;
};
