#include <gtest/gtest.h>

#include <QApplication>
#include <QTimer>
#include <cstdlib>
#include <filesystem>
#include <string>

#include "ui_support.h"
#include "ui/QDMainWindow.h"

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

TEST(QDMainWindow, ShowsTheOpenedPhotoOrTheMessage)
{
    TestApp();
    char dir[] = "/tmp/quendrel-ui-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string png = std::string(dir) + "/two.png";
    // Written by another tool: left column opaque #102030, right column half-transparent red.
    const std::string cmd = "convert -size 1x2 xc:'#102030' -size 1x2 'xc:rgba(255,0,0,0.5)' +append " + png;
    ASSERT_EQ(system(cmd.c_str()), 0);

    QDMainWindow window;
    ASSERT_TRUE(window.OpenImage(png.c_str()));
    const QImage& shown = window.GetShownImage();
    ASSERT_EQ(shown.size(), QSize(2, 2));
    EXPECT_EQ(shown.pixel(0, 1), qRgba(0x10, 0x20, 0x30, 255));
    EXPECT_EQ(qRed(shown.pixel(1, 0)), 255);
    EXPECT_NEAR(qAlpha(shown.pixel(1, 0)), 128, 1);

    EXPECT_FALSE(window.OpenImage((std::string(dir) + "/missing.png").c_str()));
    EXPECT_TRUE(window.GetShownImage().isNull());
    EXPECT_EQ(window.GetShownMessage(), QString("The file could not be found."));
    std::filesystem::remove_all(dir);
}
