// Camera raw files loaded on the main thread with an event loop alive are developed on a worker,
// and what the decoder reports still reaches the caller, on the main thread.

#include <gtest/gtest.h>

#include <QApplication>
#include <QThread>
#include <cstdlib>
#include <string>
#include <unistd.h>

#include "ui_support.h"
#include "codecs/LImage.h"

namespace
{
class MainThreadRecorder : public LProcessInterfaceVoid
{
public:
    void SetStatus(const char* text, int) override
    {
        arStatus.push_back(text);
        bOffMainThread |= QThread::currentThread() != QApplication::instance()->thread();
    }
    // A stop asked for while the worker runs.
    int ProcessWaitSignal(LSignalObject& signal, int milliseconds) override
    {
        return bStop ? 1 : LProcessInterfaceVoid::ProcessWaitSignal(signal, milliseconds);
    }
    std::vector<std::string> arStatus;
    bool bOffMainThread = false;
    bool bStop = false;
};
} // namespace

TEST(RawWorker, DevelopsOffTheMainThreadAndReportsOnIt)
{
    TestApp();
    char dir[] = "/tmp/qraw-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    const std::string dng = std::string(dir) + "/t.dng";
    ASSERT_EQ(
        system(("/usr/bin/python3 '" QUENDREL_SOURCE_DIR "/tests/data/codecs/make_dng.py' '" + dng + "'")
                   .c_str()),
        0);
    MainThreadRecorder process;
    LImageBuffer image;
    EXPECT_EQ(LImage::Load(process, image, dng.c_str()), 48);
    EXPECT_EQ(image.GetWidth(), 64);
    bool decoding = false;
    for (const std::string& s : process.arStatus)
        decoding |= s == "Decoding DNG image";
    EXPECT_TRUE(decoding);
    EXPECT_FALSE(process.bOffMainThread);

    MainThreadRecorder stopping;
    stopping.bStop = true;
    EXPECT_EQ(LImage::Load(stopping, image, dng.c_str()), 0);
    EXPECT_FALSE(image.IsValid());
    bool waiting = false;
    for (const std::string& s : stopping.arStatus)
        waiting |= s == "Waiting for the process to stop";
    EXPECT_TRUE(waiting);
    (void)system((std::string("rm -rf ") + dir).c_str());
}
