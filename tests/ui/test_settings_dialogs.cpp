// The encode-settings dialogs on the offscreen platform: texts, ranges, which controls are live,
// and what Save and Cancel do to the settings.

#include <gtest/gtest.h>

#include <QApplication>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QLabel>
#include <QPushButton>
#include <QRadioButton>
#include <QSlider>
#include <QTimer>

#include "ui_support.h"
#include "codecs/LImageEncodeSettingsDialog.h"
#include "ui/LImageEncodeSettingsAVIFDlg.h"
#include "ui/LImageEncodeSettingsBMPDlg.h"
#include "ui/LImageEncodeSettingsJPEG2000Dlg.h"
#include "ui/LImageEncodeSettingsJPEGDlg.h"
#include "ui/LImageEncodeSettingsJXLDlg.h"
#include "ui/LImageEncodeSettingsPNMDlg.h"
#include "ui/LImageEncodeSettingsWebPDlg.h"

namespace
{

QStringList Labels(const QWidget& w)
{
    QStringList out;
    for (const QLabel* l : w.findChildren<QLabel*>())
        out << l->text();
    return out;
}

QStringList ButtonTexts(const LImageEncodeSettingsDlg& d)
{
    QStringList out;
    for (QAbstractButton* b : d.GetButtons()->buttons())
        out << b->text();
    return out;
}

void Click(const LImageEncodeSettingsDlg& d, const QString& text)
{
    for (QAbstractButton* b : d.GetButtons()->buttons())
        if (b->text() == text)
            b->click();
}
} // namespace

TEST(EncodeSettingsDialogs, JPEGAndWebPQuality)
{
    TestApp();
    LCODEC_JPEG_EncodeSettings jpeg;
    jpeg.iQuality = 40;
    LImageEncodeSettingsJPEGDlg d(nullptr, jpeg);
    EXPECT_EQ(d.windowTitle(), "JPEG Compression Settings");
    EXPECT_STREQ(d.GetHelpTopic(), "imageencodesettings_jpeg");
    EXPECT_EQ(ButtonTexts(d), QStringList({"Save", "Cancel"}));
    for (const char* text : {"Quality:", "Low", "High"})
        EXPECT_TRUE(Labels(d).contains(text)) << text;
    QSlider* q = d.GetWindow()->lpQuality;
    EXPECT_EQ(q->minimum(), 0);
    EXPECT_EQ(q->maximum(), 100);
    EXPECT_EQ(q->value(), 40);
    q->setValue(77);
    Click(d, "Cancel");
    EXPECT_EQ(jpeg.iQuality, 40);
    Click(d, "Save");
    EXPECT_EQ(jpeg.iQuality, 77);

    LCODEC_WebP_EncodeSettings webp;
    LImageEncodeSettingsWebPDlg w(nullptr, webp);
    EXPECT_EQ(w.windowTitle(), "WebP Compression Settings");
    EXPECT_STREQ(w.GetHelpTopic(), "imageencodesettings_webp");
    EXPECT_EQ(w.GetWindow()->lpQuality->minimum(), 1);
    EXPECT_EQ(w.GetWindow()->lpQuality->maximum(), 100);
    EXPECT_EQ(w.GetWindow()->lpQuality->value(), 90);
    w.GetWindow()->lpQuality->setValue(0); // below the range: the slider keeps 1
    Click(w, "Save");
    EXPECT_EQ(webp.iQuality, 1);
}

TEST(EncodeSettingsDialogs, JPEG2000RateOnlyWhenLossy)
{
    TestApp();
    LCODEC_JPEG2000_EncodeSettings s;
    s.iMode = 0;
    s.iQuality = 150; // outside the range: shown and read back as 90
    LImageEncodeSettingsJPEG2000Dlg d(nullptr, s);
    EXPECT_EQ(d.windowTitle(), "JPEG 2000 Compression Settings");
    EXPECT_STREQ(d.GetHelpTopic(), "imageencodesettings_jpeg2000");
    LImageEncodeSettingsJPEG2000Window* w = d.GetWindow();
    EXPECT_EQ(w->lpLossless->text(), "Lossless compression");
    EXPECT_EQ(w->lpLossy->text(), "Lossy compression");
    EXPECT_TRUE(Labels(d).contains("Compression Rate:"));
    EXPECT_TRUE(w->lpLossless->isChecked());
    EXPECT_FALSE(w->lpRate->isEnabled());
    EXPECT_EQ(w->lpRate->value(), 90);
    w->lpLossy->setChecked(true);
    EXPECT_TRUE(w->lpRate->isEnabled());
    w->lpRate->setValue(35);
    Click(d, "Save");
    EXPECT_EQ(s.iMode, 1);
    EXPECT_EQ(s.iQuality, 35);
    w->lpLossless->setChecked(true);
    EXPECT_FALSE(w->lpRate->isEnabled());
    Click(d, "Save");
    EXPECT_EQ(s.iMode, 0);
}

