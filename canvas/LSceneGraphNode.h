#pragma once
// A node of the canvas's scene: a position and a uniform scale in its parent's frame, children
// drawn after it, drag regions by which the user moves it, and events in its own frame. The
// tree owns its nodes; they are made only through AddNode and end through DeleteNode.

#include <cstddef>
#include <cstdint>
#include <utility>
#include <vector>

#include "canvas/LPaintContext.h"
#include "document/LBoundingBox2.h"

class LSceneGraph;
class LSceneGraphNode;

using LBoxF = LBoundingBox2T<float>;

// Cursor ids a drag region asks for while the mouse is over it.
enum LCursorId : int
{
    LCursorArrow = 0,
    LCursorResizeVertical = 1,
    LCursorResizeHorizontal = 2,
    LCursorResizeDiagonalUp = 3,   // bottom-left to top-right
    LCursorResizeDiagonalDown = 4, // top-left to bottom-right
    LCursorPointingHand = 5,
    LCursorPointingHandMove = 6,
    LCursorPanning = 7,
};

class LSceneGraphNodeDragRegion
{
public:
    explicit LSceneGraphNodeDragRegion(LSceneGraphNode* node) : lpNode(node) {}

    // Strict on all four sides: a point on an edge is not over the region.
    bool IsPointOver(float u, float v) const;
    LBoxF GetBounds() const;

    LSceneGraphNode* lpNode;
    float fU = 0, fV = 0, fWidth = 0, fHeight = 0;
    bool bMoveU = true, bMoveV = true;
    bool bMatchBounds = false;
    bool bUseHitTest = false;
    bool bEnabled = true;
    bool bAllowOutsideParent = true;
    int iDragThreshold = 4;
    bool bDragStarted = false;
    int iCursor = -1;
};

// A node's listeners. bPrimary is false for the other members of a group drag.
class LSceneGraphNodeNotifyee
{
public:
    virtual ~LSceneGraphNodeNotifyee() = default;
    virtual void EvSceneGraphNodeMouseIn(LSceneGraphNode& node) { (void)node; }
    virtual void EvSceneGraphNodeMouseOut(LSceneGraphNode& node) { (void)node; }
    virtual void EvSceneGraphNodeMouseMove(LSceneGraphNode& node, float u, float v)
    {
        (void)node, (void)u, (void)v;
    }
    virtual void EvSceneGraphNodeLButtonDown(LSceneGraphNode& node, float u, float v)
    {
        (void)node, (void)u, (void)v;
    }
    virtual void EvSceneGraphNodeDoubleClick(LSceneGraphNode& node) { (void)node; }
    virtual void EvSceneGraphNodeSelected(LSceneGraphNode& node) { (void)node; }
    virtual void EvSceneGraphNodeDeselected(LSceneGraphNode& node) { (void)node; }
    virtual void EvSceneGraphNodeDragBegin(LSceneGraphNode& node, bool bPrimary)
    {
        (void)node, (void)bPrimary;
    }
    virtual void EvSceneGraphNodeDrag(LSceneGraphNode& node, bool bPrimary) { (void)node, (void)bPrimary; }
    virtual void EvSceneGraphNodeDragFinish(LSceneGraphNode& node, bool bPrimary)
    {
        (void)node, (void)bPrimary;
    }
    virtual void EvSceneGraphNodeDelete(LSceneGraphNode& node) { (void)node; }
};

class LSceneGraphNode
{
public:
    LSceneGraphNode() = default;
    LSceneGraphNode(const LSceneGraphNode&) = delete;
    LSceneGraphNode& operator=(const LSceneGraphNode&) = delete;
    // Destroys the children and makes the graph forget every reference to this node.
    virtual ~LSceneGraphNode();

