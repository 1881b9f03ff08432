// quendrel-cli convert IN OUT [options]: reads any readable format and writes any format that has
// an encoder; the output format follows OUT's extension.

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "cli/QDCliCommand.h"
#include "cli/QDCliProcess.h"
#include "codecs/LImage.h"

static bool ParseInt(const char* text, int low, int high, int& out)
{
    if (!text || !*text)
        return false;
    char* end = nullptr;
    const long v = strtol(text, &end, 10);
    if (*end || v < low || v > high)
        return false;
    out = int(v);
    return true;
}

static int CmConvert(int argc, char** argv)
{
    if (argc < 3)
        return QDCliUsage();
    LImageEncodeSettings settings;
    for (int i = 3; i < argc; ++i)
    {
        const char* o = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        int v = 0;
        if (strcmp(o, "--jp2-lossless") == 0)
            settings.jpeg2000.iMode = 0;
        else if (strcmp(o, "--bmp32") == 0)
            settings.bmp.SetPixelFormat(LCODEC_BMP_EncodeSettings::Bits32);
        else if (strcmp(o, "--quality") == 0 && ParseInt(value, 0, 100, v))
            settings.jpeg.SetQuality(v), ++i;
        else if (strcmp(o, "--jp2-quality") == 0 && ParseInt(value, 0, 100, v))
            settings.jpeg2000.iMode = 1, settings.jpeg2000.iQuality = v, ++i;
        else if (strcmp(o, "--pnm-type") == 0 && ParseInt(value, 0, 5, v))
            settings.pnm.iType = v, ++i;
        else if (strcmp(o, "--pnm-threshold") == 0 && ParseInt(value, 0, 255, v))
            settings.pnm.iBinThreshold = v, ++i;
        else if (strcmp(o, "--webp-quality") == 0 && ParseInt(value, 1, 100, v))
            settings.webp.iQuality = v, ++i;
        else if (strcmp(o, "--avif-quality") == 0 && ParseInt(value, 0, 100, v))
            settings.avif.iQuality = v, ++i;
        else if (strcmp(o, "--avif-speed") == 0 && ParseInt(value, 0, 10, v))
            settings.avif.iSpeed = v, ++i;
        else if (strcmp(o, "--jxl-lossless") == 0)
            settings.jxl.iMode = 0;
        else if (strcmp(o, "--jxl-quality") == 0 && ParseInt(value, 0, 99, v))
            settings.jxl.iMode = 1, settings.jxl.iQuality = v, ++i;
        else if (strcmp(o, "--heic-quality") == 0 && ParseInt(value, 0, 100, v))
            settings.heic.iQuality = v, ++i;
        else
        {
            fprintf(stderr, "quendrel-cli convert: bad option %s\n", o);
            return QDCliUsage();
        }
    }
    QDCliProcess process;
    LImageBuffer image;
    LImageMetadata metadata;
    if (LImage::Load(process, image, metadata, argv[1]) == 0)
        return process.Fail("The image could not be loaded.");
    // No vetoer: every encoder that exists is reachable from here.
    if (!LImage::Save(process, image, &metadata, argv[2], settings))
        return process.Fail("The image could not be saved");
    return 0;
}

static QDCliCommandRegistrar
    registrar("convert",
              "convert IN OUT [--quality N] [--jp2-lossless] [--jp2-quality N] [--bmp32] [--pnm-type N] "
              "[--pnm-threshold N] [--webp-quality N] [--avif-quality N] [--avif-speed N] [--jxl-lossless] "
              "[--jxl-quality N] [--heic-quality N]",
              CmConvert);
