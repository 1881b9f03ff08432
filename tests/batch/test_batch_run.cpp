// The batch run: which files are written, skipped or passed over, what ends the run, the order
// that decides a shared output, stops that leave only whole files, and the concurrent run giving
// the very bytes of the one-at-a-time run.

#include "batch_test_support.h"

#include <sys/stat.h>

#include "codecs/LImageMemoryCodec.h"
#include "foundation/LUserSettings.h"

namespace
{
class Collector : public QDBatchRunObserver
{
public:
    void EvBatchItemDone(const BatchFileItem& item) override
    {
        vOrder.emplace_back(std::filesystem::path(item.szFilePath).filename().string());
        if (fnEach)
            fnEach(item);
    }
    std::vector<std::string> vOrder;
    std::function<void(const BatchFileItem&)> fnEach;
};

class BatchRun : public BatchStateFixture
{
protected:
    void SetUp() override
    {
        BatchStateFixture::SetUp();
        state.lpObserver = &collector;
    }
    void Add(const std::string& path) { ASSERT_NE(state.AddFile(path.c_str()), nullptr) << path; }
    void ConvertInto(const std::string& folder, LImageCodecID codec)
    {
        state.output.bSaveSameFileFormat = false;
        state.output.iSaveFileFormat = codec;
        state.output.bSameOutputFolder = false;
        snprintf(state.output.szOutputFolder, sizeof(state.output.szOutputFolder), "%s", folder.c_str());
    }
    LProcessResult Run(int concurrent)
    {
        state.iConcurrentFiles = concurrent;
        collector.vOrder.clear();
        return Process(process, state);
    }
    BatchFileItem* Item(size_t i) const { return state.BatchFileList.GetAt(i); }

    BatchTempDir dir;
    Collector collector;
    RecordingProcess process;
};

// Any file's picture as B8G8R8A8.
bool Decode(const std::string& path, LImageBuffer& image)
{
    LImageBuffer loaded;
    if (LImage::Load(loaded, path.c_str()) == 0 || !loaded.IsValid())
        return false;
    if (loaded.GetPixelFormat() == B8G8R8A8)
    {
        image.Assign(loaded);
        return true;
    }
    if (!LImage::New(image, loaded.GetWidth(), loaded.GetHeight(), B8G8R8A8))
        return false;
    LConvertPixelFormat(image, loaded);
    return true;
}

// Quality ImageMagick estimates for a JPEG: an opinion of the file not formed by this program.
int MagickQuality(const std::string& path)
{
    FILE* p = popen(("identify -format %Q '" + path + "' 2>/dev/null").c_str(), "r");
    if (!p)
        return -1;
    int q = -1;
    if (fscanf(p, "%d", &q) != 1)
        q = -1;
    pclose(p);
    return q;
}
} // namespace

TEST_F(BatchRun, EmptyListReencodesEachFileInPlace)
{
    for (const char* name : {"a.png", "b.jpg", "c.bmp", "d.tif", "e.gif"})
        ASSERT_TRUE(WritePhoto(dir / name, 64, 48, 30, std::string(name) == "a.png"));
    LImageBuffer png, bmp;
    ASSERT_TRUE(Decode(dir / "a.png", png));
    ASSERT_TRUE(Decode(dir / "c.bmp", bmp));
    const Bytes jpeg = ReadBytes(dir / "b.jpg");
    for (const char* name : {"a.png", "b.jpg", "c.bmp", "d.tif", "e.gif"})
        Add(dir / name);
    ASSERT_EQ(Run(1), LProcessResultSuccess);
    EXPECT_EQ(dir.List(), (std::vector<std::string>{"a.png", "b.jpg", "c.bmp", "d.tif", "e.gif"}));
    for (size_t i = 0; i < 5; ++i)
    {
        EXPECT_EQ(Item(i)->eOutcome, QDBatchItemWritten);
        EXPECT_EQ(Item(i)->szOutputPath, Item(i)->szFilePath);
    }
    // Lossless formats come back pixel for pixel, transparency included.
    LImageBuffer again;
    ASSERT_TRUE(Decode(dir / "a.png", again));
    EXPECT_TRUE(SamePixels(again, png));
    ASSERT_TRUE(Decode(dir / "c.bmp", again));
    EXPECT_TRUE(SamePixels(again, bmp));
    // The JPEG was encoded again, at the batch's quality.
    EXPECT_NE(ReadBytes(dir / "b.jpg"), jpeg);
    EXPECT_EQ(MagickQuality(dir / "b.jpg"), 90);
    EXPECT_TRUE(process.vErrors.empty());
}

