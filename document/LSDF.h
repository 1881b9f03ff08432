#pragma once
// SDF, the chunked container of project, recovery and batch files. A file is a 12-byte head, one
// root container chunk and the magic again; a chunk is a 12-byte header (id, type, 64-bit size of
// the data) followed by its data, and a container's data is further chunks. All numbers are
// little-endian.
//
// The writer fills in a container's size by seeking back, so it needs a seekable stream. The
// reader never trusts the file: every size is checked against the container that holds it before
// it is used, and nesting is bounded.

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "foundation/LList.h"
#include "foundation/LStream.h"

enum LSDFChunkType : uint16_t
{
    LSDFTypeContainer = 0,
    LSDFTypeBool = 1,
    LSDFTypeInt = 2,
    LSDFTypeFloat = 4,
    LSDFTypeFloat64 = 5,
    LSDFTypeString = 6,
    LSDFTypeBlob = 7,
};

constexpr uint8_t kLSDFMagic[4] = {'l', 's', 'd', 'f'};
constexpr uint16_t kLSDFContainerVersion = 1;
constexpr size_t kLSDFHeadSize = 12;
constexpr size_t kLSDFChunkHeaderSize = 12;
// Deeper than any file the program writes by a wide margin; a deeper file is damaged or hostile.
constexpr int kLSDFMaxDepth = 32;

// A chunk a reader didn't understand and a writer is to keep. iPosition is the chunk's index
// among its container's children when it was read; -1 writes it wherever the container ends.
class LSDFUnknownChunk : public LListItem<LSDFUnknownChunk>
{
public:
    uint16_t iId = 0;
    uint16_t iType = 0;
    std::vector<uint8_t> vData;
    int iPosition = -1;
};

struct LSDFChunkInfo
{
    uint16_t iId = 0;
    uint16_t iType = 0;
    int64_t iDataStart = 0;
    uint64_t iSize = 0;
    int iPosition = -1;
    // Containers being written: the unknown chunks to interleave, and the next one due.
    LList<LSDFUnknownChunk>* lpUnknown = nullptr;
    LSDFUnknownChunk* lpNextUnknown = nullptr;
    int iDepth = 0; // the root is 0
};

// Stream is an LOutputStream<Base> whose base can seek (file or byte array).
template <class Stream>
class LSDFWriter
{
public:
    // Writes the head and opens the root. False when the stream isn't open or a write fails.
    bool Open(Stream& stream, uint32_t fileType, uint16_t fileVersion,
              LList<LSDFUnknownChunk>* unknown = nullptr)
    {
        lpStream = &stream;
        iFileVersion = fileVersion;
        vStack.clear();
        bOk = stream.IsOpen() && stream.Write(kLSDFMagic, 4) && stream.WriteUInt16LE(kLSDFContainerVersion) &&
              stream.WriteUInt32LE(fileType) && stream.WriteUInt16LE(fileVersion);
        return bOk && StartContainer(0, unknown, -1);
    }

    // The header goes out with size 0; EndChunk writes the real one.
    bool StartChunk(uint16_t id, uint16_t type, int position = -1)
    {
        if (!WriteUnknownBefore(position) || !WriteHeader(id, type, 0))
            return false;
        LSDFChunkInfo info;
        info.iId = id;
        info.iType = type;
        info.iDataStart = lpStream->Tell64();
        info.iPosition = position;
        info.iDepth = int(vStack.size());
        if (info.iDataStart < 0)
            return Fail();
        vStack.push_back(info);
        return true;
    }
    bool EndChunk(uint16_t id)
    {
        if (!bOk || vStack.empty() || vStack.back().iId != id)
            return Fail();
        const LSDFChunkInfo info = vStack.back();
        vStack.pop_back();
        const int64_t end = lpStream->Tell64();
        if (end < info.iDataStart || !lpStream->Seek64(info.iDataStart - 8) ||
            !lpStream->WriteUInt64LE(uint64_t(end - info.iDataStart)) || !lpStream->Seek64(end))
            return Fail();
        return true;
    }

