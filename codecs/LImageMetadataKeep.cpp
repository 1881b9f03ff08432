#include "codecs/LImageMetadata.h"

#include "foundation/LUserSettings.h"

const char* const kLImageMetadataKeepKey = "KeepPhotoInformation";

bool LImageMetadataGetKeep()
{
    return LUserSettingGet("Settings", kLImageMetadataKeepKey, true);
}

void LImageMetadataSetKeep(bool keep)
{
    LUserSettingSet("Settings", kLImageMetadataKeepKey, keep);
}
