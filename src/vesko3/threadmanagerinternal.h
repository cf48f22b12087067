#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "vesko/vesko3/string.h"

namespace Tovra::Vesko {

namespace Detail {
template <class T>
class Singleton;
}

struct ThreadInternal;

/// The list of the threads that are in their body, the youngest first. It owns none of them.
///
/// Its lock is taken before a thread's own, never after it.
class ThreadManagerInternal {
public:
    static ThreadManagerInternal* instance();
    ThreadManagerInternal(const ThreadManagerInternal&) = delete;
    ThreadManagerInternal& operator=(const ThreadManagerInternal&) = delete;

    // Of the class: a thread may come and go while the process ends, behind the registry's own end.
    static bool addThread(ThreadInternal* thread);

    /// Takes a record out of the list; does nothing when it is not there.
    static bool removeThread(ThreadInternal* thread);

    /// @return null when no thread has this id; otherwise a record that is safe to use only for the
    ///         thread itself
    ThreadInternal* getThread(int id);

    void setMainThread(int id) { m_mainThreadId.store(id, std::memory_order_relaxed); }

    /// @return the rows of the dump, that of the main thread first
    std::vector<std::string> rows();

    bool nameOf(int id, CString& name);
    bool timedOut(CString& names);

private:
    friend class Detail::Singleton<ThreadManagerInternal>;

    ThreadManagerInternal() = default;
    ~ThreadManagerInternal() = default;

    std::atomic<int> m_mainThreadId{-1};
};

}  // namespace Tovra::Vesko