TEST_F(BatchRun, UnwritableInputsAreSkippedEvenWhenConverting)
{
    ASSERT_TRUE(WritePhoto(dir / "a.psd", 32, 24));
    ASSERT_TRUE(WritePhoto(dir / "b.tga", 32, 24));
    ASSERT_TRUE(WritePhoto(dir / "c.png", 32, 24));
    for (const char* name : {"a.psd", "b.tga", "c.png"})
        Add(dir / name);
    std::filesystem::create_directory(dir / "out");
    ConvertInto(dir / "out", LImageCodecJPEG);
    ASSERT_EQ(Run(2), LProcessResultSuccess);
    EXPECT_EQ(dir.List("out"), std::vector<std::string>{"c.jpg"});
    EXPECT_FALSE(Item(0)->bValidOutput);
    EXPECT_FALSE(Item(1)->bValidOutput);
    EXPECT_TRUE(Item(2)->bValidOutput);
    EXPECT_EQ(Item(0)->eOutcome, QDBatchItemSkipped);
    EXPECT_EQ(collector.vOrder, (std::vector<std::string>{"a.psd", "b.tga", "c.png"}));

    // Each in its own format: the same files are skipped, and the originals stay.
    const Bytes psd = ReadBytes(dir / "a.psd");
    state.output.bSaveSameFileFormat = true;
    state.output.bSameOutputFolder = true;
    ASSERT_EQ(Run(1), LProcessResultSuccess);
    EXPECT_EQ(ReadBytes(dir / "a.psd"), psd);
    EXPECT_EQ(Item(1)->eOutcome, QDBatchItemSkipped);
}

TEST_F(BatchRun, AFileThatDoesNotLoadIsPassedOverInSilence)
{
    ASSERT_TRUE(WritePhoto(dir / "a.jpg", 40, 30));
    ASSERT_TRUE(WriteBytes(dir / "b.jpg", {'n', 'o', 't', ' ', 'a', ' ', 'j', 'p', 'e', 'g'}));
    ASSERT_TRUE(WritePhoto(dir / "d.png", 40, 30));
    for (const char* name : {"a.jpg", "b.jpg", "c.png", "d.png"})
        Add(dir / name);
    std::filesystem::create_directory(dir / "out");
    ConvertInto(dir / "out", LImageCodecPNG);
    AddEffect("sharpen");
    for (int concurrent : {1, 3})
    {
        SCOPED_TRACE(concurrent);
        process.vErrors.clear();
        ASSERT_EQ(Run(concurrent), LProcessResultSuccess);
        EXPECT_TRUE(process.vErrors.empty());
        EXPECT_EQ(dir.List("out"), (std::vector<std::string>{"a.png", "d.png"}));
        EXPECT_EQ(Item(1)->eOutcome, QDBatchItemNotLoaded);
        EXPECT_EQ(Item(2)->eOutcome, QDBatchItemNotLoaded);
        EXPECT_EQ(Item(2)->szReason, "The file could not be found.");
        EXPECT_TRUE(Item(1)->bValidOutput && Item(2)->bValidOutput);
        EXPECT_EQ(Item(3)->eOutcome, QDBatchItemWritten);
    }
}

