// The geometric effects: the sizes they promise and yield, the pixels where they are exact (flip,
// crop, quarter turns), and the point transforms, alone and through a chain, forward and back.

#include <cmath>

#include "document/LQDCacheStore.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "effects/QDEffectCrop.h"
#include "effects/QDEffectCropSimple.h"
#include "effects/QDEffectFisheye.h"
#include "effects/QDEffectFlip.h"
#include "effects/QDEffectGeometry.h"
#include "effects/QDEffectResize.h"
#include "effects/QDEffectRotate.h"
#include "effects_test_support.h"
#include "image/LImageTransform.h"

namespace
{
LPixelColour At(const LImageBuffer& b, int x, int y)
{
    return reinterpret_cast<const LPixelColour*>(b.GetRow(y))[x];
}

LProcessResult Render(QDImagePipelineElement& e, LImageBuffer& b)
{
    RecordingProcess process;
    e.SetDimensions(LBoundingBox2T<double>(0, 0, b.GetWidth(), b.GetHeight()));
    const LProcessResult r = e.RenderHighResImage(process, b);
    EXPECT_TRUE(r != 0 || process.dProgress == 1.0);
    return r;
}

void ExpectMaps(const QDImagePipelineElement& e, int x, int y, int toX, int toY)
{
    int mx = x, my = y;
    EXPECT_TRUE(e.GetPointTransformed(mx, my)) << x << "," << y;
    EXPECT_EQ(mx, toX) << x << "," << y;
    EXPECT_EQ(my, toY) << x << "," << y;
    EXPECT_TRUE(QDGetPointTransformedBack(e, mx, my));
    EXPECT_EQ(mx, x);
    EXPECT_EQ(my, y);
}
} // namespace

TEST(QDEffectFlip, MirrorsExactlyAndTwiceIsTheIdentity)
{
    LImageBuffer in, out;
    MakeTestPicture(in, 7, 5);
    for (auto [h, v] : {std::pair{true, false}, std::pair{false, true}, std::pair{true, true}})
    {
        QDEffectFlip flip;
        flip.InitProperties({h, v});
        CopyPicture(out, in);
        ASSERT_EQ(Render(flip, out), 0);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 7; ++x)
                ASSERT_EQ(At(out, x, y), At(in, h ? 6 - x : x, v ? 4 - y : y)) << x << "," << y;
        ExpectMaps(flip, 1, 0, h ? 5 : 1, v ? 4 : 0);
        ExpectMaps(flip, 6, 3, h ? 0 : 6, v ? 1 : 3);
        ASSERT_EQ(Render(flip, out), 0);
        EXPECT_TRUE(SamePixels(out, in));
    }
}

TEST(QDEffectCrop, CutsOnlyWhenAppliedAndTheFrameFollowsThePreview)
{
    QDProject project(40, 20);
    QDEffectCrop* crop = project.CreatePipelineElement<QDEffectCrop>(false);
    // The first size puts the default frame 15 percent in, 70 percent large.
    EXPECT_EQ(crop->GetProperties().iCropX, 6);
    EXPECT_EQ(crop->GetProperties().iCropY, 3);
    EXPECT_EQ(crop->GetProperties().iCropWidth, 28);
    EXPECT_EQ(crop->GetProperties().iCropHeight, 14);
    EXPECT_TRUE(crop->GetProperties().bEditing);

    LImageBuffer in, out;
    MakeTestPicture(in, 40, 20);
    // While the frame is edited the whole picture passes.
    CopyPicture(out, in);
    RecordingProcess process;
    ASSERT_EQ(crop->RenderHighResImage(process, out), 0);
    EXPECT_TRUE(SamePixels(out, in));
    EXPECT_EQ(crop->GetWidth(), 40u);

    QDEffectCropProperties p = crop->GetProperties();
    p.iCropX = 5, p.iCropY = 2, p.iCropWidth = 11, p.iCropHeight = 7, p.bEditing = false, p.bApplied = true;
    crop->SetProperties(p, true);
    EXPECT_EQ(crop->GetWidth(), 11u);
    EXPECT_EQ(crop->GetHeight(), 7u);
    CopyPicture(out, in);
    ASSERT_EQ(crop->RenderHighResImage(process, out), 0);
    ASSERT_EQ(out.GetWidth(), 11);
    ASSERT_EQ(out.GetHeight(), 7);
    for (int y = 0; y < 7; ++y)
        for (int x = 0; x < 11; ++x)
            ASSERT_EQ(At(out, x, y), At(in, 5 + x, 2 + y));
    ExpectMaps(*crop, 5, 2, 0, 0);
    ExpectMaps(*crop, 15, 8, 10, 6);
    int x = 4, y = 5;
    EXPECT_FALSE(crop->GetPointTransformed(x, y)) << "left of the frame";

    // The preview's half-size buffer takes the frame halved.
    LImageBuffer small;
    MakeTestPicture(small, 20, 10);
    ASSERT_EQ(crop->RenderLowResImage(process, small), 0);
    EXPECT_EQ(small.GetWidth(), 5);
    EXPECT_EQ(small.GetHeight(), 3);

    // A frame reaching past the picture is cut at its edge; one wholly outside cuts nothing.
    p.iCropX = 35, p.iCropWidth = 20;
    crop->SetProperties(p, true);
    EXPECT_EQ(crop->GetWidth(), 5u);
    p.iCropX = 45;
    crop->SetProperties(p, true);
    EXPECT_EQ(crop->GetWidth(), 40u);
    CopyPicture(out, in);
    ASSERT_EQ(crop->RenderHighResImage(process, out), 0);
    EXPECT_TRUE(SamePixels(out, in));

    // Reset brings the default frame back for editing, with one undo item.
    const size_t items = project.undoStack.GetNumItems();
    crop->Reset();
    EXPECT_EQ(project.undoStack.GetNumItems(), items + 1);
    EXPECT_EQ(crop->GetProperties().iCropX, 6);
    EXPECT_TRUE(crop->GetProperties().bEditing);
}

