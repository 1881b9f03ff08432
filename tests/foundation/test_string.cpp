#include <gtest/gtest.h>

#include "foundation/LString.h"

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>

namespace
{
// Formats with the engine into a growing string and with the C library, for comparison.
template <class... Args>
void ExpectLikeC(const char* format, Args... args)
{
    LString mine;
    int n = mine.sprintf(format, args...);
    char reference[4096];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
    int expected = snprintf(reference, sizeof(reference), format, args...);
#pragma GCC diagnostic pop
    EXPECT_STREQ(static_cast<const char*>(mine), reference) << "format \"" << format << "\"";
    EXPECT_EQ(n, expected) << "format \"" << format << "\"";
}
} // namespace

TEST(StringFormat, IntegersMatchTheCLibrary)
{
    const int ints[] = {0, 1, -1, 42, -42, 123456, INT_MAX, INT_MIN};
    const char* formats[] = {"%d",   "%i",    "%5d",      "%-5d|", "%05d",  "%+d",     "% d",
                             "%.3d", "%8.3d", "%-+8.3d|", "%.0d",  "%x",    "%#x",     "%X",
                             "%#X",  "%o",    "%#o",      "%u",    "%#.0o", "%-#10x|", "%010u"};
    for (const char* f : formats)
        for (int v : ints)
            ExpectLikeC(f, v);

    ExpectLikeC("%hhd %hhu %hhx", 300, 255 + 256, -1);
    ExpectLikeC("%hd %hu %hx", 70000, 70000, -2);
    ExpectLikeC("%ld %lu %lx", LONG_MIN, ULONG_MAX, 0xDEADBEEFul);
    ExpectLikeC("%lld %llu %llX", LLONG_MIN, ULLONG_MAX, 0x123456789ABCDEFull);
    ExpectLikeC("%zd %zu %zx", ssize_t(-5), SIZE_MAX, size_t(4096));
    ExpectLikeC("%jd %ju", INTMAX_MIN, UINTMAX_MAX);
    ExpectLikeC("%td %tx", ptrdiff_t(-77), ptrdiff_t(255));
    ExpectLikeC("%*d|%-*d|%.*d", 6, 12, 6, 12, 4, 12);
    ExpectLikeC("%*d|", -6, 12); // a negative width from * means left-aligned
    ExpectLikeC("%.*d|", -3, 7); // a negative precision from * means none
}

TEST(StringFormat, FloatingPointMatchesTheCLibrary)
{
    const double values[] = {0.0,   -0.0,          1.0,      -1.5,      3.14159265358979,
                             1e-10, 123456789.125, 1e300,    DBL_MIN,   2.5,
                             0.5,   1.0 / 3.0,     INFINITY, -INFINITY, NAN};
    const char* formats[] = {"%f",      "%.0f",  "%.2f", "%10.3f", "%-10.1f|", "%+f", "% f",
                             "%010.2f", "%#.0f", "%e",   "%.3E",   "%g",       "%G",  "%#g",
                             "%.10g",   "%a",    "%A",   "%F",     "%12.4e"};
    for (const char* f : formats)
        for (double v : values)
            ExpectLikeC(f, v);
    ExpectLikeC("%Lf %Le %Lg", 1.25L, 6.02e23L, 1e-5L);
    ExpectLikeC("%.*f|%*.*e", 3, 2.0 / 3.0, 14, 2, 12345.678);
    ExpectLikeC("%.300f", 1.0); // longer than any fixed scratch buffer
    ExpectLikeC("%f", 1e308);
}

TEST(StringFormat, TextCharactersPointersAndPlainText)
{
    ExpectLikeC("");
    ExpectLikeC("plain text, no conversions");
    ExpectLikeC("100%% sure %%d");
    ExpectLikeC("%s|%10s|%-10s|%.2s|%8.3s|%-8.3s|", "abc", "abc", "abc", "abc", "abcdef", "abcdef");
    ExpectLikeC("%.*s|%*s", 3, "abcdef", -5, "x");
    ExpectLikeC("%s", "h\xc3\xa9llo \xe2\x82\xac"); // UTF-8 bytes pass through
    ExpectLikeC("%c%c%3c%-3c|", 'a', '\xe9', 'b', 'c');
    int local = 0;
    ExpectLikeC("%p %20p", static_cast<void*>(&local), static_cast<void*>(&local));
    ExpectLikeC("%d %s %5.1f %c %x %%", 7, "mixed", 2.25, 'z', 255u);

    // A long string argument that crosses every internal buffer size.
    std::string big(10000, 'q');
    LString s;
    s.sprintf("[%s]", big.c_str());
    EXPECT_EQ(std::string(s), "[" + big + "]");
    s.sprintf("%9000d", 5);
    EXPECT_EQ(s.GetLength(), 9000u);
}

