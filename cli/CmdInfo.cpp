// quendrel-cli info FILE: size, bit depth and format of an image file.

#include <cstdio>

#include "cli/QDCliCommand.h"
#include "cli/QDCliProcess.h"
#include "codecs/LImage.h"

static int CmInfo(int argc, char** argv)
{
    if (argc != 2)
        return QDCliUsage();
    QDCliProcess process;
    LImageBuffer image;
    const int depth = LImage::Load(process, image, argv[1]);
    if (depth == 0)
        return process.Fail("The image could not be loaded.");
    LImageCodec codec;
    codec.InitFromFilePath(argv[1]);
    printf("%dx%d %d %s\n", image.GetWidth(), image.GetHeight(), depth, codec.GetName());
    return 0;
}

static QDCliCommandRegistrar registrar("info", "info FILE", CmInfo);
