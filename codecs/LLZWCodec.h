#pragma once
// The variable-length LZW of GIF: codes of (minimum code size + 1) to 12 bits, least significant
// bit first, with a clear code and an end code above the literal values.

#include <cstddef>
#include <cstdint>
#include <vector>

#include "foundation/LProcessInterface.h"

// Packs codes of any width up to 12 bits into bytes, low bits first.
class LLZWOutputStream
{
public:
    explicit LLZWOutputStream(std::vector<uint8_t>& out) : arOut(out) {}

    void Put(unsigned code, unsigned width)
    {
        iBits |= uint64_t(code) << nBits;
        nBits += width;
        if (nBits >= 32)
        {
            const uint8_t b[4] = {uint8_t(iBits), uint8_t(iBits >> 8), uint8_t(iBits >> 16),
                                  uint8_t(iBits >> 24)};
            arOut.insert(arOut.end(), b, b + 4);
            iBits >>= 32;
            nBits -= 32;
        }
    }
    // Writes what is left, the last byte padded with zero bits.
    void Finish()
    {
        for (; nBits > 0; nBits = nBits > 8 ? nBits - 8 : 0, iBits >>= 8)
            arOut.push_back(uint8_t(iBits));
    }

private:
    std::vector<uint8_t>& arOut;
    uint64_t iBits = 0;
    unsigned nBits = 0;
};

// The strings seen so far as a tree: each code knows its last byte, its first child and its next
// sibling, so a lookup walks the children of the current prefix.
struct LLZWEncodingDictionary
{
    struct Node
    {
        uint16_t iByte;
        uint16_t iFirstChild; // 0 for none: no string's code is 0
        uint16_t iNextSibling;
    };

    // Forgets every string longer than one byte.
    void Reset(unsigned literals)
    {
        for (unsigned i = 0; i < literals; ++i)
            arNodes[i].iFirstChild = 0;
    }
    // The code of prefix followed by byte, 0 when it isn't known yet.
    unsigned Find(unsigned prefix, unsigned byte) const
    {
        for (unsigned c = arNodes[prefix].iFirstChild; c; c = arNodes[c].iNextSibling)
            if (arNodes[c].iByte == byte)
                return c;
        return 0;
    }
    void Add(unsigned prefix, unsigned byte, unsigned code)
    {
        arNodes[code] = {uint16_t(byte), 0, arNodes[prefix].iFirstChild};
        arNodes[prefix].iFirstChild = uint16_t(code);
    }

    Node arNodes[4096];
};

class LLZWCodec
{
public:
    static constexpr int kMaxBits = 12;

    // Codes count values (each below 1 << minCodeSize) into out, from the clear code to the end
    // code. 0 done, 1 stopped, 2 for no values, a code size outside 2 to 8 or a value too large.
    static LProcessResult Encode(LProcessInterface& process, const uint8_t* values, size_t count,
                                 int minCodeSize, std::vector<uint8_t>& out);

    // Decodes up to outSize values; stops at the end code, when the data run out or when out is
    // full. Returns how many values came out.
    static size_t Decode(const uint8_t* data, size_t size, int minCodeSize, uint8_t* out, size_t outSize);
};
