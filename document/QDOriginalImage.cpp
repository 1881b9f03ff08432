#include "document/QDOriginalImage.h"

#include <cerrno>
#include <cmath>
#include <new>
#include <cstdio>
#include <cstring>

#include "codecs/LImageProcess.h"
#include "document/LQDCacheStore.h"
#include "document/QDImagePipeline.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "image/LImageBuffer.h"
#include "image/LImageTransform.h"

QDOriginalImage::QDOriginalImage()
{
    bBaseElement = true;
}

int QDOriginalImage::LowResSize(int size, float scale)
{
    long v = std::lround(double(size) * double(scale));
    return v < 1 ? 1 : int(v);
}

QDOriginalImage* QDOriginalImage::Create(const LImageBuffer& buffer, float lowResScale, LString& error)
{
    error.Clear();
    if (!buffer.IsValid())
    {
        error = "Out of memory";
        return nullptr;
    }
    QDOriginalImage* image = new (std::nothrow) QDOriginalImage();
    if (!image)
    {
        error = "Out of memory";
        return nullptr;
    }
    image->fLowResScale = lowResScale;
    image->iWidth = uint32_t(buffer.GetWidth());
    image->iHeight = uint32_t(buffer.GetHeight());
    int failure = 0;
    image->iSourceCacheId = LQDCacheNewImage(buffer, &failure);
    if (image->iSourceCacheId >= 0)
        image->iHighResCacheId = LQDCacheNewImageAs(buffer, image->iSourceCacheId, &failure);
    if (image->iHighResCacheId >= 0)
    {
        // The reduction works on four channels, as everything loaded from the cache has.
        const LImageBuffer* four = &buffer;
        LImageBuffer converted;
        if (buffer.GetPixelFormat() != B8G8R8A8)
        {
            if (LImage::New(converted, buffer.GetWidth(), buffer.GetHeight()))
                LConvertPixelFormat(converted, buffer);
            four = &converted;
        }
        LImageBuffer low;
        LProcessInterfaceVoid silent;
        if (four->IsValid() && LImage::Resize(silent, *four, low, LowResSize(buffer.GetWidth(), lowResScale),
                                              LowResSize(buffer.GetHeight(), lowResScale), false,
                                              LImage::ResizeNearest) == LProcessResultSuccess)
            image->iLowResCacheId = LQDCacheNewImage(low, &failure);
        else
            failure = ENOMEM;
    }
    if (image->iLowResCacheId < 0)
    {
        error = failure == 0 || failure == ENOMEM ? "Out of memory" : strerror(failure);
        delete image; // gives up what was stored
        return nullptr;
    }
    return image;
}

QDOriginalImage::~QDOriginalImage()
{
    LQDCacheInvalidate(iSourceCacheId);
}

LProcessResult QDOriginalImage::RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    if (lpBackground && lpBackground->alpha != 0.0f)
    {
        LImageBuffer source;
        if (!LQDCacheLoadImage(source, iSourceCacheId))
            return LProcessResultFailed;
        LImageBuffer composed;
        if (!composed.AllocateNewBuffer(source.GetFormat()))
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        composed.Clear(lpBackground->ToPixel());
        QDAlphaBlendOver(composed, source);
        if (!composed.IsValid())
            return LProcessResultFailed;
        buffer.Assign(composed);
        process.SetProgress(1.0);
        return LProcessResultSuccess;
    }
    if (!LQDCacheLoadImage(buffer, iSourceCacheId))
        return LProcessResultFailed;
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

int32_t QDOriginalImage::GetHighResOutputHolder() const
{
    return lpBackground && lpBackground->alpha != 0.0f ? -1 : iSourceCacheId;
}

LProcessResult QDOriginalImage::RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer)
{
    LProcessResult result = RenderHighResImage(process, buffer);
    if (result != LProcessResultSuccess)
        return result;
    LImageBuffer low;
    result = LImage::Resize(process, buffer, low, LowResSize(buffer.GetWidth(), fLowResScale),
                            LowResSize(buffer.GetHeight(), fLowResScale), false, LImage::ResizeNearest);
    if (result != LProcessResultSuccess || !low.IsValid())
    {
        if (result != LProcessResultCancelled)
        {
            process.SetError("Out of memory");
            result = LProcessResultFailed;
        }
        return result;
    }
    buffer.Assign(low);
    process.SetProgress(1.0);
    return LProcessResultSuccess;
}

