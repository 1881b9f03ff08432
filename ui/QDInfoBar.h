#pragma once
// A strip above the canvas with a message, an optional link and button, and a close button.
// The link and the button send the commands they were given.

#include <QFrame>

class QLabel;
class QPushButton;
class QToolButton;

class QDInfoBar : public QFrame
{
    Q_OBJECT
public:
    explicit QDInfoBar(QWidget* parent = nullptr);

    // A command of 0 leaves that part out.
    void ShowMessage(const QString& text, const QString& linkText, int linkCommand, const QString& buttonText,
                     int buttonCommand);
    QString GetText() const;
    QPushButton* GetButton() const { return lpButton; }
    QLabel* GetLink() const { return lpLink; }

signals:
    void command(int id);

private:
    QLabel* lpText;
    QLabel* lpLink;
    QPushButton* lpButton;
    QToolButton* lpClose;
    int iLinkCommand = 0;
    int iButtonCommand = 0;
};