    // Writes the container's unknown chunks that stand at its very beginning.
    bool StartContainer(uint16_t id, LList<LSDFUnknownChunk>* unknown = nullptr, int position = -1)
    {
        if (!StartChunk(id, LSDFTypeContainer, position))
            return false;
        LSDFChunkInfo& info = vStack.back();
        info.lpUnknown = unknown;
        info.lpNextUnknown = unknown ? unknown->GetFirst() : nullptr;
        for (int expected = 0; info.lpNextUnknown && info.lpNextUnknown->iPosition == expected; ++expected)
            if (!WriteNextUnknown(vStack.back()))
                return false;
        return true;
    }
    // Writes the container's remaining unknown chunks, then ends it.
    bool EndContainer(uint16_t id)
    {
        if (!bOk || vStack.empty())
            return Fail();
        while (vStack.back().lpNextUnknown)
            if (!WriteNextUnknown(vStack.back()))
                return false;
        return EndChunk(id);
    }

    // The typed chunks know their size up front, so they need no seek back.
    bool WriteBool(uint16_t id, bool value, int position = -1)
    {
        const uint8_t b = value ? 1 : 0;
        return WriteSized(id, LSDFTypeBool, &b, 1, position);
    }
    bool WriteInt(uint16_t id, int32_t value, int position = -1)
    {
        const uint8_t b[4] = {uint8_t(value), uint8_t(uint32_t(value) >> 8), uint8_t(uint32_t(value) >> 16),
                              uint8_t(uint32_t(value) >> 24)};
        return WriteSized(id, LSDFTypeInt, b, 4, position);
    }
    bool WriteFloat(uint16_t id, float value, int position = -1)
    {
        uint32_t u;
        memcpy(&u, &value, 4);
        const uint8_t b[4] = {uint8_t(u), uint8_t(u >> 8), uint8_t(u >> 16), uint8_t(u >> 24)};
        return WriteSized(id, LSDFTypeFloat, b, 4, position);
    }
    bool WriteFloat64(uint16_t id, double value, int position = -1)
    {
        uint64_t u;
        memcpy(&u, &value, 8);
        uint8_t b[8];
        for (int i = 0; i < 8; ++i)
            b[i] = uint8_t(u >> (8 * i));
        return WriteSized(id, LSDFTypeFloat64, b, 8, position);
    }
    // With its terminating 0.
    bool WriteString(uint16_t id, const char* value, int position = -1)
    {
        const char* s = value ? value : "";
        return WriteSized(id, LSDFTypeString, s, strlen(s) + 1, position);
    }
    bool WriteBlob(uint16_t id, const void* data, size_t size, int position = -1)
    {
        return WriteSized(id, LSDFTypeBlob, data, size, position);
    }

    // Ends the root and writes the trailing magic.
    bool Close()
    {
        if (!bOk || vStack.size() != 1)
            return Fail();
        return EndContainer(0) && (lpStream->Write(kLSDFMagic, 4) || Fail());
    }

    Stream* lpStream = nullptr;
    bool bOk = false;
    uint16_t iFileVersion = 0;
    // Open chunks, the root first.
    std::vector<LSDFChunkInfo> vStack;

private:
    bool Fail()
    {
        bOk = false;
        return false;
    }
    bool WriteHeader(uint16_t id, uint16_t type, uint64_t size)
    {
        if (!bOk)
            return false;
        if (!lpStream->WriteUInt16LE(id) || !lpStream->WriteUInt16LE(type) || !lpStream->WriteUInt64LE(size))
            return Fail();
        return true;
    }
    bool WriteSized(uint16_t id, uint16_t type, const void* data, size_t size, int position)
    {
        if (!WriteUnknownBefore(position) || !WriteHeader(id, type, size))
            return false;
        if (size && !lpStream->Write(data, size))
            return Fail();
        return true;
    }
    bool WriteNextUnknown(LSDFChunkInfo& container)
    {
        LSDFUnknownChunk* u = container.lpNextUnknown;
        container.lpNextUnknown = u->GetNextItem();
        return WriteSized(u->iId, u->iType, u->vData.data(), u->vData.size(), -1);
    }
    // Before a chunk at position, the unknown chunks that stood before it.
    bool WriteUnknownBefore(int position)
    {
        if (!bOk)
            return false;
        if (position < 0 || vStack.empty())
            return true;
        LSDFChunkInfo& container = vStack.back();
        // One without a position waits for the container's end.
        while (container.lpNextUnknown && container.lpNextUnknown->iPosition >= 0 &&
               container.lpNextUnknown->iPosition < position)
            if (!WriteNextUnknown(container))
                return false;
        return true;
    }
};

template <class Stream>
class LSDFReader;

// A chunk as read: its header and where its data lies.
template <class Stream>
class LSDFReaderChunk : public LSDFChunkInfo
{
public:
    bool IsContainer() const { return iType == LSDFTypeContainer; }
    int64_t GetDataEnd() const { return iDataStart + int64_t(iSize); }

