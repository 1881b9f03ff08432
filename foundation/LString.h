#pragma once
// Byte strings in UTF-8. Fixed paths and names are char arrays of 260 bytes; text of unknown
// length is an LStringLongTemplate<char>. One formatting engine, tplprintf, writes to any sink
// that has AddCharacters(text, count).

#include <cstdarg>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <type_traits>

// ---- byte string helpers

template <class T>
size_t tstrlen(const T* text)
{
    size_t n = 0;
    while (text[n])
        ++n;
    return n;
}

// Size in bytes, without the terminator.
template <class T>
size_t tstrbytes(const T* text)
{
    return tstrlen(text) * sizeof(T);
}

template <class T>
int tstrcmp(const T* a, const T* b)
{
    using U = std::make_unsigned_t<T>;
    for (;; ++a, ++b)
    {
        if (*a != *b)
            return U(*a) < U(*b) ? -1 : 1;
        if (!*a)
            return 0;
    }
}

// Ignores the case of ASCII letters only; other bytes (UTF-8 sequences) compare as they are.
template <class T>
int tstricmp(const T* a, const T* b)
{
    using U = std::make_unsigned_t<T>;
    auto lower = [](T c) { return U(c >= 'A' && c <= 'Z' ? c + ('a' - 'A') : c); };
    for (;; ++a, ++b)
    {
        U ca = lower(*a), cb = lower(*b);
        if (ca != cb)
            return ca < cb ? -1 : 1;
        if (!ca)
            return 0;
    }
}

template <class T>
T* tstrcpy(T* out, const T* text)
{
    size_t n = tstrlen(text);
    memmove(out, text, (n + 1) * sizeof(T));
    return out;
}

// Bounded copy: at most capacity - 1 characters, always terminated; false when cut.
template <class T>
bool tstrcpy(T* out, size_t capacity, const T* text)
{
    if (capacity == 0)
        return false;
    size_t n = tstrlen(text);
    const bool fits = n < capacity;
    if (!fits)
        n = capacity - 1;
    memmove(out, text, n * sizeof(T));
    out[n] = 0;
    return fits;
}

template <class T, size_t N>
bool tstrcpy_s(T (&out)[N], const T* text)
{
    return tstrcpy(out, N, text);
}

// ---- the formatting engine

using LTextAddFunction = void (*)(void* sink, const char* text, size_t count);

// Formats into a sink reached through add; returns the number of bytes produced.
int _tplprintf(LTextAddFunction add, void* sink, const char* format, va_list args);
void _LJSONEscapeString(LTextAddFunction add, void* sink, const char* text);

template <class Sink>
void _LTextAddTo(void* sink, const char* text, size_t count)
{
    static_cast<Sink*>(sink)->AddCharacters(text, count);
}

// The C library's conversions (d i u x X o c s p e E f F g G a A %, flags "-+ #0", width and
// precision with "*", length modifiers hh h l ll L q z j t), plus "%J": a string written with
// JSON escaping. "%n" writes nothing.
template <class Sink>
int tplprintf(Sink& sink, const char* format, va_list args)
{
    return _tplprintf(&_LTextAddTo<Sink>, &sink, format, args);
}

template <class Sink>
int tplprintf(Sink& sink, const char* format, ...)
{
    va_list args;
    va_start(args, format);
    int n = tplprintf(sink, format, args);
    va_end(args);
    return n;
}

// Quote, backslash and control characters escaped; UTF-8 passes through unchanged.
template <class Sink>
void LJSONEscapeStringToWriter(Sink& sink, const char* text)
{
    _LJSONEscapeString(&_LTextAddTo<Sink>, &sink, text);
}

// ---- growing string

template <class T>
class LStringLongTemplate
{
public:
    T* lpData = nullptr; // owned; null when nothing was ever stored
    size_t nLength = 0;
    size_t nCapacity = 0; // characters allocated, terminator included

    LStringLongTemplate() = default;
    LStringLongTemplate(const T* text) { Append(text); }
    // Reserves room for size characters; the string stays empty.
    explicit LStringLongTemplate(size_t size) { GrowToSize(size); }
    LStringLongTemplate(const LStringLongTemplate& other) { Append(other.lpData, other.nLength); }
    LStringLongTemplate(LStringLongTemplate&& other) noexcept { Assign(other); }
    ~LStringLongTemplate() { free(lpData); }

