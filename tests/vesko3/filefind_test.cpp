#include "vesko/vesko3/filefind.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>

#include "support/temporarydirectory.h"
#include "vesko/vesko3/filesystem.h"

namespace {

using namespace Tovra::Vesko;

template <class Search>
class FileFind : public testing::Test {
protected:
    // The names that match, each with a letter for every attribute.
    std::map<std::string, std::string> found(const std::string& pattern) {
        const std::string path = directory.path() + "/" + pattern;
        std::map<std::string, std::string> names;
        for (bool more = search.findFile(path.c_str()); more; more = search.findNextFile()) {
            std::string& attributes = names[search.getFileName().c_str()];
            if (search.isDirectory()) attributes += 'd';
            if (search.isHidden()) attributes += 'h';
            if (search.isReadOnly()) attributes += 'r';
            if (search.isNormal()) attributes += 'n';
        }
        return names;
    }

    const Tovra::Testing::TemporaryDirectory directory;
    Search search;
};
using Searches = testing::Types<CFileFind, CFileFindEx>;
TYPED_TEST_SUITE(FileFind, Searches);

TYPED_TEST(FileFind, MatchesWildcardsAndTellsTheAttributesOfEachEntry) {
    using File = std::pair<const char*, mode_t>;
    for (const auto& [name, mode] : {File{"a", 0600}, File{"abc", 0420}, File{"abcabd", 0600},
                                     File{"x[y]", 0600}, File{"a*", 0444}, File{".hidden", 0600}})
        ASSERT_EQ(::chmod(this->directory.write(name, "").c_str(), mode), 0);
    ASSERT_EQ(::symlink(".", this->directory.path("link").c_str()), 0);
    const std::map<std::string, std::string> expected = {
        {".", "d"},    {"..", "d"}, {"a", "n"},       {"abc", "n"}, {"abcabd", "n"},
        {"x[y]", "n"}, {"a*", "r"}, {".hidden", "h"}, {"link", "n"}};
    EXPECT_EQ(this->found("*"), expected);
    constexpr std::pair<const char*, std::size_t> cases[] = {
        {"a*", 4}, {"a?", 1},   {"*c", 1},    {"*b*", 2}, {"a*b*d", 1}, {"abc", 1},  {"abd", 0},
        {"", 0},   {"x[y]", 1}, {"[ax]*", 0}, {"*?", 9},  {"abc?*", 1}, {"no/*", 0}, {"abc/*", 0}};
    for (const auto& [pattern, matches] : cases)
        EXPECT_EQ(this->found(pattern).size(), matches) << pattern;
}

// Counts searches, and notes the directory that it is told.
struct SpyTable : FileDefaultOpt {
    SpyTable() { hookFileSystem("/spied/", this); }
    ~SpyTable() override { hookFileSystem("/spied/", nullptr); }

    long findfirst(const char*, FileInfo& info) override {
        told += std::string(info.name) + "\n";
        std::strcpy(info.name, "entry");
        info.size = (5ULL << 30) + 7;
        return 42 * ++open;
    }
    int findnext(long handle, FileInfo& info) override {
        told += "next " + std::to_string(handle) + " " + info.name + "\n";
        return -1;
    }
    int findclose(long) override { return --open, 0; }

    std::string told;
    int open = 0;
};

TYPED_TEST(FileFind, AsksTheHookedTableAndTellsItTheDirectory) {
    SpyTable table;
    {
        TypeParam spied;
        EXPECT_FALSE(spied.findNextFile() || spied.findFile(nullptr) || spied.findFile(""));
        EXPECT_TRUE(spied.findFile("/spied/on/*") && spied.getLength() == (1U << 30) + 7);
        EXPECT_EQ(spied.getFilePath(), "/spied/on/entry");
        EXPECT_FALSE(spied.findNextFile());
        EXPECT_TRUE(spied.findFile("/spied/*") && table.open == 1) << "ends the one before";
        for (int time = 0; time < 2; ++time) spied.close();
        EXPECT_EQ(table.open, 0);
        EXPECT_TRUE(spied.findFile("/spied/*"));
    }
    EXPECT_EQ(table.open, 0) << "ended with the object";
    EXPECT_EQ(table.told, "/spied/on/\nnext 42 /spied/on/\n/spied/\n/spied/\n");
}

}  // namespace
