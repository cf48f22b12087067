#include "check.h"

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "crew.h"
#include "inputfile.h"
#include "interrupt.h"
#include "journal.h"
#include "manifest.h"

namespace TreeSum {

namespace {

/// Numbers of lines of a manifest.
struct Counts {
    std::size_t wellFormed = 0;
    std::size_t malformed = 0;
    std::size_t unreadable = 0;
    std::size_t different = 0;
};

/// One run over a manifest.
class Check {
public:
    Check(const Options& options, Report& report)
        : m_options(options),
          m_report(report),
          m_crew(std::make_unique<Crew>(
              options, report, Tovra::Vesko::TFunction1<void, Item&>(&Check::settle, this))) {}

    void line(std::string_view text) {
        if (isIgnoredLine(text)) return;
        const auto entry = parseManifestLine(text, m_options.algorithm);
        // Standard input cannot be the manifest and a file that it lists.
        if (!entry || (entry->name == "-" && m_options.manifest == "-")) {
            ++m_counts.malformed;
            return;
        }
        ++m_counts.wellFormed;
        Item item;
        item.path = entry->name;
        item.algorithm = entry->algorithm;
        item.expected = entry->digest;
        m_crew->add(std::move(item));
    }

    bool mustStop() { return m_crew->mustStop(); }

    /// Waits for the rest.
    void finish() {
        m_crew->drain();
        Crew::dismiss(std::move(m_crew));
    }

    const Counts& counts() const { return m_counts; }

private:
    void settle(Item& item) {
        if (item.error == EINTR) return;  // left out by a stop
        if (item.error != 0) {
            ++m_counts.unreadable;
            m_report.failure(item.path, item.error);
            result(item.path, "FAILED open or read");
        } else if (item.hex != item.expected) {
            ++m_counts.different;
            result(item.path, "FAILED");
        } else if (!m_options.quiet) {
            result(item.path, "OK");
        }
    }

    // Here, other than in a manifest, only a line feed is worth an escape.
    void result(std::string_view name, std::string_view verdict) {
        const bool escaped = name.find('\n') != std::string_view::npos;
        std::string text = escaped ? '\\' + escapedName(name) : std::string(name);
        m_report.result(text.append(": ").append(verdict));
    }

    const Options& m_options;
    Report& m_report;
    std::unique_ptr<Crew> m_crew;
    Counts m_counts;
};

void warn(Report& report, const Counts& counts) {
    struct Row {
        std::size_t count;
        std::string_view one;
        std::string_view many;
    };
    const Row rows[] = {
        {counts.malformed, " line is improperly formatted", " lines are improperly formatted"},
        {counts.unreadable, " listed file could not be read", " listed files could not be read"},
        {counts.different, " computed checksum did NOT match",
         " computed checksums did NOT match"}};
    for (const auto& [count, one, many] : rows) {
        if (count == 0) continue;
        std::string text = "WARNING: " + std::to_string(count);
        report.complaint(text.append(count == 1 ? one : many));
    }
}

}  // namespace

bool checkManifest(const Options& options, Report& report) {
    const std::string& path = *options.manifest;
    const std::string_view name = path == "-" ? std::string_view("standard input") : path;
    InputFile manifest(path);
    Check check(options, report);
    std::string line;
    while (!check.mustStop() && manifest.readLine(line)) check.line(line);
    check.finish();
    if (interrupted() == 0 && manifest.error() != 0) {
        report.failure(name, manifest.error());
        if (check.counts().wellFormed == 0) return true;
    } else if (interrupted() == 0 && check.counts().wellFormed == 0) {
        report.failure(name, "no properly formatted checksum lines found");
        return true;
    }
    warn(report, check.counts());
    note(Detail::info, "verified " + std::to_string(check.counts().wellFormed) + " lines");
    return interrupted() == 0;
}

}  // namespace TreeSum
