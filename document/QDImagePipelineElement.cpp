#include "document/QDImagePipelineElement.h"

#include <cmath>

#include "document/LQDCacheStore.h"
#include "image/LImageBuffer.h"

QDImagePipelineElement::~QDImagePipelineElement()
{
    LQDCacheInvalidate(iHighResCacheId);
    LQDCacheInvalidate(iLowResCacheId);
}

LProcessResult QDImagePipelineElement::SDFWriteElement(LProcessInterface&, LSDFFileWriter& writer)
{
    return writer.WriteString(3, GetTypeIdentifier()) ? LProcessResultSuccess : LProcessResultFailed;
}

LProcessResult QDImagePipelineElement::SDFLoadProperties(LProcessInterface& process, LSDFMemoryReader& reader,
                                                         const LSDFMemoryChunk& chunk,
                                                         const LList<QDEffectFactory>&)
{
    return SDFLoadProperties(process, reader, chunk);
}

LProcessResult QDImagePipelineElement::SDFLoadProperties(LProcessInterface&, LSDFMemoryReader&,
                                                         const LSDFMemoryChunk&)
{
    return LProcessResultSuccess;
}

bool QDImagePipelineElement::GetPointTransformed(int& x, int& y) const
{
    const double* t = adTransform;
    double dx = double(x) - double(iWidth >> 1);
    double dy = double(iHeight >> 1) - double(y);
    long xt = std::lround(t[0] * dx + t[1] * dy + t[2]);
    long yt = std::lround(t[3] * dx + t[4] * dy + t[5]);
    long w = long(GetWidth()), h = long(GetHeight());
    long nx = xt + (w >> 1);
    long ny = (h >> 1) - yt;
    x = int(nx);
    y = int(ny);
    return nx >= 0 && nx < w && ny >= 0 && ny < h;
}

void QDImagePipelineElement::SetDirty()
{
    // Before the invalidation: a render that stores after it must see the counter moved.
    iChangeCounter.fetch_add(1, std::memory_order_acq_rel);
    LQDCacheInvalidate(iLowResCacheId);
    LQDCacheInvalidate(iHighResCacheId);
}

static uint32_t ClampDimension(double v)
{
    if (!(v > 0))
        return 0;
    if (v >= 4294967295.0)
        return 4294967295u;
    return uint32_t(v);
}

void QDImagePipelineElement::SetDimensions(const LBoundingBox2T<double>& box)
{
    iWidth = ClampDimension(box.GetWidth());
    iHeight = ClampDimension(box.GetHeight());
}

bool QDImagePipelineElement::DeleteMaskedArea(const LImageBuffer&, QDImagePipeline&, LUndoRedoGroup*)
{
    return false;
}

LProcessResult QDImagePipelineElement::RenderHighResImage(LProcessInterface& process, LImageBuffer&)
{
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

LProcessResult QDImagePipelineElement::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    return RenderHighResImage(process, buffer);
}

bool QDImagePipelineElement::IsDirty() const
{
    return !LQDCacheValid(iLowResCacheId) || !LQDCacheValid(iHighResCacheId);
}

// Stores under the element's id, taking a new one the first time. A failed store is only a
// cache miss: the element renders again next time. A change made while the output was being
// rendered makes the stored picture stale: it goes again at once. True when the id holds the
// buffer's picture afterwards. holder: an id whose file already holds it, or -1.
static bool StoreOutput(const LImageBuffer& buffer, int32_t& id, const QDImagePipelineElement& element,
                        uint64_t counterBefore, int32_t holder = -1)
{
    bool stored;
    if (id < 0)
        stored = (id = LQDCacheNewImageAs(buffer, holder)) >= 0;
    else
        stored = LQDCacheSaveImageAs(buffer, id, holder);
    if (element.GetChangeCounter() == counterBefore)
        return stored;
    LQDCacheInvalidate(id);
    return false;
}

static void SetHolder(int32_t* holder, int32_t id)
{
    if (holder)
        *holder = id;
}

LProcessResult QDImagePipelineElement::GetHighResImage(LProcessInterface& process, LImageBuffer& buffer,
                                                       int32_t* holder)
{
    if (buffer.GetWidth() > 0 && buffer.GetHeight() > 0)
    {
        iWidth = uint32_t(buffer.GetWidth());
        iHeight = uint32_t(buffer.GetHeight());
    }
    if (!bVisible)
        return LProcessResultSuccess;
    if (LQDCacheValid(iHighResCacheId) && LQDCacheLoadImage(buffer, iHighResCacheId))
    {
        SetHolder(holder, iHighResCacheId);
        process.SetProgress(1.0);
        return LProcessResultSuccess;
    }
    SetHolder(holder, -1);
    const uint64_t counter = GetChangeCounter();
    LProcessResult result = RenderHighResImage(process, buffer);
    if (result != LProcessResultSuccess)
        return result;
    if (!buffer.IsValid())
        return LProcessResultFailed;
    if (StoreOutput(buffer, iHighResCacheId, *this, counter, GetHighResOutputHolder()))
        SetHolder(holder, iHighResCacheId);
    return LProcessResultSuccess;
}

LProcessResult QDImagePipelineElement::GetLowResImage(LProcessInterface& process, LImageBuffer& buffer,
                                                      int32_t* holder)
{
    if (bVisible)
    {
        if (LQDCacheValid(iLowResCacheId) && LQDCacheLoadImage(buffer, iLowResCacheId))
            SetHolder(holder, iLowResCacheId);
        else
        {
            SetHolder(holder, -1);
            const uint64_t counter = GetChangeCounter();
            LProcessResult result = RenderLowResImage(process, buffer);
            if (result != LProcessResultSuccess)
                return result;
            if (!buffer.IsValid())
                return LProcessResultFailed;
            if (StoreOutput(buffer, iLowResCacheId, *this, counter))
                SetHolder(holder, iLowResCacheId);
        }
    }
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}
