#pragma once
// Categories of effects for menus: a category is a pop-up of sections, a section a run of
// factories. The program's list of categories is empty in this version (the toolbar's tabs group
// the effects), but the menu and enablement code walks it all the same.

#include <string>
#include <vector>

#include "document/QDEffectFactory.h"
#include "foundation/LList.h"

// One menu line: a command with its text; -1 opens a pop-up (with its name) or, without text,
// closes it; 0 with no text separates.
struct QDEffectMenuItem
{
    int iCommandId;
    std::string szText;
};

class QDEffectCategorySection : public LListItem<QDEffectCategorySection>
{
public:
    std::vector<QDEffectFactory*> vFactories;
};

class QDEffectCategory : public LListItem<QDEffectCategory>
{
public:
    explicit QDEffectCategory(const char* name) : szName(name ? name : "") {}

    QDEffectCategorySection* AddSection();
    // The pop-up's start, the sections' items with an empty item between sections, the end.
    void GetMenuItems(std::vector<QDEffectMenuItem>& items) const;
    size_t GetEffectCount() const;
    // Effects, plus sections (the separators and the start), plus the end.
    size_t GetMenuItemCount() const { return GetEffectCount() + lSections.GetCount() + 1; }

    std::string szName;
    LList<QDEffectCategorySection> lSections;
};

// Every factory of a category, section after section.
class QDEffectCategoryEffectIterator
{
public:
    explicit QDEffectCategoryEffectIterator(const QDEffectCategory& category);
    bool IsValid() const { return lpSection != nullptr; }
    void Next();
    QDEffectFactory* Get() const { return lpSection->vFactories[iIndex]; }
    QDEffectFactory* operator->() const { return Get(); }

private:
    void SkipEmpty();
    const QDEffectCategorySection* lpSection;
    size_t iIndex = 0;
};
