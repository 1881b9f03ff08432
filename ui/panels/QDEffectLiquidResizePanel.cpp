#include "ui/panels/QDEffectLiquidResizePanel.h"

#include <QEvent>
#include <QFormLayout>
#include <QSpinBox>
#include <QVBoxLayout>

QDEffectLiquidResizePanel::QDEffectLiquidResizePanel(QDEffectLiquidResize& element)
    : QDPropertiesPanel(element), rLiquid(element)
{
}

void QDEffectLiquidResizePanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    QFormLayout* form = new QFormLayout;
    auto field = [&](const char* label, int32_t QDEffectLiquidResizeProperties::*side)
    {
        QSpinBox* box = new QSpinBox(GetContainer());
        box->setRange(1, 100000);
        box->setAccessibleName(label);
        box->installEventFilter(this);
        form->addRow(label, box);
        connect(box, &QSpinBox::valueChanged, this,
                [this, side](int v)
                {
                    if (IsUpdating())
                        return;
                    QDEffectLiquidResizeProperties p = rLiquid.GetProperties();
                    p.*side = v;
                    rLiquid.SetProperties(p, false);
                    PropertiesChanged();
                });
        return box;
    };
    lpWidth = field("Width (pixels):", &QDEffectLiquidResizeProperties::iWidth);
    lpHeight = field("Height (pixels):", &QDEffectLiquidResizeProperties::iHeight);
    GetContainerLayout()->addLayout(form);
    CreateTrayResetButton();
    Update();
}

bool QDEffectLiquidResizePanel::eventFilter(QObject* watched, QEvent* event)
{
    if (event->type() == QEvent::FocusOut && (watched == lpWidth || watched == lpHeight))
        rLiquid.DispatchUndoRedoItemForUnregisteredChanges();
    return QDPropertiesPanel::eventFilter(watched, event);
}

void QDEffectLiquidResizePanel::EvReset()
{
    rLiquid.Reset();
    PropertiesChanged();
}

void QDEffectLiquidResizePanel::UpdateControls()
{
    // A side the element leaves as it is shows the size it is.
    lpWidth->setValue(int(rLiquid.GetWidth()));
    lpHeight->setValue(int(rLiquid.GetHeight()));
}
