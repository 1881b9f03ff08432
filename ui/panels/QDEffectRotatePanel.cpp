#include "ui/panels/QDEffectRotatePanel.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QIcon>
#include <QPushButton>
#include <QVBoxLayout>

QDRotateButtons::QDRotateButtons(QWidget* parent)
    : QWidget(parent), lpLeft(new QPushButton(QIcon::fromTheme("object-rotate-left"), "Rotate Left", this)),
      lpRight(new QPushButton(QIcon::fromTheme("object-rotate-right"), "Rotate Right", this))
{
    QHBoxLayout* row = new QHBoxLayout(this);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(lpLeft);
    row->addWidget(lpRight);
    lpLeft->setAccessibleName("Rotate Left");
    lpRight->setAccessibleName("Rotate Right");
    lpLeft->setToolTip("Rotate 90 degrees to the left");
    lpRight->setToolTip("Rotate 90 degrees to the right");
    connect(lpLeft, &QPushButton::clicked, this, [this] { emit Turn(-1); });
    connect(lpRight, &QPushButton::clicked, this, [this] { emit Turn(1); });
}

QDEffectRotatePanel::QDEffectRotatePanel(QDEffectRotate& element)
    : QDPropertiesPanel(element), rRotate(element)
{
}

void QDEffectRotatePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    QVBoxLayout* layout = GetContainerLayout();
    lpButtons = new QDRotateButtons(GetContainer());
    layout->addWidget(lpButtons);
    lpClip = new QCheckBox("Crop corners", GetContainer());
    lpClip->setToolTip("Crop out empty areas");
    lpClip->setAccessibleName("Crop corners");
    layout->addWidget(lpClip);
    lpDegrees = new QDoubleSpinBox(GetContainer());
    lpDegrees->setRange(-3600, 3600);
    lpDegrees->setDecimals(2);
    lpDegrees->setKeyboardTracking(false);
    lpDegrees->setAccessibleName("Rotation (degrees):");
    QFormLayout* form = new QFormLayout;
    form->addRow("Rotation (degrees):", lpDegrees);
    layout->addLayout(form);
    CreateTrayResetButton();

    connect(lpButtons, &QDRotateButtons::Turn, this,
            [this](int direction)
            {
                rRotate.SetRotation(
                    QDEffectRotate::NextQuarterTurn(rRotate.GetProperties().dRotation, direction), true);
                PropertiesChanged();
            });
    connect(lpClip, &QCheckBox::toggled, this,
            [this](bool on)
            {
                if (IsUpdating())
                    return;
                rRotate.SetClipping(on, true);
                PropertiesChanged();
            });
    connect(lpDegrees, &QDoubleSpinBox::valueChanged, this,
            [this](double degrees)
            {
                if (IsUpdating())
                    return;
                rRotate.SetRotation(degrees, true);
                PropertiesChanged();
            });
    Update();
}

void QDEffectRotatePanel::UpdateControls()
{
    const QDEffectRotateProperties& p = rRotate.GetProperties();
    lpClip->setChecked(p.bClipping);
    lpDegrees->setValue(p.dRotation);
}
