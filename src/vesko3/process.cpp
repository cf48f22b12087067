#include "vesko/vesko3/process.h"

#include <cstring>

#include "platform/process.h"
#include "vesko/vesko3/log.h"

namespace Tovra::Vesko {

int systemCall(const char* cmd) {
    if (cmd == nullptr) return 1;
    logDebug("systemcall command:%s\n", cmd);

    char commandLine[260];  // a copy, because the call below writes into it
    const std::size_t length = std::strlen(cmd);
    if (length >= sizeof(commandLine)) {
        logError("systemCall's input parameter is too long, command : %s, line: %d \n", cmd,
                 __LINE__);
        return -1;
    }
    std::memcpy(commandLine, cmd, length + 1);

    Platform::PROCESS_INFORMATION child{};
    if (!Platform::CreateProcessA(commandLine, child)) {
        logWarn("systemCall CreateProcessA cmd : %s failed, line :  %d\n", cmd, __LINE__);
        return -1;
    }
    Platform::WaitForSingleObject(child.hProcess, Platform::INFINITE);
    Platform::CloseHandle(child.hProcess);
    Platform::CloseHandle(child.hThread);
    return 0;
}

std::uint64_t getCurrectProcessID() { return Platform::GetCurrentProcessId(); }

}  // namespace Tovra::Vesko
