#include "canvas/LSceneGraph.h"

#include <algorithm>
#include <cmath>

namespace
{
constexpr int kCameraAnimationStepMs = 15;
constexpr int kCameraAnimationMs = 200;
} // namespace

LSceneGraph::LSceneGraph()
{
    iTimerBase = GlobalBaseTimerId;
    GlobalBaseTimerId += 10000;
    iUpdateTimerId = iTimerBase;
    iNextNodeTimer = iTimerBase + 2;
}

LSceneGraph::~LSceneGraph()
{
    DeleteAllNodes();
    TimerDestroy();
    if (lpHost && bCaptured)
        lpHost->HostSetCapture(false);
}

void LSceneGraph::Init(LSceneGraphHost* host)
{
    lpHost = host;
    bCaptured = false;
    iLastCursor = -1;
    bFullRepaintPending = true;
    if (lpHost)
        Update();
}

LSceneGraph::EventScope::~EventScope()
{
    if (--rGraph.iEventDepth == 0 && !rGraph.bPainting)
        rGraph.FlushDeletes();
}

// ---- tree

void LSceneGraph::AttachRoot(LSceneGraphNode* node, float u, float v)
{
    node->lpGraph = this;
    node->lpParent = nullptr;
    node->fU = u;
    node->fV = v;
    if (bPainting)
        vDelayedAdd.push_back(node);
    else
        LinkRoot(node);
    node->EvCreated();
    node->Update(true);
}

void LSceneGraph::LinkRoot(LSceneGraphNode* node)
{
    node->lpNext = nullptr;
    LSceneGraphNode** link = &lpFirstNode;
    while (*link)
        link = &(*link)->lpNext;
    *link = node;
}

bool LSceneGraph::UnlinkRoot(LSceneGraphNode* node)
{
    for (LSceneGraphNode** link = &lpFirstNode; *link; link = &(*link)->lpNext)
        if (*link == node)
        {
            *link = node->lpNext;
            node->lpNext = nullptr;
            return true;
        }
    return false;
}

void LSceneGraph::DeleteNode(LSceneGraphNode* node)
{
    if (!node)
        return;
    if (node->lpParent)
    {
        node->lpParent->DeleteNode(node);
        return;
    }
    UpdateRect(node->GetDrawBoundsAbsolute());
    auto pending = std::find(vDelayedAdd.begin(), vDelayedAdd.end(), node);
    if (pending != vDelayedAdd.end())
    {
        vDelayedAdd.erase(pending);
        delete node;
        return;
    }
    if (IsDeferringDeletes())
    {
        DeferDelete(node);
        return;
    }
    if (UnlinkRoot(node))
        delete node;
}

void LSceneGraph::DeleteAllNodes()
{
    while (!vDelayedAdd.empty())
    {
        LSceneGraphNode* n = vDelayedAdd.back();
        vDelayedAdd.pop_back();
        if (!n->lpParent)
            delete n;
    }
    while (LSceneGraphNode* n = lpFirstNode)
    {
        lpFirstNode = n->lpNext;
        delete n;
    }
    vDelayedDelete.clear();
}

void LSceneGraph::DeferDelete(LSceneGraphNode* node)
{
    if (node->bPendingDelete)
        return;
    node->bPendingDelete = true;
    vDelayedDelete.push_back(node);
}

void LSceneGraph::FlushDeletes()
{
    while (!vDelayedDelete.empty())
    {
        std::vector<LSceneGraphNode*> pending;
        pending.swap(vDelayedDelete);
        // A node whose ancestor also goes is destroyed with that ancestor.
        std::vector<LSceneGraphNode*> tops;
        for (LSceneGraphNode* n : pending)
        {
            bool covered = false;
            for (LSceneGraphNode* p = n->lpParent; p && !covered; p = p->lpParent)
                covered = p->bPendingDelete;
            if (!covered)
                tops.push_back(n);
        }
        for (LSceneGraphNode* n : tops)
        {
            const bool linked = n->lpParent ? n->lpParent->UnlinkChild(n) : UnlinkRoot(n);
            if (linked)
                delete n;
        }
    }
}

void LSceneGraph::ApplyDelayed()
{
    std::vector<LSceneGraphNode*> adds;
    adds.swap(vDelayedAdd);
    for (LSceneGraphNode* n : adds)
    {
        if (n->lpParent)
            n->lpParent->LinkChild(n);
        else
            LinkRoot(n);
        n->Update(true);
    }
    if (iEventDepth == 0)
        FlushDeletes();
}