TEST(StringFormat, JSONEscaping)
{
    LString s;
    s.sprintf("{\"%J\":\"%J\"}", "k\"ey", "a\\b\n\r\t\b\f/\x01\x1f end");
    EXPECT_STREQ(s, "{\"k\\\"ey\":\"a\\\\b\\n\\r\\t\\b\\f/\\u0001\\u001f end\"}");

    // UTF-8 and DEL pass unchanged; an empty or null string writes nothing.
    s.sprintf("%J|%J|%J", "gr\xc3\xbc\xc3\x9f \xf0\x9f\x98\x80\x7f", "", static_cast<const char*>(nullptr));
    EXPECT_STREQ(s, "gr\xc3\xbc\xc3\x9f \xf0\x9f\x98\x80\x7f||");

    LString direct;
    LStringLongTemplateAppender<char> appender(direct);
    LJSONEscapeStringToWriter(appender, "\"quoted\"");
    EXPECT_STREQ(direct, "\\\"quoted\\\"");
}

TEST(StringFormat, FixedSinkTruncatesWithoutOverrunAndTerminates)
{
    struct Guarded
    {
        char before[8];
        char buffer[10];
        char after[8];
    } g;
    memset(&g, '#', sizeof(g));
    LFixedLengthStringWriterTemplate<char> writer(g.buffer, sizeof(g.buffer));
    int n = tplprintf(writer, "%s-%d", "abcdefgh", 12345);
    EXPECT_EQ(n, 14); // what the text would have been
    EXPECT_STREQ(g.buffer, "abcdefgh-");
    EXPECT_TRUE(writer.IsTruncated());
    EXPECT_EQ(std::string(g.before, 8) + std::string(g.after, 8), std::string(16, '#'));

    char small[4];
    EXPECT_FALSE(tsnprintf(small, sizeof(small), "%d", 123456));
    EXPECT_STREQ(small, "123");
    EXPECT_TRUE(tsnprintf(small, sizeof(small), "%s", "ab"));
    EXPECT_STREQ(small, "ab");
    // Nothing written still terminates, even over old contents.
    memcpy(small, "xyz", 4);
    EXPECT_TRUE(tsnprintf(small, sizeof(small), "%s", ""));
    EXPECT_STREQ(small, "");
    char one[1] = {'x'};
    EXPECT_FALSE(tsnprintf(one, 1, "a"));
    EXPECT_EQ(one[0], 0);
}

TEST(StringFormat, UnknownAndUnfinishedConversionsStandAsWritten)
{
    LString s;
    s.sprintf("a%yb%");
    EXPECT_STREQ(s, "a%yb%");
    int count = 0;
    s.sprintf("x%ny", &count);
    EXPECT_STREQ(s, "xy");
    EXPECT_EQ(count, 0);
}

TEST(StringLong, EditingOperations)
{
    // Empty strings hold no text yet read as empty text.
    LString s, sized(100);
    EXPECT_STREQ(s, "");
    EXPECT_STREQ(sized, "");
    s.sprintf("");
    EXPECT_TRUE(s.GetLength() == 0 && s.lpData == nullptr);

    s = "hello";
    s.Append(", world");
    EXPECT_EQ(s.GetLength(), 12u);
    s.Append(s.lpData + 7); // part of itself
    EXPECT_STREQ(s, "hello, worldworld");
    s = s.lpData + 7; // assignment from inside itself
    EXPECT_STREQ(s, "worldworld");

    s.tsprintfappend(" %d", 3);
    EXPECT_STREQ(s, "worldworld 3");
    s.sprintf("%s", "replaced");
    s.RemoveChar('e');
    EXPECT_STREQ(s, "rplacd");
    EXPECT_EQ(s.GetLength(), 6u);

    for (const auto& [before, after] : {std::pair{" \t\n  lead", "lead"}, std::pair{"   ", ""}})
    {
        s = before;
        s.RemoveLeadingSpaces();
        EXPECT_STREQ(s, after);
    }

    s.AssignSubString("abcdef", 4, 100); // cut at the end of the text
    EXPECT_STREQ(s, "ef");
    s.AssignSubString("abc", 10, 2);
    EXPECT_STREQ(s, "");

    LString direct(20);
    strcpy(direct.lpData, "written");
    direct.UpdateLength();
    EXPECT_TRUE(direct.GetLength() == 7 && direct.Equals("written"));

    LString from("owned"), to("old");
    const char* data = from.lpData;
    to.Assign(from);
    EXPECT_EQ(to.lpData, data); // taken over, not copied
    EXPECT_EQ(from.lpData, nullptr);
    EXPECT_STREQ(from, "");
}

