#include "ui/QDMainWindow.h"

#include <QLabel>

QDMainWindow::QDMainWindow(QWidget* parent) : QMainWindow(parent)
{
    setWindowTitle("Quendrel");
    auto* placeholder = new QLabel(this);
    placeholder->setAlignment(Qt::AlignCenter);
    setCentralWidget(placeholder);
    resize(1024, 700);
}
