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

CLegacyVersion::CLegacyVersion(const char* nameText, int first, int second, int third,
                               const char* revisionText, const char* dateText)
    : major{first}, minor{second}, patch{third}, date{} {
    const char* const wholeName = Detail::textOrEmpty(nameText);
    const char* const stamp = Detail::textOrEmpty(revisionText);
    Detail::versionMatchers().push_back({wholeName, first, second, third});
    Detail::copyText(name, wholeName);
    revision = revisionOf(stamp);
    if (std::strchr(stamp, 'M') != nullptr) {
        logInfo(
            "Some [%s] files are not commit to SVN server. It compied wtih local modified "
            "files.\n",
            wholeName);
    }
    Detail::readDate(Detail::textOrEmpty(dateText), date);
}

}  // namespace Tovra::Vesko
