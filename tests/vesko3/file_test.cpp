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

// The default table, which counts calls and notes modes, and can be told to fail or to be short.
class Table : public FileDefaultOpt {
public:
    Table() { hookFileSystem("hook:", this); }
    ~Table() override { hookFileSystem("hook:", nullptr); }

    void* fopen(const char* path, const char* openMode) override {
        return FileDefaultOpt::fopen(real(path), (mode = openMode).c_str());
    }
    int stat(const char* path, FileInfo& info) override {
        ++stats;
        return FileDefaultOpt::stat(real(path), info);
    }
    std::size_t fread(void* buffer, std::size_t size, std::size_t count, void* file) override {
        sizes.push_back(count);
        if (isDead || answers) return isDead ? 0 : count;
        return FileDefaultOpt::fread(buffer, size, count, file);
    }
    std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count,
                       void* file) override {
        sizes.push_back(count);
        if (isDead || answers) return isDead ? 0 : count;
        return FileDefaultOpt::fwrite(buffer, size, count, file);
    }
    int fseek(void* file, long offset, int whence) override {
        return fseek64(file, offset, whence);
    }
    int fseek64(void* file, std::int64_t offset, int whence) override {
        ++seeks;
        return isDead ? -1 : FileDefaultOpt::fseek64(file, offset, whence);
    }
    long writev(int fd, const io_vec* vector, int count) override {
        return fd >= 0 ? static_cast<long>(vector[0].length) * count : -1;
    }
    int rename(const char*, const char* newName) override { return std::strcmp(newName, "new"); }

    static const char* real(const char* path) { return path + std::strlen("hook:"); }

    std::string mode;
    Sizes sizes;  // of what was read and written
    int stats = 0, seeks = 0;
    bool isDead = false;
    bool answers = false;  // says that all went well, and does nothing
};

template <class File>
class Files : public testing::Test {
protected:
    static constexpr bool isLarge = std::is_same_v<File, CLfsFile>;
    const std::string kind = isLarge ? "CLfsFile" : "CFile";
    const Tovra::Testing::TemporaryDirectory directory;
    const std::string name = "hook:" + directory.path("file");
    const char* const path = name.c_str();
    Table table;
    File file;
    char buffer[128] = {};
};
using Kinds = testing::Types<CFile, CLfsFile>;
TYPED_TEST_SUITE(Files, Kinds);

TYPED_TEST(Files, OpenInTheModeThatTheFlagsTell) {
    EXPECT_FALSE(this->file.open(this->path, TypeParam::accessReadWrite)) << "there is none yet";
    const struct {
        unsigned int flags;
        const char* mode;
        int stats;
        unsigned int length;
    } rows[] = {{0, "rb", 1, 5},        {0x2000, "rb", 1, 5},   {1, "wb", 1, 0},
                {0x2001, "ab", 1, 5},   {2, "rb+", 1, 5},       {0x2002, "rb+", 1, 5},
                {0x1002, "wb+", 0, 0},  {0x3002, "ab+", 1, 5},  {0x80, "rbe", 1, 5},
                {0x10000, "rbd", 1, 5}, {0x10080, "rbed", 1, 5}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.mode);
        std::string mode = row.mode;
        if (this->isLarge) std::erase(mode, 'd');
        this->directory.write("file", "12345");
        this->table.stats = 0;
        EXPECT_TRUE(this->file.open(this->path, row.flags));
        EXPECT_EQ(this->table.mode, mode);
        EXPECT_TRUE(this->table.stats == row.stats && this->file.getLength() == row.length);
    }
    const std::string told = logged(2, [&] { EXPECT_FALSE(this->file.open(this->path, 3)); });
    EXPECT_EQ(told, this->kind + "::open(): dwFlags(3) is invalid\n");
    EXPECT_FALSE(this->file.isOpen());
}

TYPED_TEST(Files, AnswerAsToldWhileClosed) {
    TypeParam& f = this->file;
    io_vec piece{this->buffer, 1};
    EXPECT_TRUE(f.read(this->buffer, 1) == -1 && f.write(this->buffer, 1) == -1);
    EXPECT_TRUE(f.gets(this->buffer, 10) == nullptr && f.puts("x") == 0);
    EXPECT_TRUE(f.seek(1, f.seekBegin) == 0 && f.getPosition() == 0 && f.getLength() == 0);
    EXPECT_TRUE(f.writev(&piece, 1) == -1 && !f.isOpen());
    EXPECT_EQ(printed(3, [&] { EXPECT_FALSE(f.setvbuf(nullptr, f.modeNone, 0)); }),
              "CFile::setvbuf failed, file has not been opened!\n");
    f.flush();
    f.close();
    f.unload();
}

