// The project viewer on the real render thread: notifications arrive on the main loop, the
// small render shows first and the full one replaces it; and the smaller widgets and painters.

#include <atomic>
#include <cstring>
#include <memory>

#include "canvas/LImageBufferPainter.h"
#include "canvas/LKeyHandler.h"
#include "canvas/QDCircleSelectionWidget.h"
#include "canvas/QDProjectViewer.h"
#include "canvas/QDViewportRenderer.h"
#include "canvas_support.h"
#include "document/LQDCacheStore.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "document/QDOriginalImage.h"
#include "document/QDProject.h"

namespace
{
uint32_t& At(const LImageBuffer& b, int x, int y)
{
    return reinterpret_cast<uint32_t*>(b.GetRow(y))[x];
}

// Turns every colour channel over; cheap and easy to check. Its full render waits until the
// small picture is on the canvas, as a full render of a real photo would.
class InvertElement : public QDImagePipelineElement
{
public:
    const char* GetName() const override { return "Invert"; }
    LProcessResult RenderLowResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        return Invert(process, buffer);
    }
    LProcessResult RenderHighResImage(LProcessInterface& process, LImageBuffer& buffer) override
    {
        for (int i = 0; i < 1000 && !bLowResShown; ++i)
            process.ProcessWait(5);
        return Invert(process, buffer);
    }
    LProcessResult Invert(LProcessInterface& process, LImageBuffer& buffer)
    {
        for (int y = 0; y < buffer.GetHeight(); ++y)
        {
            if (process.IsToStop())
                return LProcessResultCancelled;
            for (int x = 0; x < buffer.GetWidth(); ++x)
                At(buffer, x, y) ^= 0x00FFFFFFu;
        }
        return LProcessResultSuccess;
    }
    std::atomic<bool> bLowResShown{false};
};

// Plays the controller: resolves each notification to a project and hands it to its viewer,
// noting what the canvas shows at that moment.
class Controller : public LQueuedNotifyDataHandler
{
public:
    void EvQueuedNotifyData(int code, void* data, size_t size) override
    {
        if (code == QDRenderNotifyProgress)
            return;
        QDProject* project = QDProjectFromNotification(lpProjects, data, size);
        if (project && lpViewer && project == &lpViewer->GetProject())
            lpViewer->EvRenderNotification(code);
        const QDViewportRenderer* r = lpViewer->GetCanvasViewer().GetViewportRenderer();
        vSeen.push_back({code, r->GetDisplayImage().GetWidth(), r->iImageWidth});
        if (code == QDRenderNotifyLowRes && lpElement)
            lpElement->bLowResShown = true;
    }
    struct Seen
    {
        int iCode, iDisplayWidth, iImageWidth;
    };
    std::vector<Seen> vSeen;
    QDProject* lpProjects = nullptr;
    QDProjectViewer* lpViewer = nullptr;
    InvertElement* lpElement = nullptr;
};
} // namespace

TEST(ProjectViewer, ShowsTheSmallRenderFirstThenTheFullOneAndFollowsEachEdit)
{
    CanvasApp();
    constexpr int W = 64, H = 48;
    LImageBuffer source;
    LImage::New(source, W, H, B8G8R8A8);
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            At(source, x, y) = 0xFF000000u | uint32_t(4 * x) << 16 | uint32_t(5 * y) << 8 | uint32_t(x + y);
    QDProject* project = new QDProject(W, H);
    project->viewport.fLowResScale = 0.25f;
    QDOriginalImageFactory::CreateLayer(*project, source, false, false, nullptr);
    auto* invert = project->CreatePipelineElement<InvertElement>(false);

    auto owned = std::make_unique<QDProjectViewer>(*project);
    QDProjectViewer& viewer = *owned;
    viewer.SyncPipelineElementUis();
    EXPECT_EQ(viewer.GetCanvasViewer().GetWidgets().size(), 2u);
    EXPECT_NE(viewer.MapPipelineElementToUi(invert), nullptr);

    Controller controller;
    controller.lpProjects = project;
    controller.lpViewer = &viewer;
    controller.lpElement = invert;
    QDImagePipelineElementProcessingThread thread(&controller.lpProjects);
    thread.lpNotifyHandler = &controller;
    auto render = [&]
    {
        controller.vSeen.clear();
        invert->bLowResShown = false;
        project->bRenderRequested = true;
        thread.SetCurrentProjectAndStart(project);
        ASSERT_TRUE(PumpUntil(
            [&]
            {
                for (const auto& s : controller.vSeen)
                    if (s.iCode == QDRenderNotifyHighRes)
                        return true;
                return false;
            }));
        thread.WaitToStop();
    };
    render();
    // 5002 came first and showed the 16 × 12 render stretched to the page; 5003 the full picture.
    std::vector<int> codes;
    for (const auto& s : controller.vSeen)
        codes.push_back(s.iCode);
    ASSERT_EQ(codes, (std::vector<int>{QDRenderNotifyBegin, QDRenderNotifyLowRes, QDRenderNotifyHighRes}));
    EXPECT_EQ(controller.vSeen[1].iDisplayWidth, W);
    EXPECT_EQ(controller.vSeen[1].iImageWidth, -1);
    EXPECT_EQ(controller.vSeen[2].iImageWidth, W);
    const LImageBuffer& shown = viewer.GetCanvasViewer().GetViewportRenderer()->GetDisplayImage().GetBuffer();
    int wrong = 0;
    for (int y = 0; y < H; ++y)
        for (int x = 0; x < W; ++x)
            wrong += At(shown, x, y) != (At(source, x, y) ^ 0x00FFFFFFu);
    EXPECT_EQ(wrong, 0);

    // An edit brings the small picture back before the full one.
    invert->SetDirty();
    render();
    ASSERT_GE(controller.vSeen.size(), 3u);
    EXPECT_EQ(controller.vSeen[1].iCode, QDRenderNotifyLowRes);
    EXPECT_EQ(controller.vSeen[1].iDisplayWidth, W);

    thread.ProjectClosed(project);
    owned.reset(); // the viewer goes before its project
    delete project;
}

