// The picture on the canvas, checked in the pixels the widget paints: where the viewport says,
// sharp when magnified, the checkerboard through transparent parts, the shadow on the right and
// bottom, the render message; and the small render stretched to the page when it arrives.

#include <QImage>
#include <QTest>
#include <cstring>

#include "canvas/LGuiImage.h"
#include "canvas/QDCanvasViewer.h"
#include "canvas/QDViewportRenderer.h"
#include "canvas_support.h"
#include "ui/LSceneGraphView.h"

namespace
{
uint32_t& At(LImageBuffer& b, int x, int y)
{
    return reinterpret_cast<uint32_t*>(b.GetRow(y))[x];
}

// Left half: columns alternating opaque blue and green. Right half: fully transparent.
LPtr<LImageBuffer> TestPicture(int w, int h)
{
    LPtr<LImageBuffer> b(new LImageBuffer);
    LImage::New(*b, w, h, B8G8R8A8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            At(*b, x, y) = x >= w / 2 ? 0x00000000u : (x % 2 ? 0xFF00FF00u : 0xFF0000FFu);
    return b;
}

int Grey(QRgb c)
{
    return qRed(c) == qGreen(c) && qGreen(c) == qBlue(c) ? qRed(c) : -1;
}

class RendererTest : public CanvasAppFirst, public ::testing::Test
{
protected:
    void SetUp() override
    {
        viewer.Init(&viewport, nullptr);
        view.resize(400, 300);
        view.show();
        ASSERT_TRUE(QTest::qWaitForWindowExposed(&view));
        viewer.SetZoom(2);
        viewer.CenterCameraOnViewport();
    }
    QImage Grab()
    {
        PumpFor(30);
        return view.grab().toImage().convertToFormat(QImage::Format_RGB32);
    }

    QDViewport viewport{160, 120, 0.5f};
    QDCanvasViewer viewer;
    LSceneGraphView view{viewer};
};
} // namespace

TEST_F(RendererTest, ThePictureLandsWhereTheViewportSaysWithCheckerAndShadow)
{
    // Before any render the page is plain grey.
    QImage shot = Grab();
    EXPECT_EQ(Grey(shot.pixel(200, 150)), 128);

    LPtr<LImageBuffer> picture = TestPicture(160, 120);
    viewer.EvRenderFinished(picture, nullptr);
    EXPECT_TRUE(picture.IsNull()); // taken, not copied
    QDViewportRenderer* r = viewer.GetViewportRenderer();
    // 160 × 120 at zoom 2 about the centre of a 400 × 300 control: x 40..360, y 30..270.
    EXPECT_EQ(r->GetPictureRectXY(), LBoxF(40, 30, 360, 270));
    shot = Grab();
    // Magnified without smoothing: each image column is two sharp screen columns.
    for (int x = 40; x < 200; x += 2)
    {
        const QRgb want = (x - 40) / 2 % 2 ? qRgb(0, 255, 0) : qRgb(0, 0, 255);
        ASSERT_EQ(shot.pixel(x, 100), want) << x;
        ASSERT_EQ(shot.pixel(x + 1, 100), want) << x;
    }
    EXPECT_EQ(Grey(shot.pixel(39, 100)), 96); // the canvas's background
    // The transparent half shows cells of 20 control pixels counted from the control's corner.
    EXPECT_EQ(Grey(shot.pixel(205, 45)), 255);  // cell (10, 2)
    EXPECT_EQ(Grey(shot.pixel(225, 45)), 223);  // cell (11, 2)
    EXPECT_EQ(Grey(shot.pixel(225, 65)), 255);  // cell (11, 3)
    EXPECT_EQ(Grey(shot.pixel(359, 269)), 255); // cell (17, 13), the last picture pixel
    // The shadow darkens just right of and below the page, and not left of or above it.
    EXPECT_LT(Grey(shot.pixel(361, 150)), 96);
    EXPECT_LT(Grey(shot.pixel(200, 271)), 96);
    EXPECT_EQ(Grey(shot.pixel(38, 150)), 96);
    EXPECT_EQ(Grey(shot.pixel(200, 28)), 96);
    EXPECT_EQ(Grey(shot.pixel(380, 150)), 96);

    // A failed render keeps the picture and writes its message in red in the bottom right.
    LPtr<LImageBuffer> none;
    viewer.EvRenderFinished(none, "Image render failed.");
    shot = Grab();
    EXPECT_EQ(shot.pixel(44, 100), qRgb(0, 0, 255));
    int red = 0;
    for (int y = 250; y < 300; ++y)
        for (int x = 200; x < 400; ++x)
            red += shot.pixel(x, y) == qRgb(255, 0, 0);
    EXPECT_GT(red, 20);
    // The next good picture clears it.
    LPtr<LImageBuffer> again = TestPicture(160, 120);
    viewer.EvRenderFinished(again, nullptr);
    EXPECT_TRUE(viewer.GetRenderError().empty());
}

TEST_F(RendererTest, ASmallRenderIsStretchedToThePageOnceAndThePageFollowsThePicture)
{
    struct Count : QDViewportNotifyee
    {
        void EvViewportBoundsChanged(QDViewport&) override { ++n; }
        int n = 0;
    } count;
    viewport.AddNotifyee(&count);
    QDViewportRenderer* r = viewer.GetViewportRenderer();

    // Half the size at a scale of one half: stretched to 160 × 120, the page unchanged.
    LPtr<LImageBuffer> small = TestPicture(80, 60);
    r->EvRenderLowRes(small.Get());
    EXPECT_EQ(r->iLowResWidth, 160);
    EXPECT_EQ(r->GetDisplayImage().GetWidth(), 160);
    EXPECT_EQ(r->GetDisplayImage().GetHeight(), 120);
    EXPECT_FALSE(r->GetDisplayImage().IsOpaque());
    EXPECT_EQ(count.n, 0);
    const QImage shot = Grab();
    EXPECT_EQ(shot.pixel(40, 100), qRgb(0, 0, 255));

    // A full picture of another size moves the page, and the camera follows.
    LPtr<LImageBuffer> wide = TestPicture(200, 100);
    r->EvRenderFinished(wide);
    EXPECT_EQ(viewport.GetBounds(), LBoundingBox2T<double>(0, 0, 200, 100));
    EXPECT_EQ(count.n, 1);
    EXPECT_FLOAT_EQ(viewer.GetCameraU(), 100);
    // Later small renders keep the size they first implied, unless told the project's.
    r->EvRenderLowRes(small.Get());
    EXPECT_EQ(r->GetDisplayImage().GetWidth(), 160);
    r->SetProjectDimensions(200, 100);
    r->EvRenderLowRes(small.Get());
    EXPECT_EQ(r->GetDisplayImage().GetWidth(), 200);
    viewport.RemoveNotifyee(&count);
}

TEST(ViewportRendererAlone, ARenderThatRoundsToNothingDrawsNothingAndInvalidImagesOnlyRepaint)
{
    CanvasApp();
    QDViewport viewport(10, 10, 1000.0f);
    QDViewportRenderer renderer(&viewport);
    LImageBuffer tiny;
    LImage::New(tiny, 1, 1, B8G8R8A8);
    renderer.EvRenderLowRes(&tiny);
    EXPECT_EQ(renderer.iLowResWidth, 0);
    EXPECT_TRUE(renderer.GetDisplayImage().IsEmpty());
    EXPECT_EQ(viewport.GetBounds(), LBoundingBox2T<double>(0, 0, 0, 0));
    renderer.EvRenderLowRes(nullptr);
    LImageBuffer invalid;
    renderer.EvRenderLowRes(&invalid);
    EXPECT_EQ(viewport.GetBounds(), LBoundingBox2T<double>(0, 0, 0, 0));
    EXPECT_FLOAT_EQ(renderer.GetShadowWidth(), 0);
}

TEST(GuiImage, PremultipliesOnceAndKnowsWhenNothingShowsThrough)
{
    LImageBuffer b;
    LImage::New(b, 3, 1, B8G8R8A8);
    At(b, 0, 0) = 0xFF102030u;
    At(b, 1, 0) = 0x80FF8000u; // half-transparent orange
    At(b, 2, 0) = 0x00FFFFFFu;
    LGuiImage image;
    ASSERT_TRUE(image.SetFromImageBuffer(b));
    EXPECT_FALSE(image.IsOpaque());
    const uint8_t* p = image.GetBuffer().GetRow(0);
    EXPECT_EQ(p[0] | p[1] << 8 | p[2] << 16 | uint32_t(p[3]) << 24, 0xFF102030u);
    // (255 × 128 + 127) ÷ 255 = 128, (128 × 128 + 127) ÷ 255 = 64.
    EXPECT_EQ(p[4 + 2], 128);
    EXPECT_EQ(p[4 + 1], 64);
    EXPECT_EQ(p[8] | p[9] | p[10], 0);
    At(b, 1, 0) = 0xFF000000u;
    At(b, 2, 0) = 0xFF000000u;
    ASSERT_TRUE(image.TakeImageBuffer(b));
    EXPECT_TRUE(image.IsOpaque());
    EXPECT_FALSE(b.IsValid());
}

TEST(GuiImage, StretchesByCentreAlignedBilinearSteps)
{
    // Black and white, two pixels wide and tall, made four by four. Output centres fall at
    // -0.25 (held at 0), 0.25, 0.75 and 1.25 (held at 1) of the source: weights 0, 64, 192, 0
    // of 256, so the grey steps are 0, 255 × 64 ÷ 256 = 63, 255 × 192 ÷ 256 = 191, 255.
    LImageBuffer b;
    LImage::New(b, 2, 2, B8G8R8A8);
    At(b, 0, 0) = At(b, 0, 1) = 0xFF000000u;
    At(b, 1, 0) = At(b, 1, 1) = 0xFFFFFFFFu;
    LGuiImage image;
    ASSERT_TRUE(image.SetStretched(b, 4, 4));
    const uint8_t steps[4] = {0, 63, 191, 255};
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 4; ++x)
            EXPECT_EQ(At(const_cast<LImageBuffer&>(image.GetBuffer()), x, y),
                      0xFF000000u | steps[x] * 0x010101u)
                << x << "," << y;
    EXPECT_TRUE(image.IsOpaque());
    // The other way round, and blended in premultiplied form: half-transparent white over
    // nothing gives 128 alpha and 128 in each channel at the first step already premultiplied.
    At(b, 0, 0) = At(b, 1, 0) = 0x80FFFFFFu;
    At(b, 0, 1) = At(b, 1, 1) = 0x00000000u;
    ASSERT_TRUE(image.SetStretched(b, 1, 4));
    const uint8_t alpha[4] = {128, 96, 32, 0}; // 128 × (256 − w) ÷ 256 for w = 0, 64, 192, 256
    for (int y = 0; y < 4; ++y)
    {
        const uint32_t p = At(const_cast<LImageBuffer&>(image.GetBuffer()), 0, y);
        EXPECT_EQ(p >> 24, alpha[y]) << y;
        EXPECT_EQ(p & 0xFFu, alpha[y]) << y;
    }
    EXPECT_FALSE(image.IsOpaque());
}

