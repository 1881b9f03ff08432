// quendrel-cli apply IN OUT EFFECT[:key=value,...] ...: a project made from IN with the effects
// appended in order, rendered at full resolution by the render thread and saved as OUT (format by
// extension).

#include <memory>
#include <vector>

#include "cli/QDCliCommand.h"
#include "cli/QDCliEngine.h"
#include "codecs/LImage.h"
#include "document/QDProject.h"

static int CmApply(int argc, char** argv)
{
    std::vector<char*> args(argv + 1, argv + argc);
    LImageEncodeSettings settings;
    if (!QDCliTakeEncodeOptions(args, settings))
        return 2;
    if (args.size() < 2)
        return QDCliUsage();
    QDCliEngine engine;
    QDCliProcess process;
    if (!engine.IsReady())
        return process.Fail("The picture cache could not be made.");
    std::vector<QDCliEffectArgument> effects;
    if (!engine.ParseEffects(int(args.size()) - 2, args.data() + 2, effects))
        return 2;
    std::unique_ptr<QDProject> project(engine.MakeProject(process, args[0], effects));
    if (!project)
        return process.Fail("The image could not be loaded.");
    LImageBuffer image;
    if (!engine.Render(process, *project, image))
        return process.Fail("Image render failed.");
    if (!LImage::Save(process, image, &project->metadata, args[1], settings))
        return process.Fail("The image could not be saved");
    return 0;
}

static QDCliCommandRegistrar registrar("apply", "apply IN OUT EFFECT[:key=value,...] ... [--quality N]",
                                       CmApply);
