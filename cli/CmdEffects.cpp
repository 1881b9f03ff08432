// quendrel-cli effects: the catalogue, one effect a line (type key, name, whether this version has
// it), and under each available one its properties with type, range and default, as apply and
// project take them.

#include <cstdio>
#include <memory>
#include <string>

#include "cli/QDCliCommand.h"
#include "document/QDImagePipelineElement.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

static int CmEffects(int argc, char**)
{
    if (argc != 1)
        return QDCliUsage();
    QDEffectCatalogue catalogue;
    catalogue.Register();
    for (const QDEffectCatalogueRow& row : QDEffectCatalogueRows())
    {
        QDEffectFactory* factory = catalogue.MapCommandIdToEffectFactory(row.iCommandId);
        std::unique_ptr<QDImagePipelineElement> element(factory ? factory->CreateLayer() : nullptr);
        const char* state = !element                ? "not available yet"
                            : element->bBaseElement ? "base element"
                                                    : "available";
        printf("%-16s %-20s %s\n", row.szTypeIdentifier, row.szName, state);
        auto* wrapped = dynamic_cast<QDWrappedPropertiesElement*>(element.get());
        if (!wrapped)
            continue;
        for (const QDPropertyDesc& d : wrapped->GetPropertyTable())
        {
            if (!d.bSaved)
                continue;
            const std::string range = d.eType == QDPropertyBool ? "true or false"
                                                                : QDPropertyFormat(d, d.dMin) + " to " +
                                                                      QDPropertyFormat(d, d.dMax);
            printf("    %-12s %-8s %s, default %s", d.szName, QDPropertyTypeName(d.eType), range.c_str(),
                   QDPropertyFormat(d, d.dDefault).c_str());
            if (d.szChoices)
                printf(" (%s)", d.szChoices);
            printf("\n");
        }
        for (const QDTextProperty& t : wrapped->GetTextProperties())
            printf("    %-12s %-8s %s, default %s\n", t.szName, "text", t.szSyntax,
                   wrapped->GetTextProperty(t.szName).c_str());
    }
    return 0;
}

static QDCliCommandRegistrar registrar("effects", "effects", CmEffects);
