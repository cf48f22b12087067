#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "item.h"
#include "options.h"
#include "progress.h"
#include "report.h"
#include "vesko/vesko3/function.h"
#include "window.h"
#include "worker.h"

namespace TreeSum {

/// The workers, and the order in which their results come out: that in which the work went in,
/// however many they are.
///
/// Threads: an object belongs to one thread, on which the results come out too. That thread also
/// looks after interrupts, and reports workers that do not move on.
class Crew {
public:
    /// @param settle gets each item when it is done, in order
    Crew(const Options& options, Report& report, Tovra::Vesko::TFunction1<void, Item&> settle);
    ~Crew() = default;
    Crew(const Crew&) = delete;
    Crew& operator=(const Crew&) = delete;

    /// Puts an item behind the others. Blocks while too many are under way.
    void add(Item item);

    /// Adds a failure that was met on the way to a file.
    void addFailure(const std::string& path, int error);

    /// Waits for everything that was added.
    void drain();

    /// @return true when no more work is wanted: an interrupt came, or standard output failed
    bool mustStop();

    /// Sends the workers home. After a stop one that hangs in a read is left to the end of the process,
    /// with all that it uses.
    static void dismiss(std::unique_ptr<Crew> crew);

private:
    void handOut();
    void settleDone();
    void waitForFront();
    void stop();
    void settleUnfinished();
    void reportStalls();
    bool allOver() const;

    Report& m_report;
    const Tovra::Vesko::TFunction1<void, Item&> m_settle;
    Window m_window;
    Progress m_progress;
    std::vector<std::unique_ptr<Worker>> m_workers;

    std::vector<Item> m_open;  // the batch that is being filled
    std::uint64_t m_openBytes = 0;
    bool m_isStopped = false;
};

}  // namespace TreeSum
