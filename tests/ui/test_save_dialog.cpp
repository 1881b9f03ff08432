// The save dialog on the offscreen platform: the formats it offers, the controls each shows, the
// projected size against the file then written, a failed preview putting the control back, and
// the two panes zooming, panning and showing the loupe together.

#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QSlider>
#include <QTest>
#include <QWheelEvent>

#include <fstream>
#include <iterator>

#include "batch_ui_support.h"
#include "document/QDProject.h"
#include "foundation/LFileSize.h"
#include "ui/QDSaveAsDialog.h"

using namespace batch_ui;

namespace
{
std::shared_ptr<LImageBuffer> Photo(int w, int h)
{
    auto image = std::make_shared<LImageBuffer>();
    LImage::New(*image, w, h, B8G8R8A8);
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
        {
            uint8_t* p = image->GetRow(y) + 4 * x;
            p[0] = uint8_t(x * 255 / w);
            p[1] = uint8_t(y * 255 / h);
            p[2] = uint8_t((x * y) & 255);
            p[3] = 255;
        }
    return image;
}

std::vector<uint8_t> ReadAll(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    return std::vector<uint8_t>(std::istreambuf_iterator<char>(in), {});
}

class SaveAsDialogTest : public ::testing::Test
{
protected:
    void SetUp() override
    {
        TestApp();
        QDSaveAsDialog::iLastFormatIndex = -1;
        QDSaveAsDialog::bFastGif = true;
        QDSaveAsDialog::bDither = false;
    }
    void Select(QDSaveAsDialog& d, const char* name)
    {
        const int index = d.lpFormat->findText(QString::fromUtf8(name), Qt::MatchStartsWith);
        ASSERT_GE(index, 0) << name;
        d.lpFormat->setCurrentIndex(index);
        ASSERT_TRUE(d.WaitForPreview(60000));
    }
    Folder dir;
    Alerts alerts;
    Choosers choosers;
};
} // namespace

TEST_F(SaveAsDialogTest, FormatsControlsAndTheSizeOfTheFileWritten)
{
    QDProject project(320, 240);
    project.SetFilePath("/pictures/holiday.png");
    QDSaveAsDialog d(nullptr, &project, Photo(320, 240));
    d.InitDialog();
    d.show();
    QStringList formats;
    for (int i = 0; i < d.lpFormat->count(); ++i)
        formats << d.lpFormat->itemText(i);
    EXPECT_EQ(formats, QStringList({".BMP (Microsoft Bitmap)", ".GIF (Graphics Interchange Format)",
                                    ".JPEG (Joint Photographic Experts Group)",
                                    ".PNG (Portable Network Graphics)", ".TIFF (Tagged Image File Format)"}));
    EXPECT_EQ(d.lpFormat->currentIndex(), 2);
    EXPECT_EQ(d.lpQuality->value(), 100);
    ASSERT_TRUE(d.WaitForPreview(60000));
    EXPECT_TRUE(d.lpQuality->isVisible());
    EXPECT_FALSE(d.lpFastGif->isVisible());
    EXPECT_EQ(d.lpPreview->GetCaption(), "JPEG Preview - 100 Quality");
    EXPECT_EQ(d.lpOriginal->GetCaption(), "Original Image");
    char size[128];
    LFile::GetSizeFormattedBytes(size, sizeof(size), d.GetProjectedFile().size());
    EXPECT_EQ(d.lpSize->text(), QString("Projected File Size: ") + size);

    // A key on the slider settles after the pause; the size follows.
    const size_t at100 = d.GetProjectedFile().size();
    d.lpQuality->setValue(40);
    EXPECT_TRUE(d.IsPreviewBusy() || d.lpPreview->GetCaption() == "JPEG Preview - 100 Quality");
    ASSERT_TRUE(d.WaitForPreview(60000));
    EXPECT_EQ(d.lpPreview->GetCaption(), "JPEG Preview - 40 Quality");
    EXPECT_LT(d.GetProjectedFile().size(), at100);

    Select(d, ".GIF");
    EXPECT_FALSE(d.lpQuality->isVisible());
    EXPECT_TRUE(d.lpFastGif->isVisible() && d.lpDither->isVisible());
    EXPECT_TRUE(d.lpFastGif->isChecked());
    EXPECT_FALSE(d.lpDither->isEnabled());
    d.lpFastGif->setChecked(false);
    ASSERT_TRUE(d.WaitForPreview(60000));
    EXPECT_TRUE(d.lpDither->isEnabled());
    Select(d, ".PNG");
    EXPECT_FALSE(d.lpQuality->isVisible() || d.lpFastGif->isVisible());
    EXPECT_EQ(d.lpPreview->GetCaption(), "PNG Preview");

    // Saved under a name typed without its extension: the format's is added, and the file is the
    // projected one, byte for byte.
    choosers.qAnswers.push_back({dir / "saved"});
    ASSERT_TRUE(d.CmFileName());
    ASSERT_EQ(choosers.vAsked.size(), 1u);
    EXPECT_EQ(choosers.vAsked[0].szTitle, "Save File...");
    EXPECT_EQ(choosers.vAsked[0].szFilter, "Portable Network Graphics (*.png)");
    EXPECT_EQ(choosers.vAsked[0].szStartFolder, "/pictures");
    EXPECT_EQ(choosers.vAsked[0].szProposedName, "holiday.png");
    const std::vector<uint8_t> written = ReadAll(dir / "saved.png");
    EXPECT_EQ(written, d.GetProjectedFile());
    EXPECT_STREQ(project.szFilePath, (dir / "saved.png").c_str());
    EXPECT_STREQ(project.szName, "saved.png");
    EXPECT_EQ(d.result(), QDialog::Accepted);
    EXPECT_TRUE(alerts.vShown.empty());
    // The next opening starts with the format last used.
    EXPECT_EQ(QDSaveAsDialog::iLastFormatIndex, 3);
}

