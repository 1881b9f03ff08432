#pragma once
// The application's main window. Until the canvas arrives it shows the opened photo fitted to
// the window, so that starting the program on a file shows that file.

#include <QImage>
#include <QMainWindow>
#include <QString>

class QDPhotoView;

class QDMainWindow : public QMainWindow
{
    Q_OBJECT
public:
    explicit QDMainWindow(QWidget* parent = nullptr);

    // Loads through the codec registry; on failure the view shows the system's message and the
    // result is false.
    bool OpenImage(const char* path);
    const QImage& GetShownImage() const;
    QString GetShownMessage() const;

private:
    QDPhotoView* lpView;
};
