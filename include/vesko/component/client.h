#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "vesko/component/comptr.h"
#include "vesko/component/factory.h"
#include "vesko/component/serverinfo.h"
#include "vesko/component/unknown.h"
#include "vesko/export.h"
#include "vesko/vesko3/detail/flex_string_shell.h"
#include "vesko/vesko3/detail/ministringstorage.h"
#include "vesko/vesko3/function.h"
#include "vesko/vesko3/time.h"

namespace Tovra::Component {

struct ClientInternal;

/// What a server wants answered before it lets a client in. Concrete clients fill it.
struct VESKO_API ServerChallenge {
    /// A text of one word, null while it is empty.
    using Text = Vesko::Detail::flex_string<char, std::char_traits<char>, std::allocator<char>,
                                            Vesko::Detail::MiniStringStorage<char>>;

    Text challengeText1;
    Text challengeText2;
    Text challengeText3;
    Text challengeText4;
    Text challengeText5;
    std::uint32_t reserved[27] = {};
};

/// The object through which a process reaches a component server.
///
/// A concrete class knows the transport: it implements the pure operations, and has a factory that
/// is registered under `IFactory::iid()`. The framework gives each client its record after `create`
/// has returned, so that constructors and `create` use none of the operations below that need it.
/// A client is logged out and destroyed with the last reference on it; until then others who ask for
/// the same server share it. That happens on the thread of the last release, or on that of the check
/// for clients that nobody logs in, and perhaps under a lock of the framework. The order of the
/// virtual operations is part of the interface.
/// Threads: the framework calls a client from any thread, and may log one in on two threads at the
/// same time; a concrete class has its own lock where it needs one.
class VESKO_API IClient : public IUnknown {
public:
    /// What a status procedure is told.
    enum Status { statusUnknown = 0, statusConnected = 1, statusAborted = 2 };

    /// A status procedure. It gets the client's custom data, class and a reference on it, the
    /// status, and a number that goes with that.
    using Proc = Vesko::TFunction5<void, void*, ClassID, TComPtr<IClient>, Status, int>;

    /// The base of client factories.
    class VESKO_API IFactory : public IFactoryUnknown {
    public:
        IFactory();
        IFactory(const IFactory& other);
        IFactory& operator=(const IFactory& other);
        ~IFactory() override;

        /// @return "Client", the name of this interface
        static const char* iid();

        /// Makes a client with one reference, not logged in. A factory of one's own runs under a lock
        /// of the process. The stand-in that `getComponentFactory` gives has callers share: it gives a
        /// client that exists with one more reference, and whoever gets a new one passes it through
        /// `CComponentHelper::makeComponentObject` before others can ask for it.
        /// @return null when that cannot be done
        [[nodiscard]] virtual IClient* create(const ServerInfo& info) = 0;

        /// Finds the client of a user among those of this class.
        /// @return null when there is none. No reference is added: the caller knows otherwise that
        ///         the client lives.
        IClient* instance(int userId);
    };

    IClient();
    ~IClient() override;

    [[deprecated("two clients would own one record: clients are shared by reference")]] IClient(
        const IClient& other);
    [[deprecated("two clients would own one record: clients are shared by reference")]] IClient&
    operator=(const IClient& other);

    int addRef() override;
    int release() override;

    /// @return true when the link to the server has broken
    virtual bool checkBroken() = 0;

    /// Logs in; also again, after a failure and over a broken link.
    /// @return true when the client is logged in now; otherwise the last error says why not
    virtual bool login() = 0;

    /// Ends the log-in. Called before the client is destroyed, and by `abort`.
    virtual bool logout() = 0;

    /// Called under locks of the framework: it returns at once.
    /// @param id receives the user that the server gave this client
    virtual bool getUserID(int& id) = 0;

    // Services that a concrete client may offer; here they refuse: false, last error 0x10030010.
    virtual bool checkAuthorityString(const char* authority);
    virtual bool setCurrentTime(const Vesko::CTime& time, int tolerance);
    virtual bool getCurrentTime(Vesko::CTime& time);
    virtual bool getChallenge(ServerChallenge& challenge);
    virtual bool loginFirst();
    virtual bool loginAgain(const ServerInfo& info);

    /// Has a procedure told of what happens to the client. There is room for 8.
    /// @return false when it is empty, attached already, or there is no room, and for a
    ///         procedure with "any" reuse number
    virtual bool attachStatusProc(Proc proc);

    /// Ends that. One that runs at this moment runs on. A procedure with "any" reuse number stands
    /// for all of its kind.
    /// @return false when it was not attached
    virtual bool detachStatusProc(Proc proc);

    /// Tells what the client was made with.
    /// @param info every field but `reserved` is written; the texts are the client's own, and hold
    ///             while it lives, the user name until the first `saveUserName`
    /// @return true, with a warning in the log when there is no user name
    bool getServerInfo(ServerInfo& info);

    /// Sets the user name. Only the first call counts; a later one is reported in the log.
    /// @return true
    bool saveUserName(const char* name);

    /// @param time receives the local time of the last log-in
    /// @return true
    bool getLoginTime(Vesko::CTime& time);

    /// Tells the status procedures that the client is given up, in their order and on this thread,
    /// and logs it out. The client itself may be gone on return.
    /// @param reason handed to the procedures
    /// @return the result of `logout`
    bool abort(int reason);

    /// A value of the user's own.
    void setCustomData(void* data);
    void* getCustomData();

    /// @return the user that this thread acted for last; 0 when it never did
    static int getCurrentUserID();

private:
    friend struct ClientInternal;

    ClientInternal* m_internal;
};

}  // namespace Tovra::Component
