// The four effects of this folder beyond their kernels (which image/ tests against references):
// what each does at the edges of its range, how the preview relates to the full render, and the
// thresholded sharpen against values worked out by hand. Then the banded frame of the per-pixel
// effects.

#include <atomic>
#include <mutex>
#include <set>

#include "effects/QDEffectBlur.h"
#include "effects/QDEffectFocusFix.h"
#include "effects/QDEffectNoise.h"
#include "effects/QDEffectSharpen.h"
#include "effects/QDMultiThreadedEffect.h"
#include "effects_test_support.h"
#include "image/LImgProBands.h"

namespace
{
LProcessResult RenderHigh(QDImagePipelineElement& e, LImageBuffer& b, RecordingProcess* p = nullptr)
{
    RecordingProcess local;
    e.SetDimensions(LBoundingBox2T<double>(0, 0, b.GetWidth(), b.GetHeight()));
    return e.RenderHighResImage(p ? *p : local, b);
}
} // namespace

TEST(QDEffectBlur, RadiusZeroCopiesOrOnlyMakesOpaque)
{
    LImageBuffer in, out;
    MakeTestPicture(in, 9, 7);
    QDEffectBlur blur;
    blur.InitProperties({0.0, QDEffectBlur::Standard});
    CopyPicture(out, in);
    ASSERT_EQ(RenderHigh(blur, out), 0);
    EXPECT_TRUE(SamePixels(out, in));
    for (int type : {QDEffectBlur::Spin, QDEffectBlur::Zoom})
    {
        blur.InitProperties({0.0, type});
        CopyPicture(out, in);
        ASSERT_EQ(RenderHigh(blur, out), 0);
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 9; ++x)
            {
                const uint8_t* a = in.GetRow(y) + 4 * x;
                const uint8_t* b = out.GetRow(y) + 4 * x;
                EXPECT_EQ(memcmp(a, b, 3), 0);
                // The centre is copied whole; every other pixel becomes opaque.
                EXPECT_EQ(b[3], x == 4 && y == 3 ? a[3] : 255) << x << "," << y;
            }
    }
}

TEST(QDEffectBlur, PreviewScalesTheRadiusWithTheBuffer)
{
    LImageBuffer small, expected;
    MakeTestPicture(small, 30, 20);
    CopyPicture(expected, small);
    QDEffectBlur blur;
    blur.InitProperties({8.0, QDEffectBlur::Zoom});
    // An element 60 wide seen through a 30-wide preview.
    blur.SetDimensions(LBoundingBox2T<double>(0, 0, 60, 40));
    LProcessInterfaceVoid silent;
    ASSERT_EQ(blur.RenderLowResImage(silent, small), 0);
    QDEffectBlur half;
    half.InitProperties({4.0, QDEffectBlur::Zoom});
    ASSERT_EQ(RenderHigh(half, expected), 0);
    EXPECT_TRUE(SamePixels(small, expected));

    RecordingProcess stopped;
    stopped.bStop = true;
    blur.InitProperties({8.0, QDEffectBlur::Standard});
    EXPECT_EQ(RenderHigh(blur, small, &stopped), 1);
}

TEST(QDEffectSharpen, NoAmountIsAPlainCopyWithTheInputsAlpha)
{
    LImageBuffer in, out;
    MakeTestPicture(in, 11, 6);
    CopyPicture(out, in);
    QDEffectSharpen sharpen;
    sharpen.InitProperties({true, 0, 5, 5.0, 1.0});
    ASSERT_EQ(RenderHigh(sharpen, out), 0);
    EXPECT_TRUE(SamePixels(out, in));
}

TEST(QDEffectSharpen, ThresholdedPassMatchesHandWorkedValues)
{
    // Grey pixels, so the luminance is the value. Differences 2, 20, -40 and 1 with threshold 10:
    // the largest is 40; 2 goes through the knee to 0.016, scaled 0.102, just above the 0.08 cut,
    // and moves no channel by half a step; 20 scales to 127.5, -40 to -255; 1 falls below the cut.
    LImageBuffer image, sharpened;
    LImage::New(image, 4, 1);
    LImage::New(sharpened, 4, 1);
    const int s[4] = {102, 120, 60, 101};
    for (int x = 0; x < 4; ++x)
    {
        memset(image.GetRow(0) + 4 * x, 100, 3);
        memset(sharpened.GetRow(0) + 4 * x, s[x], 3);
        image.GetRow(0)[4 * x + 3] = uint8_t(50 + x);
    }
    LProcessInterfaceVoid silent;
    ASSERT_EQ(QDSharpenThresholded(silent, image, sharpened, 10, 1.0), 0);
    // Blue, green, red move by 0.114, 0.587 and 0.299 of the scaled difference; alpha stays.
    const uint8_t expected[4][4] = {
        {100, 100, 100, 50}, {115, 175, 138, 51}, {71, 0, 24, 52}, {100, 100, 100, 53}};
    for (int x = 0; x < 4; ++x)
        EXPECT_EQ(memcmp(image.GetRow(0) + 4 * x, expected[x], 4), 0) << x;

    // Nothing differs: nothing passes, nothing is divided by zero.
    LImageBuffer same;
    CopyPicture(same, image);
    ASSERT_EQ(QDSharpenThresholded(silent, image, same, 10, 1.0), 0);
    EXPECT_TRUE(SamePixels(image, same));
}