    // Each read starts at the chunk's data and fails, leaving the value alone, when the chunk is
    // too short for it.
    bool ReadBool(bool& value) const
    {
        uint8_t b;
        if (iSize < 1 || !Seek() || !lpStream->ReadUInt8(b))
            return false;
        value = b != 0;
        return true;
    }
    bool ReadInt(int32_t& value) const { return iSize >= 4 && Seek() && lpStream->ReadSInt32LE(value); }
    bool ReadFloat(float& value) const
    {
        uint32_t u;
        if (iSize < 4 || !Seek() || !lpStream->ReadUInt32LE(u))
            return false;
        memcpy(&value, &u, 4);
        return true;
    }
    bool ReadFloat64(double& value) const
    {
        uint64_t u;
        if (iSize < 8 || !Seek() || !lpStream->ReadUInt64LE(u))
            return false;
        memcpy(&value, &u, 8);
        return true;
    }
    // A number stored as any of the four numeric types, by the chunk's own type.
    bool ReadNumber(double& value) const
    {
        switch (iType)
        {
        case LSDFTypeBool:
        {
            bool b;
            return ReadBool(b) && ((value = b ? 1.0 : 0.0), true);
        }
        case LSDFTypeInt:
        {
            int32_t i;
            return ReadInt(i) && ((value = double(i)), true);
        }
        case LSDFTypeFloat:
        {
            float f;
            return ReadFloat(f) && ((value = double(f)), true);
        }
        case LSDFTypeFloat64:
            return ReadFloat64(value);
        default:
            return false;
        }
    }
    // size bytes of which the last is the terminating 0; a missing terminator is forgiven.
    bool ReadString(std::string& value) const
    {
        if (!Seek())
            return false;
        std::string s(size_t(iSize), '\0');
        if (iSize && !lpStream->Read(s.data(), s.size()))
            return false;
        const size_t end = s.find('\0');
        s.resize(end == std::string::npos ? s.size() : end);
        value = std::move(s);
        return true;
    }
    // An empty chunk gives an empty array and true.
    bool ReadData(std::vector<uint8_t>& data) const
    {
        if (!Seek())
            return false;
        data.resize(size_t(iSize));
        return iSize == 0 || lpStream->Read(data.data(), data.size());
    }
    // The data in place, for streams over memory.
    bool GetData(const uint8_t*& data, size_t& size) const
    {
        if constexpr (requires(Stream & s) { s.GetData(); })
        {
            if (!lpStream->GetData() && iSize)
                return false;
            data = lpStream->GetData() + iDataStart;
            size = size_t(iSize);
            return true;
        }
        else
            return false;
    }

    Stream* lpStream = nullptr;

private:
    bool Seek() const { return lpStream && lpStream->Seek64(iDataStart); }
};

template <class Stream>
class LSDFReader
{
public:
    // Checks head, container version and file type, and reads the root's header, which must be a
    // container of id 0 that fits in the stream.
    bool Open(Stream& stream, uint32_t fileType)
    {
        lpStream = &stream;
        bOk = bOpen = false;
        uint8_t magic[4];
        uint16_t version = 0, fileVersion = 0;
        uint32_t type = 0;
        if (!stream.IsOpen() || !stream.Seek64(0) || !stream.Read(magic, 4) ||
            memcmp(magic, kLSDFMagic, 4) != 0 || !stream.ReadUInt16LE(version) ||
            version != kLSDFContainerVersion || !stream.ReadUInt32LE(type) || type != fileType ||
            !stream.ReadUInt16LE(fileVersion))
            return false;
        iFileVersion = fileVersion;
        bOk = true;
        if (!StartNextChunk(root, stream.GetSize64()) || root.iId != 0 || root.iType != LSDFTypeContainer)
            return bOk = false;
        root.iDepth = 0;
        bOpen = true;
        return true;
    }

    // Reads the header at the present position; the chunk must end by limit.
    bool StartNextChunk(LSDFReaderChunk<Stream>& chunk, int64_t limit)
    {
        uint16_t id, type;
        uint64_t size;
        if (!bOk || !lpStream->ReadUInt16LE(id) || !lpStream->ReadUInt16LE(type) ||
            !lpStream->ReadUInt64LE(size))
            return bOk = false;
        const int64_t start = lpStream->Tell64();
        if (start > limit || size > uint64_t(limit - start))
            return bOk = false;
        chunk.iId = id;
        chunk.iType = type;
        chunk.iSize = size;
        chunk.iDataStart = start;
        chunk.lpStream = lpStream;
        return true;
    }

