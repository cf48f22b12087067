#include "vesko/vesko3/file.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "support/capture.h"
#include "support/temporarydirectory.h"
#include "vesko/vesko3/lfsfile.h"

namespace {

using namespace Tovra::Vesko;
using Tovra::Testing::printed;
using Sizes = std::vector<std::size_t>;

// What an action writes to the log, behind the prefix that tells where.
std::string logged(int level, auto action) {
    const std::string text = printed(level, action);
    const std::size_t id = text.find(" tid:");
    return id == std::string::npos ? text : text.substr(text.find(", ", id) + 2);
}

// The default table, which notes modes and sizes, and can be told to fail or to do nothing.
class Table : public FileDefaultOpt {
public:
    Table() { hookFileSystem("/", this); }
    ~Table() override { hookFileSystem("/", nullptr); }

    void* fopen(const char* path, const char* openMode) override {
        return FileDefaultOpt::fopen(path, (mode = openMode).c_str());
    }
    std::size_t fread(void* buffer, std::size_t size, std::size_t count, void* file) override {
        sizes.push_back(count);
        return isDead ? 0 : answers ? count : FileDefaultOpt::fread(buffer, size, count, file);
    }
    std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count,
                       void* file) override {
        sizes.push_back(count);
        return isDead ? 0 : answers ? count : FileDefaultOpt::fwrite(buffer, size, count, file);
    }
    int fseek(void* file, long offset, int whence) override {
        return fseek64(file, offset, whence);
    }
    int fseek64(void* file, std::int64_t offset, int whence) override {
        return isDead ? -1 : FileDefaultOpt::fseek64(file, offset, whence);
    }
    long writev(int fd, const io_vec* vector, int count) override {
        return fd >= 0 ? static_cast<long>(vector[0].length) * count : -1;
    }

    std::string mode;
    Sizes sizes;  // of what was read and written
    bool isDead = false;
    bool answers = false;  // says that all went well, and does nothing
};

template <class File>
class Files : public testing::Test {
protected:
    static constexpr bool isLarge = std::is_same_v<File, CLfsFile>;
    const std::string kind = isLarge ? "CLfsFile" : "CFile";
    const Tovra::Testing::TemporaryDirectory directory;
    const std::string name = directory.path("file");
    const char* const path = name.c_str();
    Table table;
    File file;
    char buffer[128] = {};
};
using Kinds = testing::Types<CFile, CLfsFile>;
TYPED_TEST_SUITE(Files, Kinds);

TYPED_TEST(Files, OpenInTheModeThatTheFlagsTell) {
    EXPECT_FALSE(this->file.open(this->path, TypeParam::accessReadWrite)) << "there is none yet";
    const std::tuple<unsigned int, std::string, unsigned int> rows[] = {
        {0, "rb", 5},       {1, "wb", 0},       {0x2001, "ab", 5},   {0x2002, "rb+", 5},
        {0x1002, "wb+", 0}, {0x3002, "ab+", 5}, {0x10080, "rbed", 5}};
    for (auto [flags, mode, length] : rows) {
        if (this->isLarge) std::erase(mode, 'd');
        this->directory.write("file", "12345");
        EXPECT_TRUE(this->file.open(this->path, flags));
        EXPECT_EQ(this->table.mode, mode);
        EXPECT_EQ(this->file.getLength(), length) << mode;
    }
    const std::string told = logged(2, [&] { EXPECT_FALSE(this->file.open(this->path, 3)); });
    EXPECT_EQ(told, this->kind + "::open(): dwFlags(3) is invalid\n");
}

TYPED_TEST(Files, AnswerAsToldWhileClosed) {
    TypeParam& f = this->file;
    EXPECT_TRUE(f.read(this->buffer, 1) == -1 && f.write(this->buffer, 1) == -1);
    EXPECT_TRUE(f.gets(this->buffer, 10) == nullptr && f.puts("x") == 0);
    EXPECT_TRUE(f.seek(1, f.seekBegin) == 0 && f.getPosition() == 0 && f.getLength() == 0);
    EXPECT_EQ(printed(3, [&] { EXPECT_FALSE(f.setvbuf(nullptr, f.modeNone, 0)); }),
              "CFile::setvbuf failed, file has not been opened!\n");
}