TEST(QDEffectSharpen, FocusFixGivesSharpensPixelsInBothModes)
{
    for (bool simple : {true, false})
    {
        SCOPED_TRACE(simple);
        LImageBuffer a, b;
        MakeTestPicture(a, 23, 17);
        CopyPicture(b, a);
        QDEffectSharpen sharpen;
        QDEffectFocusFix focus;
        const QDEffectSharpenProperties p{simple, 70, 3, 1.5, 2.0};
        sharpen.InitProperties(p);
        focus.InitProperties(p);
        ASSERT_EQ(RenderHigh(sharpen, a), 0);
        ASSERT_EQ(RenderHigh(focus, b), 0);
        EXPECT_TRUE(SamePixels(a, b));
        LImageBuffer original;
        MakeTestPicture(original, 23, 17);
        EXPECT_FALSE(SamePixels(a, original)) << "it did sharpen";
    }
}

TEST(QDEffectNoise, PreviewShowsTheInputAndTheFullRenderKeepsAlpha)
{
    LImageBuffer in, out;
    MakeTestPicture(in, 12, 9);
    CopyPicture(out, in);
    QDEffectNoise noise;
    RecordingProcess process;
    noise.SetDimensions(LBoundingBox2T<double>(0, 0, 24, 18));
    ASSERT_EQ(noise.RenderLowResImage(process, out), 0);
    EXPECT_EQ(process.dProgress, 1.0);
    EXPECT_TRUE(SamePixels(out, in));
    ASSERT_EQ(RenderHigh(noise, out), 0);
    EXPECT_FALSE(SamePixels(out, in));
    for (int y = 0; y < 9; ++y)
        for (int x = 0; x < 12; ++x)
            EXPECT_EQ(out.GetRow(y)[4 * x + 3], in.GetRow(y)[4 * x + 3]);
    RecordingProcess stopped;
    stopped.bStop = true;
    EXPECT_EQ(RenderHigh(noise, out, &stopped), 1);
}

namespace
{
// Paints every pixel it is given and counts its calls.
class PaintEffect : public QDMultiThreadedEffect
{
public:
    void Render(LImageIterator& it) const override
    {
        ++iCalls;
        for (; !it.IsEnd(); it.Next())
            it.Write(LPixelColour(1, 2, 3, 4));
    }
    mutable std::atomic<int> iCalls{0};
};

struct ThreadCount
{
    explicit ThreadCount(int n) { LImgProSetThreadCount(n); }
    ~ThreadCount() { LImgProSetThreadCount(0); }
};
} // namespace

TEST(QDMultiThreadedEffect, BandsCoverTheBoxOnceWhateverTheOrientation)
{
    ThreadCount eight(8);
    for (bool upsideDown : {false, true})
    {
        LImageBuffer b;
        ASSERT_TRUE(b.AllocateNewBuffer(LImageFormat(B8G8R8A8, 7, 5, upsideDown)));
        b.Clear(LPixelColour(0, 0, 0, 0));
        PaintEffect effect;
        effect.RenderMultiThreaded(b, LBoundingBox2T<int>(2, 1, 5, 4));
        // Fewer rows than threads: one band per row.
        EXPECT_EQ(effect.iCalls, 3);
        for (int y = 0; y < 5; ++y)
            for (int x = 0; x < 7; ++x)
                EXPECT_EQ(b.GetRow(y)[4 * x], x >= 2 && x < 5 && y >= 1 && y < 4 ? 1 : 0) << x << "," << y;
        effect.iCalls = 0;
        effect.RenderMultiThreaded(b, LBoundingBox2T<int>(0, 2, 7, 2));
        EXPECT_EQ(effect.iCalls, 0) << "an empty box makes no thread";
    }
    LImageBuffer tall;
    LImage::New(tall, 3, 100);
    PaintEffect effect;
    effect.RenderMultiThreaded(tall);
    EXPECT_EQ(effect.iCalls, 8);
    EXPECT_EQ(tall.GetRow(99)[8], 1);
}

TEST(QDMultiThreadedEffect, FinishesAsTheSimpleEffectsDo)
{
    LImageBuffer valid, invalid;
    LImage::New(valid, 1, 1);
    RecordingProcess p;
    EXPECT_EQ(QDMultiThreadedEffect::FinishRender(p, valid), 0);
    EXPECT_EQ(p.dProgress, 1.0);
    EXPECT_EQ(QDMultiThreadedEffect::FinishRender(p, invalid), 2);
    EXPECT_EQ(p.szError, "Out of memory");
    p.bStop = true;
    EXPECT_EQ(QDMultiThreadedEffect::FinishRender(p, valid), 1);
}
