#pragma once
// The scene node that shows the newest rendered picture in the page's rectangle, over a
// checkerboard and with a drop shadow. A small render is stretched to the page's size once when
// it arrives, so that each paint afterwards is one bitmap draw.

#include "canvas/LGuiImage.h"
#include "canvas/LSceneGraphNode.h"
#include "document/QDViewport.h"
#include "foundation/LPtr.h"

class QDViewportRenderer : public LSceneGraphNode
{
public:
    explicit QDViewportRenderer(QDViewport* viewport);

    const char* GetName() const override { return "Viewport renderer"; }
    // The page, in UV.
    LBoxF GetBounds() const;
    LBoxF GetDrawBounds() const override;
    LBoxF GetSelectionBounds() const override { return GetBounds(); }
    void Draw(LPaintContext& pc) override;

    // A low-resolution render: stretched to the project's size and shown until the next.
    void EvRenderLowRes(const LImageBuffer* image);
    // A full render; the renderer takes the buffer. An empty one only repaints.
    void EvRenderFinished(LPtr<LImageBuffer>& image);
    // The project's size as the pipeline gives it, for stretching the small renders.
    void SetProjectDimensions(int width, int height);
    LBoxF GetViewportBoundsXY() const;
    // 2% of the page's mean side, in UV.
    float GetShadowWidth() const;
    // The picture's rectangle in the control's pixels, rounded as it is drawn.
    LBoxF GetPictureRectXY() const;
    const LGuiImage& GetDisplayImage() const { return imgDisplay; }

    static constexpr int kCheckerCell = 20;
    static constexpr uint8_t kShadowGrey = 80;

    QDViewport* lpViewport;
    int32_t iCacheId = -1;
    LBoxF bxPrevious{0, 0, 0, 0};
    int iLowResWidth = 0, iLowResHeight = 0;
    LGuiImage imgDisplay;
    int iImageWidth = -1, iImageHeight = -1;
    QDViewportParameters paramsUsed;

private:
    void DrawShadow(LPaintContext& pc);
    void FollowPictureSize(int width, int height);
};
