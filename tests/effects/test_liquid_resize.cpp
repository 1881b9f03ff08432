// Liquid resize: the mesh keeps its links whole as seams leave it, a seam is one connected pixel
// per row, shrinking keeps each row's pixels in order and growing keeps every one, and the energy
// steers the seams round what matters.

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "effects/QDEffectLiquidResize.h"
#include "effects/QDSeamCarver.h"
#include "effects_test_support.h"
#include "image/LImageTransform.h"
#include "image/LImgProSimple.h"

namespace
{
std::vector<uint32_t> Row(const LImageBuffer& b, int y)
{
    const uint32_t* p = reinterpret_cast<const uint32_t*>(b.GetRow(y));
    return std::vector<uint32_t>(p, p + b.GetWidth());
}

// Whether a's pixels appear in b in the same order.
bool IsSubsequence(const std::vector<uint32_t>& a, const std::vector<uint32_t>& b)
{
    size_t j = 0;
    for (size_t i = 0; i < b.size() && j < a.size(); ++i)
        if (b[i] == a[j])
            ++j;
    return j == a.size();
}

// Every pixel differs, so a subsequence test can't be fooled by repeats.
void MakeUniquePicture(LImageBuffer& b, int w, int h)
{
    LImage::New(b, w, h);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            reinterpret_cast<uint32_t*>(b.GetRow(y))[x] =
                0xFF000000u | uint32_t(y * w + x) * 2654435761u >> 8;
}

void Energy(const LImageBuffer& image, LImageBuffer& grey)
{
    grey.AllocateNewBuffer(LImageFormat(B8G8R8, image.GetWidth(), image.GetHeight(), false));
    LConvertPixelFormat(grey, image);
    LImageProcessBlackAndWhite bw;
    LApplyImageProcess(grey, bw);
}

// The links of the live nodes agree with each other and with the row order.
void ExpectMeshWhole(const QDSeamCarver& mesh, int liveWidth)
{
    for (int y = 0; y < mesh.GetHeight(); ++y)
    {
        int count = 0;
        int32_t last = -1;
        for (int32_t i = mesh.GetRowFirst(y); i >= 0; i = mesh.GetNode(i).iRight, ++count)
        {
            const QDPixelNode& n = mesh.GetNode(i);
            ASSERT_FALSE(n.bRemoved);
            ASSERT_EQ(n.iLeft, last);
            ASSERT_EQ(i / mesh.GetWidth(), y) << "a node left its row";
            ASSERT_GT(i, last) << "the row's order changed";
            if (n.iUp >= 0)
            {
                ASSERT_FALSE(mesh.GetNode(n.iUp).bRemoved);
                ASSERT_EQ(mesh.GetNode(n.iUp).iDown, i);
            }
            if (n.iDown >= 0)
            {
                ASSERT_FALSE(mesh.GetNode(n.iDown).bRemoved);
                ASSERT_EQ(mesh.GetNode(n.iDown).iUp, i);
            }
            ASSERT_EQ(n.iUp < 0, y == 0);
            ASSERT_EQ(n.iDown < 0, y == mesh.GetHeight() - 1);
            last = i;
        }
        ASSERT_EQ(count, liveWidth) << "row " << y;
    }
}
} // namespace