bool QDOriginalImage::DeleteMaskedArea(const LImageBuffer& mask, QDImagePipeline& pipeline,
                                       LUndoRedoGroup* group)
{
    LImageBuffer source;
    if (!LQDCacheLoadImage(source, iSourceCacheId) || !source.IsValid())
        return false;
    LImageBuffer result;
    if (!LImage::New(result, source.GetWidth(), source.GetHeight(), B8G8R8A8))
        return false;
    result.Clear(LPixelColour(0, 0, 0, 0));
    bool maskUsable = mask.IsValid() && mask.GetPixelFormat() == B8G8R8A8;
    for (int y = 0; y < source.GetHeight(); ++y)
    {
        const uint32_t* in = reinterpret_cast<const uint32_t*>(source.GetRow(y));
        uint32_t* out = reinterpret_cast<uint32_t*>(result.GetRow(y));
        for (int x = 0; x < source.GetWidth(); ++x)
        {
            int mx = x, my = y;
            if (maskUsable && pipeline.GetPointTransformed(mx, my, this) && mx >= 0 && my >= 0 &&
                mx < mask.GetWidth() && my < mask.GetHeight() && mask.GetRow(my)[mx * 4 + 2] != 0)
                continue;
            out[x] = in[x];
        }
    }
    if (!LQDCacheSaveImage(result, iSourceCacheId))
        return false;
    SourceChanged();
    SetDirty();
    if (group)
        group->AddItem<QDOriginalImageSelectionDeletion>(this, source, result);
    else if (lpUndoStack)
        lpUndoStack->AddItem<QDOriginalImageSelectionDeletion>(this, source, result);
    return true;
}

QDOriginalImageSelectionDeletion::QDOriginalImageSelectionDeletion(QDOriginalImage* element,
                                                                   const LImageBuffer& before,
                                                                   const LImageBuffer& after)
    // The source was just written from after: the entry shares its file.
    : lpElement(element), iBeforeCacheId(LQDCacheNewImage(before)),
      iAfterCacheId(LQDCacheNewImageAs(after, element->iSourceCacheId))
{
}

QDOriginalImageSelectionDeletion::~QDOriginalImageSelectionDeletion()
{
    LQDCacheInvalidate(iBeforeCacheId);
    LQDCacheInvalidate(iAfterCacheId);
}

void QDOriginalImageSelectionDeletion::Restore(int32_t id)
{
    LImageBuffer image;
    if (LQDCacheLoadImage(image, id))
        LQDCacheSaveImageAs(image, lpElement->iSourceCacheId, id);
    lpElement->SourceChanged();
    lpElement->SetDirty();
}

void QDOriginalImageSelectionDeletion::GetName(char* name)
{
    snprintf(name, LUNDO_NAME_SIZE, "Delete Selected Area");
}

// Written once per source and copied into every recovery file after that; speed counts more than
// the last tenth of the size.
static constexpr int kSourcePngLevel = 1;

void QDOriginalImage::SourceChanged()
{
    LLockObjectGuard guard(loEncoded);
    ++iSourceVersion;
    pEncodedSource.reset();
}

std::shared_ptr<const std::vector<uint8_t>> QDOriginalImage::GetEncodedSource(LProcessInterface& process)
{
    uint64_t version;
    {
        LLockObjectGuard guard(loEncoded);
        version = iSourceVersion;
        if (pEncodedSource && iEncodedVersion == version)
            return pEncodedSource;
    }
    LImageBuffer source;
    if (!LQDCacheLoadImage(source, iSourceCacheId) || !source.IsValid())
    {
        process.SetError("The image could not be saved");
        return nullptr;
    }
    auto bytes = std::make_shared<std::vector<uint8_t>>();
    LOutputStream<LOutputStreamByteArray> stream;
    LProcessPNGSave<LOutputStreamByteArray> save;
    save.lpImage = &source;
    save.lpStream = &stream;
    save.iCompressionLevel = kSourcePngLevel;
    if (Process(process, save) != LProcessResultSuccess)
    {
        if (!process.IsToStop())
            process.SetError("The image could not be saved");
        return nullptr;
    }
    stream.GetArray().swap(*bytes);
    LLockObjectGuard guard(loEncoded);
    // A source changed during the encode keeps its own, later PNG.
    if (iSourceVersion == version)
    {
        pEncodedSource = bytes;
        iEncodedVersion = version;
    }
    return bytes;
}

LProcessResult QDOriginalImage::SDFWriteElement(LProcessInterface& process, LSDFFileWriter& writer)
{
    const LProcessResult r = QDImagePipelineElement::SDFWriteElement(process, writer);
    if (r != LProcessResultSuccess)
        return r;
    std::shared_ptr<const std::vector<uint8_t>> png = GetEncodedSource(process);
    if (!png)
        return process.IsToStop() ? LProcessResultCancelled : LProcessResultFailed;
    return writer.StartContainer(QDChunkProperties) &&
                   writer.WriteBlob(QDChunkBlob, png->data(), png->size()) &&
                   writer.EndContainer(QDChunkProperties)
               ? LProcessResultSuccess
               : LProcessResultFailed;
}

