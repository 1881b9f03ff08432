// quendrel-cli info and convert: output, exit status and messages, and a conversion between
// every pair of formats that can be both read and written.

#include <gtest/gtest.h>

#include <cstdlib>
#include <unistd.h>

#include "cli_support.h"

using namespace cli_test;

namespace
{
struct Dir
{
    Dir()
    {
        char t[] = "/tmp/qcli-XXXXXX";
        if (mkdtemp(t))
            s = t;
    }
    ~Dir() { (void)system(("rm -rf '" + s + "'").c_str()); }
    std::string operator()(const std::string& name) const { return "'" + s + "/" + name + "'"; }
    std::string s;
};
} // namespace

TEST(QuendrelCliImages, InfoAndMessages)
{
    Dir d;
    ASSERT_EQ(system(("convert -size 33x21 gradient:red-blue -depth 8 PNG24:" + d("g.png")).c_str()), 0);
    RunResult r = RunCli("info " + d("g.png"));
    EXPECT_EQ(r.iStatus, 0);
    EXPECT_EQ(r.szOutput, "33x21 24 PNG\n");
    ASSERT_EQ(system(("convert -size 33x21 gradient:red-blue -quality 90 " + d("g.JPEG")).c_str()), 0);
    EXPECT_EQ(RunCli("info " + d("g.JPEG")).szOutput, "33x21 24 JPEG\n");

    struct Case
    {
        std::string szArgs;
        const char* szMessage;
    } cases[] = {
        {"info " + d("none.png"), "The file could not be found.\n"},
        {"info " + d("g.png") + " extra", nullptr},
        {"convert " + d("g.png") + " " + d("o.jpe"), "The file type is not recognized.\n"},
        {"convert " + d("none.png") + " " + d("o.png"), "The file could not be found.\n"},
        {"convert " + d("g.png") + " " + d("o.dng"), "The image could not be saved\n"},
        {"convert " + d("g.png") + " " + d("o.jpg") + " --quality 101", nullptr},
        {"convert " + d("g.png") + " " + d("o.jpg") + " --quality", nullptr},
        {"convert " + d("g.png") + " " + d("o.webp") + " --webp-quality 0", nullptr},
    };
    for (const Case& c : cases)
    {
        SCOPED_TRACE(c.szArgs);
        const RunResult e = RunCli(c.szArgs, true);
        EXPECT_EQ(e.iStatus, 2);
        if (c.szMessage)
            EXPECT_EQ(e.szOutput, c.szMessage);
        else
            EXPECT_NE(e.szOutput.find("usage:"), std::string::npos);
    }
    // A renamed file is not rescued by its content.
    ASSERT_EQ(system(("cp " + d("g.png") + " " + d("g.bmp")).c_str()), 0);
    EXPECT_EQ(RunCli("info " + d("g.bmp"), true).szOutput, "The image could not be loaded.\n");
}

