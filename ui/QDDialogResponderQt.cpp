#include "ui/QDDialogResponderQt.h"

#include <QAbstractButton>
#include <QApplication>
#include <QCheckBox>
#include <QColorDialog>
#include <QCommandLinkButton>
#include <QCursor>
#include <QDialogButtonBox>
#include <QFileDialog>
#include <QInputDialog>
#include <QLabel>
#include <QMenu>
#include <QMessageBox>
#include <QTabWidget>
#include <QVBoxLayout>

#include "codecs/LImageEncodeSettingsDialog.h"
#include "ui/QDNewImageDialog.h"
#include "ui/QDSaveAsDialog.h"

namespace
{
// "Label (*.a;*.b)" with the extensions as Qt writes them.
QString QtFilter(const std::pair<std::string, std::string>& filter)
{
    QString extensions = QString::fromStdString(filter.second);
    extensions.replace(';', ' ');
    QString label = QString::fromStdString(filter.first);
    const int open = label.indexOf(" (");
    if (open >= 0)
        label = label.left(open);
    return QString("%1 (%2)").arg(label, extensions);
}

QFileDialog* MakeFileDialog(const LFileDialogRequest& request, QWidget* parent, QStringList& filters)
{
    auto* dialog = new QFileDialog(parent, QString::fromStdString(request.szTitle),
                                   QString::fromStdString(request.szFolder));
    for (const auto& f : request.vFilters)
        filters << QtFilter(f);
    dialog->setNameFilters(filters);
    if (request.iFilter >= 1 && request.iFilter <= filters.size())
        dialog->selectNameFilter(filters[request.iFilter - 1]);
    return dialog;
}
} // namespace

QWidget* QDDialogResponderQt::Parent()
{
    if (QWidget* modal = QApplication::activeModalWidget())
        return modal;
    return QApplication::activeWindow();
}

int QDDialogResponderQt::ShowAlert(LAlertKind kind, const char* title, const char* text,
                                   const char* const* buttons, int count)
{
    const QMessageBox::Icon icon = kind == LAlertKindError      ? QMessageBox::Critical
                                   : kind == LAlertKindWarning  ? QMessageBox::Warning
                                   : kind == LAlertKindQuestion ? QMessageBox::Question
                                                                : QMessageBox::Information;
    QMessageBox box(icon, QString::fromUtf8(title ? title : ""), QString::fromUtf8(text ? text : ""),
                    QMessageBox::NoButton, Parent());
    std::vector<QAbstractButton*> made;
    for (int i = 0; i < count; ++i)
    {
        // The last of several is the one Escape means.
        const QMessageBox::ButtonRole role = i == 0                        ? QMessageBox::AcceptRole
                                             : i == count - 1 && count > 1 ? QMessageBox::RejectRole
                                                                           : QMessageBox::DestructiveRole;
        made.push_back(box.addButton(QString::fromUtf8(buttons[i]), role));
    }
    if (!made.empty())
        box.setDefaultButton(static_cast<QPushButton*>(made.front()));
    box.exec();
    for (int i = 0; i < count; ++i)
        if (box.clickedButton() == made[size_t(i)])
            return i;
    return count > 1 ? count - 1 : 0;
}

bool QDDialogResponderQt::BrowseForOpen(const LFileDialogRequest& request, std::vector<std::string>& paths)
{
    QStringList filters;
    std::unique_ptr<QFileDialog> dialog(MakeFileDialog(request, Parent(), filters));
    dialog->setAcceptMode(QFileDialog::AcceptOpen);
    dialog->setFileMode(request.bMultiple ? QFileDialog::ExistingFiles : QFileDialog::ExistingFile);
    if (dialog->exec() != QDialog::Accepted)
        return false;
    paths.clear();
    for (const QString& f : dialog->selectedFiles())
        paths.push_back(f.toStdString());
    return !paths.empty();
}

bool QDDialogResponderQt::BrowseForSave(const LFileDialogRequest& request, std::string& path, int& filter)
{
    QStringList filters;
    std::unique_ptr<QFileDialog> dialog(MakeFileDialog(request, Parent(), filters));
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setFileMode(QFileDialog::AnyFile);
    if (!request.szDefaultExtension.empty())
        dialog->setDefaultSuffix(QString::fromStdString(request.szDefaultExtension));
    if (!request.bConfirmOverwrite)
        dialog->setOption(QFileDialog::DontConfirmOverwrite);
    dialog->selectFile(QString::fromStdString(request.szName));
    if (dialog->exec() != QDialog::Accepted || dialog->selectedFiles().isEmpty())
        return false;
    path = dialog->selectedFiles().front().toStdString();
    filter = int(filters.indexOf(dialog->selectedNameFilter())) + 1;
    if (filter < 1)
        filter = request.iFilter;
    return true;
}

bool QDDialogResponderQt::EditEncodeSettings(LImageCodec codec, LImageEncodeSettings& settings)
{
    return LImageEncodeSettingsDialogOpen(Parent(), codec, settings);
}

bool QDDialogResponderQt::SaveImage(QDProject& project)
{
    return QDSaveAsDialogRun(Parent(), project);
}