TEST_F(BatchRun, TheLaterInputWinsASharedOutput)
{
    // p.jpg is warm, p.png cold; both become out/p.bmp.
    ASSERT_TRUE(WritePhoto(dir / "p.jpg", 48, 32, -80));
    ASSERT_TRUE(WritePhoto(dir / "p.png", 48, 32, 120));
    LImageBuffer cold;
    ASSERT_TRUE(Decode(dir / "p.png", cold));
    Add(dir / "p.jpg");
    Add(dir / "p.png");
    std::filesystem::create_directory(dir / "out");
    ConvertInto(dir / "out", LImageCodecBMP);
    for (int concurrent : {1, 4})
    {
        SCOPED_TRACE(concurrent);
        ASSERT_EQ(Run(concurrent), LProcessResultSuccess);
        LImageBuffer written;
        ASSERT_TRUE(Decode(dir / "out/p.bmp", written));
        EXPECT_TRUE(SamePixels(written, cold));
        EXPECT_EQ(dir.List("out"), std::vector<std::string>{"p.bmp"});
    }
}

TEST_F(BatchRun, AnInputReplacedByAnEarlierOutputIsReadAfterIt)
{
    // q.png (warm) becomes q.jpg over the cold q.jpg, which the second file then reads.
    auto prepare = [&]
    {
        ASSERT_TRUE(WritePhoto(dir / "q.png", 64, 48, -80));
        ASSERT_TRUE(WritePhoto(dir / "q.jpg", 64, 48, 120));
    };
    prepare();
    Add(dir / "q.png");
    Add(dir / "q.jpg");
    state.output.bSaveSameFileFormat = false;
    state.output.iSaveFileFormat = LImageCodecJPEG;
    AddEffect("blur", {{"radius", 2}});
    ASSERT_EQ(Run(1), LProcessResultSuccess);
    const Bytes oneAtATime = ReadBytes(dir / "q.jpg");
    LImageBuffer result;
    ASSERT_TRUE(Decode(dir / "q.jpg", result));
    EXPECT_GT(MeanChannel(result, 2), MeanChannel(result, 0)) << "the warm picture went through both files";
    prepare();
    ASSERT_EQ(Run(4), LProcessResultSuccess);
    EXPECT_EQ(state.iFilesAtOnce, 2);
    EXPECT_EQ(ReadBytes(dir / "q.jpg"), oneAtATime);
}

TEST_F(BatchRun, ConcurrentRunWritesTheBytesOfTheOneAtATimeRun)
{
    const char* names[] = {"1.jpg", "2.png", "3.bmp", "4.jpg", "5.tif", "6.png", "7.jpg"};
    int tint = -60;
    for (const char* n : names)
    {
        ASSERT_TRUE(WritePhoto(dir / n, 96 + tint / 10, 64, tint, std::string(n) == "6.png"));
        Add(dir / n);
        tint += 25;
    }
    AddEffect("blur", {{"radius", 3}});
    AddEffect("sharpen", {{"amount", 80}});
    // A value a script doesn't keep must reach the copies the workers render with.
    AddEffect("noise", {{"patch", 1}, {"search", 4}});
    std::filesystem::create_directory(dir / "seq");
    std::filesystem::create_directory(dir / "par");
    ConvertInto(dir / "seq", LImageCodecPNG);
    ASSERT_EQ(Run(1), LProcessResultSuccess);
    const std::vector<std::string> order = collector.vOrder;
    EXPECT_EQ(state.iFilesAtOnce, 1);
    ConvertInto(dir / "par", LImageCodecPNG);
    ASSERT_EQ(Run(3), LProcessResultSuccess);
    EXPECT_EQ(state.iFilesAtOnce, 3);
    EXPECT_EQ(collector.vOrder, order);
    ASSERT_EQ(dir.List("seq").size(), 7u);
    for (const std::string& f : dir.List("seq"))
        EXPECT_EQ(ReadBytes(dir / ("par/" + f)), ReadBytes(dir / ("seq/" + f))) << f;
    EXPECT_FALSE(process.vProgress.empty());
    EXPECT_DOUBLE_EQ(process.vProgress.back(), 1.0);
}

