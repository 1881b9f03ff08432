#include "ui/QDNewImageDialog.h"

#include <QCheckBox>
#include <QColorDialog>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QPushButton>
#include <QSpinBox>

QDNewImageDialog::QDNewImageDialog(const LNewImageRequest& request, QWidget* parent)
    : QDialog(parent), lpWidth(new QSpinBox(this)), lpHeight(new QSpinBox(this)),
      lpTransparent(new QCheckBox("Transparent", this)), lpColour(new QPushButton(this)),
      crColour(request.crColour)
{
    setWindowTitle("New Image");
    auto* form = new QFormLayout(this);
    for (QSpinBox* box : {lpWidth, lpHeight})
    {
        box->setRange(1, kMaxSide);
        box->setSuffix(" px");
    }
    lpWidth->setValue(request.iWidth);
    lpHeight->setValue(request.iHeight);
    lpWidth->setAccessibleName("Width");
    lpHeight->setAccessibleName("Height");
    lpTransparent->setChecked(request.bTransparent);
    lpColour->setAccessibleName("Background colour");
    form->addRow("Width:", lpWidth);
    form->addRow("Height:", lpHeight);
    form->addRow("Background:", lpColour);
    form->addRow("", lpTransparent);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    form->addRow(buttons);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(lpTransparent, &QCheckBox::toggled, lpColour, [this](bool on) { lpColour->setEnabled(!on); });
    connect(lpColour, &QPushButton::clicked, this,
            [this]
            {
                const QColor chosen =
                    QColorDialog::getColor(QColor(crColour.red >> 8, crColour.green >> 8, crColour.blue >> 8),
                                           this, "Background Color");
                if (!chosen.isValid())
                    return;
                crColour = LGuiColorAlpha(uint16_t(chosen.red() << 8), uint16_t(chosen.green() << 8),
                                          uint16_t(chosen.blue() << 8), 1.0f);
                ShowColour();
            });
    lpColour->setEnabled(!request.bTransparent);
    ShowColour();
}

void QDNewImageDialog::ShowColour()
{
    const QColor c(crColour.red >> 8, crColour.green >> 8, crColour.blue >> 8);
    lpColour->setText(c.name());
    QPixmap swatch(16, 16);
    swatch.fill(c);
    lpColour->setIcon(QIcon(swatch));
}

LNewImageRequest QDNewImageDialog::GetRequest() const
{
    LNewImageRequest r;
    r.iWidth = lpWidth->value();
    r.iHeight = lpHeight->value();
    r.bTransparent = lpTransparent->isChecked();
    r.crColour = crColour;
    return r;
}
