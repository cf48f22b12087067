#include "vesko3/legacyversion.h"

#include <cstring>

#include "vesko/vesko3/log.h"
#include "vesko3/buildstamp.h"
#include "vesko3/copytext.h"

namespace Tovra::Vesko {

namespace {

int revisionOf(const char* text) {
    const char* const colon = std::strchr(text, ':');
    int revision = 0;
    Detail::readNumber(colon != nullptr ? colon + 1 : text, revision);
    return revision;
}

}  // namespace

std::vector<VersionMatcher>& Detail::versionMatchers() {
    static std::vector<VersionMatcher> s_matchers;
    return s_matchers;
}

CLegacyVersion::CLegacyVersion(const char* name, int major, int minor, int patch,
                               const char* revision, const char* date)
    : major{major}, minor{minor}, patch{patch}, date{} {
    const char* const knownName = Detail::textOrEmpty(name);
    const char* const stamp = Detail::textOrEmpty(revision);
    Detail::versionMatchers().push_back({knownName, major, minor, patch});
    Detail::copyText(this->name, knownName);
    this->revision = revisionOf(stamp);
    if (std::strchr(stamp, 'M') != nullptr) {
        logInfo(
            "Some [%s] files are not commit to SVN server. It compied wtih local modified "
            "files.\n",
            knownName);
    }
    Detail::readDate(Detail::textOrEmpty(date), this->date);
}

}  // namespace Tovra::Vesko
