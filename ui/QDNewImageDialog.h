#pragma once
// "New Image": the size of a blank picture, and whether it starts transparent or in a colour.

#include <QDialog>

#include "ui/LToolkit.h"

class QCheckBox;
class QPushButton;
class QSpinBox;

class QDNewImageDialog : public QDialog
{
    Q_OBJECT
public:
    QDNewImageDialog(const LNewImageRequest& request, QWidget* parent = nullptr);
    LNewImageRequest GetRequest() const;

    static constexpr int kMaxSide = 30000;

private:
    void ShowColour();
    QSpinBox* lpWidth;
    QSpinBox* lpHeight;
    QCheckBox* lpTransparent;
    QPushButton* lpColour;
    LGuiColorAlpha crColour;
};
