// A node's share of the event routing: presses, drags with their threshold, group moves and
// duplication, releases, and animated moves.

#include <algorithm>
#include <cmath>

#include "canvas/LKeyHandler.h"
#include "canvas/LSceneGraph.h"
#include "canvas/LSceneGraphNode.h"

// ---- routing

void LSceneGraphNode::StartDragAt(LSceneGraphNodeDragRegion* region)
{
    LSceneGraph& g = *lpGraph;
    g.SetCurNodeDragging(this);
    auto store = [&](LSceneGraphNode* n)
    {
        n->fDragStartU = n->GetUAbsolute();
        n->fDragStartV = n->GetVAbsolute();
        n->fDragStartX = g.fMouseX;
        n->fDragStartY = g.fMouseY;
        n->fDragPressU = g.fMouseU;
        n->fDragPressV = g.fMouseV;
    };
    if (bSelected)
    {
        std::vector<LSceneGraphNode*> selected;
        g.GetSelectedNodes(selected, true);
        for (LSceneGraphNode* n : selected)
            store(n);
    }
    store(this);
    lpActiveDragRegion = region;
    region->bDragStarted = false;
    g.SetCapture(true);
}

void LSceneGraphNode::RouteLButtonDownUV(float u, float v)
{
    LSceneGraph& g = *lpGraph;
    const float lu = ParentToLocalU(u), lv = ParentToLocalV(v);
    if (bCanFocus)
    {
        LSceneGraphNode* old = g.lpFocusNode;
        if (old && old != this && !(bSelected && old->bSelected))
            old->EvLostFocus();
        if (old != this)
        {
            g.lpFocusNode = this;
            EvGotFocus();
        }
    }
    bool dragging = false;
    if (!bHidden)
    {
        LSceneGraphNodeDragRegion* region = nullptr;
        for (LSceneGraphNodeDragRegion* r : vDragRegions)
            if (r->bEnabled && r->IsPointOver(lu, lv))
                region = r;
        if (region && bDraggable && EvRequestBeginDrag())
        {
            StartDragAt(region);
            dragging = true;
        }
        else if (bCanRubberBand && !region)
        {
            bRubberBanding = true;
            fRubberBandU0 = fRubberBandU1 = lu;
            fRubberBandV0 = fRubberBandV1 = lv;
            g.bChildRubberBanding = true;
            g.SetCapture(true);
            g.SetCurNodeDragging(this);
        }
    }
    (void)dragging;
    if (!LKeyHandler::IsKeyPressed(LKeyCommand))
        DeselectChildren(true);
    EvLButtonDownUV(lu, lv);
    NotifyLButtonDown(lu, lv);
}

void LSceneGraphNode::MoveByDrag(float pointerU, float pointerV)
{
    LSceneGraphNodeDragRegion* r = lpActiveDragRegion;
    const bool moveU = bMoveU && (!r || r->bMoveU), moveV = bMoveV && (!r || r->bMoveV);
    float u = fDragStartU + (pointerU - fDragPressU);
    float v = fDragStartV + (pointerV - fDragPressV);
    if (lpParent)
    {
        const float s = lpParent->GetScaleAbsolute();
        u = (u - lpParent->GetUAbsolute()) / s;
        v = (v - lpParent->GetVAbsolute()) / s;
    }
    Update(true);
    if (moveU)
        fU = u;
    if (moveV)
        fV = v;
}