    LStringLongTemplate& operator=(const LStringLongTemplate& other)
    {
        if (this != &other)
        {
            // Clear, not just a zero length: an empty other appends nothing, and the old text
            // would still be read through the conversion.
            Clear();
            Append(other.lpData, other.nLength);
        }
        return *this;
    }
    LStringLongTemplate& operator=(LStringLongTemplate&& other) noexcept
    {
        if (this != &other)
            Assign(other);
        return *this;
    }
    LStringLongTemplate& operator=(const T* text)
    {
        if (IsInside(text))
        {
            // Part of ourselves: move it down instead of reading freed memory.
            const size_t n = BoundedLength(text, Remaining(text));
            memmove(lpData, text, n * sizeof(T));
            nLength = n;
            lpData[n] = 0;
            return *this;
        }
        Clear();
        Append(text);
        return *this;
    }

    // Takes over other's buffer and leaves other empty.
    void Assign(LStringLongTemplate& other)
    {
        if (this == &other)
            return;
        free(lpData);
        lpData = other.lpData;
        nLength = other.nLength;
        nCapacity = other.nCapacity;
        other.lpData = nullptr;
        other.nLength = other.nCapacity = 0;
    }
    // The length characters from start, cut at the end of text.
    bool AssignSubString(const T* text, size_t start, size_t length)
    {
        size_t total = text ? tstrlen(text) : 0;
        if (start > total)
            start = total;
        if (length > total - start)
            length = total - start;
        LStringLongTemplate copy;
        if (!copy.Append(text + start, length))
            return false;
        Assign(copy);
        return true;
    }

    bool Append(const T* text)
    {
        if (!text)
            return true;
        return Append(text, IsInside(text) ? Remaining(text) : tstrlen(text));
    }
    bool Append(const T* text, size_t count)
    {
        if (count == 0 || !text)
            return true;
        if (count > kMaxLength - nLength)
            return false;
        if (IsInside(text))
        {
            // Part of ourselves, which growing may move: keep the offset, and read no further
            // than our own terminator (bytes behind it are stale).
            const size_t offset = size_t(text - lpData);
            count = BoundedLength(text, count < Remaining(text) ? count : Remaining(text));
            if (!GrowToSize(nLength + count))
                return false;
            memmove(lpData + nLength, lpData + offset, count * sizeof(T));
        }
        else
        {
            if (!GrowToSize(nLength + count))
                return false;
            memcpy(lpData + nLength, text, count * sizeof(T));
        }
        nLength += count;
        lpData[nLength] = 0;
        return true;
    }
    bool AppendChar(T c) { return Append(&c, 1); }

    int CompareTo(const T* text) const
    {
        return tstrcmp(static_cast<const T*>(*this), text ? text : Empty());
    }
    bool Equals(const T* text) const { return CompareTo(text) == 0; }
    bool operator==(const T* text) const { return Equals(text); }

    void RemoveChar(T c)
    {
        size_t out = 0;
        for (size_t i = 0; i < nLength; ++i)
            if (lpData[i] != c)
                lpData[out++] = lpData[i];
        SetLength(out);
    }
    void RemoveLeadingSpaces()
    {
        size_t n = 0;
        while (n < nLength &&
               (lpData[n] == ' ' || lpData[n] == '\t' || lpData[n] == '\r' || lpData[n] == '\n'))
            ++n;
        if (n == 0)
            return;
        memmove(lpData, lpData + n, (nLength - n) * sizeof(T));
        SetLength(nLength - n);
    }
    // After writing into lpData directly: the length up to the first terminator.
    void UpdateLength()
    {
        if (!lpData)
        {
            nLength = 0;
            return;
        }
        lpData[nCapacity - 1] = 0;
        nLength = tstrlen(lpData);
    }
    // Room for n characters and a terminator; false when memory runs out.
    bool GrowToSize(size_t n)
    {
        if (n > kMaxLength)
            return false;
        if (n + 1 <= nCapacity)
            return true;
        size_t capacity = nCapacity < 16 ? 16 : (nCapacity > kMaxLength / 2 ? kMaxLength + 1 : nCapacity * 2);
        if (capacity < n + 1)
            capacity = n + 1;
        T* data = static_cast<T*>(realloc(lpData, capacity * sizeof(T)));
        if (!data)
            return false;
        if (!lpData)
            data[0] = 0;
        lpData = data;
        nCapacity = capacity;
        return true;
    }
    void SetLength(size_t n)
    {
        if (n > nLength)
            return;
        nLength = n;
        if (lpData)
            lpData[n] = 0;
    }
    void Clear() { SetLength(0); }