TEST(GuiImage, ReductionsAverageEachTwoByTwoAndAreKeptUntilThePixelsChange)
{
    // Five by three, so the last column and row pair with themselves.
    LImageBuffer b;
    LImage::New(b, 5, 3, B8G8R8A8);
    for (int y = 0; y < 3; ++y)
        for (int x = 0; x < 5; ++x)
            At(b, x, y) = 0xFF000000u | uint32_t(10 * x + 100 * y);
    LGuiImage image;
    ASSERT_TRUE(image.SetFromImageBuffer(b));
    EXPECT_EQ(&image.GetReducedFor(3), &image); // 5 is not more than twice 3
    const LGuiImage& half = image.GetReducedFor(2);
    ASSERT_EQ(half.GetWidth(), 3);
    ASSERT_EQ(half.GetHeight(), 2);
    auto blue = [](const LGuiImage& g, int x, int y)
    { return At(const_cast<LImageBuffer&>(g.GetBuffer()), x, y) & 0xFFu; };
    EXPECT_EQ(blue(half, 0, 0), (0u + 10 + 100 + 110 + 2) / 4);
    EXPECT_EQ(blue(half, 2, 0), (40u + 40 + 140 + 140 + 2) / 4);
    EXPECT_EQ(blue(half, 1, 1), (220u + 230 + 220 + 230 + 2) / 4);
    EXPECT_EQ(&image.GetReducedFor(2), &half);
    const LGuiImage& quarter = image.GetReducedFor(1);
    EXPECT_EQ(quarter.GetWidth(), 2);
    EXPECT_EQ(image.GetReducedFor(0).GetWidth(), 1);
    EXPECT_EQ(At(const_cast<LImageBuffer&>(quarter.GetBuffer()), 0, 0) >> 24, 0xFFu);
    // New pixels, new reductions.
    At(b, 0, 0) = 0xFF0000FFu;
    ASSERT_TRUE(image.SetFromImageBuffer(b));
    EXPECT_EQ(blue(image.GetReducedFor(2), 0, 0), (255u + 10 + 100 + 110 + 2) / 4);
}

