#include "vesko3/threadmanagerinternal.h"

#include <cstdio>

#include "vesko/vesko3/time.h"
#include "vesko3/singleton.h"
#include "vesko3/threadinternal.h"

namespace Tovra::Vesko {

namespace {

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
    CGuard guard(m_mutex);
    thread->prev = nullptr;
    thread->next = m_head;
    if (m_head != nullptr) m_head->prev = thread;
    m_head = thread;
    return true;
}

bool ThreadManagerInternal::removeThread(ThreadInternal* thread) {
    CGuard guard(m_mutex);
    if (thread->prev == nullptr && thread != m_head) return true;  // killed before it came in
    if (thread->prev != nullptr) {
        thread->prev->next = thread->next;
    } else {
        m_head = thread->next;
    }
    if (thread->next != nullptr) thread->next->prev = thread->prev;
    thread->prev = nullptr;
    thread->next = nullptr;
    return true;
}

ThreadInternal* ThreadManagerInternal::getThread(int id) {
    CGuard guard(m_mutex);
    return find(id);
}

std::vector<std::string> ThreadManagerInternal::rows() {
    constexpr int mainPriority = 64;
    std::vector<std::string> all{row("Main", m_mainThreadId, mainPriority, "Normal")};
    CGuard guard(m_mutex);
    for (const ThreadInternal* thread = m_head; thread != nullptr; thread = thread->next) {
        all.push_back(row(nameText(*thread), thread->id, thread->priority, stateText(*thread)));
    }
    return all;
}

bool ThreadManagerInternal::nameOf(int id, CString& name) {
    CGuard guard(m_mutex);
    const ThreadInternal* thread = find(id);
    if (thread == nullptr) return false;
    name = nameText(*thread).c_str();
    return true;
}

bool ThreadManagerInternal::timedOut(CString& names) {
    CGuard guard(m_mutex);
    names.clear();
    const std::uint64_t now = CTime::getCurrentMilliSecond();
    bool any = false;
    for (ThreadInternal* thread = m_head; thread != nullptr; thread = thread->next) {
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

ThreadInternal* ThreadManagerInternal::find(int id) {
    for (ThreadInternal* thread = m_head; thread != nullptr; thread = thread->next) {
        if (thread->id.load(std::memory_order_relaxed) == id) return thread;
    }
    return nullptr;
}

}  // namespace Tovra::Vesko