    size_t GetLength() const { return nLength; }
    bool IsEmpty() const { return nLength == 0; }
    operator const T*() const { return lpData ? lpData : Empty(); }
    const T* GetString() const { return *this; }

    // Replaces the contents by the formatted text; char strings only.
    int sprintf(const char* format, ...);
    int tsprintfappend(const char* format, ...);
    int vsprintf(const char* format, va_list args);
    int vsprintfappend(const char* format, va_list args);

private:
    // Keeps length + terminator, times the character size, inside a size_t.
    static constexpr size_t kMaxLength = (~size_t(0)) / sizeof(T) / 2;

    static const T* Empty()
    {
        static const T empty[1] = {0};
        return empty;
    }
    bool IsInside(const T* text) const
    {
        return text && lpData && text >= lpData && text < lpData + nCapacity;
    }
    // Characters of ours from text, which is inside, up to the terminator.
    size_t Remaining(const T* text) const
    {
        const size_t offset = size_t(text - lpData);
        return offset < nLength ? nLength - offset : 0;
    }
    // Length of text, looking at no more than limit characters.
    static size_t BoundedLength(const T* text, size_t limit)
    {
        size_t n = 0;
        while (n < limit && text[n])
            ++n;
        return n;
    }
};

// Replaces the string's contents.
template <class T>
class LStringLongTemplateWriter
{
public:
    explicit LStringLongTemplateWriter(LStringLongTemplate<T>& s) : rString(s) { s.Clear(); }
    void AddCharacters(const T* text, size_t count) { rString.Append(text, count); }

private:
    LStringLongTemplate<T>& rString;
};

template <class T>
class LStringLongTemplateAppender
{
public:
    explicit LStringLongTemplateAppender(LStringLongTemplate<T>& s) : rString(s) {}
    void AddCharacters(const T* text, size_t count) { rString.Append(text, count); }

private:
    LStringLongTemplate<T>& rString;
};

// Writes into a fixed array: stops at capacity - 1 characters and always terminates.
template <class T>
class LFixedLengthStringWriterTemplate
{
public:
    LFixedLengthStringWriterTemplate(T* buffer, size_t capacity) : lpBuffer(buffer), nCapacity(capacity)
    {
        if (capacity > 0)
            buffer[0] = 0;
    }
    template <size_t N>
    explicit LFixedLengthStringWriterTemplate(T (&buffer)[N]) : LFixedLengthStringWriterTemplate(buffer, N)
    {
    }
    void AddCharacters(const T* text, size_t count)
    {
        if (nCapacity == 0)
        {
            bTruncated = bTruncated || count > 0;
            return;
        }
        size_t room = nCapacity - 1 - nLength;
        if (count > room)
        {
            count = room;
            bTruncated = true;
        }
        memcpy(lpBuffer + nLength, text, count * sizeof(T));
        nLength += count;
        lpBuffer[nLength] = 0;
    }
    size_t GetLength() const { return nLength; }
    bool IsTruncated() const { return bTruncated; }

private:
    T* lpBuffer;
    size_t nCapacity;
    size_t nLength = 0;
    bool bTruncated = false;
};

// Formats into a fixed array; false when the text was cut.
bool tsnprintf(char* out, size_t capacity, const char* format, ...);

template <class T>
int LStringLongTemplate<T>::vsprintf(const char* format, va_list args)
{
    static_assert(sizeof(T) == 1, "formatting works on byte strings");
    LStringLongTemplateWriter<T> writer(*this);
    return tplprintf(writer, format, args);
}

template <class T>
int LStringLongTemplate<T>::vsprintfappend(const char* format, va_list args)
{
    static_assert(sizeof(T) == 1, "formatting works on byte strings");
    LStringLongTemplateAppender<T> appender(*this);
    return tplprintf(appender, format, args);
}

template <class T>
int LStringLongTemplate<T>::sprintf(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    int n = vsprintf(format, args);
    va_end(args);
    return n;
}

template <class T>
int LStringLongTemplate<T>::tsprintfappend(const char* format, ...)
{
    va_list args;
    va_start(args, format);
    int n = vsprintfappend(format, args);
    va_end(args);
    return n;
}

using LString = LStringLongTemplate<char>;

// A short string: up to 31 characters live inside the object, longer ones on the heap.
template <class T>
class LStringShortTemplate
{
public:
    static constexpr size_t kInline = 32;

