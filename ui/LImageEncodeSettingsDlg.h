#pragma once
// What the five encode-settings dialogs share: a window of controls that other dialogs can embed,
// and a dialog around it with "Save" and "Cancel".

#include <QDialog>
#include <QWidget>

class QDialogButtonBox;
class QSlider;
class QLabel;

// A labelled slider with optional captions at its two ends.
QSlider* LImageEncodeSettingsMakeSlider(QWidget* parent, class QGridLayout* grid, int row, const char* label,
                                        int minimum, int maximum, const char* low = nullptr,
                                        const char* high = nullptr, QLabel** labelOut = nullptr);

class LImageEncodeSettingsDlg : public QDialog
{
    Q_OBJECT
public:
    LImageEncodeSettingsDlg(QWidget* parent, const char* title, const char* helpTopic);

    const char* GetHelpTopic() const { return szHelpTopic; }
    QDialogButtonBox* GetButtons() const { return lpButtons; }

protected:
    // Puts the window above the buttons.
    void SetWindow(QWidget* window);
    // Writes the window's state to the sub-record.
    virtual void CmOk() = 0;

private:
    const char* szHelpTopic;
    QDialogButtonBox* lpButtons;
};
