// The chunk container: the bytes the writer lays down, worked out by hand from the format; what
// the reader gives back; the unknown chunks a writer keeps in their places; and the reader's
// refusal of every damaged input without reading outside it.

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "document/LSDF.h"

namespace
{
using ByteWriter = LSDFWriter<LOutputStream<LOutputStreamByteArray>>;

std::vector<uint8_t> Bytes(std::initializer_list<int> list)
{
    return std::vector<uint8_t>(list.begin(), list.end());
}

// A file holding one chunk of each kind, two of them nested.
std::vector<uint8_t> SampleFile()
{
    LOutputStream<LOutputStreamByteArray> out;
    ByteWriter w;
    EXPECT_TRUE(w.Open(out, 2, 0));
    w.WriteInt(9, -7);
    w.WriteBool(59, true);
    w.WriteFloat(63, 0.25f);
    w.WriteFloat64(5, 20.5);
    w.WriteString(3, "simple rotate");
    w.StartContainer(4);
    w.StartContainer(2);
    w.WriteBlob(7, "\x01\x02\x03", 3);
    w.WriteBlob(8, nullptr, 0);
    w.EndContainer(2);
    w.EndContainer(4);
    EXPECT_TRUE(w.Close());
    return out.GetArray();
}

// Opens, checks the tree and the trailing magic: true when the whole file is sound.
bool ReadsWhole(const std::vector<uint8_t>& file)
{
    LSDFMemoryStream s;
    s.SetBuffer(file.data(), file.size());
    LSDFMemoryReader r;
    if (!r.Open(s, 2) || !r.CheckStructure())
        return false;
    // Walk every level the way a loader would.
    std::vector<LSDFMemoryChunk> pending{r.root};
    while (!pending.empty())
    {
        LSDFMemoryChunk c = pending.back();
        pending.pop_back();
        for (LSDFMemoryChunkIterator it(r, c); it.IsValid(); it.Next())
            if (it->IsContainer())
                pending.push_back(it.Get());
    }
    return r.bOk && r.Close();
}
} // namespace

TEST(LSDFWriter, LaysDownHeadChunksAndTrailingMagic)
{
    LOutputStream<LOutputStreamByteArray> out;
    ByteWriter w;
    ASSERT_TRUE(w.Open(out, 7, 3));
    ASSERT_TRUE(w.WriteInt(9, -2));
    ASSERT_TRUE(w.Close());
    const std::vector<uint8_t> expected = Bytes({
        'l',  's',  'd',  'f',  1,  0, 7, 0, 0, 0, 3, 0, // magic, container version, file type, file version
        0,    0,    0,    0,    16, 0, 0, 0, 0, 0, 0, 0, // root: id 0, container, 16 bytes
        9,    0,    2,    0,    4,  0, 0, 0, 0, 0, 0, 0, // id 9, int, 4 bytes
        0xFE, 0xFF, 0xFF, 0xFF,                          // -2
        'l',  's',  'd',  'f',
    });
    EXPECT_EQ(out.GetArray(), expected);

    // Mismatched ends and writes after a failure do nothing.
    LOutputStream<LOutputStreamByteArray> bad;
    ByteWriter b;
    ASSERT_TRUE(b.Open(bad, 2, 0));
    b.StartContainer(4);
    EXPECT_FALSE(b.EndContainer(5));
    EXPECT_FALSE(b.WriteInt(1, 1));
    EXPECT_FALSE(b.Close());
}

TEST(LSDFReader, GivesBackEveryKindOfChunk)
{
    const std::vector<uint8_t> file = SampleFile();
    LSDFMemoryStream s;
    s.SetBuffer(file.data(), file.size());
    LSDFMemoryReader r;
    ASSERT_TRUE(r.Open(s, 2));
    ASSERT_TRUE(r.CheckStructure());
    // Numbers by the chunk's own type, whatever it is.
    std::vector<std::pair<uint16_t, double>> numbers;
    std::string text;
    std::vector<std::vector<uint8_t>> blobs;
    for (LSDFMemoryChunkIterator it(r); it.IsValid(); it.Next())
    {
        double v = -1;
        if (it->ReadNumber(v))
            numbers.push_back({it->iId, v});
        else if (it->iId == 3)
        {
            EXPECT_TRUE(it->ReadString(text));
        }
        for (LSDFMemoryChunkIterator element(r, it.Get()); element.IsValid(); element.Next())
            for (LSDFMemoryChunkIterator blob(r, element.Get()); blob.IsValid(); blob.Next())
            {
                blobs.emplace_back();
                EXPECT_TRUE(blob->ReadData(blobs.back()));
                // A chunk that isn't a container has no children.
                EXPECT_FALSE(LSDFMemoryChunkIterator(r, blob.Get()).IsValid());
            }
    }
    EXPECT_EQ(numbers, (std::vector<std::pair<uint16_t, double>>{{9, -7}, {59, 1}, {63, 0.25}, {5, 20.5}}));
    EXPECT_EQ(text, "simple rotate");
    EXPECT_EQ(blobs, (std::vector<std::vector<uint8_t>>{Bytes({1, 2, 3}), {}}));

    // A read the chunk is too short for is refused and leaves the value.
    LSDFMemoryChunkIterator first(r);
    double d = 3;
    EXPECT_FALSE(first->ReadFloat64(d));
    EXPECT_EQ(d, 3);
    EXPECT_TRUE(r.bOk);
    EXPECT_TRUE(r.Close());
}

