// The graph's routing of mouse and keys to its nodes.

#include <algorithm>

#include "canvas/LKeyHandler.h"
#include "canvas/LSceneGraph.h"

namespace
{
// The point, given absolutely, in the frame the node's position is kept in.
void ToParentFrame(const LSceneGraphNode* node, float u, float v, float& pu, float& pv)
{
    const LSceneGraphNode* p = node->lpParent;
    if (!p)
    {
        pu = u;
        pv = v;
        return;
    }
    const float s = p->GetScaleAbsolute();
    pu = (u - p->GetUAbsolute()) / s;
    pv = (v - p->GetVAbsolute()) / s;
}

bool Overlaps(const LBoxF& a, const LBoxF& b)
{
    return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}
} // namespace

// ---- entry points

void LSceneGraph::OnMouseMove(float x, float y)
{
    EventScope scope(*this);
    EvMouseMove(x, y);
}

void LSceneGraph::OnMouseLeave()
{
    EventScope scope(*this);
    if (bCaptured)
        return;
    bMouseInside = false;
    lpDragRegionUnderMouse = nullptr;
    SetMouseOverNode(nullptr);
}

void LSceneGraph::OnLButtonDown(float x, float y)
{
    EventScope scope(*this);
    EvLButtonDown(x, y);
    UpdateCursor();
}

void LSceneGraph::OnLButtonUp(float x, float y)
{
    EventScope scope(*this);
    EvLButtonUp(x, y);
    UpdateCursor();
}

void LSceneGraph::OnRButtonDown(float x, float y)
{
    EventScope scope(*this);
    EvRButtonDown(x, y);
}

void LSceneGraph::OnRButtonUp(float x, float y)
{
    EventScope scope(*this);
    EvRButtonUp(x, y);
}

void LSceneGraph::OnMButtonDown(float x, float y)
{
    EventScope scope(*this);
    EvMButtonDown(x, y);
}

void LSceneGraph::OnMButtonUp(float x, float y)
{
    EventScope scope(*this);
    EvMButtonUp(x, y);
}

void LSceneGraph::OnDoubleClick(float x, float y)
{
    EventScope scope(*this);
    EvDoubleClick(x, y);
}

void LSceneGraph::OnMouseWheel(float x, float y, int delta)
{
    EventScope scope(*this);
    EvMouseWheel(x, y, delta);
}

void LSceneGraph::OnPinch(float x, float y, float factor)
{
    EventScope scope(*this);
    EvPinch(x, y, factor);
}

bool LSceneGraph::OnKeyDown(int key)
{
    EventScope scope(*this);
    return EvKeyDown(key);
}

void LSceneGraph::OnKeyUp(int key)
{
    EventScope scope(*this);
    EvKeyUp(key);
}

void LSceneGraph::OnChar(uint32_t character)
{
    EventScope scope(*this);
    EvChar(character);
}

// ---- mouse

void LSceneGraph::SetMouseOverNode(LSceneGraphNode* node)
{
    if (node == lpMouseOverNode)
        return;
    if (LSceneGraphNode* old = lpMouseOverNode)
    {
        lpMouseOverNode = nullptr;
        old->bMouseOver = false;
        old->EvMouseOut();
        old->NotifyMouseOut();
        if (old->bRepaintOnHover)
            old->Update(false);
        if (lpHost)
            lpHost->HostSetToolTip(nullptr);
    }
    lpMouseOverNode = node;
    if (node)
    {
        node->bMouseOver = true;
        node->EvMouseIn();
        node->NotifyMouseIn();
        if (node->bRepaintOnHover)
            node->Update(false);
        if (lpHost)
            lpHost->HostSetToolTip(node->szToolTip[0] ? node->szToolTip : nullptr);
    }
}

void LSceneGraph::UpdateCursor()
{
    if (!lpHost)
        return;
    LSceneGraphNodeDragRegion* region =
        lpNodeDragging ? lpNodeDragging->lpActiveDragRegion : lpDragRegionUnderMouse;
    int cursor = -1;
    if (bPanning)
        cursor = LCursorPanning;
    else if (region && region->iCursor >= 1 && region->iCursor <= 6)
        cursor = region->iCursor;
    else if (!region && bSetArrowCursor)
        cursor = LCursorArrow;
    if (cursor >= 0 && cursor != iLastCursor)
    {
        iLastCursor = cursor;
        lpHost->HostSetCursor(cursor);
    }
}

void LSceneGraph::BeginPan(float x, float y, int by)
{
    bPanning = true;
    iPanningBy = by;
    fPanStartX = x;
    fPanStartY = y;
    fPanStartCameraU = fCameraU;
    fPanStartCameraV = fCameraV;
    SetCapture(true);
    UpdateCursor();
}

