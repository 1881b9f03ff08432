#include "foundation/LProcessInterface.h"
#include "foundation/LSignal.h"

#include <cerrno>
#include <time.h>
#include <unistd.h>

int LProcessInterfaceVoid::ProcessWait(int milliseconds)
{
    if (milliseconds < 0)
    {
        // Nothing can stop a void interface: a wait for ever is one.
        for (;;)
            pause();
    }
    timespec ts{milliseconds / 1000, (long)(milliseconds % 1000) * 1000000L};
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR)
    {
    }
    return 2;
}

int LProcessInterfaceVoid::ProcessWaitSignal(LSignalObject& signal, int milliseconds)
{
    return signal.Wait(milliseconds);
}

int LProcessInterfaceVoid::ProcessWaitSignalObjectGroup(LSignalObjectGroup& group, int milliseconds)
{
    return group.Wait(milliseconds) >= 0 ? 0 : 2;
}
