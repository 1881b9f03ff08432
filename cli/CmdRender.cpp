// quendrel-cli render PROJECT.qdj OUT: loads a project file, renders it at full resolution and
// saves the picture.

#include <memory>
#include <vector>

#include "cli/QDCliCommand.h"
#include "cli/QDCliEngine.h"
#include "codecs/LImage.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"

static int CmRender(int argc, char** argv)
{
    std::vector<char*> args(argv + 1, argv + argc);
    LImageEncodeSettings settings;
    if (!QDCliTakeEncodeOptions(args, settings))
        return 2;
    if (args.size() != 2)
        return QDCliUsage();
    QDCliEngine engine;
    QDCliProcess process;
    if (!engine.IsReady())
        return process.Fail("The picture cache could not be made.");
    // The size is the loaded original's; this one only stands until then.
    auto project = std::make_unique<QDProject>(1024, 768);
    const LProcessResult r =
        QDProjectFileLoad(process, *project, nullptr, args[0], engine.catalogue.lFactories);
    if (r != LProcessResultSuccess)
        return r == LProcessResultCancelled ? 1 : process.Fail("The project file could not be read.");
    LImageBuffer image;
    if (!engine.Render(process, *project, image))
        return process.Fail("Image render failed.");
    if (!LImage::Save(process, image, &project->metadata, args[1], settings))
        return process.Fail("The image could not be saved");
    return 0;
}

static QDCliCommandRegistrar registrar("render", "render PROJECT.qdj OUT [--quality N]", CmRender);
