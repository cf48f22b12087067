#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>
#include <vector>

#include "component/unknowninternal.h"
#include "support/capture.h"
#include "vesko/component/client.h"
#include "vesko/component/objecttable.h"
#include "vesko/component/registry.h"
#include "vesko/component/selection.h"
#include "vesko/vesko3/error.h"

namespace {

using namespace Tovra::Component;
using Helper = Detail::CComponentHelper;
using Tovra::Testing::printed;
using Tovra::Vesko::CString;
using Tovra::Vesko::getLastError;
using Tovra::Vesko::setLastError;

// Every object must be gone when a test ends.
class Component : public testing::Test {
protected:
    void TearDown() override { EXPECT_EQ(s_alive, 0); }

public:
    static inline std::atomic<int> s_alive{0};
};

class Thing : public IUnknown {
public:
    explicit Thing(int wantedKey = 0) : key(wantedKey) { ++Component::s_alive; }
    ~Thing() override { --Component::s_alive; }
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }

    const int key;
};

struct Key : Detail::key_base {
    explicit Key(int wanted) : key(wanted) {}
    bool matches(IUnknown* object) const override {
        ++asked;
        return static_cast<Thing*>(object)->key == key;
    }
    const int key;
    mutable int asked = 0;
};

TEST_F(Component, CountsAsTheTableOfOperationsTells) {
    struct Case {
        const char* name;
        std::function<void(IUnknown*)> operation;
        int count;
    };
    const Case cases[] = {
        {"instance twice",
         [](IUnknown* o) { Helper::makeComponentInstance(o), Helper::makeComponentInstance(o); },
         2},
        {"object, instance",
         [](IUnknown* o) { Helper::makeComponentObject(o), Helper::makeComponentInstance(o); }, 2},
        {"object twice",
         [](IUnknown* o) { Helper::makeComponentObject(o), Helper::makeComponentObject(o); }, 1},
        {"addRef, instance", [](IUnknown* o) { o->addRef(), Helper::makeComponentInstance(o); }, 3},
        {"nothing, decrease", [](IUnknown* o) { Helper::addRef(o), decreaseRefCount(o); }, 1},
    };
    for (const auto& [name, operation, count] : cases) {
        SCOPED_TRACE(name);
        IUnknown* object = new Thing;
        operation(object);
        EXPECT_EQ(getRefCount(object), count);
        for (int left = count - 1; left >= 0; --left) EXPECT_EQ(Helper::release(object), left);
    }
    setLastError(0);
    EXPECT_EQ(Helper::addRef(nullptr), 0);
    EXPECT_EQ(Helper::release(nullptr), 0);
    EXPECT_EQ(getLastError(), 0);
    EXPECT_EQ(Helper::makeComponentObject(nullptr), nullptr);
    EXPECT_EQ(getLastError(), 0x1003000D);
    EXPECT_EQ(Helper::makeComponentInstance(nullptr), nullptr);
    EXPECT_EQ(getLastError(), 0x1003000E);
}

TEST_F(Component, IsFoundInATableUntilItsLastRelease) {
    Detail::CObjectTable table;
    EXPECT_EQ(table.find(Key(1)), nullptr);
    IUnknown* first = new Thing(1);
    IUnknown* second = new Thing(1);
    table.insert(first);
    table.insert(second);
    EXPECT_EQ(getRefCount(first), 1);
    Helper::makeComponentInstance(first);  // the table alone counts what is in it
    EXPECT_EQ(getRefCount(first), 1);
    const Key key(1);
    EXPECT_EQ(table.find(key), first);  // the one inserted first
    EXPECT_EQ(key.asked, 1);
    EXPECT_EQ(getRefCount(first), 2);
    EXPECT_EQ(Helper::release(first), 1);
    EXPECT_EQ(Helper::release(first), 0);
    EXPECT_EQ(table.count(), 1U);
    EXPECT_EQ(table.get(0), second);
    EXPECT_DEATH(table.get(1), "index < m_internal->objects.size\\(\\)");
    Helper::release(second);
    EXPECT_EQ(table.find(Key(1)), nullptr);
}

