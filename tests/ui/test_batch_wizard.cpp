// The batch editor driven by clicks and keys on the offscreen platform: a list built, saved and
// run in the wizard gives the very files the command line makes from the saved script, the
// output step's questions hold the wizard back, and Stop gets through to a run under way.

#include <gtest/gtest.h>

#include <QAbstractButton>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QPushButton>
#include <QRadioButton>
#include <QTest>

#include <fstream>
#include <iterator>

#include "batch/QDBatchState.h"
#include "batch_ui_support.h"
#include "cli/cli_support.h"
#include "codecs/LImage.h"
#include "effects/QDEffectCatalogue.h"
#include "ui/QDBatchEditorDialog.h"
#include "ui/QDBatchEffectDialogs.h"
#include "ui/QDBatchProgressDlg.h"
#include "ui/QDSelectBatchEffectsDlg.h"
#include "ui/QDSelectBatchFileDlg.h"
#include "ui/QDSelectBatchOutputDlg.h"

using namespace batch_ui;

namespace
{
std::vector<uint8_t> Bytes(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

class BatchWizard : public ::testing::Test
{
protected:
    void SetUp() override
    {
        TestApp();
        catalogue.Register();
        QDBatchStateInitFromCatalogue(state, catalogue);
    }
    void Photo(const std::string& name, int w = 160, int h = 120)
    {
        LImageBuffer image;
        LImage::New(image, w, h, B8G8R8A8);
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x)
            {
                uint8_t* p = image.GetRow(y) + 4 * x;
                p[0] = uint8_t(x * 255 / w);
                p[1] = uint8_t(((x / 8 + y / 8) & 1) * 200);
                p[2] = uint8_t(y * 255 / h);
                p[3] = 255;
            }
        ASSERT_TRUE(LImage::Save(image, (dir / name).c_str()));
    }
    static void Click(QAbstractButton* button)
    {
        ASSERT_TRUE(button->isEnabled()) << button->text().toStdString();
        QTest::mouseClick(button, Qt::LeftButton);
    }
    void Next(QDBatchEditorDialog& w) { Click(w.button(QWizard::NextButton)); }
    // Picks the named rows of the chooser of effects with the mouse, then OK.
    static void ChooseEffects(const QStringList& names)
    {
        WhenShown<QDSelectEffectDlg>(
            [names](QDSelectEffectDlg* d)
            {
                for (const QString& name : names)
                {
                    const QList<QListWidgetItem*> rows = d->lpList->findItems(name, Qt::MatchExactly);
                    if (rows.size() != 1)
                    {
                        ADD_FAILURE() << name.toStdString() << " is not offered";
                        d->reject();
                        return;
                    }
                    QTest::mouseClick(d->lpList->viewport(), Qt::LeftButton, Qt::ControlModifier,
                                      d->lpList->visualItemRect(rows.front()).center());
                }
                QTest::mouseClick(d->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Ok),
                                  Qt::LeftButton);
            });
    }

    QDEffectCatalogue catalogue;
    QDBatchStateData state;
    Folder dir;
    Alerts alerts;
    Choosers choosers;
};
} // namespace

TEST_F(BatchWizard, TheSavedListRunsTheSameFromTheCommandLine)
{
    Photo("a.jpg");
    Photo("b.png", 90, 140);
    QDBatchEditorDialog wizard(nullptr, state);
    wizard.show();

    ASSERT_FALSE(wizard.button(QWizard::NextButton)->isEnabled());
    choosers.qAnswers.push_back({dir / "a.jpg", dir / "notes.txt", dir / "b.png"});
    Click(wizard.lpFilePage->lpAddFile);
    ASSERT_EQ(wizard.lpFilePage->lpList->count(), 2); // the text file is ignored
    Next(wizard);

    // The preview shows the first file, and the list's effect on it once effects are added.
    QDSelectBatchEffectsDlg& effects = *wizard.lpEffectPage;
    ASSERT_TRUE(effects.lpPreview->GetInput().IsValid());
    const QImage before = effects.lpPreview->GetOutput();
    ChooseEffects({"Blur", "Sharpen"});
    Click(effects.lpAdd);
    ASSERT_EQ(effects.lpList->count(), 2);
    EXPECT_EQ(effects.lpList->item(0)->text(), "Blur");
    EXPECT_NE(effects.lpPreview->GetOutput(), before);

    choosers.qAnswers.push_back({dir / "list.qdb"});
    Click(effects.lpSaveAs);
    EXPECT_EQ(effects.lpScriptName->text(), "list.qdb");
    Next(wizard);

    QDSelectBatchOutputDlg& output = *wizard.lpOutputPage;
    Click(output.lpConvert);
    output.lpCodecs->setCurrentIndex(output.lpCodecs->findText("PNG", Qt::MatchStartsWith));
    Click(output.lpUseFolder);
    QTest::keyClicks(output.lpFolder, QString::fromStdString(dir / "out"));
    alerts.qAnswers.push_back("Create");
    Next(wizard);
    ASSERT_EQ(wizard.currentId(), QDBatchEditorDialog::PageProcess);

    ASSERT_TRUE(WaitUntil([&] { return wizard.lpProcessPage->IsFinished(); }));
    EXPECT_EQ(wizard.lpProcessPage->GetResult(), LProcessResultSuccess);
    EXPECT_TRUE(wizard.button(QWizard::FinishButton)->isEnabled());
    ASSERT_EQ(alerts.vShown.size(), 1u); // only the folder's creation was asked

    const cli_test::RunResult cli =
        cli_test::RunCommand("cd '" + dir.szPath + "' && " + QUENDREL_BINARY_DIR +
                             "/cli/quendrel-cli batch list.qdb --out cli --format png a.jpg b.png 2>&1");
    ASSERT_EQ(cli.iStatus, 0) << cli.szOutput;
    for (const char* name : {"a.png", "b.png"})
    {
        const std::vector<uint8_t> wizardOut = Bytes(dir / ("out/" + std::string(name)));
        ASSERT_FALSE(wizardOut.empty()) << name;
        EXPECT_EQ(wizardOut, Bytes(dir / ("cli/" + std::string(name)))) << name;
    }
}

