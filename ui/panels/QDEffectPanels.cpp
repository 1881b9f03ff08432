#include "ui/panels/QDEffectPanels.h"

#include "document/QDEffectFactory.h"
#include "effects/QDEffectBorder.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectNegative.h"
#include "effects/QDEffectVignette.h"
#include "effects/QDEffectVintage.h"
#include "ui/panels/QDEffectBalancePanel.h"
#include "ui/panels/QDEffectBlurPanel.h"
#include "ui/panels/QDEffectCropPanel.h"
#include "ui/panels/QDEffectCurvesPanel.h"
#include "ui/panels/QDEffectFlipPanel.h"
#include "ui/panels/QDEffectFramePanel.h"
#include "ui/panels/QDEffectGradientPanel.h"
#include "ui/panels/QDEffectHuePanel.h"
#include "ui/panels/QDEffectLevelsPanel.h"
#include "ui/panels/QDEffectLiquidResizePanel.h"
#include "ui/panels/QDEffectNoisePanel.h"
#include "ui/panels/QDEffectResizePanel.h"
#include "ui/panels/QDEffectRotatePanel.h"
#include "ui/panels/QDEffectSharpenPanel.h"
#include "ui/panels/QDEffectTintPanel.h"
#include "ui/panels/QDEffectVignettePanel.h"
#include "ui/panels/QDTablePropertiesPanel.h"

void QDRegisterEffectPanels()
{
    QDRegisterPanelMaker("", &QDMakeTablePanel);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6022), &QDMakePanel<QDEffectBlur, QDEffectBlurPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6023), &QDMakePanel<QDEffectSharpen, QDEffectSharpenPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6061), &QDMakePanel<QDEffectSharpen, QDEffectSharpenPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6044), &QDMakePanel<QDEffectNoise, QDEffectNoisePanel>);
    // Geometric effects; Rotate Simple shares Rotate's panel.
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6038), &QDMakePanel<QDEffectFlip, QDEffectFlipPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6037), &QDMakePanel<QDEffectCrop, QDEffectCropPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6007),
                         &QDMakePanel<QDEffectCropSimple, QDEffectCropPanelSimple>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6039), &QDMakePanel<QDEffectResize, QDEffectResizePanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6040),
                         &QDMakePanel<QDEffectResizeSimple, QDEffectResizeSimplePanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6042), &QDMakePanel<QDEffectRotate, QDEffectRotatePanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6031), &QDMakePanel<QDEffectRotate, QDEffectRotatePanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6041),
                         &QDMakePanel<QDEffectLiquidResize, QDEffectLiquidResizePanel>);
    // Stylise effects beyond the ones their tables serve.
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6033), &QDMakePanel<QDEffectVignette, QDEffectVignettePanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6034), &QDMakePanel<QDEffectVintage, QDEffectVintagePanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6000), &QDMakePanel<QDEffectBorder, QDEffectBorderPanel>);
    QDRegisterPanelMaker(QDEffectTypeIdentifier(6051), &QDMakePanel<QDEffectFrame, QDEffectFramePanel>);
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
