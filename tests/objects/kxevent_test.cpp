// Tests of event ids, sources, listeners, removal during raising and delegation.
#include "kx/objects/kxevent.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "kx/objects/kxobject.h"

namespace {

std::vector<std::string> gLog; // "name:id:cookie" per delivery

void LogDelivery(const std::string &name, const kxEvent &event, int cookie)
{
    gLog.push_back(name + ":" + std::to_string(event.GetId()) + ":" + std::to_string(cookie));
}

// Compares the deliveries since the last call with `expected` and forgets them.
void ExpectLog(const std::vector<std::string> &expected)
{
    EXPECT_EQ(gLog, expected);
    gLog.clear();
}

class tstListener : public kxEventListener {
public:
    explicit tstListener(std::string name) : name(std::move(name)) {}
    void OnEvent(kxEvent &event, int cookie) override
    {
        LogDelivery(name, event, cookie);
        if (delegates)
            event.Delegate();
        if (action)
            action(event);
    }
    std::string name;
    bool delegates = false;
    std::function<void(kxEvent &)> action;
};

class KXEventTest : public ::testing::Test {
protected:
    void SetUp() override { gLog.clear(); }
};

} // namespace

TEST_F(KXEventTest, EventIdsAreNeverReused)
{
    const int a = kxEventIDServer::GetEventID();
    EXPECT_GE(a, 1);
    EXPECT_EQ(kxEventIDServer::GetEventID(), a + 1);
}

TEST_F(KXEventTest, DeliveryOrderFiltersAndRemovalById)
{
    kxEventSource source;
    tstListener all("all"), five("five"), six("six");
    source.RaiseEvent(5); // no listeners yet: nothing happens
    all.ListenTo(source, 0, 10);
    five.ListenTo(source, 5, 11);
    six.ListenTo(source, 6, 12);

    int payload = 0;
    kxEvent event(5, &payload, nullptr);
    source.RaiseEvent(event);
    EXPECT_EQ(event.getSource(), &source);
    source.RaiseEvent(6);
    source.RaiseEvent(7, &payload, &payload);
    ExpectLog({"all:5:10", "five:5:11", "all:6:10", "six:6:12", "all:7:10"});

    // Removal by id keeps the other registrations.
    all.ListenTo(source, 6, 13);
    all.RemoveSource(source, 0);
    source.RaiseEvent(6);
    ExpectLog({"six:6:12", "all:6:13"});
    six.RemoveAllSources(6);
    EXPECT_FALSE(six.IsListeningTo(source));
    all.RemoveSource(source);
    EXPECT_EQ(source.GetListenerCount(), 1);
}

TEST_F(KXEventTest, RemovalDuringRaising)
{
    kxEventSource source;
    tstListener first("first"), second("second"), third("third"), late("late");
    first.ListenTo(source, 0, 1);
    second.ListenTo(source, 0, 2);
    third.ListenTo(source, 0, 3);

    // A listener that removes itself does not disturb the others.
    first.action = [&](kxEvent &) { first.RemoveSource(source); };
    source.RaiseEvent(1);
    ExpectLog({"first:1:1", "second:1:2", "third:1:3"});
    EXPECT_EQ(source.GetListenerCount(), 2);

    // A listener removed by another before its turn gets nothing; one added waits.
    second.action = [&](kxEvent &) {
        third.RemoveAllSources();
        late.ListenTo(source, 0, 4);
    };
    source.RaiseEvent(2);
    ExpectLog({"second:2:2"});
    second.action = nullptr;
    source.RaiseEvent(3);
    ExpectLog({"second:3:2", "late:3:4"});

    // A nested raise, during which a listener destroys itself: the outer raise skips it.
    class SelfDeleting : public kxEventListener {
        void OnEvent(kxEvent &event, int cookie) override
        {
            LogDelivery("doomed", event, cookie);
            delete this;
        }
    };
    (new SelfDeleting)->ListenTo(source, 0, 5);
    second.action = [&](kxEvent &e) {
        if (e.GetId() == 4)
            source.RaiseEvent(40);
    };
    source.RaiseEvent(4);
    ExpectLog({"second:4:2", "second:40:2", "late:40:4", "doomed:40:5", "late:4:4"});
    EXPECT_EQ(source.GetListenerCount(), 2);
}

TEST_F(KXEventTest, LifetimesUnregister)
{
    // A source destroyed by its listener: both listeners forget it, so their destructors must
    // not touch it (the sanitizer build checks this).
    auto *doomed = new kxEventSource;
    tstListener killer("killer"), after("after");
    killer.ListenTo(*doomed, 0, 1);
    after.ListenTo(*doomed, 0, 2);
    killer.action = [&](kxEvent &) { delete doomed; };
    doomed->RaiseEvent(1);
    ExpectLog({"killer:1:1"});

    kxEventSource source;
    {
        tstListener gone("gone");
        gone.ListenTo(source, 0, 1);
    }
    EXPECT_EQ(source.GetListenerCount(), 0);
    source.RaiseEvent(1);
    EXPECT_TRUE(gLog.empty());

    tstListener stays("stays");
    {
        kxEventSource temporary;
        stays.ListenTo(temporary, 0, 1);
        stays.ListenTo(source, 0, 2);
        EXPECT_EQ(kxEventSource(source).GetListenerCount(), 0); // a copy has no registrations
    }
    EXPECT_TRUE(stays.IsListeningTo(source));
    source.RemoveAllListeners();
    EXPECT_FALSE(stays.IsListeningTo(source));
}

TEST_F(KXEventTest, DelegatesAlongTheChain)
{
    kxEventSource source;
    tstListener front("front"), middle("middle"), back("back"), plain("plain");
    front.setDelegate(&middle);
    middle.setDelegate(&back);
    front.ListenTo(source, 0, 7);
    plain.ListenTo(source, 0, 8);

    source.RaiseEvent(1); // no Delegate() call: the chain is not used
    ExpectLog({"front:1:7", "plain:1:8"});
    front.delegates = true;
    middle.delegates = true;
    source.RaiseEvent(2);
    ExpectLog({"front:2:7", "middle:2:7", "back:2:7", "plain:2:8"});

    // A flag set before raising is cleared before each listener's OnEvent.
    front.delegates = false;
    kxEvent pending(3);
    pending.Delegate();
    source.RaiseEvent(pending);
    ExpectLog({"front:3:7", "plain:3:8"});

    // A listener that detaches itself and delegates still hands the event down its chain.
    front.delegates = true;
    front.action = [&](kxEvent &) { front.RemoveSource(source); };
    source.RaiseEvent(4);
    ExpectLog({"front:4:7", "middle:4:7", "back:4:7", "plain:4:8"});
    source.RaiseEvent(5);
    ExpectLog({"plain:5:8"});
}

TEST_F(KXEventTest, EventHandlerObjectGetsAMessage)
{
    struct Handler : public KXObject {
        void OnMessage(KXMessage &m) override
        {
            id = m.GetId();
            event = static_cast<kxEvent *>(m.GetData1());
            cookie = int(reinterpret_cast<std::intptr_t>(m.GetData2()));
        }
        int id = 0, cookie = 0;
        kxEvent *event = nullptr;
    } handler;
    kxEventSource source;
    kxEventListener listener;
    listener.ListenTo(source, 0, 33);
    source.RaiseEvent(2); // no handler yet: nothing
    listener.setEventHandler(handler);
    kxEvent event(9);
    source.RaiseEvent(event);
    EXPECT_EQ(handler.id, 9);
    EXPECT_EQ(handler.event, &event);
    EXPECT_EQ(handler.cookie, 33);
}
