#pragma once
// Levels and Curves show their panels the picture that reaches them, as histograms. The render
// thread counts them at full resolution and posts a copy to the main thread, where the panels
// listen; a panel opened later asks for the last copy that arrived.

#include <atomic>
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

// Counting costs as much as the mapping itself, so an element counts only once a panel has asked
// for histograms; the command line and the batch, which show none, never pay for them.
class QDRenderInputHistograms : private LQueuedNotifyDataHandler
{
public:
    // Any thread: hands a copy to the main thread.
    void NotifyRenderInputChanged(const QDHistograms& histograms);
    // Main thread: the last copy that arrived, or null.
    const QDHistograms* GetHistograms() const { return pLatest.get(); }
    // Main thread. From the first notifyee on, every full-resolution render counts.
    void AddHistogramNotifyee(QDHistogramNotifyee* notifyee);
    void RemoveHistogramNotifyee(QDHistogramNotifyee* notifyee)
    {
        lHistogramNotifyees.RemoveNotifyee(notifyee);
    }
    // Any thread.
    bool IsHistogramWanted() const { return bWanted.load(std::memory_order_relaxed); }

private:
    LNotifierList<QDHistogramNotifyee> lHistogramNotifyees;
    std::atomic<bool> bWanted{false};

    void EvQueuedNotifyData(int code, void* data, size_t size) override;
    std::unique_ptr<QDHistograms> pLatest;
};

class LImgProChannelMap;

// Counts the four histograms of a picture of formats 0 to 4 on bands of rows; 1 when stopped.
// bMean false leaves the mean's counts at 0 and saves their time.
LProcessResult QDCountHistograms(LProcessInterface& process, const LImageBuffer& buffer, QDHistograms& out,
                                 bool bMean = true);

// Maps every pixel through the channel tables as LImgProMapChannels does and, when counts is
// given, counts the histograms of the picture as it was in the same pass: each row is counted
// while it is in the cache for its mapping, so the picture is read from memory once. 1 when
// stopped, with counts incomplete.
LProcessResult QDMapChannelsCounting(LProcessInterface& process, LImageBuffer& buffer,
                                     const LImgProChannelMap& map, QDHistograms* counts);
