// The geometric and stylise effects from the command line: each is reachable by its type key with
// its properties, and a chain that changes the size hands each effect the size before it.

#include <gtest/gtest.h>

#include <filesystem>
#include <unistd.h>

#include "cli_support.h"
#include "codecs/LImage.h"

using namespace cli_test;

TEST(CliShape, AChainOfSizesRunsEndToEnd)
{
    char templ[] = "/tmp/quendrel-cli-shape-XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    const std::string dir = templ;
    auto p = [&](const char* name) { return dir + "/" + name; };
    ASSERT_EQ(system(("convert rose: -resize 97x61! " + p("photo.jpg")).c_str()), 0);

    // A crop still being edited, a resize and a liquid resize at the picture's own size change
    // nothing of the size; the cartoon paints it.
    ASSERT_EQ(
        RunCli("apply " + p("photo.jpg") + " " + p("out.gif") + " crop resize liquidresize cartoon").iStatus,
        0);
    LImageBuffer out;
    ASSERT_TRUE(LImage::Load(out, p("out.gif").c_str()));
    EXPECT_EQ(out.GetWidth(), 97);
    EXPECT_EQ(out.GetHeight(), 61);

    // The default frame, 70 percent of 97 x 61, carved to 40 wide, then a quarter turn.
    ASSERT_EQ(
        RunCli("apply " + p("photo.jpg") + " " + p("chain.png") +
               " crop:editing=false,applied=true liquidresize:width=40 rotate:degrees=90 border:width=0.1")
            .iStatus,
        0);
    ASSERT_TRUE(LImage::Load(out, p("chain.png").c_str()));
    EXPECT_EQ(out.GetWidth(), 42);
    EXPECT_EQ(out.GetHeight(), 40);

    // Every effect of this family by its key, with its defaults.
    for (const char* key :
         {"flip:horizontal=true", "cropsimple:ratio=1", "resizesimple:type=3,percent=0.5",
          "\"simple rotate:degrees=30\"", "fisheye:strength=0.3", "oilpaint", "brick", "pixelate",
          "vignette:red=255", "vintage", "border:oval=true,inner=true", "frame"})
        EXPECT_EQ(RunCli("apply " + p("photo.jpg") + " " + p("one.png") + " " + key).iStatus, 0) << key;
    std::filesystem::remove_all(dir);
}