TEST(QDEffectCropSimple, TakesTheLargestCentredRectangleOfTheRatio)
{
    struct Case
    {
        double ratio;
        int w, h;
        LBoundingBox2T<int> frame;
    };
    for (const Case& c :
         {Case{1.0, 7, 5, {1, 0, 6, 5}}, Case{2.0, 7, 5, {0, 0, 7, 4}}, Case{0.5, 9, 9, {2, 0, 7, 9}},
          Case{-1.0, 7, 5, {0, 0, 7, 5}}, Case{1.5, 3, 2, {0, 0, 3, 2}}})
    {
        SCOPED_TRACE(c.ratio);
        const LBoundingBox2T<int> f = QDEffectCropSimple::GetFrame(c.ratio, c.w, c.h);
        EXPECT_EQ(f, c.frame) << f.left << "," << f.top << "," << f.right << "," << f.bottom;
    }
    LImageBuffer in, out;
    MakeTestPicture(in, 7, 5);
    CopyPicture(out, in);
    QDEffectCropSimple crop;
    crop.InitProperties(1.0);
    ASSERT_EQ(Render(crop, out), 0);
    ASSERT_EQ(out.GetWidth(), 5);
    EXPECT_EQ(crop.GetWidth(), 5u);
    for (int y = 0; y < 5; ++y)
        for (int x = 0; x < 5; ++x)
            ASSERT_EQ(At(out, x, y), At(in, x + 1, y));
    ExpectMaps(crop, 1, 0, 0, 0);
}

TEST(QDEffectResize, SizeUnitsAndThePreview)
{
    QDProject project(600, 300);
    QDEffectResizeFactory factory;
    auto* resize = static_cast<QDEffectResize*>(factory.CreateLayer(project, nullptr, false));
    EXPECT_EQ(resize->GetProperties().iWidth, 600);
    EXPECT_EQ(resize->GetProperties().iSourceHeight, 300);
    EXPECT_EQ(resize->GetPPI(), 300u);
    EXPECT_DOUBLE_EQ(resize->GetResizeWidth(QDEffectResize::Inches), 2.0);
    EXPECT_DOUBLE_EQ(resize->GetResizeWidth(QDEffectResize::Millimeters), 50.8);
    EXPECT_DOUBLE_EQ(resize->GetResizeHeight(QDEffectResize::Percentage), 100.0);

    // The aspect is kept: half the width in percent halves the height.
    resize->SetResizeWidth(50, QDEffectResize::Percentage, true);
    EXPECT_EQ(resize->GetWidth(), 300u);
    EXPECT_EQ(resize->GetHeight(), 150u);
    resize->SetKeepAspect(false, true);
    resize->SetResizeHeight(1, QDEffectResize::Inches, true);
    EXPECT_EQ(resize->GetHeight(), 300u);
    EXPECT_EQ(resize->GetWidth(), 300u);
    // The units read the project's pixels per inch.
    project.GetPPIRef() = 150;
    EXPECT_DOUBLE_EQ(resize->GetResizeHeight(QDEffectResize::Inches), 2.0);
    resize->Reset();
    EXPECT_EQ(project.GetPPIRef(), 300u);
    EXPECT_EQ(resize->GetWidth(), 600u);

    LImageBuffer in, out;
    MakeTestPicture(in, 600, 300);
    CopyPicture(out, in);
    RecordingProcess process;
    ASSERT_EQ(resize->RenderHighResImage(process, out), 0);
    EXPECT_TRUE(SamePixels(out, in)) << "the same size skips the scaler";
    resize->SetResizeWidth(200, QDEffectResize::Pixels, true);
    ASSERT_EQ(resize->RenderHighResImage(process, out), 0);
    EXPECT_EQ(out.GetWidth(), 200);
    EXPECT_EQ(out.GetHeight(), 100);
    // A preview a fifth of the size scales by a fifth.
    LImageBuffer small;
    MakeTestPicture(small, 120, 60);
    ASSERT_EQ(resize->RenderLowResImage(process, small), 0);
    EXPECT_EQ(small.GetWidth(), 40);
    EXPECT_EQ(small.GetHeight(), 20);
    // Pixel centres land on pixel centres: a third of the size maps 1 to 0 and 4 to 1.
    ExpectMaps(*resize, 4, 1, 1, 0);
}