TEST(QDSeamCarver, SeamsAreConnectedAndLeaveTheMeshWhole)
{
    LImageBuffer image, grey;
    MakeTestPicture(image, 23, 17);
    Energy(image, grey);
    QDSeamCarver mesh;
    ASSERT_TRUE(mesh.Build(image, grey));
    mesh.CalculateSeams();
    std::vector<int32_t> seam;
    for (int i = 0; i < 15; ++i)
    {
        ASSERT_TRUE(mesh.MarkBestSeam(&seam));
        ASSERT_EQ(seam.size(), 17u);
        // One node per row, from the bottom up, each a live neighbour's distance from the last
        // counted in the row as it was.
        for (size_t k = 1; k < seam.size(); ++k)
        {
            ASSERT_EQ(seam[k] / 23, 16 - int(k));
            auto column = [&](int32_t node)
            {
                int c = 0;
                for (int32_t j = node - node % 23; j < node; ++j)
                    c += !mesh.GetNode(j).bRemoved;
                return c;
            };
            // Columns among the live nodes before this seam took them: at most one apart.
            ASSERT_LE(std::abs(column(seam[k]) - column(seam[k - 1])), 1);
        }
        ExpectMeshWhole(mesh, 23 - i - 1);
        if (i % 4 == 0)
            mesh.CalculateSeams();
    }
}

TEST(QDSeamCarver, AUniformPictureIsCutAtTheRightStraightUp)
{
    LImageBuffer image, grey;
    LCreateBlankImage(image, 6, 5, LPixelColour(90, 90, 90, 255));
    Energy(image, grey);
    QDSeamCarver mesh;
    ASSERT_TRUE(mesh.Build(image, grey));
    mesh.CalculateSeams();
    std::vector<int32_t> seam;
    ASSERT_TRUE(mesh.MarkBestSeam(&seam));
    for (size_t k = 0; k < seam.size(); ++k)
        EXPECT_EQ(seam[k], int32_t((4 - k) * 6 + 5));
}

TEST(QDEffectLiquidResize, ShrinkingTakesExactlyTheSeamsAndKeepsEachRowsOrder)
{
    LImageBuffer in, out;
    MakeUniquePicture(in, 40, 12);
    RecordingProcess process;
    for (int target : {40, 39, 31, 20, 7, 1})
    {
        SCOPED_TRACE(target);
        CopyPicture(out, in);
        ASSERT_EQ(QDEffectLiquidResize::LiquidResize(process, out, target), 0);
        ASSERT_EQ(out.GetWidth(), target);
        ASSERT_EQ(out.GetHeight(), 12);
        for (int y = 0; y < 12; ++y)
            ASSERT_TRUE(IsSubsequence(Row(out, y), Row(in, y))) << "row " << y;
        if (target == 40)
        {
            EXPECT_TRUE(SamePixels(out, in));
        }
    }
    // Pictures below 4 pixels take their colours as energy.
    MakeUniquePicture(in, 3, 3);
    ASSERT_EQ(QDEffectLiquidResize::LiquidResize(process, in, 2), 0);
    EXPECT_EQ(in.GetWidth(), 2);
}

TEST(QDEffectLiquidResize, GrowingDoublesSeamsAndKeepsEveryPixel)
{
    LImageBuffer in, out;
    MakeUniquePicture(in, 10, 8);
    RecordingProcess process;
    CopyPicture(out, in);
    // More than half: several rounds, each on the last one's result.
    ASSERT_EQ(QDEffectLiquidResize::Carve(process, out, 33, -1), 0);
    ASSERT_EQ(out.GetWidth(), 33);
    for (int y = 0; y < 8; ++y)
        ASSERT_TRUE(IsSubsequence(Row(in, y), Row(out, y))) << "row " << y;
    // One round doubles each taken pixel once: the copy follows it and is its mean with a pixel
    // to its right, or the pixel itself at the row's end.
    CopyPicture(out, in);
    ASSERT_EQ(QDEffectLiquidResize::LiquidResize(process, out, 15), 0);
    auto mean = [](uint32_t a, uint32_t b)
    {
        uint32_t m = 0;
        for (int s = 0; s < 32; s += 8)
            m |= (((a >> s & 255) + (b >> s & 255)) >> 1) << s;
        return m;
    };
    for (int y = 0; y < 8; ++y)
    {
        const std::vector<uint32_t> a = Row(in, y), b = Row(out, y);
        size_t j = 0;
        int copies = 0;
        for (size_t i = 0; i < b.size(); ++i)
        {
            if (j < a.size() && b[i] == a[j])
            {
                ++j;
                continue;
            }
            ++copies;
            ASSERT_GT(j, 0u);
            bool found = j == a.size() && b[i] == a[j - 1];
            for (size_t k = j; k < a.size() && !found; ++k)
                found = b[i] == mean(a[j - 1], a[k]);
            EXPECT_TRUE(found) << "row " << y << " at " << i;
        }
        EXPECT_EQ(j, a.size());
        EXPECT_EQ(copies, 5);
    }
}

