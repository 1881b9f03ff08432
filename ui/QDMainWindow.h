#pragma once
// The application's main window. Holds the canvas once there is one.

#include <QMainWindow>

class QDMainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit QDMainWindow(QWidget* parent = nullptr);
};
