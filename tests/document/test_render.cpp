// The render thread end to end: a project from a picture and pixel-changing elements, rendered on
// the real thread with its notifications arriving on the main loop, checked against pictures
// worked out here pixel by pixel.

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>
#include <sys/stat.h>
#include <thread>
#include <vector>

#include "doc_test_support.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"

namespace
{
struct Received
{
    int iCode;
    QDProject* lpProject; // the project the data names, found as the controller finds it
    size_t nSize;
};

class Receiver : public LQueuedNotifyDataHandler
{
public:
    void EvQueuedNotifyData(int code, void* data, size_t size) override
    {
        vReceived.push_back(
            {code, QDProjectFromNotification(lpProjects ? *lpProjects : nullptr, data, size), size});
        bAllOnMain = bAllOnMain && LMainLoopIsMainThread();
    }
    // Codes other than progress, in order.
    std::vector<int> Codes() const
    {
        std::vector<int> codes;
        for (const Received& r : vReceived)
            if (r.iCode != QDRenderNotifyProgress)
                codes.push_back(r.iCode);
        return codes;
    }
    std::vector<Received> vReceived;
    bool bAllOnMain = true;
    QDProject** lpProjects = nullptr;
};

using Step = std::pair<TestOp, int>; // operation, amount

class RenderTest : public ::testing::Test
{
protected:
    static constexpr int kW = 64, kH = 48;

    void SetUp() override
    {
        EnsureApplication();
        if (!deleteThread.IsRunning())
            deleteThread.StartThread(LThreadPriorityNormal);
        MakePattern(source, kW, kH);
        project = projects = NewProject();
        thread.lpNotifyHandler = &receiver;
        receiver.lpProjects = &projects;
    }
    void TearDown() override
    {
        thread.ProjectClosed(project);
        delete project;
    }
    QDProject* NewProject()
    {
        QDProject* p = new QDProject(kW, kH);
        p->viewport.fLowResScale = 0.25f;
        QDOriginalImageFactory::CreateLayer(*p, source, false, false, nullptr);
        return p;
    }

    // What EvRenderProject does, then waiting for the end of the render.
    void Render(int endCode = QDRenderNotifyHighRes)
    {
        receiver.vReceived.clear();
        project->bRenderRequested = true;
        thread.SetCurrentProjectAndStart(project);
        ASSERT_TRUE(PumpUntil(
            [&]
            {
                for (const Received& r : receiver.vReceived)
                    if (r.iCode == endCode)
                        return true;
                return false;
            }));
        thread.WaitToStop();
    }

    // The source, or its nearest-neighbour reduction, through the steps; worked out pixel by pixel.
    void Check(int32_t id, int width, int height, const std::vector<Step>& steps)
    {
        LImageBuffer got, want;
        ASSERT_TRUE(LQDCacheLoadImage(got, id));
        LImage::New(want, width, height, B8G8R8A8);
        for (int j = 0; j < height; ++j)
            for (int i = 0; i < width; ++i)
            {
                uint32_t p = PixelAt(source, int((i + 0.5) * kW / width), int((j + 0.5) * kH / height));
                for (const Step& s : steps)
                    p = ApplyTestOp(s.first, s.second, p);
                PixelAt(want, i, j) = p;
            }
        EXPECT_EQ(Differences(got, want), 0);
    }
    void CheckHighRes(const std::vector<Step>& steps) { Check(project->iHighResCacheId, kW, kH, steps); }

    LImageBuffer source;
    QDProject* project = nullptr;
    QDProject* projects = nullptr;
    Receiver receiver;
    QDImagePipelineElementProcessingThread thread{&projects};
};
} // namespace

