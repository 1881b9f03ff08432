#include "ui/LFileChooser.h"

#include <QFileDialog>

#include <atomic>

namespace
{
std::atomic<LFileChooserResponder*> glpResponder{nullptr};
}

LFileChooserResponder* LSetFileChooserResponder(LFileChooserResponder* responder)
{
    return glpResponder.exchange(responder);
}

bool LFileChooserRun(QWidget* parent, const LFileChooserRequest& request, std::vector<std::string>& paths)
{
    paths.clear();
    if (LFileChooserResponder* r = glpResponder.load())
        return r->Choose(request, paths) && !paths.empty();

    QFileDialog dialog(parent, QString::fromStdString(request.szTitle),
                       QString::fromStdString(request.szStartFolder),
                       QString::fromStdString(request.szFilter));
    switch (request.eKind)
    {
    case LFileChooserOpenOne:
        dialog.setFileMode(QFileDialog::ExistingFile);
        break;
    case LFileChooserOpenMany:
        dialog.setFileMode(QFileDialog::ExistingFiles);
        break;
    case LFileChooserSave:
        dialog.setAcceptMode(QFileDialog::AcceptSave);
        dialog.setFileMode(QFileDialog::AnyFile);
        if (!request.bConfirmOverwrite)
            dialog.setOption(QFileDialog::DontConfirmOverwrite);
        break;
    case LFileChooserFolder:
        dialog.setFileMode(QFileDialog::Directory);
        dialog.setOption(QFileDialog::ShowDirsOnly);
        break;
    }
    if (!request.szDefaultSuffix.empty())
        dialog.setDefaultSuffix(QString::fromStdString(request.szDefaultSuffix));
    if (!request.szProposedName.empty())
        dialog.selectFile(QString::fromStdString(request.szProposedName));
    if (dialog.exec() != QDialog::Accepted)
        return false;
    for (const QString& f : dialog.selectedFiles())
        paths.push_back(f.toStdString());
    return !paths.empty();
}

std::string LFileChooserCodecFilter(LImageIOType type, const LImageCodecVetoer* vetoer)
{
    LImageCodecFilterList list;
    std::string unused, filter;
    if (!list.Init(unused, type, vetoer))
        return filter;
    for (int i = 1; i <= list.GetCount(); ++i)
    {
        const LImageCodecFilterItem& item = list.GetItem(i);
        std::string patterns = item.szExtensions;
        for (char& c : patterns)
            if (c == ';')
                c = ' ';
        if (!filter.empty())
            filter += ";;";
        // The registry's label already names the patterns; the chooser reads them with blanks.
        const size_t open = item.szLabel.rfind(" (");
        filter +=
            (item.codec < 0 || open == std::string::npos ? item.szLabel : item.szLabel.substr(0, open)) +
            " (" + patterns + ")";
    }
    return filter;
}
