#pragma once
// Shared by the canvas tests: private cache and data folders, the application object on Qt's
// offscreen platform, a host that records what the graph asks of its window, plain box nodes
// that log their events, and a test element with a box property that keeps the live-drag and
// commit undo rule, with its manipulator widget.

#include <QApplication>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "canvas/LSceneGraph.h"
#include "canvas/QDManipulatorWidget.h"
#include "document/DeleteFileThread.h"
#include "document/LUndoRedo.h"
#include "document/QDImagePipelineElement.h"
#include "foundation/LMainLoop.h"

inline const std::string gCanvasTestRoot = []
{
    char templ[] = "/tmp/quendrel-canvas-XXXXXX";
    std::string root = mkdtemp(templ) ? templ : "";
    setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    setenv("XDG_CONFIG_HOME", (root + "/config").c_str(), 1);
    setenv("QT_QPA_PLATFORM", "offscreen", 0);
    return root;
}();

struct CanvasTestCleanup : ::testing::Environment
{
    void TearDown() override
    {
        deleteThread.StopThreadNow();
        std::error_code ec;
        if (!gCanvasTestRoot.empty())
            std::filesystem::remove_all(gCanvasTestRoot, ec);
    }
};
inline ::testing::Environment* const gCanvasTestCleanup =
    ::testing::AddGlobalTestEnvironment(new CanvasTestCleanup);

inline QApplication& CanvasApp()
{
    static int argc = 1;
    static char name[] = "test_canvas";
    static char* argv[] = {name, nullptr};
    if (!QApplication::instance())
        new QApplication(argc, argv);
    LMainLoopBegin();
    if (!deleteThread.IsRunning())
        deleteThread.StartThread(20);
    return *static_cast<QApplication*>(QApplication::instance());
}

// A first base for fixtures that hold widgets, so that the application exists before them.
struct CanvasAppFirst
{
    CanvasAppFirst() { CanvasApp(); }
};

inline bool PumpUntil(std::function<bool()> done, int milliseconds = 10000)
{
    LMainLoopProcessEvents(
        milliseconds, [](void* c) { return (*static_cast<std::function<bool()>*>(c))(); }, &done);
    return done();
}

inline void PumpFor(int milliseconds)
{
    LMainLoopProcessEvents(milliseconds);
}

// What the graph asked of its window.
class RecordingHost : public LSceneGraphHost
{
public:
    void HostInvalidate(const LBoundingBox2T<int>* box) override { box ? ++iRects : ++iFull; }
    void HostSetCapture(bool bCapture) override { bCaptured = bCapture; }
    void HostSetCursor(int cursor) override { iCursor = cursor; }
    void HostSetFocus() override {}
    void HostSetToolTip(const char* text) override { sToolTip = text ? text : ""; }

    int iFull = 0, iRects = 0, iCursor = -1;
    bool bCaptured = false;
    std::string sToolTip;
};

// A rectangle in its own frame that logs what happens to it.
class BoxNode : public LSceneGraphNode
{
public:
    BoxNode(float left, float top, float right, float bottom, std::vector<std::string>* log = nullptr,
            const char* name = "box")
        : bxBox(left, top, right, bottom), lpLog(log), szName(name)
    {
    }
    LBoxF GetSelectionBounds() const override { return bxBox; }
    LBoxF GetDrawBounds() const override { return bxBox; }
    bool HitTest(float u, float v) override
    {
        return u >= bxBox.left && u < bxBox.right && v >= bxBox.top && v < bxBox.bottom;
    }
    void Draw(LPaintContext&) override { Log("draw"); }
    void EvLButtonDownUV(float u, float v) override
    {
        fDownU = u, fDownV = v;
        Log("down");
        if (fnOnDown)
            fnOnDown(*this);
    }
    void EvLButtonUpUV(float, float) override { Log("up"); }
    void EvDragBegin() override { Log("dragbegin"); }
    void EvDrag(float, float, bool) override { Log("drag"); }
    void EvDragFinish(bool) override { Log("dragfinish"); }
    void EvMouseIn() override { Log("in"); }
    void EvMouseOut() override { Log("out"); }
    void Log(const char* what)
    {
        if (lpLog)
            lpLog->push_back(std::string(szName) + ":" + what);
    }

