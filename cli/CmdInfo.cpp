// quendrel-cli info FILE [--metadata]: size, bit depth and format of an image file, and with
// --metadata the photo information it carries, one "key = value" line each.

#include <cstdio>
#include <cstring>
#include <string>

#include "cli/QDCliCommand.h"
#include "cli/QDCliProcess.h"
#include "codecs/LImage.h"

static int CmInfo(int argc, char** argv)
{
    const bool withMetadata = argc == 3 && strcmp(argv[2], "--metadata") == 0;
    if (argc != 2 && !withMetadata)
        return QDCliUsage();
    QDCliProcess process;
    LImageBuffer image;
    LImageMetadata metadata;
    const int depth = LImage::Load(process, image, metadata, argv[1]);
    if (depth == 0)
        return process.Fail("The image could not be loaded.");
    LImageCodec codec;
    codec.InitFromFilePath(argv[1]);
    printf("%dx%d %d %s\n", image.GetWidth(), image.GetHeight(), depth, codec.GetName());
    if (withMetadata)
    {
        std::string text;
        // A block the parser refuses is still named, so that its presence shows.
        if (!LImageMetadataDescribe(metadata, text))
            text += "(some photo information is damaged)\n";
        if (metadata.IsEmpty())
            text = "(no photo information)\n";
        fputs(text.c_str(), stdout);
    }
    return 0;
}

static QDCliCommandRegistrar registrar("info", "info FILE [--metadata]", CmInfo);
