#include <gtest/gtest.h>

#include <QApplication>
#include <QImage>
#include <QKeySequence>
#include <QProcess>
#include <QProgressBar>
#include <QTest>
#include <QTimer>
#include <QWheelEvent>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "canvas/QDProjectViewer.h"
#include "canvas/QDViewportRenderer.h"
#include "document/QDImagePipelineElementProcessingThread.h"
#include "ui/LSceneGraphView.h"
#include "ui/QDMainWindow.h"
#include "ui/QDZoomControl.h"
#include "ui_support.h"

namespace
{
// The window renders through the picture cache: keep it, and everything else, out of home.
const std::string gRoot = []
{
    char templ[] = "/tmp/quendrel-ui-XXXXXX";
    std::string root = mkdtemp(templ) ? templ : "/tmp";
    setenv("XDG_CACHE_HOME", (root + "/cache").c_str(), 1);
    setenv("XDG_DATA_HOME", (root + "/data").c_str(), 1);
    return root;
}();

struct RemoveRoot : ::testing::Environment
{
    void TearDown() override { std::filesystem::remove_all(gRoot); }
};
::testing::Environment* const gRemoveRoot = ::testing::AddGlobalTestEnvironment(new RemoveRoot);

// Written by another tool: a 1-pixel checker of black and white, with its top-left pixel red.
std::string MakeChecker(int w, int h)
{
    const std::string path = gRoot + "/checker-" + std::to_string(w) + ".png";
    const std::string cmd = "convert -size " + std::to_string(w) + "x" + std::to_string(h) +
                            " pattern:gray50 -fill red -draw 'point 0,0' PNG24:" + path;
    return system(cmd.c_str()) == 0 ? path : std::string();
}

bool WaitForFullRender(QDMainWindow& window)
{
    bool done = false;
    QObject::connect(&window, &QDMainWindow::renderNotified, &window,
                     [&](int code) { done = done || code == QDRenderNotifyHighRes; });
    QTimer::singleShot(20000, &window, [&] { done = true; });
    while (!done)
        QApplication::processEvents(QEventLoop::WaitForMoreEvents, 50);
    return window.GetCurrentViewer() &&
           window.GetCurrentViewer()->GetCanvasViewer().GetViewportRenderer()->iImageWidth > 0;
}
} // namespace

TEST(QDMainWindow, OpensTitledAndQuitsOnClose)
{
    QApplication& app = TestApp();
    QDMainWindow window;
    window.show();
    EXPECT_EQ(window.windowTitle(), QString("Quendrel"));
    EXPECT_TRUE(window.isVisible());
    // Closing the last window must end the event loop on its own.
    QTimer::singleShot(0, &window, [&] { window.close(); });
    QTimer::singleShot(5000, &app, [&] { app.exit(99); });
    EXPECT_EQ(app.exec(), 0);
}

TEST(QDMainWindow, ShowsTheOpenedPhotoOnTheCanvasOrTheMessage)
{
    TestApp();
    QDMainWindow window;
    window.show();
    ASSERT_TRUE(QTest::qWaitForWindowExposed(&window));
    const std::string png = MakeChecker(300, 200);
    ASSERT_FALSE(png.empty());
    ASSERT_TRUE(window.OpenImage(png.c_str()));
    ASSERT_TRUE(WaitForFullRender(window));
    const LImageBuffer& shown =
        window.GetCurrentViewer()->GetCanvasViewer().GetViewportRenderer()->GetDisplayImage().GetBuffer();
    ASSERT_EQ(shown.GetWidth(), 300);
    const uint32_t* row0 = reinterpret_cast<const uint32_t*>(shown.GetRow(0));
    EXPECT_EQ(row0[0], 0xFFFF0000u);
    EXPECT_NE(row0[1], row0[2]);
    EXPECT_EQ(window.GetProgressBar()->value(), 100);
    EXPECT_EQ(window.windowTitle(), QString("checker-300.png - Quendrel"));

    // A file that isn't there: the message, and the open project stays.
    EXPECT_FALSE(window.OpenImage((gRoot + "/missing.png").c_str()));
    EXPECT_EQ(window.GetShownMessage(), QString("The file could not be found."));
    EXPECT_NE(window.GetCurrentViewer(), nullptr);
}

