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

IFileSystem* const s_default = FileDefaultOpt::instance();

// Two tables that are only told apart by their addresses. No hook outlives its test.
class HookTable : public testing::Test {
protected:
    ~HookTable() override { EXPECT_EQ(fileSystemOf("/a/x"), s_default); }

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
    for (const char* path : {"", "/", "b", " /a"}) EXPECT_EQ(fileSystemOf(path), s_default) << path;
    EXPECT_EQ(fileSystemOf(nullptr), s_default);
    hookFileSystem("/a/", nullptr);  // no hook of exactly this prefix
    EXPECT_EQ(fileSystemOf("/a"), &m_first);
    hookFileSystem("/a", nullptr);
    EXPECT_EQ(fileSystemOf("/a"), &m_second);
    hookFileSystem("/a", &m_first);
    EXPECT_EQ(fileSystemOf("/a"), &m_first) << "the freed entry comes first again";
    for (const char* prefix : {"/a", "/a", "/a/video"}) hookFileSystem(prefix, nullptr);
}

TEST_F(HookTable, DropsTheThirtySecondHookAndTheEndOfALongPrefix) {
    const auto hookAll = [](IFileSystem* table) {
        for (int i = 0; i < 32; ++i)
            hookFileSystem(("/a/" + std::to_string(100 + i)).c_str(), table);
    };
    hookAll(&m_first);
    EXPECT_EQ(fileSystemOf("/a/130"), &m_first);
    EXPECT_EQ(fileSystemOf("/a/131"), s_default);
    hookAll(nullptr);
    EXPECT_EQ(fileSystemOf("/a/130"), s_default);

    const std::string kept(255, 'p');
    hookFileSystem((kept + "more").c_str(), &m_first);
    EXPECT_EQ(fileSystemOf(kept.c_str() + 1), s_default);
    EXPECT_EQ(fileSystemOf(kept.c_str()), &m_first);
    hookFileSystem(kept.c_str(), nullptr);
    EXPECT_EQ(fileSystemOf(kept.c_str()), s_default);
}

class DefaultTable : public testing::Test {
protected:
    IFileSystem& m_table = *s_default;
    const Tovra::Testing::TemporaryDirectory m_directory;
    const std::string m_file = m_directory.path("file");
    const char* const m_path = m_file.c_str();
    FileInfo m_info{};
};

TEST_F(DefaultTable, OpensAsTheModeSays) {
    constexpr int refused = -1, reads = O_RDONLY, writes = O_WRONLY, both = O_RDWR, adds = O_APPEND;
    constexpr struct {
        const char* mode;
        bool existed;
        int access;        // of the descriptor
        std::size_t size;  // afterwards
    } rows[] = {{"rb", false, refused, 0},      {"r+", false, refused, 0},
                {"rb", true, reads, 3},         {"r", true, reads, 3},
                {"rb+", true, both, 3},         {"wb", false, writes, 0},
                {"wb", true, writes, 0},        {"wb+", true, both, 0},
                {"ab", true, writes + adds, 3}, {"ab+", false, both + adds, 0},
                {"ab+", true, both + adds, 3},  {"rbe", true, reads, 3},
                {"erb", true, reads, 3},        {"wbd", true, writes, 0},
                {"rbed", true, reads, 3},       {"x", true, refused, 3}};
    for (const auto& row : rows) {
        SCOPED_TRACE(testing::Message() << row.mode << (row.existed ? " existing" : " new"));
        ::unlink(m_path);
        if (row.existed) m_directory.write("file", "abc");
        void* file = m_table.fopen(m_path, row.mode);
        ASSERT_EQ(file != nullptr, row.access != refused);
        if (file == nullptr) continue;
        const int descriptor = ::fileno(static_cast<std::FILE*>(file));
        EXPECT_EQ(::fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_APPEND), row.access);
        EXPECT_EQ(::fcntl(descriptor, F_GETFD) == FD_CLOEXEC,
                  std::strchr(row.mode, 'e') != nullptr);
        EXPECT_EQ(m_table.fclose(file), 0);
        EXPECT_EQ(m_directory.read("file").size(), row.size);
        ASSERT_EQ(m_table.stat(m_path, m_info), 0);
        EXPECT_TRUE(row.existed || (m_info.attrib & 0777) == 0600);
    }
}

TEST_F(DefaultTable, RefusesADirectoryAndANullPathAndWantsAMode) {
    for (const char* mode : {"rb", "wb", "rb+"}) {
        EXPECT_EQ(m_table.fopen(m_directory.path().c_str(), mode), nullptr);
        EXPECT_EQ(m_table.fopen(nullptr, mode), nullptr);
    }
    EXPECT_TRUE(m_table.stat(nullptr, m_info) != 0 && m_table.rename(nullptr, nullptr) != 0);
    EXPECT_DEATH(m_table.fopen("x", nullptr), R"(assertion \(mode != NULL\) failed)");
    EXPECT_DEATH(m_table.fopen("x", ""), R"(assertion \(len > 0\) failed)");
}