void LSceneGraph::NodeGone(LSceneGraphNode* node)
{
    if (node->bxLastDrawn.IsValid() && !node->bxLastDrawn.IsEmpty())
        UpdateRect(node->bxLastDrawn);
    if (lpMouseOverNode == node)
    {
        lpMouseOverNode = nullptr;
        if (lpHost)
            lpHost->HostSetToolTip(nullptr);
    }
    if (lpDragRegionUnderMouse && lpDragRegionUnderMouse->lpNode == node)
        lpDragRegionUnderMouse = nullptr;
    if (lpFocusNode == node)
        lpFocusNode = nullptr;
    if (lpNodeDragging == node)
    {
        SetCapture(false);
        SetCurNodeDragging(nullptr);
    }
    auto drop = [node](std::vector<LSceneGraphNode*>& v)
    { v.erase(std::remove(v.begin(), v.end(), node), v.end()); };
    drop(vAnimated);
    drop(vRepaintNodes);
    drop(vDelayedDelete);
    auto dropPairs = [node](std::vector<std::pair<int, LSceneGraphNode*>>& v) {
        v.erase(std::remove_if(v.begin(), v.end(), [node](const auto& p) { return p.second == node; }),
                v.end());
    };
    dropPairs(vNodeTimers);
    dropPairs(vMenuCommands);
}

std::vector<LSceneGraphNode*> LSceneGraph::GetNodes() const
{
    std::vector<LSceneGraphNode*> out;
    for (LSceneGraphNode* n = lpFirstNode; n; n = n->lpNext)
        out.push_back(n);
    return out;
}

static void CollectSelected(LSceneGraphNode* first, std::vector<LSceneGraphNode*>& out, bool bRecursive)
{
    for (LSceneGraphNode* n = first; n; n = n->lpNext)
    {
        if (n->bSelected && !n->bHidden && !n->bPendingDelete)
            out.push_back(n);
        if (bRecursive)
            CollectSelected(n->lpFirstChild, out, true);
    }
}

void LSceneGraph::GetSelectedNodes(std::vector<LSceneGraphNode*>& out, bool bRecursive) const
{
    CollectSelected(lpFirstNode, out, bRecursive);
}

LSceneGraphNode* LSceneGraph::GetNodeUnderPoint(float u, float v)
{
    LSceneGraphNode* found = nullptr;
    for (LSceneGraphNode* n = lpFirstNode; n; n = n->lpNext)
    {
        const float lu = n->ParentToLocalU(u), lv = n->ParentToLocalV(v);
        if (LSceneGraphNode* d = n->GetNodeUnderPoint(lu, lv))
            found = d;
        else if (!n->bHidden && !n->bPendingDelete && n->HitTest(lu, lv))
            found = n;
    }
    return found;
}

LSceneGraphNodeDragRegion* LSceneGraph::GetDragRegionUnderPoint(float u, float v)
{
    // Unlike the walk inside a node, the first root with an answer wins.
    for (LSceneGraphNode* n = lpFirstNode; n; n = n->lpNext)
    {
        if (n->bHidden || n->bPendingDelete)
            continue;
        if (LSceneGraphNodeDragRegion* r =
                n->GetDragRegionUnderPoint(n->ParentToLocalU(u), n->ParentToLocalV(v)))
            return r;
    }
    return nullptr;
}

// ---- camera

float LSceneGraph::MapUToX(float u) const
{
    if (iZoomMode == 1)
        return float(iWidth / 2) + (u - fCameraU) / fCameraZoomResolutionRatio;
    const float w = float(iFixedWidth > 0 ? iFixedWidth : iWidth);
    return w * ((u - fCameraU) / fCameraZoomRange + 0.5f);
}

float LSceneGraph::MapVToY(float v) const
{
    if (iZoomMode == 1)
    {
        if (iOriginMode == 1)
            return float(iHeight / 2) + (v - fCameraV) / fCameraZoomResolutionRatio;
        return (v - fCameraV) / fCameraZoomResolutionRatio;
    }
    const float w = float(iFixedWidth > 0 ? iFixedWidth : iWidth);
    if (iOriginMode == 0)
        return w * ((v - fCameraV) / fCameraZoomRange + 0.5f);
    return float(iHeight) * ((v - fCameraV) / GetCameraZoomRangeV() + 0.5f);
}