    // ---- overridables
    // A copy for Shift-drag duplication, not yet in any tree; null when the node can't be copied.
    virtual LSceneGraphNode* Copy() { return nullptr; }
    virtual const char* GetName() const { return "Node"; }
    // Both in the node's own frame.
    virtual LBoxF GetSelectionBounds() const = 0;
    virtual LBoxF GetDrawBounds() const = 0;
    virtual void SetHidden(bool bHide);
    virtual void SetVisible(bool bShow);
    virtual void Draw(LPaintContext& pc) { (void)pc; }
    virtual void DrawPostChildren(LPaintContext& pc) { (void)pc; }
    // In the node's own frame.
    virtual bool HitTest(float u, float v) { return (void)u, (void)v, false; }
    virtual bool EvRequestBeginDrag() { return true; }
    virtual void EvDragBegin() {}
    // u, v: the pointer in the frame the node's position is kept in.
    virtual void EvDrag(float u, float v, bool bPrimary) { (void)u, (void)v, (void)bPrimary; }
    virtual void EvDragFinish(bool bPrimary) { (void)bPrimary; }
    virtual void EvDuplicate(bool bPrimary) { (void)bPrimary; }
    // True when the node handled the Shift-drag itself and no copy is to be made.
    virtual bool EvDuplicateOverride() { return false; }
    // Mouse events in the node's own frame.
    virtual void EvMouseMoveUV(float u, float v) { (void)u, (void)v; }
    virtual void EvLButtonDownUV(float u, float v) { (void)u, (void)v; }
    virtual void EvLButtonUpUV(float u, float v) { (void)u, (void)v; }
    virtual void EvRButtonDownUV(float u, float v) { (void)u, (void)v; }
    virtual void EvRButtonUpUV(float u, float v) { (void)u, (void)v; }
    virtual void EvDoubleClickUV(float u, float v) { (void)u, (void)v; }
    virtual void EvMouseIn() {}
    virtual void EvMouseOut() {}
    virtual void EvScaleAbsoluteChanged() {}
    // True when the key was used.
    virtual bool EvKeyDown(int key) { return (void)key, false; }
    virtual void EvChar(uint32_t character) { (void)character; }
    virtual void EvGotFocus() {}
    virtual void EvLostFocus() {}
    virtual void EvSelected() {}
    virtual void EvDeselected() {}
    virtual void EvDelete() {}
    virtual void EvBackspace() {}
    virtual void EvTimer(int id) { (void)id; }
    virtual void EvMenuItem(int id) { (void)id; }
    // Runs once the node stands in the tree (graph and parent known), before it is drawn.
    virtual void EvCreated() {}

    // ---- tree
    template <class T, class... Args>
    T* AddNode(float u, float v, Args&&... args)
    {
        T* node = new T(std::forward<Args>(args)...);
        AttachChild(node, u, v);
        return node;
    }
    // Destroys the child and its subtree, at once or when the running pass ends.
    void DeleteNode(LSceneGraphNode* child);
    void DeleteThisNode();
    LSceneGraphNode* GetFirstChild() const { return lpFirstChild; }
    LSceneGraphNode* GetNext() const { return lpNext; }
    LSceneGraphNode* GetParent() const { return lpParent; }
    LSceneGraph* GetGraph() const { return lpGraph; }
    size_t GetChildCount() const;
    bool IsAncestorOf(const LSceneGraphNode* node) const;
    // In this node's frame: the frontmost hit among the descendants.
    LSceneGraphNode* GetNodeUnderPoint(float u, float v);
    LSceneGraphNodeDragRegion* GetDragRegionUnderPoint(float u, float v);

    // ---- z order among siblings
    void SendToBack();
    void BringToFront();
    // Hidden siblings don't count.
    bool IsFrontmost() const;
    bool IsBackmost() const;

    // ---- position
    float GetU() const { return fU; }
    float GetV() const { return fV; }
    float GetScale() const { return fScale; }
    float GetUAbsolute() const;
    float GetVAbsolute() const;
    float GetScaleAbsolute() const;
    void SetU(float u);
    void SetV(float v);
    // Animated moves glide there on the graph's update timer.
    void SetPosition(float u, float v, bool bAnimate = false);
    void SetUVAbsolute(float u, float v);
    void SetScale(float scale);
    // The last mouse position in this node's frame.
    float GetCursorU() const;
    float GetCursorV() const;
    // Keeps the selection bounds inside the parent's.
    void RestrictToParentBounds();
    // Between the parent's frame and this node's frame.
    float ParentToLocalU(float u) const { return (u - fU) / fScale; }
    float ParentToLocalV(float v) const { return (v - fV) / fScale; }
    // A box of this node's frame in absolute UV.
    LBoxF LocalToAbsolute(const LBoxF& box) const;
    LBoxF GetSelectionBoundsAbsolute() const { return LocalToAbsolute(GetSelectionBounds()); }
    LBoxF GetDrawBoundsAbsolute() const { return LocalToAbsolute(GetDrawBounds()); }
    // The union of the node's and its visible descendants' selection bounds, in its own frame.
    LBoxF GetSelectionBoundsRecursive() const;

    // ---- mapping from this node's frame to the control's pixels
    float MapUToX(float u) const;
    float MapVToY(float v) const;
    float MapOffsetUVToXY(float length) const;
    float MapOffsetXYToUV(float length) const;
    LBoxF MapUVToXY(const LBoxF& box) const;

    // ---- state
    bool IsHidden() const { return bHidden; }
    bool IsVisible() const { return bVisible; }
    // Hidden itself or through an ancestor, or on its way out of the tree.
    bool IsInheritHidden() const;
    bool IsSelected() const { return bSelected; }
    bool IsMouseOver() const { return bMouseOver; }
    bool IsAnimating() const { return bAnimating; }
    bool IsDragging() const { return lpActiveDragRegion != nullptr; }
    bool IsDragStarted() const { return lpActiveDragRegion && lpActiveDragRegion->bDragStarted; }

