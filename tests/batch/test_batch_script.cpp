// The ".qdb" script: its bytes as laid out by hand, a round trip that keeps order and values, and
// what reading does with files no writer makes: refused whole (leaving the list as it was) where
// an effect would go missing, lenient where nothing is lost.

#include "batch_test_support.h"

#include "document/LSDF.h"
#include "document/QDProjectFile.h"

namespace
{
using ByteWriter = LSDFWriter<LOutputStream<LOutputStreamByteArray>>;

uint64_t LE(const Bytes& b, size_t at, int n)
{
    uint64_t v = 0;
    for (int i = n - 1; i >= 0; --i)
        v = v << 8 | b[at + size_t(i)];
    return v;
}

// A script written chunk by chunk, for files the program itself would not write.
struct RawScript
{
    LOutputStream<LOutputStreamByteArray> stream;
    ByteWriter w;
    explicit RawScript(uint32_t type = kQDBatchFileType) { w.Open(stream, type, 0); }
    RawScript& Element(const char* type, double radius = -1, bool propertiesFirst = false)
    {
        w.StartContainer(QDChunkElement);
        if (propertiesFirst && radius >= 0)
            Properties(radius);
        if (type)
            w.WriteString(QDChunkTypeIdentifier, type);
        if (!propertiesFirst && radius >= 0)
            Properties(radius);
        w.EndContainer(QDChunkElement);
        return *this;
    }
    void Properties(double radius)
    {
        w.StartContainer(QDChunkProperties);
        w.WriteFloat64(5, radius);
        w.EndContainer(QDChunkProperties);
    }
    Bytes Close(bool magic = true)
    {
        w.Close();
        Bytes b = stream.GetArray();
        if (!magic)
            b.resize(b.size() - 4);
        return b;
    }
};

class BatchScript : public BatchStateFixture
{
protected:
    LProcessResult Load(const Bytes& bytes, LList<QDImagePipelineElement>& out, RecordingProcess& process)
    {
        return QDBatchScriptLoadMemory(process, bytes.data(), bytes.size(), state.availableEffects,
                                       &catalogue.lFactories, out);
    }
    BatchTempDir dir;
};
} // namespace

TEST_F(BatchScript, LayoutAsTheContainerDefinesIt)
{
    AddEffect("blur", {{"radius", 7.5}});
    RecordingProcess process;
    const std::string path = dir / "s.qdb";
    ASSERT_EQ(QDBatchScriptSave(process, path.c_str(), state.effects), LProcessResultSuccess);
    const Bytes b = ReadBytes(path);
    ASSERT_GE(b.size(), 16u + 12u + 4u);
    EXPECT_EQ(std::string(b.begin(), b.begin() + 4), "lsdf");
    EXPECT_EQ(LE(b, 4, 2), 1u);  // container version
    EXPECT_EQ(LE(b, 6, 4), 2u);  // file type of a batch script
    EXPECT_EQ(LE(b, 10, 2), 0u); // file version
    // Root: id 0, a container, sized to the end less the trailing magic.
    EXPECT_EQ(LE(b, 12, 2), 0u);
    EXPECT_EQ(LE(b, 14, 2), 0u);
    EXPECT_EQ(LE(b, 16, 8), b.size() - 24 - 4);
    EXPECT_EQ(std::string(b.end() - 4, b.end()), "lsdf");
    // One element: container 2 holding string 3 "blur" first, then container 1.
    EXPECT_EQ(LE(b, 24, 2), 2u);
    EXPECT_EQ(LE(b, 26, 2), 0u);
    EXPECT_EQ(LE(b, 36, 2), 3u);
    EXPECT_EQ(LE(b, 38, 2), 6u);
    ASSERT_EQ(LE(b, 40, 8), 5u);
    EXPECT_EQ(std::string(b.begin() + 48, b.begin() + 53), std::string("blur\0", 5));
    EXPECT_EQ(LE(b, 53, 2), 1u);
    EXPECT_EQ(LE(b, 55, 2), 0u);
}

TEST_F(BatchScript, RoundTripKeepsOrderAndValues)
{
    AddEffect("blur", {{"radius", 7.5}, {"type", 2}});
    AddEffect("sharpen", {{"simple", 0}, {"radius", 2.5}, {"threshold", 9}});
    AddEffect("noise", {{"noise", 0.25}});
    AddEffect("blur");
    const std::string path = dir / "list.qdb";
    QDBatchFileSaveData save(state);
    strcpy(save.szFilePath, path.c_str());
    state.batchFile.bDirty = true;
    RecordingProcess process;
    ASSERT_EQ(Process(process, save), LProcessResultSuccess);
    EXPECT_FALSE(state.batchFile.bDirty);
    EXPECT_STREQ(state.batchFile.szFilePath, path.c_str());

    QDBatchStateData other;
    QDBatchStateInitFromCatalogue(other, catalogue);
    QDBatchFileLoadData load(other);
    strcpy(load.szFilePath, path.c_str());
    ASSERT_EQ(Process(process, load), LProcessResultSuccess)
        << (process.vErrors.empty() ? "" : process.vErrors[0]);
    ASSERT_EQ(other.effects.GetCount(), 4u);
    const char* types[] = {"blur", "sharpen", "noise", "blur"};
    QDImagePipelineElement* e = other.effects.GetFirst();
    for (const char* t : types)
    {
        EXPECT_STREQ(e->GetTypeIdentifier(), t);
        e = e->GetNextItem();
    }
    QDImagePipelineElement* blur = other.effects.GetFirst();
    QDImagePipelineElement* sharpen = blur->GetNextItem();
    EXPECT_EQ(Value(blur, "radius"), 7.5);
    EXPECT_EQ(Value(blur, "type"), 2);
    EXPECT_EQ(Value(sharpen, "simple"), 0);
    EXPECT_EQ(Value(sharpen, "radius"), 2.5);
    EXPECT_EQ(Value(sharpen, "threshold"), 9);
    EXPECT_NEAR(Value(sharpen->GetNextItem(), "noise"), 0.25, 1e-6);
    EXPECT_EQ(Value(other.effects.GetLast(), "radius"), 20.0);
    EXPECT_STREQ(other.batchFile.szFilePath, path.c_str());

    // An empty list is a script too.
    state.effects.DeleteAll();
    ASSERT_EQ(Process(process, save), LProcessResultSuccess);
    ASSERT_EQ(Process(process, load), LProcessResultSuccess);
    EXPECT_TRUE(other.effects.IsEmpty());
}

