#pragma once
// Resize: scales the picture to a size in pixels, bilinear. The panel speaks pixels, percent,
// inches or millimetres, through the project's pixels per inch.

#include "document/QDEffectFactory.h"
#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct LGuiColorAlpha;

struct QDEffectResizeProperties
{
    int32_t iWidth = 0; // 0 until the element knows its picture: the input's size
    int32_t iHeight = 0;
    int32_t iSourceWidth = 0;
    int32_t iSourceHeight = 0;
    bool bKeepAspect = true;
    bool operator==(const QDEffectResizeProperties&) const = default;
};

class QDEffectResize : public QDImagePipelineElementWithWrappedProperties<QDEffectResizeProperties>
{
public:
    enum ResizeUnitType : int
    {
        Pixels = 0,
        Percentage = 1,
        Inches = 2,
        Millimeters = 3,
    };

    // ppi: the project's pixels per inch, which the units read and Reset sets; null outside a
    // project (300 is taken).
    explicit QDEffectResize(unsigned* ppi = nullptr);

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    unsigned GetWidth() const override;
    unsigned GetHeight() const override;
    // While no size is set, both pairs come from the element's.
    void SetDimensions(const LBoundingBox2T<double>& box) override;
    void EvPropertiesChanged(const QDEffectResizeProperties& oOld) override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    double GetResizeWidth(ResizeUnitType unit) const;
    double GetResizeHeight(ResizeUnitType unit) const;
    // A size in a unit; with the aspect kept the other side follows the source's proportions.
    void SetResizeWidth(double value, ResizeUnitType unit, bool bRegisterUndo);
    void SetResizeHeight(double value, ResizeUnitType unit, bool bRegisterUndo);
    void SetKeepAspect(bool bKeep, bool bRegisterUndo);
    unsigned GetPPI() const { return lpPPI && *lpPPI ? *lpPPI : 300u; }
    void SetPPI(unsigned ppi);
    // The source's size again, 300 pixels per inch.
    void Reset();

    unsigned* lpPPI;
    const LGuiColorAlpha* lpBackground = nullptr;

private:
    double ToUnit(int pixels, int source, ResizeUnitType unit) const;
    int FromUnit(double value, int source, ResizeUnitType unit) const;
    void UpdateTransform();
};

// Its catalogue row is 6039: the element gets the project's pixels per inch and background.
class QDEffectResizeFactory : public QDEffectFactory
{
public:
    QDEffectResizeFactory();
    QDImagePipelineElement* CreateLayer(QDProject& project, LWindow* window, bool bAddUndo) override;
    QDImagePipelineElement* CreateLayer(QDImagePipeline& pipeline) override;
    QDImagePipelineElement* CreateLayer() const override;
};

// Resize Simple, for the batch editor: a size that follows each picture, by fitting into a box,
// by one side with the other in proportion, or by a percentage.
struct QDEffectResizeSimpleProperties
{
    int32_t iResizeType = 0;
    int32_t iResizeWidth = 800;
    int32_t iResizeHeight = 600;
    float fPercent = 1.0f;
    bool operator==(const QDEffectResizeSimpleProperties&) const = default;
};

class QDEffectResizeSimple
    : public QDImagePipelineElementWithWrappedProperties<QDEffectResizeSimpleProperties>
{
public:
    enum ResizeType : int32_t
    {
        Fit = 0,
        AutoHeight = 1,
        AutoWidth = 2,
        Percent = 3,
    };

    QDEffectResizeSimple();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    unsigned GetWidth() const override;
    unsigned GetHeight() const override;
    void SetDimensions(const LBoundingBox2T<double>& box) override;
    void EvPropertiesChanged(const QDEffectResizeSimpleProperties& oOld) override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    // The full picture's size, scaled by the buffer's share of it.
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The size a width x height picture gets; each side at least 1.
    static void GetTargetSize(const QDEffectResizeSimpleProperties& p, int width, int height, int& outWidth,
                              int& outHeight);

private:
    void UpdateTransform();
};

// Scales buffer to width x height, bilinear, unless it has that size already; "Out of memory" and
// 2 when the new picture can't be made.
LProcessResult QDResizeBuffer(LProcessInterface& process, LImageBuffer& buffer, int width, int height);
