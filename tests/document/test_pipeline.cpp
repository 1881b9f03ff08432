// The document model: visibility, dirtiness, list changes with their undo items, point mapping,
// the page's anchors, the project's saved state and the original image.

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "doc_test_util.h"
#include "document/LQDCacheStore.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"

namespace
{
// Gives an element valid cache entries at both resolutions, as after a render.
void MakeClean(QDImagePipelineElement* e)
{
    LImageBuffer b;
    MakePattern(b, 2, 2);
    for (int32_t* id : {&e->iHighResCacheId, &e->iLowResCacheId})
        if (*id < 0)
            *id = LQDCacheNewImage(b);
        else
            LQDCacheSaveImage(b, *id);
}
} // namespace

TEST(Pipeline, VisibilityIsAPrefixAndSizesComeFromTheLastVisible)
{
    QDProject project(100, 80);
    EXPECT_EQ(project.pipeline.GetWidth(), 0u);
    EXPECT_EQ(project.pipeline.GetLastVisibleElement(), nullptr);

    auto* a = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    auto* b = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    auto* c = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    // Elements take the page's size as their input size; here they pretend to crop.
    EXPECT_EQ(a->iWidth, 100u);
    EXPECT_EQ(a->iHeight, 80u);
    a->iWidth = 30, a->iHeight = 20, c->iWidth = 60;
    b->bVisible = false;
    EXPECT_EQ(project.GetNumVisibleElements(), 1u);
    EXPECT_EQ(project.pipeline.GetLastVisibleElement(), a);
    unsigned w, h;
    project.GetDimensions(w, h);
    EXPECT_EQ(w, 30u);
    EXPECT_EQ(h, 20u);
    EXPECT_TRUE(c->bVisible);
    b->bVisible = true;
    project.GetDimensions(w, h);
    EXPECT_EQ(w, 60u);
    EXPECT_EQ(project.GetNumVisibleElements(), 3u);
}

TEST(Pipeline, DirtinessSpreadsForwardAndListChangesDirtyTheRightNeighbours)
{
    QDProject project(8, 8);
    auto* a = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    auto* b = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    auto* c = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    for (auto* e : {a, b, c})
        MakeClean(e);
    EXPECT_FALSE(project.pipeline.IsDirty());

    b->SetDirty();
    EXPECT_FALSE(c->IsDirty());
    EXPECT_TRUE(project.pipeline.IsDirty());
    EXPECT_TRUE(c->IsDirty());
    EXPECT_FALSE(a->IsDirty());

    // Insert past the end: appended, nothing else touched.
    for (auto* e : {a, b, c})
        MakeClean(e);
    auto* d = new TestElement(TestOp::Halve);
    project.InsertPipelineElement(d, 17, false);
    EXPECT_EQ(project.pipeline.GetOrder(), (std::vector<QDImagePipelineElement*>{a, b, c, d}));
    EXPECT_FALSE(a->IsDirty() || b->IsDirty() || c->IsDirty());

    // Insert at an index: the element that was there sees a new input.
    auto* e = new TestElement(TestOp::Halve);
    project.InsertPipelineElement(e, 1, false);
    EXPECT_EQ(project.pipeline.GetOrder(), (std::vector<QDImagePipelineElement*>{a, e, b, c, d}));
    EXPECT_TRUE(b->IsDirty());
    EXPECT_FALSE(a->IsDirty());

    // Deleting the first element dirties the next one.
    MakeClean(e);
    project.DeletePipelineElement(a, false);
    EXPECT_TRUE(e->IsDirty());
    EXPECT_TRUE(project.bRenderRequested);
    EXPECT_EQ(project.GetNumElements(), 4u);
}

// The pictures after undo and redo are checked by the render tests; here what they can't see.
TEST(Pipeline, UndoItemsNameTheirElementAndReorderUndoKeepsTheCache)
{
    QDProject project(8, 8);
    auto* a = project.CreatePipelineElement<TestElement>(true, TestOp::Invert);
    auto* b = project.CreatePipelineElement<TestElement>(true, TestOp::Halve);
    auto* c = project.CreatePipelineElement<TestElement>(true, TestOp::AddRed, 5);
    char name[LUNDO_NAME_SIZE];
    project.undoStack.GetItem(0)->GetName(name);
    EXPECT_STREQ(name, "Create Test Effect");
    project.undoStack.Undo();
    EXPECT_EQ(project.pLastUndoRedoElement, c);
    project.undoStack.Redo();

    project.DeletePipelineElement(b, true);
    project.undoStack.GetItem(0)->GetName(name);
    EXPECT_STREQ(name, "Delete Test Effect");
    project.undoStack.Undo();
    EXPECT_EQ(project.pLastUndoRedoElement, b);
    EXPECT_EQ(project.pipeline.GetOrder(), (std::vector<QDImagePipelineElement*>{a, b, c}));

    // Moving dirties the element, its new predecessor and its old follower.
    for (auto* e : {a, b, c})
        MakeClean(e);
    project.pipeline.MoveElementAfter(a, c);
    EXPECT_EQ(project.pipeline.GetOrder(), (std::vector<QDImagePipelineElement*>{b, c, a}));
    EXPECT_TRUE(a->IsDirty() && b->IsDirty() && c->IsDirty());
    project.undoStack.GetItem(0)->GetName(name);
    EXPECT_STREQ(name, "Reorder Pipeline");
    for (auto* e : {a, b, c})
        MakeClean(e);
    project.undoStack.Undo();
    EXPECT_EQ(project.pipeline.GetOrder(), (std::vector<QDImagePipelineElement*>{a, b, c}));
    EXPECT_FALSE(a->IsDirty() || b->IsDirty() || c->IsDirty());

    // Deleted for good, it is still freed with the project (the sanitizer build checks).
    project.DeletePipelineElement(c, true);
}