TYPED_TEST(Files, KeepTheirOwnPositionAndLength) {
    TypeParam& f = this->file;
    const auto isAt = [&f](unsigned int position, unsigned int length) {
        return f.getPosition() == position && f.getLength() == length;
    };
    ASSERT_TRUE(f.open(this->path, 0x1002));
    char text[] = "line one\nline two\n";
    EXPECT_TRUE(f.write(text, 18) == 18 && isAt(18, 18));
    EXPECT_TRUE(f.seek(0, f.seekEnd) == 18 && f.seek(-13, f.seekCurrent) == 5);
    EXPECT_STREQ(f.gets(this->buffer, 64), "one\n");
    this->table.isDead = true;
    EXPECT_TRUE(f.seek(9, f.seekBegin) == 9 && f.seek(0, f.seekCurrent) == 9) << "already there";
    EXPECT_TRUE(f.seek(2, f.seekBegin) == 0 && isAt(9, 18));
    this->table.isDead = false;
    EXPECT_TRUE(f.seek(16, f.seekBegin) == 16 && f.puts("wide\n") >= 0 && isAt(21, 21));
    io_vec pieces[] = {{text, 4}, {text, 4}};
    EXPECT_TRUE(f.writev(pieces, 2) == 8 && isAt(29, 29));
    f.flush();  // the stream knows of none of that, and a length never shrinks
    EXPECT_TRUE(isAt(21, 29));
    f.close();
    EXPECT_EQ(this->directory.read("file"), "line one\nline twwide\n");
}

