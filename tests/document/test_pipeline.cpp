// The document model: visibility, dirtiness, list changes with their undo items, point mapping,
// the page's anchors, saving and the original image.

#include <csignal>
#include <cstring>
#include <memory>
#include <utility>
#include <sys/resource.h>
#include <vector>

#include "codecs/LImage.h"
#include "doc_test_support.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"

namespace
{
using Order = std::vector<QDImagePipelineElement*>;

std::string UndoName(QDProject& project)
{
    char name[LUNDO_NAME_SIZE];
    project.undoStack.GetItem(0)->GetName(name);
    return name;
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
    EXPECT_TRUE(a->iWidth == 100 && a->iHeight == 80);
    a->iWidth = 30, a->iHeight = 20, c->iWidth = 60;
    b->bVisible = false;
    EXPECT_EQ(project.GetNumVisibleElements(), 1u);
    EXPECT_EQ(project.pipeline.GetLastVisibleElement(), a);
    unsigned w, h;
    project.GetDimensions(w, h);
    EXPECT_TRUE(w == 30 && h == 20);
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
    auto clean = [&]
    {
        for (auto* e : {a, b, c})
            MakeClean(e);
    };
    clean();
    EXPECT_FALSE(project.pipeline.IsDirty());
    b->SetDirty();
    EXPECT_FALSE(c->IsDirty());
    EXPECT_TRUE(project.pipeline.IsDirty());
    EXPECT_TRUE(c->IsDirty() && !a->IsDirty());

    // Insert past the end: appended, nothing else touched.
    clean();
    auto* d = new TestElement(TestOp::Halve);
    project.InsertPipelineElement(d, 17, false);
    EXPECT_EQ(project.pipeline.GetOrder(), (Order{a, b, c, d}));
    EXPECT_FALSE(a->IsDirty() || b->IsDirty() || c->IsDirty());

    // Insert at an index: the element that was there sees a new input.
    auto* e = new TestElement(TestOp::Halve);
    project.InsertPipelineElement(e, 1, false);
    EXPECT_EQ(project.pipeline.GetOrder(), (Order{a, e, b, c, d}));
    EXPECT_TRUE(b->IsDirty() && !a->IsDirty());

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
    EXPECT_EQ(UndoName(project), "Create Test Effect");
    project.undoStack.Undo();
    EXPECT_EQ(project.pLastUndoRedoElement, c);
    project.undoStack.Redo();

    project.DeletePipelineElement(b, true);
    EXPECT_EQ(UndoName(project), "Delete Test Effect");
    project.undoStack.Undo();
    EXPECT_EQ(project.pLastUndoRedoElement, b);
    EXPECT_EQ(project.pipeline.GetOrder(), (Order{a, b, c}));

    // Moving dirties the element, its new predecessor and its old follower.
    for (auto* e : {a, b, c})
        MakeClean(e);
    project.pipeline.MoveElementAfter(a, c);
    EXPECT_EQ(project.pipeline.GetOrder(), (Order{b, c, a}));
    EXPECT_TRUE(a->IsDirty() && b->IsDirty() && c->IsDirty());
    EXPECT_EQ(UndoName(project), "Reorder Pipeline");
    for (auto* e : {a, b, c})
        MakeClean(e);
    project.undoStack.Undo();
    EXPECT_EQ(project.pipeline.GetOrder(), (Order{a, b, c}));
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
    b->adTransform[2] = 2;                      // right by 2
    b->adTransform[5] = 1;                      // up by 1
    const double turn[6] = {0, -1, 0, 1, 0, 0}; // a quarter turn
    memcpy(c->adTransform, turn, sizeof(turn));

    auto expect = [](const std::function<bool(int&, int&)>& map, int x, int y, bool inside, int toX, int toY)
    {
        EXPECT_EQ(map(x, y), inside);
        EXPECT_TRUE(x == toX && y == toY) << "got " << x << "," << y;
    };
    auto of = [](QDImagePipelineElement* e)
    { return [e](int& x, int& y) { return e->GetPointTransformed(x, y); }; };
    auto behindA = [&](int& x, int& y) { return project.pipeline.GetPointTransformed(x, y, a); };
    expect(of(a), 3, 7, true, 3, 7); // identity
    expect(of(a), 10, 7, false, 10, 7);
    expect(of(b), 3, 7, true, 5, 6);   // dx -2, dy -2 -> (0, -1) -> (5, 6)
    expect(of(c), 8, 5, true, 5, 2);   // dx 3, dy 0 -> (0, 3) -> (5, 2)
    expect(behindA, 3, 7, true, 6, 5); // b, then c: (5, 6) -> dx 0, dy -1 -> (1, 0) -> (6, 5)
    c->bVisible = false;               // a hidden element ends the walk
    expect(behindA, 3, 7, true, 5, 6);
    b->adTransform[2] = 50; // leaving the picture on the way fails
    int x = 3, y = 7;
    EXPECT_FALSE(behindA(x, y));

    // Sizes are clamped into 32 bits.
    a->SetDimensions(LBoundingBox2T<double>(5, 5, 2, 2));
    EXPECT_EQ(a->iWidth, 0u);
    a->SetDimensions(LBoundingBox2T<double>(0, 0, 1e12, 7.9));
    EXPECT_TRUE(a->iWidth == 4294967295u && a->iHeight == 7u);
}

TEST(Viewport, AnchorsKeepTheRightEdgesAndEveryChangeIsTold)
{
    struct Listener : QDViewportNotifyee
    {
        void EvViewportBoundsChanged(QDViewport&) override { ++iCalls; }
        int iCalls = 0;
    };
    // A 10 x 20 page made 30 x 40; between them these take every horizontal and vertical rule.
    const std::pair<ANCHOR, LBoundingBox2T<double>> cases[] = {
        {ANCHOR_CENTRE, {-10, -10, 20, 30}},
        {ANCHOR_TOPLEFT, {0, 0, 30, 40}},
        {ANCHOR_BOTTOMRIGHT, {-20, -20, 10, 20}},
    };
    for (const auto& [anchor, expected] : cases)
    {
        QDViewport viewport(10, 20);
        Listener listener;
        viewport.AddNotifyee(&listener);
        viewport.AddNotifyee(&listener);
        viewport.SetDimensions(30, 40, anchor);
        EXPECT_TRUE(viewport.bxBounds == expected) << "anchor " << anchor;
        EXPECT_EQ(listener.iCalls, 1);
    }

    QDViewport viewport(10, 20);
    Listener listener;
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

    // A listener that closes a later one while being told: the closed one is not called.
    struct Closer : QDViewportNotifyee
    {
        void EvViewportBoundsChanged(QDViewport& v) override
        {
            v.RemoveNotifyee(lpOther);
            delete std::exchange(lpOther, nullptr);
        }
        QDViewportNotifyee* lpOther = nullptr;
    } closer;
    closer.lpOther = new Listener;
    viewport.AddNotifyee(&closer);
    viewport.AddNotifyee(closer.lpOther);
    viewport.SetWidth(6, ANCHOR_LEFT);
    EXPECT_EQ(viewport.lNotifyees.GetNotifyeeCount(), 1u);
}

TEST(Project, SavesTheRenderedPictureToARealFileAndTracksUnsavedChanges)
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
    project.CreatePipelineElement<TestElement>(true, TestOp::Invert);
    auto* b = project.CreatePipelineElement<TestElement>(true, TestOp::Invert);
    EXPECT_TRUE(project.HasUnsavedChanges());
    EXPECT_FALSE(project.HasSavedFilePath());

