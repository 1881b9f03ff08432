#include "codecs/LLZWCodec.h"

#include <memory>
#include <new>

#include "codecs/LCodecCommon.h"

LProcessResult LLZWCodec::Encode(LProcessInterface& process, const uint8_t* values, size_t count,
                                 int minCodeSize, std::vector<uint8_t>& out)
{
    if (count == 0 || !values || minCodeSize < 2 || minCodeSize > 8)
        return LProcessResultFailed;
    std::unique_ptr<LLZWEncodingDictionary> dictionary(new (std::nothrow) LLZWEncodingDictionary);
    if (!dictionary)
        return LProcessResultFailed;
    const unsigned clear = 1u << minCodeSize, end = clear + 1;
    unsigned width = unsigned(minCodeSize) + 1, next = end + 1;
    dictionary->Reset(clear);
    LLZWOutputStream bits(out);
    bits.Put(clear, width);
    unsigned prefix = values[0];
    if (prefix >= clear)
        return LProcessResultFailed;

    // An interface call per value would cost more than the coding, so the stop is asked for in
    // steps of 4096 values.
    LCodecProgress progress(process);
    for (size_t start = 1; start < count; start += 4096)
    {
        if (!progress.Row(int64_t(start), int64_t(count)))
            return LProcessResultCancelled;
        const size_t stop = count - start > 4096 ? start + 4096 : count;
        for (size_t i = start; i < stop; ++i)
        {
            const unsigned v = values[i];
            if (v >= clear)
                return LProcessResultFailed;
            if (const unsigned code = dictionary->Find(prefix, v))
            {
                prefix = code;
                continue;
            }
            dictionary->Add(prefix, v, next++);
            bits.Put(prefix, width);
            prefix = v;
            if (next == 4095)
            {
                bits.Put(clear, width);
                dictionary->Reset(clear);
                width = unsigned(minCodeSize) + 1;
                next = end + 1;
            }
            else if ((1u << width) < next)
                ++width;
        }
    }
    bits.Put(prefix, width);
    bits.Put(end, width);
    bits.Finish();
    progress.Step(1.0);
    return LProcessResultSuccess;
}

size_t LLZWCodec::Decode(const uint8_t* data, size_t size, int minCodeSize, uint8_t* out, size_t outSize)
{
    if (minCodeSize < 2 || minCodeSize > 8)
        return 0;
    // Each code: the code of its string without the last byte, that last byte, the first byte and
    // the length, so a string is written backwards into place without a stack.
    uint16_t prefix[4096];
    uint8_t suffix[4096], first[4096];
    uint16_t length[4096];
    const unsigned clear = 1u << minCodeSize, end = clear + 1;
    for (unsigned i = 0; i < clear; ++i)
        prefix[i] = 0, suffix[i] = uint8_t(i), first[i] = uint8_t(i), length[i] = 1;

    unsigned width = unsigned(minCodeSize) + 1, next = end + 1;
    int previous = -1;
    size_t produced = 0, pos = 0;
    uint32_t bits = 0;
    unsigned nBits = 0;
    auto emit = [&](unsigned code)
    {
        const size_t n = length[code];
        for (size_t k = n; k-- > 0; code = prefix[code])
            if (produced + k < outSize)
                out[produced + k] = suffix[code];
        produced = produced + n < outSize ? produced + n : outSize;
    };
    while (produced < outSize)
    {
        while (nBits < width && pos < size)
            bits |= uint32_t(data[pos++]) << nBits, nBits += 8;
        if (nBits < width)
            break;
        const unsigned code = bits & ((1u << width) - 1);
        bits >>= width;
        nBits -= width;
        if (code == clear)
        {
            width = unsigned(minCodeSize) + 1;
            next = end + 1;
            previous = -1;
            continue;
        }
        if (code == end)
            break;
        if (previous < 0)
        {
            // After a clear only a literal can stand.
            if (code >= clear)
                break;
            emit(code);
            previous = int(code);
            continue;
        }
        unsigned added = next;
        if (code < next)
        {
            emit(code);
            if (next < 4096)
                prefix[next] = uint16_t(previous), suffix[next] = first[code];
        }
        else
        {
            // Not yet known: the previous string and its own first byte (a table that is full
            // can't get here, as every code is below 4096).
            prefix[next] = uint16_t(previous), suffix[next] = first[previous];
        }
        if (next < 4096)
        {
            first[next] = first[previous];
            length[next] = uint16_t(length[previous] + 1);
            ++next;
            if (code >= added)
                emit(added);
            if (next == (1u << width) && width < unsigned(kMaxBits))
                ++width;
        }
        previous = int(code >= added ? added : code);
    }
    return produced;
}
