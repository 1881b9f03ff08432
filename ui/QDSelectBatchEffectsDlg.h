#pragma once
// Step 2 of the batch editor: the effects in order, kept as a batch script, with a preview of
// the list on one of the input files.

#include <QImage>
#include <QWidget>
#include <QWizardPage>

#include <string>

#include "image/LImageBuffer.h"

class QLabel;
class QListWidget;
class QPushButton;
class QDBatchStateData;

// The preview: the input reduced to fit, and the effects' output on it.
class QDBatchPreview : public QWidget
{
    Q_OBJECT
public:
    explicit QDBatchPreview(QWidget* parent = nullptr);

    // A picture smaller than the pane both ways is used as it is; a larger one is reduced to fit,
    // keeping its proportions, to the pane's size less 16 pixels on the limiting side.
    void SetInputImage(const LImageBuffer& image);
    // The effects on a copy of the input, under "Rendering Preview"; a failure leaves the shown
    // output as it was. False when it failed.
    bool RenderOutput(QDBatchStateData& state);
    void Clear();

    const LImageBuffer& GetInput() const { return oInput; }
    const QImage& GetOutput() const { return imgOutput; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    LImageBuffer oInput;
    unsigned iFullWidth = 0, iFullHeight = 0;
    QImage imgOutput;
};

class QDSelectBatchEffectsDlg : public QWizardPage
{
    Q_OBJECT
public:
    QDSelectBatchEffectsDlg(QDBatchStateData& state, QWidget* parent = nullptr);

    void initializePage() override;

    void CmAdd();
    void CmRemove();
    void CmEffectSettings();
    void CmNew();
    void CmOpen();
    // False when the user cancelled or the save failed.
    bool CmSaveAs();
    void CmSelectPreviewImage();
    // Loads the picture under "Loading Image" and renders the list on it.
    bool SetPreviewImage(const char* path);
    // A script path as the state means it: a relative one counts from the input folder when one
    // is set, else from the current folder.
    std::string MakeAbsolute(const std::string& path) const;

    QListWidget* lpList;
    QLabel* lpScriptName;
    QPushButton* lpNew;
    QPushButton* lpOpen;
    QPushButton* lpSaveAs;
    QPushButton* lpAdd;
    QPushButton* lpRemove;
    QPushButton* lpSettings;
    QPushButton* lpSelectPreview;
    QDBatchPreview* lpPreview;

private:
    void Rebuild();
    void EnableControls();
    void Render();
    // Follows a drag of rows: the elements take the rows' order.
    void EvRowsMoved();
    // The question before New and Open; false when they are not to go on.
    bool AskToSave();
    bool SaveTo(const char* path);

    QDBatchStateData& rState;
    bool bRebuilding = false;
};
