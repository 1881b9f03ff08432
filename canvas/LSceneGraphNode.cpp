#include "canvas/LSceneGraphNode.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "canvas/LSceneGraph.h"

namespace
{
bool Overlaps(const LBoxF& a, const LBoxF& b)
{
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}
} // namespace

// ---- drag region

LBoxF LSceneGraphNodeDragRegion::GetBounds() const
{
    if (bMatchBounds)
        return lpNode->GetSelectionBounds();
    return LBoxF(fU, fV, fU + fWidth, fV + fHeight);
}

bool LSceneGraphNodeDragRegion::IsPointOver(float u, float v) const
{
    if (bUseHitTest)
        return lpNode->HitTest(u, v);
    const LBoxF b = GetBounds();
    return u > b.left && u < b.right && v > b.top && v < b.bottom;
}

// ---- life

LSceneGraphNode::~LSceneGraphNode()
{
    if (lpGraph)
    {
        // Children still waiting to be linked go with their parent.
        std::vector<LSceneGraphNode*>& pending = lpGraph->vDelayedAdd;
        for (size_t i = 0; i < pending.size();)
            if (pending[i]->lpParent == this)
            {
                LSceneGraphNode* child = pending[i];
                pending.erase(pending.begin() + long(i));
                delete child;
            }
            else
                ++i;
    }
    while (LSceneGraphNode* child = lpFirstChild)
    {
        lpFirstChild = child->lpNext;
        delete child;
    }
    if (lpGraph)
        lpGraph->NodeGone(this);
    for (LSceneGraphNodeDragRegion* r : vDragRegions)
        delete r;
}

void LSceneGraphNode::AttachChild(LSceneGraphNode* node, float u, float v)
{
    node->lpGraph = lpGraph;
    node->lpParent = this;
    node->fU = u;
    node->fV = v;
    if (lpGraph && lpGraph->bPainting)
        lpGraph->vDelayedAdd.push_back(node);
    else
        LinkChild(node);
    node->EvCreated();
    node->Update(true);
}

void LSceneGraphNode::LinkChild(LSceneGraphNode* node)
{
    node->lpNext = nullptr;
    LSceneGraphNode** link = &lpFirstChild;
    while (*link)
        link = &(*link)->lpNext;
    *link = node;
}

bool LSceneGraphNode::UnlinkChild(LSceneGraphNode* node)
{
    for (LSceneGraphNode** link = &lpFirstChild; *link; link = &(*link)->lpNext)
        if (*link == node)
        {
            *link = node->lpNext;
            node->lpNext = nullptr;
            return true;
        }
    return false;
}

void LSceneGraphNode::DeleteNode(LSceneGraphNode* child)
{
    if (!child)
        return;
    if (lpGraph)
        lpGraph->UpdateRect(child->GetDrawBoundsAbsolute());
    if (lpGraph)
    {
        std::vector<LSceneGraphNode*>& pending = lpGraph->vDelayedAdd;
        auto it = std::find(pending.begin(), pending.end(), child);
        if (it != pending.end())
        {
            pending.erase(it);
            delete child;
            return;
        }
    }
    if (child->lpParent != this)
        return;
    if (lpGraph && lpGraph->IsDeferringDeletes())
    {
        lpGraph->DeferDelete(child);
        return;
    }
    UnlinkChild(child);
    delete child;
}

void LSceneGraphNode::DeleteThisNode()
{
    if (lpParent)
        lpParent->DeleteNode(this);
    else if (lpGraph)
        lpGraph->DeleteNode(this);
}

size_t LSceneGraphNode::GetChildCount() const
{
    size_t n = 0;
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
        ++n;
    return n;
}

bool LSceneGraphNode::IsAncestorOf(const LSceneGraphNode* node) const
{
    for (const LSceneGraphNode* p = node ? node->lpParent : nullptr; p; p = p->lpParent)
        if (p == this)
            return true;
    return false;
}

// ---- hit tests

LSceneGraphNode* LSceneGraphNode::GetNodeUnderPoint(float u, float v)
{
    LSceneGraphNode* found = nullptr;
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
    {
        const float lu = c->ParentToLocalU(u), lv = c->ParentToLocalV(v);
        if (LSceneGraphNode* d = c->GetNodeUnderPoint(lu, lv))
            found = d;
        else if (!c->IsInheritHidden() && c->HitTest(lu, lv))
            found = c;
    }
    return found;
}

LSceneGraphNodeDragRegion* LSceneGraphNode::GetDragRegionUnderPoint(float u, float v)
{
    LSceneGraphNodeDragRegion* found = nullptr;
    for (LSceneGraphNodeDragRegion* r : vDragRegions)
        if (r->bEnabled && r->IsPointOver(u, v))
            found = r;
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
        if (!c->IsInheritHidden() && c->EvRequestBeginDrag())
            if (LSceneGraphNodeDragRegion* r =
                    c->GetDragRegionUnderPoint(c->ParentToLocalU(u), c->ParentToLocalV(v)))
                found = r;
    return found;
}

