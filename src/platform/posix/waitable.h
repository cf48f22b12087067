#pragma once

#include <atomic>
#include <cstdint>

#include "platform/sync.h"

namespace Tovra::Platform {

/// The counted base of everything behind a handle.
class Waitable {
public:
    Waitable(const Waitable&) = delete;
    Waitable& operator=(const Waitable&) = delete;

    enum class Kind { semaphore, mutex, event, thread, process };
    Kind kind() const { return m_kind; }

    /// Takes what the object has to give, without sleeping.
    /// @return the result of the wait, or `WAIT_TIMEOUT` when a wait would have to sleep
    virtual std::uint32_t tryWait() = 0;

    /// Sleeps until it can take what the object has to give. The caller holds a reference.
    virtual std::uint32_t sleepingWait(std::uint32_t milliSeconds) = 0;

    void addRef() { m_references.fetch_add(1, std::memory_order_relaxed); }
    void release() {
        if (m_references.fetch_sub(1, std::memory_order_acq_rel) == 1) delete this;
    }

protected:
    explicit Waitable(Kind kind) : m_kind(kind) {}
    virtual ~Waitable() = default;

private:
    const Kind m_kind;
    std::atomic<std::uint32_t> m_references{1};
};

}  // namespace Tovra::Platform