TEST_F(RenderTest, RendersBothPassesReRendersFromTheChangeAndFollowsUndo)
{
    auto* a = project->CreatePipelineElement<TestElement>(true, TestOp::AddRed, 40);
    auto* b = project->CreatePipelineElement<TestElement>(true, TestOp::Invert);
    auto* c = project->CreatePipelineElement<TestElement>(true, TestOp::Halve);
    const Step sa{TestOp::AddRed, 40}, sb{TestOp::Invert, 0}, sc{TestOp::Halve, 0};

    Render();
    EXPECT_EQ(receiver.Codes(), (std::vector<int>{5000, 5002, 5003}));
    EXPECT_TRUE(receiver.bAllOnMain);
    for (const Received& r : receiver.vReceived)
        if (r.iCode == QDRenderNotifyBegin)
            EXPECT_EQ(r.lpProject, nullptr); // the successor of the last project
        else if (r.iCode != QDRenderNotifyProgress)
            EXPECT_EQ(r.lpProject, project);
        else
            EXPECT_LE(r.nSize, 100u);
    EXPECT_TRUE(project->strRenderError.IsEmpty());
    CheckHighRes({sa, sb, sc});
    // The small picture is the reduction at the project's scale: 16 x 12.
    Check(c->iLowResCacheId, 16, 12, {sa, sb, sc});
    for (TestElement* e : {a, b, c})
        EXPECT_TRUE(e->iLowRenders == 1 && e->iRenders == 2 && !e->IsDirty());

    // A change to the middle element renders from there on only.
    b->eOp = TestOp::AddRed;
    b->iAmount = 100;
    b->SetDirty();
    Render();
    EXPECT_EQ(a->iRenders, 2);
    EXPECT_EQ(b->iRenders, 4);
    EXPECT_EQ(c->iRenders, 4);
    const Step sb2{TestOp::AddRed, 100};
    CheckHighRes({sa, sb2, sc});

    // Nothing dirty and no request: nothing happens at all.
    receiver.vReceived.clear();
    project->bRenderRequested = false;
    thread.SetCurrentProjectAndStart(project);
    thread.WaitToStop();
    PumpUntil([] { return false; }, 50);
    EXPECT_TRUE(receiver.vReceived.empty());

    // Undo and redo of the creation of c: the cached pictures of b and c are the answers.
    project->undoStack.Undo();
    Render();
    CheckHighRes({sa, sb2});
    project->undoStack.Redo();
    Render();
    CheckHighRes({sa, sb2, sc});
    EXPECT_EQ(b->iRenders + c->iRenders, 8);

    // Deleting a, undone and redone: b sees a new input each time.
    const std::vector<std::vector<Step>> deletion = {{sb2, sc}, {sa, sb2, sc}, {sb2, sc}, {sa, sb2, sc}};
    project->DeletePipelineElement(a, true);
    for (size_t i = 0; i < deletion.size(); ++i)
    {
        if (i % 2)
            project->undoStack.Undo();
        else if (i)
            project->undoStack.Redo();
        Render();
        CheckHighRes(deletion[i]);
    }

    // Moving c in front of b; the undone order comes back.
    project->pipeline.MoveElementAfter(c, a);
    Render();
    CheckHighRes({sa, sc, sb2});
    project->undoStack.Undo();
    EXPECT_EQ(project->pipeline.GetOrder(),
              (std::vector<QDImagePipelineElement*>{project->GetOriginalImage(), a, b, c}));
    project->undoStack.Redo();
    Render();
    CheckHighRes({sa, sc, sb2});
}

TEST_F(RenderTest, CancelFailureAndHiddenFirstElement)
{
    auto* a = project->CreatePipelineElement<TestElement>(false, TestOp::Invert);
    auto* b = project->CreatePipelineElement<TestElement>(false, TestOp::Halve);
    auto* c = project->CreatePipelineElement<TestElement>(false, TestOp::Halve);

    // An element vanishing under the thread cancels the render, which leaves everything dirty.
    a->fnDuringRender = [&]
    {
        if (a->iRenders == 1)
            project->pipeline.lFirst.Detach(c);
    };
    Render(QDRenderNotifyCancelled);
    EXPECT_EQ(receiver.Codes(), (std::vector<int>{5000, 5004}));
    EXPECT_EQ(b->iRenders, 0);
    EXPECT_TRUE(a->IsDirty());
    project->pipeline.lFirst.AddTail(c);
    a->fnDuringRender = nullptr;

    // A failure carries the element's message to the project.
    b->bFail = true;
    Render(QDRenderNotifyFailed);
    EXPECT_EQ(receiver.Codes(), (std::vector<int>{5000, 5005}));
    EXPECT_EQ(receiver.vReceived.back().lpProject, nullptr);
    EXPECT_STREQ(project->strRenderError, "Test element failed");
    EXPECT_TRUE(b->IsDirty());
    b->bFail = false;

    // With the first element hidden nothing is visible and nothing renders.
    project->GetOriginalImage()->bVisible = false;
    int before = a->iRenders + b->iRenders + c->iRenders;
    Render();
    EXPECT_EQ(receiver.Codes(), (std::vector<int>{5000, 5002, 5003}));
    EXPECT_EQ(a->iRenders + b->iRenders + c->iRenders, before);
    EXPECT_EQ(project->iHighResCacheId, -1);
}

