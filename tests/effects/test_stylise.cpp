// The stylise effects over their kernels: what each passes untouched, how the preview scales its
// sizes, and the pixels against references worked out here (block means, the overlay blend, the
// border's bands, the frame's opening).

#include <set>

#include "document/QDOriginalImage.h"
#include "document/QDProject.h"
#include "document/QDProjectFile.h"
#include "effects/QDEffectBorder.h"
#include "effects/QDEffectCartoon.h"
#include "effects/QDEffectCatalogue.h"
#include "effects/QDEffectFrame.h"
#include "effects/QDEffectOilPaint.h"
#include "effects/QDEffectPixelate.h"
#include "effects/QDEffectVignette.h"
#include "effects/QDEffectVintage.h"
#include "effects_test_support.h"
#include "image/LImageTransform.h"
#include "image/LImgProBands.h"
#include "image/LImgProOilPainting.h"

namespace
{
LPixelColour At(const LImageBuffer& b, int x, int y)
{
    return reinterpret_cast<const LPixelColour*>(b.GetRow(y))[x];
}

LProcessResult RenderAt(QDImagePipelineElement& e, LImageBuffer& b, int elementWidth, int elementHeight,
                        bool low = false)
{
    RecordingProcess process;
    e.SetDimensions(LBoundingBox2T<double>(0, 0, elementWidth, elementHeight));
    return low ? e.RenderLowResImage(process, b) : e.RenderHighResImage(process, b);
}

LProcessResult Render(QDImagePipelineElement& e, LImageBuffer& b)
{
    return RenderAt(e, b, b.GetWidth(), b.GetHeight());
}
} // namespace

TEST(QDEffectPixelate, BlocksOfTheirMeanAndThePreviewScalesTheBlock)
{
    LImageBuffer in, out;
    MakeTestPicture(in, 10, 7);
    QDEffectPixelate pixelate;
    pixelate.InitProperties(1);
    CopyPicture(out, in);
    ASSERT_EQ(Render(pixelate, out), 0);
    EXPECT_TRUE(SamePixels(out, in));

    pixelate.InitProperties(4);
    for (int scale : {1, 2})
    {
        // At half the element's size the block is 2.
        const int block = 4 / scale;
        CopyPicture(out, in);
        ASSERT_EQ(RenderAt(pixelate, out, 10 * scale, 7 * scale, scale > 1), 0);
        for (int by = 0; by < 7; by += block)
            for (int bx = 0; bx < 10; bx += block)
            {
                int sum[4] = {}, n = 0;
                for (int y = by; y < std::min(by + block, 7); ++y)
                    for (int x = bx; x < std::min(bx + block, 10); ++x, ++n)
                        for (int c = 0; c < 4; ++c)
                            sum[c] += in.GetRow(y)[4 * x + c];
                for (int y = by; y < std::min(by + block, 7); ++y)
                    for (int x = bx; x < std::min(bx + block, 10); ++x)
                        for (int c = 0; c < 4; ++c)
                            ASSERT_EQ(out.GetRow(y)[4 * x + c], sum[c] / n)
                                << x << "," << y << " block " << block;
            }
    }
}

