#include "effects/QDEffectCategory.h"

QDEffectCategorySection* QDEffectCategory::AddSection()
{
    QDEffectCategorySection* section = new QDEffectCategorySection;
    lSections.AddTail(section);
    return section;
}

void QDEffectCategory::GetMenuItems(std::vector<QDEffectMenuItem>& items) const
{
    items.push_back({-1, szName});
    for (const QDEffectCategorySection* s = lSections.GetFirst(); s; s = s->GetNextItem())
    {
        if (s != lSections.GetFirst())
            items.push_back({0, ""});
        for (QDEffectFactory* f : s->vFactories)
            items.push_back({f->iCommandId, f->szName});
    }
    items.push_back({-1, ""});
}

size_t QDEffectCategory::GetEffectCount() const
{
    size_t n = 0;
    for (const QDEffectCategorySection* s = lSections.GetFirst(); s; s = s->GetNextItem())
        n += s->vFactories.size();
    return n;
}

QDEffectCategoryEffectIterator::QDEffectCategoryEffectIterator(const QDEffectCategory& category)
    : lpSection(category.lSections.GetFirst())
{
    SkipEmpty();
}

void QDEffectCategoryEffectIterator::Next()
{
    if (!lpSection)
        return;
    ++iIndex;
    SkipEmpty();
}

void QDEffectCategoryEffectIterator::SkipEmpty()
{
    while (lpSection && iIndex >= lpSection->vFactories.size())
    {
        lpSection = lpSection->GetNextItem();
        iIndex = 0;
    }
}
