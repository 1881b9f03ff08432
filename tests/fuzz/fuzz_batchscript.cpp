// The batch script reader on arbitrary bytes: chunk sizes, nesting, type keys and property chunks
// all come from the input. Reading must end in 0, 1 or 2, never a crash, and allocate no more
// than the input can justify.

#include <cstdint>
#include <cstdlib>

#include "batch/QDBatchScript.h"
#include "effects/QDEffectCatalogue.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static QDEffectCatalogue* catalogue = []
    {
        auto* c = new QDEffectCatalogue;
        c->Register();
        return c;
    }();
    LProcessInterfaceVoid process;
    LList<QDImagePipelineElement> elements;
    const LProcessResult r = QDBatchScriptLoadMemory(process, data, size, catalogue->vBatchFactories,
                                                     &catalogue->lFactories, elements);
    if (r != LProcessResultSuccess && !elements.IsEmpty())
        abort(); // a refused script leaves nothing behind
    return 0;
}
