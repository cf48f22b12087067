#include "vesko3/filerecord.h"

#include <cstdio>
#include <system_error>

#include "platform/filesystem.h"
#include "platform/thread.h"
#include "vesko/vesko3/file.h"
#include "vesko/vesko3/log.h"
#include "vesko/vesko3/process.h"
#include "vesko3/hooktable.h"

namespace Tovra::Vesko::Detail {

namespace {

constexpr unsigned int s_accessMask = 0xF;

const char* accessMode(unsigned int flags) {
    const bool keeps = (flags & CFile::flagKeep) != 0;
    const bool creates = (flags & CFile::flagCreate) != 0;
    switch (flags & s_accessMask) {
        case CFile::accessRead:
            return "rb";
        case CFile::accessWrite:
            return keeps ? "ab" : "wb";
        case CFile::accessReadWrite:
            if (!creates) return "rb+";
            return keeps ? "ab+" : "wb+";
        default:
            return "";
    }
}

}  // namespace

std::string modeOf(unsigned int flags, DirectMode direct) {
    std::string mode = accessMode(flags);
    if ((flags & CFile::flagNoInherit) != 0) mode += 'e';
    if (direct == DirectMode::allowed && (flags & CFile::flagDirect) != 0) mode += 'd';
    return mode;
}

bool keepsContent(unsigned int flags) {
    return (flags & CFile::flagCreate) == 0 || (flags & CFile::flagKeep) != 0;
}

bool renamePath(const char* oldName, const char* newName) {
    return fileSystemOf(oldName)->rename(oldName, newName) == 0;
}

bool removePath(const char* path) { return fileSystemOf(path)->remove(path) == 0; }

bool makeDirectory(const char* path) { return fileSystemOf(path)->mkdir(path) == 0; }

bool removeDirectory(const char* path) { return fileSystemOf(path)->rmdir(path) == 0; }

bool statFS(const char* path, std::uint64_t& callerFree, std::uint64_t& total,
            std::uint64_t& totalFree) {
    return fileSystemOf(path)->statfs(path, callerFree, total, totalFree) == 0;
}

bool access(const char* path, int mode) { return fileSystemOf(path)->access(path, mode) == 0; }

bool stat(const char* path, FileInfo& info) { return fileSystemOf(path)->stat(path, info) == 0; }

bool setvbuf(void* file, char* buffer, int mode, std::size_t size) {
    if (file == nullptr) {
        logWarn("CFile::setvbuf failed, file has not been opened!\n");
        return false;
    }
    if (std::setvbuf(static_cast<std::FILE*>(file), buffer, mode, size) == 0) return true;
    logWarn("CFile::setvbuf failed\n");
    return false;
}

long writev(IFileSystem& table, void* file, const io_vec* vector, int count) {
    return table.writev(Platform::_fileno(static_cast<std::FILE*>(file)), vector, count);
}

void showOpenFile(void* file) {
    char command[32];
    std::snprintf(command, sizeof command, "%s%d%s%d", "ls -lh /proc/",
                  static_cast<int>(Platform::GetCurrentThreadId()), "/fd/",
                  Platform::_fileno(static_cast<std::FILE*>(file)));
    systemCall(command);
}

std::string errorText(int error) { return std::generic_category().message(error); }

}  // namespace Tovra::Vesko::Detail