    const std::string png = gTestRoot + "/out.png", bmp = gTestRoot + "/out.bmp";
    EXPECT_EQ(project.Save(png.c_str(), LImageEncodeSettings()), ERROR_CODE_SAVE_PREPARE); // nothing rendered
    project.SetRenderedHighResImage(pattern);
    EXPECT_EQ(project.Save((gTestRoot + "/missing/out.png").c_str(), LImageEncodeSettings()),
              ERROR_CODE_SAVE_ENCODE);
    EXPECT_FALSE(project.bEncodeSettingsValid || project.HasSavedFilePath());
    LImageEncodeSettings settings;
    settings.jpeg.iQuality = 42;
    for (const std::string& path : {bmp, png})
    {
        ASSERT_EQ(project.Save(path.c_str(), settings), ERROR_CODE_SAVE_SUCCESS) << path;
        LImageBuffer read, back;
        ASSERT_GT(LImage::Load(read, path.c_str()), 0) << path;
        ASSERT_TRUE(LImage::New(back, read.GetWidth(), read.GetHeight(), B8G8R8A8));
        LConvertPixelFormat(back, read);
        EXPECT_EQ(Differences(back, pattern), 0) << path;
    }
    EXPECT_STREQ(project.szFilePath, png.c_str());
    EXPECT_EQ(project.encodeSettings.jpeg.iQuality, 42);
    EXPECT_EQ(project.iVisibleElementsAtSave, 3u);

