#include "ui/panels/QDEffectCropPanel.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QPushButton>
#include <QSpinBox>
#include <QVBoxLayout>
#include <cmath>

namespace
{
constexpr double kTolerance = 0.001;
// Items before the ratio lists.
constexpr int kCustom = 0, kOriginal = 1, kSquare = 2, kFirstListed = 3;

int ListLength(const QDAspectRatio* list)
{
    int n = 0;
    while (list[n].szLabel)
        ++n;
    return n;
}
} // namespace

QDEffectCropPanel::QDEffectCropPanel(QDEffectCrop& element) : QDPropertiesPanel(element), rCrop(element) {}

double QDEffectCropPanel::GetItemRatio(int index) const
{
    const int landscape = ListLength(arLandscapeRatios);
    if (index == kOriginal)
        return rCrop.iHeight ? double(rCrop.iWidth) / rCrop.iHeight : -1.0;
    if (index == kSquare)
        return 1.0;
    if (index >= kFirstListed && index < kFirstListed + landscape)
        return arLandscapeRatios[index - kFirstListed].fRatio;
    if (index >= kFirstListed + landscape && index < kFirstListed + landscape + ListLength(arPortraitRatios))
        return arPortraitRatios[index - kFirstListed - landscape].fRatio;
    return -1.0;
}

void QDEffectCropPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    QVBoxLayout* layout = GetContainerLayout();
    layout->addWidget(new QLabel("Aspect Ratio:", GetContainer()));
    lpAspect = new QComboBox(GetContainer());
    lpAspect->setAccessibleName("Aspect Ratio:");
    lpAspect->setToolTip("Set the ratio between the width and height of the cropped image.");
    lpAspect->addItems({"Custom Aspect Ratio", "Original Aspect Ratio", "1 x 1"});
    for (const QDAspectRatio* r = arLandscapeRatios; r->szLabel; ++r)
        lpAspect->addItem(r->szLabel);
    for (const QDAspectRatio* r = arPortraitRatios; r->szLabel; ++r)
        lpAspect->addItem(r->szLabel);
    layout->addWidget(lpAspect);

    QGroupBox* size = new QGroupBox("Set Size:", GetContainer());
    QFormLayout* form = new QFormLayout(size);
    auto field = [&](const char* label, const char* tip)
    {
        QSpinBox* box = new QSpinBox(size);
        box->setRange(1, 1000000);
        box->setKeyboardTracking(false);
        box->setAccessibleName(label);
        box->setToolTip(tip);
        form->addRow(label, box);
        return box;
    };
    lpWidth = field("Width:", "Change the width of the bounding box");
    lpHeight = field("Height:", "Change the height of the bounding box");
    lpKeepAspect = new QCheckBox("Keep Aspect Ratio", size);
    lpKeepAspect->setToolTip(
        "Check to preserve the aspect ratio when resizing the bounding box via the width and height fields");
    form->addRow(lpKeepAspect);
    layout->addWidget(size);

    QHBoxLayout* buttons = new QHBoxLayout;
    lpApply = new QPushButton("Apply", GetContainer());
    lpApply->setToolTip("Crop the image to the specified area");
    lpEdit = new QPushButton("Edit", GetContainer());
    lpEdit->setToolTip("Change the size and location of the cropped area");
    buttons->addWidget(lpApply);
    buttons->addWidget(lpEdit);
    layout->addLayout(buttons);
    CreateTrayResetButton();

    connect(lpAspect, &QComboBox::currentIndexChanged, this,
            [this](int index)
            {
                if (IsUpdating())
                    return;
                rCrop.ApplyAspectRatio(GetItemRatio(index), true);
                PropertiesChanged();
            });
    connect(lpWidth, &QSpinBox::valueChanged, this,
            [this](int w)
            {
                const QDEffectCropProperties& p = rCrop.GetProperties();
                const double aspect = p.iCropHeight > 0 ? double(p.iCropWidth) / p.iCropHeight : 1.0;
                SetSize(w, lpKeepAspect->isChecked() ? int(std::lround(w / aspect)) : p.iCropHeight);
            });
    connect(lpHeight, &QSpinBox::valueChanged, this,
            [this](int h)
            {
                const QDEffectCropProperties& p = rCrop.GetProperties();
                const double aspect = p.iCropHeight > 0 ? double(p.iCropWidth) / p.iCropHeight : 1.0;
                SetSize(lpKeepAspect->isChecked() ? int(std::lround(h * aspect)) : p.iCropWidth, h);
            });
    connect(lpApply, &QPushButton::clicked, this,
            [this]
            {
                QDEffectCropProperties p = rCrop.GetProperties();
                p.bApplied = true;
                p.bEditing = false;
                rCrop.SetProperties(p, true);
                PropertiesChanged();
            });
    connect(lpEdit, &QPushButton::clicked, this,
            [this]
            {
                rCrop.SetEditing(true, true);
                PropertiesChanged();
            });
    Update();
}

