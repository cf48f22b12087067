#include "frame.h"

#include <cstdio>

#include "vesko/utils/crc.h"
#include "vesko/utils/md5.h"

namespace Remote {

bool sendFrame(Socket& socket, const Frame& frame) {
    const auto length = static_cast<std::uint32_t>(frame.payload.size() + 1);
    if (length > largestFrameBytes) return false;
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(length >> shift);
    bytes += static_cast<char>(frame.kind);
    bytes += frame.payload;
    return socket.send(bytes.data(), bytes.size(), frameMilliSeconds);
}

bool receiveFrame(Socket& socket, Frame& frame) {
    unsigned char head[5];
    if (!socket.receive(head, sizeof head, frameMilliSeconds)) return false;
    const std::uint32_t length = std::uint32_t{head[0]} << 24 | std::uint32_t{head[1]} << 16 |
                                 std::uint32_t{head[2]} << 8 | head[3];
    if (length < 1 || length > largestFrameBytes) return false;
    frame.kind = static_cast<Kind>(head[4]);
    frame.payload.resize(length - 1);
    return socket.receive(frame.payload.data(), frame.payload.size(), frameMilliSeconds);
}

std::string answerTo(std::string_view challenge, std::string_view password) {
    constexpr std::size_t digits = 32;
    const std::string message = std::string(challenge).append(password);
    Tovra::Utils::CMd5 md5;
    md5.update(reinterpret_cast<const unsigned char*>(message.data()),
               static_cast<unsigned int>(message.size()));
    std::string text(digits, '\0');
    md5.hex(text.data());
    return text;
}

bool sameAnswer(std::string_view a, std::string_view b) {
    if (a.size() != b.size()) return false;
    unsigned int difference = 0;
    for (std::size_t i = 0; i < a.size(); ++i) {
        difference |= static_cast<unsigned int>(static_cast<unsigned char>(a[i] ^ b[i]));
    }
    return difference == 0;
}

std::string echoed(std::string_view text) {
    char digits[9];
    std::snprintf(digits, sizeof digits, "%08x",
                  Tovra::Utils::crc32(0, reinterpret_cast<const unsigned char*>(text.data()),
                                      static_cast<unsigned int>(text.size())));
    return std::string(digits).append(text);
}

}  // namespace Remote
