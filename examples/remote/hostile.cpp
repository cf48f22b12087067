#include "hostile.h"

#include <string>
#include <string_view>
#include <vector>

#include "socket.h"

namespace Remote {

void sendGarbage(std::uint16_t port) {
    using namespace std::string_view_literals;
    constexpr std::string_view pieces[] = {
        ""sv,                          // nothing at all
        "\0\0\0"sv,                    // half of a head
        "\0\0\0\0\1"sv,                // a frame of no length
        "\xff\xff\xff\xff\1"sv,        // and one of four gigabytes
        "\0\1\0\1\1"sv,                // one byte more than allowed
        "\0\0\0\x10\1user"sv,          // half of a frame
        "\0\0\0\5\1user\0\0\0\1\3"sv,  // an empty answer
        "\0\0\0\1\x63"sv,              // an unknown kind
        "GET / HTTP/1.0\r\n\r\n"sv,
    };
    constexpr int sendMilliSeconds = 1000;
    constexpr int crowd = 24;
    for (const std::string_view piece : pieces) {
        Socket socket = Socket::connectTo(port);
        socket.send(piece.data(), piece.size(), sendMilliSeconds);
    }
    std::vector<Socket> silent;
    for (int i = 0; i < crowd; ++i) {
        silent.push_back(Socket::connectTo(port));
        silent.back().send("\0\0", 2, sendMilliSeconds);
    }
}

}  // namespace Remote