TEST_F(RenderTest, TheProjectPictureSharesTheFileOfTheOutputItShows)
{
    auto inode = [](int32_t id)
    {
        char path[LFILE_MAX_PATH];
        struct stat st = {};
        return LQDCacheStore::MakeCacheFilePath(path, id) && stat(path, &st) == 0 ? st.st_ino : ino_t(0);
    };
    auto* a = project->CreatePipelineElement<TestElement>(false, TestOp::AddRed, 40);
    auto* b = project->CreatePipelineElement<TestElement>(false, TestOp::Invert);
    const Step sa{TestOp::AddRed, 40}, sb{TestOp::Invert, 0};
    Render();
    CheckHighRes({sa, sb});
    // Shared only where the cache lives in memory; on a disk the project keeps its own copy.
    const bool shared = LQDCacheStore::IsInMemory();
    EXPECT_NE(inode(b->iHighResCacheId), ino_t(0));
    EXPECT_EQ(inode(project->iHighResCacheId) == inode(b->iHighResCacheId), shared);
    auto* original = static_cast<QDOriginalImage*>(project->GetOriginalImage());
    EXPECT_EQ(inode(original->iHighResCacheId), inode(original->iSourceCacheId));

    // A hidden last element passes the picture on: the project shows a's output, not b's.
    b->bVisible = false;
    Render();
    CheckHighRes({sa});
    EXPECT_EQ(inode(project->iHighResCacheId) == inode(a->iHighResCacheId), shared);
    Check(b->iHighResCacheId, kW, kH, {sa, sb});

    // The element's file going (a change, then the lazy delete) leaves the project its picture,
    // and the next render shares the new one.
    a->iAmount = 100;
    a->SetDirty();
    const int32_t old = a->iHighResCacheId;
    ASSERT_TRUE(PollUntil([&] { return inode(old) == 0; }));
    CheckHighRes({sa});
    Render();
    CheckHighRes({{TestOp::AddRed, 100}});
    EXPECT_EQ(inode(project->iHighResCacheId) == inode(a->iHighResCacheId), shared);

    // The original rendered again shares its source, unless a background is composed under it.
    original->SetDirty();
    Render();
    EXPECT_EQ(inode(original->iHighResCacheId), inode(original->iSourceCacheId));
    project->SetBackground(LGuiColorAlpha(0, 0, 65535, 1.0f));
    Render();
    EXPECT_NE(inode(original->iHighResCacheId), inode(original->iSourceCacheId));
    CheckHighRes({{TestOp::AddRed, 100}});
}

TEST_F(RenderTest, BackgroundProjectsFollowTheCurrentOneAndProgressIsThrottled)
{
    QDProject* second = NewProject();
    auto* e = second->CreatePipelineElement<TestElement>(false, TestOp::Invert);
    project->lpNext = second;
    project->CreatePipelineElement<TestElement>(false, TestOp::Halve);

    Render();
    ASSERT_TRUE(PumpUntil([&] { return receiver.Codes().size() >= 6; }));
    thread.WaitToStop();
    EXPECT_EQ(receiver.Codes(), (std::vector<int>{5000, 5002, 5003, 5000, 5002, 5003}));
    EXPECT_EQ(receiver.vReceived.front().lpProject, second); // the first 5000 names the successor
    EXPECT_EQ(e->iRenders, 2);

    // Progress rises in steps of at least 5% within a project (truncation may lose one percent).
    long last = -100;
    for (const Received& r : receiver.vReceived)
        if (r.iCode == QDRenderNotifyBegin)
            last = -100;
        else if (r.iCode == QDRenderNotifyProgress)
        {
            EXPECT_GE(long(r.nSize), last + 4);
            last = long(r.nSize);
        }

    project->lpNext = nullptr;
    thread.ProjectClosed(second);
    delete second;
}

TEST_F(RenderTest, ACleanStopLeavesNoCacheFile)
{
    project->CreatePipelineElement<TestElement>(false, TestOp::Invert);
    Render();
    EXPECT_GT(CountCacheFiles(), 0);
    thread.ProjectClosed(project);
    delete project;
    project = nullptr;
    deleteThread.StopThreadNow();
    EXPECT_EQ(CountCacheFiles(), 0);
    deleteThread.StartThread(LThreadPriorityNormal);
}

