#pragma once

#include <atomic>
#include <string>

#include "digest.h"
#include "item.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/thread.h"

namespace TreeSum {

class Window;
class Progress;

/// A thread that digests batches, one after another.
///
/// While it reads, its watchdog is armed anew for each piece.
class Worker : public Tovra::Vesko::CThread {
public:
    /// @param number         of the worker, from 1 on; its name bears it
    /// @param timeoutSeconds 0 for no watchdog
    Worker(int number, unsigned int budgetBytes, unsigned int timeoutSeconds, Window& window,
           Progress& progress);
    ~Worker() override;

    const std::string& name() const { return m_name; }

    /// What to say of a stall that was not told yet.
    /// @param path receives the file that the worker is on
    /// @return false when it moves on, or that was said before
    bool takeStall(std::string& path);

private:
    void threadProc() override;
    void digest(Item& item);
    void onPiece(unsigned int bytes);

    const std::string m_name;
    const int m_timeoutMilliSeconds;
    Window& m_window;
    Progress& m_progress;
    FileDigester m_digester;

    Tovra::Vesko::CMutex m_pathMutex;
    std::string m_path VESKO_GUARDED_BY(m_pathMutex);
    std::atomic<bool> m_stallTold{false};
};

}  // namespace TreeSum