TEST(QDEffectOilPaint, BrushClampsAndScalesAndPastelsOverlayTheInvertedGrey)
{
    EXPECT_EQ(QDEffectOilPaint::GetRadius(1, 1.0), 3);
    EXPECT_EQ(QDEffectOilPaint::GetRadius(25, 1.0), 21);
    EXPECT_EQ(QDEffectOilPaint::GetRadius(10, 0.5), 5);
    EXPECT_EQ(QDOverlayValues(0, 200), 0);
    EXPECT_EQ(QDOverlayValues(255, 17), 255);
    EXPECT_EQ(QDOverlayValues(64, 128), 64);  // 2 * 64/255 * 128/255 * 255 = 64.25
    EXPECT_EQ(QDOverlayValues(192, 64), 161); // (1 - 2 * 63/255 * 191/255) * 255 = 160.6...

    LImageBuffer in, out, expected;
    MakeTestPicture(in, 13, 9);
    QDEffectOilPaint oil;
    oil.InitProperties({0, false});
    CopyPicture(out, in);
    ASSERT_EQ(Render(oil, out), 0);
    EXPECT_TRUE(SamePixels(out, in));

    // A brush of 1 still paints with the smallest radius, 3.
    oil.InitProperties({1, false});
    CopyPicture(out, in);
    ASSERT_EQ(Render(oil, out), 0);
    LImgProOilPainting kernel(3);
    ASSERT_EQ(LApplyImageProcess(expected, in, kernel), 0);
    EXPECT_TRUE(SamePixels(out, expected));

    // Pastels: each channel overlaid with 255 minus the pixel's grey, then painted.
    oil.InitProperties({1, true});
    LImageBuffer pastel;
    CopyPicture(pastel, in);
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 13; ++x)
        {
            uint8_t* p = pastel.GetRow(y) + 4 * x;
            const int grey = int(0.2126 * p[2] + 0.7152 * p[1] + 0.0722 * p[0]);
            for (int c = 0; c < 3; ++c)
                p[c] = QDOverlayValues(p[c], 255 - grey);
        }
    expected.Destroy();
    ASSERT_EQ(LApplyImageProcess(expected, pastel, kernel), 0);
    CopyPicture(out, in);
    ASSERT_EQ(Render(oil, out), 0);
    EXPECT_TRUE(SamePixels(out, expected));
}

TEST(QDEffectCartoon, FlatColoursWithInkOnTheEdges)
{
    // Four quadrants of different colours: strong edges between them, none inside.
    LImageBuffer in, out;
    LImage::New(in, 32, 24);
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 32; ++x)
            reinterpret_cast<LPixelColour*>(in.GetRow(y))[x] =
                x < 16 ? (y < 12 ? LPixelColour(200, 40, 40, 255) : LPixelColour(40, 200, 40, 128))
                       : (y < 12 ? LPixelColour(40, 40, 200, 255) : LPixelColour(220, 220, 220, 0));
    QDEffectCartoon cartoon;
    cartoon.InitProperties({4, 255, 1.0});
    CopyPicture(out, in);
    ASSERT_EQ(Render(cartoon, out), 0);
    ASSERT_EQ(out.GetPixelFormat(), B8G8R8) << "a cartoon has no alpha";
    std::set<uint32_t> colours;
    for (int y = 0; y < 24; ++y)
        for (int x = 0; x < 32; ++x)
        {
            const uint8_t* p = out.GetRow(y) + 3 * x;
            colours.insert(p[0] | p[1] << 8 | p[2] << 16);
        }
    // Only edges at full strength pass a threshold of 255, and their ink makes them black.
    colours.erase(0);
    EXPECT_LE(colours.size(), 4u) << "with almost no ink only the palette's colours remain";

    // With every edge inked, the seams between the quadrants are darker than the flat parts.
    cartoon.InitProperties({4, 0, 1.0});
    CopyPicture(out, in);
    ASSERT_EQ(Render(cartoon, out), 0);
    const uint8_t* flat = out.GetRow(5) + 3 * 5;
    const uint8_t* seam = out.GetRow(5) + 3 * 16;
    EXPECT_LT(seam[0] + seam[1] + seam[2], flat[0] + flat[1] + flat[2]);
}

