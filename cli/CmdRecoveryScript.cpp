// quendrel-cli recovery-script IN COUNT: COUNT scripted edits on a project made from IN, each
// rendered by the render thread with the recovery file on, "rendered K" printed after render K.
// For the test that kills the program at random moments; hidden from the usage text. The recovery
// file goes to the data folder of the environment (XDG_DATA_HOME).

#include <cstdio>
#include <cstdlib>
#include <memory>

#include "cli/QDCliCommand.h"
#include "cli/QDCliEngine.h"
#include "cli/QDCliRecoveryScript.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

static int CmRecoveryScript(int argc, char** argv)
{
    if (argc != 3)
        return QDCliUsage();
    const int count = atoi(argv[2]);
    QDCliEngine engine(false);
    QDCliProcess process;
    if (!engine.IsReady())
        return process.Fail("The picture cache could not be made.");
    std::unique_ptr<QDProject> project(engine.MakeProject(process, argv[1], {}));
    if (!project)
        return process.Fail("The image could not be loaded.");
    QDProjectFileEnableRecovery(true);
    QDProject* projects = project.get();
    QDImagePipelineElementProcessingThread thread(&projects);
    QDWrappedPropertiesElement* first = nullptr;
    for (int k = 1; k <= count; ++k)
    {
        const QDCliScriptEdit edit = QDCliScriptEditAt(k);
        QDWrappedPropertiesElement* target = first;
        if (edit.bAdd)
        {
            QDEffectFactory* factory = engine.catalogue.MapTypeIdToEffectFactory(edit.szType);
            target = dynamic_cast<QDWrappedPropertiesElement*>(factory->CreateLayer(*project, nullptr, true));
            if (!first)
                first = target;
        }
        if (!target)
            return process.Fail("The script's effect is missing.");
        target->SetPropertyValue(size_t(target->GetPropertyTable().FindByName(edit.szProperty)), edit.dValue,
                                 true);
        project->bRenderRequested = true;
        thread.SetCurrentProjectAndStart(project.get());
        thread.WaitToStop();
        printf("rendered %d\n", k);
        fflush(stdout);
    }
    return 0;
}

static QDCliCommandRegistrar registrar("recovery-script", nullptr, CmRecoveryScript);
