#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>
#include <vector>

#include "image/LImageBuffer.h"

namespace
{
// Stops after a given number of polls.
class StopAfter : public LProcessInterface
{
public:
    explicit StopAfter(int polls) : iLeft(polls) {}
    bool IsToStop() override { return iLeft-- <= 0; }
    int ProcessWait(int) override { return 2; }
    int ProcessWaitSignal(LSignalObject&, int) override { return 2; }
    int ProcessWaitSignalObjectGroup(LSignalObjectGroup&, int) override { return 2; }
    int iLeft;
};

// Three separately allocated planes behind an array of plane pointers.
class PlanePointerStore : public LImageBufferStore
{
public:
    PlanePointerStore(size_t y, size_t u, size_t v) : Y(y), U(u), V(v)
    {
        aPlanes[0] = Y.data();
        aPlanes[1] = U.data();
        aPlanes[2] = V.data();
        lpData = reinterpret_cast<uint8_t*>(aPlanes);
    }
    bool IsCompatibleStore(int, uint64_t) const override { return false; }
    int GetStoreID() const override { return 7; }
    std::vector<uint8_t> Y, U, V;
    uint8_t* aPlanes[3];
};
} // namespace

TEST(LImageFormat, LayoutIsTheFixedCacheHeader)
{
    EXPECT_EQ(sizeof(LImageFormat), 56u);
    EXPECT_EQ(offsetof(LImageFormat, pf), 0u);
    EXPECT_EQ(offsetof(LImageFormat, iWidth), 4u);
    EXPECT_EQ(offsetof(LImageFormat, iHeight), 8u);
    EXPECT_EQ(offsetof(LImageFormat, HorizontalResolution), 12u);
    EXPECT_EQ(offsetof(LImageFormat, VerticalResolution), 16u);
    EXPECT_EQ(offsetof(LImageFormat, nWidthBytes), 20u);
    EXPECT_EQ(offsetof(LImageFormat, bUpsideDown), 24u);
    EXPECT_EQ(offsetof(LImageFormat, nWidthBytesPlanarU), 28u);
    EXPECT_EQ(offsetof(LImageFormat, nWidthBytesPlanarV), 32u);
    EXPECT_EQ(offsetof(LImageFormat, iWidthPlanarU), 36u);
    EXPECT_EQ(offsetof(LImageFormat, iWidthPlanarV), 40u);
    EXPECT_EQ(offsetof(LImageFormat, iHeightPlanarU), 44u);
    EXPECT_EQ(offsetof(LImageFormat, iHeightPlanarV), 48u);
    EXPECT_EQ(offsetof(LImageFormat, iBufferEncoding), 52u);
}

TEST(LImageFormat, PackedRowsArePaddedToFourBytes)
{
    EXPECT_EQ(LImageFormat(B8G8R8, 3, 2).nWidthBytes, 12u); // 9 bytes of pixels
    EXPECT_EQ(LImageFormat(B8G8R8, 4, 2).nWidthBytes, 12u);
    EXPECT_EQ(LImageFormat(B8G8R8A8, 5, 1).nWidthBytes, 20u);
    EXPECT_EQ(LImageFormat(B5G6R5, 3, 1).nWidthBytes, 8u);
    EXPECT_EQ(LImageFormat(YUYV422, 5, 1).nWidthBytes, 12u);
    EXPECT_EQ(LImageFormat(I8, 5, 1).nWidthBytes, 8u);
    EXPECT_EQ(LImageFormat(Indexed4, 9, 1).nWidthBytes, 4u);

    LImageFormat f(B8G8R8, 3, 7, true);
    EXPECT_EQ(f.bUpsideDown, 1u);
    EXPECT_EQ(f.HorizontalResolution, 0u);
    EXPECT_EQ(f.nWidthBytesPlanarU, 0u);
    EXPECT_EQ(f.iHeightPlanarU, 0);
    EXPECT_EQ(f.CalculateBufferSize64(), 84u);
    EXPECT_TRUE(f.IsValid());
}

