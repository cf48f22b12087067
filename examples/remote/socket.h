#pragma once

#include <cstddef>
#include <cstdint>

namespace Remote {

/// A TCP connection over the loopback address, or a listening one. Owns its descriptor.
///
/// Every operation is bounded in time; what fails leaves the socket as it is, to be dropped.
/// Threads: one at a time.
/// Units: milliseconds.
class Socket {
public:
    Socket() = default;
    Socket(Socket&& other) noexcept;
    Socket& operator=(Socket&& other) noexcept;
    ~Socket();

    /// Listens on a port of the loopback address.
    /// @param port 0 has the system choose
    static Socket listenOn(std::uint16_t port);

    /// Connects to a port of the loopback address.
    static Socket connectTo(std::uint16_t port);

    /// @return an empty socket when nobody came within so long
    Socket accept(int milliSeconds);

    bool isEmpty() const { return m_descriptor < 0; }
    void close();

    /// @return the port of a listening socket
    std::uint16_t port() const;

    /// @return true when something can be read, the end of the connection too
    bool waitReadable(int milliSeconds) const;

    /// @return false when the peer closed or did not send all of it within so long
    bool receive(void* buffer, std::size_t size, int milliSeconds);

    /// @return false when the peer closed or did not take all of it within so long
    bool send(const void* buffer, std::size_t size, int milliSeconds);

    /// @return true when the peer closed the connection, or it failed
    bool isBroken() const;

private:
    explicit Socket(int descriptor) : m_descriptor(descriptor) {}

    int m_descriptor = -1;
};

}  // namespace Remote
