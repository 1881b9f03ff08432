#pragma once
// The canvas's scene: a tree of nodes in a floating-point world (UV), a camera that maps the
// world to the control's pixels (XY), and the routing of mouse, keys, drags, hit tests and
// repaints to the nodes. It knows nothing of images and nothing of the window system: the
// window reaches it through the On... entry points and it reaches the window through its host.

#include <cstdint>
#include <utility>
#include <vector>

#include "canvas/LSceneGraphNode.h"
#include "foundation/LTimerHandler.h"

// What the graph asks of the control it is painted in.
class LSceneGraphHost
{
public:
    virtual ~LSceneGraphHost() = default;
    // Null repaints everything.
    virtual void HostInvalidate(const LBoundingBox2T<int>* box) = 0;
    virtual void HostSetCapture(bool bCapture) = 0;
    virtual void HostSetCursor(int cursor) = 0;
    virtual void HostSetFocus() = 0;
    // Null or empty removes the tip.
    virtual void HostSetToolTip(const char* text) = 0;
};

class LSceneGraphCameraNotifyee
{
public:
    virtual ~LSceneGraphCameraNotifyee() = default;
    virtual void EvSceneGraphCameraMove(LSceneGraph& graph) = 0;
};

class LSceneGraph : public LTimerHandler
{
public:
    LSceneGraph();
    LSceneGraph(const LSceneGraph&) = delete;
    LSceneGraph& operator=(const LSceneGraph&) = delete;
    ~LSceneGraph() override;

    // Binds the graph to the control that shows it; null unbinds.
    void Init(LSceneGraphHost* host);
    LSceneGraphHost* GetHost() const { return lpHost; }

    // ---- entry points for the window layer; XY in the control's device pixels
    void OnSize(int width, int height, float displayScale = 1.0f);
    void OnPaint(LPaintContext& pc);
    void OnMouseMove(float x, float y);
    void OnMouseLeave();
    void OnLButtonDown(float x, float y);
    void OnLButtonUp(float x, float y);
    void OnRButtonDown(float x, float y);
    void OnRButtonUp(float x, float y);
    void OnMButtonDown(float x, float y);
    void OnMButtonUp(float x, float y);
    void OnDoubleClick(float x, float y);
    // delta in notches, positive away from the user.
    void OnMouseWheel(float x, float y, int delta);
    // factor above 1 spreads the fingers.
    void OnPinch(float x, float y, float factor);
    bool OnKeyDown(int key);
    void OnKeyUp(int key);
    void OnChar(uint32_t character);
    void OnMenuCommand(int id);

    // ---- overridables; the ...UV forms are for events that hit no node
    virtual void Prepaint(LPaintContext& pc);
    virtual void EvMouseMove(float x, float y);
    virtual void EvMouseMoveUV(float u, float v) { (void)u, (void)v; }
    virtual void EvLButtonDown(float x, float y);
    virtual void EvLButtonDownUV(float u, float v) { (void)u, (void)v; }
    virtual void EvLButtonUp(float x, float y);
    virtual void EvLButtonUpUV(float u, float v) { (void)u, (void)v; }
    virtual void EvRButtonDown(float x, float y);
    virtual void EvRButtonDownUV(float u, float v) { (void)u, (void)v; }
    virtual void EvRButtonUp(float x, float y);
    virtual void EvRButtonUpUV(float u, float v) { (void)u, (void)v; }
    virtual void EvMButtonDown(float x, float y);
    virtual void EvMButtonDownUV(float u, float v) { (void)u, (void)v; }
    virtual void EvMButtonUp(float x, float y);
    virtual void EvMButtonUpUV(float u, float v) { (void)u, (void)v; }
    virtual void EvDoubleClick(float x, float y);
    virtual void EvDoubleClickUV(float u, float v) { (void)u, (void)v; }
    virtual void EvMouseWheel(float x, float y, int delta);
    virtual void EvPinch(float x, float y, float factor);
    virtual void EvCameraMove() {}
    virtual void EvUserPan() {}
    virtual void EvUserPanFinish() {}
    virtual void EvDragStart() {}
    virtual void EvDragFinish() {}
    virtual bool EvKeyDown(int key);
    virtual void EvChar(uint32_t character);
    virtual void EvKeyUp(int key);
    virtual void EvSize() {}
    void EvTimer(int id) override;

