#pragma once
// Flip: two buttons that each mirror the picture once more along their axis; a button stays down
// while its mirroring is on.

#include "effects/QDEffectFlip.h"
#include "ui/panels/QDPropertiesPanel.h"

class QPushButton;

class QDEffectFlipPanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectFlipPanel(QDEffectFlip& element);
    void InitDialog() override;

    QPushButton* GetHorizontalButton() const { return lpHorizontal; }
    QPushButton* GetVerticalButton() const { return lpVertical; }

protected:
    void UpdateControls() override;

private:
    QDEffectFlip& rFlip;
    QPushButton* lpHorizontal = nullptr;
    QPushButton* lpVertical = nullptr;
};
