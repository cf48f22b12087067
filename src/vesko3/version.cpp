#include "vesko/vesko3/version.h"

#include <cstddef>
#include <cstring>
#include <type_traits>

#include "vesko/vesko3/log.h"
#include "vesko3/buildstamp.h"
#include "vesko3/copytext.h"

namespace Tovra::Vesko {

// Programs exchange the record by its layout.
static_assert(std::is_standard_layout_v<CVersion> && std::is_trivially_copyable_v<CVersion>);
static_assert(offsetof(CVersion, major) == 32 && offsetof(CVersion, date) == 48 &&
              sizeof(CVersion) == 80);

namespace {

int revisionOf(const char* text) {
    // A keyword of source control: "$Rev: 1234 $". The run is empty where the number comes first.
    constexpr char keyword[] = "$:ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
    const std::size_t skipped = std::strspn(text, keyword);
    const bool startsWithDigit = *text >= '0' && *text <= '9';
    int revision = 0;
    // Neither a blank nor a sign may open the text: they count only behind a keyword.
    if (startsWithDigit || skipped > 0) Detail::readNumber(text + skipped, revision);
    return revision;
}

}  // namespace

CVersion::CVersion(const char* nameText, int first, int second, int third, const char* revisionText,
                   const char* dateText)
    : major{first},
      minor{second},
      patch{third},
      revision{revisionOf(Detail::textOrEmpty(revisionText))},
      date{} {
    Detail::copyText(name, Detail::textOrEmpty(nameText));
    Detail::readDate(Detail::textOrEmpty(dateText), date);
}

void CVersion::print() const {
    logInfo("[*] %s %d.%d.%d.%d Built in %d/%2d/%2d [*]\n", name, major, minor, patch, revision,
            date.year, date.month, date.day);
}

void CVersion::setAppDate(const char* dateText) {
    Detail::readDate(Detail::textOrEmpty(dateText), appDate);
}

}  // namespace Tovra::Vesko
