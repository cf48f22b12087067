#pragma once

namespace Tovra::Vesko::Detail {

/// Lets all modules pass, or none.
void setAllModules(bool pass);

/// Remembers whether a module passes, and lets these memories decide from now on.
void setModule(const char* module, bool pass);

/// @param module null is never looked up
/// @return true when records of the module pass
bool modulePasses(const char* module);

}  // namespace Tovra::Vesko::Detail
