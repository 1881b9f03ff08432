#include "ui/QDBatchEffectDialogs.h"

#include <QDialogButtonBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QVBoxLayout>

#include "document/QDEffectFactory.h"
#include "document/QDImagePipelineElement.h"
#include "ui/panels/QDPropertiesPanel.h"

QDSelectEffectDlg::QDSelectEffectDlg(const std::vector<QDEffectFactory*>& available, QWidget* parent)
    : QDialog(parent), rAvailable(available)
{
    setWindowTitle(QStringLiteral("Add Effects"));
    auto* layout = new QVBoxLayout(this);
    lpList = new QListWidget(this);
    lpList->setSelectionMode(QAbstractItemView::ExtendedSelection);
    for (const QDEffectFactory* f : available)
    {
        auto* row = new QListWidgetItem(QString::fromUtf8(f->szName), lpList);
        row->setToolTip(QString::fromUtf8(f->szDescription));
    }
    layout->addWidget(lpList, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    connect(lpList, &QListWidget::itemDoubleClicked, this, &QDialog::accept);
    layout->addWidget(buttons);
}

std::vector<QDEffectFactory*> QDSelectEffectDlg::GetSelection() const
{
    std::vector<QDEffectFactory*> chosen;
    for (int i = 0; i < lpList->count(); ++i)
        if (lpList->item(i)->isSelected() && size_t(i) < rAvailable.size())
            chosen.push_back(rAvailable[size_t(i)]);
    return chosen;
}

QDEditBatchPropertiesDlg::QDEditBatchPropertiesDlg(QDImagePipelineElement& element, QDPropertiesPanel* panel,
                                                   QWidget* parent)
    : QDialog(parent), lpPanel(panel)
{
    setWindowTitle(QString::asprintf("%s Preferences", element.GetName()));
    setFixedWidth(kWidth);
    auto* layout = new QVBoxLayout(this);
    if (panel)
    {
        panel->setParent(this);
        layout->addWidget(panel, 1);
        panel->show();
    }
    else
        layout->addWidget(new QLabel(QStringLiteral("This effect has no settings."), this));
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    lpHelp = buttons->addButton(QDialogButtonBox::Help);
    // No help pages are installed with this build.
    lpHelp->setEnabled(false);
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

QDSelectPreviewDlg::QDSelectPreviewDlg(const std::vector<std::string>& files, QWidget* parent)
    : QDialog(parent)
{
    setWindowTitle(QStringLiteral("Select Preview Image"));
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(new QLabel(QStringLiteral("Preview batch changes on this image:"), this));
    lpList = new QListWidget(this);
    for (const std::string& f : files)
        lpList->addItem(QString::fromStdString(f));
    layout->addWidget(lpList, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, this);
    connect(buttons, &QDialogButtonBox::accepted, this, [this] { accept(); });
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    layout->addWidget(buttons);
}

void QDSelectPreviewDlg::accept()
{
    if (lpList->currentRow() < 0 || lpList->selectedItems().isEmpty())
        return;
    QDialog::accept();
}

std::string QDSelectPreviewDlg::GetPath() const
{
    const QListWidgetItem* row = lpList->currentItem();
    return row ? row->text().toStdString() : std::string();
}