void LSceneGraph::EndPan()
{
    bPanning = false;
    SetCapture(false);
    EvUserPanFinish();
    UpdateCursor();
}

void LSceneGraph::EvMouseMove(float x, float y)
{
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);

    if (bPanning)
    {
        float u = fPanStartCameraU - MapOffsetXYToUV(x - fPanStartX);
        float v = fPanStartCameraV - MapOffsetXYToUV(y - fPanStartY);
        ClampCameraToRestriction(u, v);
        fCameraU = u;
        fCameraV = v;
        MapXYToUV(x, y, fMouseU, fMouseV);
        EvUserPan();
        NotifyCameraMove();
        bFullRepaintPending = true;
        Update();
        return;
    }

    if (bRubberBanding)
    {
        fRubberU1 = fMouseU;
        fRubberV1 = fMouseV;
        if (!LKeyHandler::IsKeyPressed(LKeyCommand))
            DeselectAllNodes(true);
        const LBoxF box = GetSelectionBox();
        std::vector<LSceneGraphNode*> found;
        for (LSceneGraphNode* n = lpFirstNode; n; n = n->lpNext)
        {
            if (n->bHidden || n->bPendingDelete || !n->bCanSelect)
                continue;
            const LBoxF b = n->GetSelectionBounds();
            if (Overlaps(LBoxF(b.left + n->fU, b.top + n->fV, b.right + n->fU, b.bottom + n->fV), box))
                found.push_back(n);
        }
        if (found.size() == 1)
        {
            LSceneGraphNode* n = found[0];
            n->ApplySelectionBox(
                LBoxF(box.left - n->fU, box.top - n->fV, box.right - n->fU, box.bottom - n->fV));
        }
        else if (!found.empty())
        {
            for (LSceneGraphNode* n : found)
                n->SelectNode();
            SetFocus(found.back());
        }
        Update();
        return;
    }

    EvMouseMoveUV(fMouseU, fMouseV);
    if (!lpNodeDragging)
        lpDragRegionUnderMouse = GetDragRegionUnderPoint(fMouseU, fMouseV);

    const bool inside = x >= 0 && y >= 0 && x < float(iWidth) && y < float(iHeight);
    const bool wasInside = bMouseInside;
    bMouseInside = inside;
    // A dragged node keeps the mouse, and hears when it leaves the control and comes back.
    LSceneGraphNode* target = lpNodeDragging;
    if (!target && inside)
        target = GetNodeUnderPoint(fMouseU, fMouseV);
    if (target != lpMouseOverNode)
        SetMouseOverNode(target);
    else if (target && inside != wasInside)
    {
        target->bMouseOver = inside;
        if (inside)
            target->EvMouseIn();
        else
            target->EvMouseOut();
    }
    UpdateCursor();
    if (target)
    {
        float pu, pv;
        ToParentFrame(target, fMouseU, fMouseV, pu, pv);
        target->RouteMouseMoveUV(pu, pv);
    }
}

void LSceneGraph::EvLButtonDown(float x, float y)
{
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);
    if (lpHost)
        lpHost->HostSetFocus();
    if (bCanPan && iPanButton == 0)
    {
        BeginPan(x, y, 0);
        return;
    }
    if (LSceneGraphNode* node = GetNodeUnderPoint(fMouseU, fMouseV))
    {
        float pu, pv;
        ToParentFrame(node, fMouseU, fMouseV, pu, pv);
        node->RouteLButtonDownUV(pu, pv);
        return;
    }
    if (bCanRubberBand)
    {
        bRubberBanding = true;
        fRubberU0 = fRubberU1 = fMouseU;
        fRubberV0 = fRubberV1 = fMouseV;
        SetCapture(true);
    }
    if (!LKeyHandler::IsKeyPressed(LKeyCommand))
        DeselectAllNodes(true);
    if (LSceneGraphNode* focus = lpFocusNode)
    {
        lpFocusNode = nullptr;
        focus->EvLostFocus();
    }
    EvLButtonDownUV(fMouseU, fMouseV);
}

void LSceneGraph::RouteButtonUpBroadcast(bool bLeft)
{
    // Every node sees the release, hit or not, so that every drag ends; the tree holds still.
    const bool wasPainting = bPainting;
    bPainting = true;
    for (LSceneGraphNode* n = lpFirstNode; n; n = n->lpNext)
        if (bLeft)
            n->RouteLButtonUpUV(fMouseU, fMouseV);
        else
            n->RouteRButtonUpUV(fMouseU, fMouseV);
    bPainting = wasPainting;
    if (!bPainting)
        ApplyDelayed();
}