TEST(QDEffectLiquidResize, SeamsGoRoundWhatStandsOut)
{
    // A flat picture with a sharp dark bar: the seams take the flat parts, the bar keeps its width.
    LImageBuffer in;
    LCreateBlankImage(in, 60, 30, LPixelColour(200, 180, 160, 255));
    for (int y = 0; y < 30; ++y)
        for (int x = 20; x < 24; ++x)
            reinterpret_cast<LPixelColour*>(in.GetRow(y))[x] = LPixelColour(10, 20, 30, 255);
    RecordingProcess process;
    ASSERT_EQ(QDEffectLiquidResize::LiquidResize(process, in, 40), 0);
    for (int y = 0; y < 30; ++y)
    {
        int dark = 0;
        for (int x = 0; x < 40; ++x)
            dark += reinterpret_cast<LPixelColour*>(in.GetRow(y))[x].b == 10;
        EXPECT_EQ(dark, 4) << "row " << y;
    }
}

TEST(QDEffectLiquidResize, HeightsTurnAndBothSidesShareAPlainScale)
{
    LImageBuffer in, out;
    MakeUniquePicture(in, 12, 30);
    RecordingProcess process;
    CopyPicture(out, in);
    ASSERT_EQ(QDEffectLiquidResize::Carve(process, out, -1, 21), 0);
    ASSERT_EQ(out.GetWidth(), 12);
    ASSERT_EQ(out.GetHeight(), 21);
    // Columns keep their order, as rows do for the width.
    for (int x = 0; x < 12; ++x)
    {
        std::vector<uint32_t> a, b;
        for (int y = 0; y < 30; ++y)
            a.push_back(reinterpret_cast<const uint32_t*>(in.GetRow(y))[x]);
        for (int y = 0; y < 21; ++y)
            b.push_back(reinterpret_cast<const uint32_t*>(out.GetRow(y))[x]);
        EXPECT_TRUE(IsSubsequence(b, a)) << "column " << x;
    }
    CopyPicture(out, in);
    ASSERT_EQ(QDEffectLiquidResize::Carve(process, out, 6, 20), 0);
    EXPECT_EQ(out.GetWidth(), 6);
    EXPECT_EQ(out.GetHeight(), 20);
}

TEST(QDEffectLiquidResize, ThePreviewCarvesItsShareAndAStopIsHonoured)
{
    QDEffectLiquidResize liquid;
    liquid.SetDimensions(LBoundingBox2T<double>(0, 0, 100, 40));
    EXPECT_EQ(liquid.GetWidth(), 100u);
    liquid.InitProperties({70, -1});
    EXPECT_EQ(liquid.GetWidth(), 70u);
    EXPECT_EQ(liquid.GetHeight(), 40u);
    LImageBuffer small;
    MakeTestPicture(small, 50, 20);
    RecordingProcess process;
    ASSERT_EQ(liquid.RenderLowResImage(process, small), 0);
    EXPECT_EQ(small.GetWidth(), 35);
    EXPECT_EQ(small.GetHeight(), 20);

    liquid.Reset();
    EXPECT_EQ(liquid.GetProperties().iWidth, 100);
    EXPECT_EQ(liquid.GetProperties().iHeight, 40);

    process.bStop = true;
    MakeTestPicture(small, 50, 20);
    EXPECT_EQ(QDEffectLiquidResize::LiquidResize(process, small, 30), 1);
}
