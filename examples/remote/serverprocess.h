#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

namespace Remote {

/// The server's program, as a child process that ends with this object at the latest.
class ServerProcess {
public:
    /// Starts it, and waits until it listens.
    /// @param port 0 has the system choose
    ServerProcess(const std::string& program, std::uint16_t port, const std::string& user,
                  const std::string& password);
    ~ServerProcess();
    ServerProcess(const ServerProcess&) = delete;
    ServerProcess& operator=(const ServerProcess&) = delete;

    /// @return 0 when it could not be started
    std::uint16_t port() const { return m_port; }

    /// Kills it, as a crash would.
    void kill();

private:
    void reap();

    pid_t m_process = -1;
    int m_input = -1;  // its end tells the server to end
    std::uint16_t m_port = 0;
};

}  // namespace Remote