    // ---- tree
    template <class T, class... Args>
    T* AddNode(float u, float v, Args&&... args)
    {
        T* node = new T(std::forward<Args>(args)...);
        AttachRoot(node, u, v);
        return node;
    }
    void DeleteNode(LSceneGraphNode* node);
    void DeleteAllNodes();
    LSceneGraphNode* GetFirstNode() const { return lpFirstNode; }
    std::vector<LSceneGraphNode*> GetNodes() const;
    // Selected and not hidden, depth first.
    void GetSelectedNodes(std::vector<LSceneGraphNode*>& out, bool bRecursive) const;
    LSceneGraphNode* GetNodeUnderPoint(float u, float v);
    LSceneGraphNodeDragRegion* GetDragRegionUnderPoint(float u, float v);

    // ---- camera and mapping
    int GetWidth() const { return iWidth; }
    int GetHeight() const { return iHeight; }
    float GetDisplayScale() const { return fDisplayScale; }
    // A length in layout pixels, in the control's pixels at this display's scale.
    float Px(float pixels) const { return pixels * fDisplayScale; }
    float MapUToX(float u) const;
    float MapVToY(float v) const;
    float MapXToU(float x) const;
    float MapYToV(float y) const;
    void MapXYToUV(float x, float y, float& u, float& v) const
    {
        u = MapXToU(x);
        v = MapYToV(y);
    }
    LBoxF MapUVToXY(const LBoxF& box) const;
    LBoxF MapXYToUV(const LBoxF& box) const;
    float MapOffsetUVToXY(float length) const;
    float MapOffsetXYToUV(float length) const;
    float GetCameraZoomRangeV() const;
    // The world under pixels (0,0)..(W,H).
    LBoxF GetCameraBounds() const;
    float GetCameraU() const { return fCameraU; }
    float GetCameraV() const { return fCameraV; }
    // On-screen zoom factor of mode 1.
    float GetZoom() const { return 1.0f / fCameraZoomResolutionRatio; }

    void SetCameraPosition(float u, float v);
    void SetCameraPositionU(float u);
    void SetCameraPositionV(float v);
    void SetCameraZoomRange(float range);
    void SetCameraZoomResolutionRatio(float ratio);
    void SetCameraAnimate(float u, float v, float zoom);
    void ZoomCamera(float amount, bool bIn, bool bAnimate);
    void ZoomToBounds(const LBoxF& box, bool bAnimate);
    void ZoomToIncludeBounds(const LBoxF& box, float margin);
    void ZoomToIncludeNode(LSceneGraphNode* node, float margin);
    void AddCameraNotifyee(LSceneGraphCameraNotifyee* notifyee);
    void RemoveCameraNotifyee(LSceneGraphCameraNotifyee* notifyee);
    // Union of the roots' selection bounds, placed absolutely.
    LBoxF GetSelectionBounds() const;
    void NotifyCameraMove();

    // ---- selection and focus
    void DeselectAllNodes(bool bRecursive);
    void SetFocus(LSceneGraphNode* node);
    LSceneGraphNode* GetFocus() const { return lpFocusNode; }
    // The graph's own rubber band, in UV.
    LBoxF GetSelectionBox() const;

    // ---- repaint
    void Update();
    // Repaints a world rectangle on the next tick (partial updates only).
    void UpdateRect(const LBoxF& box);
    bool IsUpdatePending() const { return bUpdateTimerSet; }

    // ---- timers and menus for nodes
    int AddNodeTimer(LSceneGraphNode* node);
    // Accepts 500..50000; the first command after registration goes to the node.
    void AddMenuCommand(LSceneGraphNode* node, int id);

    // ---- state read by nodes
    float GetMouseU() const { return fMouseU; }
    float GetMouseV() const { return fMouseV; }
    float GetMouseX() const { return fMouseX; }
    float GetMouseY() const { return fMouseY; }
    LSceneGraphNode* GetMouseOverNode() const { return lpMouseOverNode; }
    LSceneGraphNode* GetNodeDragging() const { return lpNodeDragging; }
    bool IsPanning() const { return bPanning; }
    bool IsPainting() const { return bPainting; }
    void SetCurNodeDragging(LSceneGraphNode* node);
    void SetCapture(bool bCapture);
    bool IsCaptured() const { return bCaptured; }

    // ---- called by nodes as they change
    void AddToAnimated(LSceneGraphNode* node);
    void AddToRepaintList(LSceneGraphNode* node);
    // Forgets every reference to a node that is going away.
    virtual void NodeGone(LSceneGraphNode* node);
    void DeferDelete(LSceneGraphNode* node);
    bool IsDeferringDeletes() const { return bPainting || iEventDepth > 0; }

