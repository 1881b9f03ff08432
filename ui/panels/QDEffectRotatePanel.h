#pragma once
// Rotate and Rotate Simple: quarter turns either way, the angle in degrees, and whether the
// corners are cut away.

#include <QWidget>

#include "effects/QDEffectRotate.h"
#include "ui/panels/QDPropertiesPanel.h"

class QCheckBox;
class QDoubleSpinBox;
class QPushButton;

// The pair of quarter-turn buttons.
class QDRotateButtons : public QWidget
{
    Q_OBJECT
public:
    explicit QDRotateButtons(QWidget* parent = nullptr);
    QPushButton* GetLeft() const { return lpLeft; }
    QPushButton* GetRight() const { return lpRight; }

signals:
    // -1 anticlockwise, +1 clockwise.
    void Turn(int direction);

private:
    QPushButton* lpLeft;
    QPushButton* lpRight;
};

class QDEffectRotatePanel : public QDPropertiesPanel
{
    Q_OBJECT
public:
    explicit QDEffectRotatePanel(QDEffectRotate& element);
    void InitDialog() override;

    QDRotateButtons* GetRotateButtons() const { return lpButtons; }
    QCheckBox* GetClipCheck() const { return lpClip; }
    QDoubleSpinBox* GetDegrees() const { return lpDegrees; }

protected:
    void UpdateControls() override;

private:
    QDEffectRotate& rRotate;
    QDRotateButtons* lpButtons = nullptr;
    QCheckBox* lpClip = nullptr;
    QDoubleSpinBox* lpDegrees = nullptr;
};
