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

// No hook outlives its test.
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
    // The mode, whether the file existed, the access of its descriptor, and its size afterwards.
    constexpr std::tuple<const char*, bool, int, std::size_t> rows[] = {
        {"r+", false, refused, 0}, {"rb+", true, both, 3},         {"wb", true, writes, 0},
        {"wb+", true, both, 0},    {"ab", true, writes + adds, 3}, {"ab+", false, both + adds, 0},
        {"erb", true, reads, 3},   {"rbed", true, reads, 3},       {"x", true, refused, 3}};
    for (const auto& [mode, existed, access, size] : rows) {
        SCOPED_TRACE(testing::Message() << mode << (existed ? " existing" : " new"));
        ::unlink(m_path);
        if (existed) m_directory.write("file", "abc");
        void* file = m_table.fopen(m_path, mode);
        ASSERT_EQ(file != nullptr, access != refused);
        if (file == nullptr) continue;
        const int descriptor = ::fileno(static_cast<std::FILE*>(file));
        EXPECT_EQ(::fcntl(descriptor, F_GETFL) & (O_ACCMODE | O_APPEND), access);
        EXPECT_EQ(::fcntl(descriptor, F_GETFD) == FD_CLOEXEC, std::strchr(mode, 'e') != nullptr);
        EXPECT_EQ(m_table.fclose(file), 0);
        EXPECT_EQ(m_directory.read("file").size(), size);
        ASSERT_EQ(m_table.stat(m_path, m_info), 0);
        EXPECT_TRUE(existed || (m_info.attrib & 0777) == 0600);
    }
}

TEST_F(DefaultTable, RefusesADirectoryAndANullPathAndWantsAMode) {
    EXPECT_EQ(m_table.fopen(m_directory.path().c_str(), "rb+"), nullptr);
    EXPECT_EQ(m_table.fopen(nullptr, "wb"), nullptr);
    EXPECT_DEATH(m_table.fopen("x", nullptr), R"(assertion \(mode != NULL\) failed)");
    EXPECT_DEATH(m_table.fopen("x", ""), R"(assertion \(len > 0\) failed)");
}

TEST_F(DefaultTable, BuffersSixteenKilobytes) {
    void* file = m_table.fopen(m_path, "wb+");
    ASSERT_NE(file, nullptr);
    for (int i = 0; i < 16384; ++i) m_table.fputs("x", file);
    EXPECT_EQ(m_directory.read("file").size(), 0U) << "the buffer still holds them all";
    EXPECT_GE(m_table.fputs("x", file), 0);
    EXPECT_EQ(m_directory.read("file").size(), 16384U);
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
    EXPECT_EQ(m_table.statfs(m_path, callerFree, total, totalFree), 0);
    EXPECT_TRUE(callerFree <= totalFree && totalFree <= total && total > 1);

    const FileInfo before = m_info;
    EXPECT_NE(m_table.stat(m_directory.path("missing").c_str(), m_info), 0);
    EXPECT_EQ(m_table.findfirst(nullptr, m_info), -1);
    EXPECT_TRUE(m_table.findnext(-1, m_info) == -1 && m_table.findclose(-1) == -1);
    EXPECT_EQ(std::memcmp(&before, &m_info, sizeof(m_info)), 0);
    std::string deep = m_directory.path();
    while (deep.size() < 300) deep += "/.";
    ASSERT_EQ(m_table.stat(deep.c_str(), m_info), 0);
    EXPECT_EQ(m_info.name, deep.substr(0, 259));
}

}  // namespace