TEST(Pipeline, PointTransformMapsAboutTheCentresWithYUp)
{
    QDProject project(10, 10);
    auto* a = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    auto* b = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    auto* c = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);

    // Identity maps a point to itself; off the picture is reported.
    int x = 3, y = 7;
    EXPECT_TRUE(a->GetPointTransformed(x, y));
    EXPECT_EQ(x, 3);
    EXPECT_EQ(y, 7);
    x = 10;
    EXPECT_FALSE(a->GetPointTransformed(x, y));

    // Shift right by 2 and up by 1 (y up): (3, 7) -> dx -2, dy -2 -> (0, -1) -> (5, 6).
    b->adTransform[2] = 2;
    b->adTransform[5] = 1;
    x = 3, y = 7;
    EXPECT_TRUE(b->GetPointTransformed(x, y));
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 6);

    // A quarter turn: (a b; c d) = (0 -1; 1 0). (8, 5): dx 3, dy 0 -> (0, 3) -> (5, 2).
    double turn[6] = {0, -1, 0, 1, 0, 0};
    memcpy(c->adTransform, turn, sizeof(turn));
    x = 8, y = 5;
    EXPECT_TRUE(c->GetPointTransformed(x, y));
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 2);

    // Through the pipeline behind a: b then c. (3, 7) -> (5, 6) -> dx 0, dy -1 -> (1, 0) -> (6, 5).
    x = 3, y = 7;
    EXPECT_TRUE(project.pipeline.GetPointTransformed(x, y, a));
    EXPECT_EQ(x, 6);
    EXPECT_EQ(y, 5);
    // A hidden element ends the walk.
    c->bVisible = false;
    x = 3, y = 7;
    EXPECT_TRUE(project.pipeline.GetPointTransformed(x, y, a));
    EXPECT_EQ(x, 5);
    EXPECT_EQ(y, 6);
    // Leaving the picture on the way fails.
    b->adTransform[2] = 50;
    x = 3, y = 7;
    EXPECT_FALSE(project.pipeline.GetPointTransformed(x, y, a));

    // Sizes are clamped into 32 bits.
    a->SetDimensions(LBoundingBox2T<double>(5, 5, 2, 2));
    EXPECT_EQ(a->iWidth, 0u);
    a->SetDimensions(LBoundingBox2T<double>(0, 0, 1e12, 7.9));
    EXPECT_EQ(a->iWidth, 4294967295u);
    EXPECT_EQ(a->iHeight, 7u);
}

namespace
{
class BoundsListener : public QDViewportNotifyee
{
public:
    void EvViewportBoundsChanged(QDViewport&) override { ++iCalls; }
    int iCalls = 0;
};
} // namespace

TEST(Viewport, AnchorsKeepTheRightEdgesAndEveryChangeIsTold)
{
    struct Case
    {
        ANCHOR anchor;
        LBoundingBox2T<double> expected; // 10 x 20 page made 30 x 40
    };
    // Between them these three take every horizontal and every vertical rule.
    const Case cases[] = {
        {ANCHOR_CENTRE, {-10, -10, 20, 30}},
        {ANCHOR_TOPLEFT, {0, 0, 30, 40}},
        {ANCHOR_BOTTOMRIGHT, {-20, -20, 10, 20}},
    };
    for (const Case& c : cases)
    {
        QDViewport viewport(10, 20);
        BoundsListener listener;
        viewport.AddNotifyee(&listener);
        viewport.AddNotifyee(&listener);
        viewport.SetDimensions(30, 40, c.anchor);
        EXPECT_TRUE(viewport.bxBounds == c.expected) << "anchor " << c.anchor;
        EXPECT_EQ(listener.iCalls, 1);
    }

    QDViewport viewport(10, 20);
    BoundsListener listener;
    viewport.AddNotifyee(&listener);
    viewport.SetBounds(LBoundingBox2T<double>(0, 0, 10, 20), false);
    EXPECT_EQ(listener.iCalls, 0);
    viewport.SetBounds(LBoundingBox2T<double>(0, 0, 10, 20), true);
    EXPECT_EQ(listener.iCalls, 1);
    viewport.dOriginX = 4;
    viewport.dOriginY = -2;
    EXPECT_TRUE(viewport.GetBoundsFromLayersOrigin() == LBoundingBox2T<double>(-4, 2, 6, 22));
    viewport.RemoveNotifyee(&listener);
    viewport.SetWidth(5, ANCHOR_LEFT);
    EXPECT_EQ(listener.iCalls, 1);
    EXPECT_EQ(viewport.bxOriginalBounds.GetWidth(), 10);
}

