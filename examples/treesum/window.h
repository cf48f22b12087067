#pragma once

#include <atomic>
#include <cstddef>
#include <deque>
#include <memory>
#include <vector>

#include "item.h"
#include "vesko/vesko3/locks.h"

namespace TreeSum {

/// The batches between the one that hands them out and the workers, in the order in which they were
/// handed out.
///
/// It holds a bounded number of them, so that neither a long list nor a slow file takes up memory.
/// Threads: `take` and `itemDone` belong to the workers, the rest to one thread.
class Window {
public:
    explicit Window(std::size_t limit) : m_limit(limit) {}

    bool isEmpty() const { return m_batches.empty(); }
    bool isFull() const { return m_batches.size() >= m_limit; }
    void add(std::vector<Item> items);

    /// Waits for the oldest batch.
    /// @return null when it is not done within so long
    Batch* waitForFront(unsigned int milliSeconds);

    /// @return the oldest batch when it is done, else null
    Batch* doneFront();
    Batch* front() { return m_batches.front().get(); }
    void pop() { m_batches.pop_front(); }

    /// As `pop`, for a batch that a worker may still be on: it lives as long as the window.
    void abandonFront();

    /// Has what nobody began yet left undone.
    void stop() { m_isStopped = true; }
    bool isStopped() const { return m_isStopped; }

    /// Sends so many workers home once nothing is left to take.
    void close(std::size_t workers);

    /// @return the next batch nobody works on, waiting for one; null when the window was closed
    Batch* take();

    /// Tells that one more item of a batch is done. The batch may be gone after its last one.
    void itemDone(Batch& batch);

private:
    const std::size_t m_limit;
    std::deque<std::unique_ptr<Batch>> m_batches;
    std::vector<std::unique_ptr<Batch>> m_abandoned;
    std::atomic<bool> m_isStopped{false};

    Tovra::Vesko::CMutex m_mutex;
    std::deque<Batch*> m_waiting VESKO_GUARDED_BY(m_mutex);
    Tovra::Vesko::CSemaphore m_mayTake;
    Tovra::Vesko::CSemaphore m_someDone;
};

}  // namespace TreeSum
