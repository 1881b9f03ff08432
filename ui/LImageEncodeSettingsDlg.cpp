#include "ui/LImageEncodeSettingsDlg.h"

#include <QDialogButtonBox>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSlider>
#include <QVBoxLayout>

QSlider* LImageEncodeSettingsMakeSlider(QWidget* parent, QGridLayout* grid, int row, const char* label,
                                        int minimum, int maximum, const char* low, const char* high,
                                        QLabel** labelOut)
{
    QLabel* caption = new QLabel(QString::fromUtf8(label), parent);
    QSlider* slider = new QSlider(Qt::Horizontal, parent);
    slider->setRange(minimum, maximum);
    slider->setTickPosition(QSlider::TicksBelow);
    slider->setTickInterval((maximum - minimum + 1) / 10);
    grid->addWidget(caption, row, 0);
    QHBoxLayout* line = new QHBoxLayout();
    if (low)
        line->addWidget(new QLabel(QString::fromUtf8(low), parent));
    line->addWidget(slider, 1);
    if (high)
        line->addWidget(new QLabel(QString::fromUtf8(high), parent));
    // The value itself, so that a precise setting can be made.
    QLabel* value = new QLabel(QString::number(slider->value()), parent);
    value->setMinimumWidth(value->fontMetrics().horizontalAdvance("0000"));
    QObject::connect(slider, &QSlider::valueChanged, value, [value](int v) { value->setNum(v); });
    line->addWidget(value);
    grid->addLayout(line, row, 1);
    if (labelOut)
        *labelOut = caption;
    return slider;
}

LImageEncodeSettingsDlg::LImageEncodeSettingsDlg(QWidget* parent, const char* title, const char* helpTopic)
    : QDialog(parent), szHelpTopic(helpTopic)
{
    setWindowTitle(QString::fromUtf8(title));
    setModal(true);
    lpButtons = new QDialogButtonBox(this);
    QPushButton* save = lpButtons->addButton(QStringLiteral("Save"), QDialogButtonBox::AcceptRole);
    lpButtons->addButton(QStringLiteral("Cancel"), QDialogButtonBox::RejectRole);
    save->setDefault(true);
    connect(lpButtons, &QDialogButtonBox::accepted, this,
            [this]
            {
                CmOk();
                accept();
            });
    connect(lpButtons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    new QVBoxLayout(this);
}

void LImageEncodeSettingsDlg::SetWindow(QWidget* window)
{
    layout()->addWidget(window);
    layout()->addWidget(lpButtons);
}