float LSceneGraph::MapXToU(float x) const
{
    if (iZoomMode == 1)
        return fCameraU + (x - float(iWidth / 2)) * fCameraZoomResolutionRatio;
    const float w = float(iFixedWidth > 0 ? iFixedWidth : iWidth);
    return w > 0 ? fCameraU + (x / w - 0.5f) * fCameraZoomRange : fCameraU;
}

float LSceneGraph::MapYToV(float y) const
{
    if (iZoomMode == 1)
    {
        if (iOriginMode == 1)
            return fCameraV + (y - float(iHeight / 2)) * fCameraZoomResolutionRatio;
        return fCameraV + y * fCameraZoomResolutionRatio;
    }
    const float w = float(iFixedWidth > 0 ? iFixedWidth : iWidth);
    if (iOriginMode == 0)
        return w > 0 ? fCameraV + (y / w - 0.5f) * fCameraZoomRange : fCameraV;
    return iHeight > 0 ? fCameraV + (y / float(iHeight) - 0.5f) * GetCameraZoomRangeV() : fCameraV;
}

float LSceneGraph::GetCameraZoomRangeV() const
{
    const float w = float(iFixedWidth > 0 ? iFixedWidth : iWidth);
    return w > 0 ? float(iHeight) / w * fCameraZoomRange : fCameraZoomRange;
}

LBoxF LSceneGraph::MapUVToXY(const LBoxF& box) const
{
    return LBoxF(MapUToX(box.left), MapVToY(box.top), MapUToX(box.right), MapVToY(box.bottom));
}

LBoxF LSceneGraph::MapXYToUV(const LBoxF& box) const
{
    return LBoxF(MapXToU(box.left), MapYToV(box.top), MapXToU(box.right), MapYToV(box.bottom));
}

float LSceneGraph::MapOffsetUVToXY(float length) const
{
    if (iZoomMode == 1)
        return length / fCameraZoomResolutionRatio;
    const float w = float(iFixedWidth > 0 ? iFixedWidth : iWidth);
    return length * w / fCameraZoomRange;
}

float LSceneGraph::MapOffsetXYToUV(float length) const
{
    if (iZoomMode == 1)
        return length * fCameraZoomResolutionRatio;
    const float w = float(iFixedWidth > 0 ? iFixedWidth : iWidth);
    return w > 0 ? length * fCameraZoomRange / w : length;
}

LBoxF LSceneGraph::GetCameraBounds() const
{
    return LBoxF(MapXToU(0), MapYToV(0), MapXToU(float(iWidth)), MapYToV(float(iHeight)));
}

void LSceneGraph::NotifyCameraMove()
{
    EvCameraMove();
    const std::vector<LSceneGraphCameraNotifyee*> round = vCameraNotifyees;
    for (LSceneGraphCameraNotifyee* n : round)
        if (std::find(vCameraNotifyees.begin(), vCameraNotifyees.end(), n) != vCameraNotifyees.end())
            n->EvSceneGraphCameraMove(*this);
}

void LSceneGraph::SetCameraPosition(float u, float v)
{
    fCameraU = u;
    fCameraV = v;
    MapXYToUV(fMouseX, fMouseY, fMouseU, fMouseV);
    NotifyCameraMove();
    bFullRepaintPending = true;
    Update();
}

void LSceneGraph::SetCameraPositionU(float u)
{
    SetCameraPosition(u, fCameraV);
}

void LSceneGraph::SetCameraPositionV(float v)
{
    SetCameraPosition(fCameraU, v);
}

void LSceneGraph::SetCameraZoomResolutionRatio(float ratio)
{
    if (iZoomMode == 1 && ratio == fCameraZoomResolutionRatio)
        return;
    iZoomMode = 1;
    fCameraZoomResolutionRatio = ratio;
    MapXYToUV(fMouseX, fMouseY, fMouseU, fMouseV);
    NotifyCameraMove();
    bFullRepaintPending = true;
    Update();
}

void LSceneGraph::SetCameraZoomRange(float range)
{
    if (fCameraZoomMin != 0 && range < fCameraZoomMin)
        range = fCameraZoomMin;
    if (fCameraZoomMax != 0 && range > fCameraZoomMax)
        range = fCameraZoomMax;
    if (iZoomMode == 0 && range == fCameraZoomRange)
        return;
    iZoomMode = 0;
    fCameraZoomRange = range;
    MapXYToUV(fMouseX, fMouseY, fMouseU, fMouseV);
    NotifyCameraMove();
    bFullRepaintPending = true;
    Update();
}