TEST(QDEffectResizeSimple, FollowsEachPicturesSize)
{
    struct Case
    {
        int32_t type;
        int w, h;
        int outW, outH;
    };
    for (const Case& c : {Case{QDEffectResizeSimple::Fit, 1000, 500, 800, 400},
                          Case{QDEffectResizeSimple::Fit, 300, 600, 300, 600},
                          Case{QDEffectResizeSimple::AutoHeight, 1000, 500, 800, 400},
                          Case{QDEffectResizeSimple::AutoWidth, 1000, 500, 1200, 600},
                          Case{QDEffectResizeSimple::Percent, 1001, 3, 501, 2}})
    {
        QDEffectResizeSimpleProperties p;
        p.iResizeType = c.type;
        p.fPercent = 0.5f;
        int w, h;
        QDEffectResizeSimple::GetTargetSize(p, c.w, c.h, w, h);
        EXPECT_EQ(w, c.outW) << c.type;
        EXPECT_EQ(h, c.outH) << c.type;
    }
    QDEffectResizeSimple resize;
    resize.InitProperties({QDEffectResizeSimple::AutoHeight, 10, 600, 1.0f});
    LImageBuffer b;
    MakeTestPicture(b, 40, 20, B8G8R8);
    ASSERT_EQ(Render(resize, b), 0);
    EXPECT_EQ(b.GetWidth(), 10);
    EXPECT_EQ(b.GetHeight(), 5);
    EXPECT_EQ(resize.GetWidth(), 10u);
}

TEST(QDEffectRotate, QuarterTurnsAreExactAndFullTurnsKeepTheSize)
{
    LImageBuffer in, out;
    MakeTestPicture(in, 7, 4);
    QDEffectRotate rotate;
    // 0 skips the rotation entirely.
    CopyPicture(out, in);
    ASSERT_EQ(Render(rotate, out), 0);
    EXPECT_TRUE(SamePixels(out, in));

    rotate.InitProperties({false, 90.0});
    CopyPicture(out, in);
    ASSERT_EQ(Render(rotate, out), 0);
    ASSERT_EQ(out.GetWidth(), 4);
    ASSERT_EQ(out.GetHeight(), 7);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 7; ++x)
            ASSERT_EQ(At(out, 3 - y, x), At(in, x, y)) << x << "," << y;
    rotate.SetDimensions(LBoundingBox2T<double>(0, 0, 7, 4));
    ExpectMaps(rotate, 0, 0, 3, 0);
    ExpectMaps(rotate, 6, 3, 0, 6);

    // -90 is three quarter turns, exactly.
    rotate.InitProperties({false, -90.0});
    CopyPicture(out, in);
    ASSERT_EQ(Render(rotate, out), 0);
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 7; ++x)
            ASSERT_EQ(At(out, y, 6 - x), At(in, x, y)) << x << "," << y;

    // A full turn goes through the general rotation, yet keeps the size.
    for (double d : {360.0, 720.0})
    {
        rotate.InitProperties({false, d});
        CopyPicture(out, in);
        ASSERT_EQ(Render(rotate, out), 0);
        EXPECT_EQ(out.GetWidth(), 7) << d;
        EXPECT_EQ(out.GetHeight(), 4) << d;
        EXPECT_EQ(rotate.GetWidth(), 7u);
    }
}