    // Walks the whole tree once, headers only: every chunk fits in its container, containers are
    // filled exactly, and no branch is deeper than maxDepth.
    bool CheckStructure(int maxDepth = kLSDFMaxDepth)
    {
        if (!bOpen || !bOk)
            return false;
        struct Level
        {
            int64_t iNext, iEnd;
        };
        std::vector<Level> stack{{root.iDataStart, root.GetDataEnd()}};
        while (!stack.empty())
        {
            Level& level = stack.back();
            if (level.iNext == level.iEnd)
            {
                stack.pop_back();
                continue;
            }
            LSDFReaderChunk<Stream> chunk;
            if (level.iEnd - level.iNext < int64_t(kLSDFChunkHeaderSize) || !lpStream->Seek64(level.iNext) ||
                !StartNextChunk(chunk, level.iEnd))
                return bOk = false;
            level.iNext = chunk.GetDataEnd();
            if (chunk.IsContainer())
            {
                if (int(stack.size()) >= maxDepth)
                    return bOk = false;
                stack.push_back({chunk.iDataStart, chunk.GetDataEnd()});
            }
        }
        return true;
    }

    // Reads the trailing magic behind the root.
    bool Close()
    {
        uint8_t magic[4];
        const bool ok = bOpen && lpStream->Seek64(root.GetDataEnd()) && lpStream->Read(magic, 4) &&
                        memcmp(magic, kLSDFMagic, 4) == 0;
        bOpen = false;
        return ok;
    }

    Stream* lpStream = nullptr;
    bool bOk = false;
    bool bOpen = false;
    uint16_t iFileVersion = 0;
    LSDFReaderChunk<Stream> root;
};

// Walks the children of a container (or of the root); at its end at once for a chunk that isn't
// a container. Each Next moves past the whole present chunk, read or not. A header that doesn't
// fit, bytes left over that can't hold one, or a container nested too deep clear the reader's
// bOk and end the walk.
template <class Stream>
class LSDFReaderChunkIterator
{
public:
    explicit LSDFReaderChunkIterator(LSDFReader<Stream>& reader) : lpReader(&reader) { Begin(reader.root); }
    LSDFReaderChunkIterator(LSDFReader<Stream>& reader, const LSDFReaderChunk<Stream>& parent)
        : lpReader(&reader)
    {
        Begin(parent);
    }

    bool IsValid() const { return bValid; }
    const LSDFReaderChunk<Stream>* operator->() const { return &chunk; }
    const LSDFReaderChunk<Stream>& Get() const { return chunk; }
    int GetCount() const { return iCount; }

    bool Next()
    {
        bValid = false;
        if (!lpReader->bOk)
            return false;
        if (iCount > 0)
            iNext = chunk.GetDataEnd();
        if (iNext == iEnd)
            return false;
        if (iEnd - iNext < int64_t(kLSDFChunkHeaderSize) || !lpReader->lpStream->Seek64(iNext) ||
            !lpReader->StartNextChunk(chunk, iEnd))
            return lpReader->bOk = false;
        chunk.iDepth = iDepth;
        chunk.iPosition = iCount++;
        return bValid = true;
    }

private:
    void Begin(const LSDFReaderChunk<Stream>& parent)
    {
        iNext = parent.iDataStart;
        iEnd = parent.IsContainer() ? parent.GetDataEnd() : parent.iDataStart;
        iDepth = parent.iDepth + 1;
        if (parent.IsContainer() && iDepth > kLSDFMaxDepth)
        {
            lpReader->bOk = false;
            return;
        }
        Next();
    }

    LSDFReader<Stream>* lpReader;
    LSDFReaderChunk<Stream> chunk;
    int64_t iNext = 0;
    int64_t iEnd = 0;
    int iDepth = 0;
    int iCount = 0;
    bool bValid = false;
};

// The stream types the program's files use: written to a file, read from memory.
using LSDFFileWriter = LSDFWriter<LOutputStream<LOutputStreamFile>>;
using LSDFMemoryStream = LInputStream<LInputStreamBuffer>;
using LSDFMemoryReader = LSDFReader<LSDFMemoryStream>;
using LSDFMemoryChunk = LSDFReaderChunk<LSDFMemoryStream>;
using LSDFMemoryChunkIterator = LSDFReaderChunkIterator<LSDFMemoryStream>;