void LSceneGraph::ZoomCamera(float amount, bool bIn, bool bAnimate)
{
    const float factor = bIn ? 1 - amount : 1 + amount;
    if (iZoomMode == 1)
        SetCameraZoomResolutionRatio(fCameraZoomResolutionRatio * factor);
    else if (bAnimate)
        SetCameraAnimate(fCameraU, fCameraV, fCameraZoomRange * factor);
    else
        SetCameraZoomRange(fCameraZoomRange * factor);
}

void LSceneGraph::ClampCameraToRestriction(float& u, float& v) const
{
    if (!bRestrictCamera)
        return;
    const LBoxF b = GetSelectionBounds();
    if (!b.IsValid())
        return;
    u = std::clamp(u, b.left - fCameraMargin, std::max(b.left - fCameraMargin, b.right + fCameraMargin));
    v = std::clamp(v, b.top - fCameraMargin, std::max(b.top - fCameraMargin, b.bottom + fCameraMargin));
}

void LSceneGraph::SetCameraAnimate(float u, float v, float zoom)
{
    ClampCameraToRestriction(u, v);
    if (iZoomMode == 0)
    {
        if (fCameraZoomMin != 0 && zoom < fCameraZoomMin)
            zoom = fCameraZoomMin;
        if (fCameraZoomMax != 0 && zoom > fCameraZoomMax)
            zoom = fCameraZoomMax;
    }
    fAnimStartU = fCameraU;
    fAnimStartV = fCameraV;
    fAnimStartZoom = iZoomMode == 1 ? fCameraZoomResolutionRatio : fCameraZoomRange;
    fAnimTargetU = u;
    fAnimTargetV = v;
    fAnimTargetZoom = zoom;
    iAnimElapsedMs = 0;
    bCameraAnimating = true;
    TimerSet(iTimerBase + 1, kCameraAnimationStepMs);
}

void LSceneGraph::AnimateCameraStep()
{
    if (!bCameraAnimating)
        return;
    iAnimElapsedMs += kCameraAnimationStepMs;
    const float t = float(iAnimElapsedMs) / float(kCameraAnimationMs);
    float zoom;
    if (t >= 1)
    {
        fCameraU = fAnimTargetU;
        fCameraV = fAnimTargetV;
        zoom = fAnimTargetZoom;
        bCameraAnimating = false;
    }
    else
    {
        fCameraU = fAnimStartU + (fAnimTargetU - fAnimStartU) * t;
        fCameraV = fAnimStartV + (fAnimTargetV - fAnimStartV) * t;
        zoom = fAnimStartZoom + (fAnimTargetZoom - fAnimStartZoom) * t;
        TimerSet(iTimerBase + 1, kCameraAnimationStepMs);
    }
    if (iZoomMode == 1)
        fCameraZoomResolutionRatio = zoom;
    else
        fCameraZoomRange = zoom;
    MapXYToUV(fMouseX, fMouseY, fMouseU, fMouseV);
    NotifyCameraMove();
    bFullRepaintPending = true;
    Update();
}

void LSceneGraph::ZoomToBounds(const LBoxF& box, bool bAnimate)
{
    const float W = float(iWidth), H = float(iHeight);
    if (W <= 0 || H <= 0 || !box.IsValid())
        return;
    const float bw = box.GetWidth(), bh = box.GetHeight();
    float zoom, u = (box.left + box.right) / 2, v = (box.top + box.bottom) / 2;
    if (iZoomMode == 1)
        zoom = (bh > 0 && W / H > bw / bh) ? bh / H : bw / W;
    else
    {
        zoom = std::max(bw, bh / (H / W));
        if (iOriginMode == 0)
            v = box.top + bh / 2 / (H / W);
    }
    if (zoom <= 0)
        return;
    if (bAnimate)
    {
        SetCameraAnimate(u, v, zoom);
        return;
    }
    fCameraU = u;
    fCameraV = v;
    if (iZoomMode == 1)
        SetCameraZoomResolutionRatio(zoom);
    else
        SetCameraZoomRange(zoom);
    SetCameraPosition(u, v);
}

void LSceneGraph::ZoomToIncludeBounds(const LBoxF& box, float margin)
{
    LBoxF b(box.left - margin, box.top - margin, box.right + margin, box.bottom + margin);
    b += GetCameraBounds();
    ZoomToBounds(b, false);
}

