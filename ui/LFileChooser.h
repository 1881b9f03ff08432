#pragma once
// The program's file choosers: Qt's file dialogs, or the answers of a scripted responder that a
// test installs, which also records what was asked.

#include <string>
#include <vector>

#include "codecs/LImageCodec.h"

class QWidget;

enum LFileChooserKind : int
{
    LFileChooserOpenOne = 0,
    LFileChooserOpenMany = 1,
    LFileChooserSave = 2,
    LFileChooserFolder = 3,
};

struct LFileChooserRequest
{
    LFileChooserKind eKind = LFileChooserOpenOne;
    std::string szTitle;
    // Qt's filter form: "Batch Script File (*.qdb)", several separated by ";;".
    std::string szFilter;
    std::string szStartFolder;
    std::string szProposedName;
    // Added to a saved name typed without one ("qdb").
    std::string szDefaultSuffix;
    // The platform asks before a save replaces a file; off where the caller asks itself.
    bool bConfirmOverwrite = true;
};

class LFileChooserResponder
{
public:
    virtual ~LFileChooserResponder() = default;
    // True with the chosen paths, false when the user cancelled.
    virtual bool Choose(const LFileChooserRequest& request, std::vector<std::string>& paths) = 0;
};

// Installs responder (null: Qt's dialogs again) and returns the one it replaces.
LFileChooserResponder* LSetFileChooserResponder(LFileChooserResponder* responder);

// True with at least one path; false when cancelled.
bool LFileChooserRun(QWidget* parent, const LFileChooserRequest& request, std::vector<std::string>& paths);

// The image formats as a chooser's filter, in the registry's list order ("All images" first for
// reading).
std::string LFileChooserCodecFilter(LImageIOType type, const LImageCodecVetoer* vetoer);
