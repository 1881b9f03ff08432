#include "effects/QDEffectFocusFix.h"

#include "effects/QDEffectCatalogue.h"

const char* QDEffectFocusFix::GetTypeIdentifier() const
{
    return QDEffectTypeIdentifier(6061);
}

const char* QDEffectFocusFix::GetName() const
{
    return QDEffectElementName(6061);
}
