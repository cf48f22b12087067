#include <gtest/gtest.h>

#include <atomic>
#include <tuple>

#include "component/unknowninternal.h"
#include "support/capture.h"
#include "support/crowd.h"
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

template <class Interface>
struct Plain : Interface {
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }
};

struct Thing : Plain<IUnknown> {
    explicit Thing(int wantedKey = 0) : key(wantedKey) { ++s_alive; }
    ~Thing() override { --s_alive; }
    const int key;
    static inline std::atomic<int> s_alive{0};
};

// Every object must be gone when a test ends.
struct Component : testing::Test {
    ~Component() override { EXPECT_EQ(Thing::s_alive, 0); }
};

struct KeyOne : Detail::key_base {
    bool matches(IUnknown* thing) const override { return static_cast<Thing*>(thing)->key == 1; }
};

TEST_F(Component, CountsAsTheTableOfOperationsTells) {
    using Step = void (*)(IUnknown*);
    const Step instance = [](IUnknown* thing) { Helper::makeComponentInstance(thing); };
    const Step object = [](IUnknown* thing) { Helper::makeComponentObject(thing); };
    const Step add = [](IUnknown* thing) { Helper::addRef(thing); };
    const Step decrease = [](IUnknown* thing) { decreaseRefCount(thing); };
    const std::tuple<Step, Step, int> rows[] = {{instance, instance, 2}, {object, instance, 2},
                                                {object, object, 1},     {add, object, 2},
                                                {add, instance, 3},      {add, decrease, 1}};
    for (const auto& row : rows) {
        SCOPED_TRACE(&row - rows);
        const auto& [first, second, count] = row;
        IUnknown* thing = new Thing;
        first(thing), second(thing);
        for (int left = count - 1; left >= 0; --left) EXPECT_EQ(Helper::release(thing), left);
    }
    setLastError(0);
    EXPECT_EQ(Helper::addRef(nullptr) + Helper::release(nullptr) + getLastError(), 0);
    EXPECT_EQ(Helper::makeComponentObject(nullptr), nullptr);
    EXPECT_EQ(getLastError(), 0x1003000D);
    EXPECT_EQ(Helper::makeComponentInstance(nullptr), nullptr);
    EXPECT_EQ(getLastError(), 0x1003000E);
}

TEST_F(Component, IsFoundInATableUntilItsLastRelease) {
    Detail::CObjectTable table;
    IUnknown* things[] = {new Thing(2), new Thing(1), new Thing(1)};
    for (IUnknown* thing : things) table.insert(thing);
    Helper::makeComponentInstance(things[1]);  // the table alone counts what is in it
    EXPECT_EQ(getRefCount(things[1]), 1);
    EXPECT_EQ(table.find(KeyOne()), things[1]) << "the one inserted first";
    for (const int left : {1, 0}) EXPECT_EQ(Helper::release(things[1]), left);
    EXPECT_EQ(table.get(1), things[2]);
    EXPECT_DEATH(table.get(2), "index < m_internal->objects.size\\(\\)");
    Helper::release(things[2]);
    EXPECT_EQ(table.find(KeyOne()), nullptr);
    Helper::release(things[0]);
}

TEST_F(Component, IsHeldByEveryCopyOfAPointer) {
    auto* object = new Thing;
    const TComPtr<Thing> pointer(object);
    const TComPtr<Thing> copy(pointer);
    TComPtr<Thing> other;
    other = copy;
    other = *&other;
    EXPECT_EQ(getRefCount(object), 3);
}

IUnknown* createThing(const ServerInfo* info) {
    return new Thing(info != nullptr ? info->port : -1);
}

