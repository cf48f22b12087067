#pragma once

#include <array>

#include "vesko/component/client.h"
#include "vesko/vesko3/locks.h"

namespace Tovra::Component {

/// The status procedures of a client, in slots of which the lowest free one is taken.
///
/// Threads: any thread may call any operation. Procedures run without the lock, on the thread that
/// emits, and may attach and detach.
class StatusSignal {
public:
    /// @return false when the procedure is empty, in a slot already, or there is no free slot
    bool attach(const IClient::Proc& proc) VESKO_EXCLUDES(m_mutex);

    /// @return false when the procedure was in no slot
    bool detach(const IClient::Proc& proc) VESKO_EXCLUDES(m_mutex);

    void emit(void* customData, const ClassID& clsid, const TComPtr<IClient>& client,
              IClient::Status status, int reason) VESKO_EXCLUDES(m_mutex);

private:
    static constexpr std::size_t slotCount = 8;

    Vesko::CMutex m_mutex;
    // An empty one is free.
    std::array<IClient::Proc, slotCount> m_slots VESKO_GUARDED_BY(m_mutex);
};

}  // namespace Tovra::Component
