#include "app/QDEffectIcons.h"

#include <cstring>

#include "codecs/LImage.h"
#include "document/QDImagePipelineElement.h"

bool QDEffectIcons::LoadSample(const char* path)
{
    LImageBuffer loaded;
    if (!LImage::Load(loaded, path) || !loaded.IsValid() || loaded.GetWidth() != kSize ||
        loaded.GetHeight() != kSize)
        return false;
    if (loaded.GetPixelFormat() == B8G8R8A8)
    {
        sample.Assign(loaded);
        return true;
    }
    if (!LImage::New(sample, kSize, kSize))
        return false;
    LConvertPixelFormat(sample, loaded);
    return true;
}

bool QDEffectIcons::RenderIcon(QDEffectFactory& factory, const LImageBuffer& source, LImageBuffer& icon)
{
    if (!source.IsValid())
        return false;
    std::unique_ptr<QDImagePipelineElement> element(factory.CreateLayer());
    if (!element)
        return false;
    element->SetDimensions(LBoundingBox2T<double>(0, 0, source.GetWidth(), source.GetHeight()));
    LImageBuffer buffer;
    if (!LImage::New(buffer, source.GetWidth(), source.GetHeight()))
        return false;
    LImageBufferCopy(buffer, source);
    LProcessInterfaceVoid process;
    if (element->RenderHighResImage(process, buffer) != LProcessResultSuccess || !buffer.IsValid() ||
        buffer.GetPixelFormat() != B8G8R8A8)
        return false;
    // Unchanged: the element does its work by hand on the canvas, and the sample says nothing
    // about it.
    if (buffer.GetWidth() == source.GetWidth() && buffer.GetHeight() == source.GetHeight())
    {
        bool same = true;
        for (int y = 0; y < buffer.GetHeight() && same; ++y)
            same = memcmp(buffer.GetRow(y), source.GetRow(y), size_t(buffer.GetWidth()) * 4) == 0;
        if (same)
            return false;
    }
    icon.Assign(buffer);
    return true;
}

void QDEffectIcons::Render(const LList<QDEffectFactory>& factories)
{
    if (!sample.IsValid())
        return;
    for (QDEffectFactory* f = factories.GetFirst(); f; f = f->GetNextItem())
    {
        if (mapIcons.count(f->iCommandId))
            continue;
        auto icon = std::make_unique<LImageBuffer>();
        if (RenderIcon(*f, sample, *icon))
            mapIcons[f->iCommandId] = std::move(icon);
    }
    bRendered = true;
}

const LImageBuffer* QDEffectIcons::Get(int commandId) const
{
    auto it = mapIcons.find(commandId);
    return it == mapIcons.end() ? nullptr : it->second.get();
}
