#pragma once

#include "vesko/export.h"
#include "vesko/vesko3/string.h"

namespace Tovra::Vesko {

namespace Detail {
template <class T>
class Singleton;
}

class ThreadManagerInternal;

/// The registry of the threads that `CThread` runs: which there are, what they are called, and
/// which have let their deadline pass.
///
/// It starts no thread and stops none, and it takes no action against an overdue one: it reports. A
/// thread stands here from the start of its body to the end; the main thread never does. The one
/// object is made on first use and ended at exit.
/// Threads: any thread may call any operation. Nothing is printed while a lock is held.
class VESKO_API CThreadManager {
public:
    static CThreadManager* instance();
    CThreadManager(const CThreadManager&) = delete;
    CThreadManager& operator=(const CThreadManager&) = delete;

    /// Has the calling thread shown as "Main" in dumps. A program calls it once, from its main
    /// thread; the last call counts.
    void registerMainThread();

    /// Prints the table of threads at info level, the youngest first after the main one.
    void dumpThreads();

    /// Looks a thread up by its id; the main thread is not found.
    /// @param name receives the name; untouched when there is no such thread
    /// @return true when there is such a thread
    bool getThreadNameByID(int id, CString& name);

    /// Collects the threads whose deadline has passed, the youngest first, as "name(id)name(id)"; an
    /// id takes up seven characters with its parentheses, and is cut there.
    /// @param names emptied first
    /// @return true when there is one
    bool getTimeOutThreads(CString& names);

    /// @return true when a thread with this id is in its body
    bool hasThread(int id);

private:
    friend class Detail::Singleton<CThreadManager>;

    CThreadManager();
    ~CThreadManager() = default;

    ThreadManagerInternal* m_internal;
};

}  // namespace Tovra::Vesko