TEST(QDEffectRotate, AnyAngleGrowsToTheBoxOrClipsItsCorners)
{
    const int w = 60, h = 40;
    LImageBuffer in, out;
    LCreateBlankImage(in, w, h, LPixelColour(10, 200, 30, 255));
    QDEffectRotate rotate;
    for (double d : {30.0, 100.0, -20.0, 200.0})
    {
        SCOPED_TRACE(d);
        rotate.InitProperties({false, d});
        const double a = d * M_PI / 180;
        const int W = int(std::ceil(w * std::fabs(std::cos(a)) + h * std::fabs(std::sin(a)) - 1e-9));
        const int H = int(std::ceil(w * std::fabs(std::sin(a)) + h * std::fabs(std::cos(a)) - 1e-9));
        CopyPicture(out, in);
        ASSERT_EQ(Render(rotate, out), 0);
        EXPECT_EQ(out.GetWidth(), W);
        EXPECT_EQ(out.GetHeight(), H);
        EXPECT_EQ(rotate.GetWidth(), unsigned(W));
        EXPECT_EQ(At(out, 0, 0).a, 0) << "the corners are transparent";
        EXPECT_EQ(At(out, W / 2, H / 2), LPixelColour(10, 200, 30, 255));

        // Clipped: the picture's size, turned between 45 and 135 degrees, with no corner left.
        rotate.InitProperties({true, d});
        CopyPicture(out, in);
        ASSERT_EQ(Render(rotate, out), 0);
        const bool turned = std::fabs(std::remainder(d, 180)) > 45;
        EXPECT_EQ(out.GetWidth(), turned ? h : w);
        EXPECT_EQ(out.GetHeight(), turned ? w : h);
        for (int y = 0; y < out.GetHeight(); ++y)
            for (int x = 0; x < out.GetWidth(); ++x)
                ASSERT_EQ(At(out, x, y).a, 255) << x << "," << y;
    }

    // An opaque background fills the corners.
    QDProject project(w, h);
    project.SetBackground(LGuiColorAlpha(0xFF00, 0, 0, 1.0f));
    QDEffectRotateFactory factory;
    auto* turned = static_cast<QDEffectRotate*>(factory.CreateLayer(project, nullptr, false));
    turned->InitProperties({false, 30.0});
    CopyPicture(out, in);
    ASSERT_EQ(Render(*turned, out), 0);
    EXPECT_EQ(At(out, 0, 0), LPixelColour(0, 0, 255, 255));
    // The full-size input stays behind for the rotation handle.
    LImageBuffer kept;
    ASSERT_TRUE(LQDCacheLoadImage(kept, turned->GetInputCacheId()));
    EXPECT_TRUE(SamePixels(kept, in));
}

TEST(QDEffectRotate, PointsTurnAboutTheCentreAndComeBack)
{
    QDEffectRotate rotate;
    rotate.SetDimensions(LBoundingBox2T<double>(0, 0, 101, 61));
    for (double d : {30.0, -75.0, 190.0})
        for (bool clip : {false, true})
        {
            rotate.InitProperties({clip, d});
            int x = 50, y = 30;
            ASSERT_TRUE(rotate.GetPointTransformed(x, y));
            // The centre stays the centre, which for an even side lies between two pixels.
            EXPECT_NEAR(x, (rotate.GetWidth() - 1) / 2.0, 0.5);
            EXPECT_NEAR(y, (rotate.GetHeight() - 1) / 2.0, 0.5);
            // A point right of the centre goes down on a clockwise turn.
            x = 70, y = 30;
            rotate.GetPointTransformed(x, y);
            const double a = d * M_PI / 180, s = clip ? 1.0 / QDEffectRotate::GetClipScale(d, 101, 61) : 1.0;
            if (!clip || !QDEffectRotate::IsFrameTurned(d))
            {
                EXPECT_NEAR(x - (rotate.GetWidth() - 1) / 2.0, 20 * std::cos(a) * s, 1.0) << d;
                EXPECT_NEAR(y - (rotate.GetHeight() - 1) / 2.0, 20 * std::sin(a) * s, 1.0) << d;
            }
            int bx = x, by = y;
            ASSERT_TRUE(QDGetPointTransformedBack(rotate, bx, by));
            EXPECT_NEAR(bx, 70, 1);
            EXPECT_NEAR(by, 30, 1);
        }
    EXPECT_EQ(QDEffectRotate::NextQuarterTurn(10, 1), 90);
    EXPECT_EQ(QDEffectRotate::NextQuarterTurn(90, 1), 180);
    EXPECT_EQ(QDEffectRotate::NextQuarterTurn(90, -1), 0);
    EXPECT_EQ(QDEffectRotate::NextQuarterTurn(-10, -1), -90);
}

