#pragma once
// Byte streams. Two template families over a base that moves raw bytes: LInputStream<Base> and
// LOutputStream<Base>. Every typed read returns false at the end of the data, so decoders can
// check each read instead of trusting the file.

#include <cstddef>
#include <cstdint>
#include <vector>

enum LFileLockMode : int
{
    LFileLockNone = 0,
    LFileLockShared = 1,    // readers
    LFileLockExclusive = 2, // writers
};

// Takes an advisory lock on an open descriptor, polling every 10 ms for up to timeoutMs
// (a negative time-out waits forever). False when the time-out passes first.
bool LFileLockWait(int file, LFileLockMode lock, int timeoutMs);

// Read side of a file, with an 8192-byte read buffer.
class LInputStreamFile
{
public:
    static constexpr size_t kBufferSize = 8192;

    LInputStreamFile() = default;
    LInputStreamFile(const LInputStreamFile&) = delete;
    LInputStreamFile& operator=(const LInputStreamFile&) = delete;
    ~LInputStreamFile();

    // Opens for reading; with a lock, waits up to timeoutMs for it and fails after that.
    bool Open(const char* path, LFileLockMode lock = LFileLockNone, int timeoutMs = 3000);
    void Close();
    bool IsOpen() const { return iFile >= 0; }

    // Bytes actually read (fewer at the end of the file).
    size_t ReadRaw(void* data, size_t size);
    int64_t Tell64() const;
    // False for a position before the start or past the end (the end itself is fine). A seek
    // that stays inside the read buffer doesn't touch the file.
    bool Seek64(int64_t position);
    bool SeekOffset64(int64_t offset);
    int64_t GetSize64() const; // as it was when opened
    // For mapping the file whole; -1 when closed.
    int GetDescriptor() const { return iFile; }

private:
    bool FillBuffer(int64_t position);

    int iFile = -1;
    int64_t iFileSize = 0;
    int64_t iBufferFilePos = 0; // file position of arBuffer[0]
    size_t nBufferFill = 0;
    size_t nBufferPos = 0;
    uint8_t arBuffer[kBufferSize];
};

// Read side of a memory range that the stream doesn't own.
class LInputStreamBuffer
{
public:
    LInputStreamBuffer() = default;
    LInputStreamBuffer(const void* data, size_t size) { SetBuffer(data, size); }
    void SetBuffer(const void* data, size_t size)
    {
        lpData = static_cast<const uint8_t*>(data);
        nSize = size;
        nPos = 0;
    }
    bool IsOpen() const { return lpData != nullptr || nSize == 0; }
    size_t ReadRaw(void* data, size_t size);
    int64_t Tell64() const { return int64_t(nPos); }
    bool Seek64(int64_t position);
    bool SeekOffset64(int64_t offset) { return Seek64(int64_t(nPos) + offset); }
    int64_t GetSize64() const { return int64_t(nSize); }
    const uint8_t* GetData() const { return lpData; }

private:
    const uint8_t* lpData = nullptr;
    size_t nSize = 0;
    size_t nPos = 0;
};

template <class Base>
class LInputStream : public Base
{
public:
    using Base::Base;

    // All or nothing: false when fewer than size bytes remain.
    bool Read(void* data, size_t size) { return this->ReadRaw(data, size) == size; }
    bool ReadUInt8(uint8_t& v) { return Read(&v, 1); }
    bool ReadUInt16LE(uint16_t& v)
    {
        uint8_t b[2];
        if (!Read(b, 2))
            return false;
        v = uint16_t(b[0] | b[1] << 8);
        return true;
    }
    bool ReadUInt32LE(uint32_t& v)
    {
        uint8_t b[4];
        if (!Read(b, 4))
            return false;
        v = uint32_t(b[0]) | uint32_t(b[1]) << 8 | uint32_t(b[2]) << 16 | uint32_t(b[3]) << 24;
        return true;
    }
    bool ReadSInt32LE(int32_t& v)
    {
        uint32_t u;
        if (!ReadUInt32LE(u))
            return false;
        v = int32_t(u);
        return true;
    }
    bool ReadUInt64LE(uint64_t& v)
    {
        uint32_t lo, hi;
        if (!ReadUInt32LE(lo) || !ReadUInt32LE(hi))
            return false;
        v = uint64_t(hi) << 32 | lo;
        return true;
    }
    bool ReadUInt16BE(uint16_t& v)
    {
        uint8_t b[2];
        if (!Read(b, 2))
            return false;
        v = uint16_t(b[0] << 8 | b[1]);
        return true;
    }
    bool ReadUInt32BE(uint32_t& v)
    {
        uint8_t b[4];
        if (!Read(b, 4))
            return false;
        v = uint32_t(b[0]) << 24 | uint32_t(b[1]) << 16 | uint32_t(b[2]) << 8 | uint32_t(b[3]);
        return true;
    }
};