    // ---- configuration and state (Hungarian, as the rest of the program)
    LSceneGraphNode* lpFirstNode = nullptr;
    float fCameraU = 0, fCameraV = 0;
    int iZoomMode = 0; // 0 by range, 1 by resolution ratio
    float fCameraZoomRange = 1;
    float fCameraZoomResolutionRatio = 1;
    float fCameraZoomMin = 0, fCameraZoomMax = 0; // mode 0 only; 0 means no limit
    int iOriginMode = 0;                          // 0: V origin at the top edge; 1: both axes centred
    bool bRestrictCamera = false;
    float fCameraMargin = 0;
    float fAnimStartU = 0, fAnimStartV = 0, fAnimStartZoom = 0;
    float fAnimTargetU = 0, fAnimTargetV = 0, fAnimTargetZoom = 0;
    int iAnimElapsedMs = 0;
    bool bCameraAnimating = false;
    bool bCanPan = true;
    int iPanButton = 1; // 0 left, 1 middle
    bool bSpacePans = false;
    bool bPanning = false;
    int iPanningBy = 0;
    float fPanStartX = 0, fPanStartY = 0, fPanStartCameraU = 0, fPanStartCameraV = 0;
    bool bCanWheelZoom = true;
    bool bCanRubberBand = false;
    bool bRubberBanding = false;
    float fRubberU0 = 0, fRubberV0 = 0, fRubberU1 = 0, fRubberV1 = 0;
    bool bChildRubberBanding = false;
    float fMouseX = 0, fMouseY = 0, fMouseU = 0, fMouseV = 0;
    bool bMouseInside = false;
    LSceneGraphNode* lpMouseOverNode = nullptr;
    LSceneGraphNodeDragRegion* lpDragRegionUnderMouse = nullptr;
    LSceneGraphNode* lpNodeDragging = nullptr;
    LSceneGraphNode* lpFocusNode = nullptr;
    bool bSetArrowCursor = true;
    bool bBatchUpdates = true;
    bool bPartialUpdates = false;
    int iUpdateDelay = 15;
    int iUpdateTimerId = 0;
    bool bUpdateTimerSet = false;
    bool bFullRepaintPending = true;
    std::vector<LSceneGraphNode*> vRepaintNodes;
    std::vector<LBoxF> vRepaintRects;
    bool bPainting = false;
    std::vector<LSceneGraphNode*> vDelayedAdd;
    std::vector<LSceneGraphNode*> vDelayedDelete;
    LGuiColor colBackground = LGuiGrey(190);
    bool bNoCulling = false;
    int iFixedWidth = 0;
    int iTimerBase = 0;
    int iNextNodeTimer = 0;
    std::vector<std::pair<int, LSceneGraphNode*>> vNodeTimers;
    std::vector<std::pair<int, LSceneGraphNode*>> vMenuCommands;
    std::vector<LSceneGraphNode*> vAnimated;
    std::vector<LSceneGraphCameraNotifyee*> vCameraNotifyees;
    int iWidth = 0, iHeight = 0;
    float fDisplayScale = 1;
    int iLastCursor = -1;

    static inline int GlobalBaseTimerId = 100000;

protected:
    // Counts nested entry points; deletions wait until the outermost one ends.
    class EventScope
    {
    public:
        explicit EventScope(LSceneGraph& graph) : rGraph(graph) { ++rGraph.iEventDepth; }
        ~EventScope();

    private:
        LSceneGraph& rGraph;
    };
    void ApplyDelayed();
    // by: 0 the left button, 1 the middle one, 2 the space bar; the same one ends it.
    void BeginPan(float x, float y, int by);
    void EndPan();
    void ClampCameraToRestriction(float& u, float& v) const;
    void UpdateCursor();
    void SetMouseOverNode(LSceneGraphNode* node);
    void DeleteSelected();
    void RouteButtonUpBroadcast(bool bLeft);
    int iEventDepth = 0;
    bool bCaptured = false;
    LSceneGraphHost* lpHost = nullptr;

private:
    friend class LSceneGraphNode;
    void AttachRoot(LSceneGraphNode* node, float u, float v);
    void LinkRoot(LSceneGraphNode* node);
    bool UnlinkRoot(LSceneGraphNode* node);
    void AnimateCameraStep();
    void UpdateTimerTick();
    void FlushDeletes();
};
