#pragma once
// Liquid Resize: the new width and height in pixels. A field sends its value as it changes,
// without undo, so the preview follows the typing; leaving the field makes the one undo item.

#include "effects/QDEffectLiquidResize.h"
#include "ui/panels/QDPropertiesPanel.h"

class QSpinBox;

class QDEffectLiquidResizePanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectLiquidResizePanel(QDEffectLiquidResize& element);
    void InitDialog() override;

    QSpinBox* GetWidthField() const { return lpWidth; }
    QSpinBox* GetHeightField() const { return lpHeight; }

protected:
    void UpdateControls() override;
    void EvReset() override;
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QDEffectLiquidResize& rLiquid;
    QSpinBox* lpWidth = nullptr;
    QSpinBox* lpHeight = nullptr;
};