TEST_F(BatchScript, RefusedWholeWhenAnEffectWouldGoMissing)
{
    struct Case
    {
        const char* szName;
        Bytes bytes;
        const char* szMessage;
    };
    const std::vector<Case> cases = {
        {"unknown type", RawScript().Element("blur", 3).Element("crystallize", 1).Element("noise").Close(),
         "(\"crystallize\")"},
        {"not offered for batches", RawScript().Element("focusfix").Close(), "(\"focusfix\")"},
        {"no type at all", RawScript().Element("blur").Element(nullptr, 4).Close(), "damaged"},
        {"trailing magic missing", RawScript().Element("blur").Close(false), "damaged"},
        {"another file type", RawScript(3).Element("blur").Close(), "not a batch script"},
        {"not a container", Bytes{'h', 'e', 'l', 'l', 'o'}, "not a batch script"},
        {"truncated",
         []
         {
             Bytes b = RawScript().Element("blur", 3).Close();
             b.resize(40);
             return b;
         }(),
         "damaged"},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.szName);
        RecordingProcess process;
        LList<QDImagePipelineElement> out;
        EXPECT_EQ(Load(c.bytes, out, process), LProcessResultFailed);
        EXPECT_TRUE(out.IsEmpty());
        ASSERT_EQ(process.vErrors.size(), 1u);
        EXPECT_NE(process.vErrors[0].find(c.szMessage), std::string::npos) << process.vErrors[0];
    }

    // Through the file: the list in the editor stays what it was.
    AddEffect("sharpen");
    const std::string path = dir / "bad.qdb";
    ASSERT_TRUE(WriteBytes(path, cases[0].bytes));
    QDBatchFileLoadData load(state);
    strcpy(load.szFilePath, path.c_str());
    RecordingProcess process;
    EXPECT_EQ(Process(process, load), LProcessResultFailed);
    ASSERT_EQ(state.effects.GetCount(), 1u);
    EXPECT_STREQ(state.effects.GetFirst()->GetTypeIdentifier(), "sharpen");
    EXPECT_FALSE(state.batchFile.szFilePath[0]);
}

TEST_F(BatchScript, LenientWhereNothingIsLost)
{
    // Properties ahead of their type have nothing to go into: the element keeps its defaults.
    RecordingProcess process;
    LList<QDImagePipelineElement> out;
    ASSERT_EQ(Load(RawScript().Element("blur", 3, true).Close(), out, process), LProcessResultSuccess);
    ASSERT_EQ(out.GetCount(), 1u);
    EXPECT_EQ(Value(out.GetFirst(), "radius"), 20.0);

    // Chunks of other ids, at the top and inside an element, are passed over; a second type
    // chunk doesn't replace the first.
    RawScript raw;
    raw.w.WriteInt(9, 77);
    raw.w.StartContainer(QDChunkElement);
    raw.w.WriteString(QDChunkTypeIdentifier, "blur");
    raw.w.WriteBlob(40, "xyz", 3);
    raw.w.WriteString(QDChunkTypeIdentifier, "noise");
    raw.Properties(6.5);
    raw.w.EndContainer(QDChunkElement);
    raw.w.WriteString(12, "trailer");
    ASSERT_EQ(Load(raw.Close(), out, process), LProcessResultSuccess);
    ASSERT_EQ(out.GetCount(), 1u);
    EXPECT_STREQ(out.GetFirst()->GetTypeIdentifier(), "blur");
    EXPECT_EQ(Value(out.GetFirst(), "radius"), 6.5);
    EXPECT_TRUE(process.vErrors.empty());
}

TEST_F(BatchScript, AFailedSaveLeavesTheOldScript)
{
    AddEffect("blur");
    const std::string path = dir / "keep.qdb";
    const Bytes old = {'o', 'l', 'd'};
    ASSERT_TRUE(WriteBytes(path, old));
    RecordingProcess process;
    // A folder where the file should be: nothing can be written, and the script stays.
    const std::string folder = dir / "folder.qdb";
    std::filesystem::create_directory(folder);
    EXPECT_EQ(QDBatchScriptSave(process, folder.c_str(), state.effects), LProcessResultFailed);
    EXPECT_EQ(QDBatchScriptSave(process, (dir / "missing/s.qdb").c_str(), state.effects),
              LProcessResultFailed);
    EXPECT_EQ(ReadBytes(path), old);
    EXPECT_EQ(dir.List(), (std::vector<std::string>{"folder.qdb", "keep.qdb"}));
}
