#pragma once
// DNG and the camera raw families through LibRaw. The codec id travels with the data so that the
// status names the family; LibRaw itself recognises the camera from the content.
// Failure is result 2 with no message of its own; the registry words it.

#include "codecs/LCodecCommon.h"
#include "codecs/LImageCodec.h"
#include "foundation/LMainLoop.h"
#include "foundation/LProcessThread.h"

template <class Base>
struct LProcessCamRAWLoad
{
    LInputStream<Base>* lpStream = nullptr;
    LImageCodecID codec = LImageCodecRAW;
    LImageBuffer* lpImage = nullptr;
    int iBitDepth = 0; // of the file, set on success
};

// Develops the raw data with the camera's white balance into sRGB, upright, as B8G8R8A8.
LProcessResult LCodecCamRAWDecode(LProcessInterface& process, LCodecReader& input, LImageCodecID codec,
                                  LImageBuffer& image, int& bitDepth);

// The decode on a worker, for a caller on the main thread.
template <class Base>
struct LProcessCamRAWLoadOnThread
{
    LProcessCamRAWLoad<Base>* lpData;
};

template <class Base>
LProcessResult LProcessCamRAWLoadDirect(LProcessInterface& process, LProcessCamRAWLoad<Base>& data)
{
    if (!data.lpStream || !data.lpImage)
        return LProcessResultFailed;
    LCodecReaderOf<Base> input(*data.lpStream);
    return LCodecCamRAWDecode(process, input, data.codec, *data.lpImage, data.iBitDepth);
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessCamRAWLoadOnThread<Base>& data)
{
    return LProcessCamRAWLoadDirect(process, *data.lpData);
}

template <class Base>
LProcessResult Process(LProcessInterface& process, LProcessCamRAWLoad<Base>& data)
{
    // Developing a raw file takes seconds inside the library, which can't pump events; on the
    // main thread it runs on a worker while the main thread keeps serving them.
    if (LMainLoopIsMainThread() && LMainLoopIsAlive())
    {
        LProcessCamRAWLoadOnThread<Base> onThread{&data};
        LProcessThread<LProcessCamRAWLoadOnThread<Base>> worker(process, onThread);
        if (!worker.Start(LThreadPriorityNormal))
            return LProcessCamRAWLoadDirect(process, data);
        for (;;)
        {
            const int w = process.ProcessWaitSignal(worker.soFinished, 100);
            // A stop is honoured even when the worker finished meanwhile: the user asked for it.
            if (w == 1)
            {
                // The library notices the stop at its next stage; until then events keep flowing.
                process.SetStatus("Waiting for the process to stop", 0);
                worker.StopThreadSoon();
                while (worker.IsRunning())
                    LMainLoopProcessEvents(10);
                worker.WaitToStop();
                worker.DrainNotifications();
                data.lpImage->Destroy();
                return LProcessResultCancelled;
            }
            if (w == 0 || !worker.IsRunning())
                break;
        }
        worker.WaitToStop();
        worker.DrainNotifications();
        return worker.iResult;
    }
    return LProcessCamRAWLoadDirect(process, data);
}
