#include "worker.h"

#include <cerrno>

#include "progress.h"
#include "window.h"

namespace TreeSum {

using Tovra::Vesko::CGuard;

Worker::Worker(int number, unsigned int budgetBytes, unsigned int timeoutSeconds, Window& window,
               Progress& progress)
    : CThread(("worker " + std::to_string(number)).c_str(), 64, 0, 0),
      m_name("worker " + std::to_string(number)),
      m_timeoutMilliSeconds(static_cast<int>(timeoutSeconds * 1000)),
      m_window(window),
      m_progress(progress),
      m_digester(budgetBytes, {&Worker::onPiece, this}) {}

// The window is closed by now, so that the thread ends by itself.
Worker::~Worker() {
    while (!isThreadOver()) sleep(1);
}

bool Worker::takeStall(std::string& path) {
    if (!isTimeout() || m_stallTold.exchange(true)) return false;
    CGuard guard(m_pathMutex);
    path = m_path;
    return true;
}

void Worker::threadProc() {
    while (Batch* batch = m_window.take()) {
        for (Item& item : batch->items) {
            if (!item.isSettled) digest(item);
            m_window.itemDone(*batch);
        }
    }
}

void Worker::digest(Item& item) {
    if (m_window.isStopped()) {
        item.error = EINTR;
        return;
    }
    {
        CGuard guard(m_pathMutex);
        m_path = item.path;
    }
    onPiece(0);
    item.error = m_digester.digest(item.path, item.algorithm, item.hex);
    setTimeout(0);
    m_progress.countFile();
}

void Worker::onPiece(unsigned int bytes) {
    if (m_timeoutMilliSeconds != 0) setTimeout(m_timeoutMilliSeconds);
    m_stallTold = false;
    m_progress.countBytes(bytes);
}

}  // namespace TreeSum
