#pragma once
// What the project commands of quendrel-cli share: the engine set up for one run (a private
// picture cache, so a run never touches the desktop program's, and the catalogue's factories),
// effects named on the command line, projects made from an image, and a render through the
// program's own render thread.

#include <string>
#include <vector>

#include "cli/QDCliProcess.h"
#include "effects/QDEffectCatalogue.h"
#include "image/LImageBuffer.h"

class QDProject;

// blur:radius=20,type=1 as read: the factory, the values by table row, and the properties given
// as text (curves:rgb=0/0+64/48+255/255) by name.
struct QDCliEffectArgument
{
    QDEffectFactory* lpFactory = nullptr;
    std::vector<std::pair<size_t, double>> vValues;
    std::vector<std::pair<std::string, std::string>> vTexts;
};

class QDCliEngine
{
public:
    // bPrivateData also keeps the user's data folder out of the run (no recovery file is wanted
    // there); a scripted run that tests recovery keeps the folder it was given.
    explicit QDCliEngine(bool bPrivateData = true);
    ~QDCliEngine();
    QDCliEngine(const QDCliEngine&) = delete;
    QDCliEngine& operator=(const QDCliEngine&) = delete;

    bool IsReady() const { return bReady; }

    // Reads EFFECT[:key=value,...] arguments; on a mistake prints what is valid and returns false.
    bool ParseEffects(int argc, char** argv, std::vector<QDCliEffectArgument>& effects) const;
    // A project holding the image at path and the effects, with their values; null on failure
    // (message on process).
    QDProject* MakeProject(QDCliProcess& process, const char* path,
                           const std::vector<QDCliEffectArgument>& effects);
    // Renders the project at full resolution on the render thread and takes the picture.
    bool Render(QDCliProcess& process, QDProject& project, LImageBuffer& out);

    QDEffectCatalogue catalogue;

private:
    std::string szRoot;
    bool bReady = false;
};

// Options shared by the commands that write an image: --quality N for JPEG. Removes them from
// args; false on a bad option.
struct LImageEncodeSettings;
bool QDCliTakeEncodeOptions(std::vector<char*>& args, LImageEncodeSettings& settings);
