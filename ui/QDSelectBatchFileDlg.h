#pragma once
// Step 1 of the batch editor: the list of input files, from files and folders.

#include <QWizardPage>

class QListWidget;
class QPushButton;
class QDBatchStateData;

class QDSelectBatchFileDlg : public QWizardPage
{
    Q_OBJECT
public:
    QDSelectBatchFileDlg(QDBatchStateData& state, QWidget* parent = nullptr);

    // A file of a known format joins the list and its row is selected; any other is ignored.
    void AddFile(const char* path);
    // Every file under the folder, to any depth.
    void AddFolder(const char* path);
    void CmAddFile();
    void CmAddFolder();
    void CmRemove();

    void initializePage() override;
    bool isComplete() const override;

    QListWidget* lpList;
    QPushButton* lpAddFile;
    QPushButton* lpAddFolder;
    QPushButton* lpRemove;

private:
    void Rebuild();
    void EnableControls();

    QDBatchStateData& rState;
};
