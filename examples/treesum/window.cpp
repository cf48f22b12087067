#include "window.h"

#include <utility>

namespace TreeSum {

using Tovra::Vesko::CGuard;

void Window::add(std::vector<Item> items) {
    m_batches.push_back(std::make_unique<Batch>());
    m_batches.back()->items = std::move(items);
    {
        CGuard guard(m_mutex);
        m_waiting.push_back(m_batches.back().get());
    }
    m_mayTake.post();
}

Batch* Window::doneFront() {
    if (m_batches.empty()) return nullptr;
    Batch& batch = *m_batches.front();
    return batch.isDone() ? &batch : nullptr;
}

Batch* Window::waitForFront(unsigned int milliSeconds) {
    if (Batch* batch = doneFront()) return batch;
    m_someDone.pend(milliSeconds);  // of any batch: the caller looks again
    return doneFront();
}

void Window::abandonFront() {
    m_abandoned.push_back(std::move(m_batches.front()));
    m_batches.pop_front();
}

void Window::close(std::size_t workers) {
    for (std::size_t i = 0; i < workers; ++i) m_mayTake.post();
}

Batch* Window::take() {
    m_mayTake.pend();
    CGuard guard(m_mutex);
    if (m_waiting.empty()) return nullptr;
    Batch* batch = m_waiting.front();
    m_waiting.pop_front();
    return batch;
}

void Window::itemDone(Batch& batch) {
    const bool isLast = batch.doneCount.load(std::memory_order_relaxed) + 1 == batch.items.size();
    batch.doneCount.fetch_add(1, std::memory_order_release);  // the batch may be gone from here on
    if (isLast) m_someDone.post();
}

}  // namespace TreeSum
