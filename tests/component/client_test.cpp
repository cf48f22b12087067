#include "vesko/component/client.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>
#include <utility>

#include "component/clientfactory.h"
#include "component/clientinstancelist.h"
#include "component/clientinternal.h"
#include "component/unknowninternal.h"
#include "support/capture.h"
#include "support/crowd.h"
#include "support/manualclock.h"
#include "vesko/vesko3/error.h"
#include "vesko/vesko3/thread.h"

namespace {

using namespace Tovra::Component;
using Helper = Detail::CComponentHelper;
using Tovra::Testing::ManualClock;
using Tovra::Testing::printed;
using Tovra::Testing::together;
using Tovra::Vesko::getErrMsg;
using Tovra::Vesko::getLastError;
using Tovra::Vesko::setLastError;

constexpr int wrongPassword = 0x10030007;

// What the servers of these tests do, and what was asked of them.
struct Server {
    std::atomic<bool> letsIn{true};
    std::atomic<bool> broken{false};
    std::atomic<int> alive{0};
    std::atomic<int> logouts{0};
};
Server s_server;

class TestClient : public IClient {
public:
    TestClient() { ++s_server.alive; }
    ~TestClient() override { --s_server.alive; }
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }
    bool checkBroken() override { return s_server.broken; }
    bool login() override {
        if (!s_server.letsIn) setLastError(wrongPassword);
        return s_server.letsIn;
    }
    bool logout() override {
        ++s_server.logouts;
        return true;
    }
    bool getUserID(int& id) override {
        id = 7;
        return true;
    }
};

template <class Base>
class Named : public Base {
public:
    Named(const char* iid, const char* name) : m_iid(iid), m_name(name) {
        this->registerFactory(iid);
    }
    ~Named() override { this->unregisterFactory(m_iid); }
    const char* clsid() override { return m_name; }

private:
    const char* const m_iid;
    const char* const m_name;
};

struct ClientFactoryOf : Named<IClient::IFactory> {
    explicit ClientFactoryOf(const char* name) : Named(iid(), name) {}
    IClient* create(const ServerInfo&) override {
        if (meanwhile) meanwhile();
        return makesNone ? nullptr : new TestClient;
    }
    bool makesNone = false;
    std::function<void()> meanwhile;
};

// No client may be left when a test ends.
class Client : public testing::Test {
protected:
    Client() {
        s_server.letsIn = true;
        s_server.broken = false;
        s_server.logouts = 0;
        info.address = "host";
        info.userName = "user";
    }
    ~Client() override { EXPECT_EQ(s_server.alive, 0); }

    static void waitUntilGone() {
        for (int look = 0; look < 10'000 && s_server.alive != 0; ++look) {
            Tovra::Vesko::CThread::sleep(1);
        }
    }

    IClient* get(const ClassID& clsid = "Remote.1") {
        IClient* client = nullptr;
        Helper::getComponentFactory("camera", clsid, info, client);
        return client;
    }

    ClientFactoryOf clients{"Remote"};
    Named<IFactoryUnknown> cameras{"camera", "Remote.1"};
    ServerInfo info;
};

std::string behindPrefix(const std::string& text) {
    return text.substr(text.find(", ", text.find(" tid:")) + 2);
}

TEST_F(Client, IsSharedWhileLoggedInAndEndsWithItsLastUser) {
    IClient* first = get();
    EXPECT_EQ(IClient::getCurrentUserID(), 7);
    std::thread([] { EXPECT_EQ(IClient::getCurrentUserID(), 0); }).join();
    EXPECT_EQ(get(), first);
    s_server.broken = true;
    s_server.letsIn = false;
    EXPECT_EQ(behindPrefix(printed(6, [&] { EXPECT_EQ(get(), nullptr); })),
              "iid=camera could not been got because re-log failed.\n");
    EXPECT_EQ(getRefCount(first), 2);
    s_server.letsIn = true;
    EXPECT_EQ(get(), first);  // logged in anew, on the same object
    EXPECT_EQ(Helper::release(first), 2);
    EXPECT_EQ(Helper::release(first), 1);
    EXPECT_EQ(Helper::release(first), 0);
    EXPECT_EQ(s_server.logouts, 1);
}

