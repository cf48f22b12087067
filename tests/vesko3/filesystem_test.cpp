#include "vesko/vesko3/filesystem.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <string>

#include "support/temporarydirectory.h"
#include "vesko3/hooktable.h"

namespace {

using namespace Tovra::Vesko;
using Detail::fileSystemOf;
using Tovra::Testing::TemporaryDirectory;

IFileSystem* defaultTable() { return FileDefaultOpt::instance(); }

/// Two tables that are only told apart by their addresses. No hook outlives its test.
class HookTable : public testing::Test {
protected:
    ~HookTable() override { EXPECT_EQ(fileSystemOf("/a/x"), defaultTable()); }

    FileDefaultOpt m_first;
    FileDefaultOpt m_second;
};

TEST_F(HookTable, ComparesCharactersInTheOrderOfHooking) {
    hookFileSystem(nullptr, &m_first);
    hookFileSystem("", &m_first);
    hookFileSystem("/a", &m_first);
    hookFileSystem("/a/video", &m_second);
    hookFileSystem("/a", &m_second);
    for (const char* path : {"/a", "/a/video/1", "/another"}) {
        EXPECT_EQ(fileSystemOf(path), &m_first) << path;
    }
    for (const char* path : {"", "/", "b", " /a"}) {
        EXPECT_EQ(fileSystemOf(path), defaultTable()) << path;
    }
    EXPECT_EQ(fileSystemOf(nullptr), defaultTable());
    hookFileSystem("/a/", nullptr);  // no hook of exactly this prefix
    EXPECT_EQ(fileSystemOf("/a"), &m_first);
    hookFileSystem("/a", nullptr);
    EXPECT_EQ(fileSystemOf("/a"), &m_second);
    hookFileSystem("/a", &m_first);
    EXPECT_EQ(fileSystemOf("/a"), &m_first) << "the freed entry comes first again";
    for (const char* prefix : {"/a", "/a", "/a/video"}) hookFileSystem(prefix, nullptr);
}

TEST_F(HookTable, DropsTheThirtySecondHook) {
    const auto hookAll = [](IFileSystem* table) {
        for (int i = 0; i < 32; ++i)
            hookFileSystem(("/a/" + std::to_string(100 + i)).c_str(), table);
    };
    hookAll(&m_first);
    EXPECT_EQ(fileSystemOf("/a/130"), &m_first);
    EXPECT_EQ(fileSystemOf("/a/131"), defaultTable());
    hookAll(nullptr);
    for (const char* path : {"/a/100", "/a/130"}) EXPECT_EQ(fileSystemOf(path), defaultTable());
}

TEST_F(HookTable, KeepsTwoHundredFiftyFiveCharactersOfAPrefix) {
    hookFileSystem(std::string(300, 'p').c_str(), &m_first);
    EXPECT_EQ(fileSystemOf(std::string(254, 'p').c_str()), defaultTable());
    const std::string kept(255, 'p');
    EXPECT_EQ(fileSystemOf(kept.c_str()), &m_first);
    hookFileSystem(kept.c_str(), nullptr);
    EXPECT_EQ(fileSystemOf(kept.c_str()), defaultTable());
}

TEST(FileSystem, LeavesTheLastThreeOperationsToATableThatWantsThem) {
    IFileSystem* table = defaultTable();
    EXPECT_EQ(table->IFileSystem::writev(0, nullptr, 0), 0);
    EXPECT_EQ(table->IFileSystem::fseek64(nullptr, 0, SEEK_SET), -1);
    EXPECT_EQ(table->IFileSystem::ftell64(nullptr), -1);
    EXPECT_EQ(table->writev(0, nullptr, 0), -1);
}

TEST(DefaultTable, OpensAsTheModeSays) {
    constexpr int refused = -1;
    struct Case {
        const char* mode;
        bool existed;
        int access;  // of the descriptor, with its append flag
        std::size_t sizeAfter;
    };
    constexpr Case cases[] = {{"rb", false, refused, 0},
                              {"rb", true, O_RDONLY, 3},
                              {"r", true, O_RDONLY, 3},
                              {"rb+", true, O_RDWR, 3},
                              {"r+", false, refused, 0},
                              {"wb", false, O_WRONLY, 0},
                              {"wb", true, O_WRONLY, 0},
                              {"wb+", true, O_RDWR, 0},
                              {"ab", true, O_WRONLY | O_APPEND, 3},
                              {"ab+", false, O_RDWR | O_APPEND, 0},
                              {"ab+", true, O_RDWR | O_APPEND, 3},
                              {"rbe", true, O_RDONLY, 3},
                              {"erb", true, O_RDONLY, 3},
                              {"wbd", true, O_WRONLY, 0},
                              {"rbed", true, O_RDONLY, 3},
                              {"x", true, refused, 3}};
    for (const auto& [mode, existed, access, sizeAfter] : cases) {
        SCOPED_TRACE(testing::Message() << mode << (existed ? " existing" : " new"));
        const TemporaryDirectory directory;
        const std::string path = directory.path("file");
        if (existed) directory.write("file", "abc");
        void* file = defaultTable()->fopen(path.c_str(), mode);
        ASSERT_EQ(file != nullptr, access != refused);
        if (file == nullptr) continue;
        const int descriptor = ::fileno(static_cast<std::FILE*>(file));
        EXPECT_EQ(::fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_APPEND), access);
        const bool inherits = (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0;
        EXPECT_EQ(inherits, std::strchr(mode, 'e') == nullptr);
        EXPECT_EQ(defaultTable()->fclose(file), 0);
        struct stat status {};
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        EXPECT_EQ(static_cast<std::size_t>(status.st_size), sizeAfter);
        EXPECT_TRUE(existed || (status.st_mode & 0777) == 0600);
    }
}

TEST(DefaultTable, RefusesADirectoryAndANullPathAndWantsAMode) {
    const TemporaryDirectory directory;
    for (const char* mode : {"rb", "wb", "rb+"}) {
        EXPECT_EQ(defaultTable()->fopen(directory.path().c_str(), mode), nullptr);
        EXPECT_EQ(defaultTable()->fopen(nullptr, mode), nullptr);
    }
    FileInfo info{};
    EXPECT_NE(defaultTable()->stat(nullptr, info), 0);
    EXPECT_NE(defaultTable()->rename(nullptr, nullptr), 0);
    EXPECT_DEATH(defaultTable()->fopen("x", nullptr), R"(assertion \(mode != NULL\) failed)");
    EXPECT_DEATH(defaultTable()->fopen("x", ""), R"(assertion \(len > 0\) failed)");
}

TEST(DefaultTable, BuffersSixteenKilobytes) {
    const TemporaryDirectory directory;
    void* file = defaultTable()->fopen(directory.path("file").c_str(), "wb");
    ASSERT_NE(file, nullptr);
    for (int i = 0; i < 16384; ++i) defaultTable()->fputs("x", file);
    EXPECT_EQ(directory.read("file").size(), 0U) << "the buffer still holds them all";
    defaultTable()->fputs("x", file);
    EXPECT_EQ(directory.read("file").size(), 16384U);
    EXPECT_EQ(defaultTable()->fclose(file), 0);
    EXPECT_EQ(directory.read("file").size(), 16385U);
}

TEST(DefaultTable, ReadsWritesAndSeeks) {
    const TemporaryDirectory directory;
    IFileSystem* table = defaultTable();
    void* file = table->fopen(directory.path("file").c_str(), "wb+");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(table->fwrite("0123456789", 1, 10, file), 10U);
    EXPECT_GE(table->fputs("line\nrest", file), 0);
    EXPECT_EQ(table->fflush(file), 0);
    EXPECT_EQ(directory.read("file"), "0123456789line\nrest");
    EXPECT_EQ(table->fseek(file, 10, SEEK_SET), 0);
    char text[16] = {};
    EXPECT_EQ(table->fgets(text, sizeof(text), file), text);
    EXPECT_STREQ(text, "line\n");
    EXPECT_EQ(table->ftell(file), 15);
    constexpr std::int64_t far = 5LL << 30;
    EXPECT_EQ(table->fseek64(file, far, SEEK_SET), 0);
    EXPECT_EQ(table->ftell64(file), far);
    EXPECT_LT(table->fseek64(file, -1, SEEK_SET), 0);
    EXPECT_EQ(table->fseek(file, -4, SEEK_END), 0);
    EXPECT_EQ(table->fread(text, 1, 16, file), 4U);
    EXPECT_EQ(std::string(text, 4), "rest");
    EXPECT_EQ(table->fclose(file), 0);
}

TEST(DefaultTable, ChangesDirectoriesAndTellsTheirRoom) {
    const TemporaryDirectory directory;
    IFileSystem* table = defaultTable();
    const std::string folder = directory.path("folder");
    const std::string moved = directory.path("moved");
    std::uint64_t callerFree = 1, total = 1, totalFree = 1;
    EXPECT_EQ(table->mkdir(folder.c_str()), 0);
    EXPECT_EQ(table->rename(folder.c_str(), moved.c_str()), 0);
    EXPECT_EQ(table->access(moved.c_str(), 0), 0);
    EXPECT_EQ(table->statfs(folder.c_str(), callerFree, total, totalFree), -1);
    EXPECT_EQ(callerFree + total + totalFree, 3U);
    EXPECT_EQ(table->statfs(moved.c_str(), callerFree, total, totalFree), 0);
    EXPECT_TRUE(callerFree <= totalFree && totalFree <= total && total > 1);
    EXPECT_EQ(table->rmdir(moved.c_str()), 0);
    EXPECT_NE(table->rmdir(moved.c_str()), 0);
}

TEST(DefaultTable, TellsWhatIsKnownOfAFile) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("file", "");
    constexpr std::int64_t size = 5LL << 30;
    ASSERT_EQ(::truncate(path.c_str(), size), 0);
    FileInfo info{};
    ASSERT_EQ(defaultTable()->stat(path.c_str(), info), 0);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(info.name, path);
    EXPECT_EQ(info.attrib, status.st_mode);
    EXPECT_EQ(info.size, static_cast<std::uint64_t>(size));
    EXPECT_EQ(info.timeWrite, status.st_mtime);
    EXPECT_EQ(info.timeAccess, status.st_atime);
    EXPECT_EQ(info.timeCreate, status.st_ctime);