    LStringShortTemplate() { arInline[0] = 0; }
    LStringShortTemplate(const T* text) : LStringShortTemplate() { Append(text); }
    LStringShortTemplate(const LStringShortTemplate& other) : LStringShortTemplate()
    {
        Append(other.GetString(), other.nLength);
    }
    ~LStringShortTemplate() { free(lpHeap); }
    LStringShortTemplate& operator=(const LStringShortTemplate& other)
    {
        if (this != &other)
        {
            Clear();
            Append(other.GetString(), other.nLength);
        }
        return *this;
    }
    LStringShortTemplate& operator=(const T* text)
    {
        const T* data = Data();
        if (text && text >= data && text < data + nCapacity)
        {
            // Part of ourselves: move it down, up to our own terminator.
            size_t n = 0;
            while (text + n < data + nLength && text[n])
                ++n;
            memmove(Data(), text, n * sizeof(T));
            nLength = n;
            Data()[n] = 0;
            return *this;
        }
        Clear();
        Append(text);
        return *this;
    }

    bool Append(const T* text)
    {
        if (!text)
            return true;
        const T* old = Data();
        if (text >= old && text < old + nCapacity)
        {
            // Part of ourselves: the text ends at our terminator at the latest.
            size_t n = 0;
            while (text + n < old + nLength && text[n])
                ++n;
            return Append(text, n);
        }
        return Append(text, tstrlen(text));
    }
    bool Append(const T* text, size_t count)
    {
        if (count == 0 || !text)
            return true;
        const T* old = Data();
        const bool inside = text >= old && text < old + nCapacity;
        const size_t offset = inside ? size_t(text - old) : 0;
        if (inside && count > nLength - (offset < nLength ? offset : nLength))
            count = nLength - (offset < nLength ? offset : nLength);
        if (count > (~size_t(0)) / sizeof(T) / 2 - nLength)
            return false;
        if (nLength + count + 1 > nCapacity && !Grow(nLength + count + 1))
            return false;
        if (inside)
            text = Data() + offset; // text was part of ourselves and has moved with us
        memmove(Data() + nLength, text, count * sizeof(T));
        nLength += count;
        Data()[nLength] = 0;
        return true;
    }
    void Clear()
    {
        nLength = 0;
        Data()[0] = 0;
    }
    int CompareTo(const T* text) const { return tstrcmp(GetString(), text ? text : arEmpty); }
    bool Equals(const T* text) const { return CompareTo(text) == 0; }
    size_t GetLength() const { return nLength; }
    bool IsEmpty() const { return nLength == 0; }
    const T* GetString() const { return lpHeap ? lpHeap : arInline; }
    operator const T*() const { return GetString(); }

    int sprintf(const char* format, ...);
    int tsprintfappend(const char* format, ...);

private:
    T* Data() { return lpHeap ? lpHeap : arInline; }
    bool Grow(size_t needed)
    {
        size_t capacity = nCapacity * 2 > needed ? nCapacity * 2 : needed;
        T* data = static_cast<T*>(malloc(capacity * sizeof(T)));
        if (!data)
            return false;
        memcpy(data, Data(), (nLength + 1) * sizeof(T));
        free(lpHeap);
        lpHeap = data;
        nCapacity = capacity;
        return true;
    }

    static constexpr T arEmpty[1] = {0};
    T* lpHeap = nullptr;
    size_t nLength = 0;
    size_t nCapacity = kInline;
    T arInline[kInline];
};

template <class T>
class LStringShortTemplateAppender
{
public:
    explicit LStringShortTemplateAppender(LStringShortTemplate<T>& s) : rString(s) {}
    void AddCharacters(const T* text, size_t count) { rString.Append(text, count); }

private:
    LStringShortTemplate<T>& rString;
};

template <class T>
int LStringShortTemplate<T>::sprintf(const char* format, ...)
{
    static_assert(sizeof(T) == 1, "formatting works on byte strings");
    Clear();
    LStringShortTemplateAppender<T> appender(*this);
    va_list args;
    va_start(args, format);
    int n = tplprintf(appender, format, args);
    va_end(args);
    return n;
}

template <class T>
int LStringShortTemplate<T>::tsprintfappend(const char* format, ...)
{
    static_assert(sizeof(T) == 1, "formatting works on byte strings");
    LStringShortTemplateAppender<T> appender(*this);
    va_list args;
    va_start(args, format);
    int n = tplprintf(appender, format, args);
    va_end(args);
    return n;
}
