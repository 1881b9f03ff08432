// The registry: codec choice by name, what the vetoers allow, the dialog filter list, the
// messages of load and save, the safety of saving over an existing file, and the persisted
// encode settings.

#include "codec_support.h"

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include "codecs/LImage.h"
#include "codecs/LImageProcess.h"

using namespace codec_test;

TEST(Registry, CodecIsChosenByExtensionAlone)
{
    LImageCodec c;
    const std::pair<const char*, int> known[] = {{"/x/PHOTO.JPG", LImageCodecJPEG},
                                                 {"photo.jpeg", LImageCodecJPEG},
                                                 {"a.b/Shot.NEF", LImageCodecRawNikon},
                                                 {"scan.TiFf", LImageCodecTIFF},
                                                 {"IMG_1.HEIC", LImageCodecHEIC},
                                                 {"x.heif", LImageCodecHEIC},
                                                 {"x.avif", LImageCodecAVIF},
                                                 {"x.jxl", LImageCodecJXL}};
    for (const auto& [path, id] : known)
    {
        EXPECT_TRUE(c.InitFromFilePath(path)) << path;
        EXPECT_EQ(c.id, id) << path;
    }
    for (const char* bad : {"photo.jpe", "photo", "/dir.jpg/photo", "photo.", ".bmp", "x.jpg.bak"})
    {
        SCOPED_TRACE(bad);
        EXPECT_FALSE(c.InitFromFilePath(bad));
        EXPECT_EQ(c.id, LImageCodecUnknown);
    }
    // Nothing for an unknown id.
    EXPECT_STREQ(LImageCodec(LImageCodecCount).GetName(), "");
    EXPECT_STREQ(LImageCodec(-1).GetPreferredExtension(), "");
    // Every pair points at a codec, in id order, and every codec has at least one.
    int last = 0, count[LImageCodecCount] = {};
    for (const LImageCodecFileExtInfo& e : arImageCodecFileExtInfo)
    {
        EXPECT_GE(e.id, last);
        last = e.id;
        ++count[e.id];
    }
    for (int n : count)
        EXPECT_GE(n, 1);
}

