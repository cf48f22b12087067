#include "platform/filesystem.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>

#include "support/temporarydirectory.h"

namespace {

using namespace Tovra::Platform;
using Tovra::Testing::TemporaryDirectory;

std::map<std::string, std::uint32_t> search(const std::string& pattern) {
    std::map<std::string, std::uint32_t> entries;
    FoundFile found{};
    FileSearch* running = _findfirst(pattern.c_str(), found);
    if (running == nullptr) return entries;
    do {
        entries[found.name] = found.attributes;
    } while (_findnext(running, found) == 0);
    _findclose(running);
    return entries;
}

TEST(DirectorySearch, MatchesWildcards) {
    const TemporaryDirectory directory;
    for (const char* name : {"a", "ab", "abc", "abcabd", "x[y]", "a*"}) directory.write(name, "");
    struct Case {
        const char* pattern;
        std::size_t matches;
    };
    constexpr Case cases[] = {{"*", 8},    {"a*", 5},    {"a?", 2},  {"?", 2},
                              {"???", 1},  {"*c", 1},    {"*b*", 3}, {"a*b*d", 1},
                              {"**", 8},   {"abc", 1},   {"abd", 0}, {"", 0},
                              {"x[y]", 1}, {"[ax]*", 0}, {"*?", 8},  {"abc?*", 1}};
    for (const auto& [pattern, count] : cases) {
        SCOPED_TRACE(pattern);
        EXPECT_EQ(search(directory.path() + "/" + pattern).size(), count);
    }
    EXPECT_TRUE(search(directory.path("missing/*")).empty());
    EXPECT_TRUE(search(directory.path("abc/*")).empty());
}

TEST(DirectorySearch, TellsTheAttributesOfEachEntry) {
    const TemporaryDirectory directory;
    ASSERT_EQ(::chmod(directory.write("plain", "").c_str(), 0600), 0);
    ASSERT_EQ(::chmod(directory.write("readonly", "").c_str(), 0444), 0);
    ASSERT_EQ(::chmod(directory.write("group", "").c_str(), 0420), 0);
    ASSERT_EQ(::chmod(directory.write(".hidden", "").c_str(), 0600), 0);
    ASSERT_EQ(_mkdir(directory.path("folder").c_str()), 0);
    ASSERT_EQ(::symlink("folder", directory.path("link").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", directory.path("dangling").c_str()), 0);
    const std::map<std::string, std::uint32_t> expected = {{".", FILE_ATTRIBUTE_DIRECTORY},
                                                           {"..", FILE_ATTRIBUTE_DIRECTORY},
                                                           {"plain", 0},
                                                           {"readonly", FILE_ATTRIBUTE_READONLY},
                                                           {"group", 0},
                                                           {".hidden", FILE_ATTRIBUTE_HIDDEN},
                                                           {"folder", FILE_ATTRIBUTE_DIRECTORY},
                                                           {"link", 0},
                                                           {"dangling", 0}};
    EXPECT_EQ(search(directory.path("*")), expected);
}

TEST(DirectorySearch, TellsSizesBeyondFourGigabytes) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("large", "");
    constexpr std::int64_t size = 5LL << 30;
    ASSERT_EQ(::truncate(path.c_str(), size), 0);
    FoundFile found{};
    FileSearch* running = _findfirst(path.c_str(), found);
    ASSERT_NE(running, nullptr);
    EXPECT_EQ(found.size, static_cast<std::uint64_t>(size));
    _findclose(running);
    FileStatus status{};
    EXPECT_EQ(_stat64(path.c_str(), status), 0);
    EXPECT_EQ(status.size, static_cast<std::uint64_t>(size));
}

TEST(DiskSpace, IsToldForAnExistingPathAlone) {
    std::uint64_t callerFree = 1;
    std::uint64_t total = 1;
    std::uint64_t totalFree = 1;
    EXPECT_FALSE(GetDiskFreeSpaceExA("/no/such/path", callerFree, total, totalFree));
    EXPECT_EQ(callerFree + total + totalFree, 3U);
    ASSERT_TRUE(GetDiskFreeSpaceExA("/tmp", callerFree, total, totalFree));
    EXPECT_LE(callerFree, totalFree);
    EXPECT_LE(totalFree, total);
}

}  // namespace
