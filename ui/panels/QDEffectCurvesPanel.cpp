#include "ui/panels/QDEffectCurvesPanel.h"

#include <QComboBox>
#include <QVBoxLayout>

#include "ui/panels/QDCurvesControl.h"

QDEffectCurvesPanel::QDEffectCurvesPanel(QDEffectCurves& element)
    : QDPropertiesPanel(element), rCurves(element)
{
    rCurves.AddHistogramNotifyee(this);
}

QDEffectCurvesPanel::~QDEffectCurvesPanel()
{
    rCurves.RemoveHistogramNotifyee(this);
}

void QDEffectCurvesPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    lpChannel = new QComboBox(GetContainer());
    lpChannel->addItems({"RGB", "Red", "Green", "Blue"});
    lpChannel->setAccessibleName("Channel");
    GetContainerLayout()->addWidget(lpChannel);
    lpCurve = new QDCurvesControl(GetContainer());
    GetContainerLayout()->addWidget(lpCurve);
    CreateTrayResetButton();
    connect(lpChannel, &QComboBox::currentIndexChanged, this, [this] { Update(); });
    connect(lpCurve, &QDCurvesControl::Changed, this,
            [this](bool undo)
            {
                if (IsUpdating())
                    return;
                QDEffectCurvesProperties p = rCurves.GetProperties();
                p.arCurves[Channel()] = lpCurve->GetCurve();
                rCurves.SetProperties(p, undo);
                PropertiesChanged();
            });
    Update();
}

int QDEffectCurvesPanel::Channel() const
{
    return std::max(0, lpChannel->currentIndex());
}

void QDEffectCurvesPanel::UpdateControls()
{
    lpCurve->SetCurve(rCurves.GetProperties().arCurves[Channel()]);
    const QDHistograms* h = rCurves.GetHistograms();
    lpCurve->SetHistogram(h ? h->arCounts[Channel()] : nullptr);
}

void QDEffectCurvesPanel::EvHistogramsChanged(const QDHistograms& histograms)
{
    lpCurve->SetHistogram(histograms.arCounts[Channel()]);
}
