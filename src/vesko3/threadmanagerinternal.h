#pragma once

#include <atomic>
#include <string>
#include <vector>

#include "vesko/vesko3/locks.h"
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

    bool addThread(ThreadInternal* thread) VESKO_EXCLUDES(m_mutex);

    /// Takes a record out of the list; does nothing when it is not there.
    bool removeThread(ThreadInternal* thread) VESKO_EXCLUDES(m_mutex);

    /// @return null when no thread has this id; otherwise a record that is safe to use only for the
    ///         thread itself
    ThreadInternal* getThread(int id) VESKO_EXCLUDES(m_mutex);

    void setMainThread(int id) { m_mainThreadId.store(id, std::memory_order_relaxed); }

    /// @return the rows of the dump, that of the main thread first
    std::vector<std::string> rows() VESKO_EXCLUDES(m_mutex);

    bool nameOf(int id, CString& name) VESKO_EXCLUDES(m_mutex);
    bool timedOut(CString& names) VESKO_EXCLUDES(m_mutex);

private:
    friend class Detail::Singleton<ThreadManagerInternal>;

    ThreadManagerInternal() = default;
    ~ThreadManagerInternal() = default;

    ThreadInternal* find(int id) VESKO_REQUIRES(m_mutex);

    ThreadInternal* m_head VESKO_GUARDED_BY(m_mutex) = nullptr;
    CMutex m_mutex;  // also of the links of every record in the list
    std::atomic<int> m_mainThreadId{-1};
};

}  // namespace Tovra::Vesko
