#pragma once
// The rotatable box with handles on which overlay pictures, text and crop are built: eight
// sizing handles, four edge handles that move the whole box, and a rotation handle. Every
// change is told to the notifyees with false while a drag runs and true when it ends, so that
// the widget can change its element live and commit once.

#include "canvas/LSceneGraph.h"
#include "document/LVector2.h"
#include "foundation/LNotifier.h"

class LRectangularManipulator;

// Sizing handles by where they stand; opposite handles are two apart within each group of four.
enum DIRECTION : int
{
    DIRECTION_LEFT = 0,
    DIRECTION_TOP = 1,
    DIRECTION_RIGHT = 2,
    DIRECTION_BOTTOM = 3,
    DIRECTION_TOPRIGHT = 4,
    DIRECTION_BOTTOMRIGHT = 5,
    DIRECTION_BOTTOMLEFT = 6,
    DIRECTION_TOPLEFT = 7,
};

class QDSizingHandle : public LSceneGraphNode
{
public:
    explicit QDSizingHandle(int direction);
    const char* GetName() const override { return "Sizing handle"; }
    LBoxF GetSelectionBounds() const override { return LBoxF(-fSize, -fSize, fSize, fSize); }
    LBoxF GetDrawBounds() const override { return GetSelectionBounds(); }
    // Edges included.
    bool HitTest(float u, float v) override { return u >= -fSize && u <= fSize && v >= -fSize && v <= fSize; }
    void Draw(LPaintContext& pc) override;
    // The resize cursor that suits the handle's direction on a box turned by dAngle.
    int GetCursorType() const;

    static int Opposite(int direction)
    {
        return direction < 4 ? (direction + 2) % 4 : 4 + (direction - 2) % 4;
    }

    float fSize = 0;
    int iDirection;
    double dAngle = 0;
    LSceneGraphNodeDragRegion* lpRegion;
};

class QDEdgeHandle : public LSceneGraphNode
{
public:
    explicit QDEdgeHandle(bool bAlongV);
    const char* GetName() const override { return "Edge handle"; }
    LBoxF GetSelectionBounds() const override;
    LBoxF GetDrawBounds() const override { return GetSelectionBounds(); }
    bool HitTest(float u, float v) override;

    float fLength = 0;
    float fThickness = 0;
    double dAngle = 0;
    bool bAlongV; // the left and right edges
};

class QDRotationHandle : public LSceneGraphNode
{
public:
    QDRotationHandle();
    const char* GetName() const override { return "Rotation handle"; }
    LBoxF GetSelectionBounds() const override { return LBoxF(-fSize, -fSize, fSize, fSize); }
    LBoxF GetDrawBounds() const override { return GetSelectionBounds(); }
    bool HitTest(float u, float v) override { return u * u + v * v <= fSize * fSize; }
    void Draw(LPaintContext& pc) override;

    float fSize = 0;
};