TYPED_TEST(Files, KeepWhatWasWrittenWhenTheyAreReadNext) {
    TypeParam& f = this->file;
    const std::string rest(20'000, '.');
    this->directory.write("file", "abc" + rest);
    ASSERT_TRUE(f.open(this->path, TypeParam::accessReadWrite));
    char text[] = "XYZ";
    EXPECT_EQ(f.write(text, 3), 3);
    EXPECT_EQ(f.seek(3, f.seekBegin), 3);
    std::string got(rest.size(), ' ');
    EXPECT_EQ(f.read(got.data(), 20'000), 20'000);
    EXPECT_EQ(got, rest);
    constexpr std::int64_t far = 0x1'0000'0005;
    EXPECT_EQ(f.seek(far, f.seekBegin), this->isLarge ? far : 0);
    f.close();
    EXPECT_EQ(this->directory.read("file"), "XYZ" + rest);
}

TYPED_TEST(Files, ReportWhatTheyCouldNotReadOrWrite) {
    this->directory.write("file", std::string(60, 'x'));
    ASSERT_TRUE(this->file.open(this->path, 2));
    EXPECT_EQ(logged(3, [&] { EXPECT_EQ(this->file.read(this->buffer, 100), 60); }),
              this->isLarge ? "fread get error,total 100 has read 60,expected 40 return 0\n" : "");
    this->table.isDead = true;
    errno = ENOSPC;
    EXPECT_EQ(logged(3, [&] { EXPECT_EQ(this->file.write(this->buffer, 7), 0); }),
              this->isLarge ? "fwrite get error,total 7 has write 0,expected 7 return 0"
                            : "fwrite failed, expected:7, actual:0,errno=28, "
                              "errmsg:No space left on device\n");
}

TYPED_TEST(Files, LoadWholeFiles) {
    TypeParam& f = this->file;
    this->directory.write("file", "");
    EXPECT_TRUE(f.load(this->path) == nullptr && f.isOpen());
    this->directory.write("file", "content");
    const unsigned char* bytes = f.load(this->path);
    ASSERT_TRUE(bytes != nullptr && std::memcmp(bytes, "content", 7) == 0);
    EXPECT_EQ(f.load("anything"), bytes);
    f.unload();
    this->table.isDead = true;
    const auto text = logged(3, [&] { EXPECT_FALSE(f.load(this->path) || f.isOpen()); });
    const std::string told = "::load(): filename(" + this->name + "), length(7), ret(0), ";
    EXPECT_NE(text.find(this->kind + told), std::string::npos) << text;
}

TYPED_TEST(Files, WorkOnPaths) {
    FileInfo info{};
    EXPECT_TRUE(TypeParam::makeDirectory(this->path) && TypeParam::stat(this->path, info));
    EXPECT_TRUE(TypeParam::rename(this->path, (this->name + "2").c_str()));
    EXPECT_FALSE(TypeParam::access(this->path, 0) || TypeParam::remove(this->path));
}

using LargeFiles = Files<CLfsFile>;

TEST_F(LargeFiles, GoBeyondFourGigabytesInPiecesOfLessThanTwo) {
    const std::int64_t far = (std::int64_t{5} << 30) + 1;
    ASSERT_TRUE(file.open(path, 0x1002));
    EXPECT_EQ(file.seek(far, CLfsFile::seekBegin), far);
    EXPECT_TRUE(file.write(buffer, 1) == 1 && file.getLength() == far + 1);
    EXPECT_EQ(logged(3, [&] { EXPECT_EQ(file.load(path), nullptr); }),
              "CLfsFile::load(): filename(" + name + "), length(5368709122) is too large\n");
    EXPECT_TRUE(file.open(path, 0));
    EXPECT_EQ(logged(3, [&] { EXPECT_EQ(file.gets(buffer, 0x80000000), nullptr); }),
              "Bytes need to be seeked has been over the _MAX_INT_VALUE.\n");
    EXPECT_TRUE(file.read(buffer, -1) == -1 && file.write(buffer, -1) == -1);
    table.sizes.clear();
    table.answers = true;
    const std::int64_t size = 0x80000005;
    EXPECT_TRUE(file.read(buffer, size) == size && file.write(buffer, size) == size);
    EXPECT_EQ(table.sizes, (Sizes{0x7FFFFFFF, 6, 0x7FFFFFFF, 6}));
}

TEST(FileTrees, AreMadeAndRemovedWhole) {
    const Tovra::Testing::TemporaryDirectory directory;
    namespace fs = std::filesystem;
    const std::string top = directory.path("a");
    const std::string deep = top + "/b/c/";
    directory.write("kept", "kept");
    for (const char* form : {"", "/", "/*"}) {
        EXPECT_TRUE(CFile::makeDirectoryRecursively(deep.c_str()) && fs::is_directory(deep));
        directory.write("a/file", "x");
        fs::create_symlink(directory.path(), deep + "link");  // it must not be followed
        fs::create_directories(top + "/*/*");                 // names, not patterns
        EXPECT_TRUE(CFile::removeDirectoryRecursively((top + form).c_str(), false)) << form;
        EXPECT_TRUE(fs::is_empty(top) && fs::exists(directory.path("kept")));
    }
    EXPECT_TRUE(CFile::removeDirectoryRecursively(top.c_str(), true) && !fs::exists(top));
    const auto refused = [](const char* text) {
        return logged(3, [&] { EXPECT_FALSE(CFile::removeDirectoryRecursively(text, true)); });
    };
    EXPECT_EQ(refused(top.c_str()), "the path " + top + "/* does not exist");
    EXPECT_EQ(refused("") + refused(nullptr), "the path is unvalidthe path is unvalid");
    // Cut to the 1023 characters that there is room for, this would name the file "kept".
    std::string beyond = directory.path();
    beyond.append(1019 - beyond.size(), '/').append("kept/more");
    EXPECT_NE(refused(beyond.c_str()), "");
    EXPECT_TRUE(fs::exists(directory.path("kept")));
}

}  // namespace
