// The main loop on Qt: one posted custom event per item, one single-shot QTimer per timer.
//
// Items are booked in our own table, keyed by a serial that the event carries, so that an
// owner's items can be taken out of the queue (Qt can only remove events by receiver and type)
// and so that whoever takes an item out of the table - delivery, removal, or the event's
// destruction when Qt discards it - is the one that destroys it.

#include "foundation/LMainLoop.h"

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEvent>
#include <QPointer>
#include <QThread>
#include <QTimer>

#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <unistd.h>
#include <vector>

namespace
{
struct Booking
{
    const void* lpOwner;
    LMainLoopItem* lpItem;
};

// Recursive: Qt may discard an event inside postEvent, and the event's destructor books it out.
std::recursive_mutex gMutex;
std::map<uint64_t, Booking> gBookings; // ordered by serial, which is posting order
uint64_t gNextSerial = 1;
std::atomic<bool> gLoopEnded{false};
QObject* gReceiver = nullptr;

LMainLoopItem* TakeBooking(uint64_t serial)
{
    std::lock_guard<std::recursive_mutex> guard(gMutex);
    auto it = gBookings.find(serial);
    if (it == gBookings.end())
        return nullptr;
    LMainLoopItem* item = it->second.lpItem;
    gBookings.erase(it);
    return item;
}

const QEvent::Type kItemEventType = static_cast<QEvent::Type>(QEvent::registerEventType());

class ItemEvent : public QEvent
{
public:
    explicit ItemEvent(uint64_t serial) : QEvent(kItemEventType), nSerial(serial) {}
    // Qt discards events it never delivers (receiver or application destroyed).
    ~ItemEvent() override { delete TakeBooking(nSerial); }
    uint64_t nSerial;
};

class Receiver : public QObject
{
public:
    bool event(QEvent* e) override
    {
        if (e->type() != kItemEventType)
            return QObject::event(e);
        if (LMainLoopItem* item = TakeBooking(static_cast<ItemEvent*>(e)->nSerial))
        {
            item->Run();
            delete item;
        }
        return true;
    }
};

// Runs as the application object is destroyed, on the main thread.
void DropReceiver()
{
    QObject* receiver;
    {
        std::lock_guard<std::recursive_mutex> guard(gMutex);
        receiver = gReceiver;
        gReceiver = nullptr;
    }
    delete receiver; // its queued events go with it, and with them their items
}

// Under gMutex.
QObject* GetReceiver()
{
    if (gReceiver)
        return gReceiver;
    QCoreApplication* app = QCoreApplication::instance();
    if (!app || QCoreApplication::closingDown())
        return nullptr;
    gReceiver = new Receiver;
    if (gReceiver->thread() != app->thread())
        gReceiver->moveToThread(app->thread());
    qAddPostRoutine(&DropReceiver);
    return gReceiver;
}

size_t RemoveWhere(const void* owner, bool all)
{
    std::vector<LMainLoopItem*> removed;
    {
        std::lock_guard<std::recursive_mutex> guard(gMutex);
        for (auto it = gBookings.begin(); it != gBookings.end();)
        {
            if (all || it->second.lpOwner == owner)
            {
                removed.push_back(it->second.lpItem);
                it = gBookings.erase(it);
            }
            else
                ++it;
        }
    }
    // Outside the lock: an item's destructor may post or remove in turn.
    for (LMainLoopItem* item : removed)
        delete item;
    return removed.size();
}
} // namespace

bool LMainLoopPost(const void* owner, LMainLoopItem* item)
{
    if (!item)
        return false;
    if (gLoopEnded)
    {
        delete item;
        return false;
    }
    std::unique_lock<std::recursive_mutex> lock(gMutex);
    QObject* receiver = GetReceiver();
    if (!receiver)
    {
        lock.unlock();
        delete item;
        return false;
    }
    uint64_t serial = gNextSerial++;
    gBookings.emplace(serial, Booking{owner, item});
    // Posted under the lock so that serials reach the queue in order.
    QCoreApplication::postEvent(receiver, new ItemEvent(serial));
    return true;
}

size_t LMainLoopRemovePosted(const void* owner)
{
    return RemoveWhere(owner, false);
}

bool LMainLoopIsAlive()
{
    return !gLoopEnded && QCoreApplication::instance() && !QCoreApplication::closingDown();
}

void LMainLoopBegin()
{
    gLoopEnded = false;
}

void LMainLoopEnd()
{
    gLoopEnded = true;
    RemoveWhere(nullptr, true);
}

bool LMainLoopIsMainThread()
{
    if (QCoreApplication* app = QCoreApplication::instance())
        return QThread::currentThread() == app->thread();
    return gettid() == getpid();
}

void LMainLoopProcessEvents(int milliseconds, bool (*done)(void* context), void* context)
{
    if (!QCoreApplication::instance())
        return;
    // The wake-up timer makes the blocking wait return at the deadline when nothing else comes.
    QTimer wake;
    wake.setSingleShot(true);
    wake.setTimerType(Qt::PreciseTimer);
    QElapsedTimer clock;
    clock.start();
    for (;;)
    {
        if (done && done(context))
            break;
        qint64 left = milliseconds - clock.elapsed();
        if (left <= 0)
            break;
        wake.start((int)left);
        QCoreApplication::processEvents(QEventLoop::AllEvents | QEventLoop::WaitForMoreEvents);
    }
}

struct LMainLoopTimer
{
    QTimer timer;
    LMainLoopTimerCallback callback;
    void* lpContext;
    int iId;
    bool bFiring = false;
    bool bDeletePending = false;
};

LMainLoopTimer* LMainLoopTimerCreate(LMainLoopTimerCallback callback, void* context, int id)
{
    if (!QCoreApplication::instance())
        return nullptr;
    LMainLoopTimer* t = new LMainLoopTimer;
    t->callback = callback;
    t->lpContext = context;
    t->iId = id;
    t->timer.setSingleShot(true);
    // Coarse timers may fire up to 5% early or late; a debounce must not fire before its time.
    t->timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&t->timer, &QTimer::timeout,
                     [t]()
                     {
                         t->bFiring = true;
                         t->callback(t->lpContext, t->iId);
                         t->bFiring = false;
                         if (t->bDeletePending)
                             delete t;
                     });
    return t;
}

void LMainLoopTimerStart(LMainLoopTimer* timer, int milliseconds)
{
    if (timer)
        timer->timer.start(milliseconds < 0 ? 0 : milliseconds);
}

void LMainLoopTimerStop(LMainLoopTimer* timer)
{
    if (timer)
        timer->timer.stop();
}

bool LMainLoopTimerIsActive(const LMainLoopTimer* timer)
{
    return timer && timer->timer.isActive();
}

int LMainLoopTimerRemaining(const LMainLoopTimer* timer)
{
    return timer ? timer->timer.remainingTime() : -1;
}

void LMainLoopTimerDestroy(LMainLoopTimer* timer)
{
    if (!timer)
        return;
    timer->timer.stop();
    if (timer->bFiring)
        timer->bDeletePending = true;
    else
        delete timer;
}
