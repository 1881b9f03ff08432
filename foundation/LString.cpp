#include "foundation/LString.h"

#include <cstdint>
#include <cstdio>
#include <sys/types.h>

namespace
{
struct Output
{
    LTextAddFunction add;
    void* sink;
    size_t nCount = 0;

    void Add(const char* text, size_t count)
    {
        if (count == 0)
            return;
        add(sink, text, count);
        nCount += count;
    }
    void Pad(char c, size_t count)
    {
        char run[32];
        memset(run, c, sizeof(run));
        while (count > 0)
        {
            size_t n = count < sizeof(run) ? count : sizeof(run);
            Add(run, n);
            count -= n;
        }
    }
};

enum Length
{
    LengthNone,
    LengthChar,     // hh
    LengthShort,    // h
    LengthLong,     // l
    LengthLongLong, // ll, q, and L on an integer
    LengthSize,     // z
    LengthMax,      // j
    LengthPtrDiff,  // t
};

struct Field
{
    bool bLeft = false, bPlus = false, bSpace = false, bAlternate = false, bZero = false;
    int iWidth = -1;
    int iPrecision = -1;
    Length eLength = LengthNone;
    bool bLongDouble = false; // L on a floating conversion
};

// Writes text padded to the width (characters of text may be cut by the caller's precision).
void AddPadded(Output& out, const Field& field, const char* text, size_t count)
{
    size_t width = field.iWidth > 0 ? size_t(field.iWidth) : 0;
    size_t pad = width > count ? width - count : 0;
    if (!field.bLeft)
        out.Pad(' ', pad);
    out.Add(text, count);
    if (field.bLeft)
        out.Pad(' ', pad);
}

// One numeric conversion through the C library, with the width and precision already resolved.
template <class Value>
void AddThroughLibrary(Output& out, const Field& field, const char* length, char conversion, Value value)
{
    char format[48];
    char* f = format;
    *f++ = '%';
    if (field.bLeft)
        *f++ = '-';
    if (field.bPlus)
        *f++ = '+';
    if (field.bSpace)
        *f++ = ' ';
    if (field.bAlternate)
        *f++ = '#';
    if (field.bZero)
        *f++ = '0';
    *f = 0;
    size_t used = size_t(f - format);
    if (field.iWidth >= 0)
        used += size_t(snprintf(format + used, sizeof(format) - used, "%d", field.iWidth));
    if (field.iPrecision >= 0)
        used += size_t(snprintf(format + used, sizeof(format) - used, ".%d", field.iPrecision));
    snprintf(format + used, sizeof(format) - used, "%s%c", length, conversion);

    char local[512];
    int n = snprintf(local, sizeof(local), format, value);
    if (n < 0)
        return;
    if (size_t(n) < sizeof(local))
    {
        out.Add(local, size_t(n));
        return;
    }
    // Wide fields and long precisions: one allocation of the exact size.
    char* big = static_cast<char*>(malloc(size_t(n) + 1));
    if (!big)
        return;
    snprintf(big, size_t(n) + 1, format, value);
    out.Add(big, size_t(n));
    free(big);
}

long long SignedArgument(Length length, va_list& args)
{
    switch (length)
    {
    case LengthChar:
        return static_cast<signed char>(va_arg(args, int));
    case LengthShort:
        return static_cast<short>(va_arg(args, int));
    case LengthLong:
        return va_arg(args, long);
    case LengthLongLong:
        return va_arg(args, long long);
    case LengthSize:
        return va_arg(args, ssize_t);
    case LengthMax:
        return static_cast<long long>(va_arg(args, intmax_t));
    case LengthPtrDiff:
        return va_arg(args, ptrdiff_t);
    default:
        return va_arg(args, int);
    }
}

unsigned long long UnsignedArgument(Length length, va_list& args)
{
    switch (length)
    {
    case LengthChar:
        return static_cast<unsigned char>(va_arg(args, unsigned int));
    case LengthShort:
        return static_cast<unsigned short>(va_arg(args, unsigned int));
    case LengthLong:
        return va_arg(args, unsigned long);
    case LengthLongLong:
        return va_arg(args, unsigned long long);
    case LengthSize:
        return va_arg(args, size_t);
    case LengthMax:
        return static_cast<unsigned long long>(va_arg(args, uintmax_t));
    case LengthPtrDiff:
        return static_cast<unsigned long long>(va_arg(args, ptrdiff_t));
    default:
        return va_arg(args, unsigned int);
    }
}

void AddString(Output& out, const Field& field, const char* text)
{
    if (!text)
        text = "(null)";
    size_t n = 0;
    if (field.iPrecision >= 0)
    {
        while (n < size_t(field.iPrecision) && text[n])
            ++n;
    }
    else
        n = strlen(text);
    AddPadded(out, field, text, n);
}

void AddJSONEscaped(Output& out, const char* text)
{
    if (!text)
        return;
    const char* run = text;
    for (const char* p = text; *p; ++p)
    {
        const unsigned char c = static_cast<unsigned char>(*p);
        char escape[8];
        size_t n = 0;
        switch (c)
        {
        case '"':
            n = 2, escape[0] = '\\', escape[1] = '"';
            break;
        case '\\':
            n = 2, escape[0] = '\\', escape[1] = '\\';
            break;
        case '\b':
            n = 2, escape[0] = '\\', escape[1] = 'b';
            break;
        case '\f':
            n = 2, escape[0] = '\\', escape[1] = 'f';
            break;
        case '\n':
            n = 2, escape[0] = '\\', escape[1] = 'n';
            break;
        case '\r':
            n = 2, escape[0] = '\\', escape[1] = 'r';
            break;
        case '\t':
            n = 2, escape[0] = '\\', escape[1] = 't';
            break;
        default:
            if (c < 0x20)
                n = size_t(snprintf(escape, sizeof(escape), "\\u%04x", c));
            break;
        }
        if (n == 0)
            continue;
        out.Add(run, size_t(p - run));
        out.Add(escape, n);
        run = p + 1;
    }
    out.Add(run, strlen(run));
}
} // namespace

