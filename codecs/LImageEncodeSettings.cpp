#include "codecs/LImageEncodeSettings.h"

#include "foundation/LUserSettings.h"

// A stored value outside the range falls back to the default, as the classic keys do.
static int Clamped(const char* section, const char* key, int def, int lo, int hi)
{
    const int v = LUserSettingGet(section, key, def);
    return v < lo || v > hi ? def : v;
}

void LImageEncodeSettings::Load(const char* section)
{
    int v = LUserSettingGet(section, "JPEGQuality", 100);
    jpeg.iQuality = v < 0 || v > 100 ? 100 : v;
    v = LUserSettingGet(section, "JPEG2000Mode", 1);
    jpeg2000.iMode = v < 0 || v > 1 ? 1 : v;
    v = LUserSettingGet(section, "JPEG2000Quality", 90);
    jpeg2000.iQuality = v < 0 || v > 100 ? 90 : v;
    bmp.PixelFormat = LUserSettingGet(section, "BMPPixelFormat", 0);
    pnm.iType = LUserSettingGet(section, "PNMType", 5);
    pnm.iBinThreshold = LUserSettingGet(section, "PNMBinThreshold", 32);
    webp.iQuality = LUserSettingGet(section, "WebPQuality", 90);
    avif.iQuality = Clamped(section, "AVIFQuality", 60, 0, 100);
    avif.iSpeed = Clamped(section, "AVIFSpeed", 6, 0, 10);
    jxl.iMode = Clamped(section, "JXLMode", 1, 0, 1);
    jxl.iQuality = Clamped(section, "JXLQuality", 90, 0, 99);
    heic.iQuality = Clamped(section, "HEICQuality", 75, 0, 100);
}

void LImageEncodeSettings::Save(const char* section) const
{
    // The BMP background belongs to the moment of saving and is never kept.
    LUserSettingSet(section, "JPEGQuality", jpeg.iQuality);
    LUserSettingSet(section, "JPEG2000Mode", jpeg2000.iMode);
    LUserSettingSet(section, "JPEG2000Quality", jpeg2000.iQuality);
    LUserSettingSet(section, "BMPPixelFormat", bmp.PixelFormat);
    LUserSettingSet(section, "PNMType", pnm.iType);
    LUserSettingSet(section, "PNMBinThreshold", pnm.iBinThreshold);
    LUserSettingSet(section, "WebPQuality", webp.iQuality);
    LUserSettingSet(section, "AVIFQuality", avif.iQuality);
    LUserSettingSet(section, "AVIFSpeed", avif.iSpeed);
    LUserSettingSet(section, "JXLMode", jxl.iMode);
    LUserSettingSet(section, "JXLQuality", jxl.iQuality);
    LUserSettingSet(section, "HEICQuality", heic.iQuality);
}