TEST_F(SaveAsDialogTest, AFailedPreviewPutsTheControlBack)
{
    // No GIF is 65536 pixels wide; a BMP can be.
    QDSaveAsDialog::iLastFormatIndex = 0;
    QDSaveAsDialog d(nullptr, nullptr, Photo(65536, 2));
    d.InitDialog();
    ASSERT_TRUE(d.WaitForPreview(60000));
    const auto good = d.GetProjectedFile();
    Select(d, ".GIF");
    EXPECT_EQ(alerts.vShown,
              std::vector<std::string>{"Preview Failed|Failed to create a preview in the specified format."});
    EXPECT_TRUE(d.lpFormat->currentText().startsWith(".BMP"));
    EXPECT_FALSE(d.lpFastGif->isVisible());
    EXPECT_EQ(d.GetProjectedFile(), good);
    EXPECT_EQ(d.lpPreview->GetCaption(), "BMP Preview");

    // A save that can't be made says so and writes nothing.
    alerts.vShown.clear();
    EXPECT_FALSE(d.Save((dir / "missing/x.jpg").c_str()));
    EXPECT_EQ(alerts.vShown,
              std::vector<std::string>{"Save Failed|Failed to save image in the specified format."});
}

TEST_F(SaveAsDialogTest, ANewerChoiceSupersedesAPreviewUnderWay)
{
    QDSaveAsDialog d(nullptr, nullptr, Photo(1200, 900));
    d.InitDialog();
    // While JPEG is under way, PNG then BMP are chosen: BMP's preview is the one shown.
    d.lpFormat->setCurrentIndex(d.lpFormat->findText(".PNG", Qt::MatchStartsWith));
    d.lpFormat->setCurrentIndex(d.lpFormat->findText(".BMP", Qt::MatchStartsWith));
    ASSERT_TRUE(d.WaitForPreview(60000));
    EXPECT_EQ(d.lpPreview->GetCaption(), "BMP Preview");
    EXPECT_EQ(d.GetFormat().codec.id, LImageCodecBMP);
    ASSERT_GT(d.GetProjectedFile().size(), 2u);
    EXPECT_EQ(d.GetProjectedFile()[0], 'B');
    EXPECT_EQ(d.GetProjectedFile()[1], 'M');
}

