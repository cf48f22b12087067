#include "vesko/vesko3/filefind.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <set>
#include <string>

#include "support/temporarydirectory.h"
#include "vesko/vesko3/filesystem.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::TemporaryDirectory;

std::string text(const std::string& value) { return value; }
std::string text(const CString& value) { return value.c_str(); }

template <class Search>
class FileFind : public testing::Test {};
using Searches = testing::Types<CFileFind, CFileFindEx>;
TYPED_TEST_SUITE(FileFind, Searches);

template <class Search>
std::set<std::string> namesOf(Search& search, const std::string& pattern) {
    std::set<std::string> names;
    for (bool more = search.findFile(pattern.c_str()); more; more = search.findNextFile()) {
        names.insert(text(search.getFileName()));
    }
    return names;
}

TYPED_TEST(FileFind, WalksWhatMatches) {
    const TemporaryDirectory directory;
    directory.write("one.txt", "1");
    directory.write("two.txt", "22");
    directory.write("three.bin", "333");
    TypeParam search;
    EXPECT_EQ(namesOf(search, directory.path("*.txt")),
              (std::set<std::string>{"one.txt", "two.txt"}));
    EXPECT_EQ(namesOf(search, directory.path("none*")), std::set<std::string>{});
    EXPECT_EQ(namesOf(search, directory.path("*")),
              (std::set<std::string>{".", "..", "one.txt", "two.txt", "three.bin"}));
    ASSERT_TRUE(search.findFile(directory.path("two.txt").c_str()));
    EXPECT_EQ(text(search.getFilePath()), directory.path("two.txt"));
    EXPECT_EQ(search.getLength(), 2U);
    EXPECT_TRUE(search.isNormal());
    EXPECT_FALSE(search.isDirectory() || search.isHidden() || search.isReadOnly());
}

TYPED_TEST(FileFind, PatternWithoutADirectoryNamesTheWorkingOne) {
    const TemporaryDirectory directory;
    directory.write("here", "");
    const std::string before = std::filesystem::current_path();
    std::filesystem::current_path(directory.path());
    TypeParam search;
    EXPECT_TRUE(search.findFile("h*"));
    EXPECT_EQ(text(search.getFilePath()), "here");
    std::filesystem::current_path(before);
}

TYPED_TEST(FileFind, TellsTheAttributes) {
    const TemporaryDirectory directory;
    std::filesystem::create_directory(directory.path("folder"));
    std::filesystem::permissions(directory.write(".locked", ""),
                                 std::filesystem::perms::owner_read);
    TypeParam search;
    ASSERT_TRUE(search.findFile(directory.path("folder").c_str()));
    EXPECT_TRUE(search.isDirectory());
    EXPECT_FALSE(search.isNormal());
    ASSERT_TRUE(search.findFile(directory.path(".locked").c_str()));
    EXPECT_TRUE(search.isHidden());
    EXPECT_TRUE(search.isReadOnly());
    EXPECT_FALSE(search.isDirectory() || search.isNormal());
}

TYPED_TEST(FileFind, GivesTheLowHalfOfALargeSize) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("large", "");
    ASSERT_EQ(::truncate(path.c_str(), (5LL << 30) + 7), 0);
    TypeParam search;
    ASSERT_TRUE(search.findFile(path.c_str()));
    EXPECT_EQ(search.getLength(), static_cast<unsigned int>((5LL << 30) + 7));
}

TYPED_TEST(FileFind, StaysUsableWhateverIsAsked) {
    const TemporaryDirectory directory;
    directory.write("file", "x");
    TypeParam search;
    search.close();
    EXPECT_FALSE(search.findNextFile());
    EXPECT_FALSE(search.findFile(nullptr));
    EXPECT_FALSE(search.findFile(""));
    EXPECT_FALSE(search.findFile("/no/such/directory/*"));
    ASSERT_TRUE(search.findFile(directory.path("*").c_str()));  // and is ended by the next
    ASSERT_TRUE(search.findFile(directory.path("f*").c_str()));
    search.close();
    search.close();
    EXPECT_EQ(text(search.getFileName()), "file") << "the last entry stays";
    EXPECT_FALSE(search.findNextFile());
    ASSERT_TRUE(search.findFile(directory.path("*").c_str()));  // and is ended with the object
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
    int findclose(long) override {
        --open;
        return 0;
    }
    std::string told;
    int open = 0;
};

TYPED_TEST(FileFind, AsksTheHookedTableAndTellsItTheDirectory) {
    SpyTable table;
    hookFileSystem("/spied/", &table);
    const std::string longName(300, 'n');
    {
        TypeParam search;
        EXPECT_TRUE(search.findFile("/spied/on/*"));
        EXPECT_EQ(text(search.getFilePath()), "/spied/on/entry");
        EXPECT_FALSE(search.findNextFile());
        EXPECT_EQ(text(search.getFileName()), "/spied/on/");
        EXPECT_TRUE(search.findFile(("/spied/" + longName + "/*").c_str()));
        EXPECT_EQ(table.open, 1);
    }
    hookFileSystem("/spied/", nullptr);
    EXPECT_EQ(table.open, 0);
    EXPECT_EQ(table.told, "first /spied/on/\nnext 42 /spied/on/\nfirst " +
                              ("/spied/" + longName).substr(0, 259) + "\n");
}

}  // namespace
