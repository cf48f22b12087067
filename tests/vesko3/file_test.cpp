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
using Tovra::Testing::TemporaryDirectory;

std::string behindPrefix(const std::string& text) {
    const std::size_t id = text.find(" tid:");
    return id == std::string::npos ? text : text.substr(text.find(", ", id) + 2);
}

// The default table, which counts calls and notes modes, and can be told to fail or to be short.
class Table : public FileDefaultOpt {
public:
    Table() { hookFileSystem("hook:", this); }
    ~Table() override { hookFileSystem("hook:", nullptr); }

    void* fopen(const char* path, const char* mode) override {
        modes.push_back(mode);
        return FileDefaultOpt::fopen(real(path).c_str(), mode);
    }
    int stat(const char* path, FileInfo& info) override {
        ++stats;
        return FileDefaultOpt::stat(real(path).c_str(), info);
    }
    std::size_t fread(void* buffer, std::size_t size, std::size_t count, void* file) override {
        reads.push_back(count);
        if (answers) return count;
        return isDead ? 0 : FileDefaultOpt::fread(buffer, size, count, file);
    }
    std::size_t fwrite(const void* buffer, std::size_t size, std::size_t count,
                       void* file) override {
        writes.push_back(count);
        if (answers) return count;
        return isDead ? 0 : FileDefaultOpt::fwrite(buffer, size, count, file);
    }
    int fseek(void* file, long offset, int whence) override {
        ++seeks;
        return isDead ? -1 : FileDefaultOpt::fseek(file, offset, whence);
    }
    int fseek64(void* file, std::int64_t offset, int whence) override {
        ++seeks;
        return isDead ? -1 : FileDefaultOpt::fseek64(file, offset, whence);
    }
    long writev(int fd, const io_vec* vector, int count) override {
        return fd >= 0 ? static_cast<long>(vector[0].length) * count : -1;
    }
    int rename(const char* oldName, const char*) override {
        renamed = oldName;
        return 0;
    }

    static std::string real(const char* path) { return path + std::strlen("hook:"); }

    std::vector<std::string> modes;
    std::vector<std::size_t> reads;
    std::vector<std::size_t> writes;
    int stats = 0;
    int seeks = 0;
    bool isDead = false;
    bool answers = false;  // says that all went well, and does nothing
    std::string renamed;
};

template <class File>
class Files : public testing::Test {
protected:
    std::string path(const char* name) { return directory.path() + "/" + name; }
    std::string hooked(const char* name) { return "hook:" + path(name); }
    void make(const char* name, const std::string& content) {
        File written;
        ASSERT_TRUE(written.open(path(name).c_str(), File::accessWrite));
        std::string copy = content;
        EXPECT_EQ(written.write(copy.data(), static_cast<unsigned int>(copy.size())),
                  static_cast<long>(copy.size()));
    }
    std::string content(const char* name) {
        File loaded;
        const unsigned char* bytes = loaded.load(path(name).c_str());
        return bytes == nullptr ? ""
                                : std::string(reinterpret_cast<const char*>(bytes),
                                              static_cast<std::size_t>(loaded.getLength()));
    }

    TemporaryDirectory directory;
    Table table;
    File file;
    char buffer[64] = {};
};
using Kinds = testing::Types<CFile, CLfsFile>;
TYPED_TEST_SUITE(Files, Kinds);

TYPED_TEST(Files, OpenInTheModeThatTheFlagsTell) {
    struct Case {
        unsigned int flags;
        const char* mode;
        bool opens;
        int stats;
        int length;
    };
    constexpr bool direct = std::is_same_v<TypeParam, CFile>;
    constexpr Case cases[] = {
        {0, "rb", true, 1, 5},
        {0x2000, "rb", true, 1, 5},
        {1, "wb", true, 1, 0},
        {0x2001, "ab", true, 1, 5},
        {2, "rb+", true, 1, 5},
        {0x2002, "rb+", true, 1, 5},
        {0x1002, "wb+", true, 0, 0},
        {0x3002, "ab+", true, 1, 5},
        {0x80, "rbe", true, 1, 5},
        {0x10000, direct ? "rbd" : "rb", true, 1, 5},
        {0x10080, direct ? "rbed" : "rbe", true, 1, 5},
    };
    for (const auto& [flags, mode, opens, stats, length] : cases) {
        SCOPED_TRACE(mode);
        this->make("file", "12345");
        this->table.stats = 0;
        EXPECT_EQ(this->file.open(this->hooked("file").c_str(), flags), opens);
        EXPECT_EQ(this->table.modes.back(), mode);
        EXPECT_EQ(this->table.stats, stats);
        EXPECT_EQ(this->file.getLength(), length);
        this->file.close();
    }
    EXPECT_FALSE(this->file.open(this->hooked("missing").c_str(), TypeParam::accessReadWrite));
    const std::string text =
        printed(2, [&] { EXPECT_FALSE(this->file.open(this->hooked("file").c_str(), 3)); });
    EXPECT_EQ(behindPrefix(text),
              std::string(direct ? "CFile" : "CLfsFile") + "::open(): dwFlags(3) is invalid\n");
    EXPECT_FALSE(this->file.isOpen());
}

