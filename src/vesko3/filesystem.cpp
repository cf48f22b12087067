#include "vesko/vesko3/filesystem.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "platform/filesystem.h"
#include "vesko3/assert.h"
#include "vesko3/copytext.h"
#include "vesko3/hooktable.h"
#include "vesko3/singleton.h"

namespace Tovra::Vesko {

namespace {

struct Hook {
    char prefix[256];  // empty: a free entry
    IFileSystem* fileSystem;
};

constexpr int hookCount = 32;
constinit Hook s_hooks[hookCount] = {};  // entry 0 is never used

// Stops at the first hook that the test holds for; null when there is none.
template <class Test>
Hook* findHook(Test test) {
    for (int i = 1; i < hookCount; ++i) {
        if (test(s_hooks[i])) return &s_hooks[i];
    }
    return nullptr;
}

void addHook(const char* prefix, IFileSystem* fileSystem) {
    Hook* hook = findHook([](const Hook& entry) { return entry.prefix[0] == '\0'; });
    if (hook == nullptr) return;
    Detail::copyText(hook->prefix, prefix);
    hook->fileSystem = fileSystem;
}

void removeHook(const char* prefix) {
    Hook* hook = findHook([prefix](const Hook& entry) {
        return std::strncmp(entry.prefix, prefix, sizeof(entry.prefix)) == 0;
    });
    if (hook == nullptr) return;
    hook->prefix[0] = '\0';
    hook->fileSystem = nullptr;
}

}  // namespace

void hookFileSystem(const char* prefix, IFileSystem* fileSystem) {
    if (prefix == nullptr) return;
    if (fileSystem != nullptr) {
        addHook(prefix, fileSystem);
    } else {
        removeHook(prefix);
    }
}

IFileSystem* Detail::fileSystemOf(const char* path) {
    if (path == nullptr) return FileDefaultOpt::instance();
    const Hook* hook = findHook([path](const Hook& entry) {
        return entry.prefix[0] != '\0' &&
               std::strncmp(path, entry.prefix, std::strlen(entry.prefix)) == 0;
    });
    return hook != nullptr ? hook->fileSystem : FileDefaultOpt::instance();
}

IFileSystem::~IFileSystem() = default;

long IFileSystem::writev(int, const io_vec*, int) { return 0; }

int IFileSystem::fseek64(void*, std::int64_t, int) { return -1; }

std::int64_t IFileSystem::ftell64(void*) { return -1; }

namespace {

// A null path is no path: the system then says so, as for an empty one.
const char* given(const char* path) { return path != nullptr ? path : ""; }

std::FILE* stream(void* file) { return static_cast<std::FILE*>(file); }

bool has(const char* mode, char letter) { return std::strchr(mode, letter) != nullptr; }

unsigned int openFlagsOf(const char* mode) {
    const bool read = has(mode, 'r');
    const bool write = has(mode, 'w');
    const bool append = has(mode, 'a');
    const bool both = has(mode, '+');

    unsigned int flags = 0;
    if (append) flags |= Platform::openAppend;
    if (!read) flags |= Platform::openCreate;
    if (both) flags |= Platform::openReadWrite;
    if (write) flags |= Platform::openTruncate;
    if (!both && !read && (write || append)) flags |= Platform::openWriteOnly;
    if (has(mode, 'b')) flags |= Platform::openBinary;
    if (has(mode, 'e')) flags |= Platform::openNoInherit;
    return flags;
}

// The mode without the two letters that the runtime library does not know.
std::string runtimeMode(const char* mode) {
    std::string result(mode);
    for (const char letter : {'e', 'd'}) {
        if (const auto place = result.find(letter); place != std::string::npos) {
            result.erase(place, 1);
        }
    }
    return result;
}

// The times and the size stand under the same names in every record of the platform.
template <class PlatformRecord>
void copyTimes(FileInfo& info, const PlatformRecord& record) {
    info.timeCreate = record.timeChange;
    info.timeAccess = record.timeAccess;
    info.timeWrite = record.timeWrite;
}

void describe(FileInfo& info, const Platform::FoundFile& found) {
    Detail::copyText(info.name, found.name);
    info.attrib = found.attributes;
    copyTimes(info, found);
    info.size = static_cast<std::uint32_t>(found.size);  // a search reports 32 bits
}

}  // namespace

FileDefaultOpt* FileDefaultOpt::instance() {
    return Detail::Singleton<FileDefaultOpt>::instance({"Tovra::Vesko::FileDefaultOpt::instance",
                                                        Detail::SingletonPlace::Route::direct,
                                                        __FILE__, __LINE__});
}

void* FileDefaultOpt::fopen(const char* path, const char* mode) {
    VESKO_ASSERT(mode != NULL);  // NOLINT(modernize-use-nullptr): the text is printed
    const std::size_t len = std::strlen(mode);
    VESKO_ASSERT(len > 0);

    constexpr int ownerReadsAndWrites = 0600;
    constexpr std::size_t bufferSizeBytes = 16384;
    const std::string cleanMode = runtimeMode(mode);
    const int descriptor = Platform::_open(given(path), openFlagsOf(mode), ownerReadsAndWrites);
    if (descriptor < 0) return nullptr;
    std::FILE* file = Platform::_fdopen(descriptor, cleanMode.c_str());
    if (file == nullptr) {
        Platform::_close(descriptor);
        return nullptr;
    }
    Platform::_setvbuf(file, bufferSizeBytes);
    return file;
}

int FileDefaultOpt::fclose(void* file) { return Platform::_fclose(stream(file)); }

std::size_t FileDefaultOpt::fread(void* buffer, std::size_t size, std::size_t count, void* file) {
    Platform::finishWriting(stream(file));
    return std::fread(buffer, size, count, stream(file));
}

std::size_t FileDefaultOpt::fwrite(const void* buffer, std::size_t size, std::size_t count,
                                   void* file) {
    return std::fwrite(buffer, size, count, stream(file));
}

int FileDefaultOpt::fflush(void* file) { return std::fflush(stream(file)); }

int FileDefaultOpt::fseek(void* file, long offset, int whence) {
    return std::fseek(stream(file), offset, whence);
}

long FileDefaultOpt::ftell(void* file) { return std::ftell(stream(file)); }

char* FileDefaultOpt::fgets(char* text, int size, void* file) {
    Platform::finishWriting(stream(file));
    return std::fgets(text, size, stream(file));
}

int FileDefaultOpt::fputs(const char* text, void* file) { return std::fputs(text, stream(file)); }

int FileDefaultOpt::rename(const char* oldName, const char* newName) {
    return std::rename(given(oldName), given(newName));
}

int FileDefaultOpt::remove(const char* path) { return std::remove(given(path)); }

long FileDefaultOpt::findfirst(const char* pattern, FileInfo& info) {
    Platform::FoundFile found{};
    Platform::FileSearch* search = Platform::_findfirst(given(pattern), found);
    if (search == nullptr) return -1;
    describe(info, found);
    static_assert(sizeof(long) >= sizeof(Platform::FileSearch*),
                  "a search handle carries the pointer");
    return reinterpret_cast<long>(search);
}

int FileDefaultOpt::findnext(long handle, FileInfo& info) {
    if (handle == -1) return -1;
    Platform::FoundFile found{};
    if (Platform::_findnext(reinterpret_cast<Platform::FileSearch*>(handle), found) != 0) return -1;
    describe(info, found);
    return 0;
}

int FileDefaultOpt::findclose(long handle) {
    if (handle == -1) return -1;
    return Platform::_findclose(reinterpret_cast<Platform::FileSearch*>(handle));
}

int FileDefaultOpt::mkdir(const char* path) { return Platform::_mkdir(given(path)); }

int FileDefaultOpt::rmdir(const char* path) { return Platform::_rmdir(given(path)); }

int FileDefaultOpt::statfs(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
                           std::uint64_t& totalFree) {
    return Platform::GetDiskFreeSpaceExA(given(path), callerFree, total, totalFree) ? 0 : -1;
}

int FileDefaultOpt::access(const char* path, int mode) {
    return Platform::_access(given(path), mode);
}

int FileDefaultOpt::stat(const char* path, FileInfo& info) {
    Platform::FileStatus status{};
    if (const int result = Platform::_stat64(given(path), status); result != 0) return result;
    Detail::copyText(info.name, path);
    info.attrib = status.mode;
    copyTimes(info, status);
    info.size = status.size;
    return 0;
}

long FileDefaultOpt::writev(int, const io_vec*, int) { return -1; }

int FileDefaultOpt::fseek64(void* file, std::int64_t offset, int whence) {
    return Platform::_fseeki64(stream(file), offset, whence);
}

std::int64_t FileDefaultOpt::ftell64(void* file) { return Platform::_ftelli64(stream(file)); }

}  // namespace Tovra::Vesko