TYPED_TEST(Files, KeepTheirOwnPositionAndLength) {
    TypeParam& f = this->file;
    const auto isAt = [&f](unsigned int position, unsigned int length) {
        return f.getPosition() == position && f.getLength() == length;
    };
    ASSERT_TRUE(f.open(this->path, 0x1002));
    EXPECT_TRUE(f.setvbuf(nullptr, f.modeFull, 4096));
    char text[] = "line one\nline two\n";
    EXPECT_TRUE(f.write(text, 18) == 18 && isAt(18, 18));
    this->table.seeks = 0;
    EXPECT_TRUE(f.seek(18, f.seekBegin) == 18 && f.seek(0, f.seekCurrent) == 18);
    EXPECT_EQ(this->table.seeks, 0) << "it is there already";
    EXPECT_TRUE(f.seek(0, f.seekEnd) == 18 && this->table.seeks == 1);
    EXPECT_EQ(f.seek(-13, f.seekCurrent), 5);
    EXPECT_STREQ(f.gets(this->buffer, 64), "one\n");
    EXPECT_STREQ(f.gets(this->buffer, 5), "line");
    this->table.isDead = true;
    EXPECT_TRUE(f.seek(2, f.seekBegin) == 0 && isAt(13, 18));
    this->table.isDead = false;
    EXPECT_EQ(f.seek(16, f.seekBegin), 16);
    EXPECT_TRUE(f.puts("wide\n") >= 0 && isAt(21, 21));
    io_vec pieces[] = {{text, 4}, {text, 4}};
    EXPECT_TRUE(f.writev(pieces, 2) == 8 && isAt(29, 29));
    f.flush();  // the stream knows of none of that
    EXPECT_TRUE(isAt(21, 29)) << "and a length never shrinks";
    f.close();
    EXPECT_EQ(this->directory.read("file"), "line one\nline twwide\n");
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
    EXPECT_EQ(f.load(this->path), nullptr) << "there is none";
    this->directory.write("file", "");
    EXPECT_TRUE(f.load(this->path) == nullptr && f.isOpen());
    this->directory.write("file", "content");
    const unsigned char* bytes = f.load(this->path);
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::memcmp(bytes, "content", 7), 0);
    EXPECT_EQ(f.load("anything"), bytes);
    EXPECT_EQ(this->table.sizes, Sizes{7});
    f.unload();
    EXPECT_FALSE(f.isOpen());
    this->table.isDead = true;
    const std::string text = printed(3, [&] { EXPECT_EQ(f.load(this->path), nullptr); });
    const std::string told =
        this->kind + "::load(): filename(" + this->name + "), length(7), ret(0), ";
    EXPECT_NE(text.find(told), std::string::npos) << text;
    EXPECT_FALSE(f.isOpen());
}

TYPED_TEST(Files, WorkOnPathsThroughTheTableOfTheFirst) {
    EXPECT_TRUE(TypeParam::rename(this->path, "new"));
    const char* const made = this->table.real(this->path);
    EXPECT_TRUE(TypeParam::makeDirectory(made) && !TypeParam::makeDirectory(made));
    FileInfo info{};
    EXPECT_TRUE(TypeParam::access(made, 0) && TypeParam::stat(made, info));
    std::uint64_t callerFree = 0, total = 0, totalFree = 0;
    EXPECT_TRUE(TypeParam::statFS(made, callerFree, total, totalFree) && callerFree <= total);
    EXPECT_TRUE(TypeParam::removeDirectory(made) && !TypeParam::remove(made));
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

using SmallFiles = Files<CFile>;

TEST_F(SmallFiles, MakeAndRemoveWholeTrees) {
    namespace fs = std::filesystem;
    const std::string top = directory.path("a");
    const std::string deep = top + "/b/c/";
    directory.write("kept", "kept");
    for (const char* form : {"", "/", "/*"}) {
        SCOPED_TRACE(form);
        EXPECT_TRUE(CFile::makeDirectoryRecursively(deep.c_str()) && fs::is_directory(deep));
        EXPECT_FALSE(CFile::makeDirectoryRecursively(deep.c_str()));
        directory.write("a/file", "x");
        fs::create_symlink(directory.path(), deep + "link");  // it must not be followed
        EXPECT_TRUE(CFile::removeDirectoryRecursively((top + form).c_str(), false));
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
    EXPECT_FALSE(CFile::makeDirectoryRecursively(""));
}

}  // namespace
