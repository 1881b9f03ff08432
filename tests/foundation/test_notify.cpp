#include <gtest/gtest.h>

#include "foundation/LInterWinMessage.h"
#include "foundation/LNotifier.h"
#include "foundation/LThread.h"
#include "foundation_test_support.h"

#include <string>
#include <vector>

namespace
{
class Slider : public LNotifier<Slider>
{
public:
    int iValue = 0;
};

class Watcher : public LNotifyee<Slider>
{
public:
    Watcher(std::string* log, char name) : lpLog(log), cName(name) {}
    void EvNotify(Slider& s) override
    {
        *lpLog += cName + std::to_string(s.iValue);
        if (lpRemove)
            s.RemoveNotifyee(lpRemove);
    }
    std::string* lpLog;
    char cName;
    LNotifyee<Slider>* lpRemove = nullptr;
};

class Messages : public LInterWinMessageHandler, public LThreadQueuedNotify
{
public:
    void EvInterWinMessage(int id, intptr_t a, intptr_t b) override
    {
        arLog.push_back({id, (int)a, (int)b});
        if (id == 2)
            delete reinterpret_cast<Messages*>(a); // a panel asking for its own destruction
    }
    void EvThreadQueuedNotify(int code) override { arLog.push_back({-1, code, 0}); }
    std::vector<std::vector<int>> arLog;
};
} // namespace

TEST(LNotifier, CallsInOrderWithoutDuplicatesAndSurvivesRemovalDuringARound)
{
    std::string log;
    Slider slider;
    Watcher a(&log, 'a'), b(&log, 'b'), c(&log, 'c');
    EXPECT_TRUE(slider.AddNotifyee(&b));
    EXPECT_TRUE(slider.AddNotifyee(&a));
    EXPECT_FALSE(slider.AddNotifyee(&b));
    EXPECT_TRUE(slider.AddNotifyee(&c));
    slider.iValue = 5;
    slider.Notify();
    EXPECT_EQ(log, "b5a5c5");

    // b removes c, then a removes itself; c isn't called after its removal.
    log.clear();
    b.lpRemove = &c;
    a.lpRemove = &a;
    slider.Notify();
    slider.Notify();
    EXPECT_EQ(log, "b5a5b5");

    struct Level : LNotifier1Arg<Level, int>
    {
    } level;
    struct Echo : LNotifyee1Arg<Level, int>
    {
        void EvNotify(Level&, int arg) override { iLast = arg; }
        int iLast = 0;
    } echo;
    level.AddNotifyee(&echo);
    level.Notify(9);
    EXPECT_EQ(echo.iLast, 9);
}

TEST(LInterWinMessage, DeliveredLaterInOrderForRegisteredIdsOnly)
{
    EnsureMainLoop();
    LWindow window;
    Messages controller;
    LWindow::HandleInterWinMessage(&window, &controller, 1);
    controller.HandleInterWinMessage(2);
    EXPECT_TRUE(LWindow::SendInterWinMessage(&window, 1, 10, 20));
    EXPECT_FALSE(LWindow::SendInterWinMessage(&window, 3, 0, 0)) << "id 3 isn't registered";
    EXPECT_TRUE(controller.arLog.empty()) << "messages are deferred";

    // A panel posts its own destruction, then messages to itself that die with it.
    Messages* panel = new Messages;
    panel->HandleInterWinMessage(1);
    LInterWinMessageHandler::SendInterWinMessage(&controller, 2, (intptr_t)panel, 0);
    LInterWinMessageHandler::SendInterWinMessage(panel, 1, 0, 0);
    panel->PostThreadQueuedNotify(1);

    // A worker's messages queue behind those sent before.
    class Sender : public LThread
    {
    public:
        ~Sender() override { StopThreadNow(); }
        void ThreadFunction() override
        {
            for (int i = 0; i < 100; ++i)
                LWindow::SendInterWinMessage(lpWindow, 1, i, -i);
            lpNotify->PostThreadQueuedNotify(7);
        }
        LWindow* lpWindow;
        LThreadQueuedNotify* lpNotify;
    } sender;
    sender.lpWindow = &window;
    sender.lpNotify = &controller;
    sender.Start(20);
    ASSERT_TRUE(PumpUntil([&] { return controller.arLog.size() == 103; }));
    EXPECT_EQ(controller.arLog[0], (std::vector<int>{1, 10, 20}));
    EXPECT_EQ(controller.arLog[1][0], 2);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(controller.arLog[2 + i], (std::vector<int>{1, i, -i}));
    EXPECT_EQ(controller.arLog[102], (std::vector<int>{-1, 7, 0}));

    {
        Messages shortLived;
        LWindow::HandleInterWinMessage(&window, &shortLived, 1);
        LWindow::SendInterWinMessage(&window, 1, 0, 0);
    }
    EXPECT_FALSE(LWindow::SendInterWinMessage(&window, 1, 0, 0)) << "the window's handler is gone";
    PumpFor(20);
}
