#pragma once
// Vignette, Vintage and Border: table rows in groups of their own, with colour buttons for the
// colours the tables keep as three rows each.

#include "ui/panels/QDTablePropertiesPanel.h"

class QCheckBox;
class QGroupBox;
class QDColourButton;

// A colour button that shows and sets three rows of the element's table.
QDColourButton* QDMakeTableColourButton(QDTablePropertiesPanel& panel, QDWrappedPropertiesElement& element,
                                        const char* text, const char* red, const char* green,
                                        const char* blue, QWidget* parent);
void QDShowTableColour(QDColourButton& button, const QDWrappedPropertiesElement& element, const char* red,
                       const char* green, const char* blue);

class QDEffectVignettePanel : public QDTablePropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectVignettePanel(QDImagePipelineElement& element);
    void InitDialog() override;
    QDColourButton* GetColourButton() const { return lpColour; }

protected:
    void UpdateControls() override;

private:
    QDColourButton* lpColour = nullptr;
};

class QDEffectVintagePanel : public QDTablePropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectVintagePanel(QDImagePipelineElement& element);
    void InitDialog() override;
    QGroupBox* GetBleachGroup() const { return lpBleach; }
    QGroupBox* GetVignetteGroup() const { return lpVignette; }

protected:
    void UpdateControls() override;

private:
    QGroupBox* lpBleach = nullptr;
    QGroupBox* lpVignette = nullptr;
};

class QDEffectBorderPanel : public QDTablePropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectBorderPanel(QDImagePipelineElement& element);
    void InitDialog() override;
    QDColourButton* GetColourButton() const { return lpColour; }
    QDColourButton* GetInnerColourButton() const { return lpInnerColour; }

protected:
    void UpdateControls() override;

private:
    QDColourButton* lpColour = nullptr;
    QDColourButton* lpInnerColour = nullptr;
};
