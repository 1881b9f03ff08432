// The project-file reader on arbitrary bytes: every chunk size, nesting depth, type key and
// embedded PNG comes from the input. Loading into a project must end in 0, 1 or 2, never a crash,
// and allocate no more than the input can justify.

#include <cstdint>
#include <cstdlib>
#include <string>

#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectCatalogue.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QDEffectCatalogue* catalogue = []
    {
        // The picture cache and data folder of a fuzzing run are its own.
        static std::string root = "/tmp/quendrel-fuzz-project-XXXXXX";
        if (mkdtemp(root.data()))
        {
            setenv("XDG_CACHE_HOME", root.c_str(), 1);
            setenv("XDG_DATA_HOME", root.c_str(), 1);
        }
        auto* c = new QDEffectCatalogue;
        c->Register();
        return c;
    }();
    QDProject project(1024, 768);
    LProcessInterfaceVoid process;
    (void)QDProjectFileLoadMemory(process, project, nullptr, data, size, catalogue->lFactories);
    return 0;
}
