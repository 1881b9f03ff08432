// Photo information end to end through quendrel-cli: a camera JPEG made into a project file,
// rendered to PNG and converted back to JPEG keeps its capture date and camera, upright.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <unistd.h>

#include "cli_support.h"

using namespace cli_test;

TEST(QuendrelCliMetadata, CaptureDateSurvivesProjectAndFormats)
{
    char templ[] = "/tmp/quendrel-cli-meta-XXXXXX";
    ASSERT_NE(mkdtemp(templ), nullptr);
    const std::string dir = templ;
    auto P = [&](const char* name) { return "'" + dir + "/" + name + "'"; };
    ASSERT_EQ(system(("convert -seed 3 -size 30x20 plasma:fractal -quality 92 " + P("photo.jpg") +
                      " && exiv2 -M'set Exif.Image.Model Test Cam' -M'set Exif.Image.Orientation 8' "
                      "-M'set Exif.Photo.DateTimeOriginal 2021:06:15 10:20:30' " +
                      P("photo.jpg"))
                         .c_str()),
              0);
    // The cache of the process that renders is the test's.
    const std::string env = "XDG_CACHE_HOME='" + dir + "' XDG_CONFIG_HOME='" + dir + "/config' ";
    ASSERT_EQ(RunCommand(env + std::string(QUENDREL_BINARY_DIR) + "/cli/quendrel-cli project " +
                         P("photo.jpg") + " " + P("p.qdj") + " 2>/dev/null")
                  .iStatus,
              0);
    ASSERT_EQ(RunCommand(env + std::string(QUENDREL_BINARY_DIR) + "/cli/quendrel-cli render " + P("p.qdj") +
                         " " + P("r.png") + " 2>/dev/null")
                  .iStatus,
              0);
    ASSERT_EQ(RunCli("convert " + P("r.png") + " " + P("final.jpg")).iStatus, 0);

    const RunResult tags = RunCommand("exiv2 -K Exif.Photo.DateTimeOriginal -K Exif.Image.Model -K "
                                      "Exif.Image.Orientation -K Exif.Photo.PixelXDimension -Pv " +
                                      P("final.jpg") + " 2>/dev/null");
    EXPECT_EQ(tags.szOutput, "Test Cam\n1\n2021:06:15 10:20:30\n20\n");
    EXPECT_EQ(RunCommand("identify -format %wx%h " + P("final.jpg")).szOutput, "20x30");

    const RunResult info = RunCli("info " + P("final.jpg") + " --metadata");
    EXPECT_EQ(info.iStatus, 0);
    EXPECT_EQ(info.szOutput.rfind("20x30 24 JPEG\n", 0), 0u) << info.szOutput;
    EXPECT_NE(info.szOutput.find("Exif.Photo.DateTimeOriginal = 2021:06:15 10:20:30\n"), std::string::npos);
    const RunResult plain = RunCli("info " + P("r.png") + " --metadata");
    EXPECT_NE(plain.szOutput.find("Exif.Image.Model = Test Cam\n"), std::string::npos) << plain.szOutput;
    ASSERT_EQ(system(("convert -size 4x4 xc:red PNG24:" + dir + "/bare.png").c_str()), 0);
    EXPECT_EQ(RunCli("info " + P("bare.png") + " --metadata").szOutput,
              "4x4 24 PNG\n(no photo information)\n");
    std::filesystem::remove_all(dir);
}