void _LJSONEscapeString(LTextAddFunction add, void* sink, const char* text)
{
    Output out{add, sink};
    AddJSONEscaped(out, text);
}

int _tplprintf(LTextAddFunction add, void* sink, const char* format, va_list argsIn)
{
    Output out{add, sink};
    va_list args;
    va_copy(args, argsIn);
    const char* p = format;
    while (*p)
    {
        const char* percent = strchr(p, '%');
        if (!percent)
        {
            out.Add(p, strlen(p));
            break;
        }
        out.Add(p, size_t(percent - p));
        const char* start = percent;
        p = percent + 1;

        Field field;
        for (;; ++p)
        {
            if (*p == '-')
                field.bLeft = true;
            else if (*p == '+')
                field.bPlus = true;
            else if (*p == ' ')
                field.bSpace = true;
            else if (*p == '#')
                field.bAlternate = true;
            else if (*p == '0')
                field.bZero = true;
            else
                break;
        }
        if (*p == '*')
        {
            field.iWidth = va_arg(args, int);
            if (field.iWidth < 0)
            {
                field.bLeft = true;
                field.iWidth = field.iWidth == INT32_MIN ? 0 : -field.iWidth;
            }
            ++p;
        }
        else if (*p >= '0' && *p <= '9')
        {
            long width = 0;
            while (*p >= '0' && *p <= '9')
                width = width < 100000000 ? width * 10 + (*p++ - '0') : (p++, width);
            field.iWidth = int(width);
        }
        if (*p == '.')
        {
            ++p;
            if (*p == '*')
            {
                int precision = va_arg(args, int);
                field.iPrecision = precision < 0 ? -1 : precision; // a negative one is none
                ++p;
            }
            else
            {
                long precision = 0;
                while (*p >= '0' && *p <= '9')
                    precision = precision < 100000000 ? precision * 10 + (*p++ - '0') : (p++, precision);
                field.iPrecision = int(precision);
            }
        }
        switch (*p)
        {
        case 'h':
            field.eLength = p[1] == 'h' ? (++p, LengthChar) : LengthShort;
            ++p;
            break;
        case 'l':
            field.eLength = p[1] == 'l' ? (++p, LengthLongLong) : LengthLong;
            ++p;
            break;
        case 'L':
            field.eLength = LengthLongLong;
            field.bLongDouble = true;
            ++p;
            break;
        case 'q':
            field.eLength = LengthLongLong;
            ++p;
            break;
        case 'z':
            field.eLength = LengthSize;
            ++p;
            break;
        case 'j':
            field.eLength = LengthMax;
            ++p;
            break;
        case 't':
            field.eLength = LengthPtrDiff;
            ++p;
            break;
        default:
            break;
        }

        const char conversion = *p;
        if (conversion)
            ++p;
        switch (conversion)
        {
        case '%':
            out.Add("%", 1);
            break;
        case 'd':
        case 'i':
            AddThroughLibrary(out, field, "ll", conversion, SignedArgument(field.eLength, args));
            break;
        case 'u':
        case 'x':
        case 'X':
        case 'o':
            AddThroughLibrary(out, field, "ll", conversion, UnsignedArgument(field.eLength, args));
            break;
        case 'e':
        case 'E':
        case 'f':
        case 'F':
        case 'g':
        case 'G':
        case 'a':
        case 'A':
            if (field.bLongDouble)
                AddThroughLibrary(out, field, "L", conversion, va_arg(args, long double));
            else
                AddThroughLibrary(out, field, "", conversion, va_arg(args, double));
            break;
        case 'p':
            AddThroughLibrary(out, field, "", 'p', va_arg(args, void*));
            break;
        case 'c':
        {
            char c = char(va_arg(args, int));
            AddPadded(out, field, &c, 1);
            break;
        }
        case 's':
            AddString(out, field, va_arg(args, const char*));
            break;
        case 'J':
            AddJSONEscaped(out, va_arg(args, const char*));
            break;
        case 'n':
            // Writing through a pointer taken from the format is how format strings get
            // exploited; consume the argument and write nothing.
            (void)va_arg(args, void*);
            break;
        default:
            // Unknown or cut off: the text stands as it was written.
            out.Add(start, size_t(p - start));
            break;
        }
    }
    va_end(args);
    return out.nCount > size_t(INT32_MAX) ? INT32_MAX : int(out.nCount);
}

bool tsnprintf(char* out, size_t capacity, const char* format, ...)
{
    LFixedLengthStringWriterTemplate<char> writer(out, capacity);
    va_list args;
    va_start(args, format);
    tplprintf(writer, format, args);
    va_end(args);
    return !writer.IsTruncated();
}