namespace
{
// Renders red + its amount. The amount is read under the element's own lock at the start of a
// render, as wrapped properties are, and the render can be held at its n-th call until the test
// lets it go.
class GatedElement : public QDImagePipelineElement
{
public:
    const char* GetName() const override { return "Gated"; }
    void SetAmount(int amount)
    {
        {
            std::lock_guard<std::mutex> guard(loProperties);
            iAmount = amount;
        }
        SetDirty();
    }
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        int amount;
        {
            std::lock_guard<std::mutex> guard(loProperties);
            amount = iAmount;
        }
        if (iCalls++ == iHoldAt)
        {
            bEntered = true;
            while (!bReleased)
                std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        for (int y = 0; y < buffer.GetHeight(); ++y)
            for (int x = 0; x < buffer.GetWidth(); ++x)
                PixelAt(buffer, x, y) = ApplyTestOp(TestOp::AddRed, amount, PixelAt(buffer, x, y));
        process.SetProgress(1.0);
        return LProcessResultSuccess;
    }

    std::mutex loProperties;
    int iAmount = 10;
    int iHoldAt = -1; // 0: the first low-resolution render, 1: the high-resolution one after it
    std::atomic<int> iCalls{0};
    std::atomic<bool> bEntered{false}, bReleased{false};
};
} // namespace

TEST_F(RenderTest, APropertyChangedDuringTheRenderIsWhatTheCacheAndTheLastReportsShow)
{
    for (int holdAt : {0, 1})
    {
        auto* gated = project->CreatePipelineElement<GatedElement>(false);
        gated->iHoldAt = holdAt;
        receiver.vReceived.clear();
        project->bRenderRequested = true;
        ASSERT_TRUE(thread.SetCurrentProjectAndStart(project));
        ASSERT_TRUE(PollUntil([&] { return gated->bEntered.load(); }));
        gated->SetAmount(90); // no restart of the thread: it has to notice by itself
        gated->bReleased = true;
        ASSERT_TRUE(PollUntil([&] { return !thread.IsRunning(); }));
        PumpUntil([] { return false; }, 50); // what the thread sent last

        const std::vector<int> codes = receiver.Codes();
        ASSERT_FALSE(codes.empty());
        EXPECT_EQ(codes.back(), QDRenderNotifyHighRes) << holdAt;
        EXPECT_EQ(std::count(codes.begin(), codes.end(), int(QDRenderNotifyHighRes)), 1) << holdAt;
        EXPECT_FALSE(gated->IsDirty());
        const Step newest{TestOp::AddRed, 90};
        CheckHighRes({newest});
        Check(gated->iHighResCacheId, kW, kH, {newest});
        Check(gated->iLowResCacheId, 16, 12, {newest});

        thread.ProjectClosed(project);
        project->DeletePipelineElement(gated, false);
    }
}

TEST(RenderNotification, NamesAProjectBySerialAndDropsOnesThatHaveGone)
{
    QDProject* a = new QDProject(1, 1);
    QDProject* b = new QDProject(1, 1);
    QDProject* c = new QDProject(1, 1);
    EXPECT_GE(a->iSerial, 1u);
    EXPECT_TRUE(b->iSerial > a->iSerial && c->iSerial > b->iSerial);
    a->lpNext = b;
    b->lpNext = c;

    auto resolve = [&](uint64_t serial, size_t size = sizeof(uint64_t))
    { return QDProjectFromNotification(a, &serial, size); };
    EXPECT_EQ(resolve(b->iSerial), b);
    EXPECT_EQ(resolve(c->iSerial), c);
    EXPECT_EQ(resolve(0), nullptr); // no successor
    EXPECT_EQ(resolve(b->iSerial, 4), nullptr);
    EXPECT_EQ(QDProjectFromNotification(a, nullptr, sizeof(uint64_t)), nullptr);

    // A project closed while its messages were on the way, and a new one maybe at its address.
    const uint64_t gone = c->iSerial;
    b->lpNext = nullptr;
    delete c;
    c = new QDProject(1, 1);
    b->lpNext = c;
    EXPECT_EQ(resolve(gone), nullptr);
    EXPECT_NE(c->iSerial, gone);
    delete a;
    delete b;
    delete c;
}
