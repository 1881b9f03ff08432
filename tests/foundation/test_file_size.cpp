// File sizes as the save dialog shows them: units of 1024 with the exact count beside.

#include <gtest/gtest.h>

#include "foundation/LFileSize.h"

TEST(FileSizeFormat, RoundedWithTheExactCount)
{
    char out[64];
    const std::pair<uint64_t, const char*> cases[] = {
        {0, "0 bytes"},
        {1, "1 byte"},
        {1023, "1023 bytes"},
        {1024, "1.00 KB (1,024 bytes)"},
        {2586185, "2.47 MB (2,586,185 bytes)"},
        {uint64_t(5) << 30, "5.00 GB (5,368,709,120 bytes)"},
    };
    for (const auto& [bytes, text] : cases)
    {
        ASSERT_TRUE(LFile::GetSizeFormattedBytes(out, sizeof(out), bytes));
        EXPECT_STREQ(out, text);
    }
    char tiny[8];
    EXPECT_FALSE(LFile::GetSizeFormattedBytes(tiny, sizeof(tiny), 2586185));
    EXPECT_STREQ(tiny, "");
}