void LSceneGraph::ZoomToIncludeNode(LSceneGraphNode* node, float margin)
{
    if (node)
        ZoomToIncludeBounds(node->GetSelectionBoundsAbsolute(), margin);
}

void LSceneGraph::AddCameraNotifyee(LSceneGraphCameraNotifyee* notifyee)
{
    if (notifyee &&
        std::find(vCameraNotifyees.begin(), vCameraNotifyees.end(), notifyee) == vCameraNotifyees.end())
        vCameraNotifyees.push_back(notifyee);
}

void LSceneGraph::RemoveCameraNotifyee(LSceneGraphCameraNotifyee* notifyee)
{
    vCameraNotifyees.erase(std::remove(vCameraNotifyees.begin(), vCameraNotifyees.end(), notifyee),
                           vCameraNotifyees.end());
}

LBoxF LSceneGraph::GetSelectionBounds() const
{
    LBoxF out(0, 0, -1, -1);
    bool have = false;
    for (LSceneGraphNode* n = lpFirstNode; n; n = n->lpNext)
    {
        const LBoxF b = n->GetSelectionBoundsAbsolute();
        if (!b.IsValid() || b.IsEmpty())
            continue;
        if (have)
            out += b;
        else
            out = b;
        have = true;
    }
    return out;
}

// ---- selection

void LSceneGraph::DeselectAllNodes(bool bRecursive)
{
    for (LSceneGraphNode* n = lpFirstNode; n; n = n->lpNext)
        n->DeselectNode(bRecursive);
}

void LSceneGraph::SetFocus(LSceneGraphNode* node)
{
    if (lpFocusNode == node)
        return;
    LSceneGraphNode* old = lpFocusNode;
    lpFocusNode = node;
    if (old)
        old->EvLostFocus();
    if (node)
        node->EvGotFocus();
}

LBoxF LSceneGraph::GetSelectionBox() const
{
    return LBoxF(std::min(fRubberU0, fRubberU1), std::min(fRubberV0, fRubberV1),
                 std::max(fRubberU0, fRubberU1), std::max(fRubberV0, fRubberV1));
}

void LSceneGraph::SetCurNodeDragging(LSceneGraphNode* node)
{
    LSceneGraphNode* old = lpNodeDragging;
    lpNodeDragging = node;
    if (!old && node)
        EvDragStart();
    else if (old && !node)
        EvDragFinish();
}

void LSceneGraph::SetCapture(bool bCapture)
{
    if (bCaptured == bCapture)
        return;
    bCaptured = bCapture;
    if (lpHost)
        lpHost->HostSetCapture(bCapture);
}

// ---- repaint and timers

void LSceneGraph::Update()
{
    if (!bBatchUpdates && vAnimated.empty())
    {
        if (lpHost)
            lpHost->HostInvalidate(nullptr);
        return;
    }
    if (bPartialUpdates)
        bFullRepaintPending = true;
    if (!bUpdateTimerSet)
    {
        bUpdateTimerSet = true;
        TimerSet(iUpdateTimerId, iUpdateDelay);
    }
}

void LSceneGraph::AddToRepaintList(LSceneGraphNode* node)
{
    if (!node->bInRepaintList)
    {
        node->bInRepaintList = true;
        vRepaintNodes.push_back(node);
    }
    if (!bUpdateTimerSet)
    {
        bUpdateTimerSet = true;
        TimerSet(iUpdateTimerId, iUpdateDelay);
    }
}

void LSceneGraph::UpdateRect(const LBoxF& box)
{
    if (!box.IsValid() || box.IsEmpty())
        return;
    if (!bPartialUpdates || bFullRepaintPending)
    {
        Update();
        return;
    }
    vRepaintRects.push_back(box);
    if (!bUpdateTimerSet)
    {
        bUpdateTimerSet = true;
        TimerSet(iUpdateTimerId, iUpdateDelay);
    }
}

void LSceneGraph::AddToAnimated(LSceneGraphNode* node)
{
    if (std::find(vAnimated.begin(), vAnimated.end(), node) == vAnimated.end())
        vAnimated.push_back(node);
}

int LSceneGraph::AddNodeTimer(LSceneGraphNode* node)
{
    const int id = iNextNodeTimer++;
    vNodeTimers.emplace_back(id, node);
    return id;
}

