#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "vesko/memory/packet.h"

namespace TreeSum {

enum class Algorithm { md5, sha1, crc32 };

/// @return the algorithm whose digests have so many hexadecimal digits, if there is one
std::optional<Algorithm> algorithmOfLength(std::size_t hexDigits);

/// Gives the library's packets a pool of a fixed size, from which file contents take their room.
/// Comes once, before the first `FileDigester`.
/// @return false when the system has not so much memory
bool limitMemory(unsigned int budgetBytes);

/// Reads files in pieces of one packet and digests them.
///
/// A file may be of any length: only one piece of it is in memory at a time.
/// Threads: an object belongs to one thread; several objects share the memory budget.
class FileDigester {
public:
    /// Takes the packet from the pool.
    /// @param budgetBytes what `limitMemory` was told
    explicit FileDigester(unsigned int budgetBytes);

    /// Digests one file.
    /// @param path "-" is standard input
    /// @param hex  receives lowercase hexadecimal digits; untouched on failure
    /// @return 0, or the `errno` value that tells why not: EINTR after an interrupt
    int digest(const std::string& path, Algorithm algorithm, std::string& hex);

private:
    Tovra::Memory::CPacket m_packet;
    unsigned int m_pieceBytes;  // of the packet's capacity, as much as is read at once
};

}  // namespace TreeSum