TEST_F(Component, IsNeverHandedOutByATableAsItEndsInAStorm) {
    Detail::CObjectTable table;
    const auto use = [&] {
        for (int i = 0; i < 5'000; ++i) {
            table.lock();
            IUnknown* object = table.find(Key(1));
            if (object == nullptr) {
                object = new Thing(1);
                table.insert(object);
            }
            table.unlock();
            ASSERT_EQ(static_cast<Thing*>(object)->key, 1);
            Helper::release(object);
        }
    };
    std::thread other(use);
    use();
    other.join();
    EXPECT_EQ(table.count(), 0U);
}

TEST_F(Component, IsHeldByAPointerWithItsClient) {
    auto* object = new Thing;
    {
        const TComPtr<Thing> pointer(object);
        TComPtr<Thing> copy(pointer);
        TComPtr<Thing> other;
        EXPECT_TRUE(other.isEmpty());
        EXPECT_FALSE(other);
        other = copy;
        EXPECT_EQ(getRefCount(object), 3);
        other = *&other;
        EXPECT_EQ(getRefCount(object), 3);
        TComPtr<Thing> empty;
        empty.swap(copy);
        EXPECT_EQ(empty.get(), object);
        EXPECT_TRUE(copy.isEmpty());
    }
    EXPECT_EQ(s_alive, 0);
}

std::atomic<int> s_created{0};
IUnknown* createThing(const ServerInfo* info) {
    ++s_created;
    return new Thing(info != nullptr ? info->port : -1);
}

TEST_F(Component, IsOneInstanceForEachServerInTheRegistry) {
    const std::string text = printed(3, [] {
        EXPECT_TRUE(registerComponent("thing", nullptr));
        EXPECT_TRUE(registerComponent("thing", &createThing));
    });
    EXPECT_EQ(text, "registerComponentCreator creator for 'thing' already exist!\n");
    struct Case {
        const char* name;
        std::function<void(ServerInfo&)> change;
        bool same;
    };
    const Case cases[] = {
        {"nothing", [](ServerInfo&) {}, true},
        {"null as empty", [](ServerInfo& info) { info.userName = nullptr; }, true},
        {"other text", [](ServerInfo& info) { info.text1 = "x"; }, true},
        {"flag2", [](ServerInfo& info) { info.flag2 = 1; }, true},
        {"address", [](ServerInfo& info) { info.address = "b"; }, false},
        {"port", [](ServerInfo& info) { info.port = 2; }, false},
        {"user", [](ServerInfo& info) { info.userName = "u"; }, false},
        {"password", [](ServerInfo& info) { info.password = "p"; }, false},
        {"flag1", [](ServerInfo& info) { info.flag1 = 1; }, false},
    };
    for (const auto& [name, change, same] : cases) {
        SCOPED_TRACE(name);
        ServerInfo info;
        info.address = "a";
        info.userName = "";
        IUnknown* first = getComponentInstance("thing", &info);
        change(info);
        IUnknown* second = getComponentInstance("thing", &info);
        EXPECT_EQ(first == second, same);
        Helper::release(first);
        Helper::release(second);
    }
    IUnknown* local = getComponentInstance("thing", nullptr);
    IUnknown* remote = getComponentInstance("thing", &ServerInfo::none);
    IUnknown* own = createComponentObject("thing", nullptr);
    EXPECT_NE(local, remote);
    EXPECT_NE(own, local);
    EXPECT_EQ(getComponentInstance("thing", nullptr), local);
    EXPECT_EQ(getRefCount(local), 2);
    Helper::release(local);
    for (IUnknown* object : {local, remote, own}) Helper::release(object);

    const int before = s_created.load();
    Helper::release(getComponentInstance("thing", nullptr));  // the record went with the object
    EXPECT_EQ(s_created, before + 1);
}

