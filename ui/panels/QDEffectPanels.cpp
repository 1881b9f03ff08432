#include "ui/panels/QDEffectPanels.h"

#include "document/QDEffectFactory.h"
#include "effects/QDEffectCatalogue.h"
#include "ui/panels/QDEffectBlurPanel.h"
#include "ui/panels/QDEffectNoisePanel.h"
#include "ui/panels/QDEffectSharpenPanel.h"
#include "ui/panels/QDTablePropertiesPanel.h"

void QDRegisterEffectPanels()
{
    QDRegisterPanelMaker("", &QDMakeTablePanel);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6022), &QDMakePanel<QDEffectBlur, QDEffectBlurPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6023), &QDMakePanel<QDEffectSharpen, QDEffectSharpenPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6061), &QDMakePanel<QDEffectSharpen, QDEffectSharpenPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6044), &QDMakePanel<QDEffectNoise, QDEffectNoisePanel>);
}