TEST(QDMainWindow, ZoomKeysWheelAndStatusBarDriveTheCanvas)
{
    TestApp();
    QDMainWindow window;
    window.resize(900, 700);
    window.show();
    window.activateWindow();
    ASSERT_TRUE(QTest::qWaitForWindowActive(&window));
    const std::string png = MakeChecker(2000, 1500);
    ASSERT_TRUE(window.OpenImage(png.c_str()));
    ASSERT_TRUE(WaitForFullRender(window));
    QDCanvasViewer& canvas = window.GetCurrentViewer()->GetCanvasViewer();
    LSceneGraphView* view = window.GetCurrentView();

    // Opened fitted, below 100%, with the status bar telling the zoom.
    const float fit = canvas.GetZoom();
    EXPECT_LT(fit, 0.5f);
    EXPECT_EQ(window.GetZoomControl()->GetShownText(), QString("%1%").arg(std::lround(fit * 100)));

    view->setFocus();
    QTest::keyClick(view, Qt::Key_Plus, Qt::ControlModifier);
    EXPECT_FLOAT_EQ(canvas.GetZoom(), fit * 1.2f);
    QTest::keyClick(view, Qt::Key_Minus, Qt::ControlModifier);
    EXPECT_NEAR(canvas.GetZoom(), fit, 1e-6f);
    QTest::keyClick(view, Qt::Key_Plus, Qt::ControlModifier);
    QTest::keyClick(view, Qt::Key_0, Qt::ControlModifier);
    EXPECT_FLOAT_EQ(canvas.GetZoom(), fit);

    // The wheel at 100% keeps the picture's point under the pointer.
    window.ZoomTo(1);
    const QPointF at(120, 90);
    const qreal s = view->GetDeviceScale();
    const float u = canvas.MapXToU(float(at.x() * s)), v = canvas.MapYToV(float(at.y() * s));
    QWheelEvent wheel(at, view->mapToGlobal(at), QPoint(), QPoint(0, 120), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QApplication::sendEvent(view, &wheel);
    EXPECT_FLOAT_EQ(canvas.GetZoom(), 1.2f);
    EXPECT_NEAR(canvas.MapUToX(u), at.x() * s, 0.01);
    EXPECT_NEAR(canvas.MapVToY(v), at.y() * s, 0.01);
    EXPECT_EQ(window.GetZoomControl()->GetShownText(), QString("120%"));

    // The status bar's stops zoom to what they say; the limits hold.
    emit window.GetZoomControl()->zoomTo(500);
    EXPECT_FLOAT_EQ(canvas.GetZoom(), 5.0f);
    QTest::keyClick(view, Qt::Key_Plus, Qt::ControlModifier);
    EXPECT_FLOAT_EQ(canvas.GetZoom(), 5.0f);
    // And a drag on the bare canvas moves the picture.
    const float camera = canvas.GetCameraU();
    QTest::mousePress(view, Qt::LeftButton, {}, QPoint(200, 200));
    QTest::mouseMove(view, QPoint(150, 200));
    QTest::mouseRelease(view, Qt::LeftButton, {}, QPoint(150, 200));
    EXPECT_NEAR(canvas.GetCameraU(), camera + 50 * s / 5, 1e-3);
    // Released, the picture stays where it was let go.
    QTest::mouseMove(view, QPoint(100, 200));
    EXPECT_NEAR(canvas.GetCameraU(), camera + 50 * s / 5, 1e-3);
    EXPECT_FALSE(canvas.IsPanning());
}

// At twice the display scale the window is laid out as before, the canvas paints in device
// pixels, and 100% shows one image pixel on one screen pixel.
TEST(QDMainWindow, AtDisplayScaleTwoOneHundredPercentIsOneImagePixelPerScreenPixel)
{
    const std::string png = MakeChecker(400, 300);
    ASSERT_FALSE(png.empty());
    const QString shot = QString::fromStdString(gRoot + "/scale2.png");
    QProcess run;
    QProcessEnvironment env = QProcessEnvironment::systemEnvironment();
    env.insert("QT_QPA_PLATFORM", "offscreen");
    env.insert("QT_SCALE_FACTOR", "2");
    run.setProcessEnvironment(env);
    run.start(QUENDREL_BINARY_DIR "/app/quendrel",
              {"--zoom", "100", "--screenshot", shot, QString::fromStdString(png)});
    ASSERT_TRUE(run.waitForFinished(60000));
    ASSERT_EQ(run.exitCode(), 0) << run.readAllStandardError().toStdString();
    const QImage image = QImage(shot).convertToFormat(QImage::Format_RGB32);
    ASSERT_FALSE(image.isNull());
    // Find the red corner pixel: it must be a single device pixel, with the checker starting
    // right beside it one pixel at a time.
    QPoint red(-1, -1);
    for (int y = 0; y < image.height() && red.x() < 0; ++y)
        for (int x = 0; x < image.width(); ++x)
            if (image.pixel(x, y) == qRgb(255, 0, 0))
            {
                red = QPoint(x, y);
                break;
            }
    ASSERT_GE(red.x(), 0);
    EXPECT_NE(image.pixel(red + QPoint(1, 0)), qRgb(255, 0, 0));
    EXPECT_NE(image.pixel(red + QPoint(0, 1)), qRgb(255, 0, 0));
    EXPECT_NE(image.pixel(red + QPoint(1, 0)), image.pixel(red + QPoint(2, 0)));
    EXPECT_EQ(image.pixel(red + QPoint(1, 0)), image.pixel(red + QPoint(3, 0)));
    EXPECT_EQ(image.pixel(red + QPoint(1, 1)), image.pixel(red + QPoint(2, 0)));
}