TEST(Registry, VetoersAndFilterList)
{
    const LImageCodecVetoer base;
    const QDImageCodecVetoer app;
    EXPECT_TRUE(base.IsEnabled(LImageCodec(LImageCodecPSD), LImageIOWrite));
    EXPECT_FALSE(app.IsEnabled(LImageCodec(LImageCodecPSD), LImageIOWrite));
    EXPECT_TRUE(app.IsEnabled(LImageCodec(LImageCodecPSD), LImageIORead));
    EXPECT_FALSE(base.IsEnabled(LImageCodec(LImageCodecDNG), LImageIOWrite));
    EXPECT_FALSE(base.IsEnabled(LImageCodec(LImageCodecCount), LImageIORead));
    EXPECT_FALSE(base.IsEnabled(LImageCodec(LImageCodecBMP), LImageIOType(1)));
    int writable = 0;
    for (int id = 0; id < LImageCodecCount; ++id)
        writable += app.IsEnabled(LImageCodec(id), LImageIOWrite);
    EXPECT_EQ(writable, 8); // the classic five and the three modern formats

    LImageCodecFilterList read;
    std::string filter;
    ASSERT_TRUE(read.Init(filter, LImageIORead, nullptr));
    EXPECT_EQ(read.GetCount(), 31);
    EXPECT_EQ(read.GetCodec(1), LImageCodecUnknown);
    EXPECT_EQ(read.GetItem(1).szLabel, "All images");
    EXPECT_EQ(read.GetItem(1).szExtensions.rfind("*.bmp;*.dng;*.gif;*.jpg;*.jpeg;", 0), 0u);
    const std::string& all = read.GetItem(1).szExtensions;
    EXPECT_EQ(all.substr(all.size() - 34), ";*.webp;*.avif;*.jxl;*.heic;*.heif") << all;
    EXPECT_EQ(read.GetItem(2).szLabel, "AV1 Image File Format (*.avif)");
    EXPECT_EQ(read.GetItem(3).szLabel, "Adobe Photoshop Document (*.psd)");
    for (int i = 3; i <= read.GetCount(); ++i)
        EXPECT_LE(read.GetItem(i - 1).szLabel, read.GetItem(i).szLabel);
    EXPECT_EQ(read.GetCodec(read.GetIndex(LImageCodec(LImageCodecJPEG))), LImageCodecJPEG);
    EXPECT_EQ(read.GetCodec(32), LImageCodecUnknown);
    EXPECT_EQ(read.GetIndex(LImageCodec(40)), 0);
    // The string is label, NUL, extensions, NUL for each item.
    EXPECT_EQ(filter.compare(0, 11, "All images\0", 11), 0);
    size_t nuls = 0;
    for (char ch : filter)
        nuls += ch == 0;
    EXPECT_EQ(nuls, 62u);

    LImageCodecFilterList write;
    ASSERT_TRUE(write.Init(filter, LImageIOWrite, &app));
    ASSERT_EQ(write.GetCount(), 8);
    EXPECT_EQ(write.GetItem(1).szLabel, "AV1 Image File Format (*.avif)");
    EXPECT_EQ(write.GetItem(3).szLabel, "High Efficiency Image File Format (*.heic;*.heif)");
    EXPECT_EQ(write.GetItem(4).szLabel, "JPEG XL (*.jxl)");
    EXPECT_EQ(write.GetItem(5).szLabel, "Joint Photographic Experts Group (*.jpg;*.jpeg)");
    EXPECT_EQ(write.GetItem(8).szLabel, "Tagged Image File Format (*.tif;*.tiff)");
    EXPECT_FALSE(write.Init(filter, LImageIOType(4), nullptr));

    std::string ext;
    EXPECT_TRUE(
        LImageCodecFilterList::GetEnabledExtensions(ext, LImageCodec(LImageCodecPNM), LImageIORead, nullptr));
    EXPECT_EQ(ext, "*.pnm;*.pbm;*.pgm;*.ppm");
    EXPECT_FALSE(
        LImageCodecFilterList::GetEnabledExtensions(ext, LImageCodec(LImageCodecPSD), LImageIOWrite, &app));
    EXPECT_TRUE(LImageCodecFilterList::GetEnabledExtensions(ext, LImageCodec(99), LImageIOWrite, &app));
    EXPECT_EQ(ext, "*.bmp;*.gif;*.jpg;*.jpeg;*.png;*.tif;*.tiff;*.avif;*.jxl;*.heic;*.heif");
}

TEST(Registry, LoadAndSaveSayWhatWentWrong)
{
    TempFolder dir;
    LImageBuffer image;
    FillPattern(image, 9, 5, false);
    const std::string png = dir.Path("a.png");
    ASSERT_TRUE(LImage::Save(image, png.c_str()));

    struct Case
    {
        std::string szPath;
        const LImageCodecVetoer* lpVetoer;
        const char* szMessage;
    };
    const QDImageCodecVetoer app;
    ASSERT_TRUE(Shell("cp '" + png + "' '" + dir.Path("renamed.bmp") + "' && cp '" + png + "' '" +
                      dir.Path("photo.jpe") + "' && cp '" + png + "' '" + dir.Path("noext") + "'"));
    for (const Case& c : {Case{dir.Path("missing.png"), nullptr, "The file could not be found."},
                          Case{dir.Path("photo.jpe"), nullptr, "The file type is not recognized."},
                          Case{dir.Path("noext"), nullptr, "The file type is not recognized."},
                          Case{dir.Path("renamed.bmp"), nullptr, "The image could not be loaded."}})
    {
        SCOPED_TRACE(c.szPath);
        RecordingProcess process;
        LImageBuffer out;
        EXPECT_EQ(LImage::Load(process, out, c.szPath.c_str(), 3000, c.lpVetoer), 0);
        ASSERT_EQ(process.arErrors.size(), 1u);
        EXPECT_EQ(process.arErrors[0], c.szMessage);
        EXPECT_FALSE(out.IsValid());
    }
    RecordingProcess loading;
    LImageBuffer out;
    EXPECT_EQ(LImage::Load(loading, out, png.c_str()), 24);
    EXPECT_EQ(loading.arStatus.front(), "Loading a.png");
    // A writer holding the file makes a reader give up after its time-out.
    {
        const int fd = open(png.c_str(), O_RDONLY);
        ASSERT_GE(fd, 0);
        ASSERT_EQ(flock(fd, LOCK_EX), 0);
        RecordingProcess locked;
        EXPECT_EQ(LImage::Load(locked, out, png.c_str(), 100), 0);
        ASSERT_EQ(locked.arErrors.size(), 1u);
        EXPECT_EQ(locked.arErrors[0], "The file could not be opened.");
        close(fd);
    }

    // Saving: the application's vetoer refuses PSD; without it the raw formats fail quietly.
    for (const Case& c : {Case{dir.Path("x.psd"), &app, "The file format is not supported."},
                          Case{dir.Path("x.jpe"), nullptr, "The file type is not recognized."},
                          Case{dir.Path("no/such/folder/x.png"), nullptr, "The file could not be opened."},
                          Case{dir.Path("x.dng"), nullptr, nullptr}})
    {
        SCOPED_TRACE(c.szPath);
        RecordingProcess process;
        EXPECT_FALSE(
            LImage::Save(process, image, c.szPath.c_str(), LImageEncodeSettings(), 3000, c.lpVetoer));
        if (c.szMessage)
        {
            ASSERT_EQ(process.arErrors.size(), 1u);
            EXPECT_EQ(process.arErrors[0], c.szMessage);
        }
        else
            EXPECT_TRUE(process.arErrors.empty());
    }
    // Nothing is left behind in the folder by the failed saves.
    ASSERT_TRUE(Shell("test -z \"$(ls -A '" + dir.szPath +
                      "' | grep -v -e '^a.png$' -e '^renamed.bmp$' -e "
                      "'^photo.jpe$' -e '^noext$' -e '^script.py$')\""));
}