TEST(EncodeSettingsDialogs, ModernFormats)
{
    TestApp();
    LCODEC_AVIF_EncodeSettings avif;
    avif.iSpeed = 40; // out of range: shown at the end of the slider
    LImageEncodeSettingsAVIFDlg a(nullptr, avif);
    EXPECT_EQ(a.windowTitle(), "AVIF Compression Settings");
    EXPECT_EQ(a.GetWindow()->lpQuality->value(), 60);
    EXPECT_EQ(a.GetWindow()->lpSpeed->value(), 10);
    a.GetWindow()->lpQuality->setValue(100);
    Click(a, "Cancel");
    EXPECT_EQ(avif.iQuality, 60);
    a.GetWindow()->lpQuality->setValue(100);
    Click(a, "Save");
    EXPECT_EQ(avif.iQuality, 100);
    EXPECT_EQ(avif.iSpeed, 10);

    LCODEC_JXL_EncodeSettings jxl;
    LImageEncodeSettingsJXLDlg j(nullptr, jxl);
    EXPECT_EQ(j.windowTitle(), "JPEG XL Compression Settings");
    LImageEncodeSettingsJXLWindow* w = j.GetWindow();
    EXPECT_TRUE(w->lpLossy->isChecked());
    EXPECT_EQ(w->lpQuality->maximum(), 99);
    w->lpLossless->setChecked(true);
    EXPECT_FALSE(w->lpQuality->isEnabled());
    Click(j, "Save");
    EXPECT_EQ(jxl.iMode, 0);

    LCODEC_HEIC_EncodeSettings heic;
    LImageEncodeSettingsHEICDlg h(nullptr, heic);
    EXPECT_EQ(h.windowTitle(), "HEIC Compression Settings");
    h.GetWindow()->lpQuality->setValue(42);
    Click(h, "Save");
    EXPECT_EQ(heic.iQuality, 42);
}

TEST(EncodeSettingsDialogs, BMPAndPNMLists)
{
    TestApp();
    LCODEC_BMP_EncodeSettings bmp;
    bmp.BackgroundColour = LPixelColour(1, 2, 3, 4);
    LImageEncodeSettingsBMPDlg b(nullptr, bmp);
    EXPECT_EQ(b.windowTitle(), "BMP Encoding Settings");
    EXPECT_STREQ(b.GetHelpTopic(), "imageencodesettings_bmp");
    EXPECT_TRUE(Labels(b).contains("Pixel Format:"));
    QComboBox* pf = b.GetWindow()->lpPixelFormat;
    ASSERT_EQ(pf->count(), 2);
    EXPECT_EQ(pf->itemText(0), "24 bits (True color)");
    EXPECT_EQ(pf->itemText(1), "32 bits (True color with transparency)");
    pf->setCurrentIndex(1);
    Click(b, "Save");
    EXPECT_EQ(bmp.PixelFormat, 1);
    EXPECT_EQ(bmp.BackgroundColour, LPixelColour(1, 2, 3, 4));

    LCODEC_PNM_EncodeSettings pnm;
    LImageEncodeSettingsPNMDlg p(nullptr, pnm);
    EXPECT_EQ(p.windowTitle(), "PNM Encoding Settings");
    EXPECT_STREQ(p.GetHelpTopic(), "imageencodesettings_pnm");
    EXPECT_TRUE(Labels(p).contains("PNM Format:"));
    EXPECT_TRUE(Labels(p).contains("Binary threshold:"));
    LImageEncodeSettingsPNMWindow* w = p.GetWindow();
    const QStringList names = {"Monochrome Plain",  "Greyscale Plain",  "RGB Plain",
                               "Monochrome Binary", "Grayscale Binary", "RGB Binary"};
    ASSERT_EQ(w->lpType->count(), 6);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(w->lpType->itemText(i), names[i]);
    EXPECT_EQ(w->lpType->currentIndex(), 5);
    EXPECT_EQ(w->lpThreshold->maximum(), 255);
    EXPECT_EQ(w->lpThreshold->value(), 32);
    for (int i = 0; i < 6; ++i)
    {
        w->lpType->setCurrentIndex(i);
        EXPECT_EQ(w->lpThreshold->isEnabled(), i == 0 || i == 3) << i;
    }
    w->lpType->setCurrentIndex(3);
    w->lpThreshold->setValue(200);
    Click(p, "Save");
    EXPECT_EQ(pnm.iType, 3);
    EXPECT_EQ(pnm.iBinThreshold, 200);
}

TEST(EncodeSettingsDialogs, OpenByCodec)
{
    QApplication& app = TestApp();
    LImageEncodeSettings settings;
    // No dialog: confirmed at once.
    EXPECT_TRUE(LImageEncodeSettingsDialogOpen(nullptr, LImageCodec(LImageCodecPNG), settings));
    auto answer = [&app](const QString& button, int quality)
    {
        QTimer::singleShot(0, &app,
                           [button, quality]
                           {
                               auto* d = qobject_cast<LImageEncodeSettingsJPEGDlg*>(
                                   QApplication::activeModalWidget());
                               ASSERT_NE(d, nullptr);
                               d->GetWindow()->lpQuality->setValue(quality);
                               Click(*d, button);
                           });
    };
    answer("Cancel", 10);
    EXPECT_FALSE(LImageEncodeSettingsDialogOpen(nullptr, LImageCodec(LImageCodecJPEG), settings));
    EXPECT_EQ(settings.jpeg.iQuality, 100);
    answer("Save", 60);
    EXPECT_TRUE(LImageEncodeSettingsDialogOpen(nullptr, LImageCodec(LImageCodecJPEG), settings));
    EXPECT_EQ(settings.jpeg.iQuality, 60);
}
