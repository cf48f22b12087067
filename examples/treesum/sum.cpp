#include "sum.h"

#include <cerrno>
#include <cstdint>
#include <string>

#include "interrupt.h"
#include "manifest.h"
#include "vesko/vesko3/filesystem.h"
#include "walk.h"

namespace TreeSum {

namespace {

bool mustStop(const Report& report) { return interrupted() != 0 || report.outputIsBroken(); }

bool isDirectory(const Tovra::Vesko::FileInfo& info) {
    constexpr std::uint32_t typeMask = 0170000;
    constexpr std::uint32_t directoryType = 0040000;
    return (info.attrib & typeMask) == directoryType;
}

/// One run over the paths of a command line.
class Sum {
public:
    Sum(Algorithm algorithm, FileDigester& digester, Report& report)
        : m_algorithm(algorithm), m_digester(digester), m_report(report) {}

    void path(const std::string& path) {
        Tovra::Vesko::FileInfo info{};  // stays empty for standard input
        if (path != "-" &&
            Tovra::Vesko::FileDefaultOpt::instance()->stat(path.c_str(), info) != 0) {
            m_report.failure(path, errno);
        } else if (isDirectory(info)) {
            tree(path);
        } else {
            file(path);
        }
    }

private:
    void tree(const std::string& root) {
        TreeWalk walk(root, m_report);
        while (!mustStop(m_report) && walk.next()) file(walk.path());
    }

    void file(const std::string& path) {
        if (const int error = m_digester.digest(path, m_algorithm, m_hex); error != 0) {
            m_report.failure(path, error);
            return;
        }
        m_report.result(manifestLine(m_hex, path));
    }

    const Algorithm m_algorithm;
    FileDigester& m_digester;
    Report& m_report;
    std::string m_hex;  // kept to use its memory again
};

}  // namespace

void sumPaths(const Options& options, FileDigester& digester, Report& report) {
    Sum sum(options.algorithm.value_or(Algorithm::md5), digester, report);
    if (options.paths.empty()) sum.path(".");
    for (const std::string& path : options.paths) {
        if (mustStop(report)) return;
        sum.path(path);
    }
}

}  // namespace TreeSum