namespace
{
int giSaveCalls = 0;
bool gbSaveResult = true;
bool ScriptedSave(const LImageBuffer& image, const char*, const LImageEncodeSettings&, int timeoutMs)
{
    ++giSaveCalls;
    EXPECT_TRUE(image.IsValid());
    EXPECT_EQ(timeoutMs, 3000);
    return gbSaveResult;
}
} // namespace

TEST(Project, RecoveryNamesCountUpAndSavingTracksUnsavedChanges)
{
    QDProject project(6, 4), next(1, 1);
    int first = -1, second = -1;
    sscanf(project.szRecoveryFileName, "%d.zqp", &first);
    sscanf(next.szRecoveryFileName, "%d.zqp", &second);
    EXPECT_GE(first, 0);
    EXPECT_EQ(second, first + 1);

    LImageBuffer pattern;
    MakePattern(pattern, 6, 4);
    QDOriginalImageFactory::CreateLayer(project, pattern, false, false, "/tmp/in.png");
    auto* a = project.CreatePipelineElement<TestElement>(true, TestOp::Invert);
    auto* b = project.CreatePipelineElement<TestElement>(true, TestOp::Invert);
    EXPECT_TRUE(project.HasUnsavedChanges());

    QDProject::ImageSaveFunction saved = QDProject::lpfnImageSave;
    giSaveCalls = 0;
    QDProject::lpfnImageSave = ScriptedSave;
    // Nothing rendered yet: nothing to save.
    EXPECT_EQ(project.Save("/tmp/out.png", LImageEncodeSettings()), ERROR_CODE_SAVE_PREPARE);
    project.SetRenderedHighResImage(pattern);
    gbSaveResult = false;
    EXPECT_EQ(project.Save("/tmp/out.png", LImageEncodeSettings()), ERROR_CODE_SAVE_ENCODE);
    EXPECT_FALSE(project.bEncodeSettingsValid);
    gbSaveResult = true;
    LImageEncodeSettings settings;
    settings.jpeg.iQuality = 42;
    EXPECT_EQ(project.Save("/tmp/out.png", settings), ERROR_CODE_SAVE_SUCCESS);
    QDProject::lpfnImageSave = saved;
    EXPECT_EQ(giSaveCalls, 2);
    EXPECT_STREQ(project.szFilePath, "/tmp/out.png");
    EXPECT_EQ(project.encodeSettings.jpeg.iQuality, 42);
    EXPECT_EQ(project.iVisibleElementsAtSave, 3u);

    snprintf(project.szName, sizeof(project.szName), "out.png");
    EXPECT_FALSE(project.HasUnsavedChanges());
    // Hiding is no undo step, but the picture differs from the saved one.
    b->bVisible = false;
    EXPECT_TRUE(project.HasUnsavedChanges());
    b->bVisible = true;
    project.undoStack.Undo();
    EXPECT_TRUE(project.HasUnsavedChanges());
    project.undoStack.Redo();
    EXPECT_FALSE(project.HasUnsavedChanges());
    (void)a;
}

TEST(OriginalImage, BuiltFromAPictureWithItsSmallerCopy)
{
    LImageBuffer pattern;
    MakePattern(pattern, 10, 7);
    QDOriginalImage image(pattern, 0.25f);
    EXPECT_STREQ(image.GetName(), "Original Image");
    EXPECT_TRUE(image.bBaseElement);
    EXPECT_FALSE(image.IsDirty());
    EXPECT_NE(image.iSourceCacheId, image.iHighResCacheId);

    LImageBuffer high, low;
    ASSERT_TRUE(LQDCacheLoadImage(high, image.iHighResCacheId));
    ASSERT_TRUE(LQDCacheLoadImage(low, image.iLowResCacheId));
    EXPECT_EQ(memcmp(high.GetData(), pattern.GetData(), pattern.GetFormat().CalculateBufferSize()), 0);
    // round(10 * 0.25) = 3 (2.5 rounds up), round(7 * 0.25) = 2.
    ASSERT_EQ(low.GetWidth(), 3);
    ASSERT_EQ(low.GetHeight(), 2);
    // Nearest: column i takes trunc((i + 0.5) * 10 / 3) = 1, 5, 8; row j trunc((j + 0.5) * 7 / 2) = 1, 5.
    const int xs[3] = {1, 5, 8}, ys[2] = {1, 5};
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(PixelAt(low, i, j), PixelAt(pattern, xs[i], ys[j])) << i << "," << j;

    // A scale that would give nothing still gives one pixel.
    QDOriginalImage tiny(pattern, 0.01f);
    ASSERT_TRUE(LQDCacheLoadImage(low, tiny.iLowResCacheId));
    EXPECT_EQ(low.GetWidth(), 1);
    EXPECT_EQ(low.GetHeight(), 1);
    EXPECT_EQ(QDOriginalImage::LowResSize(10, 0.05f), 1);
}

