#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "vesko/memory/packet.h"
#include "vesko/vesko3/function.h"

namespace TreeSum {

enum class Algorithm { md5, sha1, crc32 };

/// @return the algorithm whose digests have so many hexadecimal digits, if there is one
std::optional<Algorithm> algorithmOfLength(std::size_t hexDigits);

/// Gives the library's packets a pool of a fixed size, from which file contents take their room.
/// Comes once, before the first `FileDigester`.
/// @param readers     `FileDigester`s that there will be
/// @param readerBytes share of the memory budget that each of them is told
/// @return false when the system has not so much memory
bool limitMemory(unsigned int readers, unsigned int readerBytes);

/// Reads files in pieces of one packet and digests them.
///
/// A file may be of any length: only one piece of it is in memory at a time.
/// Threads: an object belongs to one thread; several objects share the memory budget.
class FileDigester {
public:
    using PieceProc = Tovra::Vesko::TFunction1<void, unsigned int>;

    /// Takes the packet from the pool.
    /// @param readerBytes what `limitMemory` was told
    /// @param piece       told the bytes of each piece as it was read
    FileDigester(unsigned int readerBytes, PieceProc piece);

    /// Digests one file.
    /// @param path "-" is standard input
    /// @param hex  receives lowercase hexadecimal digits; untouched on failure
    /// @return 0, or the `errno` value that tells why not: EINTR after an interrupt
    int digest(const std::string& path, Algorithm algorithm, std::string& hex);

private:
    const PieceProc m_piece;
    Tovra::Memory::CPacket m_packet;
    unsigned int m_pieceBytes;  // of the packet's capacity, as much as is read at once
};

}  // namespace TreeSum
