#include "document/QDEffectFactory.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace
{
struct PanelMakerEntry
{
    std::string szTypeIdentifier;
    QDPanelMaker fnMaker;
};

// Registered on the main thread at start-up, before any panel is made.
std::vector<PanelMakerEntry>& PanelMakers()
{
    static std::vector<PanelMakerEntry> makers;
    return makers;
}

QDLayerUiMaker gLayerUiMaker = nullptr;

void CopyText(char (&out)[QD_FACTORY_TEXT_SIZE], const char* text)
{
    snprintf(out, sizeof(out), "%s", text ? text : "");
}
} // namespace

QDEffectFactory::QDEffectFactory(const char* name, const char* description, short iconId,
                                 const char* typeIdentifier)
    : sIconId(iconId)
{
    CopyText(szName, name);
    CopyText(szDescription, description);
    CopyText(szTypeIdentifier, typeIdentifier);
}

QDPipelineElementUiBase* QDEffectFactory::CreateLayerUi(QDProjectViewer* viewer,
                                                        QDImagePipelineElement* element)
{
    if (!viewer || !element || !gLayerUiMaker)
        return nullptr;
    return gLayerUiMaker(*viewer, element, *this);
}

QDPipelineElementUiBase* QDEffectFactory::CreateLayerUi(QDImagePipelineElement*,
                                                        LList<LListablePtr<QDPipelineElementUiBase>>&,
                                                        QDImagePipelineViewer&, QDCanvasViewer&, LWindow*)
{
    return nullptr;
}

QDPropertiesPanel* QDEffectFactory::CreatePanel(QDImagePipelineElement* element)
{
    if (!element)
        return nullptr;
    QDPanelMaker maker = QDFindPanelMaker(szTypeIdentifier);
    if (!maker)
        maker = QDFindPanelMaker("");
    return maker ? maker(element) : nullptr;
}

QDEffectFactory* MapTypeIdToEffectFactory(const LList<QDEffectFactory>& factories, const char* typeIdentifier)
{
    if (!typeIdentifier)
        return nullptr;
    for (QDEffectFactory* f = factories.GetFirst(); f; f = f->GetNextItem())
        if (strcmp(f->szTypeIdentifier, typeIdentifier) == 0)
            return f;
    return nullptr;
}

QDEffectFactory* MapCommandIdToEffectFactory(const LList<QDEffectFactory>& factories, int commandId)
{
    for (QDEffectFactory* f = factories.GetFirst(); f; f = f->GetNextItem())
        if (f->iCommandId == commandId)
            return f;
    return nullptr;
}

void QDRegisterPanelMaker(const char* typeIdentifier, QDPanelMaker maker)
{
    const std::string key = typeIdentifier ? typeIdentifier : "";
    for (PanelMakerEntry& e : PanelMakers())
        if (e.szTypeIdentifier == key)
        {
            e.fnMaker = maker;
            return;
        }
    PanelMakers().push_back({key, maker});
}

QDPanelMaker QDFindPanelMaker(const char* typeIdentifier)
{
    const char* key = typeIdentifier ? typeIdentifier : "";
    for (const PanelMakerEntry& e : PanelMakers())
        if (e.szTypeIdentifier == key)
            return e.fnMaker;
    return nullptr;
}

void QDSetLayerUiMaker(QDLayerUiMaker maker)
{
    gLayerUiMaker = maker;
}
