#pragma once
// A button that shows a colour and lets the user pick another: the colour dialog opens without
// blocking (the panel keeps working behind it) and the choice arrives by Changed.

#include <QColor>
#include <QColorDialog>
#include <QPointer>
#include <QPushButton>

class QDColourButton : public QPushButton
{
    Q_OBJECT
public:
    QDColourButton(const QString& text, QWidget* parent = nullptr);

    QColor GetColour() const { return cColour; }
    // Shows colour without a notification.
    void SetColour(const QColor& colour);
    // The open dialog, null when none is open.
    QColorDialog* GetDialog() const { return lpDialog; }

signals:
    void Changed(const QColor& colour);

private:
    void Choose();
    void UpdateSwatch();

    QColor cColour = Qt::black;
    // Clears itself when the dialog closes; a slot on destroyed would run inside our own
    // destructor, when the dialog goes with its parent.
    QPointer<QColorDialog> lpDialog;
};
