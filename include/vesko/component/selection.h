#pragma once

#include <cstdint>

#include "vesko/component/client.h"
#include "vesko/component/comptr.h"
#include "vesko/component/unknown.h"
#include "vesko/export.h"
#include "vesko/vesko3/string.h"

namespace Tovra::Component {

/// Which class stands for an interface when nobody names one.
///
/// Threads: any thread may call any operation.
class VESKO_API CLocalComSelectManager {
public:
    CLocalComSelectManager() = delete;

    /// Sets the class for an interface, once and for all.
    /// @param clsid not null
    /// @return false when `iid` is null or has its class already
    static bool setDefaultComponent(const char* iid, const char* clsid);

    /// @return the class that was set, "Local" when none was; empty for a null `iid`
    static Vesko::CString getDefaultClassID(const char* iid);
};

/// Says which channel a user selected. The library looks at none of the fields. The text is not
/// owned.
struct VESKO_API ComSelChannelInfo {
    ComSelChannelInfo();

    /// Mind the order: the text stands between the numbers, and comes last in the record.
    ComSelChannelInfo(std::int32_t first, const char* text, std::int32_t second);

    std::int32_t selector1;
    std::int32_t selector2;
    const char* selectorText;
    std::uint32_t reserved[13];  // set by no constructor

    /// A local selection: -1, -1 and no text.
    static const ComSelChannelInfo local;
};

/// Says which device a user selected. The library looks at none of the fields.
struct VESKO_API ComSelDeviceIdInfo {
    ComSelDeviceIdInfo();

    std::uint32_t deviceWord1;
    std::uint32_t deviceWord2;
    std::uint32_t reserved[14];  // set by no constructor
};

/// What a program answers questions about servers with. The library only keeps it.
class VESKO_API IServerInfoQueryer : public IUnknown {
public:
    ~IServerInfoQueryer() override;
};

/// Composes a class identifier.
/// @return `base`, and behind it '.' and `suffix` when that is not empty
VESKO_API Vesko::CString getClassId(Vesko::CString& base, Vesko::CString& suffix);

/// Gives the program's one answerer of questions into keeping, until the program ends.
/// Threads: callers keep their calls apart.
/// @return false, with a line in the log, when `handler` is empty or there is one already
VESKO_API bool setQueryerHandler(TComPtr<IServerInfoQueryer> handler);

}  // namespace Tovra::Component
