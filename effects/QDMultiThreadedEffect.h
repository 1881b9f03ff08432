#pragma once
// A second base for effects that treat every pixel alike: Render gets an iterator over one band of
// rows and the frame runs one band per processor. The bands share nothing but the effect's
// constant state and disjoint rows of the buffer, so they take no lock; Render looks at neither
// cancellation nor progress, the caller does afterwards (FinishRender).

#include "document/LBoundingBox2.h"
#include "foundation/LProcessInterface.h"
#include "image/LImageBuffer.h"

class QDMultiThreadedEffect
{
public:
    virtual ~QDMultiThreadedEffect() = default;

    // Treats every pixel the iterator yields. Constants belong in members set before the call;
    // nothing is allocated here.
    virtual void Render(LImageIterator& iterator) const = 0;

    // Rows of the box (top-down image rows, the box's full width) split into min(processors,
    // height) bands; an empty box makes no thread.
    void RenderMultiThreaded(LImageBuffer& buffer, const LBoundingBox2T<int>& box) const;
    void RenderMultiThreaded(LImageBuffer& buffer) const;

    // The simple effects' ending: 1 when stopped, 2 with "Out of memory" for an invalid buffer,
    // else progress 1.0 and 0.
    static LProcessResult FinishRender(LProcessInterface& process, const LImageBuffer& buffer);
};

// The iterator over rows [first, first + count) of the box, in memory order within the band.
LImageIterator QDMakeBandIterator(LImageBuffer& buffer, const LBoundingBox2T<int>& box, int first, int count);
