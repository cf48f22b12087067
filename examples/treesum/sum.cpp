#include "sum.h"

#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <utility>

#include "crew.h"
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
    Sum(const Options& options, Report& report)
        : m_algorithm(options.algorithm.value_or(Algorithm::md5)),
          m_report(report),
          m_crew(std::make_unique<Crew>(
              options, report, Tovra::Vesko::TFunction1<void, Item&>(&Sum::settle, this))) {}

    void path(const std::string& path) {
        if (m_crew->mustStop()) return;
        Tovra::Vesko::FileInfo info{};  // stays empty for standard input
        if (path != "-" &&
            Tovra::Vesko::FileDefaultOpt::instance()->stat(path.c_str(), info) != 0) {
            m_crew->addFailure(path, errno);
        } else if (isDirectory(info)) {
            tree(path);
        } else {
            file(path, info.size);
        }
        // Two that read standard input take turns.
        if (path == "-") m_crew->drain();
    }

    /// Waits for the rest.
    /// @return false when an interrupt cut the run short
    bool finish() {
        m_crew->drain();
        const bool isComplete = !m_crew->mustStop() || interrupted() == 0;
        Crew::dismiss(std::move(m_crew));
        return isComplete;
    }

    std::size_t fileCount() const { return m_fileCount; }

private:
    void tree(const std::string& root) {
        note(Detail::trace, "walking " + root);
        TreeWalk walk(root, {&Sum::failed, this});
        while (!m_crew->mustStop() && walk.next()) file(walk.path(), walk.sizeBytes());
    }

    void file(const std::string& path, std::uint64_t sizeBytes) {
        Item item;
        item.path = path;
        item.algorithm = m_algorithm;
        item.sizeBytes = sizeBytes;
        m_crew->add(std::move(item));
    }

    void failed(const std::string& path, int error) { m_crew->addFailure(path, error); }

    void settle(Item& item) {
        if (item.error == 0) {
            m_report.result(manifestLine(item.hex, item.path));
            ++m_fileCount;
        } else if (item.error != EINTR) {  // which stands for what a stop left out
            m_report.failure(item.path, item.error);
        }
    }

    const Algorithm m_algorithm;
    Report& m_report;
    std::unique_ptr<Crew> m_crew;
    std::size_t m_fileCount = 0;
};

}  // namespace

bool sumPaths(const Options& options, Report& report) {
    Sum sum(options, report);
    for (const std::string& path : options.roots()) sum.path(path);
    const bool isComplete = sum.finish();
    note(Detail::info, "summed " + std::to_string(sum.fileCount()) + " files");
    return isComplete;
}

}  // namespace TreeSum
