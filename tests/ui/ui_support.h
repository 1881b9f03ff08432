#pragma once
// Shared by the widget tests: the one application object, made on first use; a private data and
// cache folder for the whole program, so projects that close never touch the user's; and a mouse
// event sent straight to a widget.

#include <QApplication>
#include <QMouseEvent>
#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <string>

inline const std::string gUiTestRoot = []
{
    char templ[] = "/tmp/quendrel-ui-XXXXXX";
    std::string root = mkdtemp(templ) ? templ : "";
    setenv("XDG_DATA_HOME", root.c_str(), 1);
    setenv("XDG_CACHE_HOME", root.c_str(), 1);
    return root;
}();

struct UiTestRootCleanup : ::testing::Environment
{
    void TearDown() override
    {
        std::error_code ec;
        std::filesystem::remove_all(gUiTestRoot, ec);
    }
};
inline ::testing::Environment* const gUiTestCleanup =
    ::testing::AddGlobalTestEnvironment(new UiTestRootCleanup);

// A press or release of the left button, or a move with buttons held.
inline void SendMouse(QWidget* w, QEvent::Type type, QPointF at, Qt::MouseButtons buttons)
{
    QMouseEvent e(type, at, w->mapToGlobal(at), type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton,
                  buttons, Qt::NoModifier);
    QCoreApplication::sendEvent(w, &e);
}

inline QApplication& TestApp()
{
    static int argc = 1;
    static char name[] = "test_ui";
    static char* argv[] = {name, nullptr};
    if (!QApplication::instance())
        new QApplication(argc, argv);
    return *static_cast<QApplication*>(QApplication::instance());
}
