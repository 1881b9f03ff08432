#include "platform/gui/LPlatformGui.h"

#include <cstdlib>

namespace
{
bool IsSet(const char* name)
{
    const char* value = getenv(name);
    return value && *value;
}
} // namespace

bool LPlatformHasDisplay()
{
    // Without any of these Qt aborts inside its platform plugin, with a page of advice.
    return IsSet("QT_QPA_PLATFORM") || IsSet("DISPLAY") || IsSet("WAYLAND_DISPLAY");
}
