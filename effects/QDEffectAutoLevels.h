#pragma once
// Auto Levels: each of red, green and blue stretched so that about one percent of the pixels clip
// at either end, mixed with the original by the strength.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"
#include "image/LImgProChannelMap.h"

class QDEffectAutoLevels : public QDImagePipelineElementWithDoubleProperties
{
public:
    QDEffectAutoLevels();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The stretch of LImgProAutoLevels for this picture, as three channel tables; 1 when stopped.
    static LProcessResult MakeMap(LProcessInterface& process, const LImageBuffer& buffer,
                                  LImgProChannelMap& map);
};