    // The program writes only some formats; without a vetoer any saved path counts.
    QDImageCodecVetoer vetoer;
    EXPECT_TRUE(project.HasSavedFilePath(&vetoer));
    ASSERT_TRUE(project.SetFilePath("/tmp/picture.psd"));
    EXPECT_FALSE(project.HasSavedFilePath(&vetoer));
    EXPECT_TRUE(project.HasSavedFilePath());

    ASSERT_TRUE(project.SetName("out.png"));
    EXPECT_FALSE(project.HasUnsavedChanges());
    // Hiding is no undo step, but the picture differs from the saved one.
    b->bVisible = false;
    EXPECT_TRUE(project.HasUnsavedChanges());
    b->bVisible = true;
    project.undoStack.Undo();
    EXPECT_TRUE(project.HasUnsavedChanges());
    project.undoStack.Redo();
    EXPECT_FALSE(project.HasUnsavedChanges());
}

TEST(OriginalImage, BuiltFromAPictureWithItsSmallerCopy)
{
    LImageBuffer pattern;
    MakePattern(pattern, 10, 7);
    LString error;
    std::unique_ptr<QDOriginalImage> made(QDOriginalImage::Create(pattern, 0.25f, error));
    ASSERT_TRUE(made);
    QDOriginalImage& image = *made;
    EXPECT_FALSE(image.IsDirty());
    EXPECT_NE(image.iSourceCacheId, image.iHighResCacheId);

    LImageBuffer high, low;
    ASSERT_TRUE(LQDCacheLoadImage(high, image.iHighResCacheId));
    ASSERT_TRUE(LQDCacheLoadImage(low, image.iLowResCacheId));
    EXPECT_EQ(Differences(high, pattern), 0);
    // round(10 * 0.25) = 3 (2.5 rounds up), round(7 * 0.25) = 2. Nearest: column i takes
    // trunc((i + 0.5) * 10 / 3) = 1, 5, 8; row j trunc((j + 0.5) * 7 / 2) = 1, 5.
    ASSERT_TRUE(low.GetWidth() == 3 && low.GetHeight() == 2);
    const int xs[3] = {1, 5, 8}, ys[2] = {1, 5};
    for (int j = 0; j < 2; ++j)
        for (int i = 0; i < 3; ++i)
            EXPECT_EQ(PixelAt(low, i, j), PixelAt(pattern, xs[i], ys[j])) << i << "," << j;

    // A scale that would give nothing still gives one pixel.
    std::unique_ptr<QDOriginalImage> tiny(QDOriginalImage::Create(pattern, 0.01f, error));
    ASSERT_TRUE(tiny);
    ASSERT_TRUE(LQDCacheLoadImage(low, tiny->iLowResCacheId));
    EXPECT_TRUE(low.GetWidth() == 1 && low.GetHeight() == 1);
}

