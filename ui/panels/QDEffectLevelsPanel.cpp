#include "ui/panels/QDEffectLevelsPanel.h"

#include <QComboBox>
#include <QVBoxLayout>

#include "ui/panels/QDLevelsControl.h"

QDEffectLevelsPanel::QDEffectLevelsPanel(QDEffectLevels& element)
    : QDPropertiesPanel(element), rLevels(element)
{
    rLevels.AddHistogramNotifyee(this);
}

QDEffectLevelsPanel::~QDEffectLevelsPanel()
{
    rLevels.RemoveHistogramNotifyee(this);
}

void QDEffectLevelsPanel::InitDialog()
{
    QDPropertiesPanel::InitDialog();
    lpChannel = new QComboBox(GetContainer());
    lpChannel->addItems({"RGB", "Red", "Green", "Blue"});
    lpChannel->setAccessibleName("Channel");
    GetContainerLayout()->addWidget(lpChannel);
    lpHistogram = new QDLevelsControl(GetContainer());
    GetContainerLayout()->addWidget(lpHistogram);
    lpSliders = new QDLevelsSliders(GetContainer());
    GetContainerLayout()->addWidget(lpSliders);
    CreateTrayResetButton();
    connect(lpChannel, &QComboBox::currentIndexChanged, this, [this] { Update(); });
    connect(lpSliders, &QDLevelsSliders::Changed, this,
            [this](bool undo)
            {
                if (IsUpdating())
                    return;
                QDEffectLevelsProperties p = rLevels.GetProperties();
                const LColorLevelSettings& s = lpSliders->GetLevels();
                LColorLevelSettings& c = p.arLevels[Channel()];
                c.byInputLow = s.byInputLow;
                c.byInputHigh = s.byInputHigh;
                c.fMidtone = s.fMidtone;
                lpHistogram->SetLevels(c);
                rLevels.SetProperties(p, undo);
                PropertiesChanged();
            });
    Update();
}

int QDEffectLevelsPanel::Channel() const
{
    return std::max(0, lpChannel->currentIndex());
}

void QDEffectLevelsPanel::UpdateControls()
{
    const LColorLevelSettings& s = rLevels.GetProperties().arLevels[Channel()];
    lpSliders->SetLevels(s);
    lpHistogram->SetLevels(s);
    const QDHistograms* h = rLevels.GetHistograms();
    // The mean's histogram stands for RGB; the channels' indices match the menu's.
    lpHistogram->SetHistogram(h ? h->arCounts[Channel()] : nullptr);
}

void QDEffectLevelsPanel::EvHistogramsChanged(const QDHistograms& histograms)
{
    lpHistogram->SetHistogram(histograms.arCounts[Channel()]);
}
