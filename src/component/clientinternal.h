#pragma once

#include <atomic>
#include <cstdint>

#include "component/statussignal.h"
#include "vesko/component/client.h"
#include "vesko/vesko3/locks.h"
#include "vesko/vesko3/string.h"
#include "vesko/vesko3/time.h"

namespace Tovra::Component {

/// What the framework keeps of each client.
struct ClientInternal {
    enum State { created = 0, loggedIn = 1, broken = 2 };

    ClientInternal(const ClassID& clsid, const ServerInfo& info, bool isExplicit);

    /// @pre the client has its record
    static ClientInternal& of(const IClient* client);
    /// @pre the client has no record
    static void attachTo(IClient* client, ClientInternal* record);

    /// @return true when the texts and numbers that tell servers apart are those of `info`
    bool isForServer(const ServerInfo& info) VESKO_EXCLUDES(mutex);

    bool hasUserName(const char* name) VESKO_EXCLUDES(mutex);

    // Fixed at construction, but for the user name.
    const Vesko::CString classId;
    const Vesko::CString address;
    const std::int32_t port;
    Vesko::CString userName VESKO_GUARDED_BY(mutex);
    const Vesko::CString password;
    const Vesko::CString text1;
    const Vesko::CString text4;
    const Vesko::CString text5;
    const Vesko::CString text6;
    const std::uint8_t flag1;
    const std::uint8_t flag2;
    const std::int32_t number1;
    const Vesko::CString text2;
    const Vesko::CString text3;
    const std::uint8_t flag3;
    const std::int32_t number2;
    const std::int32_t number3;
    const Vesko::CString text7;
    const Vesko::CString text8;
    const Vesko::CString text9;
    bool userNameSaved VESKO_GUARDED_BY(mutex) = false;
    std::atomic<State> state{created};
    Vesko::CTime loginTime VESKO_GUARDED_BY(mutex);
    std::atomic<std::uint64_t> lastCheckTime;  // milliseconds on the interval clock
    const bool explicitClient;                 // made by a caller of its own: never idle
    // Set once the client has gone into use, and stays.
    std::atomic<int> isUsing{0};
    std::atomic<void*> customData{nullptr};
    StatusSignal statusSignal;
    Vesko::CMutex mutex;  // a leaf
};

/// Gives a new client its record.
/// @pre the client has none
void clientCreateInternal(IClient* client, const ClassID& clsid, const ServerInfo& info,
                          bool explicitClient);

// All that follow want a client that has its record.

ClientInternal::State clientState(IClient* client);

bool clientIsCreated(IClient* client);
bool clientIsLogined(IClient* client);
bool clientIsBroken(IClient* client);

/// @return true when the client was made on demand, never got logged in, and the last attempt is
///         more than five minutes old
bool clientIsIdle(IClient* client);

/// @return true when the client's class begins with the text of `clsid` up to its first '.', and it
///         was made for the same server
bool clientIsSameAs(IClient* client, const ClassID& clsid, const ServerInfo& info);

/// @return true when the class fits as above, and the client has this user
bool clientIsSameAs(IClient* client, const ClassID& clsid, int userId);

/// Marks a client as in use.
/// @return whether it was before
long clientGetAndMarkUsing(IClient* client);

/// Logs the client in, and notes when.
bool clientLogin(IClient* client);

/// Looks whether the link has broken, and notes that.
bool clientUpdateBroken(IClient* client);

}  // namespace Tovra::Component
