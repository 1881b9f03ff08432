#include "ui/panels/QDEffectPanels.h"

#include "document/QDEffectFactory.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectNegative.h"
#include "ui/panels/QDEffectBalancePanel.h"
#include "ui/panels/QDEffectBlurPanel.h"
#include "ui/panels/QDEffectCurvesPanel.h"
#include "ui/panels/QDEffectGradientPanel.h"
#include "ui/panels/QDEffectHuePanel.h"
#include "ui/panels/QDEffectLevelsPanel.h"
#include "ui/panels/QDEffectNoisePanel.h"
#include "ui/panels/QDEffectSharpenPanel.h"
#include "ui/panels/QDEffectTintPanel.h"
#include "ui/panels/QDTablePropertiesPanel.h"

void QDRegisterEffectPanels()
{
    QDRegisterPanelMaker("", &QDMakeTablePanel);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6022), &QDMakePanel<QDEffectBlur, QDEffectBlurPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6023), &QDMakePanel<QDEffectSharpen, QDEffectSharpenPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6061), &QDMakePanel<QDEffectSharpen, QDEffectSharpenPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6044), &QDMakePanel<QDEffectNoise, QDEffectNoisePanel>);
    // The tone and colour effects that need more than sliders; the others' tables make theirs.
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6001), &QDMakePanel<QDEffectBalance, QDEffectBalancePanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6010), &QDMakePanel<QDEffectCurves, QDEffectCurvesPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6013), &QDMakePanel<QDEffectLevels, QDEffectLevelsPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6015), &QDMakePanel<QDEffectGradient, QDEffectGradientPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6016), &QDMakePanel<QDEffectHue, QDEffectHuePanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6017), &QDMakePanel<QDEffectTint, QDEffectTintPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6019),
                         &QDMakePanel<QDEffectNegative, QDBlankPropertiesPanel>);
}
