#pragma once
// Resize: the new size in a unit of the user's choice, with the aspect kept or not, and the
// project's pixels per inch for inches and millimetres. Resize Simple, for the batch editor: a
// size by pixels (fitting, or one side with the other in proportion) or by percent.

#include "effects/QDEffectResize.h"
#include "ui/panels/QDPropertiesPanel.h"

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QRadioButton;
class QSpinBox;

class QDEffectResizePanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectResizePanel(QDEffectResize& element);
    void InitDialog() override;

    QComboBox* GetUnit() const { return lpUnit; }
    QCheckBox* GetKeepAspect() const { return lpKeepAspect; }
    QDoubleSpinBox* GetWidthField() const { return lpWidth; }
    QDoubleSpinBox* GetHeightField() const { return lpHeight; }
    QSpinBox* GetPPIField() const { return lpPPI; }

protected:
    void UpdateControls() override;
    void EvReset() override;

private:
    QDEffectResize::ResizeUnitType Unit() const;

    QDEffectResize& rResize;
    QComboBox* lpUnit = nullptr;
    QCheckBox* lpKeepAspect = nullptr;
    QDoubleSpinBox* lpWidth = nullptr;
    QDoubleSpinBox* lpHeight = nullptr;
    QSpinBox* lpPPI = nullptr;
};

class QDEffectResizeSimplePanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectResizeSimplePanel(QDEffectResizeSimple& element);
    void InitDialog() override;

    QRadioButton* GetByPixels() const { return lpByPixels; }
    QRadioButton* GetByPercent() const { return lpByPercent; }
    QSpinBox* GetWidthField() const { return lpWidth; }
    QSpinBox* GetHeightField() const { return lpHeight; }
    QRadioButton* GetKeepAspect() const { return lpKeepAspect; }
    QRadioButton* GetAutoWidth() const { return lpAutoWidth; }
    QRadioButton* GetAutoHeight() const { return lpAutoHeight; }
    QDoubleSpinBox* GetPercent() const { return lpPercent; }

protected:
    void UpdateControls() override;

private:
    // The type the buttons show.
    int32_t ChosenType() const;
    void Commit();

    QDEffectResizeSimple& rResize;
    QRadioButton* lpByPixels = nullptr;
    QRadioButton* lpByPercent = nullptr;
    QSpinBox* lpWidth = nullptr;
    QSpinBox* lpHeight = nullptr;
    QRadioButton* lpKeepAspect = nullptr;
    QRadioButton* lpAutoWidth = nullptr;
    QRadioButton* lpAutoHeight = nullptr;
    QDoubleSpinBox* lpPercent = nullptr;
};