TEST(QDEffectVintage, RoundsThatAreOffOrWeakChangeNothingAndBandsDontShow)
{
    LImageBuffer in, out, single;
    MakeTestPicture(in, 31, 23);
    QDEffectVintage vintage;
    vintage.InitProperties({false, 0.75f, false, 0.2f, 0.3f});
    CopyPicture(out, in);
    ASSERT_EQ(Render(vintage, out), 0);
    EXPECT_TRUE(SamePixels(out, in));
    vintage.InitProperties({true, 0.0f, true, 0.2f, 0.0f});
    CopyPicture(out, in);
    ASSERT_EQ(Render(vintage, out), 0);
    EXPECT_TRUE(SamePixels(out, in));

    // The print's response lifts black and holds back white.
    EXPECT_GT(vintage.arFade[0], 0);
    EXPECT_LT(vintage.arFade[255], 255);
    EXPECT_TRUE(std::is_sorted(std::begin(vintage.arFade), std::end(vintage.arFade)));

    vintage.InitProperties({true, 1.0f, true, 0.3f, 1.0f});
    CopyPicture(out, in);
    ASSERT_EQ(Render(vintage, out), 0);
    LImgProSetThreadCount(1);
    CopyPicture(single, in);
    ASSERT_EQ(Render(vintage, single), 0);
    LImgProSetThreadCount(0);
    EXPECT_TRUE(SamePixels(out, single));

    // The vignette alone: the middle stays, the corners darken, alpha stays.
    vintage.InitProperties({false, 0.0f, true, 0.3f, 1.0f});
    LCreateBlankImage(in, 40, 30, LPixelColour(100, 150, 200, 77));
    CopyPicture(out, in);
    ASSERT_EQ(Render(vintage, out), 0);
    EXPECT_EQ(At(out, 20, 15), At(in, 20, 15));
    EXPECT_LT(At(out, 0, 0).r, 200);
    EXPECT_EQ(At(out, 0, 0), At(out, 39, 29)) << "symmetric";
    EXPECT_EQ(At(out, 0, 0).a, 77);
}

TEST(QDEffectVignette, TheColourClosesInFromTheCorners)
{
    QDEffectVignette vignette;
    QDEffectVignetteProperties p;
    p.iRed = 255, p.iGreen = 0, p.iBlue = 0;
    // At double strength the corners (q = 0.76 on 40 x 30) are all colour.
    p.fStrength = 2.0f;
    vignette.InitProperties(p);
    LImageBuffer in, out;
    MakeTestPicture(in, 40, 30);
    CopyPicture(out, in);
    ASSERT_EQ(Render(vignette, out), 0);
    EXPECT_EQ(At(out, 0, 0), LPixelColour(0, 0, 255, 255));
    EXPECT_EQ(At(out, 20, 15), At(in, 20, 15));
}

TEST(QDEffectBorder, BandsOfTheirWidthsInBothResolutions)
{
    QDEffectBorderProperties p;
    p.fWidth = 0.1f;
    p.bInner = true;
    p.fInnerWidth = 0.1f;
    p.iInnerRed = 255, p.iInnerGreen = 0, p.iInnerBlue = 0;
    QDEffectBorder border;
    border.InitProperties(p);
    LImageBuffer in, out;
    for (int scale : {1, 2})
    {
        // 80 x 60 at full size: the white band is 6 pixels, the red one 6 more.
        SCOPED_TRACE(scale);
        const int w = 80 / scale, h = 60 / scale, b = 6 / scale;
        MakeTestPicture(in, w, h);
        CopyPicture(out, in);
        ASSERT_EQ(RenderAt(border, out, 80, 60, scale > 1), 0);
        EXPECT_EQ(At(out, 0, h / 2), LPixelColour(255, 255, 255, 255));
        EXPECT_EQ(At(out, b - 1, h / 2), LPixelColour(255, 255, 255, 255));
        EXPECT_EQ(At(out, b + 1, h / 2), LPixelColour(0, 0, 255, 255));
        EXPECT_EQ(At(out, 2 * b - 1, h / 2), LPixelColour(0, 0, 255, 255));
        EXPECT_EQ(At(out, 2 * b + 1, h / 2), At(in, 2 * b + 1, h / 2));
        EXPECT_EQ(At(out, w / 2, h / 2), At(in, w / 2, h / 2));
    }
    // Without an outer width the inner border still stands at the edge.
    p.fWidth = 0;
    border.InitProperties(p);
    MakeTestPicture(in, 80, 60);
    CopyPicture(out, in);
    ASSERT_EQ(Render(border, out), 0);
    EXPECT_EQ(At(out, 2, 30), LPixelColour(0, 0, 255, 255));
    EXPECT_EQ(At(out, 7, 30), At(in, 7, 30));

    // An oval leaves the corners to the border and the middle of the sides to the picture.
    p = QDEffectBorderProperties();
    p.bOval = true;
    border.InitProperties(p);
    CopyPicture(out, in);
    ASSERT_EQ(Render(border, out), 0);
    EXPECT_EQ(At(out, 8, 8), LPixelColour(255, 255, 255, 255));
    EXPECT_EQ(At(out, 40, 5), At(in, 40, 5));
}