TEST(LSDFWriter, KeepsUnknownChunksInTheirPlaces)
{
    // Read positions: 0 and 1 stood first, 3 after the second known chunk, -1 at the end.
    LList<LSDFUnknownChunk> unknown;
    for (int position : {0, 1, 3, -1})
    {
        LSDFUnknownChunk* u = new LSDFUnknownChunk;
        u->iId = uint16_t(100 + (position < 0 ? 9 : position));
        u->iType = LSDFTypeBlob;
        u->vData = {uint8_t(position)};
        u->iPosition = position;
        unknown.AddTail(u);
    }
    LOutputStream<LOutputStreamByteArray> out;
    ByteWriter w;
    ASSERT_TRUE(w.Open(out, 2, 0));
    ASSERT_TRUE(w.StartContainer(4, &unknown, 0));
    w.WriteInt(1, 1, 2);
    w.WriteInt(2, 2, 4);
    ASSERT_TRUE(w.EndContainer(4));
    ASSERT_TRUE(w.Close());

    const std::vector<uint8_t>& file = out.GetArray();
    LSDFMemoryStream s;
    s.SetBuffer(file.data(), file.size());
    LSDFMemoryReader r;
    ASSERT_TRUE(r.Open(s, 2));
    LSDFMemoryChunkIterator root(r);
    ASSERT_TRUE(root.IsValid());
    std::vector<uint16_t> order;
    for (LSDFMemoryChunkIterator it(r, root.Get()); it.IsValid(); it.Next())
        order.push_back(it->iId);
    EXPECT_EQ(order, (std::vector<uint16_t>{100, 101, 1, 103, 2, 109}));
}

TEST(LSDFReader, RefusesAWrongHeadVersionOrType)
{
    const std::vector<uint8_t> good = SampleFile();
    auto opens = [](std::vector<uint8_t> file, uint32_t type = 2)
    {
        LSDFMemoryStream s;
        s.SetBuffer(file.data(), file.size());
        LSDFMemoryReader r;
        return r.Open(s, type);
    };
    EXPECT_TRUE(opens(good));
    EXPECT_FALSE(opens(good, 3)) << "another file type";
    std::vector<uint8_t> f = good;
    f[0] = 'L';
    EXPECT_FALSE(opens(f)) << "magic";
    f = good;
    f[4] = 2;
    EXPECT_FALSE(opens(f)) << "container version 2";
    f = good;
    f[14] = LSDFTypeInt;
    EXPECT_FALSE(opens(f)) << "a root that isn't a container";
    f = good;
    f[12] = 1;
    EXPECT_FALSE(opens(f)) << "a root of another id";
    f = good;
    f[20] = 0xFF;
    EXPECT_FALSE(opens(f)) << "a root larger than the file";
}

// Under AddressSanitizer this also proves that no cut makes the reader step outside the data.
TEST(LSDFReader, RefusesEveryTruncation)
{
    const std::vector<uint8_t> good = SampleFile();
    ASSERT_TRUE(ReadsWhole(good));
    for (size_t n = 0; n < good.size(); ++n)
        EXPECT_FALSE(ReadsWhole(std::vector<uint8_t>(good.begin(), good.begin() + long(n)))) << n << " bytes";
}

TEST(LSDFReader, BoundsNesting)
{
    auto nested = [](int depth)
    {
        LOutputStream<LOutputStreamByteArray> out;
        ByteWriter w;
        w.Open(out, 2, 0);
        for (int i = 0; i < depth; ++i)
            w.StartContainer(uint16_t(10 + i % 3));
        w.WriteInt(1, 1);
        for (int i = depth - 1; i >= 0; --i)
            w.EndContainer(uint16_t(10 + i % 3));
        EXPECT_TRUE(w.Close());
        return out.GetArray();
    };
    EXPECT_TRUE(ReadsWhole(nested(kLSDFMaxDepth - 1)));
    EXPECT_FALSE(ReadsWhole(nested(kLSDFMaxDepth)));
    EXPECT_FALSE(ReadsWhole(nested(5000)));

    // Descending past the limit by hand fails as well, without the structure check.
    const std::vector<uint8_t> deep = nested(kLSDFMaxDepth + 4);
    LSDFMemoryStream s;
    s.SetBuffer(deep.data(), deep.size());
    LSDFMemoryReader r;
    ASSERT_TRUE(r.Open(s, 2));
    LSDFMemoryChunkIterator it(r);
    LSDFMemoryChunk c = it.Get();
    int levels = 1;
    while (r.bOk && c.IsContainer())
    {
        LSDFMemoryChunkIterator child(r, c);
        if (!child.IsValid())
            break;
        c = child.Get();
        ++levels;
    }
    EXPECT_FALSE(r.bOk);
    EXPECT_LE(levels, kLSDFMaxDepth);
}
