#include "crew.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include "interrupt.h"
#include "vesko/vesko3/threadmanager.h"
#include "vesko/vesko3/time.h"

namespace TreeSum {

namespace {

constexpr std::size_t s_batchItems = 16;
constexpr std::uint64_t s_batchBytes = 1024 * 1024;
constexpr std::size_t s_batchesPerWorker = 8;
constexpr unsigned int s_lookMilliSeconds = 200;
constexpr std::uint64_t s_graceMilliSeconds = 1000;  // a read that hangs must not hold up the end

// Asks again and again until it is so, within the time that is left after a stop.
template <class Condition, class Wait>
bool comesTrueInGrace(Condition condition, Wait wait) {
    using Tovra::Vesko::CTime;
    const std::uint64_t end = CTime::getCurrentMilliSecond() + s_graceMilliSeconds;
    while (!condition()) {
        const std::uint64_t now = CTime::getCurrentMilliSecond();
        if (now >= end) return false;
        wait(static_cast<unsigned int>(std::min<std::uint64_t>(end - now, s_lookMilliSeconds)));
    }
    return true;
}

}  // namespace

Crew::Crew(const Options& options, Report& report, Tovra::Vesko::TFunction1<void, Item&> settle)
    : m_report(report),
      m_settle(settle),
      m_window(options.crewSize() * s_batchesPerWorker),
      m_progress(options, report) {
    for (unsigned int i = 1; i <= options.crewSize(); ++i) {
        m_workers.push_back(std::make_unique<Worker>(static_cast<int>(i), options.workerBytes(),
                                                     options.timeoutSeconds, m_window, m_progress));
        if (!m_workers.back()->createThread()) m_workers.pop_back();
    }
    if (m_workers.empty()) m_report.failure("worker", EAGAIN);
}

void Crew::dismiss(std::unique_ptr<Crew> crew) {
    crew->m_progress.stop();
    crew->m_window.close(crew->m_workers.size());
    if (!crew->m_isStopped) return;
    const bool isOver = comesTrueInGrace([&crew] { return crew->allOver(); },
                                         [](unsigned int) { Tovra::Vesko::CThread::sleep(1); });
    if (!isOver) static_cast<void>(crew.release());
}

bool Crew::allOver() const {
    return std::ranges::all_of(m_workers,
                               [](const auto& worker) { return worker->isThreadOver(); });
}

void Crew::add(Item item) {
    if (m_workers.empty()) return;
    m_openBytes += item.sizeBytes;
    m_open.push_back(std::move(item));
    if (m_open.size() >= s_batchItems || m_openBytes >= s_batchBytes) handOut();
}

void Crew::addFailure(const std::string& path, int error) {
    Item item;
    item.path = path;
    item.isSettled = true;
    item.error = error;
    add(std::move(item));
}

void Crew::drain() {
    handOut();
    while (!m_window.isEmpty() && !m_isStopped) waitForFront();
    settleDone();
}

bool Crew::mustStop() {
    if (!m_isStopped && (interrupted() != 0 || m_report.outputIsBroken())) stop();
    return m_isStopped;
}

void Crew::handOut() {
    if (!m_open.empty()) m_window.add(std::exchange(m_open, {}));
    m_openBytes = 0;
    settleDone();
    while (m_window.isFull() && !m_isStopped) waitForFront();
}

void Crew::settleDone() {
    while (Batch* batch = m_window.doneFront()) {
        for (Item& item : batch->items) m_settle(item);
        m_window.pop();
    }
}

void Crew::waitForFront() {
    if (m_window.waitForFront(s_lookMilliSeconds) == nullptr) reportStalls();
    settleDone();
    mustStop();
}

// What the workers have in hand is theirs to finish, within bounds; what they finished counts.
void Crew::stop() {
    m_isStopped = true;
    m_window.stop();
    m_progress.stop();
    comesTrueInGrace([this] { return m_window.isEmpty(); },
                     [this](unsigned int milliSeconds) {
                         m_window.waitForFront(milliSeconds);
                         settleDone();
                     });
    settleUnfinished();
}

void Crew::settleUnfinished() {
    while (!m_window.isEmpty()) {
        Batch& batch = *m_window.front();
        const std::size_t done = batch.doneCount.load(std::memory_order_acquire);
        for (std::size_t i = 0; i < done; ++i) m_settle(batch.items[i]);
        m_window.abandonFront();
    }
}

void Crew::reportStalls() {
    Tovra::Vesko::CString names;
    if (!Tovra::Vesko::CThreadManager::instance()->getTimeOutThreads(names)) return;
    std::string path;
    for (const auto& worker : m_workers) {
        if (worker->takeStall(path)) m_report.stall(worker->name(), path);
    }
}

}  // namespace TreeSum