TEST(Registry, AFailedEncodeLeavesTheTargetAsItWas)
{
    TempFolder dir;
    LImageBuffer image;
    FillPattern(image, 9, 5, false);
    // Neither JPEG nor GIF can hold this width: both fail inside the encoder.
    LImageBuffer wide;
    ASSERT_TRUE(wide.AllocateNewBuffer(LImageFormat(B8G8R8A8, 70000, 1, false)));
    for (const char* name : {"t.jpg", "t.gif"})
    {
        SCOPED_TRACE(name);
        const std::string target = dir.Path(name);
        const std::vector<uint8_t> before = {'k', 'e', 'e', 'p', 0, 1, 2, 3};
        ASSERT_TRUE(WriteFile(target, before));
        RecordingProcess process;
        EXPECT_FALSE(LImage::Save(process, wide, target.c_str(), LImageEncodeSettings()));
        ASSERT_EQ(process.arErrors.size(), 1u);
        EXPECT_EQ(process.arErrors[0], "The image could not be saved");
        EXPECT_EQ(ReadFile(target), before);
    }
    ASSERT_TRUE(Shell("test $(ls -A '" + dir.szPath + "' | wc -l) -eq 2"));
    // A successful save replaces the file and keeps its permissions.
    const std::string target = dir.Path("t.jpg");
    ASSERT_TRUE(Shell("chmod 640 '" + target + "'"));
    RecordingProcess process;
    ASSERT_TRUE(LImage::Save(process, image, target.c_str(), LImageEncodeSettings()));
    EXPECT_EQ(process.arStatus.front(), "Saving t.jpg");
    EXPECT_TRUE(Shell("test $(stat -c %a '" + target + "') = 640"));
    LImageBuffer back;
    EXPECT_EQ(LImage::Load(back, target.c_str()), 24);
}