void QDEffectCropPanel::SetSize(int width, int height)
{
    if (IsUpdating())
        return;
    rCrop.SetCropDimensions(width, height, true);
    PropertiesChanged();
}

void QDEffectCropPanel::EvReset()
{
    rCrop.Reset();
    PropertiesChanged();
}

void QDEffectCropPanel::UpdateControls()
{
    const QDEffectCropProperties& p = rCrop.GetProperties();
    int index = kCustom;
    if (p.dAspectRatio > 0)
        for (int i = kOriginal; i < lpAspect->count(); ++i)
            if (std::fabs(GetItemRatio(i) - p.dAspectRatio) < kTolerance)
            {
                index = i;
                break;
            }
    lpAspect->setCurrentIndex(index);
    lpWidth->setValue(p.iCropWidth);
    lpHeight->setValue(p.iCropHeight);
    // A frame of a set ratio keeps it when one side is typed.
    if (p.dAspectRatio > 0)
        lpKeepAspect->setChecked(true);
    lpApply->setEnabled(p.bEditing || !p.bApplied);
    lpEdit->setEnabled(!p.bEditing);
}

QDEffectCropPanelSimple::QDEffectCropPanelSimple(QDEffectCropSimple& element)
    : QDPropertiesPanel(element), rCrop(element)
{
}

int QDEffectCropPanelSimple::IndexOfRatio(double ratio)
{
    if (!(ratio > 0))
        return 0;
    if (ratio < 1)
        ratio = 1 / ratio;
    if (std::fabs(ratio - 1) < kTolerance)
        return 1;
    for (int i = 0; arLandscapeRatios[i].szLabel; ++i)
        if (std::fabs(arLandscapeRatios[i].fRatio - ratio) < kTolerance)
            return 2 + i;
    return -1;
}

void QDEffectCropPanelSimple::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    GetContainerLayout()->addWidget(new QLabel("Aspect Ratio:", GetContainer()));
    lpAspect = new QComboBox(GetContainer());
    lpAspect->setAccessibleName("Aspect Ratio:");
    lpAspect->addItems({"Original Aspect Ratio", "1 x 1"});
    for (const QDAspectRatio* r = arLandscapeRatios; r->szLabel; ++r)
        lpAspect->addItem(r->szLabel);
    GetContainerLayout()->addWidget(lpAspect);
    CreateTrayResetButton();
    connect(lpAspect, &QComboBox::currentIndexChanged, this,
            [this](int index)
            {
                if (IsUpdating() || index < 0)
                    return;
                rCrop.SetProperties(index == 0   ? -1.0
                                    : index == 1 ? 1.0
                                                 : double(arLandscapeRatios[index - 2].fRatio),
                                    true);
                PropertiesChanged();
            });
    Update();
}

void QDEffectCropPanelSimple::UpdateControls()
{
    lpAspect->setCurrentIndex(IndexOfRatio(rCrop.GetProperties()));
}
