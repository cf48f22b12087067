#include "platform/process.h"

#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>
#include <vector>

#include "platform/posix/waitable.h"

namespace Tovra::Platform {

namespace {

constexpr std::string_view s_blanks = " \t\n";

bool isIn(std::string_view set, char letter) { return set.find(letter) != std::string_view::npos; }

// A backslash before any other character stands for itself.
bool isEscapable(char letter, char quote) {
    if (quote == '\'' || letter == '\0') return false;
    return quote == '\0' || isIn("\"\\$`", letter);
}

// Moves the next word from `in` to `out`, which never overtakes it, without quotes and escapes. False
// when a quotation does not end.
bool takeWord(const char*& in, char*& out) {
    char quote = '\0';
    while (*in != '\0') {
        const char letter = *in++;
        if (quote == '\0' && isIn(s_blanks, letter)) break;
        if (letter == '\\' && isEscapable(*in, quote)) {
            *out++ = *in++;
        } else if (quote == '\0' && isIn("'\"", letter)) {
            quote = letter;
        } else if (letter == quote) {
            quote = '\0';
        } else {
            *out++ = letter;
        }
    }
    *out++ = '\0';
    return quote == '\0';
}

// Cuts a line into words in place, null behind the last one. Empty when it has none or is faulty.
std::vector<char*> wordsOf(char* line) {
    std::vector<char*> words;
    const char* in = line;
    char* out = line;
    while (in += std::strspn(in, s_blanks.data()), *in != '\0') {
        words.push_back(out);
        if (!takeWord(in, out)) return {};
    }
    if (!words.empty()) words.push_back(nullptr);
    return words;
}

/// What a child does not take over from this process.
class SpawnSettings {
public:
    SpawnSettings() {
        sigset_t none;
        sigset_t all;
        ::sigemptyset(&none);
        std::memset(&all, 0xFF, sizeof(all));  // sigfillset leaves out the runtime library's own
        ::posix_spawnattr_init(&attributes);
        ::posix_spawnattr_setsigmask(&attributes, &none);
        ::posix_spawnattr_setsigdefault(&attributes, &all);
        ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);
        ::posix_spawn_file_actions_init(&actions);
        error = ::posix_spawn_file_actions_addclosefrom_np(&actions, STDERR_FILENO + 1);
    }
    ~SpawnSettings() {
        ::posix_spawn_file_actions_destroy(&actions);
        ::posix_spawnattr_destroy(&attributes);
    }
    SpawnSettings(const SpawnSettings&) = delete;
    SpawnSettings& operator=(const SpawnSettings&) = delete;

    posix_spawnattr_t attributes;
    posix_spawn_file_actions_t actions;
    int error;  // the one step that takes memory failed
};

/// A process that was started here.
class ChildProcess final : public Waitable {
public:
    ChildProcess() : Waitable(Kind::process) {}

    // Gives the reason of a failure, 0 when the program runs.
    int start(char** words) {
        const SpawnSettings settings;
        if (settings.error != 0) return settings.error;
        // Tells when the program cannot be executed, and hands none to a shell, as execvp would.
        const int error = ::posix_spawnp(&m_id, words[0], &settings.actions, &settings.attributes,
                                         words, environ);
        if (error != 0) return error;
        m_over = false;
        m_descriptor = static_cast<int>(::syscall(SYS_pidfd_open, m_id, 0));
        return 0;
    }

    std::uint32_t id() const { return static_cast<std::uint32_t>(m_id); }

    std::uint32_t tryWait() override {
        // Once collected, the id may be that of another child: one caller at a time, and none after.
        const std::lock_guard guard(m_mutex);
        // An error means that it was collected elsewhere, or by the system if SIGCHLD is ignored.
        if (!m_over) m_over = ::waitpid(m_id, nullptr, WNOHANG) != 0;
        return m_over ? WAIT_OBJECT_0 : WAIT_TIMEOUT;
    }

    std::uint32_t sleepingWait(std::uint32_t milliSeconds) override {
        using Clock = std::chrono::steady_clock;
        using std::chrono::milliseconds;
        const auto deadline = milliSeconds == INFINITE ? Clock::time_point::max()
                                                       : Clock::now() + milliseconds(milliSeconds);
        while (tryWait() == WAIT_TIMEOUT) {
            const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
            if (left <= milliseconds::zero()) return WAIT_TIMEOUT;
            sleepUntilEndOr(left.count());
        }
        return WAIT_OBJECT_0;
    }

private:
    ~ChildProcess() override {
        tryWait();  // nobody else can collect it from here on
        if (m_descriptor >= 0) ::close(m_descriptor);
    }

    // May return early: callers look again.
    void sleepUntilEndOr(std::int64_t milliSeconds) const {
        // A kernel without such descriptors, or a process that has used up its own, is asked often.
        const std::int64_t longest = m_descriptor >= 0 ? INT_MAX : 10;
        pollfd end{m_descriptor, POLLIN, 0};  // a negative descriptor is passed over
        ::poll(&end, 1, static_cast<int>(std::min(milliSeconds, longest)));
    }

    // Written before anyone else has the handle.
    pid_t m_id = 0;
    int m_descriptor = -1;  // becomes readable when the process ends

    std::mutex m_mutex;
    bool m_over = true;  // guarded by the mutex; until the start there is nothing to collect
};

// Null, with the reason in `error`, when the program cannot be started.
ChildProcess* startChild(char* commandLine, int& error) try {
    std::vector<char*> words = wordsOf(commandLine);
    error = EINVAL;
    if (words.empty()) return nullptr;
    auto* child = new ChildProcess;
    error = child->start(words.data());
    if (error == 0) return child;
    child->release();
    return nullptr;
} catch (const std::bad_alloc&) {
    error = ENOMEM;
    return nullptr;
}

}  // namespace

bool CreateProcessA(char* commandLine, PROCESS_INFORMATION& process) {
    int error = 0;
    ChildProcess* child = startChild(commandLine, error);
    if (child == nullptr) {
        errno = error;
        return false;
    }
    process = {child, DuplicateHandle(child), child->id()};
    return true;
}

std::uint32_t GetCurrentProcessId() { return static_cast<std::uint32_t>(::getpid()); }

}  // namespace Tovra::Platform
