#include "vesko3/load.h"

#include <iterator>

#include "checkincludeversion.h"
#include "vesko/time.h"
#include "vesko/vesko3/version.h"
#include "vesko3/legacyversion.h"

// Objects that must be constructed at load stand here, and nowhere else: within one source the
// order of construction is the order of the lines. The priority puts them before the static objects
// of a program that the library is linked into as an archive.
#define VESKO_AT_LOAD __attribute__((init_priority(101)))

namespace Tovra::Vesko {

VESKO_AT_LOAD const Detail::ClockBase Detail::s_clockBase;
VESKO_AT_LOAD SystemTime CVersion::appDate = CTime::minTime;
VESKO_AT_LOAD CThreadSpecific Detail::s_lastError;
VESKO_AT_LOAD CThreadSpecific Detail::s_functionReuse;
VESKO_AT_LOAD CMutex Detail::s_formatMutex;
VESKO_AT_LOAD CString Detail::s_formatString("yyyy-MM-dd HH:mm:ss");

}  // namespace Tovra::Vesko

VESKO_AT_LOAD std::string CTime::m_format("yyyy-MM-dd HH:mm:ss");

namespace Tovra::Vesko {

namespace {

// Last: both may log.
VESKO_AT_LOAD const CLegacyVersion s_version("Vesko2", 1, 0, 0, "Win32", __DATE__);
VESKO_AT_LOAD const CCheckIncludeVersion s_includeCheck(
    "Vesko", Detail::s_includeVersions, static_cast<int>(std::size(Detail::s_includeVersions)));

}  // namespace

}  // namespace Tovra::Vesko
