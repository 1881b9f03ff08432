#pragma once
// A person's answers through Qt's dialogs: message boxes with the program's button texts, the
// file dialogs with the design's filters, the encode settings, the small dialogs of the program
// and pop-up menus at the pointer.

#include "ui/LToolkit.h"

class QWidget;

class QDDialogResponderQt : public LDialogResponder
{
public:
    int ShowAlert(LAlertKind kind, const char* title, const char* text, const char* const* buttons,
                  int count) override;
    bool BrowseForOpen(const LFileDialogRequest& request, std::vector<std::string>& paths) override;
    bool BrowseForSave(const LFileDialogRequest& request, std::string& path, int& filter) override;
    bool EditEncodeSettings(LImageCodec codec, LImageEncodeSettings& settings) override;
    bool SaveImage(QDProject& project) override;
    bool NewImage(LNewImageRequest& request) override;
    bool PickColour(LGuiColorAlpha& colour) override;
    bool EditPreferences(bool& bShowWelcome, bool& bShowSaveWarning, bool& bKeepPhotoInformation) override;
    int ChooseItem(const char* title, const char* heading, const char* prompt,
                   const std::vector<LDialogMenuItem>& items, bool* bShowAgain) override;
    int PopupMenu(const std::vector<LMenuItem>& items) override;
    bool AskNumber(const char* title, const char* prompt, const char* button, int minimum, int maximum,
                   int& value) override;

private:
    static QWidget* Parent();
};
