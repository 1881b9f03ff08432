#include <QApplication>

#include "ui/QDMainWindow.h"

int main(int argc, char** argv)
{
    QApplication app(argc, argv);
    QApplication::setApplicationName("Quendrel");
    QDMainWindow window;
    if (argc > 1)
        window.OpenImage(argv[1]);
    window.show();
    return app.exec();
}
