#include "vesko3/modulefilter.h"

#include <atomic>
#include <map>
#include <string>
#include <string_view>

#include "vesko/vesko3/locks.h"

namespace Tovra::Vesko {

namespace {

enum Mode { dropAll = 0, askTable = 1, passAll = 2 };

constinit std::atomic<int> s_mode{passAll};

/// Which modules are on, and which are off. Entries are never removed.
class ModuleTable {
public:
    // Never destroyed: records come until the last static object has ended.
    static ModuleTable& instance() {
        static ModuleTable& s_table = *new ModuleTable;
        return s_table;
    }

    void set(const char* module, bool on) {
        CGuard guard(m_mutex);
        m_modules.insert_or_assign(module, on);
    }

    // A module without an entry is on.
    bool isOn(std::string_view module) {
        CGuard guard(m_mutex);
        const auto found = m_modules.find(module);
        return found == m_modules.end() || found->second;
    }

private:
    CMutex m_mutex;
    std::map<std::string, bool, std::less<>> m_modules VESKO_GUARDED_BY(m_mutex);
};

}  // namespace

void Detail::setAllModules(bool pass) {
    s_mode.store(pass ? passAll : dropAll, std::memory_order_relaxed);
}

void Detail::setModule(const char* module, bool pass) {
    ModuleTable::instance().set(module, pass);
    s_mode.store(askTable, std::memory_order_relaxed);
}

bool Detail::modulePasses(const char* module) {
    const int mode = s_mode.load(std::memory_order_relaxed);
    if (mode != askTable || module == nullptr) return mode != dropAll;
    return ModuleTable::instance().isOn(module);
}

}  // namespace Tovra::Vesko
