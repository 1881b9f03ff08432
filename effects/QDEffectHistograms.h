#pragma once
// Levels and Curves show their panels the picture that reaches them, as histograms. The render
// thread counts them at full resolution and posts a copy to the main thread, where the panels
// listen; a panel opened later asks for the last copy that arrived.

#include <cstdint>
#include <memory>

#include "foundation/LNotifier.h"
#include "foundation/LThreadRunOnMainThread.h"
#include "image/LImageBuffer.h"

struct QDHistograms
{
    enum
    {
        Mean = 0, // (R + G + B) / 3 in integers
        Red = 1,
        Green = 2,
        Blue = 3,
    };
    uint64_t arCounts[4][256];
};

class QDHistogramNotifyee
{
public:
    virtual ~QDHistogramNotifyee() = default;
    virtual void EvHistogramsChanged(const QDHistograms& histograms) = 0;
};

class QDRenderInputHistograms : private LQueuedNotifyDataHandler
{
public:
    // Any thread: hands a copy to the main thread.
    void NotifyRenderInputChanged(const QDHistograms& histograms);
    // Main thread: the last copy that arrived, or null.
    const QDHistograms* GetHistograms() const { return pLatest.get(); }

    LNotifierList<QDHistogramNotifyee> lHistogramNotifyees;

private:
    void EvQueuedNotifyData(int code, void* data, size_t size) override;
    std::unique_ptr<QDHistograms> pLatest;
};

// Counts the four histograms of a picture of formats 0 to 4 on bands of rows; 1 when stopped.
LProcessResult QDCountHistograms(LProcessInterface& process, const LImageBuffer& buffer, QDHistograms& out);