    const FileInfo before = info;
    EXPECT_NE(defaultTable()->stat(directory.path("missing").c_str(), info), 0);
    EXPECT_EQ(std::memcmp(&before, &info, sizeof(info)), 0);

    std::string deep = directory.path();
    while (deep.size() < 300) deep += "/.";
    ASSERT_EQ(defaultTable()->stat(deep.c_str(), info), 0);
    EXPECT_EQ(info.name, deep.substr(0, 259));
}

TEST(DefaultTable, SearchLeavesTheRecordAloneOnFailure) {
    const TemporaryDirectory directory;
    directory.write("only", "");
    FileInfo info{};
    std::strcpy(info.name, "before");
    EXPECT_EQ(defaultTable()->findfirst(directory.path("none*").c_str(), info), -1);
    EXPECT_EQ(defaultTable()->findfirst(nullptr, info), -1);
    EXPECT_STREQ(info.name, "before");
    const long handle = defaultTable()->findfirst(directory.path("on*").c_str(), info);
    ASSERT_NE(handle, -1);
    EXPECT_EQ(defaultTable()->findnext(handle, info), -1);
    EXPECT_EQ(defaultTable()->findnext(-1, info), -1);
    EXPECT_STREQ(info.name, "only");
    EXPECT_EQ(defaultTable()->findclose(handle), 0);
    EXPECT_EQ(defaultTable()->findclose(-1), -1);
}

}  // namespace