TEST_F(Client, WaitsFiveMinutesAfterAFailedLogIn) {
    ManualClock clock;
    s_server.letsIn = false;
    Tovra::Vesko::CTime::getCurrentMilliSecond();
    EXPECT_EQ(behindPrefix(printed(6, [&] { EXPECT_EQ(get(), nullptr); })),
              "iid=camera could not been generated because log failed.\n");
    EXPECT_EQ(getLastError(), wrongPassword);
    EXPECT_STREQ(getErrMsg(getLastError()), "Component error: password not valid!");
    EXPECT_EQ(behindPrefix(printed(6, [&] { EXPECT_EQ(get(), nullptr); })),
              "iid=camera could not been got because log failed.\n");
    EXPECT_EQ(s_server.alive, 1);  // the same object was tried again
    const auto check = [] { CClientInstanceList::instance()->removeIdleClientInstance(0); };
    clock.step(300'000'000'000);
    check();
    EXPECT_EQ(s_server.alive, 1);
    clock.step(2'000'000);
    check();
    waitUntilGone();  // the timer may have been first
    EXPECT_EQ(s_server.logouts, 1);
}

TEST_F(Client, KeptForALateLogInBelongsToItsFirstUser) {
    ManualClock clock;
    for (const bool logsIn : {false, true}) {
        s_server.letsIn = false;
        EXPECT_EQ(get(), nullptr);
        s_server.letsIn = logsIn;
        IClient* client = nullptr;
        if (logsIn) {
            EXPECT_EQ(get("Remote.unknown"), nullptr);  // logged in, but there is no such class
            client = get();
        } else {
            Helper::getComponentFactory("camera", "Remote.1", 7, client);
        }
        EXPECT_EQ(getRefCount(client), 1);  // the list has given its hold back
        clock.step(301'000'000'000);
        CClientInstanceList::instance()->removeIdleClientInstance(0);
        EXPECT_EQ(s_server.alive, 1);
        Helper::release(client);
    }
}

TEST_F(Client, ReportsAnotherOneThatWasMadeMeanwhile) {
    IClient* other = nullptr;
    clients.meanwhile = [&] {
        clients.meanwhile = nullptr;
        other = get();
    };
    IClient* client = nullptr;
    const std::string text = printed(2, [&] { client = get(); });
    EXPECT_EQ(behindPrefix(text), "remote client instance " +
                                      testing::PrintToString(static_cast<void*>(other)) +
                                      " has been in CClientInstanceList already.\n");
    Helper::release(client);
    Helper::release(other);
}

TEST_F(Client, MayBeHeldUntilTheProcessEnds) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const auto end = [this] {
        ::alarm(60);
        static TComPtr<IClient> s_holder;  // older than the list, and so the last to end
        s_holder = TComPtr<IClient>(get());
        std::atexit([] { std::fprintf(stderr, "%d held\n", s_server.alive.load()); });
        std::exit(0);
    };
    EXPECT_EXIT(end(), testing::ExitedWithCode(0), "1 held");
}

TEST_F(Client, FailsWithTheErrorOfTheStepThatFailed) {
    IClient* client = nullptr;
    const auto ask = [&](const char* iid, const char* clsid, const ServerInfo& server) {
        setLastError(0);
        EXPECT_EQ(Helper::getComponentFactory(iid, clsid, server, client), nullptr);
        EXPECT_EQ(client, nullptr);
        return getLastError();
    };
    EXPECT_EQ(ask("nothing", "Local", ServerInfo::none), 0x10030000);
    EXPECT_EQ(ask("camera", "nothing", ServerInfo::none), 0x10030001);
    const std::string text =
        printed(2, [&] { EXPECT_EQ(ask("camera", "nothing.1", info), 0x10030002); });
    EXPECT_EQ(behindPrefix(text),
              "iid (camera) could not been got because clientInstance could not be created.\n");
    clients.makesNone = true;
    printed(2, [&] { EXPECT_EQ(ask("camera", "Remote.1", info), 0x10030003); });
    clients.makesNone = false;
    const ServerInfo copyOfNone = ServerInfo::none;  // a server with empty fields
    EXPECT_EQ(Helper::getComponentFactory("camera", "Remote.1", copyOfNone, client), &cameras);
    Helper::release(client);
    cameras.unregisterFactory("camera");
    EXPECT_EQ(ask("camera", "Remote.1", ServerInfo::none), 0);
}

TEST_F(Client, IsFoundByItsUserInAnyState) {
    IClient* client = nullptr;
    EXPECT_EQ(Helper::getComponentFactory("camera", "Remote.1", 7, client), nullptr);
    EXPECT_EQ(Helper::getComponentFactory("camera", "Remote.1", -1, client), &cameras);
    IClient* mine = get();
    s_server.broken = true;
    EXPECT_EQ(Helper::getComponentFactory("camera", "Remote.1", 7, client), &cameras);
    EXPECT_EQ(client, mine);
    EXPECT_EQ(clients.instance(7), mine);
    EXPECT_EQ(getRefCount(mine), 2);
    Helper::release(client);
    Helper::release(mine);
}

TEST_F(Client, OfItsOwnIsMadeByTheStandInOfAFactory) {
    IClient* none = nullptr;
    auto* wrapper = dynamic_cast<IClient::IFactory*>(
        Helper::getComponentFactory("Client", "Remote", info, none));
    IClient* client = wrapper->create(info);
    EXPECT_EQ(wrapper->create(info), client);
    s_server.broken = true;
    EXPECT_TRUE(clientUpdateBroken(client));
    IClient* another = wrapper->create(info);  // a broken one is not shared
    EXPECT_NE(another, client);
    for (IClient* one : {client, client, another}) Helper::release(one);

    ClientFactoryOf local("Local");
    auto* localWrapper = dynamic_cast<IClient::IFactory*>(
        Helper::getComponentFactory("Client", ClassID::local, info, none));
    IClient* const locals[] = {localWrapper->create(info), localWrapper->create(info)};
    EXPECT_NE(locals[0], locals[1]);
    for (IClient* one : locals) Helper::release(one);
}

TEST_F(Client, IsToldApartByTheFieldsOfTheKey) {
    using Info = ServerInfo;
    IClient* client = get();
    const auto expectSame = [&](bool same, auto value, const auto& members) {
        for (std::size_t i = 0; i < members.size(); ++i) {
            Info other = info;
            other.*members[i] = value;
            EXPECT_EQ(clientIsSameAs(client, "Remote", other), same) << i << " of " << value;
        }
    };
    expectSame(
        false, "x",
        std::array{&Info::address, &Info::userName, &Info::password, &Info::text1, &Info::text2,
                   &Info::text3, &Info::text4, &Info::text6, &Info::text7, &Info::text8});
    expectSame(false, 1, std::array{&Info::port, &Info::number1, &Info::number2});
    expectSame(false, true, std::array{&Info::flag1, &Info::flag2, &Info::flag3});
    expectSame(true, "", std::array{&Info::text1});  // as null
    expectSame(true, "x", std::array{&Info::text5, &Info::text9});
    expectSame(true, 1, std::array{&Info::number3});
    EXPECT_TRUE(clientIsSameAs(client, "Rem.x", info));
    EXPECT_FALSE(clientIsSameAs(client, "Remotes", info));
    Helper::release(client);
}

TEST_F(Client, TellsWhatItWasMadeWith) {
    info.userName = nullptr;
    IClient* client = get();
    ServerInfo told;
    EXPECT_EQ(behindPrefix(printed(3, [&] { EXPECT_TRUE(client->getServerInfo(told)); })),
              "userName of client is a null string!\n");
    EXPECT_STREQ(told.userName, "");
    EXPECT_TRUE(client->saveUserName("anna"));
    EXPECT_EQ(behindPrefix(printed(3, [&] { EXPECT_TRUE(client->saveUserName("bert")); })),
              "username of client has already saved.\n");
    client->getServerInfo(told);
    EXPECT_STREQ(told.userName, "anna");
    Helper::release(client);
}

// Notes the order in which procedures run.
struct Witness {
    void note(void* data, ClassID, TComPtr<IClient> client, IClient::Status status, int reason) {
        EXPECT_EQ(status, IClient::statusAborted);
        EXPECT_EQ(reason, 4);
        s_order += name;
        if (detaches) client->detachStatusProc(proc());
        if (data != nullptr) Helper::release(static_cast<IClient*>(data));
    }
    template <class... Number>
    IClient::Proc proc(Number... reuse) {
        return IClient::Proc(&Witness::note, this, reuse...);
    }
    char name;
    bool detaches = false;
    static inline std::string s_order;
};

TEST_F(Client, TellsItsProceduresOfAnAbortInTheOrderOfTheirSlots) {
    IClient* client = get();
    Witness two{'2'};
    EXPECT_TRUE(client->attachStatusProc(two.proc(16U)));
    EXPECT_TRUE(client->attachStatusProc(two.proc(17U)));
    for (const auto& refused : {two.proc(16U), two.proc(0xFFFFFFFF), IClient::Proc()}) {
        EXPECT_FALSE(client->attachStatusProc(refused));
    }
    Witness witnesses[] = {{'a'}, {'b'}, {'c', true}, {'d'}, {'e'}, {'f'}};
    for (Witness& one : witnesses) EXPECT_TRUE(client->attachStatusProc(one.proc()));
    Witness late{'l'};
    EXPECT_FALSE(client->attachStatusProc(late.proc()));
    EXPECT_TRUE(client->detachStatusProc(witnesses[1].proc()));
    EXPECT_FALSE(client->detachStatusProc(witnesses[1].proc()));
    EXPECT_TRUE(client->attachStatusProc(late.proc()));
    EXPECT_TRUE(client->abort(4));
    EXPECT_EQ(std::exchange(Witness::s_order, ""), "22alcdef");
    EXPECT_TRUE(client->detachStatusProc(two.proc(0xFFFFFFFF)));  // both
    EXPECT_TRUE(client->abort(4));
    EXPECT_EQ(Witness::s_order, "aldef");
    EXPECT_EQ(s_server.logouts, 2);
    Helper::release(client);
}

TEST_F(Client, SurvivesAnAbortInWhichItsLastUserLetsGo) {
    IClient* client = get();
    Witness witness{'w'};
    client->attachStatusProc(witness.proc());
    client->setCustomData(client);
    EXPECT_TRUE(client->abort(4));
    EXPECT_EQ(s_server.alive, 0);
}

TEST_F(Client, IsSharedInAStormOfThreadsThatComeAndGo) {
    together(4, [this](int) {
        for (int i = 0; i < 300; ++i) {
            IClient* client = nullptr;
            ASSERT_NE(Helper::getComponentFactory("camera", "Remote.1", info, client), nullptr);
            EXPECT_GT(getRefCount(client), 0);
            s_server.broken = i % 3 == 0;
            Helper::release(client);
        }
    });
}

TEST_F(Client, LetsProceduresDetachThemselvesInAStormOfAborts) {
    struct OneShot {
        void note(void*, ClassID, TComPtr<IClient> client, IClient::Status, int) {
            ++calls;
            client->detachStatusProc({&OneShot::note, this});
        }
        std::atomic<int> calls{0};
    };
    IClient* client = get();
    std::array<OneShot, 4> oneShots;  // another thread's abort may still call one that was detached
    together(4, [&](int number) {
        const IClient::Proc proc(&OneShot::note, &oneShots[static_cast<std::size_t>(number)]);
        for (int i = 0; i < 300; ++i) {
            EXPECT_TRUE(client->attachStatusProc(proc));
            client->abort(i);
            client->detachStatusProc(proc);
        }
    });
    for (const OneShot& one : oneShots) EXPECT_GT(one.calls, 0);
    Helper::release(client);
}

TEST_F(Client, IsEndedByTheIdleCheckOrGivenToALateRequestInAStorm) {
    ManualClock clock;
    for (int round = 0; round < 100; ++round) {
        s_server.letsIn = false;
        printed(0, [&] { EXPECT_EQ(get(), nullptr); });
        s_server.letsIn = true;
        clock.step(301'000'000'000);
        std::thread check([] { CClientInstanceList::instance()->removeIdleClientInstance(0); });
        IClient* client = get();
        check.join();
        ASSERT_NE(client, nullptr);
        Helper::release(client);
        waitUntilGone();
    }
}

TEST(ClassIDList, NamesTheClassesInTheOrderOfTheirBytes) {
    const Named<IFactoryUnknown> b("camera", "b");
    const Named<IFactoryUnknown> a("camera", "a");
    const ClassIDList list("camera");
    const int count = static_cast<int>(list.count());
    EXPECT_STREQ(list[count - 2].c_str(), "a");
    EXPECT_STREQ(list[count - 1].c_str(), "b");
    EXPECT_DEATH(list[count], "index < m_internal->ids.size");
}

}  // namespace
