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
using Tovra::Testing::TemporaryDirectory;

IFileSystem* defaultTable() { return FileDefaultOpt::instance(); }

// Tables that are only told apart by their addresses.
using OtherTable = FileDefaultOpt;

/// Hooks for one test, removed at its end.
class Hooked {
public:
    Hooked(std::string prefix, IFileSystem* table) : m_prefix(std::move(prefix)) {
        hookFileSystem(m_prefix.c_str(), table);
    }
    ~Hooked() { hookFileSystem(m_prefix.substr(0, 255).c_str(), nullptr); }
    Hooked(const Hooked&) = delete;
    Hooked& operator=(const Hooked&) = delete;

private:
    std::string m_prefix;
};

TEST(HookTable, GivesEveryUnclaimedPathToTheDefaultTable) {
    OtherTable table;
    hookFileSystem(nullptr, &table);
    hookFileSystem("", &table);
    for (const char* path : {"", "/", "a", "/mnt/x"}) {
        EXPECT_EQ(Detail::fileSystemOf(path), defaultTable());
    }
}

TEST(HookTable, ComparesCharactersInTheOrderOfHooking) {
    OtherTable first;
    OtherTable second;
    const Hooked shortPrefix("/data", &first);
    const Hooked longPrefix("/data/video", &second);
    struct Case {
        const char* path;
        IFileSystem* table;
    };
    const Case cases[] = {{"/data", &first},
                          {"/data/video/1", &first},
                          {"/database", &first},
                          {"/dat", defaultTable()},
                          {" /data", defaultTable()}};
    for (const auto& [path, table] : cases) {
        SCOPED_TRACE(path);
        EXPECT_EQ(Detail::fileSystemOf(path), table);
    }
}

TEST(HookTable, FreesAnEntryForReuse) {
    OtherTable first;
    OtherTable second;
    {
        const Hooked a("/a", &first);
        const Hooked again("/a", &second);
        EXPECT_EQ(Detail::fileSystemOf("/a"), &first);
        hookFileSystem("/a/", nullptr);  // no hook of exactly this prefix
        EXPECT_EQ(Detail::fileSystemOf("/a"), &first);
        hookFileSystem("/a", nullptr);
        EXPECT_EQ(Detail::fileSystemOf("/a"), &second);
        const Hooked third("/a", &first);
        EXPECT_EQ(Detail::fileSystemOf("/a"), &first) << "the freed entry comes first again";
        hookFileSystem("/a", nullptr);
    }
    EXPECT_EQ(Detail::fileSystemOf("/a"), defaultTable());
}

TEST(HookTable, DropsTheThirtySecondHook) {
    OtherTable table;
    for (int i = 0; i < 32; ++i)
        hookFileSystem(("/hook" + std::to_string(i) + "/").c_str(), &table);
    EXPECT_EQ(Detail::fileSystemOf("/hook30/x"), &table);
    EXPECT_EQ(Detail::fileSystemOf("/hook31/x"), defaultTable());
    for (int i = 0; i < 32; ++i)
        hookFileSystem(("/hook" + std::to_string(i) + "/").c_str(), nullptr);
    EXPECT_EQ(Detail::fileSystemOf("/hook0/x"), defaultTable());
}

TEST(HookTable, KeepsTwoHundredFiftyFiveCharactersOfAPrefix) {
    OtherTable table;
    const std::string prefix(300, 'p');
    const Hooked hooked(prefix, &table);
    EXPECT_EQ(Detail::fileSystemOf(std::string(254, 'p').c_str()), defaultTable());
    EXPECT_EQ(Detail::fileSystemOf(std::string(255, 'p').c_str()), &table);
}

TEST(FileSystem, LeavesTheLastThreeOperationsToATableThatWantsThem) {
    IFileSystem* table = defaultTable();
    EXPECT_EQ(table->IFileSystem::writev(0, nullptr, 0), 0);
    EXPECT_EQ(table->IFileSystem::fseek64(nullptr, 0, SEEK_SET), -1);
    EXPECT_EQ(table->IFileSystem::ftell64(nullptr), -1);
    EXPECT_EQ(defaultTable()->writev(0, nullptr, 0), -1);
}

TEST(DefaultTable, OpensAsTheModeSays) {
    struct Case {
        const char* mode;
        bool existed;
        bool opens;
        int access;  // of the descriptor, with its append flag
        std::size_t sizeAfter;
    };
    constexpr Case cases[] = {
        {"rb", false, false, 0, 0},
        {"rb", true, true, O_RDONLY, 3},
        {"r", true, true, O_RDONLY, 3},
        {"rb+", true, true, O_RDWR, 3},
        {"r+", false, false, 0, 0},
        {"wb", false, true, O_WRONLY, 0},
        {"wb", true, true, O_WRONLY, 0},
        {"wb+", true, true, O_RDWR, 0},
        {"ab", true, true, O_WRONLY | O_APPEND, 3},
        {"ab+", false, true, O_RDWR | O_APPEND, 0},
        {"ab+", true, true, O_RDWR | O_APPEND, 3},
        {"rbe", true, true, O_RDONLY, 3},
        {"erb", true, true, O_RDONLY, 3},
        {"wbd", true, true, O_WRONLY, 0},
        {"rbed", true, true, O_RDONLY, 3},
        {"x", true, false, 0, 3},
    };
    for (const Case& one : cases) {
        SCOPED_TRACE(testing::Message() << one.mode << (one.existed ? " existing" : " new"));
        const TemporaryDirectory directory;
        const std::string path = directory.path("file");
        if (one.existed) directory.write("file", "abc");
        void* file = defaultTable()->fopen(path.c_str(), one.mode);
        ASSERT_EQ(file != nullptr, one.opens);
        if (file == nullptr) continue;
        const int descriptor = ::fileno(static_cast<std::FILE*>(file));
        EXPECT_EQ(::fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_APPEND), one.access);
        const bool inherits = (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0;
        EXPECT_EQ(inherits, std::strchr(one.mode, 'e') == nullptr);
        EXPECT_EQ(defaultTable()->fclose(file), 0);
        EXPECT_EQ(directory.read("file").size(), one.sizeAfter);
        struct stat status {};
        ASSERT_EQ(::stat(path.c_str(), &status), 0);
        if (one.existed) continue;
        EXPECT_EQ(status.st_mode & 0777, 0600U);
    }
}

