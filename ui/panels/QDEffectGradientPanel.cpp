#include "ui/panels/QDEffectGradientPanel.h"

#include <QButtonGroup>
#include <QColorDialog>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>
#include <algorithm>
#include <cmath>
#include <vector>

#include "ui/panels/QDGradientSliders.h"
#include "ui/panels/QDSlider.h"

namespace
{
bool AskColour(QWidget* parent, LPixelColour& colour)
{
    const QColor chosen =
        QColorDialog::getColor(QColor(colour.r, colour.g, colour.b), parent, "Marker Color");
    if (!chosen.isValid())
        return false;
    colour = LPixelColour(uint8_t(chosen.blue()), uint8_t(chosen.green()), uint8_t(chosen.red()), 255);
    return true;
}
QDEffectGradientPanel::ColourChooser gChooser = &AskColour;
} // namespace

void QDEffectGradientPanel::SetColourChooser(ColourChooser chooser)
{
    gChooser = chooser ? chooser : &AskColour;
}

QDEffectGradientPanel::QDEffectGradientPanel(QDEffectGradient& element)
    : QDPropertiesPanel(element), rGradient(element)
{
}

void QDEffectGradientPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    QVBoxLayout* layout = GetContainerLayout();
    QHBoxLayout* buttons = new QHBoxLayout;
    lpAdd = new QPushButton("Add Marker", GetContainer());
    lpDelete = new QPushButton("Delete Marker", GetContainer());
    buttons->addWidget(lpAdd);
    buttons->addWidget(lpDelete);
    layout->addLayout(buttons);
    lpColour = new QPushButton("Set Marker Color", GetContainer());
    layout->addWidget(lpColour);
    lpSliders = new QDGradientSliders(GetContainer());
    layout->addWidget(lpSliders);
    QGroupBox* group = new QGroupBox("Color Blending", GetContainer());
    QVBoxLayout* groupLayout = new QVBoxLayout(group);
    lpBlend = new QButtonGroup(this);
    const char* names[] = {"Mix Colors", "Overlay Colors"};
    for (int i = 0; i < 2; ++i)
    {
        QRadioButton* b = new QRadioButton(names[i], group);
        lpBlend->addButton(b, i);
        groupLayout->addWidget(b);
    }
    layout->addWidget(group);
    lpStrength = new QDSlider("Less", "More", 0, 100, GetContainer());
    layout->addWidget(lpStrength);
    CreateTrayResetButton();

    connect(lpAdd, &QPushButton::clicked, this, [this] { AddMarker(); });
    connect(lpDelete, &QPushButton::clicked, this, [this] { DeleteMarker(); });
    connect(lpColour, &QPushButton::clicked, this, [this] { SetMarkerColour(); });
    connect(lpSliders, &QDGradientSliders::Changed, this,
            [this](bool undo)
            {
                QDEffectGradientProperties p = rGradient.GetProperties();
                const QDEffectGradientProperties& m = lpSliders->GetMarkers();
                p.nMarkers = m.nMarkers;
                std::copy(std::begin(m.arMarkers), std::end(m.arMarkers), p.arMarkers);
                Commit(p, undo);
            });
    connect(lpSliders, &QDGradientSliders::SelectionChanged, this, [this] { Update(); });
    connect(lpBlend, &QButtonGroup::idClicked, this,
            [this](int id)
            {
                QDEffectGradientProperties p = rGradient.GetProperties();
                p.bOverlay = id == 1;
                Commit(p, true);
            });
    connect(lpStrength, &QDSlider::Changed, this,
            [this](QDSlider* s, bool undo)
            {
                QDEffectGradientProperties p = rGradient.GetProperties();
                p.fStrength = float(s->GetValue(s->GetPosition() / 100.0));
                Commit(p, undo);
            });
    Update();
}

void QDEffectGradientPanel::Commit(const QDEffectGradientProperties& p, bool bRegisterUndo)
{
    if (IsUpdating())
        return;
    rGradient.SetProperties(p, bRegisterUndo);
    PropertiesChanged();
}

void QDEffectGradientPanel::AddMarker()
{
    // In the middle of the widest gap between stops, in the colour the gradient has there.
    QDEffectGradientProperties p = rGradient.GetProperties();
    std::vector<float> at{0.0f, 1.0f};
    for (int i = 0; i < p.nMarkers; ++i)
        at.push_back(p.arMarkers[i].fPosition);
    std::sort(at.begin(), at.end());
    float position = 0.5f, widest = -1;
    for (size_t i = 1; i < at.size(); ++i)
        if (at[i] - at[i - 1] > widest)
        {
            widest = at[i] - at[i - 1];
            position = (at[i] + at[i - 1]) / 2;
        }
    LList<LGradientMarker> list;
    p.ToList(list);
    const LImgProGradientMap map(list);
    if (!p.AddMarker(map.arColors[std::min(255, int(position * 256))], position))
        return;
    Commit(p, true);
    lpSliders->SetSelected(p.nMarkers - 1);
}

void QDEffectGradientPanel::DeleteMarker()
{
    QDEffectGradientProperties p = rGradient.GetProperties();
    if (!p.DeleteMarker(lpSliders->GetSelected()))
        return;
    Commit(p, true);
}

void QDEffectGradientPanel::SetMarkerColour()
{
    QDEffectGradientProperties p = rGradient.GetProperties();
    const int i = lpSliders->GetSelected();
    if (i < 0 || i >= p.nMarkers)
        return;
    LPixelColour colour = LPixelColour::FromUInt32(p.arMarkers[i].iColour);
    if (!gChooser(this, colour))
        return;
    colour.a = 255;
    p.arMarkers[i].iColour = colour.ToUInt32();
    Commit(p, true);
}

void QDEffectGradientPanel::UpdateControls()
{
    const QDEffectGradientProperties& p = rGradient.GetProperties();
    lpSliders->SetMarkers(p);
    if (QAbstractButton* b = lpBlend->button(p.bOverlay ? 1 : 0))
        b->setChecked(true);
    lpStrength->Show(int(std::lround(p.fStrength * 100)), p.fStrength);
    lpDelete->setEnabled(p.nMarkers > 1);
}