LProcessResult QDOriginalImage::SDFLoadProperties(LProcessInterface& process, LSDFMemoryReader& reader,
                                                  const LSDFMemoryChunk& chunk)
{
    for (LSDFMemoryChunkIterator it(reader, chunk); it.IsValid(); it.Next())
    {
        if (it->iId != QDChunkBlob)
            continue;
        const uint8_t* data = nullptr;
        size_t size = 0;
        LImageBuffer image;
        LInputStream<LInputStreamBuffer> stream;
        LProcessImageLoad<LInputStreamBuffer> load;
        load.lpStream = &stream;
        load.codec = LImageCodec(LImageCodecPNG);
        load.lpImage = &image;
        if (!it->GetData(data, size) || !QDProjectFilePngIsPlausible(data, size))
        {
            process.SetError("The image could not be loaded.");
            return LProcessResultFailed;
        }
        stream.SetBuffer(data, size);
        const LProcessResult r = Process(process, load);
        if (r != LProcessResultSuccess)
            return r;
        const int32_t id = LQDCacheNewImage(image);
        if (id < 0)
        {
            process.SetError("Out of memory");
            return LProcessResultFailed;
        }
        LQDCacheInvalidate(iSourceCacheId);
        iSourceCacheId = id;
        iWidth = uint32_t(image.GetWidth());
        iHeight = uint32_t(image.GetHeight());
        // The file's own bytes are this source's PNG: a save of the loaded project re-encodes nothing.
        auto bytes = std::make_shared<std::vector<uint8_t>>(data, data + size);
        {
            LLockObjectGuard guard(loEncoded);
            pEncodedSource = bytes;
            iEncodedVersion = ++iSourceVersion;
        }
        SetDirty();
        return LProcessResultSuccess;
    }
    return reader.bOk ? LProcessResultSuccess : LProcessResultFailed;
}

QDOriginalImageFactory::QDOriginalImageFactory()
    : QDEffectFactory("Original Image", "Insert an image into the current project", 408, "original_image")
{
}

QDImagePipelineElement* QDOriginalImageFactory::CreateLayer(QDProject& project, LWindow* window,
                                                            bool bAddUndo)
{
    (void)window;
    QDOriginalImage* element = new QDOriginalImage();
    element->lpBackground = &project.crBackground;
    element->SetDirty();
    element->fLowResScale = project.viewport.fLowResScale;
    tstrcpy_s(element->szFilePath, project.szFilePath); // the same size
    project.AddPipelineElement(element, bAddUndo);
    return element;
}

QDImagePipelineElement* QDOriginalImageFactory::CreateLayer(QDImagePipeline& pipeline)
{
    QDOriginalImage* element = new QDOriginalImage();
    pipeline.AddElement(element);
    return element;
}

QDImagePipelineElement* QDOriginalImageFactory::CreateLayer() const
{
    return new QDOriginalImage();
}

QDOriginalImage* QDOriginalImageFactory::CreateLayer(QDProject& project, const LImageBuffer& buffer,
                                                     bool bAddUndo, bool bUnused, const char* path,
                                                     LProcessInterface* process)
{
    (void)bUnused;
    LString error;
    QDOriginalImage* element = QDOriginalImage::Create(buffer, project.viewport.fLowResScale, error);
    if (!element)
    {
        if (process)
            process->SetError(error);
        return nullptr;
    }
    element->lpBackground = &project.crBackground;
    // A path that was opened always fits; one that doesn't is left out rather than cut.
    if (path && !tstrcpy_s(element->szFilePath, path))
        element->szFilePath[0] = 0;
    project.AddPipelineElement(element, bAddUndo);
    return element;
}

void QDAlphaBlendOver(LImageBuffer& destination, const LImageBuffer& source)
{
    if (!destination.IsValid() || !source.IsValid() || destination.GetWidth() != source.GetWidth() ||
        destination.GetHeight() != source.GetHeight() || destination.GetPixelFormat() != B8G8R8A8 ||
        source.GetPixelFormat() != B8G8R8A8)
        return;
    for (int y = 0; y < source.GetHeight(); ++y)
    {
        const uint8_t* s = source.GetRow(y);
        uint8_t* d = destination.GetRow(y);
        for (int x = 0; x < source.GetWidth(); ++x, s += 4, d += 4)
        {
            unsigned sa = s[3], da = d[3];
            // out alpha = sa + da (1 - sa), in units of 255 * 255.
            unsigned oa = sa * 255 + da * (255 - sa);
            if (oa == 0)
            {
                d[0] = d[1] = d[2] = d[3] = 0;
                continue;
            }
            for (int c = 0; c < 3; ++c)
                d[c] = uint8_t((s[c] * sa * 255 + d[c] * da * (255 - sa) + oa / 2) / oa);
            d[3] = uint8_t((oa + 127) / 255);
        }
    }
}