TEST_F(BatchRun, AStopLeavesOnlyWholeFiles)
{
    for (int i = 0; i < 6; ++i)
    {
        const std::string name = "s" + std::to_string(i) + ".png";
        ASSERT_TRUE(WritePhoto(dir / name, 160, 120, i * 20));
        Add(dir / name);
    }
    AddEffect("blur", {{"radius", 25}});
    std::filesystem::create_directory(dir / "out");
    ConvertInto(dir / "out", LImageCodecJPEG);
    for (int concurrent : {1, 2})
    {
        SCOPED_TRACE(concurrent);
        std::filesystem::remove_all(dir / "out");
        std::filesystem::create_directory(dir / "out");
        std::atomic<int> written{0};
        collector.fnEach = [&](const BatchFileItem& item) { written += item.eOutcome == QDBatchItemWritten; };
        process.fnStop = [&] { return written.load() >= 2; };
        EXPECT_EQ(Run(concurrent), LProcessResultCancelled);
        // Exactly the outputs reported are there, and each is a whole picture.
        const std::vector<std::string> files = dir.List("out");
        EXPECT_EQ(files, (std::vector<std::string>{"s0.jpg", "s1.jpg"}));
        for (const std::string& f : files)
        {
            LImageBuffer image;
            EXPECT_TRUE(Decode(dir / ("out/" + f), image)) << f;
        }
        for (size_t i = 2; i < 6; ++i)
            EXPECT_NE(Item(i)->eOutcome, QDBatchItemWritten);
    }
    process.fnStop = nullptr;
    collector.fnEach = nullptr;
}

TEST_F(BatchRun, AFailureEndsTheRunAndKeepsTheFileItWouldReplace)
{
    // A GIF can't be 65536 pixels wide: the encoder fails, after the picture loaded fine.
    {
        LImageBuffer wide;
        MakePhoto(wide, 65536, 1);
        ASSERT_TRUE(LImage::Save(wide, (dir / "wide.png").c_str()));
    }
    ASSERT_TRUE(WritePhoto(dir / "next.png", 16, 16));
    Add(dir / "wide.png");
    Add(dir / "next.png");
    std::filesystem::create_directory(dir / "out");
    const Bytes old = {'o', 'l', 'd', ' ', 'g', 'i', 'f'};
    ASSERT_TRUE(WriteBytes(dir / "out/wide.gif", old));
    ConvertInto(dir / "out", LImageCodecGIF);
    for (int concurrent : {1, 2})
    {
        SCOPED_TRACE(concurrent);
        EXPECT_EQ(Run(concurrent), LProcessResultFailed);
        EXPECT_EQ(ReadBytes(dir / "out/wide.gif"), old);
        EXPECT_EQ(Item(0)->eOutcome, QDBatchItemFailed);
        EXPECT_EQ(Item(1)->eOutcome, QDBatchItemPending);
        EXPECT_EQ(dir.List("out"), std::vector<std::string>{"wide.gif"});
    }

    // An output folder that isn't one: the first write fails and ends the run.
    state.BatchFileList.DeleteAll();
    Add(dir / "next.png");
    ASSERT_TRUE(WriteBytes(dir / "plain", old));
    ConvertInto(dir / "plain", LImageCodecPNG);
    EXPECT_EQ(Run(1), LProcessResultFailed);
    EXPECT_EQ(Item(0)->szReason, "The file could not be written.");

    // A format setting past the table ends the run before anything is read.
    ConvertInto(dir / "out", LImageCodecCount);
    EXPECT_EQ(Run(1), LProcessResultFailed);
    EXPECT_EQ(Item(0)->eOutcome, QDBatchItemPending);
}

