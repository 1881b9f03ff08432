#pragma once
// Crop: cuts a rectangle out of the picture. While the user edits the frame the whole picture
// passes, so the crop box can be moved over all of it; once applied, later elements see the
// cropped size.

#include "effects/QDImagePipelineElementWithWrappedProperties.h"

struct QDEffectCropProperties
{
    int32_t iCropX = 0;
    int32_t iCropY = 0;
    // 0 until the element knows its picture; the default frame is then taken.
    int32_t iCropWidth = 0;
    int32_t iCropHeight = 0;
    double dAspectRatio = -1.0; // -1: free
    bool bEditing = true;
    bool bApplied = false;
    bool operator==(const QDEffectCropProperties&) const = default;
};

// A label of the aspect pull-downs and its ratio, width over height; the lists end with an empty
// pair.
struct QDAspectRatio
{
    const char* szLabel;
    float fRatio;
};
extern const QDAspectRatio arLandscapeRatios[];
extern const QDAspectRatio arPortraitRatios[];

class QDEffectCrop : public QDImagePipelineElementWithWrappedProperties<QDEffectCropProperties>
{
public:
    QDEffectCrop();

    const char* GetTypeIdentifier() const override;
    const char* GetName() const override;
    unsigned GetWidth() const override;
    unsigned GetHeight() const override;
    // The first call, with no frame yet, puts one at 15 percent in from each side.
    void SetDimensions(const LBoundingBox2T<double>& box) override;
    void EvPropertiesChanged(const QDEffectCropProperties& oOld) override;
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override;
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override;

    // The default frame again, editing, free aspect; one undo item.
    void Reset();
    void SetCropPosition(int x, int y, bool bRegisterUndo);
    void SetCropDimensions(int width, int height, bool bRegisterUndo);
    void SetAspectRatio(double ratio, bool bRegisterUndo);
    // Sets the ratio and brings the frame to it: the height follows the width, and where that
    // passes the picture's bottom the height is cut and the width follows it. A ratio of 0 or
    // less frees the frame and leaves it as it is.
    void ApplyAspectRatio(double ratio, bool bRegisterUndo);
    static QDEffectCropProperties FitToAspect(QDEffectCropProperties p, double ratio, int width, int height);
    void SetEditing(bool bEditing, bool bRegisterUndo = true);
    void SetApplied(bool bApplied, bool bRegisterUndo = true);

    // The frame of a picture of width x height: the stored one, or the default while there is none,
    // clipped to the picture; empty when nothing of it lies inside.
    static LBoundingBox2T<int> GetFrame(const QDEffectCropProperties& p, int width, int height);
    static QDEffectCropProperties DefaultFrame(QDEffectCropProperties p, unsigned width, unsigned height);
    // Whether the picture is cut, rather than shown whole for editing.
    static bool IsCutting(const QDEffectCropProperties& p) { return p.bApplied && !p.bEditing; }

private:
    LProcessResult Render(LProcessInterface& process, LImageBuffer& buffer, double sx, double sy) const;
    void UpdateTransform();
};