TEST_F(BatchWizard, TheOutputQuestionsHoldTheWizardAndStopGetsThrough)
{
    std::vector<std::string> files;
    for (const char* name : {"p1.png", "p2.png", "p3.png", "p4.png", "p5.png", "p6.png"})
    {
        Photo(name, 450, 350);
        files.push_back(dir / name);
    }
    ASSERT_EQ(cli_test::RunCommand("cd '" + dir.szPath + "' && " + QUENDREL_BINARY_DIR +
                                   "/cli/quendrel-cli batch --write-script slow.qdb blur:radius=60 "
                                   "noise blur:radius=40 >/dev/null 2>&1")
                  .iStatus,
              0);
    std::filesystem::create_directory(dir / "out");
    std::ofstream(dir / "out/p6.png") << "older";
    state.iConcurrentFiles = 1;
    QDBatchEditorDialog wizard(nullptr, state);
    wizard.show();
    choosers.qAnswers.push_back(files);
    Click(wizard.lpFilePage->lpAddFile);
    Next(wizard);
    choosers.qAnswers.push_back({dir / "slow.qdb"});
    Click(wizard.lpEffectPage->lpOpen);
    ASSERT_EQ(wizard.lpEffectPage->lpList->count(), 3);
    Next(wizard);

    QDSelectBatchOutputDlg& output = *wizard.lpOutputPage;
    Click(output.lpSameFormat);
    Click(output.lpUseFolder);
    output.lpFolder->clear();
    Next(wizard);
    ASSERT_EQ(alerts.vShown.back(),
              "Quendrel Image Editor|Invalid output folder. Please select a folder to save to.");
    ASSERT_EQ(wizard.currentId(), QDBatchEditorDialog::PageFormat);
    QTest::keyClicks(output.lpFolder, QString::fromStdString(dir / "out"));
    alerts.qAnswers = {"No"};
    Next(wizard);
    ASSERT_NE(alerts.vShown.back().find("already exist in this location"), std::string::npos);
    ASSERT_EQ(wizard.currentId(), QDBatchEditorDialog::PageFormat);
    alerts.qAnswers = {"Yes"};
    Next(wizard);
    ASSERT_EQ(wizard.currentId(), QDBatchEditorDialog::PageProcess);

    // The run serves events while it works: stop once the first file is in place, after trying
    // to close the wizard, which nothing does meanwhile.
    QDBatchProgressDlg& page = *wizard.lpProcessPage;
    bool stillShown = false;
    QTimer poll;
    QObject::connect(&poll, &QTimer::timeout,
                     [&]
                     {
                         if (!page.IsRunning() || !std::filesystem::exists(dir / "out/p1.png"))
                             return;
                         poll.stop();
                         QTest::keyClick(&wizard, Qt::Key_Escape);
                         stillShown = wizard.isVisible();
                         Click(page.lpStop);
                     });
    poll.start(5);
    ASSERT_TRUE(WaitUntil([&] { return page.IsFinished(); }));
    EXPECT_TRUE(stillShown);
    EXPECT_EQ(page.GetResult(), LProcessResultCancelled);
    EXPECT_EQ(alerts.vShown.back(),
              "Batch Editor|Batch process stopped. Some images may not have been processed.");

    // Whole files only: each output decodes, the one not reached keeps its old bytes, no
    // temporary file is left.
    EXPECT_EQ(Bytes(dir / "out/p6.png"), std::vector<uint8_t>({'o', 'l', 'd', 'e', 'r'}));
    for (const auto& entry : std::filesystem::directory_iterator(dir / "out"))
    {
        const std::string name = entry.path().filename().string();
        ASSERT_EQ(name.size(), 6u) << name;
        LImageBuffer decoded;
        if (name != "p6.png")
        {
            EXPECT_TRUE(LImage::Load(decoded, entry.path().c_str())) << name;
        }
    }
}