    // ---- selection and focus
    void SelectNode();
    void DeselectNode(bool bRecursive);
    void DeselectChildren(bool bRecursive);
    // Selects among the children inside box (this node's frame); returns how many were found.
    int ApplySelectionBox(const LBoxF& box);
    void SetToolTip(const char* text);

    // ---- drag regions, in the node's frame
    LSceneGraphNodeDragRegion* AddDragRegion(float u, float v, float width, float height, int cursor = -1);
    LSceneGraphNodeDragRegion* AddDragRegionMatchBounds(int cursor = -1);
    void RemoveAllDragRegions();
    LSceneGraphNodeDragRegion* GetActiveDragRegion() const { return lpActiveDragRegion; }
    // Ends a running drag, telling the node and its listeners.
    void StopDragging();

    // ---- listeners
    void AddNotifyee(LSceneGraphNodeNotifyee* notifyee);
    void RemoveNotifyee(LSceneGraphNodeNotifyee* notifyee);

    // ---- repaint
    void Update(bool bChildrenToo = false);

    // ---- helpers for Draw, in this node's frame
    void DrawFrameDashedUV(LPaintContext& pc, const LBoxF& box, LGuiColor colour);
    void DrawBoxShadowUV(LPaintContext& pc, const LBoxF& box, float depthUV, LGuiColor colour);

    // ---- routing, called by the graph and by parents; u, v in the parent's frame
    void RouteLButtonDownUV(float u, float v);
    void RouteMouseMoveUV(float u, float v);
    void RouteLButtonUpUV(float u, float v);
    void RouteRButtonUpUV(float u, float v);
    void RouteDraw(LPaintContext& pc, const LBoxF* clipUV, bool bAncestorsShown);
    void EvAnimate(int elapsedMs);
    void NotifyScaleAbsoluteChanged();

    // ---- fields (Hungarian, as the rest of the program)
    LSceneGraphNode* lpNext = nullptr;
    LSceneGraph* lpGraph = nullptr;
    LSceneGraphNode* lpParent = nullptr;
    float fU = 0, fV = 0, fScale = 1;
    LSceneGraphNode* lpFirstChild = nullptr;
    bool bChildrenBusy = false;
    bool bHidden = false;
    bool bVisible = true;
    bool bPendingDelete = false;
    LBoxF bxLastDrawn{0, 0, -1, -1};
    bool bMouseOver = false;
    bool bRepaintOnHover = false;
    char szToolTip[260] = {};
    bool bCanFocus = true;
    bool bCanSelect = false;
    bool bSelected = false;
    bool bCanSelectViaParent = false;
    bool bCanRubberBand = false;
    bool bRubberBanding = false;
    float fRubberBandU0 = 0, fRubberBandV0 = 0, fRubberBandU1 = 0, fRubberBandV1 = 0;
    std::vector<LSceneGraphNodeDragRegion*> vDragRegions;
    bool bCanDelete = false;
    bool bDeleteHides = false;
    bool bDraggable = true;
    float fDragStartU = 0, fDragStartV = 0; // absolute position at drag start
    float fDragStartX = 0, fDragStartY = 0; // pointer pixels at drag start
    float fDragPressU = 0, fDragPressV = 0; // absolute pointer at drag start
    LSceneGraphNodeDragRegion* lpActiveDragRegion = nullptr;
    bool bBringToFrontOnDrag = true;
    bool bGroupDrag = true;
    bool bCanDuplicate = false;
    bool bMoveU = true, bMoveV = true;
    bool bAnimating = false;
    float fAnimStartU = 0, fAnimStartV = 0, fAnimEndU = 0, fAnimEndV = 0;
    int iAnimationMode = 0; // 0 by time, 1 by speed
    int iAnimationTimeMs = 100;
    int iAnimationElapsedMs = 0;
    float fAnimationSpeed = 1; // world units per second
    int iAnimationMaxMs = 250;
    bool bInRepaintList = false;
    std::vector<LSceneGraphNodeNotifyee*> vNotifyees;

protected:
    void NotifyMouseIn();
    void NotifyMouseOut();
    void NotifyMouseMove(float u, float v);
    void NotifyLButtonDown(float u, float v);
    void NotifyDoubleClick();
    void NotifySelected();
    void NotifyDeselected();
    void NotifyDragBegin(bool bPrimary);
    void NotifyDrag(bool bPrimary);
    void NotifyDragFinish(bool bPrimary);
    void NotifyDelete();

private:
    friend class LSceneGraph;
    void AttachChild(LSceneGraphNode* node, float u, float v);
    void LinkChild(LSceneGraphNode* node);
    bool UnlinkChild(LSceneGraphNode* node);
    void StartDragAt(LSceneGraphNodeDragRegion* region);
    void MoveByDrag(float pointerU, float pointerV);
    template <class Call>
    void ForEachNotifyee(Call call);
};
