#pragma once
// One pane of the save dialog: a picture with its caption, fitted to the pane or zoomed, and a
// loupe that shows the full resolution around the mouse for a few seconds. The two panes share
// one view, so they zoom, pan and show the loupe together and stay comparable point for point.

#include <QImage>
#include <QObject>
#include <QPointF>
#include <QString>
#include <QTimer>
#include <QWidget>

#include <memory>

class LImageBuffer;

class QDSavePreviewView : public QObject
{
    Q_OBJECT
public:
    // 0 fits the picture to the pane; otherwise pane pixels per picture pixel.
    double dZoom = 0;
    // The picture point at the panes' centres while zoomed.
    QPointF ptCentre;
    bool bLoupe = false;
    QPointF ptLoupe; // in picture pixels

    void Changed() { emit changed(); }

signals:
    void changed();
};

class QDSavePreview : public QWidget
{
    Q_OBJECT
public:
    static constexpr int kLoupeSize = 100;
    static constexpr int kLoupeMs = 5000;
    static constexpr double kMaxZoom = 16.0;

    QDSavePreview(QDSavePreviewView& view, QWidget* parent = nullptr);

    // The full picture, kept; fitted, when given, is it already scaled to the pane's size.
    void UpdateImage(std::shared_ptr<const LImageBuffer> full, QImage fitted = QImage());
    void SetCaption(const QString& caption);
    QString GetCaption() const { return szCaption; }
    const LImageBuffer* GetImage() const { return lpFull.get(); }

    // A picture that fits both ways is shown at its size, a larger one scaled to fit.
    double GetFitScale() const;
    double GetScale() const;
    QPointF WidgetToImage(const QPointF& p) const;
    QPointF ImageToWidget(const QPointF& p) const;
    // The pane's size in device pixels, for a fitted copy made elsewhere.
    QSize GetFitSize() const;

    // What the loupe would show now (for tests): the picture's pixels around the point.
    QImage GetLoupeImage() const;

protected:
    void paintEvent(QPaintEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseDoubleClickEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;

private:
    const QImage& Fitted();
    void ClampCentre();

    QDSavePreviewView& rView;
    std::shared_ptr<const LImageBuffer> lpFull;
    QImage imgFull; // wraps lpFull's pixels
    QImage imgFitted;
    QString szCaption;
    QTimer oLoupeTimer;
    bool bPanning = false;
    QPointF ptPanStart;
};

// The pixels of a B8G8R8A8 buffer as a QImage (shared while the buffer lives; a copy for other
// layouts).
QImage QDImageFromBuffer(const LImageBuffer& buffer);
// A copy fitted into size (keeping proportions), premultiplied for painting; made with the
// program's own averaging scaler.
QImage QDFitImage(const LImageBuffer& buffer, const QSize& size);
