#include "sum.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <string>

#include "interrupt.h"
#include "journal.h"
#include "manifest.h"
#include "vesko/vesko3/filesystem.h"
#include "walk.h"

namespace TreeSum {

namespace {

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
        if (mustStop()) return;
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

    bool isComplete() const { return m_complete; }
    std::size_t fileCount() const { return m_fileCount; }

private:
    // Asked before each piece of work: what comes behind a stop is left out.
    bool mustStop() {
        if (interrupted() != 0) m_complete = false;
        return !m_complete || m_report.outputIsBroken();
    }

    void tree(const std::string& root) {
        note(Detail::trace, "walking " + root);
        TreeWalk walk(root, m_report);
        while (walk.next() && !mustStop()) file(walk.path());
    }

    void file(const std::string& path) {
        const int error = m_digester.digest(path, m_algorithm, m_hex);
        if (error != 0 && mustStop()) return;
        if (error != 0) {
            m_report.failure(path, error);
            return;
        }
        m_report.result(manifestLine(m_hex, path));
        ++m_fileCount;
    }

    const Algorithm m_algorithm;
    FileDigester& m_digester;
    Report& m_report;
    std::string m_hex;  // kept to use its memory again
    std::size_t m_fileCount = 0;
    bool m_complete = true;
};

}  // namespace

bool sumPaths(const Options& options, FileDigester& digester, Report& report) {
    Sum sum(options.algorithm.value_or(Algorithm::md5), digester, report);
    if (options.paths.empty()) sum.path(".");
    for (const std::string& path : options.paths) sum.path(path);
    note(Detail::info, "summed " + std::to_string(sum.fileCount()) + " files");
    return sum.isComplete();
}

}  // namespace TreeSum
