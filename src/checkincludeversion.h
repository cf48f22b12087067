#pragma once

#include <list>

#include "vesko/annotations.h"
#include "vesko/mutex.h"

namespace Tovra::Vesko {

/// The revision of one family of headers that a module was compiled against.
struct IncludeVersionRow {
    const char* path;      ///< "URL: " and the family's address in source control
    const char* revision;  ///< only digits when the family was clean
};

/// Compares the header revisions of all modules of the process, and reports what does not fit.
///
/// There is one per process, made by the first check. It keeps the tables that it is given, without
/// copying them: they are static data.
/// Threads: modules may register from any thread, one at a time.
class CCheckIncludeVersionInter {
public:
    /// One registration.
    struct IncludeVersionNode {
        const char* name;
        const IncludeVersionRow* rows;
        int count;
    };

    /// One family at two revisions: its row in the earlier module, and in the new one.
    struct ErrorList {
        int earlier;
        int added;
    };

    static CCheckIncludeVersionInter& instance();

    CCheckIncludeVersionInter() = default;
    virtual ~CCheckIncludeVersionInter() = default;
    CCheckIncludeVersionInter(const CCheckIncludeVersionInter&) = delete;
    CCheckIncludeVersionInter& operator=(const CCheckIncludeVersionInter&) = delete;

    /// Registers a module, whatever comes of the check.
    /// @return true when all its revisions are numbers and no earlier module has another one
    bool check(const char* name, const IncludeVersionRow* rows, int count);

    /// Reports each family that stands in both modules with different revisions.
    /// @return true when there is none
    bool compare(const IncludeVersionNode& earlier, const IncludeVersionNode& added);

    /// @return true for digits alone, at least one; false for null
    static bool isNumber(const char* text);

private:
    bool isClean(const IncludeVersionNode& added) const;
    void reportRow(const IncludeVersionNode& node, int row) const;

    std::list<IncludeVersionNode> m_nodes VESKO_GUARDED_BY(m_mutex);  // in order of registration
    ::CMutex m_mutex;
};

/// Registers the module in which it stands as a static object. A failed check is reported, and the
/// process goes on.
class CCheckIncludeVersion {
public:
    CCheckIncludeVersion(const char* name, const IncludeVersionRow* rows, int count);
};

namespace Detail {

/// The families that this library is compiled against.
inline constexpr IncludeVersionRow s_includeVersions[] = {
    {"URL: vesko/include/Component", "408842"}, {"URL: vesko/include/Vesko", "414218"},
    {"URL: vesko/include/Memory", "282672"},    {"URL: vesko/include/MiniVesko", "468624"},
    {"URL: vesko/include/Utils", "433497"},
};

}  // namespace Detail

}  // namespace Tovra::Vesko