TEST(LImageFormat, PlanarSizes)
{
    LImageFormat f(YUV420P, 5, 5);
    EXPECT_EQ(f.nWidthBytes, 5u);
    EXPECT_EQ(f.nWidthBytesPlanarU, 3u);
    EXPECT_EQ(f.nWidthBytesPlanarV, 3u);
    EXPECT_EQ(f.iWidthPlanarU, 3);
    EXPECT_EQ(f.iHeightPlanarU, 3);
    EXPECT_EQ(f.iHeightPlanarV, 3);
    EXPECT_EQ(f.CalculateBufferSize(), 25u + 9u + 9u);

    // Explicit row sizes; a 0 takes the default, and V follows U.
    f.SetPlanarSize(8, 4, 0);
    EXPECT_EQ(f.nWidthBytes, 8u);
    EXPECT_EQ(f.nWidthBytesPlanarU, 4u);
    EXPECT_EQ(f.nWidthBytesPlanarV, 4u);
    EXPECT_EQ(f.iWidthPlanarV, 4);
    EXPECT_EQ(f.CalculateBufferSize64(), 40u + 12u + 12u);

    // The plane height counts even when the field wasn't filled in.
    f.iHeightPlanarU = 0;
    EXPECT_EQ(f.CalculateBufferSize64(), 40u + 12u + 12u);

    LImageFormat empty(YUVJ420P, 0, 5);
    EXPECT_EQ(empty.nWidthBytesPlanarU, 0u);
    EXPECT_EQ(empty.iHeightPlanarU, 0);
    EXPECT_FALSE(empty.IsValid());
}

TEST(LImageFormat, ValidityAndSizeLimits)
{
    EXPECT_FALSE(LImageFormat().IsValid());
    EXPECT_FALSE(LImageFormat(B8G8R8A8, 0, 4).IsValid());
    EXPECT_FALSE(LImageFormat(B8G8R8A8, 4, -1).IsValid());
    EXPECT_TRUE(LImageFormat(B8G8R8A8, 1, 1).IsValid());
    LImageFormat planar(YUV420P, 4, 4);
    planar.nWidthBytesPlanarV = 0;
    EXPECT_FALSE(planar.IsValid());

    LImageFormat huge(B8G8R8A8, 40000, 40000);
    EXPECT_EQ(huge.CalculateBufferSize64(), 6400000000ull);
    EXPECT_EQ(huge.CalculateBufferSize(), 0u);
    LImageBuffer b;
    EXPECT_FALSE(b.AllocateNewBuffer(huge));
    EXPECT_FALSE(b.IsValid());
    EXPECT_EQ(b.GetStore(), nullptr);
}

TEST(LImageBufferStore, HeapStoreAlignmentAndReuseRule)
{
    for (uint64_t size : {0ull, 1ull, 15ull, 100ull, 4097ull})
    {
        LImageBufferStoreHeap store(size);
        ASSERT_NE(store.lpData, nullptr);
        EXPECT_EQ(reinterpret_cast<uintptr_t>(store.lpData) % 16, 0u);
        EXPECT_EQ(store.GetStoreID(), 1);
        std::memset(store.lpData, 0xAB, size_t(size)); // the whole size is usable
    }
    LImageBufferStoreHeap store(100);
    EXPECT_TRUE(store.IsCompatibleStore(1, 100));
    EXPECT_TRUE(store.IsCompatibleStore(1, 50));
    EXPECT_FALSE(store.IsCompatibleStore(1, 49));
    EXPECT_FALSE(store.IsCompatibleStore(1, 101));
    EXPECT_FALSE(store.IsCompatibleStore(2, 80));

    LImageBufferStoreHeap odd(11);
    EXPECT_TRUE(odd.IsCompatibleStore(1, 6));
    EXPECT_FALSE(odd.IsCompatibleStore(1, 5));

    LImageBufferStoreReference ref(store);
    EXPECT_EQ(ref.lpData, store.lpData);
    EXPECT_EQ(ref.GetStoreID(), 1);
    EXPECT_TRUE(ref.IsCompatibleStore(1, 60));
    EXPECT_FALSE(ref.IsCompatibleStore(1, 40));
}

TEST(LImageBuffer, ReallocationReusesTheStoreWithinHalfToWhole)
{
    LImageBuffer b;
    ASSERT_TRUE(LImage::New(b, 100, 100)); // 40000 bytes
    LImageBufferStore* first = b.GetStore();
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b.GetData()) % 16, 0u);

    ASSERT_TRUE(LImage::New(b, 100, 50)); // exactly half
    EXPECT_EQ(b.GetStore(), first);
    EXPECT_EQ(b.GetHeight(), 50);
    ASSERT_TRUE(LImage::New(b, 100, 49)); // below half: a new store
    EXPECT_NE(b.GetStore(), nullptr);
    LImageBufferStore* second = b.GetStore();
    ASSERT_TRUE(LImage::New(b, 100, 49));
    EXPECT_EQ(b.GetStore(), second);
    ASSERT_TRUE(LImage::New(b, 100, 50)); // larger than the store
    EXPECT_TRUE(b.IsValid());
    EXPECT_EQ(reinterpret_cast<uintptr_t>(b.GetData()) % 16, 0u);
}