// ---- z order

static LSceneGraphNode* FirstSibling(const LSceneGraphNode* node)
{
    if (node->lpParent)
        return node->lpParent->lpFirstChild;
    return node->lpGraph ? node->lpGraph->lpFirstNode : nullptr;
}

bool LSceneGraphNode::IsFrontmost() const
{
    for (LSceneGraphNode* s = lpNext; s; s = s->lpNext)
        if (!s->bHidden)
            return false;
    return true;
}

bool LSceneGraphNode::IsBackmost() const
{
    for (LSceneGraphNode* s = FirstSibling(this); s && s != this; s = s->lpNext)
        if (!s->bHidden)
            return false;
    return true;
}

void LSceneGraphNode::SendToBack()
{
    if (IsBackmost())
        return;
    if (lpParent)
    {
        if (!lpParent->UnlinkChild(this))
            return;
        lpNext = lpParent->lpFirstChild;
        lpParent->lpFirstChild = this;
    }
    else if (lpGraph)
    {
        if (!lpGraph->UnlinkRoot(this))
            return;
        lpNext = lpGraph->lpFirstNode;
        lpGraph->lpFirstNode = this;
    }
    Update(false);
}

void LSceneGraphNode::BringToFront()
{
    if (IsFrontmost())
        return;
    if (lpParent)
    {
        if (!lpParent->UnlinkChild(this))
            return;
        lpParent->LinkChild(this);
    }
    else if (lpGraph)
    {
        if (!lpGraph->UnlinkRoot(this))
            return;
        lpGraph->LinkRoot(this);
    }
    Update(false);
}

// ---- position

float LSceneGraphNode::GetScaleAbsolute() const
{
    return lpParent ? fScale * lpParent->GetScaleAbsolute() : fScale;
}

float LSceneGraphNode::GetUAbsolute() const
{
    return lpParent ? lpParent->GetUAbsolute() + fU * lpParent->GetScaleAbsolute() : fU;
}

float LSceneGraphNode::GetVAbsolute() const
{
    return lpParent ? lpParent->GetVAbsolute() + fV * lpParent->GetScaleAbsolute() : fV;
}

void LSceneGraphNode::SetU(float u)
{
    SetPosition(u, fV, false);
}

void LSceneGraphNode::SetV(float v)
{
    SetPosition(fU, v, false);
}

void LSceneGraphNode::SetPosition(float u, float v, bool bAnimate)
{
    if (bAnimate && lpGraph)
    {
        fAnimStartU = fU;
        fAnimStartV = fV;
        fAnimEndU = u;
        fAnimEndV = v;
        iAnimationElapsedMs = 0;
        bAnimating = true;
        lpGraph->AddToAnimated(this);
        lpGraph->Update();
        return;
    }
    Update(true);
    fU = u;
    fV = v;
    Update(true);
}

void LSceneGraphNode::SetUVAbsolute(float u, float v)
{
    if (!lpParent)
    {
        SetPosition(u, v);
        return;
    }
    const float s = lpParent->GetScaleAbsolute();
    SetPosition((u - lpParent->GetUAbsolute()) / s, (v - lpParent->GetVAbsolute()) / s);
}

void LSceneGraphNode::SetScale(float scale)
{
    if (scale == fScale)
        return;
    Update(true);
    fScale = scale;
    NotifyScaleAbsoluteChanged();
    Update(true);
}

void LSceneGraphNode::NotifyScaleAbsoluteChanged()
{
    EvScaleAbsoluteChanged();
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
        c->NotifyScaleAbsoluteChanged();
}

float LSceneGraphNode::GetCursorU() const
{
    return lpGraph ? (lpGraph->fMouseU - GetUAbsolute()) / GetScaleAbsolute() : 0;
}

float LSceneGraphNode::GetCursorV() const
{
    return lpGraph ? (lpGraph->fMouseV - GetVAbsolute()) / GetScaleAbsolute() : 0;
}

void LSceneGraphNode::RestrictToParentBounds()
{
    if (!lpParent)
        return;
    const LBoxF p = lpParent->GetSelectionBounds();
    const LBoxF own = GetSelectionBounds();
    const LBoxF b(fU + own.left * fScale, fV + own.top * fScale, fU + own.right * fScale,
                  fV + own.bottom * fScale);
    float u = fU, v = fV;
    if (b.left < p.left)
        u += p.left - b.left;
    else if (b.right > p.right)
        u -= b.right - p.right;
    if (b.top < p.top)
        v += p.top - b.top;
    else if (b.bottom > p.bottom)
        v -= b.bottom - p.bottom;
    fU = u;
    fV = v;
}

