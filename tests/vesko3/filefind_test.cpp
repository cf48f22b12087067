#include "vesko/vesko3/filefind.h"

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <map>
#include <string>
#include <utility>

#include "support/temporarydirectory.h"
#include "vesko/vesko3/filesystem.h"

namespace {

using namespace Tovra::Vesko;

std::string text(const auto& value) { return value.c_str(); }

template <class Search>
class FileFind : public testing::Test {
protected:
    // The names that match, each with a letter for every attribute.
    std::map<std::string, std::string> found(const std::string& pattern) {
        const std::string path = directory.path() + "/" + pattern;
        std::map<std::string, std::string> names;
        for (bool more = search.findFile(path.c_str()); more; more = search.findNextFile()) {
            std::string& attributes = names[text(search.getFileName())];
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
    for (const auto& [name, mode] :
         {File{"a", 0600}, File{"ab", 0444}, File{"abc", 0420}, File{"abcabd", 0600},
          File{"x[y]", 0600}, File{"a*", 0600}, File{".hidden", 0600}, File{".both", 0}}) {
        ASSERT_EQ(::chmod(this->directory.write(name, "").c_str(), mode), 0);
    }
    ASSERT_EQ(::mkdir(this->directory.path("folder").c_str(), 0700), 0);
    ASSERT_EQ(::symlink("folder", this->directory.path("link").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", this->directory.path("dangling").c_str()), 0);
    const std::map<std::string, std::string> expected = {
        {".", "d"},      {"..", "d"},   {"a", "n"},       {"ab", "r"},     {"abc", "n"},
        {"abcabd", "n"}, {"x[y]", "n"}, {"a*", "n"},      {".both", "hr"}, {".hidden", "h"},
        {"folder", "d"}, {"link", "n"}, {"dangling", "n"}};
    EXPECT_EQ(this->found("*"), expected);
    constexpr std::pair<const char*, std::size_t> cases[] = {
        {"a*", 5},    {"a?", 2},  {"?", 2},     {"???", 1},  {"*c", 1},   {"*b*", 4},
        {"a*b*d", 1}, {"**", 13}, {"abc", 1},   {"abd", 0},  {"", 0},     {"x[y]", 1},
        {"[ax]*", 0}, {"*?", 13}, {"abc?*", 1}, {"no/*", 0}, {"abc/*", 0}};
    for (const auto& [pattern, matches] : cases) {
        EXPECT_EQ(this->found(pattern).size(), matches) << pattern;
    }
}

TYPED_TEST(FileFind, GivesThePathAndTheLowHalfOfTheSize) {
    const std::string path = this->directory.write("large", "");
    ASSERT_EQ(::truncate(path.c_str(), (5LL << 30) + 7), 0);
    ASSERT_TRUE(this->search.findFile(path.c_str()));
    EXPECT_EQ(text(this->search.getFilePath()), path);
    EXPECT_EQ(this->search.getLength(), (1U << 30) + 7);
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(this->directory.path());
    EXPECT_TRUE(this->search.findFile("l*"));
    EXPECT_EQ(text(this->search.getFilePath()), "large");
    std::filesystem::current_path(before);
}

// Counts searches, and notes the directory that it is told.
class SpyTable : public FileDefaultOpt {
public:
    SpyTable() { hookFileSystem("/spied/", this); }
    ~SpyTable() override { hookFileSystem("/spied/", nullptr); }

    long findfirst(const char*, FileInfo& info) override {
        told += std::string("first ") + info.name + "\n";
        std::strcpy(info.name, "entry");
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
        EXPECT_TRUE(spied.findFile("/spied/on/*"));
        EXPECT_EQ(text(spied.getFilePath()), "/spied/on/entry");
        EXPECT_FALSE(spied.findNextFile());
        EXPECT_EQ(text(spied.getFileName()), "/spied/on/");
        EXPECT_TRUE(spied.findFile("/spied/*"));
        EXPECT_EQ(table.open, 1) << "the next search ends the one before";
        for (int time = 0; time < 2; ++time) spied.close();
        EXPECT_EQ(table.open, 0);
        EXPECT_EQ(text(spied.getFileName()), "entry") << "the last entry stays";
        EXPECT_FALSE(spied.findNextFile());
        EXPECT_TRUE(spied.findFile(("/spied/" + std::string(300, 'n') + "/*").c_str()));
    }
    EXPECT_EQ(table.open, 0) << "ended with the object";
    EXPECT_EQ(table.told,
              "first /spied/on/\nnext 42 /spied/on/\nfirst /spied/\nnext -1 /spied/\n"
              "first /spied/" +
                  std::string(252, 'n') + "\n");
}

}  // namespace