TEST(LImageBuffer, AssignMovesAndDestroyEmpties)
{
    LImageBuffer a, b;
    ASSERT_TRUE(LImage::New(a, 7, 3, B8G8R8));
    ASSERT_TRUE(LImage::New(b, 2, 2));
    LImageBufferStore* store = a.GetStore();
    a.GetData()[0] = 42;

    b.Assign(a); // b's previous store must be freed (the leak checker watches)
    EXPECT_EQ(b.GetStore(), store);
    EXPECT_EQ(b.GetPixelFormat(), B8G8R8);
    EXPECT_EQ(b.GetWidth(), 7);
    EXPECT_EQ(b.GetData()[0], 42);
    EXPECT_FALSE(a.IsValid());
    EXPECT_EQ(a.GetStore(), nullptr);
    EXPECT_EQ(a.GetPixelFormat(), PixelFormatInvalid);
    EXPECT_EQ(a.GetData(), nullptr);

    b.Destroy();
    EXPECT_FALSE(b.IsValid());
    EXPECT_EQ(b.imf.nWidthBytes, 0u);
    EXPECT_EQ(b.GetLastScanLine(), nullptr);
}

TEST(LImageBuffer, ScanLinesAndPlanes)
{
    LImageBuffer b;
    ASSERT_TRUE(LImage::New(b, 3, 4, B8G8R8));
    EXPECT_EQ(b.GetLastScanLine(), b.GetData() + 36);
    EXPECT_EQ(b.GetScanLine(1), b.GetData() + 12);

    LImageBuffer up(LImageFormat(B8G8R8A8, 2, 3, true));
    ASSERT_TRUE(up.IsValid());
    EXPECT_EQ(up.GetRow(0), up.GetData() + 16);
    EXPECT_EQ(up.GetRow(2), up.GetData());

    LImageBuffer p;
    ASSERT_TRUE(LImage::New(p, 5, 5, YUV420P));
    EXPECT_EQ(p.GetFirstScanLineU(), p.GetData() + 25);
    EXPECT_EQ(p.GetFirstScanLineV(), p.GetData() + 34);

    // With plane pointers, each plane comes from the store's array.
    LImageFormat f(YUV420P, 5, 5);
    f.iBufferEncoding = 1;
    auto* store = new PlanePointerStore(25, 9, 9);
    LImageBuffer e;
    ASSERT_TRUE(e.AllocateNewStore(f, store));
    EXPECT_EQ(e.GetData(), store->Y.data());
    EXPECT_EQ(e.GetFirstScanLineU(), store->U.data());
    EXPECT_EQ(e.GetFirstScanLineV(), store->V.data());

    // A later ordinary allocation drops the pointer store rather than reuse it.
    ASSERT_TRUE(LImage::New(e, 5, 5, YUV420P));
    EXPECT_EQ(e.imf.iBufferEncoding, 0);
    EXPECT_EQ(e.GetFirstScanLineU(), e.GetData() + 25);
}

TEST(LImageBuffer, ReferenceStoreSharesWithoutOwning)
{
    LImageBuffer owner;
    ASSERT_TRUE(LImage::New(owner, 4, 4));
    {
        LImageBuffer view;
        ASSERT_TRUE(view.AllocateNewStore(owner.imf, new LImageBufferStoreReference(*owner.GetStore())));
        view.GetData()[5] = 99;
        // Copying between buffers on the same memory is a no-op, not a self-overlapping copy.
        LImageBufferCopy(view, owner);
    }
    EXPECT_EQ(owner.GetData()[5], 99); // still alive after the view went
}

TEST(LImageBuffer, ClearFillsEveryRowAndStopsWhenAsked)
{
    LImageBuffer b;
    ASSERT_TRUE(LImage::New(b, 3, 5, B8G8R8));
    EXPECT_FALSE(b.Clear(LPixelColour(1, 2, 3, 4)));
    for (int y = 0; y < 5; ++y)
    {
        const uint8_t* row = b.GetScanLine(y);
        for (int x = 0; x < 3; ++x)
        {
            EXPECT_EQ(row[x * 3 + 0], 1);
            EXPECT_EQ(row[x * 3 + 1], 2);
            EXPECT_EQ(row[x * 3 + 2], 3);
        }
    }

    // Stopped on the third poll: the first line and two copies are done, the rest untouched.
    std::memset(b.GetData(), 0xEE, b.imf.CalculateBufferSize());
    StopAfter process(2);
    EXPECT_TRUE(b.Clear(process, LPixelColour(9, 8, 7, 6)));
    EXPECT_EQ(b.GetScanLine(0)[0], 9);
    EXPECT_EQ(b.GetScanLine(2)[8], 7);
    EXPECT_EQ(b.GetScanLine(3)[0], 0xEE);
    EXPECT_EQ(b.GetScanLine(4)[0], 0xEE);

    LImageBuffer r;
    ASSERT_TRUE(LImage::New(r, 2, 2, R8G8B8A8));
    r.Clear(LPixelColour(10, 20, 30, 40));
    const uint8_t expected[4] = {30, 20, 10, 40};
    EXPECT_EQ(std::memcmp(r.GetScanLine(1) + 4, expected, 4), 0);
}