TEST(OriginalImage, IsNeverMadeWithoutItsPixelsInTheCache)
{
    QDProject project(64, 64);
    LImageBuffer none, pattern;
    MakePattern(pattern, 64, 64);
    struct Recorder : LProcessInterfaceVoid
    {
        void SetError(const char* text) override { strError = text; }
        std::string strError;
    } process;
    EXPECT_EQ(QDOriginalImageFactory::CreateLayer(project, none, false, false, nullptr, &process), nullptr);
    EXPECT_EQ(process.strError, "Out of memory");

    // A disk that fills up: no file of this process may grow past 1 KiB for a moment.
    struct rlimit old, small;
    ASSERT_EQ(getrlimit(RLIMIT_FSIZE, &old), 0);
    auto oldSignal = signal(SIGXFSZ, SIG_IGN);
    small = old;
    small.rlim_cur = 1024;
    ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &small), 0);
    QDOriginalImage* image =
        QDOriginalImageFactory::CreateLayer(project, pattern, false, false, nullptr, &process);
    setrlimit(RLIMIT_FSIZE, &old);
    signal(SIGXFSZ, oldSignal);
    EXPECT_EQ(image, nullptr);
    EXPECT_EQ(process.strError, strerror(EFBIG));
    EXPECT_EQ(project.GetNumElements(), 0u);
}

TEST(OriginalImage, ComposesOverTheProjectBackground)
{
    LImageBuffer source;
    LImage::New(source, 2, 1, B8G8R8A8);
    PixelAt(source, 0, 0) = Bgra(200, 100, 0, 0); // transparent
    PixelAt(source, 1, 0) = Bgra(0, 0, 255, 128); // half red
    QDProject project(2, 1);
    QDOriginalImage* image = QDOriginalImageFactory::CreateLayer(project, source, false, false, nullptr);
    LProcessInterfaceVoid process;

    LImageBuffer out;
    ASSERT_EQ(image->RenderHighResImage(process, out), LProcessResultSuccess);
    EXPECT_EQ(Differences(out, source), 0); // no background: the source as it is

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
    PixelAt(mask, 3, 1) = Bgra(0, 0, 255, 255);
    PixelAt(mask, 4, 2) = Bgra(0, 0, 1, 255);
    PixelAt(mask, 0, 3) = Bgra(255, 255, 0, 255);

    MakeClean(image);
    ASSERT_TRUE(image->DeleteMaskedArea(mask, project.pipeline, nullptr));
    EXPECT_TRUE(image->IsDirty());
    LImageBuffer after, expected;
    ASSERT_TRUE(LQDCacheLoadImage(after, image->iSourceCacheId));
    MakePattern(expected, 6, 4);
    PixelAt(expected, 2, 1) = PixelAt(expected, 3, 2) = 0;
    EXPECT_EQ(Differences(after, expected), 0);

    EXPECT_EQ(UndoName(project), "Delete Selected Area");
    MakeClean(image);
    project.undoStack.Undo();
    EXPECT_TRUE(image->IsDirty());
    ASSERT_TRUE(LQDCacheLoadImage(after, image->iSourceCacheId));
    EXPECT_EQ(Differences(after, source), 0);
    project.undoStack.Redo();
    ASSERT_TRUE(LQDCacheLoadImage(after, image->iSourceCacheId));
    EXPECT_EQ(Differences(after, expected), 0);
}

// The render thread holds the pipeline for a whole render; a list change then is a bug in the
// caller, caught where debug checks are on.
TEST(PipelineDeathTest, ChangingTheListUnderARenderIsCaught)
{
#ifdef NDEBUG
    GTEST_SKIP() << "checked in debug and sanitizer builds";
#else
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    QDProject project(4, 4);
    auto* a = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    auto* b = project.CreatePipelineElement<TestElement>(false, TestOp::Invert);
    QDImagePipeline& pipeline = project.pipeline;
    {
        QDImagePipelineRenderHold hold(pipeline);
        const char* message = "while a render held the pipeline";
        EXPECT_DEATH(pipeline.AddElement(new TestElement(TestOp::Halve)), message);
        EXPECT_DEATH(pipeline.InsertElement(new TestElement(TestOp::Halve), 0), message);
        EXPECT_DEATH(pipeline.DeleteElement(a), message);
        EXPECT_DEATH(pipeline.MoveElementAfter(b, nullptr), message);
    }
    pipeline.MoveElementAfter(b, nullptr); // free again
    EXPECT_EQ(pipeline.GetFirstElement(), b);
#endif
}