void LSceneGraphNode::RouteMouseMoveUV(float u, float v)
{
    LSceneGraph& g = *lpGraph;
    LSceneGraphNode* self = this;
    LSceneGraphNodeDragRegion* region = lpActiveDragRegion;
    if (region && !region->bDragStarted)
    {
        const float dx = g.fMouseX - fDragStartX, dy = g.fMouseY - fDragStartY;
        if (std::sqrt(dx * dx + dy * dy) > float(region->iDragThreshold) * g.fDisplayScale)
        {
            region->bDragStarted = true;
            std::vector<LSceneGraphNode*> group;
            if (bSelected && bGroupDrag)
                g.GetSelectedNodes(group, true);
            if (LKeyHandler::IsKeyPressed(LKeyShift) && bCanDuplicate && !EvDuplicateOverride())
            {
                // The copies take the drag; the originals stay where they were.
                if (group.empty())
                {
                    g.DeselectAllNodes(true);
                    group.push_back(this);
                }
                const long regionIndex =
                    std::find(vDragRegions.begin(), vDragRegions.end(), region) - vDragRegions.begin();
                std::vector<LSceneGraphNode*> copies;
                for (LSceneGraphNode* n : group)
                {
                    LSceneGraphNode* c = n->Copy();
                    if (!c)
                        continue;
                    c->lpGraph = &g;
                    c->lpParent = n->lpParent;
                    c->fU = n->fU;
                    c->fV = n->fV;
                    c->fScale = n->fScale;
                    if (n->lpParent)
                        n->lpParent->LinkChild(c);
                    else
                        g.LinkRoot(c);
                    c->EvCreated();
                    c->fDragStartU = n->fDragStartU;
                    c->fDragStartV = n->fDragStartV;
                    c->fDragStartX = n->fDragStartX;
                    c->fDragStartY = n->fDragStartY;
                    c->fDragPressU = n->fDragPressU;
                    c->fDragPressV = n->fDragPressV;
                    n->DeselectNode(false);
                    c->bSelected = true;
                    c->EvSelected();
                    c->NotifySelected();
                    if (n == this)
                    {
                        LSceneGraphNodeDragRegion* cr = nullptr;
                        if (regionIndex < long(c->vDragRegions.size()))
                            cr = c->vDragRegions[size_t(regionIndex)];
                        else if (!c->vDragRegions.empty())
                            cr = c->vDragRegions[0];
                        if (cr)
                        {
                            cr->bDragStarted = true;
                            c->lpActiveDragRegion = cr;
                            g.lpNodeDragging = c;
                            self = c;
                        }
                    }
                    copies.push_back(c);
                }
                for (LSceneGraphNode* c : copies)
                    c->EvDuplicate(true);
                region->bDragStarted = false;
                lpActiveDragRegion = nullptr;
                group = (copies.size() > 1) ? copies : std::vector<LSceneGraphNode*>();
                if (self == this)
                    return;
                region = self->lpActiveDragRegion;
            }
            if (self->bBringToFrontOnDrag)
            {
                if (group.empty())
                    self->BringToFront();
                else
                    for (LSceneGraphNode* n : group)
                        n->BringToFront();
            }
            self->EvDragBegin();
            self->NotifyDragBegin(true);
            for (LSceneGraphNode* n : group)
                if (n != self)
                {
                    n->EvDragBegin();
                    n->NotifyDragBegin(false);
                }
        }
    }
    if (region && region->bDragStarted && self->lpActiveDragRegion == region)
    {
        if (self->bSelected && self->bGroupDrag)
        {
            std::vector<LSceneGraphNode*> group;
            g.GetSelectedNodes(group, true);
            for (LSceneGraphNode* n : group)
            {
                if (n == self || !n->bDraggable || !n->bGroupDrag)
                    continue;
                n->MoveByDrag(g.fMouseU, g.fMouseV);
                float pu = g.fMouseU, pv = g.fMouseV;
                if (n->lpParent)
                {
                    const float s = n->lpParent->GetScaleAbsolute();
                    pu = (pu - n->lpParent->GetUAbsolute()) / s;
                    pv = (pv - n->lpParent->GetVAbsolute()) / s;
                }
                n->EvDrag(pu, pv, false);
                n->NotifyDrag(false);
                n->Update(true);
            }
        }
        self->MoveByDrag(g.fMouseU, g.fMouseV);
        if (!region->bAllowOutsideParent && self->lpParent)
            self->RestrictToParentBounds();
        self->EvDrag(u, v, true);
        self->NotifyDrag(true);
        self->Update(true);
    }
    if (bRubberBanding)
    {
        const LBoxF b = GetSelectionBounds();
        fRubberBandU1 = std::max(ParentToLocalU(u), b.left);
        fRubberBandV1 = std::max(ParentToLocalV(v), b.top);
        if (!LKeyHandler::IsKeyPressed(LKeyCommand))
            g.DeselectAllNodes(true);
        ApplySelectionBox(
            LBoxF(std::min(fRubberBandU0, fRubberBandU1), std::min(fRubberBandV0, fRubberBandV1),
                  std::max(fRubberBandU0, fRubberBandU1), std::max(fRubberBandV0, fRubberBandV1)));
        Update(true);
    }
    const float lu = ParentToLocalU(u), lv = ParentToLocalV(v);
    EvMouseMoveUV(lu, lv);
    NotifyMouseMove(lu, lv);
}

