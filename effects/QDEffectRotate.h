#pragma once
// Rotate: turns the picture by any angle, over the project's background, either growing to the
// turned picture's bounding box or, with clipping, cut back to the largest upright rectangle of
// the picture's proportions and scaled to its size. Rotate Simple is the same element under the
// batch editor's type key.

#include <atomic>

#include "document/QDEffectFactory.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct LGuiColorAlpha;

struct QDEffectRotateProperties
{
    bool bClipping = false;
    double dRotation = 0.0; // degrees, clockwise
    bool operator==(const QDEffectRotateProperties&) const = default;
};

class QDEffectRotate : public QDImagePipelineElementWithWrappedProperties<QDEffectRotateProperties>
{
public:
    QDEffectRotate();
    ~QDEffectRotate() override;

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    unsigned GetWidth() const override;
    unsigned GetHeight() const override;
    void SetDimensions(const LBoundingBox2T<double>& box) override;
    void EvPropertiesChanged(const QDEffectRotateProperties& oOld) override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    void SetRotation(double degrees, bool bRegisterUndo);
    void SetClipping(bool bClipping, bool bRegisterUndo);

    // The size a width x height picture turns into.
    static void GetRotatedSize(const QDEffectRotateProperties& p, int width, int height, int& outWidth,
                               int& outHeight);
    // With clipping: the frame turns with the picture between 45 and 135 degrees and between 225
    // and 315.
    static bool IsFrameTurned(double degrees);
    // The clipped rectangle's share of the turned picture's own size: the largest rectangle of
    // width x height's proportions inside it, turned by degrees.
    static double GetClipScale(double degrees, int width, int height);
    // The quarter turn buttons: the next multiple of 90 in the direction (+1 clockwise, -1
    // anticlockwise); from a multiple, the next one.
    static double NextQuarterTurn(double degrees, int direction);

    // The full-size input of the last render, kept for the rotation handle; -1 when none.
    int32_t GetInputCacheId() const { return iInputCacheId.load(std::memory_order_acquire); }

    // The project's background, laid under the turned picture when it isn't transparent.
    const LGuiColorAlpha* lpBackground = nullptr;

private:
    LProcessResult Render(LProcessInterface& process, LImageBuffer& buffer, bool bFullSize);
    void UpdateTransform();
    std::atomic<int32_t> iInputCacheId{-1};
};

class QDEffectRotateSimple : public QDEffectRotate
{
public:
    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
};

// Its catalogue row is 6042: the element gets the project's background.
class QDEffectRotateFactory : public QDEffectFactory
{
public:
    QDEffectRotateFactory();
    QDImagePipelineElement* CreateLayer(QDProject& project, LWindow* window, bool bAddUndo) override;
    QDImagePipelineElement* CreateLayer(QDImagePipeline& pipeline) override;
    QDImagePipelineElement* CreateLayer() const override;
};
