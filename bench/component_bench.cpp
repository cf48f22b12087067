#include <benchmark/benchmark.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "vesko/component/client.h"
#include "vesko/vesko3/locks.h"

namespace {

using namespace Tovra::Component;
using Helper = Detail::CComponentHelper;

class Factory : public IFactoryUnknown {
public:
    explicit Factory(std::string name) : m_name(std::move(name)) { registerFactory("bench"); }
    ~Factory() override { unregisterFactory("bench"); }
    const char* clsid() override { return m_name.c_str(); }

private:
    std::string m_name;
};

std::string nameOf(std::int64_t i) { return "Class" + std::to_string(i); }

void BM_FactoryLookup(benchmark::State& state) {
    std::vector<std::unique_ptr<Factory>> factories;
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        factories.push_back(std::make_unique<Factory>(nameOf(i)));
    }
    const std::string wanted = nameOf(state.range(0) / 2);
    IClient* client = nullptr;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            Helper::getComponentFactory("bench", wanted.c_str(), ServerInfo::none, client));
    }
}
BENCHMARK(BM_FactoryLookup)->Arg(10)->Arg(1'000);

void BM_MapUnderMutex(benchmark::State& state) {
    std::mutex mutex;
    std::map<std::string, std::map<std::string, int, std::less<>>, std::less<>> map;
    for (std::int64_t i = 0; i < state.range(0); ++i) map["bench"][nameOf(i)] = 1;
    const std::string wanted = nameOf(state.range(0) / 2);
    for (auto _ : state) {
        const std::lock_guard guard(mutex);
        benchmark::DoNotOptimize(map.find("bench")->second.find(wanted.c_str())->second);
    }
}
BENCHMARK(BM_MapUnderMutex)->Arg(10)->Arg(1'000);

class Thing : public IUnknown {
public:
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }
};

// Keeps the process at two threads: with one alone the peer counts without atomic operations.
class Bystander {
public:
    ~Bystander() {
        m_mayEnd.post();
        m_thread.join();
    }

private:
    Tovra::Vesko::CSemaphore m_mayEnd;
    std::thread m_thread{[this] { m_mayEnd.pend(); }};
};

void BM_AddRefRelease(benchmark::State& state) {
    const Bystander bystander;
    IUnknown* thing = new Thing;
    for (auto _ : state) {
        Helper::addRef(thing);
        Helper::release(thing);
    }
    Helper::release(thing);
}
BENCHMARK(BM_AddRefRelease);

void BM_SharedPtrCount(benchmark::State& state) {
    const Bystander bystander;
    const auto pointer = std::make_shared<int>(1);
    for (auto _ : state) {
        std::shared_ptr<int> copy(pointer);
        benchmark::DoNotOptimize(copy);
    }
}
BENCHMARK(BM_SharedPtrCount);

class Client : public IClient {
public:
    void destroy() override { delete this; }
    void* queryInterface(const char*) override { return nullptr; }
    bool checkBroken() override { return false; }
    bool login() override { return true; }
    bool logout() override { return true; }
    bool getUserID(int& id) override {
        id = 1;
        return true;
    }
};

class ClientFactory : public IClient::IFactory {
public:
    ClientFactory() { registerFactory(iid()); }
    ~ClientFactory() override { unregisterFactory(iid()); }
    const char* clsid() override { return "BenchClient"; }
    IClient* create(const ServerInfo&) override { return new Client; }
};

// The last of the clients that are listed.
void BM_ClientLookup(benchmark::State& state) {
    ClientFactory clients;
    Factory factory("BenchClient.1");
    std::vector<IClient*> listed;
    ServerInfo info;
    info.address = "127.0.0.1";
    for (std::int64_t i = 0; i < state.range(0); ++i) {
        info.port = static_cast<int>(i);
        IClient* client = nullptr;
        Helper::getComponentFactory("bench", "BenchClient.1", info, client);
        listed.push_back(client);
    }
    for (auto _ : state) {
        IClient* client = nullptr;
        Helper::getComponentFactory("bench", "BenchClient.1", info, client);
        Helper::release(client);
    }
    for (IClient* client : listed) Helper::release(client);
}
BENCHMARK(BM_ClientLookup)->Arg(1)->Arg(100)->Arg(1'000);

}  // namespace