void LSceneGraphNode::StopDragging()
{
    LSceneGraphNodeDragRegion* region = lpActiveDragRegion;
    if (!region)
        return;
    lpActiveDragRegion = nullptr;
    if (region->bDragStarted)
    {
        region->bDragStarted = false;
        if (bSelected && bGroupDrag && lpGraph)
        {
            std::vector<LSceneGraphNode*> group;
            lpGraph->GetSelectedNodes(group, true);
            for (LSceneGraphNode* n : group)
            {
                n->EvDragFinish(n == this);
                n->NotifyDragFinish(n == this);
            }
            if (std::find(group.begin(), group.end(), this) == group.end())
            {
                EvDragFinish(true);
                NotifyDragFinish(true);
            }
        }
        else
        {
            EvDragFinish(true);
            NotifyDragFinish(true);
        }
    }
    if (lpGraph)
    {
        lpGraph->SetCapture(false);
        if (lpGraph->lpNodeDragging == this)
            lpGraph->SetCurNodeDragging(nullptr);
    }
}

void LSceneGraphNode::RouteLButtonUpUV(float u, float v)
{
    StopDragging();
    if (bRubberBanding)
    {
        bRubberBanding = false;
        if (lpGraph)
        {
            lpGraph->bChildRubberBanding = false;
            lpGraph->SetCapture(false);
            if (lpGraph->lpNodeDragging == this)
                lpGraph->SetCurNodeDragging(nullptr);
        }
        Update(true);
    }
    const float lu = ParentToLocalU(u), lv = ParentToLocalV(v);
    EvLButtonUpUV(lu, lv);
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
        c->RouteLButtonUpUV(lu, lv);
}

void LSceneGraphNode::RouteRButtonUpUV(float u, float v)
{
    const float lu = ParentToLocalU(u), lv = ParentToLocalV(v);
    EvRButtonUpUV(lu, lv);
    for (LSceneGraphNode* c = lpFirstChild; c; c = c->lpNext)
        c->RouteRButtonUpUV(lu, lv);
}

void LSceneGraphNode::EvAnimate(int elapsedMs)
{
    if (!bAnimating)
        return;
    bool arrived = false;
    float u = fU, v = fV;
    if (iAnimationMode == 0)
    {
        iAnimationElapsedMs += elapsedMs;
        const float t = iAnimationTimeMs > 0 ? float(iAnimationElapsedMs) / float(iAnimationTimeMs) : 1.0f;
        if (t >= 1)
            arrived = true;
        else
        {
            u = fAnimStartU + (fAnimEndU - fAnimStartU) * t;
            v = fAnimStartV + (fAnimEndV - fAnimStartV) * t;
        }
    }
    else
    {
        iAnimationElapsedMs += elapsedMs;
        const float du = fAnimEndU - fU, dv = fAnimEndV - fV;
        const float left = std::sqrt(du * du + dv * dv);
        const float su = fAnimEndU - fAnimStartU, sv = fAnimEndV - fAnimStartV;
        const float whole = std::sqrt(su * su + sv * sv);
        float step = fAnimationSpeed / 1000.0f * float(elapsedMs);
        if (iAnimationMaxMs > 0)
            step = std::max(step, whole / float(iAnimationMaxMs) * float(elapsedMs));
        if (step >= left || left <= 0)
            arrived = true;
        else
        {
            u = fU + du / left * step;
            v = fV + dv / left * step;
        }
    }
    Update(true);
    if (arrived)
    {
        fU = fAnimEndU;
        fV = fAnimEndV;
        bAnimating = false;
        iAnimationElapsedMs = 0;
        if (lpGraph)
        {
            auto& a = lpGraph->vAnimated;
            a.erase(std::remove(a.begin(), a.end(), this), a.end());
        }
    }
    else
    {
        fU = u;
        fV = v;
    }
    Update(true);
}