LBoxF LSceneGraphNode::LocalToAbsolute(const LBoxF& box) const
{
    const float u = GetUAbsolute(), v = GetVAbsolute(), s = GetScaleAbsolute();
    return LBoxF(u + box.left * s, v + box.top * s, u + box.right * s, v + box.bottom * s);
}

LBoxF LSceneGraphNode::GetSelectionBoundsRecursive() const
{
    LBoxF out = GetSelectionBounds();
    bool have = out.IsValid() && !out.IsEmpty();
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
    {
        if (c->bHidden)
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
    return have ? out : LBoxF(0, 0, -1, -1);
}

// ---- mapping

float LSceneGraphNode::MapUToX(float u) const
{
    return lpGraph->MapUToX(GetUAbsolute() + u * GetScaleAbsolute());
}

float LSceneGraphNode::MapVToY(float v) const
{
    return lpGraph->MapVToY(GetVAbsolute() + v * GetScaleAbsolute());
}

float LSceneGraphNode::MapOffsetUVToXY(float length) const
{
    return lpGraph->MapOffsetUVToXY(length * GetScaleAbsolute());
}

float LSceneGraphNode::MapOffsetXYToUV(float length) const
{
    return lpGraph->MapOffsetXYToUV(length) / GetScaleAbsolute();
}

LBoxF LSceneGraphNode::MapUVToXY(const LBoxF& box) const
{
    return lpGraph->MapUVToXY(LocalToAbsolute(box));
}

// ---- state

bool LSceneGraphNode::IsInheritHidden() const
{
    for (const LSceneGraphNode* n = this; n; n = n->lpParent)
        if (n->bHidden || n->bPendingDelete)
            return true;
    return false;
}

void LSceneGraphNode::SetHidden(bool bHide)
{
    if (bHidden == bHide)
        return;
    Update(true);
    bHidden = bHide;
    Update(true);
}

void LSceneGraphNode::SetVisible(bool bShow)
{
    if (bVisible == bShow)
        return;
    bVisible = bShow;
    Update(true);
}

void LSceneGraphNode::SelectNode()
{
    if (bSelected)
        return;
    bSelected = true;
    EvSelected();
    NotifySelected();
    Update(false);
}

void LSceneGraphNode::DeselectNode(bool bRecursive)
{
    if (bSelected)
    {
        bSelected = false;
        EvDeselected();
        NotifyDeselected();
        Update(false);
    }
    if (bRecursive)
        DeselectChildren(true);
}

void LSceneGraphNode::DeselectChildren(bool bRecursive)
{
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
        c->DeselectNode(bRecursive);
}

int LSceneGraphNode::ApplySelectionBox(const LBoxF& box)
{
    std::vector<LSceneGraphNode*> found;
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
    {
        if (c->bHidden || !c->bCanSelect)
            continue;
        const LBoxF b = c->GetSelectionBounds();
        const LBoxF t(c->fU + b.left * c->fScale, c->fV + b.top * c->fScale, c->fU + b.right * c->fScale,
                      c->fV + b.bottom * c->fScale);
        if (Overlaps(t, box))
            found.push_back(c);
    }
    if (found.size() == 1)
    {
        LSceneGraphNode* c = found[0];
        const LBoxF inner((box.left - c->fU) / c->fScale, (box.top - c->fV) / c->fScale,
                          (box.right - c->fU) / c->fScale, (box.bottom - c->fV) / c->fScale);
        if (c->ApplySelectionBox(inner) == 0)
        {
            c->SelectNode();
            if (lpGraph)
                lpGraph->SetFocus(c);
        }
    }
    else
        for (LSceneGraphNode* c : found)
            c->SelectNode();
    return int(found.size());
}

void LSceneGraphNode::SetToolTip(const char* text)
{
    snprintf(szToolTip, sizeof(szToolTip), "%s", text ? text : "");
    if (lpGraph && lpGraph->lpMouseOverNode == this && lpGraph->GetHost())
        lpGraph->GetHost()->HostSetToolTip(szToolTip);
}

// ---- drag regions

LSceneGraphNodeDragRegion* LSceneGraphNode::AddDragRegion(float u, float v, float width, float height,
                                                          int cursor)
{
    auto* r = new LSceneGraphNodeDragRegion(this);
    r->fU = u;
    r->fV = v;
    r->fWidth = width;
    r->fHeight = height;
    r->iCursor = cursor;
    vDragRegions.push_back(r);
    return r;
}

LSceneGraphNodeDragRegion* LSceneGraphNode::AddDragRegionMatchBounds(int cursor)
{
    LSceneGraphNodeDragRegion* r = AddDragRegion(0, 0, 0, 0, cursor);
    r->bMatchBounds = true;
    return r;
}

void LSceneGraphNode::RemoveAllDragRegions()
{
    StopDragging();
    if (lpGraph && lpGraph->lpDragRegionUnderMouse && lpGraph->lpDragRegionUnderMouse->lpNode == this)
        lpGraph->lpDragRegionUnderMouse = nullptr;
    for (LSceneGraphNodeDragRegion* r : vDragRegions)
        delete r;
    vDragRegions.clear();
}

// ---- listeners

void LSceneGraphNode::AddNotifyee(LSceneGraphNodeNotifyee* notifyee)
{
    if (notifyee && std::find(vNotifyees.begin(), vNotifyees.end(), notifyee) == vNotifyees.end())
        vNotifyees.push_back(notifyee);
}

void LSceneGraphNode::RemoveNotifyee(LSceneGraphNodeNotifyee* notifyee)
{
    auto it = std::find(vNotifyees.begin(), vNotifyees.end(), notifyee);
    if (it != vNotifyees.end())
        vNotifyees.erase(it);
}

template <class Call>
void LSceneGraphNode::ForEachNotifyee(Call call)
{
    // A listener may remove itself or others while being told.
    const std::vector<LSceneGraphNodeNotifyee*> round = vNotifyees;
    for (LSceneGraphNodeNotifyee* n : round)
        if (std::find(vNotifyees.begin(), vNotifyees.end(), n) != vNotifyees.end())
            call(n);
}

void LSceneGraphNode::NotifyMouseIn()
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeMouseIn(*this); });
}
void LSceneGraphNode::NotifyMouseOut()
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeMouseOut(*this); });
}
void LSceneGraphNode::NotifyMouseMove(float u, float v)
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeMouseMove(*this, u, v); });
}
void LSceneGraphNode::NotifyLButtonDown(float u, float v)
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeLButtonDown(*this, u, v); });
}
void LSceneGraphNode::NotifyDoubleClick()
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeDoubleClick(*this); });
}
void LSceneGraphNode::NotifySelected()
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeSelected(*this); });
}
void LSceneGraphNode::NotifyDeselected()
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeDeselected(*this); });
}
void LSceneGraphNode::NotifyDragBegin(bool bPrimary)
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeDragBegin(*this, bPrimary); });
}
void LSceneGraphNode::NotifyDrag(bool bPrimary)
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeDrag(*this, bPrimary); });
}
void LSceneGraphNode::NotifyDragFinish(bool bPrimary)
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeDragFinish(*this, bPrimary); });
}
void LSceneGraphNode::NotifyDelete()
{
    ForEachNotifyee([&](LSceneGraphNodeNotifyee* n) { n->EvSceneGraphNodeDelete(*this); });
}

