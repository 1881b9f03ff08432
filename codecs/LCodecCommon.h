#pragma once
// Helpers shared by the codecs: a type-erased view of the stream classes for library glue that is
// compiled once, the size limits, progress with cancellation, and rows of any source format as
// B8G8R8A8.

#include <cstddef>
#include <cstdint>

#include "foundation/LProcessInterface.h"
#include "foundation/LStream.h"
#include "image/LImageBuffer.h"

// Library callbacks read through this; one virtual call per block, never per pixel.
class LCodecReader
{
public:
    virtual ~LCodecReader() = default;
    virtual size_t Read(void* data, size_t size) = 0; // bytes read, fewer at the end
    virtual int64_t Tell() = 0;
    virtual bool Seek(int64_t position) = 0;
    virtual int64_t GetSize() = 0; // -1 when unknown
    // The whole input when it already lies in memory (null otherwise).
    virtual const uint8_t* GetMemory() { return nullptr; }
    // The open file behind the input, for mapping it (-1 otherwise).
    virtual int GetDescriptor() { return -1; }
};

template <class Base>
class LCodecReaderOf final : public LCodecReader
{
public:
    explicit LCodecReaderOf(LInputStream<Base>& stream) : s(stream) {}
    size_t Read(void* data, size_t size) override { return s.ReadRaw(data, size); }
    int64_t Tell() override { return s.Tell64(); }
    bool Seek(int64_t position) override { return s.Seek64(position); }
    int64_t GetSize() override { return s.GetSize64(); }
    const uint8_t* GetMemory() override
    {
        if constexpr (requires(LInputStream<Base> & x) { x.GetData(); })
            return s.GetData();
        else
            return nullptr;
    }
    int GetDescriptor() override
    {
        if constexpr (requires(LInputStream<Base> & x) { x.GetDescriptor(); })
            return s.GetDescriptor();
        else
            return -1;
    }

private:
    LInputStream<Base>& s;
};

class LCodecWriter
{
public:
    virtual ~LCodecWriter() = default;
    virtual bool Write(const void* data, size_t size) = 0;
    virtual int64_t Tell() = 0;
    virtual bool Seek(int64_t position) = 0;
};

template <class Base>
class LCodecWriterOf final : public LCodecWriter
{
public:
    explicit LCodecWriterOf(LOutputStream<Base>& stream) : s(stream) {}
    bool Write(const void* data, size_t size) override { return size == 0 || s.WriteRaw(data, size); }
    int64_t Tell() override { return s.Tell64(); }
    bool Seek(int64_t position) override { return s.Seek64(position); }

private:
    LOutputStream<Base>& s;
};

// Largest side and pixel count a decoder accepts before allocating; the buffer's own 32-bit size
// limit still applies.
constexpr uint64_t kLCodecMaxSide = 1u << 20;
constexpr uint64_t kLCodecMaxPixels = uint64_t(1) << 30;

// Pixels one byte of data may stand for, in formats whose coding has no useful bound of its own
// (arithmetic coding, empty packets, one-symbol Huffman codes): far above any photograph, far
// below what a few hundred bytes claiming gigapixels would need.
constexpr double kLCodecMaxPixelsPerByte = 16384.0;

// Lowers (or restores, with 0) the pixel count decoders accept; fuzz targets keep runs fast with it.
void LCodecSetPixelLimit(uint64_t pixels);
uint64_t LCodecGetPixelLimit();

// The memory check of loading: half of the available memory must hold 12 bytes for each pixel.
bool LCodecMemoryAllows(uint64_t width, uint64_t height, uint64_t availableBytes);
// Memory the process can still take: the system's available memory, within the control group's
// limit when there is one.
uint64_t LCodecAvailableMemory();
constexpr const char* kLCodecTooLargeMessage =
    "There is not enough available memory to load an image that large.";

// What a decoder checks from the header before it allocates anything, or has a library allocate:
// a picture of width by height can come from bytesLeft bytes of data when the format's best
// compression delivers at most pixelsPerByte pixels a byte (0: no data bound, used where the
// decoder checks the data itself); and the picture must pass the size limits and the memory
// check. A picture too large for either says so through process; damage fails without a word.
bool LCodecCheckPicture(LProcessInterface& process, uint64_t width, uint64_t height, int64_t bytesLeft,
                        double pixelsPerByte);

// Checks the size in 64 bits, then allocates; false on a bad size or exhausted memory.
bool LCodecAllocate(LImageBuffer& image, uint64_t width, uint64_t height, pixelformat_t pf = B8G8R8A8);

// Passes everything on, noting whether the work worded its own failure, so that the caller adds
// its general message only when nothing more precise was said.
class LCodecErrorWatch : public LProcessInterfaceNested
{
public:
    explicit LCodecErrorWatch(LProcessInterface& parent) : LProcessInterfaceNested(parent) {}
    void SetError(const char* text) override
    {
        bErrorSet = true;
        lpParent->SetError(text);
    }
    bool bErrorSet = false;
};

// Reports progress whenever it has grown by at least 0.01 and checks for a stop at those points,
// or at every call when bEveryCall is set.
class LCodecProgress
{
public:
    LCodecProgress(LProcessInterface& process, double start = 0.0, double range = 1.0, bool everyCall = true)
        : p(process), dStart(start), dRange(range), bEveryCall(everyCall)
    {
    }
    // False when the user asked to stop.
    bool Step(double fraction)
    {
        const double f = dStart + fraction * dRange;
        if (f - dLast >= 0.01)
        {
            dLast = f;
            p.SetProgress(f);
            return !p.IsToStop();
        }
        return bEveryCall ? !p.IsToStop() : true;
    }
    bool Row(int64_t done, int64_t total) { return Step(total > 0 ? double(done) / double(total) : 1.0); }

private:
    LProcessInterface& p;
    double dStart, dRange;
    double dLast = -1.0;
    bool bEveryCall;
};

// Gives the rows of any packed source as B8G8R8A8, top row first; B8G8R8A8 rows are the buffer's
// own, others are converted row by row (or once, for formats without a row converter).
class LCodecSourceRows
{
public:
    explicit LCodecSourceRows(const LImageBuffer& image);
    ~LCodecSourceRows();
    LCodecSourceRows(const LCodecSourceRows&) = delete;
    LCodecSourceRows& operator=(const LCodecSourceRows&) = delete;

    bool IsValid() const { return bValid; }
    int GetWidth() const { return lpImage->GetWidth(); }
    int GetHeight() const { return lpImage->GetHeight(); }
    const uint8_t* Row(int y);
    // True when every pixel is opaque (scans once, then remembers).
    bool IsOpaque();

private:
    const LImageBuffer* lpImage;
    LImageBuffer converted;
    uint8_t* lpRow = nullptr;
    bool bValid = false;
    int iOpaque = -1;
};

// Turns a B8G8R8A8 image upright by an EXIF/TIFF orientation (1 to 8); false when out of memory.
bool LCodecApplyOrientation(LImageBuffer& image, int orientation);

// Finds the orientation tag in an EXIF block ("Exif\0\0" then a TIFF header); 1 when absent.
int LCodecExifOrientation(const uint8_t* data, size_t size);
