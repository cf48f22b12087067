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
using Tovra::Testing::TemporaryDirectory;

std::string text(const std::string& value) { return value; }
std::string text(const CString& value) { return value.c_str(); }

template <class Search>
class FileFind : public testing::Test {
protected:
    bool find(const std::string& name) {
        return search.findFile((directory.path() + "/" + name).c_str());
    }

    // The names that match, each with a letter for every attribute.
    std::map<std::string, std::string> found(const std::string& pattern) {
        std::map<std::string, std::string> names;
        for (bool more = find(pattern); more; more = search.findNextFile()) {
            std::string& attributes = names[text(search.getFileName())];
            if (search.isDirectory()) attributes += 'd';
            if (search.isHidden()) attributes += 'h';
            if (search.isReadOnly()) attributes += 'r';
            if (search.isNormal()) attributes += 'n';
        }
        return names;
    }

    const TemporaryDirectory directory;
    Search search;
};
using Searches = testing::Types<CFileFind, CFileFindEx>;
TYPED_TEST_SUITE(FileFind, Searches);

TYPED_TEST(FileFind, MatchesWildcards) {
    for (const char* name : {"a", "ab", "abc", "abcabd", "x[y]", "a*"}) {
        this->directory.write(name, "");
    }
    constexpr std::pair<const char*, std::size_t> cases[] = {
        {"*", 8},    {"a*", 5},    {"a?", 2}, {"?", 2},     {"???", 1},  {"*c", 1},
        {"*b*", 3},  {"a*b*d", 1}, {"**", 8}, {"abc", 1},   {"abd", 0},  {"", 0},
        {"x[y]", 1}, {"[ax]*", 0}, {"*?", 8}, {"abc?*", 1}, {"no/*", 0}, {"abc/*", 0}};
    for (const auto& [pattern, matches] : cases) {
        EXPECT_EQ(this->found(pattern).size(), matches) << pattern;
    }
}

TYPED_TEST(FileFind, TellsTheAttributesOfEachEntry) {
    using File = std::pair<const char*, mode_t>;
    for (const auto& [name, mode] :
         {File{"plain", 0600}, File{"readonly", 0444}, File{"group", 0420}, File{".hidden", 0600},
          File{".both", 0}}) {
        ASSERT_EQ(::chmod(this->directory.write(name, "").c_str(), mode), 0);
    }
    ASSERT_EQ(::mkdir(this->directory.path("folder").c_str(), 0700), 0);
    ASSERT_EQ(::symlink("folder", this->directory.path("link").c_str()), 0);
    ASSERT_EQ(::symlink("nowhere", this->directory.path("dangling").c_str()), 0);
    const std::map<std::string, std::string> expected = {
        {".", "d"},      {"..", "d"},      {"plain", "n"},  {"readonly", "r"}, {"group", "n"},
        {".both", "hr"}, {".hidden", "h"}, {"folder", "d"}, {"link", "n"},     {"dangling", "n"}};
    EXPECT_EQ(this->found("*"), expected);
}

TYPED_TEST(FileFind, GivesThePathAndTheLowHalfOfTheSize) {
    const std::string path = this->directory.write("large", "");
    ASSERT_EQ(::truncate(path.c_str(), (5LL << 30) + 7), 0);
    ASSERT_TRUE(this->find("l*"));
    EXPECT_EQ(text(this->search.getFilePath()), path);
    EXPECT_EQ(this->search.getLength(), (1U << 30) + 7);
}

TYPED_TEST(FileFind, PatternWithoutADirectoryNamesTheWorkingOne) {
    this->directory.write("here", "");
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(this->directory.path());
    EXPECT_TRUE(this->search.findFile("h*"));
    EXPECT_EQ(text(this->search.getFilePath()), "here");
    std::filesystem::current_path(before);
}

TYPED_TEST(FileFind, StaysUsableWhateverIsAsked) {
    this->directory.write("file", "x");
    TypeParam& mine = this->search;
    mine.close();
    EXPECT_FALSE(mine.findNextFile());
    EXPECT_FALSE(mine.findFile(nullptr));
    EXPECT_FALSE(mine.findFile(""));
    ASSERT_TRUE(this->find("*"));  // and is ended by the next
    ASSERT_TRUE(this->find("f*"));
    mine.close();
    mine.close();
    EXPECT_EQ(text(mine.getFileName()), "file") << "the last entry stays";
    EXPECT_FALSE(mine.findNextFile());
    ASSERT_TRUE(this->find("*"));  // and is ended with the object
}

/// Counts searches, and notes the directory that it is told.
class SpyTable : public FileDefaultOpt {
public:
    long findfirst(const char*, FileInfo& info) override {
        told += std::string("first ") + info.name + "\n";
        std::strcpy(info.name, "entry");
        ++open;
        return 42;
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
    hookFileSystem("/spied/", &table);
    const std::string longName(300, 'n');
    {
        TypeParam spied;
        EXPECT_TRUE(spied.findFile("/spied/on/*"));
        EXPECT_EQ(text(spied.getFilePath()), "/spied/on/entry");
        EXPECT_FALSE(spied.findNextFile());
        EXPECT_EQ(text(spied.getFileName()), "/spied/on/");
        EXPECT_TRUE(spied.findFile(("/spied/" + longName + "/*").c_str()));
        EXPECT_EQ(table.open, 1);
    }
    hookFileSystem("/spied/", nullptr);
    EXPECT_EQ(table.open, 0);
    EXPECT_EQ(table.told, "first /spied/on/\nnext 42 /spied/on/\nfirst " +
                              ("/spied/" + longName).substr(0, 259) + "\n");
}

}  // namespace