void LSceneGraph::AddMenuCommand(LSceneGraphNode* node, int id)
{
    vMenuCommands.emplace_back(id, node);
}

void LSceneGraph::OnMenuCommand(int id)
{
    EventScope scope(*this);
    if (id < 500 || id > 50000)
        return;
    std::vector<std::pair<int, LSceneGraphNode*>> commands;
    commands.swap(vMenuCommands);
    for (const auto& c : commands)
        if (c.first == id)
        {
            c.second->EvMenuItem(id);
            break;
        }
}

void LSceneGraph::UpdateTimerTick()
{
    const std::vector<LSceneGraphNode*> animated = vAnimated;
    for (LSceneGraphNode* n : animated)
        if (std::find(vAnimated.begin(), vAnimated.end(), n) != vAnimated.end())
            n->EvAnimate(iUpdateDelay);
    // Things may have moved under a still mouse.
    if (bMouseInside && !bPanning && !lpNodeDragging && !bRubberBanding)
        EvMouseMove(fMouseX, fMouseY);
    if (lpHost)
    {
        if (!bPartialUpdates || bFullRepaintPending)
            lpHost->HostInvalidate(nullptr);
        else
        {
            const float pad = Px(3);
            auto invalidate = [&](const LBoxF& uv)
            {
                if (!uv.IsValid() || uv.IsEmpty())
                    return;
                const LBoxF xy = MapUVToXY(uv);
                LBoundingBox2T<int> box(int(std::floor(std::min(xy.left, xy.right) - pad)),
                                        int(std::floor(std::min(xy.top, xy.bottom) - pad)),
                                        int(std::ceil(std::max(xy.left, xy.right) + pad)),
                                        int(std::ceil(std::max(xy.top, xy.bottom) + pad)));
                lpHost->HostInvalidate(&box);
            };
            for (LSceneGraphNode* n : vRepaintNodes)
            {
                invalidate(n->bxLastDrawn);
                invalidate(n->GetDrawBoundsAbsolute());
            }
            for (const LBoxF& r : vRepaintRects)
                invalidate(r);
        }
    }
    for (LSceneGraphNode* n : vRepaintNodes)
        n->bInRepaintList = false;
    vRepaintNodes.clear();
    vRepaintRects.clear();
    bFullRepaintPending = false;
    bUpdateTimerSet = false;
    for (LSceneGraphNode* n : vAnimated)
        n->Update(true);
}

void LSceneGraph::EvTimer(int id)
{
    EventScope scope(*this);
    if (id == iUpdateTimerId)
    {
        UpdateTimerTick();
        return;
    }
    if (id == iTimerBase + 1)
    {
        AnimateCameraStep();
        return;
    }
    const std::vector<std::pair<int, LSceneGraphNode*>> timers = vNodeTimers;
    for (const auto& t : timers)
        if (t.first == id)
            t.second->EvTimer(id);
}

// ---- paint

void LSceneGraph::OnSize(int width, int height, float displayScale)
{
    EventScope scope(*this);
    iWidth = width;
    iHeight = height;
    fDisplayScale = displayScale > 0 ? displayScale : 1.0f;
    MapXYToUV(fMouseX, fMouseY, fMouseU, fMouseV);
    EvSize();
    bFullRepaintPending = true;
    Update();
}

void LSceneGraph::OnPaint(LPaintContext& pc)
{
    EventScope scope(*this);
    Prepaint(pc);
}

void LSceneGraph::Prepaint(LPaintContext& pc)
{
    pc.SetAntialias(false);
    pc.FillRect(LBoxF(0, 0, float(iWidth), float(iHeight)), colBackground);
    pc.SetAntialias(true);

    const LBoundingBox2T<int> clip = pc.GetClipBox();
    const LBoxF clipUV(MapXToU(float(clip.left)), MapYToV(float(clip.top)), MapXToU(float(clip.right)),
                       MapYToV(float(clip.bottom)));
    const bool useClip = clipUV.IsValid() && !clipUV.IsEmpty();
    bPainting = true;
    for (LSceneGraphNode* n = lpFirstNode; n; n = n->lpNext)
        n->RouteDraw(pc, useClip ? &clipUV : nullptr, true);
    bPainting = false;
    ApplyDelayed();

    if (bRubberBanding)
        pc.DrawFrameDashedAA(MapUVToXY(GetSelectionBox()), LGuiGrey(0), 1.0f, LLineStyleDash);
}
