#include "canvas/QDCanvasWidget.h"

#include <algorithm>

void QDCanvasWidget::AddWidgetNotifyee(QDCanvasWidgetNotifyee* notifyee)
{
    if (notifyee &&
        std::find(vWidgetNotifyees.begin(), vWidgetNotifyees.end(), notifyee) == vWidgetNotifyees.end())
        vWidgetNotifyees.push_back(notifyee);
}

void QDCanvasWidget::RemoveWidgetNotifyee(QDCanvasWidgetNotifyee* notifyee)
{
    vWidgetNotifyees.erase(std::remove(vWidgetNotifyees.begin(), vWidgetNotifyees.end(), notifyee),
                           vWidgetNotifyees.end());
}

void QDCanvasWidget::NotifyBoundsChanged()
{
    const std::vector<QDCanvasWidgetNotifyee*> round = vWidgetNotifyees;
    for (QDCanvasWidgetNotifyee* n : round)
        n->EvCanvasWidgetBoundsChanged(*this);
}

void QDCanvasWidget::NotifyWidgetSelected()
{
    const std::vector<QDCanvasWidgetNotifyee*> round = vWidgetNotifyees;
    for (QDCanvasWidgetNotifyee* n : round)
        n->EvCanvasWidgetSelected(*this);
}

LBoxF QDCanvasViewerWidgetsRoot::GetSelectionBounds() const
{
    LBoxF out(0, 0, 0, 0);
    bool have = false;
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
    {
        if (c->IsHidden())
            continue;
        const LBoxF b = c->GetSelectionBoundsRecursive();
        if (!b.IsValid() || b.IsEmpty())
            continue;
        const LBoxF t(c->fU + b.left * c->fScale, c->fV + b.top * c->fScale, c->fU + b.right * c->fScale,
                      c->fV + b.bottom * c->fScale);
        if (have)
            out += t;
        else
            out = t;
        have = true;
    }
    return out;
}
