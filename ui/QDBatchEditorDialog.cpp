#include "ui/QDBatchEditorDialog.h"

#include "batch/QDBatchState.h"
#include "ui/QDBatchProgressDlg.h"
#include "ui/QDSelectBatchEffectsDlg.h"
#include "ui/QDSelectBatchFileDlg.h"
#include "ui/QDSelectBatchOutputDlg.h"

QDBatchEditorDialog::QDBatchEditorDialog(QWidget* parent, QDBatchStateData& state)
    : QWizard(parent), rState(state)
{
    setWindowTitle(QStringLiteral("Batch Editor"));
    setWizardStyle(QWizard::ModernStyle);
    setOption(QWizard::NoBackButtonOnLastPage);
    setOption(QWizard::NoCancelButtonOnLastPage);
    resize(720, 560);
    state.hwndParent = this;
    lpFilePage = new QDSelectBatchFileDlg(state, this);
    lpEffectPage = new QDSelectBatchEffectsDlg(state, this);
    lpOutputPage = new QDSelectBatchOutputDlg(state, this);
    lpProcessPage = new QDBatchProgressDlg(state, this);
    setPage(PageFile, lpFilePage);
    setPage(PageEffect, lpEffectPage);
    setPage(PageFormat, lpOutputPage);
    setPage(PageProcess, lpProcessPage);
    setStartId(PageFile);
}

int QDBatchEditorDialog::Open(QWidget* parent, QDBatchStateData& state)
{
    QDBatchEditorDialog wizard(parent, state);
    const int result = wizard.exec();
    state.hwndParent = parent;
    return result;
}

void QDBatchEditorDialog::reject()
{
    // Nothing closes the wizard while the batch runs.
    if (lpProcessPage->IsRunning())
        return;
    QWizard::reject();
}