TEST_F(BatchRun, FormatsBeyondTheFiveAreWrittenByTheirOwnCodec)
{
    ASSERT_TRUE(WritePhoto(dir / "x.png", 50, 40));
    Add(dir / "x.png");
    state.encodeSettings.webp.iQuality = 60;
    std::filesystem::create_directory(dir / "out");
    for (LImageCodecID codec : {LImageCodecWEBP, LImageCodecJPEG2000, LImageCodecTGA, LImageCodecPNM})
    {
        SCOPED_TRACE(codec);
        ConvertInto(dir / "out", codec);
        ASSERT_EQ(Run(1), LProcessResultSuccess);
        const std::string out = dir / (std::string("out/x") + LImageCodec(codec).GetPreferredExtension());
        LImageBuffer image;
        ASSERT_TRUE(Decode(out, image));
        EXPECT_EQ(image.GetWidth(), 50);
        EXPECT_EQ(image.GetHeight(), 40);
    }
}

TEST_F(BatchRun, ProgressGivesEachFileAndEffectItsShare)
{
    ASSERT_TRUE(WritePhoto(dir / "a.png", 120, 90));
    ASSERT_TRUE(WritePhoto(dir / "b.png", 120, 90));
    Add(dir / "a.png");
    Add(dir / "b.png");
    AddEffect("blur", {{"radius", 10}});
    AddEffect("sharpen");
    std::filesystem::create_directory(dir / "out");
    ConvertInto(dir / "out", LImageCodecPNG);
    // Each value with the file (counted by its first layer) and the layer shown when it came.
    int file = -1;
    std::string layer;
    std::vector<std::tuple<int, std::string, double>> seen;
    process.fnStatus = [&](const std::string& text, int line)
    {
        if (line == 1 && text != layer)
            file += text == "Rendering Blur Layer";
        if (line == 1)
            layer = text;
    };
    process.fnProgress = [&](double f) { seen.emplace_back(file, layer, f); };
    ASSERT_EQ(Run(1), LProcessResultSuccess);
    process.fnProgress = nullptr;
    process.fnStatus = nullptr;
    double last = 0;
    int checked = 0;
    for (const auto& [index, shown, f] : seen)
    {
        EXPECT_GE(f, last - 1e-9);
        last = f;
        const double base = index * 0.5;
        if (shown == "Rendering Blur Layer")
        {
            EXPECT_TRUE(f >= base + 0.05 - 1e-9 && f <= base + 0.25 + 1e-9) << index << " " << f;
            checked += f > base + 0.05 + 1e-9 && f < base + 0.25 - 1e-9;
        }
        // The next file's loading comes before its first layer shows.
        if (shown == "Rendering Sharpen Layer")
        {
            EXPECT_TRUE(f >= base + 0.25 - 1e-9 && f <= base + 0.55 + 1e-9) << index << " " << f;
        }
    }
    EXPECT_GT(checked, 0);
    EXPECT_DOUBLE_EQ(last, 1.0);
}

TEST(BatchOutputPath, AsTheRunMakesIt)
{
    BatchFileItem item;
    QDBatchOutputSettings o;
    std::string out;
    ASSERT_TRUE(item.SetFilePath("/p/IMG.JPG"));
    ASSERT_TRUE(QDBatchGetOutputPath(item, o, out));
    EXPECT_EQ(out, "/p/IMG.JPG");
    o.bSaveSameFileFormat = false;
    o.iSaveFileFormat = LImageCodecPNG;
    ASSERT_TRUE(item.SetFilePath("/p/a.tar.jpeg"));
    ASSERT_TRUE(QDBatchGetOutputPath(item, o, out));
    EXPECT_EQ(out, "/p/a.tar.png");
    o.bSameOutputFolder = false;
    strcpy(o.szOutputFolder, "/out");
    o.iSaveFileFormat = LImageCodecTIFF;
    ASSERT_TRUE(QDBatchGetOutputPath(item, o, out));
    EXPECT_EQ(out, "/out/a.tar.tif");
    o.iSaveFileFormat = 27;
    EXPECT_FALSE(QDBatchGetOutputPath(item, o, out));
    o.iSaveFileFormat = -1;
    EXPECT_FALSE(QDBatchGetOutputPath(item, o, out));
}

