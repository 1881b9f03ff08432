#include <gtest/gtest.h>

#include "foundation/LInterWinMessage.h"
#include "foundation/LNotifier.h"
#include "foundation/LThread.h"
#include "test_threads_loop.h"

#include <atomic>
#include <string>
#include <vector>

namespace
{
class Slider : public LNotifier<Slider>, public LNotifier1Arg<Slider, int>
{
public:
    int iValue = 0;
};

class Watcher : public LNotifyee<Slider>, public LNotifyee1Arg<Slider, int>
{
public:
    Watcher(std::string* log, char name) : lpLog(log), cName(name) {}
    void EvNotify(Slider& s) override
    {
        *lpLog += cName;
        *lpLog += std::to_string(s.iValue);
        if (lpRemove)
            s.LNotifier<Slider>::RemoveNotifyee(lpRemove);
    }
    void EvNotify(Slider&, int arg) override { *lpLog += cName + std::to_string(arg); }
    std::string* lpLog;
    char cName;
    LNotifyee<Slider>* lpRemove = nullptr;
};

class Messages : public LInterWinMessageHandler
{
public:
    void EvInterWinMessage(int id, intptr_t a, intptr_t b) override
    {
        arLog.push_back({id, (int)a, (int)b});
        if (id == 2)
            delete reinterpret_cast<Messages*>(a); // a panel asking for its own destruction
    }
    std::vector<std::vector<int>> arLog;
};
} // namespace

TEST(LNotifier, CallsInOrderWithoutDuplicatesAndSurvivesRemovalDuringARound)
{
    std::string log;
    Slider slider;
    Watcher a(&log, 'a'), b(&log, 'b'), c(&log, 'c');
    EXPECT_TRUE(slider.LNotifier<Slider>::AddNotifyee(&b));
    EXPECT_TRUE(slider.LNotifier<Slider>::AddNotifyee(&a));
    EXPECT_FALSE(slider.LNotifier<Slider>::AddNotifyee(&b));
    EXPECT_TRUE(slider.LNotifier<Slider>::AddNotifyee(&c));
    slider.iValue = 5;
    slider.LNotifier<Slider>::Notify();
    EXPECT_EQ(log, "b5a5c5");

    // b removes c, then a removes itself; c isn't called after its removal.
    log.clear();
    b.lpRemove = &c;
    a.lpRemove = &a;
    slider.LNotifier<Slider>::Notify();
    EXPECT_EQ(log, "b5a5");
    log.clear();
    slider.LNotifier<Slider>::Notify();
    EXPECT_EQ(log, "b5");
    EXPECT_FALSE(slider.LNotifier<Slider>::RemoveNotifyee(&a));

    log.clear();
    slider.LNotifier1Arg<Slider, int>::AddNotifyee(&c);
    slider.LNotifier1Arg<Slider, int>::AddNotifyee(&a);
    slider.LNotifier1Arg<Slider, int>::Notify(9);
    EXPECT_EQ(log, "c9a9");
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

    // A panel posts its own destruction and then, still in its handler, more messages to itself:
    // those die with it.
    Messages* panel = new Messages;
    panel->HandleInterWinMessage(1);
    LInterWinMessageHandler::SendInterWinMessage(&controller, 2, (intptr_t)panel, 0);
    LInterWinMessageHandler::SendInterWinMessage(panel, 1, 0, 0);
    panel = nullptr;

    // From a worker the messages queue behind those sent before.
    class Sender : public LThread
    {
    public:
        ~Sender() override { StopThreadNow(); }
        void ThreadFunction() override
        {
            for (int i = 0; i < 100; ++i)
                LWindow::SendInterWinMessage(lpWindow, 1, i, -i);
        }
        LWindow* lpWindow;
    } sender;
    sender.lpWindow = &window;
    sender.Start(20);
    sender.WaitToStop();
    ASSERT_TRUE(PumpUntil([&] { return controller.arLog.size() == 102; }));
    EXPECT_EQ(controller.arLog[0], (std::vector<int>{1, 10, 20}));
    EXPECT_EQ(controller.arLog[1][0], 2);
    for (int i = 0; i < 100; ++i)
        ASSERT_EQ(controller.arLog[2 + i], (std::vector<int>{1, i, -i}));

    // Once the handler is gone, the window has none.
    {
        Messages shortLived;
        LWindow::HandleInterWinMessage(&window, &shortLived, 1);
        LWindow::SendInterWinMessage(&window, 1, 0, 0);
    }
    EXPECT_FALSE(LWindow::SendInterWinMessage(&window, 1, 0, 0));
    PumpFor(20);
}
