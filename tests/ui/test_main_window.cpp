#include <gtest/gtest.h>

#include <QApplication>
#include <QTimer>

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
