#pragma once
// The one application object every widget test shares, made on first use.

#include <QApplication>

inline QApplication& TestApp()
{
    static int argc = 1;
    static char name[] = "test_ui";
    static char* argv[] = {name, nullptr};
    if (!QApplication::instance())
        new QApplication(argc, argv);
    return *static_cast<QApplication*>(QApplication::instance());
}
