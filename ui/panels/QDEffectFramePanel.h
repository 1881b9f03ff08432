#pragma once
// Frame: "Change Frame" offers the program's frames.

#include "effects/QDEffectFrame.h"
#include "ui/panels/QDPropertiesPanel.h"

class QMenu;
class QPushButton;

class QDEffectFramePanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectFramePanel(QDEffectFrame& element);
    void InitDialog() override;

    QPushButton* GetChangeButton() const { return lpChange; }
    QMenu* GetMenu() const { return lpMenu; }

protected:
    void UpdateControls() override;
    void EvReset() override;

private:
    QDEffectFrame& rFrame;
    QPushButton* lpChange = nullptr;
    QMenu* lpMenu = nullptr;
};
