#pragma once
// Gradient Map: the markers with their buttons, how the colours blend, and the strength.

#include "effects/QDEffectGradient.h"
#include "ui/panels/QDPropertiesPanel.h"

class QButtonGroup;
class QPushButton;
class QDGradientSliders;
class QDSlider;

class QDEffectGradientPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectGradientPanel(QDEffectGradient& element);
    void InitDialog() override;

    // Asks the user for a colour, starting from colour; false when cancelled. The program asks
    // through the platform's colour dialog; tests put their own answer here.
    using ColourChooser = bool (*)(QWidget* parent, LPixelColour& colour);
    static void SetColourChooser(ColourChooser chooser);

    QDGradientSliders* GetSliders() const { return lpSliders; }
    QPushButton* GetAddButton() const { return lpAdd; }
    QPushButton* GetDeleteButton() const { return lpDelete; }
    QPushButton* GetColourButton() const { return lpColour; }
    // Ids 0 mix, 1 overlay.
    QButtonGroup* GetBlendButtons() const { return lpBlend; }
    QDSlider* GetSlider() const { return lpStrength; }

protected:
    void UpdateControls() override;

private:
    void Commit(const QDEffectGradientProperties& p, bool bRegisterUndo);
    void AddMarker();
    void DeleteMarker();
    void SetMarkerColour();

    QDEffectGradient& rGradient;
    QDGradientSliders* lpSliders = nullptr;
    QPushButton* lpAdd = nullptr;
    QPushButton* lpDelete = nullptr;
    QPushButton* lpColour = nullptr;
    QButtonGroup* lpBlend = nullptr;
    QDSlider* lpStrength = nullptr;
};