TEST_F(Component, IsNullForANameThatNobodyKnows) {
    setLastError(7);
    const std::string text = printed(6, [] {
        EXPECT_EQ(getComponentInstance("nobody_knows_it", nullptr), nullptr);
        EXPECT_EQ(createComponentObject("nobody_knows_it", nullptr), nullptr);
    });
    EXPECT_EQ(text, "");
    EXPECT_EQ(getLastError(), 7);
}

TEST_F(Component, StaysOutOfTheRegistryWhenItLivesInATable) {
    static Detail::CObjectTable s_table;
    const ComponentCreator create = [](const ServerInfo*) -> IUnknown* {
        auto* thing = new Thing(1);
        s_table.lock();
        s_table.insert(thing);
        s_table.unlock();
        return thing;
    };
    registerComponent("tabled", create);
    for (int i = 0; i < 2; ++i) Helper::release(getComponentInstance("tabled", nullptr));
    EXPECT_EQ(s_alive, 0);
    EXPECT_EQ(s_table.count(), 0U);
}

TEST_F(Component, IsNeverHandedOutByTheRegistryAsItEndsInAStorm) {
    printed(3, [] { registerComponent("busy", &createThing); });
    const auto use = [] {
        for (int i = 0; i < 5'000; ++i) {
            IUnknown* object = getComponentInstance("busy", nullptr);
            ASSERT_EQ(static_cast<Thing*>(object)->key, -1);
            Helper::release(object);
        }
    };
    std::thread other(use);
    use();
    other.join();
}

TEST(Selection, KeepsTheFirstDefaultOfAnInterface) {
    using Manager = CLocalComSelectManager;
    EXPECT_STREQ(Manager::getDefaultClassID("camera").c_str(), "Local");
    EXPECT_TRUE(Manager::setDefaultComponent("camera", "Remote.1"));
    EXPECT_FALSE(Manager::setDefaultComponent("camera", "Remote.2"));
    EXPECT_STREQ(Manager::getDefaultClassID("camera").c_str(), "Remote.1");
    EXPECT_FALSE(Manager::setDefaultComponent(nullptr, "x"));
    EXPECT_STREQ(Manager::getDefaultClassID(nullptr).c_str(), "");
}

TEST(Selection, ComposesAndDescribes) {
    CString base("Remote");
    CString suffix("1");
    CString empty;
    EXPECT_STREQ(getClassId(base, suffix).c_str(), "Remote.1");
    EXPECT_STREQ(getClassId(base, empty).c_str(), "Remote");
    EXPECT_STREQ(getClassId(empty, suffix).c_str(), ".1");
    const ComSelChannelInfo channel(3, "text", 4);
    EXPECT_EQ(channel.selector1, 3);
    EXPECT_EQ(channel.selector2, 4);
    EXPECT_STREQ(channel.selectorText, "text");
    EXPECT_EQ(ComSelChannelInfo::local.selector1, -1);
    EXPECT_EQ(ComSelChannelInfo::local.selectorText, nullptr);
    EXPECT_EQ(ComSelDeviceIdInfo().deviceWord2, 0U);
}

class Queryer : public IServerInfoQueryer {
public:
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }
};

TEST(Selection, TakesOneQueryerForGood) {
    const auto refused = [](TComPtr<IServerInfoQueryer> handler) {
        return printed(3, [&] { EXPECT_FALSE(setQueryerHandler(handler)); });
    };
    EXPECT_EQ(refused({}), "setQueryerHandler failed setPtr[(nil)], oldPtr[(nil)]\n");
    const TComPtr<IServerInfoQueryer> first(new Queryer);
    EXPECT_TRUE(setQueryerHandler(first));
    EXPECT_EQ(getRefCount(first.get()), 2);
    EXPECT_NE(refused(TComPtr<IServerInfoQueryer>(new Queryer)), "");
    EXPECT_EQ(getRefCount(first.get()), 2);
}

}  // namespace
