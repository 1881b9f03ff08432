#include "ui/panels/QDColourButton.h"

#include <QColorDialog>
#include <QPainter>
#include <QPixmap>

QDColourButton::QDColourButton(const QString& text, QWidget* parent) : QPushButton(text, parent)
{
    setAccessibleName(text);
    connect(this, &QPushButton::clicked, this, &QDColourButton::Choose);
    UpdateSwatch();
}

void QDColourButton::SetColour(const QColor& colour)
{
    cColour = colour;
    UpdateSwatch();
}

void QDColourButton::UpdateSwatch()
{
    QPixmap swatch(16, 16);
    swatch.fill(cColour);
    QPainter painter(&swatch);
    painter.setPen(palette().color(QPalette::WindowText));
    painter.drawRect(0, 0, 15, 15);
    setIcon(QIcon(swatch));
}

void QDColourButton::Choose()
{
    if (lpDialog)
    {
        lpDialog->raise();
        return;
    }
    lpDialog = new QColorDialog(cColour, this);
    lpDialog->setAttribute(Qt::WA_DeleteOnClose);
    lpDialog->setWindowTitle(text());
    connect(lpDialog, &QColorDialog::colorSelected, this,
            [this](const QColor& colour)
            {
                SetColour(colour);
                emit Changed(colour);
            });
    lpDialog->open();
}