bool QDDialogResponderQt::NewImage(LNewImageRequest& request)
{
    QDNewImageDialog dialog(request, Parent());
    if (dialog.exec() != QDialog::Accepted)
        return false;
    request = dialog.GetRequest();
    return true;
}

bool QDDialogResponderQt::PickColour(LGuiColorAlpha& colour)
{
    const QColor chosen = QColorDialog::getColor(QColor(colour.red >> 8, colour.green >> 8, colour.blue >> 8),
                                                 Parent(), "Color");
    if (!chosen.isValid())
        return false;
    colour = LGuiColorAlpha(uint16_t(chosen.red() << 8), uint16_t(chosen.green() << 8),
                            uint16_t(chosen.blue() << 8), 1.0f);
    return true;
}

bool QDDialogResponderQt::EditPreferences(bool& bShowWelcome, bool& bShowSaveWarning,
                                          bool& bKeepPhotoInformation)
{
    QDialog dialog(Parent());
    dialog.setWindowTitle("Quendrel Preferences");
    auto* column = new QVBoxLayout(&dialog);
    auto* pages = new QTabWidget(&dialog);
    auto* general = new QWidget;
    auto* generalColumn = new QVBoxLayout(general);
    auto* welcome = new QCheckBox("Show the welcome screen at start", general);
    auto* warning = new QCheckBox("Warn when saving a project with hidden layers", general);
    auto* keep = new QCheckBox("Keep photo information when saving", general);
    welcome->setChecked(bShowWelcome);
    warning->setChecked(bShowSaveWarning);
    keep->setChecked(bKeepPhotoInformation);
    generalColumn->addWidget(welcome);
    generalColumn->addWidget(warning);
    generalColumn->addWidget(keep);
    generalColumn->addStretch(1);
    pages->addTab(general, "General");
    for (const char* service : {"Flickr", "Facebook"})
    {
        auto* page = new QLabel(QString("%1 sharing is not available in this version.").arg(service));
        page->setAlignment(Qt::AlignCenter);
        pages->addTab(page, service);
        pages->setTabEnabled(pages->count() - 1, false);
    }
    column->addWidget(pages);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel, &dialog);
    column->addWidget(buttons);
    QObject::connect(buttons, &QDialogButtonBox::accepted, &dialog, &QDialog::accept);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    bShowWelcome = welcome->isChecked();
    bShowSaveWarning = warning->isChecked();
    bKeepPhotoInformation = keep->isChecked();
    return true;
}

int QDDialogResponderQt::ChooseItem(const char* title, const char* heading, const char* prompt,
                                    const std::vector<LDialogMenuItem>& items, bool* bShowAgain)
{
    QDialog dialog(Parent());
    dialog.setWindowTitle(QString::fromUtf8(title));
    auto* column = new QVBoxLayout(&dialog);
    if (heading && heading[0])
    {
        auto* h = new QLabel(QString::fromUtf8(heading), &dialog);
        QFont f = h->font();
        f.setPointSizeF(f.pointSizeF() * 1.4);
        h->setFont(f);
        column->addWidget(h);
    }
    if (prompt && prompt[0])
        column->addWidget(new QLabel(QString::fromUtf8(prompt), &dialog));
    int chosen = 0;
    for (const LDialogMenuItem& item : items)
    {
        auto* button = new QCommandLinkButton(QString::fromStdString(item.szTitle),
                                              QString::fromStdString(item.szDescription), &dialog);
        const int result = item.iResult;
        QObject::connect(button, &QCommandLinkButton::clicked, &dialog,
                         [&dialog, &chosen, result]
                         {
                             chosen = result;
                             dialog.accept();
                         });
        column->addWidget(button);
    }
    QCheckBox* again = nullptr;
    if (bShowAgain)
    {
        again = new QCheckBox("Show this again", &dialog);
        again->setChecked(*bShowAgain);
        column->addWidget(again);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, &dialog);
    QObject::connect(buttons, &QDialogButtonBox::rejected, &dialog, &QDialog::reject);
    column->addWidget(buttons);
    dialog.exec();
    if (again)
        *bShowAgain = again->isChecked();
    return chosen;
}

int QDDialogResponderQt::PopupMenu(const std::vector<LMenuItem>& items)
{
    QMenu menu(Parent());
    for (const LMenuItem& item : items)
    {
        if (item.iCommandId == 0)
        {
            menu.addSeparator();
            continue;
        }
        QAction* a = menu.addAction(QString::fromStdString(item.szText));
        a->setData(item.iCommandId);
        a->setEnabled(item.bEnabled);
    }
    QAction* chosen = menu.exec(QCursor::pos());
    return chosen ? chosen->data().toInt() : 0;
}

bool QDDialogResponderQt::AskNumber(const char* title, const char* prompt, const char* button, int minimum,
                                    int maximum, int& value)
{
    QInputDialog dialog(Parent());
    dialog.setWindowTitle(QString::fromUtf8(title));
    dialog.setLabelText(QString::fromUtf8(prompt));
    dialog.setOkButtonText(QString::fromUtf8(button));
    dialog.setInputMode(QInputDialog::IntInput);
    dialog.setIntRange(minimum, maximum);
    dialog.setIntValue(value);
    if (dialog.exec() != QDialog::Accepted)
        return false;
    value = dialog.intValue();
    return true;
}
