// quendrel-cli project IN OUT.qdj EFFECT[:key=value,...] ...: writes the project that apply would
// render, as a project file.

#include <memory>
#include <vector>

#include "cli/QDCliCommand.h"
#include "cli/QDCliEngine.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"

static int CmProject(int argc, char** argv)
{
    if (argc < 3)
        return QDCliUsage();
    QDCliEngine engine;
    QDCliProcess process;
    if (!engine.IsReady())
        return process.Fail("The picture cache could not be made.");
    std::vector<QDCliEffectArgument> effects;
    if (!engine.ParseEffects(argc - 3, argv + 3, effects))
        return 2;
    std::unique_ptr<QDProject> project(engine.MakeProject(process, argv[1], effects));
    if (!project)
        return process.Fail("The image could not be loaded.");
    const LProcessResult r = QDProjectFileSave(process, *project, argv[2]);
    return r == LProcessResultSuccess     ? 0
           : r == LProcessResultCancelled ? 1
                                          : process.Fail("File could not be written.");
}

static QDCliCommandRegistrar registrar("project", "project IN OUT.qdj EFFECT[:key=value,...] ...", CmProject);
