#pragma once
// Simple node kinds: a circle about the node's position, and an arrow from it.

#include "canvas/LSceneGraphNode.h"

class LSceneGraphNodeCircleBase : public LSceneGraphNode
{
public:
    explicit LSceneGraphNodeCircleBase(float radius = 0) : fRadius(radius) {}

    virtual float GetRadius() const { return fRadius; }
    virtual void SetRadius(float radius);
    virtual LBoxF GetBounds() const;

    LBoxF GetSelectionBounds() const override { return GetBounds(); }
    LBoxF GetDrawBounds() const override { return GetBounds(); }
    // Strictly inside.
    bool HitTest(float u, float v) override { return u * u + v * v < GetRadius() * GetRadius(); }

    float fRadius;
};

class LSceneGraphArrow : public LSceneGraphNode
{
public:
    LSceneGraphArrow(float endU, float endV, float width, LGuiColor colour)
        : fEndU(endU), fEndV(endV), fWidth(width), colArrow(colour)
    {
        bRepaintOnHover = true;
    }

    const char* GetName() const override { return "Arrow"; }
    LBoxF GetSelectionBounds() const override;
    LBoxF GetDrawBounds() const override;
    bool HitTest(float u, float v) override;
    void Draw(LPaintContext& pc) override;

    static constexpr float kHeadFactor = 1.8f;

    float fEndU, fEndV, fWidth;
    LGuiColor colArrow;
};
