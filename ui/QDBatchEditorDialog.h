#pragma once
// "Batch Editor": the wizard that applies one list of effects to many files. Step 1 chooses the
// files, step 2 the effects (kept as a ".qdb" script, with a live preview on one of the files),
// step 3 the output format and folder, and the last page runs the batch on a process thread.
//
// The controller's entry point is QDBatchEditorDialog::Open, on its batch state (which it has
// filled with QDBatchStateInitFromCatalogue); the state keeps the files, effects and script
// between openings.

#include <QWizard>

class QDBatchStateData;
class QDSelectBatchFileDlg;
class QDSelectBatchEffectsDlg;
class QDSelectBatchOutputDlg;
class QDBatchProgressDlg;

class QDBatchEditorDialog : public QWizard
{
    Q_OBJECT
public:
    enum PageId
    {
        PageFile = 0,
        PageEffect = 1,
        PageFormat = 2,
        PageProcess = 3,
    };

    QDBatchEditorDialog(QWidget* parent, QDBatchStateData& state);

    // Runs the wizard modally; the QDialog result.
    static int Open(QWidget* parent, QDBatchStateData& state);

    QDBatchStateData& GetState() const { return rState; }
    QDSelectBatchFileDlg* lpFilePage;
    QDSelectBatchEffectsDlg* lpEffectPage;
    QDSelectBatchOutputDlg* lpOutputPage;
    QDBatchProgressDlg* lpProcessPage;

protected:
    void reject() override;

private:
    QDBatchStateData& rState;
};
