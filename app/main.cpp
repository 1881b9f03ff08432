#include <QApplication>

#include "ui/QDMainWindow.h"

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName("Quendrel");
    QDMainWindow window;
    window.show();
    return app.exec();
}