TEST(QuendrelCliImages, EveryReadWritePairConverts)
{
    Dir d;
    ASSERT_EQ(
        system(("convert -seed 5 -size 40x30 plasma:fractal -depth 8 -quality 92 " + d("photo.jpg")).c_str()),
        0);
    const char* exts[] = {"jpg", "png", "bmp", "tif", "jp2", "webp", "gif"};
    for (const char* from : exts)
    {
        const std::string src = d(std::string("src.") + from);
        ASSERT_EQ(RunCli("convert " + d("photo.jpg") + " " + src).iStatus, 0) << from;
        for (const char* to : exts)
        {
            SCOPED_TRACE(std::string(from) + " -> " + to);
            const std::string out = d(std::string("out_") + from + "." + to);
            ASSERT_EQ(RunCli("convert " + src + " " + out).iStatus, 0);
            const RunResult info = RunCli("info " + out);
            EXPECT_EQ(info.iStatus, 0);
            EXPECT_EQ(info.szOutput.rfind("40x30 ", 0), 0u) << info.szOutput;
            // ImageMagick agrees on what was written.
            EXPECT_EQ(RunCommand("identify -format '%wx%h' " + out + " 2>/dev/null").szOutput, "40x30");
        }
    }
    // Options reach the encoders.
    const std::pair<const char*, const char*> options[] = {
        {"q10.jpg", "--quality 10"}, {"q95.jpg", "--quality 95"},   {"b32.bmp", "--bmp32"},
        {"l.jp2", "--jp2-lossless"}, {"y.jp2", "--jp2-quality 20"}, {"w.webp", "--webp-quality 5"}};
    for (const auto& [name, option] : options)
        ASSERT_EQ(RunCli("convert " + d("photo.jpg") + " " + d(name) + " " + option).iStatus, 0) << option;
    EXPECT_EQ(RunCli("info " + d("b32.bmp")).szOutput, "40x30 32 BMP\n");
    const std::string sizes = "test $(stat -c %s " + d("q10.jpg") + ") -lt $(stat -c %s " + d("q95.jpg") +
                              ") && test $(stat -c %s " + d("y.jp2") + ") -lt $(stat -c %s " + d("l.jp2") +
                              ")";
    EXPECT_EQ(system(sizes.c_str()), 0);

    // A phone's HEIC through the modern formats to a JPEG, with their options.
    ASSERT_EQ(
        RunCommand("heif-enc -q 80 " + d("photo.jpg") + " -o " + d("phone.heic") + " >/dev/null").iStatus, 0);
    const char* chain[][3] = {{"phone.heic", "c.avif", "--avif-quality 70 --avif-speed 9"},
                              {"c.avif", "c.jxl", "--jxl-quality 80"},
                              {"c.jxl", "l.jxl", "--jxl-lossless"},
                              {"l.jxl", "c.heic", "--heic-quality 40"},
                              {"c.heic", "c.jpg", ""}};
    for (const auto& step : chain)
        ASSERT_EQ(RunCli(std::string("convert ") + d(step[0]) + " " + d(step[1]) + " " + step[2]).iStatus, 0)
            << step[1];
    EXPECT_EQ(RunCli("info " + d("c.jpg")).szOutput, "40x30 24 JPEG\n");
}

TEST(QuendrelCliImages, RawDecodingSurvivesExhaustedMemory)
{
#if defined(__SANITIZE_ADDRESS__)
    GTEST_SKIP() << "the sanitizer's shadow memory needs more address space than the limits tried";
#else
    // The address space is limited in steps from where the program barely starts to where the
    // file decodes, so that allocations fail at every stage of the raw decoder in turn: each run
    // must end in a picture or in the message, never in an exception or a signal. One OpenMP
    // thread, since a thread that can't be made ends the process inside libgomp.
    Dir d;
    ASSERT_EQ(
        system(("/usr/bin/python3 '" QUENDREL_SOURCE_DIR "/tests/data/codecs/make_dng.py' " + d("t.dng"))
                   .c_str()),
        0);
    const std::string cli = std::string(QUENDREL_BINARY_DIR) + "/cli/quendrel-cli";
    auto run = [&](long kb, const std::string& args)
    {
        return RunCommand("OMP_NUM_THREADS=1 prlimit --as=" + std::to_string(kb * 1024) + " " + cli + " " +
                          args + " 2>&1; echo \" status $?\"");
    };
    long low = 8 << 10;
    while (low < (1 << 20) && run(low, "--version").szOutput.rfind("2.82", 0) != 0)
        low += 1 << 10;
    ASSERT_LT(low, 1 << 20);
    int failures = 0, successes = 0;
    for (long kb = low; kb < low + (48 << 10) && successes < 3; kb += 256)
    {
        const std::string out = run(kb, "info " + d("t.dng")).szOutput;
        SCOPED_TRACE(std::to_string(kb) + " kB: " + out);
        if (out.find("libgomp:") != std::string::npos || out.find(" status 127") != std::string::npos)
            continue; // OpenMP's or the loader's own exhaustion, before any decoding
        if (out == "64x48 48 DNG\n status 0\n")
            ++successes;
        else
        {
            EXPECT_EQ(out, "The image could not be loaded.\n status 2\n");
            ++failures;
        }
    }
    EXPECT_GT(failures, 0); // the steps did reach the decoder
    EXPECT_GT(successes, 0);
#endif
}