TEST(CircleSelectionWidget, TheRingScalesTheRadiusAndTheBodyMovesTheCircle)
{
    CanvasApp();
    LKeyHandler::SetModifiers(0);
    RecordingHost host;
    LSceneGraph graph;
    graph.Init(&host);
    graph.iZoomMode = 1;
    graph.iOriginMode = 1;
    graph.OnSize(400, 300);
    graph.SetCameraPosition(200, 150);
    auto* circle = graph.AddNode<QDCircleSelectionWidget>(100, 100, 20.0f);
    struct Listener : QDCircleSelectionWidgetNotifyee
    {
        void NotifyRadiusChanged(QDCircleSelectionWidget&) override { ++iChanged; }
        void NotifyRadiusDragBegin(QDCircleSelectionWidget&) override { ++iBegin; }
        void NotifyRadiusDragFinish(QDCircleSelectionWidget&) override { ++iFinish; }
        int iChanged = 0, iBegin = 0, iFinish = 0;
    } listener;
    circle->AddCircleNotifyee(&listener);

    // On the ring: the child answers, with a sideways resize cursor at the side.
    graph.OnMouseMove(119, 100);
    EXPECT_EQ(graph.GetMouseOverNode(), circle->GetSizeHandle());
    EXPECT_EQ(host.iCursor, LCursorResizeHorizontal);
    graph.OnMouseMove(100, 78);
    EXPECT_EQ(host.iCursor, LCursorResizeVertical);
    EXPECT_EQ(graph.GetNodeUnderPoint(100, 76), nullptr); // past radius + thickness

    // Twice as far from the centre, twice the radius.
    graph.OnMouseMove(120, 100);
    graph.OnLButtonDown(120, 100);
    graph.OnMouseMove(130, 100);
    graph.OnMouseMove(140, 100);
    graph.OnLButtonUp(140, 100);
    EXPECT_FLOAT_EQ(circle->GetRadius(), 40);
    EXPECT_FLOAT_EQ(circle->GetSizeHandle()->GetRadius(), 40);
    EXPECT_EQ(listener.iBegin, 1);
    EXPECT_EQ(listener.iFinish, 1);
    EXPECT_GE(listener.iChanged, 1);
    EXPECT_EQ(circle->GetU(), 100.0f);

    // The body drags the whole circle.
    graph.OnMouseMove(100, 100);
    graph.OnLButtonDown(100, 100);
    graph.OnMouseMove(110, 95);
    graph.OnMouseMove(130, 90);
    graph.OnLButtonUp(130, 90);
    EXPECT_FLOAT_EQ(circle->GetU(), 130);
    EXPECT_FLOAT_EQ(circle->GetV(), 90);
    EXPECT_FLOAT_EQ(circle->GetRadius(), 40);
}

TEST(ImageBufferPainter, DrawsIntoTheBufferTheRightWayUpInEitherRowOrder)
{
    CanvasApp();
    for (bool upsideDown : {false, true})
    {
        LImageBuffer b;
        ASSERT_TRUE(b.AllocateNewBuffer(LImageFormat(B8G8R8A8, 20, 10, upsideDown)));
        b.Clear(LPixelColour(0, 0, 0, 0));
        {
            LImageBufferPainter painter(b);
            ASSERT_NE(painter.GetContext(), nullptr);
            painter.GetContext()->SetAntialias(false);
            painter.GetContext()->FillRect(LBoxF(0, 0, 10, 4), LGuiRGB(255, 0, 0));
            painter.Flush();
            EXPECT_EQ(painter.GetContext(), nullptr);
            // Between a flush and a reload the buffer is the caller's.
            At(b, 19, 9) = 0xFF00FF00u;
            painter.Reload();
            painter.GetContext()->FillRect(LBoxF(15, 0, 20, 1), LGuiRGB(0, 0, 255), 0.5f);
        }
        EXPECT_EQ(At(b, 0, 0), 0xFFFF0000u) << upsideDown;
        EXPECT_EQ(At(b, 9, 3), 0xFFFF0000u) << upsideDown;
        EXPECT_EQ(At(b, 10, 3), 0u) << upsideDown;
        EXPECT_EQ(At(b, 0, 4), 0u) << upsideDown;
        EXPECT_EQ(At(b, 19, 9), 0xFF00FF00u) << upsideDown;
        // Half-opaque blue over transparent stays straight blue at half alpha.
        EXPECT_EQ(At(b, 16, 0) & 0xFFu, 0xFFu) << upsideDown;
        EXPECT_NEAR(int(At(b, 16, 0) >> 24), 128, 1) << upsideDown;
    }
}