TEST(QDEffectGeometry, APointGoesThroughAChainAndBack)
{
    LImageBuffer picture;
    MakeTestPicture(picture, 80, 60);
    QDProject project(80, 60);
    QDOriginalImageFactory::CreateLayer(project, picture, false, false, nullptr);
    // The page follows the pipeline's size before each new element, as after a render.
    auto page = [&]
    {
        unsigned w, h;
        project.GetDimensions(w, h);
        project.viewport.SetDimensions(w, h, ANCHOR_TOPLEFT);
    };
    auto* crop = project.CreatePipelineElement<QDEffectCrop>(false);
    QDEffectCropProperties c = crop->GetProperties();
    c.iCropX = 10, c.iCropY = 4, c.iCropWidth = 50, c.iCropHeight = 40, c.bEditing = false, c.bApplied = true;
    crop->SetProperties(c, false);
    page();
    QDEffectResizeFactory resizes;
    auto* resize = static_cast<QDEffectResize*>(resizes.CreateLayer(project, nullptr, false));
    resize->SetResizeWidth(200, QDEffectResize::Percentage, false);
    page();
    auto* rotate = project.CreatePipelineElement<QDEffectRotate>(false);
    rotate->SetRotation(90, false);
    page();
    auto* flip = project.CreatePipelineElement<QDEffectFlip>(false);
    flip->SetProperties({true, false}, false);

    unsigned w, h;
    project.GetDimensions(w, h);
    EXPECT_EQ(w, 80u);
    EXPECT_EQ(h, 100u);
    // Crop: (30, 20) -> (20, 16); twice, centre on centre: (40.5, 32.5); a quarter turn of the
    // 100 x 80 picture: (79 - y, x) = (46.5, 40.5); mirrored: x -> 79 - x.
    int x = 30, y = 20;
    ASSERT_TRUE(project.pipeline.GetPointTransformed(x, y, project.GetOriginalImage()));
    EXPECT_NEAR(x, 32.5, 1);
    EXPECT_NEAR(y, 40.5, 1);
    ASSERT_TRUE(QDGetPipelinePointBack(x, y, project.GetOriginalImage()));
    EXPECT_NEAR(x, 30, 1);
    EXPECT_NEAR(y, 20, 1);
    // A point the crop cuts away doesn't come through.
    x = 5, y = 20;
    EXPECT_FALSE(project.pipeline.GetPointTransformed(x, y, project.GetOriginalImage()));

    // The chain renders to the size it promised.
    LImageBuffer out;
    CopyPicture(out, picture);
    RecordingProcess process;
    for (QDImagePipelineElement* e = crop; e; e = e->GetNextItem())
    {
        e->iWidth = unsigned(out.GetWidth()), e->iHeight = unsigned(out.GetHeight());
        ASSERT_EQ(e->RenderHighResImage(process, out), 0) << e->GetName();
        EXPECT_EQ(out.GetWidth(), int(e->GetWidth())) << e->GetName();
        EXPECT_EQ(out.GetHeight(), int(e->GetHeight())) << e->GetName();
    }
}

TEST(QDEffectFisheye, MidStrengthIsNoDistortionAndTheEndsBendBothWays)
{
    EXPECT_FLOAT_EQ(QDEffectFisheye::GetPower({0.5f, 1.0f}), 0.0f);
    EXPECT_FLOAT_EQ(QDEffectFisheye::GetPower({0.0f, 1.0f}), 12.0f);
    EXPECT_FLOAT_EQ(QDEffectFisheye::GetPower({1.0f, 1.0f}), -12.0f);
    EXPECT_FLOAT_EQ(QDEffectFisheye::GetKernelZoom({0.5f, 1.5f}), 0.5f);
    LImageBuffer in, out;
    MakeTestPicture(in, 9, 7);
    QDEffectFisheye fisheye;
    CopyPicture(out, in);
    ASSERT_EQ(Render(fisheye, out), 0);
    EXPECT_TRUE(SamePixels(out, in));
    // A fisheye shows the middle larger: the corner takes a pixel nearer the centre.
    fisheye.InitProperties({0.2f, 1.0f});
    CopyPicture(out, in);
    ASSERT_EQ(Render(fisheye, out), 0);
    EXPECT_NE(At(out, 0, 0), At(in, 0, 0));
    EXPECT_EQ(At(out, 4, 3), At(in, 4, 3));
}