TEST(DefaultTable, RefusesADirectoryAndANullPath) {
    const TemporaryDirectory directory;
    for (const char* mode : {"rb", "wb", "rb+"}) {
        EXPECT_EQ(defaultTable()->fopen(directory.path().c_str(), mode), nullptr);
        EXPECT_EQ(defaultTable()->fopen(nullptr, mode), nullptr);
    }
    OtherTable table;
    const Hooked hooked("/some", &table);
    EXPECT_EQ(Detail::fileSystemOf(nullptr), defaultTable());
    FileInfo info{};
    EXPECT_NE(defaultTable()->stat(nullptr, info), 0);
    EXPECT_NE(defaultTable()->rename(nullptr, nullptr), 0);
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

TEST(DefaultTable, WantsAMode) {
    EXPECT_DEATH(defaultTable()->fopen("x", nullptr), R"(assertion \(mode != NULL\) failed)");
    EXPECT_DEATH(defaultTable()->fopen("x", ""), R"(assertion \(len > 0\) failed)");
}

TEST(DefaultTable, ReadsWritesAndSeeks) {
    const TemporaryDirectory directory;
    IFileSystem* table = defaultTable();
    void* file = table->fopen(directory.path("file").c_str(), "wb+");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(table->fwrite("0123456789", 1, 10, file), 10U);
    EXPECT_GE(table->fputs("line\nrest", file), 0);
    EXPECT_EQ(table->fflush(file), 0);
    EXPECT_EQ(table->ftell(file), 19);
    EXPECT_EQ(table->fseek(file, 10, SEEK_SET), 0);
    char text[16] = {};
    EXPECT_EQ(table->fgets(text, sizeof(text), file), text);
    EXPECT_STREQ(text, "line\n");
    constexpr std::int64_t far = 5LL << 30;
    EXPECT_EQ(table->fseek64(file, far, SEEK_SET), 0);
    EXPECT_EQ(table->ftell64(file), far);
    EXPECT_LT(table->fseek64(file, -1, SEEK_SET), 0);
    EXPECT_EQ(table->fseek(file, -4, SEEK_END), 0);
    EXPECT_EQ(table->fread(text, 1, 16, file), 4U);
    EXPECT_EQ(std::string(text, 4), "rest");
    EXPECT_EQ(table->fclose(file), 0);
}

TEST(DefaultTable, ChangesDirectoriesAndNames) {
    const TemporaryDirectory directory;
    IFileSystem* table = defaultTable();
    const std::string folder = directory.path("folder");
    const std::string moved = directory.path("moved");
    std::uint64_t callerFree = 0;
    std::uint64_t total = 0;
    std::uint64_t totalFree = 0;
    EXPECT_EQ(table->mkdir(folder.c_str()), 0);
    EXPECT_EQ(table->rename(folder.c_str(), moved.c_str()), 0);
    EXPECT_EQ(table->access(moved.c_str(), 0), 0);
    EXPECT_EQ(table->statfs(moved.c_str(), callerFree, total, totalFree), 0);
    EXPECT_GT(total, 0U);
    EXPECT_EQ(table->rmdir(moved.c_str()), 0);
    EXPECT_NE(table->rmdir(moved.c_str()), 0);
    EXPECT_EQ(table->statfs(moved.c_str(), callerFree, total, totalFree), -1);
}

TEST(DefaultTable, TellsWhatIsKnownOfAFile) {
    const TemporaryDirectory directory;
    const std::string path = directory.write("file", "12345");
    FileInfo info{};
    ASSERT_EQ(defaultTable()->stat(path.c_str(), info), 0);
    struct stat status {};
    ASSERT_EQ(::stat(path.c_str(), &status), 0);
    EXPECT_EQ(info.name, path);
    EXPECT_EQ(info.attrib, status.st_mode);
    EXPECT_EQ(info.size, 5U);
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
    EXPECT_STREQ(info.name, "only");
    EXPECT_EQ(defaultTable()->findnext(handle, info), -1);
    EXPECT_STREQ(info.name, "only");
    EXPECT_EQ(defaultTable()->findclose(handle), 0);
    EXPECT_EQ(defaultTable()->findnext(-1, info), -1);
    EXPECT_EQ(defaultTable()->findclose(-1), -1);
}

}  // namespace
