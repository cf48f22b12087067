#include "vesko3/threadmanagerinternal.h"

#include <cstdio>

#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/time.h"
#include "vesko3/singleton.h"
#include "vesko3/threadinternal.h"

namespace Tovra::Vesko {

namespace {

/// The list itself. It is never destroyed: the last threads leave it while the process ends.
struct ThreadList {
    ThreadInternal* find(int id) VESKO_REQUIRES(mutex);

    ThreadInternal* head VESKO_GUARDED_BY(mutex) = nullptr;
    CMutex mutex;  // also of the links of every record in the list
};

ThreadInternal* ThreadList::find(int id) {
    for (ThreadInternal* thread = head; thread != nullptr; thread = thread->next) {
        if (thread->id.load(std::memory_order_relaxed) == id) return thread;
    }
    return nullptr;
}

ThreadList& threads() {
    static ThreadList& s_threads = *new ThreadList;
    return s_threads;
}

std::string nameText(const ThreadInternal& thread) { return thread.name.copy().text; }

std::string row(const std::string& name, int id, int priority, const char* state) {
    char text[128];
    std::snprintf(text, sizeof text, "%24s   %8d  %3d  %s\n", name.c_str(), id, priority, state);
    return text;
}

const char* stateText(const ThreadInternal& thread) {
    const bool watched = thread.expiry.load(std::memory_order_relaxed) != 0;
    return watched && thread.isOverdue(CTime::getCurrentMilliSecond()) ? "Timeout" : "Normal";
}

}  // namespace

ThreadManagerInternal* ThreadManagerInternal::instance() {
    return Detail::Singleton<ThreadManagerInternal>::instance(
        {"Tovra::Vesko::ThreadManagerInternal::instance", Detail::SingletonPlace::Route::filtered,
         __FILE__, __LINE__});
}

bool ThreadManagerInternal::addThread(ThreadInternal* thread) {
    ThreadList& list = threads();
    CGuard guard(list.mutex);
    thread->prev = nullptr;
    thread->next = list.head;
    if (list.head != nullptr) list.head->prev = thread;
    list.head = thread;
    return true;
}

bool ThreadManagerInternal::removeThread(ThreadInternal* thread) {
    ThreadList& list = threads();
    CGuard guard(list.mutex);
    if (thread->prev == nullptr && thread != list.head) return true;  // killed before it came in
    if (thread->prev != nullptr) {
        thread->prev->next = thread->next;
    } else {
        list.head = thread->next;
    }
    if (thread->next != nullptr) thread->next->prev = thread->prev;
    thread->prev = nullptr;
    thread->next = nullptr;
    return true;
}

ThreadInternal* ThreadManagerInternal::getThread(int id) {
    ThreadList& list = threads();
    CGuard guard(list.mutex);
    return list.find(id);
}

std::vector<std::string> ThreadManagerInternal::rows() {
    constexpr int mainPriority = 64;
    std::vector<std::string> all{row("Main", m_mainThreadId, mainPriority, "Normal")};
    ThreadList& list = threads();
    CGuard guard(list.mutex);
    for (const ThreadInternal* thread = list.head; thread != nullptr; thread = thread->next) {
        all.push_back(row(nameText(*thread), thread->id, thread->priority, stateText(*thread)));
    }
    return all;
}

bool ThreadManagerInternal::nameOf(int id, CString& name) {
    ThreadList& list = threads();
    CGuard guard(list.mutex);
    const ThreadInternal* thread = list.find(id);
    if (thread == nullptr) return false;
    name = nameText(*thread).c_str();
    return true;
}

bool ThreadManagerInternal::timedOut(CString& names) {
    ThreadList& list = threads();
    CGuard guard(list.mutex);
    names.clear();
    const std::uint64_t now = CTime::getCurrentMilliSecond();
    bool any = false;
    for (ThreadInternal* thread = list.head; thread != nullptr; thread = thread->next) {
        CGuard threadGuard(thread->mutex);
        if (!thread->isOverdue(now)) continue;
        char idText[8];  // a longer id is cut
        std::snprintf(idText, sizeof idText, "(%d)", thread->id.load());
        names += nameText(*thread).c_str();
        names += idText;
        any = true;
    }
    return any;
}

}  // namespace Tovra::Vesko