    LBoxF bxBox;
    std::vector<std::string>* lpLog;
    const char* szName;
    float fDownU = 0, fDownV = 0;
    std::function<void(BoxNode&)> fnOnDown;
};

// ---- an element with a box property and the undo rule of the wrapped-properties base

struct TestBox
{
    float u = 0, v = 0, w = 0, h = 0;
    double rotation = 0;
    bool operator==(const TestBox& o) const
    {
        return u == o.u && v == o.v && w == o.w && h == o.h && rotation == o.rotation;
    }
};

class TestBoxElement;

class TestBoxUndo : public LUndoRedoItem
{
public:
    TestBoxUndo(TestBoxElement* element, const TestBox& before, const TestBox& after)
        : lpElement(element), oBefore(before), oAfter(after)
    {
    }
    void Undo() override;
    void Redo() override;
    void GetName(char* name) override { snprintf(name, LUNDO_NAME_SIZE, "Move Box"); }

    TestBoxElement* lpElement;
    TestBox oBefore, oAfter;
};

class TestBoxElement : public QDImagePipelineElement
{
public:
    const char* GetName() const override { return "Test Box"; }
    const char* GetTypeIdentifier() const override { return "test box"; }

    // A change without undo while a drag runs, and one item from before the drag at its end.
    void SetProperties(const TestBox& n, bool bRegisterUndo)
    {
        if (n == oProperties)
        {
            if (!bRegisterUndo || n == oPropertiesRegistered)
                return;
            DispatchUndoRedoItemForUnregisteredChanges();
            return;
        }
        if (bRegisterUndo)
        {
            if (lpUndoStack)
                lpUndoStack->AddItem<TestBoxUndo>(this, oPropertiesRegistered, n);
            oPropertiesRegistered = n;
        }
        const TestBox old = oProperties;
        oProperties = n;
        EvPropertiesChanged(old);
    }
    void InitProperties(const TestBox& n)
    {
        const TestBox old = oProperties;
        oProperties = oPropertiesRegistered = n;
        EvPropertiesChanged(old);
    }
    void DispatchUndoRedoItemForUnregisteredChanges()
    {
        if (oProperties == oPropertiesRegistered)
            return;
        if (lpUndoStack)
            lpUndoStack->AddItem<TestBoxUndo>(this, oPropertiesRegistered, oProperties);
        oPropertiesRegistered = oProperties;
    }
    void EvPropertiesChanged(const TestBox&)
    {
        SetDirty();
        ++iChanges;
        if (fnChanged)
            fnChanged();
    }

    TestBox oProperties, oPropertiesRegistered;
    int iChanges = 0;
    std::function<void()> fnChanged;
};

inline void TestBoxUndo::Undo()
{
    const TestBox kept = lpElement->oProperties;
    lpElement->InitProperties(oBefore);
    lpElement->EvPropertiesChanged(kept);
}

inline void TestBoxUndo::Redo()
{
    const TestBox kept = lpElement->oProperties;
    lpElement->InitProperties(oAfter);
    lpElement->EvPropertiesChanged(kept);
}

// The element's box on the canvas, following the element back through undo and redo.
class TestBoxWidget : public QDManipulatorWidget
{
public:
    TestBoxWidget(QDViewport* viewport, TestBoxElement* element) : QDManipulatorWidget(viewport, element, 1)
    {
        element->fnChanged = [this] { MatchManipulatorToElement(); };
    }
    ~TestBoxWidget() override { Box()->fnChanged = nullptr; }
    TestBoxElement* Box() const { return static_cast<TestBoxElement*>(lpElement); }
    bool GetElementBox(float& u, float& v, float& w, float& h, double& r) const override
    {
        const TestBox& b = Box()->oProperties;
        u = b.u, v = b.v, w = b.w, h = b.h, r = b.rotation;
        return true;
    }
    void SetElementBox(float u, float v, float w, float h, double r, bool bFinished) override
    {
        ++(bFinished ? iCommits : iLiveChanges);
        Box()->SetProperties(TestBox{u, v, w, h, r}, bFinished);
    }
    int iLiveChanges = 0, iCommits = 0;
};