class LRectangularManipulator : public LSceneGraphNode,
                                public LSceneGraphCameraNotifyee,
                                public LSceneGraphNodeNotifyee,
                                public LNotifier1Arg<LRectangularManipulator, bool>
{
public:
    LRectangularManipulator(float width, float height, int anchor = 1);
    ~LRectangularManipulator() override;
    // Node listeners and change listeners are told apart by their type.
    using LNotifier1Arg<LRectangularManipulator, bool>::AddNotifyee;
    using LNotifier1Arg<LRectangularManipulator, bool>::RemoveNotifyee;
    using LSceneGraphNode::AddNotifyee;
    using LSceneGraphNode::RemoveNotifyee;

    const char* GetName() const override { return "Manipulator"; }
    void EvCreated() override;
    LBoxF GetSelectionBounds() const override { return GetBounds(); }
    LBoxF GetDrawBounds() const override;
    bool HitTest(float u, float v) override { return IsPointOverRectangle(u, v); }
    void Draw(LPaintContext& pc) override;
    void EvDrag(float u, float v, bool bPrimary) override;
    void EvDragFinish(bool bPrimary) override;
    void EvScaleAbsoluteChanged() override { ReLayoutArrowHandles(); }
    void EvSceneGraphCameraMove(LSceneGraph& graph) override;
    void EvSceneGraphNodeDragBegin(LSceneGraphNode& node, bool bPrimary) override;
    void EvSceneGraphNodeDrag(LSceneGraphNode& node, bool bPrimary) override;
    void EvSceneGraphNodeDragFinish(LSceneGraphNode& node, bool bPrimary) override;

    // ---- shape; all points in the node's own frame (its position is the anchor point)
    void SetAnchor(int anchor);
    // Radians, clockwise on screen.
    void SetRotation(double radians);
    // Negative sizes become 0.
    void SetDimensions(float width, float height);
    void SetCanDragEdges(bool bCan);
    void SetArrowHandleVisibility(bool bShow);
    void SetRotationHandleVisibility(bool bShow);
    LBoxF GetUnrotatedBounds() const;
    // The axis-aligned box of the four turned corners.
    LBoxF GetBounds() const;
    LVector2T<float> GetMidpoint() const;
    LVector2T<float> GetMidpointUnrotated() const;
    LVector2T<float> GetLeftMidpoint() const;
    LVector2T<float> GetTopMidpoint() const;
    LVector2T<float> GetRightMidpoint() const;
    LVector2T<float> GetBottomMidpoint() const;
    LVector2T<float> GetTopLeftCorner() const;
    LVector2T<float> GetTopRightCorner() const;
    LVector2T<float> GetBottomLeftCorner() const;
    LVector2T<float> GetBottomRightCorner() const;
    // Where a sizing handle of the direction stands.
    LVector2T<float> GetHandlePoint(int direction) const;
    // Edges included.
    bool IsPointOverRectangle(float u, float v) const;
    // Clockwise radians of the rotation handle from straight up.
    double GetAngleToRotationHandle() const;

    // ---- resizing by two points, in the frame the node's position is kept in
    void StartPinch(LVector2T<float> anchor, LVector2T<float> dragged);
    void UpdatePinch(LVector2T<float> point);
    void ReLayoutArrowHandles();
    void DarkenExterior(LPaintContext& pc);
    QDSizingHandle* GetSizingHandle(int direction) const { return apSizing[direction]; }
    QDEdgeHandle* GetEdgeHandle(int index) const { return apEdges[index]; }
    QDRotationHandle* GetRotationHandle() const { return lpRotation; }

    QDEdgeHandle* apEdges[4] = {}; // top, left, right, bottom
    QDSizingHandle* apSizing[8] = {};
    QDRotationHandle* lpRotation = nullptr;
    bool bShowOutline = true;
    bool bShowArrowHandles = true;
    bool bShowRotationHandle = true;
    bool bCanDragEdges = false;
    float fWidth, fHeight;
    bool bKeepAspect = true;
    bool bCanRotate = true;
    bool bDarkenExterior = false;
    bool bRestrictToBounds = false;
    LBoxF bxRestrict{0, 0, 0, 0}; // in the frame the node's position is kept in
    double dRotation = 0;
    int iAnchor;
    LGuiColor colOutline = LGuiGrey(190);
    LGuiColor colOutlineSelected = LGuiGrey(200);
    bool bPinching = false;
    LVector2T<float> ptPinchAnchor, ptPinchStart, ptPinchCurrent;
    float fPinchStartU = 0, fPinchStartV = 0, fPinchStartWidth = 0, fPinchStartHeight = 0;
    LVector2T<float> ptDragMidpoint;
    float fEdgeDragStartU = 0, fEdgeDragStartV = 0, fEdgePressU = 0, fEdgePressV = 0;

private:
    LVector2T<float> Turn(LVector2T<float> p) const;
    LVector2T<float> ToParent(LVector2T<float> local) const
    {
        return {fU + local.x * fScale, fV + local.y * fScale};
    }
    void PushInsideRestriction();
    void Rotate(const LVector2T<float>& handle);
};