TEST_F(DefaultTable, BuffersSixteenKilobytesAndSeeksBeyondFourGigabytes) {
    void* file = m_table.fopen(m_path, "wb+");
    ASSERT_NE(file, nullptr);
    for (int i = 0; i < 16384; ++i) m_table.fputs("x", file);
    EXPECT_EQ(m_directory.read("file").size(), 0U) << "the buffer still holds them all";
    EXPECT_GE(m_table.fputs("x", file), 0);
    EXPECT_EQ(m_directory.read("file").size(), 16384U);
    EXPECT_EQ(m_table.fseek(file, 0, SEEK_SET), 0);
    EXPECT_EQ(m_table.fwrite("0123456789line\n", 1, 15, file), 15U);
    EXPECT_EQ(m_table.fflush(file), 0);
    EXPECT_EQ(m_directory.read("file"), "0123456789line\n" + std::string(16370, 'x'));
    EXPECT_EQ(m_table.fseek(file, 10, SEEK_SET), 0);
    char text[16] = {};
    EXPECT_STREQ(m_table.fgets(text, sizeof(text), file), "line\n");
    EXPECT_EQ(m_table.ftell(file), 15);
    constexpr std::int64_t far = 5LL << 30;
    EXPECT_TRUE(m_table.fseek64(file, far, SEEK_SET) == 0 && m_table.ftell64(file) == far);
    EXPECT_LT(m_table.fseek64(file, -1, SEEK_SET), 0);
    EXPECT_EQ(m_table.fseek(file, -4, SEEK_END), 0);
    EXPECT_EQ(m_table.fread(text, 1, 16, file), 4U);
    EXPECT_EQ(std::string(text, 4), "xxxx");
    EXPECT_TRUE(m_table.writev(0, nullptr, 0) == -1 &&
                m_table.IFileSystem::writev(0, nullptr, 0) == 0);
    EXPECT_EQ(m_table.IFileSystem::fseek64(file, 0, SEEK_SET), -1);
    EXPECT_EQ(m_table.IFileSystem::ftell64(file), -1);
    EXPECT_EQ(m_table.fclose(file), 0);
}

TEST_F(DefaultTable, TellsWhatIsKnownOfAFileAndLeavesTheRecordAloneOnFailure) {
    EXPECT_EQ(m_table.rename(m_directory.write("old", "").c_str(), m_path), 0);
    ASSERT_EQ(::truncate(m_path, 5LL << 30), 0);
    const timespec times[] = {{11, 0}, {22, 0}};
    ASSERT_EQ(::utimensat(AT_FDCWD, m_path, times, 0), 0);
    struct stat status {};
    ASSERT_EQ(::stat(m_path, &status), 0);
    ASSERT_EQ(m_table.stat(m_path, m_info), 0);
    EXPECT_TRUE(m_info.name == m_file && m_info.attrib == status.st_mode);
    EXPECT_EQ(m_info.size, 5ULL << 30);
    EXPECT_TRUE(m_info.timeAccess == 11 && m_info.timeWrite == 22);
    EXPECT_EQ(m_info.timeCreate, status.st_ctime);
    std::uint64_t callerFree = 1, total = 1, totalFree = 1;
    EXPECT_EQ(m_table.statfs("/none/such", callerFree, total, totalFree), -1);
    EXPECT_EQ(callerFree + total + totalFree, 3U);
    EXPECT_EQ(m_table.statfs(m_path, callerFree, total, totalFree), 0);
    EXPECT_TRUE(callerFree <= totalFree && totalFree <= total && total > 1);

    const FileInfo before = m_info;
    EXPECT_NE(m_table.stat(m_directory.path("missing").c_str(), m_info), 0);
    EXPECT_EQ(m_table.findfirst(m_directory.path("none*").c_str(), m_info), -1);
    EXPECT_EQ(m_table.findfirst(nullptr, m_info), -1);
    EXPECT_EQ(std::memcmp(&before, &m_info, sizeof(m_info)), 0);
    const long handle = m_table.findfirst((m_file + "*").c_str(), m_info);
    ASSERT_NE(handle, -1);
    EXPECT_TRUE(m_table.findnext(handle, m_info) == -1 && m_table.findnext(-1, m_info) == -1);
    EXPECT_STREQ(m_info.name, "file");
    EXPECT_TRUE(m_table.findclose(handle) == 0 && m_table.findclose(-1) == -1);

    std::string deep = m_directory.path();
    while (deep.size() < 300) deep += "/.";
    ASSERT_EQ(m_table.stat(deep.c_str(), m_info), 0);
    EXPECT_EQ(m_info.name, deep.substr(0, 259));
}

}  // namespace
