#pragma once
// The catalogue: the one table that says which effects exist, under which command ids, names,
// icons, type keys, toolbar tabs and batch flag, in registration order. A row whose element
// exists carries the function that makes its factory; the others wait for theirs. The toolbar
// tabs, the menus, the batch editor, the command line and the tests all read this table.
//
// Adding an effect: its file pair with a property table, the factory function in its row here,
// and, when it needs more than a panel built from its table, a panel registered by type key on
// the ui side.

#include <cstddef>
#include <span>
#include <vector>

#include "document/QDEffectFactory.h"

struct QDEffectCatalogueRow
{
    int iCommandId;
    const char* szClass;
    const char* szName;        // display name
    const char* szDescription; // tooltip
    short sIconId;
    const char* szTypeIdentifier;
    const char* szTab;          // toolbar tab, "Effects, Tools" for two; null when not on the toolbar
    bool bBatch;                // offered to the batch editor
    const char* szElementName;  // the element's GetName where it differs from the display name
    const char* szToolbarLabel; // toolbar overrides, null where the catalogue's text stands
    const char* szToolbarTip;
    short sToolbarIconId;                                                 // 0 where the toolbar uses sIconId
    QDEffectFactory* (*fnCreateFactory)(const QDEffectCatalogueRow& row); // null until the element exists

    const char* GetElementName() const { return szElementName ? szElementName : szName; }
    const char* GetToolbarLabel() const { return szToolbarLabel ? szToolbarLabel : szName; }
    const char* GetToolbarTip() const { return szToolbarTip ? szToolbarTip : szDescription; }
    short GetToolbarIconId() const { return sToolbarIconId ? sToolbarIconId : sIconId; }
};

std::span<const QDEffectCatalogueRow> QDEffectCatalogueRows();
const QDEffectCatalogueRow* QDEffectCatalogueFind(int commandId);
const QDEffectCatalogueRow* QDEffectCatalogueFindType(const char* typeIdentifier);
// An element's identity comes from its row, so the type key it writes is the one the loader
// looks up.
const char* QDEffectTypeIdentifier(int commandId);
const char* QDEffectElementName(int commandId);

// The factories kept apart for direct use, in this order.
constexpr int kQDSpecialFactoryIds[8] = {6035, 6036, 6043, 6006, 6048, 6049, 6050, 6051};
constexpr int kQDBatchOrder[25] = {6012, 6011, 6022, 6000, 6003, 6029, 6005, 6010, 6007,
                                   6038, 6015, 6021, 6016, 6025, 6013, 6019, 6044, 6040,
                                   6031, 6014, 6023, 6020, 6018, 6017, 6033};

// The factories of the program, built once at start-up.
class QDEffectCatalogue
{
public:
    QDEffectCatalogue() = default;
    QDEffectCatalogue(const QDEffectCatalogue&) = delete;
    QDEffectCatalogue& operator=(const QDEffectCatalogue&) = delete;

    // A factory for every row whose element exists, in row order; then the special array and the
    // batch list. Calling it again does nothing.
    void Register();
    // Sets the command id and appends; returns the factory.
    QDEffectFactory* AddEffectFactory(QDEffectFactory* factory, int commandId);

    QDEffectFactory* MapCommandIdToEffectFactory(int commandId) const;
    QDEffectFactory* MapTypeIdToEffectFactory(const char* typeIdentifier) const;

    LList<QDEffectFactory> lFactories;
    // Null where the element doesn't exist yet.
    QDEffectFactory* arSpecialFactories[8] = {};
    // In the batch offering order, the existing ones only.
    std::vector<QDEffectFactory*> vBatchFactories;
};

// Makes the plain factory of an element that default construction serves.
template <class Element>
QDEffectFactory* QDMakeEffectFactory(const QDEffectCatalogueRow& row);
// Makes a factory class of its own, whose constructor carries its row's fields.
template <class Factory>
QDEffectFactory* QDMakeSpecialFactory(const QDEffectCatalogueRow& row)
{
    (void)row;
    return new Factory();
}

// The toolbar: each tab's items in order; 0 stands for a separator. Commands outside the effects'
// range are the application's.
struct QDToolbarTab
{
    const char* szName;
    int iCommandId;
    std::span<const int> items;
};
std::span<const QDToolbarTab> QDEffectToolbarTabs();
// Effects that also stand on the "Home" and "Select" tabs.
std::span<const int> QDEffectHomeTabItems();
std::span<const int> QDEffectSelectTabItems();

// Effects in the menus under labels of their own.
struct QDEffectMenuEntry
{
    const char* szMenu;
    int iCommandId;
    const char* szLabel;
};
std::span<const QDEffectMenuEntry> QDEffectMenuEntries();