void LSceneGraph::EvLButtonUp(float x, float y)
{
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);
    if (bRubberBanding)
    {
        bRubberBanding = false;
        SetCapture(false);
        Update();
    }
    if (bPanning && iPanningBy == 0)
    {
        EndPan();
        return;
    }
    EvLButtonUpUV(fMouseU, fMouseV);
    RouteButtonUpBroadcast(true);
}

void LSceneGraph::EvRButtonDown(float x, float y)
{
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);
    if (LSceneGraphNode* node = GetNodeUnderPoint(fMouseU, fMouseV))
    {
        const float s = node->GetScaleAbsolute();
        node->EvRButtonDownUV((fMouseU - node->GetUAbsolute()) / s, (fMouseV - node->GetVAbsolute()) / s);
        return;
    }
    EvRButtonDownUV(fMouseU, fMouseV);
}

void LSceneGraph::EvRButtonUp(float x, float y)
{
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);
    EvRButtonUpUV(fMouseU, fMouseV);
    RouteButtonUpBroadcast(false);
}

void LSceneGraph::EvMButtonDown(float x, float y)
{
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);
    if (bCanPan && iPanButton == 1 && !bPanning)
        BeginPan(x, y, 1);
    EvMButtonDownUV(fMouseU, fMouseV);
}

void LSceneGraph::EvMButtonUp(float x, float y)
{
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);
    if (bPanning && iPanningBy == 1)
        EndPan();
    EvMButtonUpUV(fMouseU, fMouseV);
}

void LSceneGraph::EvDoubleClick(float x, float y)
{
    fMouseX = x;
    fMouseY = y;
    MapXYToUV(x, y, fMouseU, fMouseV);
    LSceneGraphNode* node = GetNodeUnderPoint(fMouseU, fMouseV);
    if (!node)
    {
        EvDoubleClickUV(fMouseU, fMouseV);
        return;
    }
    const LSceneGraphNode* parent = node->lpParent;
    const bool familySelected =
        parent && (parent->bSelected || (parent->lpParent && parent->lpParent->bSelected));
    if (!node->bSelected && (!node->bCanSelectViaParent || !familySelected))
        DeselectAllNodes(true);
    const float s = node->GetScaleAbsolute();
    node->EvDoubleClickUV((fMouseU - node->GetUAbsolute()) / s, (fMouseV - node->GetVAbsolute()) / s);
    node->NotifyDoubleClick();
}

void LSceneGraph::EvMouseWheel(float x, float y, int delta)
{
    (void)x, (void)y;
    if (bCanWheelZoom)
        ZoomCamera(0.125f, delta > 0, false);
}

void LSceneGraph::EvPinch(float x, float y, float factor)
{
    (void)x, (void)y;
    if (factor > 0 && iZoomMode == 1)
        SetCameraZoomResolutionRatio(fCameraZoomResolutionRatio / factor);
    else if (factor > 0)
        SetCameraZoomRange(fCameraZoomRange / factor);
}

// ---- keys

void LSceneGraph::DeleteSelected()
{
    std::vector<LSceneGraphNode*> selected;
    GetSelectedNodes(selected, true);
    for (LSceneGraphNode* n : selected)
    {
        if (!n->bCanDelete || n->bPendingDelete)
            continue;
        if (n->bDeleteHides)
        {
            n->SetHidden(true);
            n->DeselectNode(false);
        }
        else
            n->DeleteThisNode();
    }
}

bool LSceneGraph::EvKeyDown(int key)
{
    if (lpFocusNode && lpFocusNode->EvKeyDown(key))
        return true;
    if (key == LVK_BACKSPACE)
    {
        std::vector<LSceneGraphNode*> selected;
        GetSelectedNodes(selected, true);
        if (!selected.empty() && selected[0]->bCanDelete)
        {
            selected[0]->EvBackspace();
            DeleteSelected();
            return true;
        }
    }
    else if (key == LVK_FORWARD_DELETE)
    {
        LSceneGraphNode* focus = lpFocusNode;
        if (focus && focus->bSelected && focus->bCanDelete)
        {
            focus->EvDelete();
            focus->NotifyDelete();
            DeleteSelected();
            return true;
        }
    }
    else if (key == LVK_SPACE && bCanPan && bSpacePans && !bPanning)
    {
        BeginPan(fMouseX, fMouseY, 2);
        return true;
    }
    return false;
}

void LSceneGraph::EvKeyUp(int key)
{
    if (key == LVK_SPACE && bPanning && iPanningBy == 2)
    {
        EndPan();
        iLastCursor = -1;
        UpdateCursor();
    }
}

void LSceneGraph::EvChar(uint32_t character)
{
    if (lpFocusNode)
        lpFocusNode->EvChar(character);
}
