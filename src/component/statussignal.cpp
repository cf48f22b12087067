#include "component/statussignal.h"

#include <algorithm>

namespace Tovra::Component {

using Vesko::CGuard;

bool StatusSignal::attach(const IClient::Proc& proc) {
    if (proc.empty() || proc.isReuseAny()) return false;
    CGuard guard(m_mutex);
    if (std::ranges::find(m_slots, proc) != m_slots.end()) return false;
    const auto slot = std::ranges::find_if(m_slots, &IClient::Proc::empty);
    if (slot == m_slots.end()) return false;
    *slot = proc;
    return true;
}

bool StatusSignal::detach(const IClient::Proc& proc) {
    if (proc.empty()) return false;
    CGuard guard(m_mutex);
    bool any = false;
    for (IClient::Proc& slot : m_slots) {
        if (slot.empty() || slot != proc) continue;
        slot = IClient::Proc();
        any = true;
        if (!proc.isReuseAny()) break;
    }
    return any;
}

void StatusSignal::emit(void* customData, const ClassID& clsid, const TComPtr<IClient>& client,
                        IClient::Status status, int reason) {
    for (std::size_t i = 0; i < slotCount; ++i) {
        IClient::Proc proc;
        {
            CGuard guard(m_mutex);
            proc = m_slots[i];
        }
        if (!proc.empty()) proc(customData, clsid, client, status, reason);
    }
}

}  // namespace Tovra::Component