TYPED_TEST(Files, AnswerAsToldWhileClosed) {
    TypeParam& f = this->file;
    io_vec piece{this->buffer, 1};
    EXPECT_EQ(f.read(this->buffer, 1), -1);
    EXPECT_EQ(f.write(this->buffer, 1), -1);
    EXPECT_EQ(f.seek(1, TypeParam::seekBegin), 0);
    EXPECT_EQ(f.getPosition(), 0);
    EXPECT_EQ(f.getLength(), 0);
    EXPECT_EQ(f.gets(this->buffer, 10), nullptr);
    EXPECT_EQ(f.puts("x"), 0);
    EXPECT_EQ(f.writev(&piece, 1), -1);
    EXPECT_EQ(printed(3, [&] { EXPECT_FALSE(f.setvbuf(nullptr, TypeParam::modeNone, 0)); }),
              "CFile::setvbuf failed, file has not been opened!\n");
    EXPECT_FALSE(f.resv1() || f.resv2() || f.resv3() || f.resv4());
    f.flush();
    f.close();
    f.unload();
}

TYPED_TEST(Files, KeepTheirOwnPositionAndLength) {
    TypeParam& f = this->file;
    ASSERT_TRUE(f.open(this->hooked("file").c_str(), 0x1002));
    EXPECT_TRUE(f.setvbuf(nullptr, TypeParam::modeFull, 4096));
    char text[] = "line one\nline two\n";
    EXPECT_EQ(f.write(text, 18), 18);
    EXPECT_EQ(f.getPosition(), 18);
    EXPECT_EQ(f.getLength(), 18);
    this->table.seeks = 0;
    EXPECT_EQ(f.seek(18, TypeParam::seekBegin), 18);  // it is there already
    EXPECT_EQ(f.seek(0, TypeParam::seekCurrent), 18);
    EXPECT_EQ(this->table.seeks, 0);
    EXPECT_EQ(f.seek(0, TypeParam::seekEnd), 18);
    EXPECT_EQ(this->table.seeks, 1);
    EXPECT_EQ(f.seek(-13, TypeParam::seekCurrent), 5);
    EXPECT_STREQ(f.gets(this->buffer, 64), "one\n");
    EXPECT_EQ(f.getPosition(), 9);
    EXPECT_STREQ(f.gets(this->buffer, 5), "line");
    this->table.isDead = true;
    EXPECT_EQ(f.seek(2, TypeParam::seekBegin), 0);
    EXPECT_EQ(f.getPosition(), 13);
    this->table.isDead = false;
    EXPECT_EQ(f.seek(16, TypeParam::seekBegin), 16);
    EXPECT_GE(f.puts("wide\n"), 0);
    EXPECT_EQ(f.getLength(), 21);
    io_vec pieces[] = {{text, 4}, {text, 4}};
    EXPECT_EQ(f.writev(pieces, 2), 8);
    EXPECT_EQ(f.getLength(), 29);
    f.flush();  // the stream knows of none of that
    EXPECT_EQ(f.getPosition(), 21);
    EXPECT_EQ(f.getLength(), 29);  // and a length never shrinks
    f.close();
    EXPECT_EQ(this->content("file"), "line one\nline twwide\n");
}

TYPED_TEST(Files, ReportWhatTheyCouldNotReadOrWrite) {
    constexpr bool isLarge = std::is_same_v<TypeParam, CLfsFile>;
    this->make("file", std::string(60, 'x'));
    ASSERT_TRUE(this->file.open(this->hooked("file").c_str(), 2));
    std::vector<char> room(100);
    std::string text = printed(3, [&] { EXPECT_EQ(this->file.read(room.data(), 100), 60); });
    EXPECT_EQ(behindPrefix(text),
              isLarge ? "fread get error,total 100 has read 60,expected 40 return 0\n" : "");
    this->table.isDead = true;
    errno = ENOSPC;
    text = printed(3, [&] { EXPECT_EQ(this->file.write(room.data(), 7), 0); });
    EXPECT_EQ(behindPrefix(text), isLarge
                                      ? "fwrite get error,total 7 has write 0,expected 7 return 0"
                                      : "fwrite failed, expected:7, actual:0,errno=28, "
                                        "errmsg:No space left on device\n");
}

TYPED_TEST(Files, LoadWholeFiles) {
    TypeParam& f = this->file;
    this->make("empty", "");
    EXPECT_EQ(f.load(this->path("empty").c_str()), nullptr);
    EXPECT_TRUE(f.isOpen());
    EXPECT_EQ(f.load(this->path("missing").c_str()), nullptr);
    this->make("file", "content");
    const unsigned char* bytes = f.load(this->hooked("file").c_str());
    ASSERT_NE(bytes, nullptr);
    EXPECT_EQ(std::memcmp(bytes, "content", 7), 0);
    const std::size_t reads = this->table.reads.size();
    EXPECT_EQ(f.load("anything"), bytes);
    EXPECT_EQ(this->table.reads.size(), reads);
    f.unload();
    EXPECT_FALSE(f.isOpen());
    this->table.isDead = true;
    const std::string text =
        printed(3, [&] { EXPECT_EQ(f.load(this->hooked("file").c_str()), nullptr); });
    EXPECT_NE(text.find("::load(): filename(" + this->hooked("file") + "), length(7), ret(0), "),
              std::string::npos);
    EXPECT_FALSE(f.isOpen());
}