// ---- repaint and drawing helpers

void LSceneGraphNode::Update(bool bChildrenToo)
{
    if (!lpGraph)
        return;
    if (!lpGraph->bPartialUpdates)
    {
        lpGraph->Update();
        return;
    }
    if (lpGraph->bFullRepaintPending)
        return;
    lpGraph->AddToRepaintList(this);
    if (bChildrenToo)
        for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
            if (!c->bHidden)
                c->Update(true);
}

void LSceneGraphNode::DrawFrameDashedUV(LPaintContext& pc, const LBoxF& box, LGuiColor colour)
{
    pc.DrawFrameDashedAA(MapUVToXY(box), colour, 1.0f, LLineStyleDash);
}

void LSceneGraphNode::DrawBoxShadowUV(LPaintContext& pc, const LBoxF& box, float depthUV, LGuiColor colour)
{
    pc.DrawBoxShadow(colour, MapUVToXY(box), MapOffsetUVToXY(depthUV));
}

void LSceneGraphNode::RouteDraw(LPaintContext& pc, const LBoxF* clipUV, bool bAncestorsShown)
{
    const bool shown = bAncestorsShown && !bHidden && !bPendingDelete;
    if (!shown)
        return;
    if (bVisible)
    {
        const LBoxF b = GetDrawBoundsAbsolute();
        if (lpGraph->bNoCulling || (clipUV && Overlaps(*clipUV, b)))
        {
            Draw(pc);
            bxLastDrawn = b;
        }
    }
    bChildrenBusy = true;
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
        c->RouteDraw(pc, clipUV, true);
    bChildrenBusy = false;
    if (bVisible)
        DrawPostChildren(pc);
    if (bRubberBanding)
    {
        const LBoxF box(std::min(fRubberBandU0, fRubberBandU1), std::min(fRubberBandV0, fRubberBandV1),
                        std::max(fRubberBandU0, fRubberBandU1), std::max(fRubberBandV0, fRubberBandV1));
        DrawFrameDashedUV(pc, box, LGuiGrey(0));
    }
}