TEST(LImageBufferCopy, BlockAndLineByLine)
{
    LImageBuffer src, dst;
    ASSERT_TRUE(LImage::New(src, 3, 3, B8G8R8));
    for (uint32_t i = 0; i < src.imf.CalculateBufferSize(); ++i)
        src.GetData()[i] = uint8_t(i);
    ASSERT_TRUE(LImage::New(dst, 3, 3, B8G8R8));
    LImageBufferCopy(dst, src);
    EXPECT_EQ(std::memcmp(dst.GetData(), src.GetData(), 36), 0);

    // Opposite orientation: rows are reversed in memory, padding untouched.
    LImageBuffer flipped(LImageFormat(B8G8R8, 3, 3, true));
    std::memset(flipped.GetData(), 0xEE, 36);
    LImageBufferCopy(flipped, src);
    for (int y = 0; y < 3; ++y)
    {
        EXPECT_EQ(std::memcmp(flipped.GetScanLine(2 - y), src.GetScanLine(y), 9), 0);
        EXPECT_EQ(flipped.GetScanLine(2 - y)[9], 0xEE);
    }

    // Wider destination rows.
    LImageFormat wide(B8G8R8, 3, 3);
    wide.nWidthBytes = 20;
    LImageBuffer w(wide);
    std::memset(w.GetData(), 0xEE, 60);
    LImageBufferCopy(w, src);
    EXPECT_EQ(std::memcmp(w.GetScanLine(2), src.GetScanLine(2), 9), 0);
    EXPECT_EQ(w.GetScanLine(1)[9], 0xEE);

    // Different format or size: nothing happens.
    LImageBuffer other;
    ASSERT_TRUE(LImage::New(other, 3, 3, B8G8R8A8));
    std::memset(other.GetData(), 0x11, 36);
    LImageBufferCopy(other, src);
    EXPECT_EQ(other.GetData()[0], 0x11);
    LImageBuffer smaller;
    ASSERT_TRUE(LImage::New(smaller, 3, 2, B8G8R8));
    std::memset(smaller.GetData(), 0x11, 24);
    LImageBufferCopy(smaller, src);
    EXPECT_EQ(smaller.GetData()[0], 0x11);
}

TEST(LImageBufferCopy, PlanarLineByLineCopiesEachPlane)
{
    LImageBuffer src(LImageFormat(YUV420P, 5, 3));
    for (uint32_t i = 0; i < src.imf.CalculateBufferSize(); ++i)
        src.GetData()[i] = uint8_t(i + 1);
    LImageFormat f(YUV420P, 5, 3, true);
    f.SetPlanarSize(8, 4, 6);
    LImageBuffer dst(f);
    ASSERT_TRUE(dst.IsValid());
    std::memset(dst.GetData(), 0, f.CalculateBufferSize());
    LImageBufferCopy(dst, src);
    for (int y = 0; y < 3; ++y)
        EXPECT_EQ(std::memcmp(dst.GetScanLine(2 - y), src.GetScanLine(y), 5), 0) << y;
    // Chroma planes have two rows of three bytes; the destination holds them bottom row first.
    EXPECT_EQ(std::memcmp(dst.GetFirstScanLineU() + 4, src.GetFirstScanLineU(), 3), 0);
    EXPECT_EQ(std::memcmp(dst.GetFirstScanLineU(), src.GetFirstScanLineU() + 3, 3), 0);
    EXPECT_EQ(std::memcmp(dst.GetFirstScanLineV() + 6, src.GetFirstScanLineV(), 3), 0);
    EXPECT_EQ(dst.GetFirstScanLineV()[3], 0);
}

TEST(LOptLargeMemCpy, LargeCopiesAtEveryAlignment)
{
    const size_t size = (size_t(3) << 20) + 77;
    std::vector<uint8_t> src(size + 64), dst(size + 64);
    for (size_t i = 0; i < src.size(); ++i)
        src[i] = uint8_t(i * 131 + (i >> 12));
    for (size_t so : {0, 1, 8, 15})
        for (size_t d0 : {0, 3, 16})
        {
            std::fill(dst.begin(), dst.end(), 0x5A);
            LOptLargeMemCpy(dst.data() + d0, src.data() + so, size);
            ASSERT_EQ(std::memcmp(dst.data() + d0, src.data() + so, size), 0) << so << " " << d0;
            EXPECT_EQ(dst[d0 + size], 0x5A);
            if (d0)
            {
                EXPECT_EQ(dst[d0 - 1], 0x5A);
            }
        }
}