TEST(QDEffectFrame, TheOpeningShowsThePictureAndTheFileKeepsTheFrame)
{
    QDEffectCatalogue catalogue;
    catalogue.Register();
    LImageBuffer in, out;
    MakeTestPicture(in, 80, 60);
    QDProject project(80, 60);
    QDOriginalImageFactory::CreateLayer(project, in, false, false, nullptr);
    auto* factory = static_cast<QDEffectFrameFactory*>(catalogue.MapCommandIdToEffectFactory(6051));
    auto* frame = static_cast<QDEffectFrame*>(factory->CreateLayer(project, nullptr, true));
    CopyPicture(out, in);
    ASSERT_EQ(Render(*frame, out), 0);
    // The mat of the first frame round an opening where the picture shows.
    EXPECT_EQ(At(out, 0, 0), LPixelColour(0xf0, 0xf5, 0xf7, 255));
    EXPECT_EQ(At(out, 40, 30), At(in, 40, 30));

    // Another of the program's frames, with one undo item; undo brings the mat back.
    const size_t items = project.undoStack.GetNumItems();
    frame->SetFrame(5);
    EXPECT_EQ(project.undoStack.GetNumItems(), items + 1);
    CopyPicture(out, in);
    ASSERT_EQ(Render(*frame, out), 0);
    EXPECT_EQ(At(out, 0, 0).r, 0x10);
    project.undoStack.Undo();
    CopyPicture(out, in);
    ASSERT_EQ(Render(*frame, out), 0);
    EXPECT_EQ(At(out, 0, 0).r, 0xf7);

    // A frame of the caller's: a 4 x 4 blue ring round a transparent middle.
    LPtr<LImageBuffer> ring(new LImageBuffer);
    LCreateBlankImage(*ring, 4, 4, LPixelColour(255, 0, 0, 255));
    for (int y = 1; y < 3; ++y)
        for (int x = 1; x < 3; ++x)
            reinterpret_cast<LPixelColour*>(ring->GetRow(y))[x] = LPixelColour(0, 0, 0, 0);
    factory->CreateLayer(project, ring, false);
    EXPECT_TRUE(ring.IsNull()) << "the element takes the picture";
    const std::string path = gEffectsTestRoot + "/frame.qdj";
    LProcessInterfaceVoid silent;
    ASSERT_EQ(QDProjectFileSave(silent, project, path.c_str()), 0);
    QDProject loaded(1, 1);
    ASSERT_EQ(QDProjectFileLoad(silent, loaded, nullptr, path.c_str(), catalogue.lFactories), 0);
    ASSERT_EQ(loaded.GetNumElements(), 3u);
    for (size_t i : {1, 2})
    {
        LImageBuffer a, b;
        CopyPicture(a, in);
        CopyPicture(b, in);
        ASSERT_EQ(Render(*project.pipeline.GetElement(i), a), 0);
        ASSERT_EQ(Render(*loaded.pipeline.GetElement(i), b), 0);
        EXPECT_TRUE(SamePixels(a, b)) << "element " << i;
        if (i == 2)
        {
            EXPECT_EQ(At(b, 0, 0), LPixelColour(255, 0, 0, 255));
        }
    }
}
