#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "socket.h"

/// What goes over the wire: frames of a length (32 bits, the highest byte first), a kind (one byte)
/// and a payload. The length counts kind and payload, and is 1 to 65536.
///
/// A client opens with `hello` and its user name, and answers the server's `challenge` with the MD5
/// digest of challenge and password, in hexadecimal digits: the password itself is never sent. The
/// server then says `welcome` with the number of the user, or `refused`. After that the client asks
/// for the `time` (answered with seconds since 1970) or an `echo` (answered with the CRC-32 of the
/// text, eight digits, and the text), one at a time, and ends with `bye`.
namespace Remote {

enum class Kind : std::uint8_t { hello = 1, challenge, answer, welcome, refused, time, echo, bye };

struct Frame {
    Kind kind{};
    std::string payload;
};

inline constexpr std::uint32_t largestFrameBytes = 65536;
inline constexpr int frameMilliSeconds = 2000;  // for the head of a frame, and for its payload

/// @return false when the peer did not take it in time
bool sendFrame(Socket& socket, const Frame& frame);

/// @return false when no whole frame of a possible length came in time
bool receiveFrame(Socket& socket, Frame& frame);

/// @return what a client answers to a challenge
std::string answerTo(std::string_view challenge, std::string_view password);

/// Compares two answers in a time that does not tell where they differ.
bool sameAnswer(std::string_view a, std::string_view b);

/// @return the payload that answers an echo
std::string echoed(std::string_view text);

}  // namespace Remote