TEST(Registry, MemoryLoadsAndTheStreamDispatch)
{
    TempFolder dir;
    LImageBuffer image;
    FillPattern(image, 6, 4, false);
    for (const char* name : {"m.png", "m.jpg", "m.bmp", "m.gif", "m.tif"})
    {
        SCOPED_TRACE(name);
        const std::string path = dir.Path(name);
        if (std::string(name) == "m.gif")
            ASSERT_TRUE(Shell("convert -size 6x4 xc:red '" + path + "'"));
        else
            ASSERT_TRUE(LImage::Save(image, path.c_str()));
        const std::vector<uint8_t> bytes = ReadFile(path);
        LImage::Encoding e = name[2] == 'p'   ? LImage::PNG
                             : name[2] == 'j' ? LImage::JPEG
                             : name[2] == 'b' ? LImage::BMP
                             : name[2] == 'g' ? LImage::GIF
                                              : LImage::TIFF;
        LImageBuffer back;
        EXPECT_GT(LImage::Load(back, bytes.data(), bytes.size(), e), 0);
        EXPECT_EQ(back.GetWidth(), 6);
        // The same bytes under another codec fail.
        EXPECT_EQ(
            LImage::Load(back, bytes.data(), bytes.size(), e == LImage::PNG ? LImage::BMP : LImage::PNG), 0);
        EXPECT_FALSE(back.IsValid());
    }
    // Memory streams can't take PSD (its writer seeks back over a file); a closed stream fails.
    LOutputStream<LOutputStreamByteArray> bytes;
    LProcessImageSave<LOutputStreamByteArray> save;
    save.lpImage = &image;
    save.codec = LImageCodec(LImageCodecPSD);
    save.lpStream = &bytes;
    RecordingProcess process;
    EXPECT_EQ(Process(process, save), LProcessResultFailed);
    save.codec = LImageCodec(LImageCodecPNG);
    EXPECT_EQ(Process(process, save), LProcessResultSuccess);
    EXPECT_GT(bytes.GetSize(), 8u);
    LInputStream<LInputStreamFile> closed;
    LProcessImageLoad<LInputStreamFile> load;
    load.lpStream = &closed;
    load.codec = LImageCodec(LImageCodecPNG);
    load.lpImage = &image;
    RecordingProcess quiet;
    EXPECT_EQ(Process(quiet, load), LProcessResultFailed);
    EXPECT_TRUE(quiet.arErrors.empty());
}

TEST(Registry, EncodeSettingsPersistWithTheirClamps)
{
    TempFolder dir;
    setenv("XDG_CONFIG_HOME", dir.szPath.c_str(), 1);
    LImageEncodeSettings s;
    s.jpeg.SetQuality(150);
    EXPECT_EQ(s.jpeg.iQuality, 100);
    s.bmp.SetPixelFormat(2);
    EXPECT_EQ(s.bmp.PixelFormat, 0);
    s.jpeg.SetQuality(55);
    s.jpeg2000.iMode = 0;
    s.jpeg2000.iQuality = 35;
    s.bmp.SetPixelFormat(1);
    s.bmp.BackgroundColour = LPixelColour(1, 2, 3, 4);
    s.pnm.iType = 2;
    s.pnm.iBinThreshold = 200;
    s.webp.iQuality = 7;
    s.Save("EncodeTest");
    LImageEncodeSettings r;
    r.Load("EncodeTest");
    EXPECT_EQ(r.jpeg.iQuality, 55);
    EXPECT_EQ(r.jpeg2000.iMode, 0);
    EXPECT_EQ(r.jpeg2000.iQuality, 35);
    EXPECT_EQ(r.bmp.PixelFormat, 1);
    EXPECT_EQ(r.bmp.BackgroundColour, LPixelColour(255, 255, 255, 255)); // never kept
    EXPECT_EQ(r.pnm.iType, 2);
    EXPECT_EQ(r.pnm.iBinThreshold, 200);
    EXPECT_EQ(r.webp.iQuality, 7);

    s.jpeg.iQuality = 150;
    s.jpeg2000.iMode = 3;
    s.jpeg2000.iQuality = 150;
    s.avif.iSpeed = 11;
    s.jxl.iQuality = 100;
    s.heic.iQuality = -1;
    s.Save("EncodeTest");
    r.Load("EncodeTest");
    EXPECT_EQ(r.jpeg.iQuality, 100);
    EXPECT_EQ(r.jpeg2000.iMode, 1);
    EXPECT_EQ(r.jpeg2000.iQuality, 90);
    EXPECT_EQ(r.avif.iSpeed, 6);
    EXPECT_EQ(r.jxl.iQuality, 90);
    EXPECT_EQ(r.heic.iQuality, 75);
    // Other sections keep the defaults.
    r.Load("Elsewhere");
    EXPECT_EQ(r.pnm.iType, 5);
    EXPECT_EQ(r.webp.iQuality, 90);
    unsetenv("XDG_CONFIG_HOME");
}