TEST_F(Component, IsOneInstanceForEachServerInTheRegistry) {
    const std::string text = printed(6, [] {
        EXPECT_EQ(getComponentInstance("unknown", nullptr), nullptr);
        EXPECT_EQ(createComponentObject("unknown", nullptr), nullptr);
        EXPECT_TRUE(registerComponent("thing", nullptr));
        EXPECT_TRUE(registerComponent("thing", &createThing));
    });
    EXPECT_EQ(text, "registerComponentCreator creator for 'thing' already exist!\n");
    const std::pair<ServerInfo, bool> rows[] = {{{.address = "a"}, true},  // null is as empty
                                                {{.address = "a", .text1 = "x", .flag2 = 1}, true},
                                                {{.address = "b"}, false},
                                                {{.address = "a", .port = 2}, false},
                                                {{.address = "a", .userName = "u"}, false},
                                                {{.address = "a", .password = "p"}, false},
                                                {{.address = "a", .flag1 = 1}, false}};
    for (const auto& row : rows) {
        const ServerInfo known{.address = "a", .userName = ""};
        IUnknown* objects[] = {getComponentInstance("thing", &known),
                               getComponentInstance("thing", &row.first)};
        EXPECT_EQ(objects[0] == objects[1], row.second) << &row - rows;
        for (IUnknown* object : objects) Helper::release(object);
    }
    IUnknown* local = getComponentInstance("thing", nullptr);
    IUnknown* remote = getComponentInstance("thing", &ServerInfo::none);
    IUnknown* own = createComponentObject("thing", nullptr);
    EXPECT_NE(local, remote);
    EXPECT_NE(own, local);
    EXPECT_EQ(getComponentInstance("thing", nullptr), local);
    EXPECT_EQ(Helper::release(local), 1);
    for (IUnknown* object : {local, remote, own}) EXPECT_EQ(Helper::release(object), 0);
}

Detail::CObjectTable s_table;

IUnknown* findInTable(const ServerInfo*) {
    s_table.lock();
    IUnknown* object = s_table.find(KeyOne());
    if (object == nullptr) s_table.insert(object = new Thing(1));
    s_table.unlock();
    return object;
}

TEST_F(Component, IsNeverHandedOutAsItEndsInAStorm) {
    registerComponent("registered", &createThing);
    registerComponent("tabled", &findInTable);  // and stays out of the registry
    registerComponent(
        "alias", [](const ServerInfo* info) { return getComponentInstance("registered", info); });
    for (const char* name : {"registered", "tabled", "alias"}) {
        Tovra::Testing::together(2, [name](int) {
            const int key = name[0] == 't' ? 1 : -1;
            for (int i = 0; i < 5'000; ++i) {
                IUnknown* object = getComponentInstance(name, nullptr);
                ASSERT_EQ(static_cast<Thing*>(object)->key, key) << name;
                Helper::release(object);
                Helper::release(createComponentObject(name, nullptr));
            }
        });
    }
    EXPECT_EQ(s_table.count(), 0U);
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

TEST(Selection, ComposesAClassOfItsBaseAndASuffix) {
    CString base("Remote");
    CString suffixes[] = {"1", ""};
    EXPECT_STREQ(getClassId(base, suffixes[0]).c_str(), "Remote.1");
    EXPECT_STREQ(getClassId(base, suffixes[1]).c_str(), "Remote");
}

TEST(Selection, TakesOneQueryerForGood) {
    const auto refused = [](TComPtr<IServerInfoQueryer> handler) {
        return printed(3, [&] { EXPECT_FALSE(setQueryerHandler(handler)); });
    };
    EXPECT_EQ(refused({}), "setQueryerHandler failed setPtr[(nil)], oldPtr[(nil)]\n");
    auto* first = new Plain<IServerInfoQueryer>;
    EXPECT_TRUE(setQueryerHandler(TComPtr<IServerInfoQueryer>(first)));
    EXPECT_NE(refused(TComPtr<IServerInfoQueryer>(new Plain<IServerInfoQueryer>)), "");
    Helper::makeComponentInstance(first);
    EXPECT_EQ(Helper::release(first), 1);  // what is left is the slot's own
}

}  // namespace