TEST(OriginalImage, ComposesOverTheProjectBackground)
{
    LImageBuffer source;
    LImage::New(source, 2, 1, B8G8R8A8);
    uint32_t* px = reinterpret_cast<uint32_t*>(source.GetRow(0));
    px[0] = Bgra(200, 100, 0, 0); // transparent
    px[1] = Bgra(0, 0, 255, 128); // half red
    QDProject project(2, 1);
    QDOriginalImage* image = QDOriginalImageFactory::CreateLayer(project, source, false, false, nullptr);
    LProcessInterfaceVoid process;

    LImageBuffer out;
    ASSERT_EQ(image->RenderHighResImage(process, out), LProcessResultSuccess);
    EXPECT_EQ(PixelAt(out, 0, 0), px[0]); // no background: the source as it is
    EXPECT_EQ(PixelAt(out, 1, 0), px[1]);

    // Opaque blue 0x4000 behind: 64 in 8 bits.
    project.SetBackground(LGuiColorAlpha(0, 0, 0x4000, 1.0f));
    EXPECT_TRUE(image->IsDirty());
    ASSERT_EQ(image->RenderHighResImage(process, out), LProcessResultSuccess);
    EXPECT_EQ(PixelAt(out, 0, 0), Bgra(64, 0, 0, 255));
    // Half red over blue: red 255*128/255 = 128, blue 64*127/255 = 31.87 -> 32.
    EXPECT_EQ(PixelAt(out, 1, 0), Bgra(32, 0, 128, 255));
}

TEST(OriginalImage, DeletingTheSelectionClearsItThroughTheFollowingElementsAndUndoes)
{
    LImageBuffer source;
    MakePattern(source, 6, 4);
    QDProject project(6, 4);
    QDOriginalImage* image = QDOriginalImageFactory::CreateLayer(project, source, false, false, nullptr);
    auto* shift = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    shift->adTransform[2] = 1; // source column x is seen at mask column x + 1

    LImageBuffer mask;
    LImage::New(mask, 6, 4, B8G8R8A8);
    mask.Clear(LPixelColour(0, 0, 0, 255));
    // Red marks the selection; blue and green are ignored.
    reinterpret_cast<uint32_t*>(mask.GetRow(1))[3] = Bgra(0, 0, 255, 255);
    reinterpret_cast<uint32_t*>(mask.GetRow(2))[4] = Bgra(0, 0, 1, 255);
    reinterpret_cast<uint32_t*>(mask.GetRow(3))[0] = Bgra(255, 255, 0, 255);

    MakeClean(image);
    ASSERT_TRUE(image->DeleteMaskedArea(mask, project.pipeline, nullptr));
    EXPECT_TRUE(image->IsDirty());
    LImageBuffer after;
    ASSERT_TRUE(LQDCacheLoadImage(after, image->iSourceCacheId));
    for (int y = 0; y < 4; ++y)
        for (int x = 0; x < 6; ++x)
        {
            bool cleared = (x == 2 && y == 1) || (x == 3 && y == 2);
            EXPECT_EQ(PixelAt(after, x, y), cleared ? 0u : PixelAt(source, x, y)) << x << "," << y;
        }

    char name[LUNDO_NAME_SIZE];
    project.undoStack.GetItem(0)->GetName(name);
    EXPECT_STREQ(name, "Delete Selected Area");
    MakeClean(image);
    project.undoStack.Undo();
    EXPECT_TRUE(image->IsDirty());
    LImageBuffer restored;
    ASSERT_TRUE(LQDCacheLoadImage(restored, image->iSourceCacheId));
    EXPECT_EQ(memcmp(restored.GetData(), source.GetData(), source.GetFormat().CalculateBufferSize()), 0);
    project.undoStack.Redo();
    ASSERT_TRUE(LQDCacheLoadImage(restored, image->iSourceCacheId));
    EXPECT_EQ(PixelAt(restored, 2, 1), 0u);
}