// Every edit that can empty or shorten a string, starting from text: what the conversion reads
// must be the expected text, terminated where the length says.
TEST(StringLong, EveryEditLeavesTheStringTerminated)
{
    struct Case
    {
        const char* szName;
        void (*fnEdit)(LString& s);
        const char* szExpected;
    };
    static const LString empty;
    const Case cases[] = {
        {"copy of an empty string", [](LString& s) { s = empty; }, ""},
        {"copy of an unallocated string", [](LString& s) { s = LString(); }, ""},
        {"copy of a sized empty string", [](LString& s) { s = LString(size_t(50)); }, ""},
        {"empty text", [](LString& s) { s = ""; }, ""},
        {"null text", [](LString& s) { s = static_cast<const char*>(nullptr); }, ""},
        {"own terminator", [](LString& s) { s = s.lpData + s.nLength; }, ""},
        {"own tail", [](LString& s) { s = s.lpData + 3; }, "lo"},
        {"append own tail", [](LString& s) { s.Append(s.lpData + 1, 100); }, "helloello"},
        {"append own terminator", [](LString& s) { s.Append(s.lpData + s.nLength); }, "hello"},
        {"append nothing", [](LString& s) { s.Append("abc", 0); }, "hello"},
        {"substring past the end", [](LString& s) { s.AssignSubString("abc", 5, 1); }, ""},
        {"substring of null", [](LString& s) { s.AssignSubString(nullptr, 0, 3); }, ""},
        {"substring of itself", [](LString& s) { s.AssignSubString(s.lpData, 1, 2); }, "el"},
        {"empty format", [](LString& s) { s.sprintf("%s", ""); }, ""},
        {"remove every character",
         [](LString& s) { s.RemoveChar('l'), s.RemoveChar('h'), s.RemoveChar('e'), s.RemoveChar('o'); }, ""},
        {"leading spaces only", [](LString& s) { s = "   ", s.RemoveLeadingSpaces(); }, ""},
        {"clear", [](LString& s) { s.Clear(); }, ""},
        {"set length", [](LString& s) { s.SetLength(2); }, "he"},
        {"longer set length", [](LString& s) { s.SetLength(9); }, "hello"},
        {"moved from", [](LString& s) { LString t(std::move(s)); }, ""},
        {"taken over from an empty one",
         [](LString& s)
         {
             LString t;
             s.Assign(t);
         },
         ""},
        {"written directly", [](LString& s) { s.lpData[1] = 0, s.UpdateLength(); }, "h"},
        {"impossible growth", [](LString& s) { EXPECT_FALSE(s.GrowToSize(~size_t(0))); }, "hello"},
        {"impossible append", [](LString& s) { EXPECT_FALSE(s.Append("x", ~size_t(0) - 2)); }, "hello"},
    };
    for (const Case& c : cases)
    {
        LString s("hello");
        c.fnEdit(s);
        const char* text = s;
        EXPECT_STREQ(text, c.szExpected) << c.szName;
        EXPECT_EQ(strlen(text), s.GetLength()) << c.szName;
    }

    // The short form the same way.
    LStringShortTemplate<char> shortCases[6] = {"hello", "hello", "hello", "hello", "hello", "hello"};
    const LStringShortTemplate<char> shortEmpty;
    shortCases[0] = shortEmpty;
    shortCases[1] = "";
    shortCases[2] = static_cast<const char*>(nullptr);
    shortCases[3] = shortCases[3].GetString() + 5;
    shortCases[4] = shortCases[4].GetString() + 3;
    shortCases[5].Append(shortCases[5].GetString() + 1, 100);
    const char* shortExpected[6] = {"", "", "", "", "lo", "helloello"};
    for (int i = 0; i < 6; ++i)
    {
        EXPECT_STREQ(shortCases[i], shortExpected[i]) << i;
        EXPECT_EQ(strlen(shortCases[i]), shortCases[i].GetLength()) << i;
    }
}

TEST(StringShort, GrowsFromInsideTheObjectToTheHeap)
{
    LStringShortTemplate<char> s("0123456789");
    for (int i = 0; i < 3; ++i)
        s.Append(s.GetString()); // doubles past the inline room, reading from itself
    std::string expected;
    for (int i = 0; i < 8; ++i)
        expected += "0123456789";
    EXPECT_TRUE(s.GetLength() == 80 && std::string(s) == expected);

    LStringShortTemplate<char> copy(s);
    copy = "short";
    copy.tsprintfappend(" %03d %J", 7, "\"");
    EXPECT_STREQ(copy, "short 007 \\\"");
    copy.sprintf("%s", "");
    EXPECT_TRUE(copy.IsEmpty() && std::string(copy).empty());
}

TEST(StringHelpers, CompareAndBoundedCopy)
{
    EXPECT_GT(tstrcmp("\xc3\xa9", "z"), 0); // bytes compare unsigned
    EXPECT_LT(tstrcmp("ab", "abc"), 0);
    EXPECT_EQ(tstricmp("HeLLo.JPG", "hello.jpg"), 0);
    EXPECT_NE(tstricmp("\xc3\x89", "\xc3\xa9"), 0); // only ASCII letters fold

    char path[260];
    std::string longer(300, 'p');
    EXPECT_FALSE(tstrcpy_s(path, longer.c_str()));
    EXPECT_EQ(strlen(path), 259u);
    EXPECT_TRUE(tstrcpy(path, sizeof(path), "fits"));
    EXPECT_STREQ(path, "fits");
}