TEST(GuiImage, AStretchMadeAStripAtATimeEqualsOneMadeWhole)
{
    LImageBuffer small;
    LImage::New(small, 7, 5, B8G8R8A8);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 7; ++x)
            At(small, x, y) =
                0xFF000000u | uint32_t(37 * x + 11 * y) << 16 | uint32_t(53 * x * y) << 8 | uint32_t(91 * y);
    LGuiImage whole, strips;
    ASSERT_TRUE(whole.SetStretched(small, 50, 100));
    ASSERT_TRUE(strips.SetStretched(small, 50, 100));
    const LImageBuffer& w = whole.GetBuffer();
    auto sameRows = [&](const LImageBuffer& b, int y0, int y1)
    {
        for (int y = y0; y < y1; ++y)
            if (memcmp(b.GetRow(y), w.GetRow(y), 50 * 4) != 0)
                return y;
        return -1;
    };
    // Asking for one row in the middle makes its strip, which matches the whole stretch.
    const LImageBuffer& part = strips.GetBufferRows(40, 41);
    EXPECT_EQ(sameRows(part, 32, 64), -1);
    EXPECT_EQ(sameRows(strips.GetBufferRows(90, 100), 64, 100), -1);
    EXPECT_EQ(sameRows(strips.GetBuffer(), 0, 100), -1);
}
