#include "checkincludeversion.h"

#include <algorithm>
#include <cstring>
#include <string_view>
#include <vector>

#include "vesko3/logmacros.h"

namespace Tovra::Vesko {

namespace {

const char* shown(const char* text) { return text != nullptr ? text : "(null)"; }

// A revision may be null: it failed its own check and was registered all the same.
bool same(const char* a, const char* b) {
    if (a == nullptr || b == nullptr) return a == b;
    return std::strcmp(a, b) == 0;
}

bool contradict(const IncludeVersionRow& a, const IncludeVersionRow& b) {
    return same(a.path, b.path) && !same(a.revision, b.revision);
}

}  // namespace

CCheckIncludeVersionInter& CCheckIncludeVersionInter::instance() {
    static CCheckIncludeVersionInter s_check;
    return s_check;
}

bool CCheckIncludeVersionInter::check(const char* name, const IncludeVersionRow* rows, int count) {
    ::CGuard guard(m_mutex);
    const IncludeVersionNode added{name, rows, count};
    const bool passed = isClean(added) && std::ranges::all_of(m_nodes, [&](const auto& earlier) {
                            return compare(earlier, added);
                        });
    m_nodes.push_back(added);
    return passed;
}

bool CCheckIncludeVersionInter::isClean(const IncludeVersionNode& added) const {
    logInfo("check include version:%s\n", shown(added.name));
    std::vector<int> unclean;
    for (int i = 0; i < added.count; ++i) {
        const IncludeVersionRow& row = added.rows[i];
        logInfo("%s %s\n", shown(row.path), shown(row.revision));
        if (!isNumber(row.revision)) unclean.push_back(i);
    }
    if (unclean.empty()) return true;
    VESKO_DIRECT_OBJECT(logError, "%s version error\n", shown(added.name));
    for (const int i : unclean) {
        VESKO_DIRECT_OBJECT(logError, "%s %s\n", shown(added.rows[i].path),
                            shown(added.rows[i].revision));
    }
    return false;
}

bool CCheckIncludeVersionInter::compare(const IncludeVersionNode& earlier,
                                        const IncludeVersionNode& added) {
    std::vector<ErrorList> mismatches;
    for (int i = 0; i < earlier.count; ++i) {
        for (int j = 0; j < added.count; ++j) {
            if (contradict(earlier.rows[i], added.rows[j])) mismatches.push_back({i, j});
        }
    }
    if (mismatches.empty()) return true;
    VESKO_DIRECT_OBJECT(logError, "check include version failed\n");
    for (const ErrorList& mismatch : mismatches) {
        reportRow(earlier, mismatch.earlier);
        reportRow(added, mismatch.added);
    }
    return false;
}

void CCheckIncludeVersionInter::reportRow(const IncludeVersionNode& node, int row) const {
    VESKO_DIRECT_OBJECT(logError, "%s %s %s\n", shown(node.name), shown(node.rows[row].path),
                        shown(node.rows[row].revision));
}

bool CCheckIncludeVersionInter::isNumber(const char* text) {
    if (text == nullptr || *text == '\0') return false;
    return std::string_view(text).find_first_not_of("0123456789") == std::string_view::npos;
}

CCheckIncludeVersion::CCheckIncludeVersion(const char* name, const IncludeVersionRow* rows,
                                           int count) {
    if (!CCheckIncludeVersionInter::instance().check(name, rows, count))
        VESKO_DIRECT_OBJECT(logError, "check include version failed, assert\n");
}

}  // namespace Tovra::Vesko