TEST(BatchState, FilesFromFoldersAndTheirRemoval)
{
    BatchTempDir dir;
    std::filesystem::create_directories(dir / "top/sub/deeper");
    for (const char* f : {"top/b.jpg", "top/a.PNG", "top/notes.txt", "top/.hidden.gif", "top/sub/c.bmp",
                          "top/sub/deeper/d.cr2", "top/sub/deeper/noextension"})
        ASSERT_TRUE(WriteBytes(dir / f, {1}));
    // A link back up must not walk for ever.
    std::filesystem::create_directory_symlink(dir / "top", dir / "top/sub/loop");
    QDBatchStateData state;
    EXPECT_EQ(state.AddFolder((dir / "top").c_str()), 5u);
    std::vector<std::string> got;
    for (BatchFileItem* i = state.BatchFileList.GetFirst(); i; i = i->GetNextItem())
        got.push_back(std::string(i->szFilePath).substr(dir.szPath.size() + 1));
    EXPECT_EQ(got, (std::vector<std::string>{"top/.hidden.gif", "top/a.PNG", "top/b.jpg", "top/sub/c.bmp",
                                             "top/sub/deeper/d.cr2"}));
    EXPECT_EQ(state.AddFile("x.unknown"), nullptr);
    EXPECT_NE(state.AddFile("/x/Y.JPEG"), nullptr);
    // Removal ignores case and takes the first match.
    ASSERT_TRUE(state.RemoveFile((dir / "TOP/A.png").c_str()));
    EXPECT_FALSE(state.RemoveFile((dir / "top/a.png").c_str()));
    EXPECT_EQ(state.BatchFileList.GetCount(), 5u);
    EXPECT_FALSE(state.BatchFileList.GetAt(3)->IsValidOutputFormat()); // the .cr2
    EXPECT_TRUE(state.BatchFileList.GetAt(4)->IsValidOutputFormat());  // Y.JPEG
}

TEST(BatchState, SettingsLiveInTheirSection)
{
    QDBatchOutputSettings o;
    o.Load();
    EXPECT_TRUE(o.bSaveSameFileFormat);
    EXPECT_EQ(o.iSaveFileFormat, 0);
    EXPECT_TRUE(o.bSameOutputFolder);
    EXPECT_STREQ(o.szOutputFolder, "");
    o.bSaveSameFileFormat = false;
    o.iSaveFileFormat = LImageCodecTIFF;
    o.bSameOutputFolder = false;
    strcpy(o.szOutputFolder, "/srv/out");
    o.Save();
    EXPECT_EQ(LUserSettingGet("BatchEditor", "SaveSameFileFormat", 7), 0);
    EXPECT_EQ(LUserSettingGet("BatchEditor", "SaveFileFormat", 7), 24);
    EXPECT_EQ(LUserSettingGet("BatchEditor", "SameOutputFolder", 7), 0);
    char folder[LUSERSETTING_MAX_STRING];
    ASSERT_TRUE(_LUserSettingGetString("BatchEditor", "OutputFolder", "", folder));
    EXPECT_STREQ(folder, "/srv/out");
    QDBatchOutputSettings back;
    back.Load();
    EXPECT_FALSE(back.bSaveSameFileFormat);
    EXPECT_EQ(back.iSaveFileFormat, 24);
    for (const char* key : {"SaveSameFileFormat", "SaveFileFormat", "SameOutputFolder", "OutputFolder"})
        LUserSettingDeleteItem("BatchEditor", key);
}
