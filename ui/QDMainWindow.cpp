#include "ui/QDMainWindow.h"

#include <QPainter>
#include <QWidget>
#include <cstring>

#include "codecs/LImage.h"
#include "image/LImageBuffer.h"

// Fits the picture into the window, never enlarging it past its own size.
class QDPhotoView : public QWidget
{
public:
    explicit QDPhotoView(QWidget* parent) : QWidget(parent) { setAutoFillBackground(false); }

    void SetImage(QImage image)
    {
        imgShown = std::move(image);
        szMessage.clear();
        update();
    }
    void SetMessage(const QString& text)
    {
        imgShown = QImage();
        szMessage = text;
        update();
    }

    QImage imgShown;
    QString szMessage;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), QColor(0x40, 0x40, 0x40));
        if (imgShown.isNull())
        {
            painter.setPen(QColor(0xE0, 0xE0, 0xE0));
            painter.drawText(rect(), Qt::AlignCenter | Qt::TextWordWrap, szMessage);
            return;
        }
        QSize size = imgShown.size();
        if (size.width() > width() || size.height() > height())
            size.scale(this->size(), Qt::KeepAspectRatio);
        QRect target(QPoint(0, 0), size);
        target.moveCenter(rect().center());
        painter.setRenderHint(QPainter::SmoothPixmapTransform);
        painter.drawImage(target, imgShown);
    }
};

namespace
{
// Keeps the message a failed load sets, to show it in place of the picture.
class QDMessageKeeper : public LProcessInterfaceVoid
{
public:
    void SetError(const char* text) override { szError = QString::fromUtf8(text); }
    QString szError;
};

// Copies a decoded buffer into a top-down 32-bit picture with straight alpha.
QImage ToQImage(const LImageBuffer& buffer)
{
    LImageBuffer converted;
    const LImageBuffer* source = &buffer;
    if (buffer.GetPixelFormat() != B8G8R8A8)
    {
        if (!LImage::New(converted, buffer.GetWidth(), buffer.GetHeight(), B8G8R8A8))
            return QImage();
        converted.imf.bUpsideDown = buffer.imf.bUpsideDown;
        LConvertPixelFormat(converted, buffer);
        source = &converted;
    }
    // Qt's ARGB32 is a native 32-bit word: blue, green, red, alpha in memory on little-endian.
    QImage image(source->GetWidth(), source->GetHeight(), QImage::Format_ARGB32);
    if (image.isNull())
        return image;
    const size_t rowBytes = size_t(source->GetWidth()) * 4;
    for (int y = 0; y < source->GetHeight(); ++y)
        memcpy(image.scanLine(y), source->GetRow(y), rowBytes);
    return image;
}
} // namespace

QDMainWindow::QDMainWindow(QWidget* parent) : QMainWindow(parent), lpView(new QDPhotoView(this))
{
    setWindowTitle("Quendrel");
    setCentralWidget(lpView);
    resize(1024, 700);
}

bool QDMainWindow::OpenImage(const char* path)
{
    LImageBuffer buffer;
    QDMessageKeeper process;
    if (LImage::Load(process, buffer, path) == 0 || !buffer.IsValid())
    {
        lpView->SetMessage(process.szError.isEmpty() ? QString("The image could not be loaded.")
                                                     : process.szError);
        return false;
    }
    QImage image = ToQImage(buffer);
    if (image.isNull())
    {
        lpView->SetMessage("Out of memory");
        return false;
    }
    lpView->SetImage(std::move(image));
    return true;
}

const QImage& QDMainWindow::GetShownImage() const
{
    return lpView->imgShown;
}

QString QDMainWindow::GetShownMessage() const
{
    return lpView->szMessage;
}
