#include "vesko3/load.h"

#include "vesko/time.h"

// Objects that must be constructed at load stand here, and nowhere else: within one source the
// order of construction is the order of the lines. The priority puts them before the static objects
// of a program that the library is linked into as an archive.
#define VESKO_AT_LOAD __attribute__((init_priority(101)))

namespace Tovra::Vesko::Detail {

VESKO_AT_LOAD const ClockBase s_clockBase;
VESKO_AT_LOAD CThreadSpecific s_lastError;
VESKO_AT_LOAD CThreadSpecific s_functionReuse;
VESKO_AT_LOAD CMutex s_formatMutex;
VESKO_AT_LOAD CString s_formatString("yyyy-MM-dd HH:mm:ss");

}  // namespace Tovra::Vesko::Detail

VESKO_AT_LOAD std::string CTime::m_format("yyyy-MM-dd HH:mm:ss");