TEST_F(SaveAsDialogTest, ThePanesZoomPanAndShowTheLoupeTogether)
{
    auto image = Photo(1600, 1200);
    QDSaveAsDialog d(nullptr, nullptr, image);
    d.resize(1000, 600);
    d.InitDialog();
    d.show();
    ASSERT_TRUE(d.WaitForPreview(60000));
    QDSavePreview* left = d.lpOriginal;
    QDSavePreview* right = d.lpPreview;
    const double fit = left->GetFitScale();
    ASSERT_LT(fit, 1.0);

    // The wheel over the right pane zooms both about the point under the mouse.
    const QPointF at(right->width() / 3.0, right->height() / 2.0);
    const QPointF under = right->WidgetToImage(at);
    QWheelEvent wheel(at, right->mapToGlobal(at), QPoint(), QPoint(0, 360), Qt::NoButton, Qt::NoModifier,
                      Qt::NoScrollPhase, false);
    QCoreApplication::sendEvent(right, &wheel);
    EXPECT_NEAR(right->GetScale(), fit * 1.25 * 1.25 * 1.25, 1e-9);
    EXPECT_EQ(left->GetScale(), right->GetScale());
    EXPECT_NEAR(right->WidgetToImage(at).x(), under.x(), 1e-6);
    EXPECT_NEAR(right->WidgetToImage(at).y(), under.y(), 1e-6);

    // A drag on the left pane moves both views by the same picture distance.
    const QPointF before = right->WidgetToImage(QPointF(10, 10));
    QTest::mousePress(left, Qt::LeftButton, Qt::NoModifier, QPoint(200, 200));
    QTest::mouseMove(left, QPoint(160, 170));
    QTest::mouseRelease(left, Qt::LeftButton, Qt::NoModifier, QPoint(160, 170));
    const QPointF after = right->WidgetToImage(QPointF(10, 10));
    EXPECT_NEAR(after.x() - before.x(), 40 / right->GetScale(), 1e-6);
    EXPECT_NEAR(after.y() - before.y(), 30 / right->GetScale(), 1e-6);

    // Back to fit, the loupe over one pane shows the full picture's pixels in both.
    QTest::mouseDClick(left, Qt::LeftButton);
    EXPECT_EQ(left->GetScale(), fit);
    const QPoint mouse = left->ImageToWidget(QPointF(700.5, 500.5)).toPoint();
    QTest::mouseMove(left, mouse);
    ASSERT_TRUE(d.GetView().bLoupe);
    const QPointF point = d.GetView().ptLoupe;
    EXPECT_NEAR(point.x(), 700.5, 1 / fit);
    EXPECT_NEAR(point.y(), 500.5, 1 / fit);
    const QImage loupe = left->GetLoupeImage();
    ASSERT_EQ(loupe.size(), QSize(100, 100));
    const int px = int(point.x()), py = int(point.y());
    const uint8_t* p = image->GetRow(py) + 4 * px;
    EXPECT_EQ(loupe.pixelColor(50, 50), QColor(p[2], p[1], p[0]));
    // The other pane shows the same place of its own picture, the decoded JPEG.
    const QColor there = right->GetLoupeImage().pixelColor(50, 50);
    EXPECT_NEAR(there.red(), p[2], 6);
    EXPECT_NEAR(there.green(), p[1], 6);
    // Near an edge the box stays inside the picture.
    QTest::mouseMove(left, left->ImageToWidget(QPointF(3, 3)).toPoint());
    const uint8_t* corner = image->GetRow(0);
    EXPECT_EQ(left->GetLoupeImage().pixelColor(0, 0), QColor(corner[2], corner[1], corner[0]));
}
