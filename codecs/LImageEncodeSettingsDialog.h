#pragma once
// The small option dialogs of the formats that have save options. Defined by the user interface.

#include "codecs/LImageCodec.h"
#include "codecs/LImageEncodeSettings.h"

class QWidget;

// Opens the dialog of codec on its part of settings; true when the user confirmed, and at once
// for a codec without a dialog.
bool LImageEncodeSettingsDialogOpen(QWidget* parent, LImageCodec codec, LImageEncodeSettings& settings);
