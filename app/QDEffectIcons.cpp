#include "app/QDEffectIcons.h"

#include <cstring>

#include "codecs/LImage.h"
#include "document/QDImagePipelineElement.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "image/LConvertPixelFormat.h"

namespace
{
// How far the tone sliders go for their pictures: enough to see, not so far as to caricature.
struct QDShowcaseValue
{
    const char* szName;
    double dValue;
};
constexpr QDShowcaseValue kShowcase[] = {
    {"brightness", 0.45}, {"contrast", 0.6},    {"exposure", 0.35}, {"rotation", 0.33},
    {"saturation", 0.8},  {"temperature", 0.3}, {"strength", 0.8},
};

// An effect at rest changes nothing (a slider in the middle, an identity curve): its picture
// shows it moved, with its text properties at their examples, or one slider set as above.
bool Showcase(QDImagePipelineElement& element)
{
    auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(&element);
    if (!wrapped)
        return false;
    bool changed = false;
    for (const QDTextProperty& text : wrapped->GetTextProperties())
        changed = wrapped->SetTextProperty(text.szName, text.szExample, false) || changed;
    if (changed)
        return true;
    const QDPropertyTable table = wrapped->GetPropertyTable();
    for (const QDShowcaseValue& showcase : kShowcase)
        if (const long row = table.FindByName(showcase.szName); row >= 0)
        {
            wrapped->SetPropertyValue(size_t(row), showcase.dValue, false);
            return true;
        }
    return false;
}

bool SamePixels(const LImageBuffer& a, const LImageBuffer& b)
{
    if (a.GetWidth() != b.GetWidth() || a.GetHeight() != b.GetHeight())
        return false;
    for (int y = 0; y < a.GetHeight(); ++y)
        if (memcmp(a.GetRow(y), b.GetRow(y), size_t(a.GetWidth()) * 4) != 0)
            return false;
    return true;
}
} // namespace

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
    LProcessInterfaceVoid process;
    for (int attempt = 0; attempt < 2; ++attempt)
    {
        if (attempt == 1 && !Showcase(*element))
            return false;
        if (!LImage::New(buffer, source.GetWidth(), source.GetHeight()))
            return false;
        LImageBufferCopy(buffer, source);
        if (element->RenderHighResImage(process, buffer) != LProcessResultSuccess || !buffer.IsValid())
            return false;
        // Effects that drop the alpha channel (a cartoon) still get a picture the toolbar can show.
        if (buffer.GetPixelFormat() != B8G8R8A8)
        {
            LImageBuffer converted;
            if (!LImage::New(converted, buffer.GetWidth(), buffer.GetHeight()))
                return false;
            LConvertPixelFormat(converted, buffer);
            buffer.Assign(converted);
        }
        // Unchanged even when moved: the element does its work by hand on the canvas, and the
        // sample says nothing about it.
        if (!SamePixels(buffer, source))
        {
            icon.Assign(buffer);
            return true;
        }
    }
    return false;
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
