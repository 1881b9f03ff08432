#pragma once
// Crop: the aspect ratio of the frame, its size in pixels, and the buttons that apply the crop and
// go back to editing it. Crop Simple, for the batch editor, has the ratio alone.

#include "effects/QDEffectCrop.h"
#include "effects/QDEffectCropSimple.h"
#include "ui/panels/QDPropertiesPanel.h"

class QCheckBox;
class QComboBox;
class QPushButton;
class QSpinBox;

class QDEffectCropPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectCropPanel(QDEffectCrop& element);
    void InitDialog() override;

    QComboBox* GetAspect() const { return lpAspect; }
    QSpinBox* GetWidthField() const { return lpWidth; }
    QSpinBox* GetHeightField() const { return lpHeight; }
    QCheckBox* GetKeepAspect() const { return lpKeepAspect; }
    QPushButton* GetApply() const { return lpApply; }
    QPushButton* GetEdit() const { return lpEdit; }

    // The pull-down's ratio for an item: -1 for the custom one.
    double GetItemRatio(int index) const;

protected:
    void UpdateControls() override;
    void EvReset() override;

private:
    void SetSize(int width, int height);

    QDEffectCrop& rCrop;
    QComboBox* lpAspect = nullptr;
    QSpinBox* lpWidth = nullptr;
    QSpinBox* lpHeight = nullptr;
    QCheckBox* lpKeepAspect = nullptr;
    QPushButton* lpApply = nullptr;
    QPushButton* lpEdit = nullptr;
};

class QDEffectCropPanelSimple : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectCropPanelSimple(QDEffectCropSimple& element);
    void InitDialog() override;

    QComboBox* GetAspect() const { return lpAspect; }
    // The item that stands for a stored ratio: a portrait ratio by its landscape reciprocal; -1
    // when none does.
    static int IndexOfRatio(double ratio);

protected:
    void UpdateControls() override;

private:
    QDEffectCropSimple& rCrop;
    QComboBox* lpAspect = nullptr;
};
