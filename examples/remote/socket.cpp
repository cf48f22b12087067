#include "socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

namespace Remote {

namespace {

using Clock = std::chrono::steady_clock;
using std::chrono::milliseconds;

constexpr int s_connectMilliSeconds = 2000;

sockaddr_in loopback(std::uint16_t port) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    return address;
}

const sockaddr* generic(const sockaddr_in& address) {
    return reinterpret_cast<const sockaddr*>(&address);
}

int millisecondsUntil(Clock::time_point deadline) {
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now()).count();
    return left > 0 ? static_cast<int>(left) : 0;
}

bool waitFor(int descriptor, short events, int milliSeconds) {
    pollfd wanted{descriptor, events, 0};
    int ready = 0;
    do {
        ready = ::poll(&wanted, 1, milliSeconds);
    } while (ready < 0 && errno == EINTR);
    return ready == 1;
}

int newDescriptor() { return ::socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0); }

// Moves all bytes by a call that moves some of them, until the deadline.
template <class Move>
bool moveAll(int descriptor, short events, std::size_t size, int milliSeconds, Move move) {
    const Clock::time_point deadline = Clock::now() + milliseconds(milliSeconds);
    for (std::size_t done = 0; done < size;) {
        const ssize_t moved = move(done);
        if (moved > 0) {
            done += static_cast<std::size_t>(moved);
            continue;
        }
        const bool mayComeLater = moved < 0 && (errno == EAGAIN || errno == EINTR);
        if (!mayComeLater || !waitFor(descriptor, events, millisecondsUntil(deadline)))
            return false;
    }
    return true;
}

}  // namespace

Socket::Socket(Socket&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}

Socket& Socket::operator=(Socket&& other) noexcept {
    std::swap(m_descriptor, other.m_descriptor);
    return *this;
}

Socket::~Socket() { close(); }

void Socket::close() {
    if (m_descriptor >= 0) ::close(m_descriptor);
    m_descriptor = -1;
}

Socket Socket::listenOn(std::uint16_t port) {
    constexpr int backlog = 16;
    Socket socket(newDescriptor());
    const int on = 1;
    ::setsockopt(socket.m_descriptor, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    const sockaddr_in address = loopback(port);
    const bool listens = ::bind(socket.m_descriptor, generic(address), sizeof address) == 0 &&
                         ::listen(socket.m_descriptor, backlog) == 0;
    return listens ? std::move(socket) : Socket();
}

Socket Socket::connectTo(std::uint16_t port) {
    Socket socket(newDescriptor());
    const sockaddr_in address = loopback(port);
    if (::connect(socket.m_descriptor, generic(address), sizeof address) != 0) {
        int error = errno;
        socklen_t size = sizeof error;
        if (error != EINPROGRESS || !waitFor(socket.m_descriptor, POLLOUT, s_connectMilliSeconds) ||
            ::getsockopt(socket.m_descriptor, SOL_SOCKET, SO_ERROR, &error, &size) != 0 ||
            error != 0) {
            return Socket();
        }
    }
    const int on = 1;
    ::setsockopt(socket.m_descriptor, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
    return socket;
}

Socket Socket::accept(int milliSeconds) {
    if (!waitReadable(milliSeconds)) return Socket();
    Socket peer(::accept4(m_descriptor, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    // Without a free descriptor the peer goes on waiting, and so must the caller.
    if (peer.isEmpty()) ::poll(nullptr, 0, milliSeconds);
    return peer;
}

std::uint16_t Socket::port() const {
    sockaddr_in address{};
    socklen_t size = sizeof address;
    ::getsockname(m_descriptor, reinterpret_cast<sockaddr*>(&address), &size);
    return ntohs(address.sin_port);
}

bool Socket::waitReadable(int milliSeconds) const {
    return waitFor(m_descriptor, POLLIN, milliSeconds);
}

bool Socket::receive(void* buffer, std::size_t size, int milliSeconds) {
    return moveAll(m_descriptor, POLLIN, size, milliSeconds, [&](std::size_t done) {
        return ::recv(m_descriptor, static_cast<char*>(buffer) + done, size - done, 0);
    });
}

bool Socket::send(const void* buffer, std::size_t size, int milliSeconds) {
    return moveAll(m_descriptor, POLLOUT, size, milliSeconds, [&](std::size_t done) {
        return ::send(m_descriptor, static_cast<const char*>(buffer) + done, size - done,
                      MSG_NOSIGNAL);
    });
}

bool Socket::isBroken() const {
    char byte = 0;
    const ssize_t seen = ::recv(m_descriptor, &byte, 1, MSG_PEEK | MSG_DONTWAIT);
    return seen == 0 || (seen < 0 && errno != EAGAIN && errno != EINTR);
}

}  // namespace Remote
