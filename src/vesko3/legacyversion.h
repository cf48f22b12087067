#pragma once

#include <string>
#include <vector>

#include "vesko/vesko3/time.h"

namespace Tovra::Vesko {

/// The name and numbers of a version record that was constructed.
struct VersionMatcher {
    std::string name;
    int major;
    int minor;
    int patch;
};

/// The library's record of itself. Beside what `CVersion` holds, it enters itself in a list of the
/// process, and says so when it was built from changed files.
class CLegacyVersion {
public:
    /// @param revision the number behind its first colon, or at its start when it has no colon; a
    ///                 capital M anywhere in it stands for changed files
    CLegacyVersion(const char* name, int major, int minor, int patch, const char* revision,
                   const char* date);

    char name[32];
    int major;
    int minor;
    int patch;
    int revision;
    SystemTime date;
};

namespace Detail {

/// @return one entry for each `CLegacyVersion` so far, in order. It has no lock: records are made
///         as the library is loaded.
std::vector<VersionMatcher>& versionMatchers();

}  // namespace Detail

}  // namespace Tovra::Vesko