TYPED_TEST(Files, WorkOnPathsThroughTheTableOfTheFirst) {
    EXPECT_TRUE(TypeParam::rename(this->hooked("a").c_str(), "b"));
    EXPECT_EQ(this->table.renamed, this->hooked("a"));
    const std::string made = this->path("made");
    EXPECT_TRUE(TypeParam::makeDirectory(made.c_str()));
    EXPECT_FALSE(TypeParam::makeDirectory(made.c_str()));
    EXPECT_TRUE(TypeParam::access(made.c_str(), 0));
    FileInfo info{};
    EXPECT_TRUE(TypeParam::stat(made.c_str(), info));
    std::uint64_t callerFree = 0;
    std::uint64_t total = 0;
    std::uint64_t totalFree = 0;
    EXPECT_TRUE(TypeParam::statFS(made.c_str(), callerFree, total, totalFree));
    EXPECT_LE(callerFree, total);
    EXPECT_TRUE(TypeParam::removeDirectory(made.c_str()));
    EXPECT_FALSE(TypeParam::remove(made.c_str()));
}

using LargeFiles = Files<CLfsFile>;

TEST_F(LargeFiles, GoBeyondFourGigabytes) {
    const std::int64_t far = (std::int64_t{5} << 30) + 1;
    ASSERT_TRUE(file.open(path("sparse").c_str(), 0x1002));
    EXPECT_EQ(file.seek(far, CLfsFile::seekBegin), far);
    EXPECT_EQ(file.write(buffer, 1), 1);
    EXPECT_EQ(file.getLength(), far + 1);
    const std::string text =
        printed(3, [&] { EXPECT_EQ(file.load(path("sparse").c_str()), nullptr); });
    EXPECT_NE(text.find(" is too large\n"), std::string::npos);
    EXPECT_EQ(behindPrefix(printed(3,
                                   [&] {
                                       EXPECT_TRUE(file.open(path("sparse").c_str(), 0));
                                       EXPECT_EQ(file.gets(buffer, 0x80000000), nullptr);
                                   })),
              "Bytes need to be seeked has been over the _MAX_INT_VALUE.\n");
    EXPECT_EQ(file.read(buffer, -1), -1);
    EXPECT_EQ(file.write(buffer, -1), -1);
}

TEST_F(LargeFiles, CutLargeRequestsIntoPieces) {
    ASSERT_TRUE(file.open(hooked("file").c_str(), 0x1002));
    table.answers = true;
    const std::int64_t size = 0x80000005;
    EXPECT_EQ(file.read(buffer, size), size);
    EXPECT_EQ(file.write(buffer, size), size);
    const std::vector<std::size_t> pieces = {0x7FFFFFFF, 6};
    EXPECT_EQ(table.reads, pieces);
    EXPECT_EQ(table.writes, pieces);
}

using SmallFiles = Files<CFile>;

TEST_F(SmallFiles, MakeAndRemoveWholeTrees) {
    namespace fs = std::filesystem;
    const std::string top = path("a");
    const std::string deep = top + "/b/c/";
    EXPECT_TRUE(CFile::makeDirectoryRecursively(deep.c_str()));
    EXPECT_TRUE(fs::is_directory(deep));
    EXPECT_FALSE(CFile::makeDirectoryRecursively(deep.c_str()));
    make("kept", "kept");
    fs::create_symlink(directory.path(), deep + "link");  // it must not be followed
    for (const char* form : {"", "/", "/*"}) {
        SCOPED_TRACE(form);
        make("a/file", "x");
        CFile::makeDirectoryRecursively(deep.c_str());
        EXPECT_TRUE(CFile::removeDirectoryRecursively((top + form).c_str(), false));
        EXPECT_TRUE(fs::is_empty(top));
        EXPECT_TRUE(fs::exists(path("kept")));
    }
    EXPECT_TRUE(CFile::removeDirectoryRecursively(top.c_str(), true));
    EXPECT_FALSE(fs::exists(top));
    const auto refused = [](const char* text) {
        return behindPrefix(
            printed(3, [&] { EXPECT_FALSE(CFile::removeDirectoryRecursively(text, true)); }));
    };
    EXPECT_EQ(refused(top.c_str()), "the path " + top + "/* does not exist");
    EXPECT_EQ(refused(""), "the path is unvalid");
    EXPECT_EQ(refused(nullptr), "the path is unvalid");
    EXPECT_NE(refused((top + std::string(2000, '/')).c_str()), "");
    EXPECT_FALSE(CFile::makeDirectoryRecursively(""));
}

}  // namespace