// Write side of a file. Close reports whether everything reached the file.
class LOutputStreamFile
{
public:
    LOutputStreamFile() = default;
    LOutputStreamFile(const LOutputStreamFile&) = delete;
    LOutputStreamFile& operator=(const LOutputStreamFile&) = delete;
    ~LOutputStreamFile();

    // Creates or truncates (mode 0600 for a new file); with a lock, waits up to timeoutMs.
    bool Open(const char* path, LFileLockMode lock = LFileLockNone, int timeoutMs = 3000);
    bool Close();
    bool IsOpen() const { return iFile >= 0; }

    bool WriteRaw(const void* data, size_t size);
    int64_t Tell64() const;
    // Flushes first; writing after a seek past the end leaves a gap of zeros.
    bool Seek64(int64_t position);
    bool Flush();
    // Flushes and waits until the data is on the disk.
    bool Sync();
    // False once any write, seek or flush has failed; Close reports it too.
    bool IsGood() const { return !bFailed; }
    // The system's error number of the first failure (ENOSPC for a full disk), 0 without one.
    int GetError() const { return iError; }
    int GetDescriptor() const { return iFile; }

private:
    static constexpr size_t kBufferSize = 65536;

    void Fail(int error);

    int iFile = -1;
    bool bFailed = false;
    int iError = 0;
    size_t nBufferFill = 0;
    uint8_t* lpBuffer = nullptr;
};

// Write side of a growing byte array.
class LOutputStreamByteArray
{
public:
    bool IsOpen() const { return true; }
    bool WriteRaw(const void* data, size_t size);
    int64_t Tell64() const { return int64_t(nPos); }
    // May go past the end; the next write fills the gap with zeros.
    bool Seek64(int64_t position);
    const uint8_t* GetData() const { return arData.data(); }
    size_t GetSize() const { return arData.size(); }
    std::vector<uint8_t>& GetArray() { return arData; }

private:
    std::vector<uint8_t> arData;
    size_t nPos = 0;
};

template <class Base>
class LOutputStream : public Base
{
public:
    using Base::Base;

    bool Write(const void* data, size_t size) { return this->WriteRaw(data, size); }
    bool WriteUInt8(uint8_t v) { return Write(&v, 1); }
    bool WriteUInt16LE(uint16_t v)
    {
        uint8_t b[2] = {uint8_t(v), uint8_t(v >> 8)};
        return Write(b, 2);
    }
    bool WriteUInt16BE(uint16_t v)
    {
        uint8_t b[2] = {uint8_t(v >> 8), uint8_t(v)};
        return Write(b, 2);
    }
    bool WriteUInt32LE(uint32_t v)
    {
        uint8_t b[4] = {uint8_t(v), uint8_t(v >> 8), uint8_t(v >> 16), uint8_t(v >> 24)};
        return Write(b, 4);
    }
    bool WriteUInt32BE(uint32_t v)
    {
        uint8_t b[4] = {uint8_t(v >> 24), uint8_t(v >> 16), uint8_t(v >> 8), uint8_t(v)};
        return Write(b, 4);
    }
    bool WriteSInt32LE(int32_t v) { return WriteUInt32LE(uint32_t(v)); }
    bool WriteUInt64LE(uint64_t v) { return WriteUInt32LE(uint32_t(v)) && WriteUInt32LE(uint32_t(v >> 32)); }
};
