#include "digest.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <memory>
#include <new>

#include "inputfile.h"
#include "interrupt.h"
#include "vesko/memory/packetmanager.h"
#include "vesko/utils/crc.h"
#include "vesko/utils/md5.h"
#include "vesko/utils/sha1.h"

namespace TreeSum {

namespace {

using Tovra::Memory::CPacket;
using Tovra::Memory::CPacketManager;

constexpr unsigned int s_chunkBytes = 1024;
constexpr unsigned int s_largestBlockBytes = 128 * 1024;  // stays in the processor's cache
// A stream hands multiples of its buffer straight to the reader, without a copy.
constexpr unsigned int s_streamBufferBytes = 16 * 1024;

struct Md5Sum {
    static constexpr std::size_t hexDigits = 32;
    void update(const unsigned char* data, unsigned int length) { md5.update(data, length); }
    void hex(char* text) { md5.hex(text); }

    Tovra::Utils::CMd5 md5;
};

struct Sha1Sum {
    static constexpr std::size_t hexDigits = 40;
    void update(const unsigned char* data, unsigned int length) { sha1.update(data, length); }
    void hex(char* text) { sha1.hex(text, hexDigits); }

    Tovra::Utils::CSha1 sha1;
};

struct Crc32Sum {
    static constexpr std::size_t hexDigits = 8;
    void update(const unsigned char* data, unsigned int length) {
        crc = Tovra::Utils::crc32(crc, data, length);
    }
    void hex(char* text) const {
        char digits[hexDigits + 1];
        std::snprintf(digits, sizeof digits, "%08x", crc);
        std::copy_n(digits, hexDigits, text);
    }

    unsigned int crc = 0;
};

struct Reading {
    unsigned int pieceBytes;
    FileDigester::PieceProc piece;
};

template <class Sum>
int digestWith(InputFile& file, CPacket& packet, const Reading& reading, std::string& hex) {
    Sum sum;  // new for each file: an empty message starts no new digest in a used one
    do {
        packet.resize(static_cast<unsigned int>(file.read(packet.getBuffer(), reading.pieceBytes)));
        reading.piece(packet.size());
        sum.update(packet.getBuffer(), packet.size());
    } while (packet.size() == reading.pieceBytes && interrupted() == 0);
    if (interrupted() != 0) return EINTR;
    if (file.error() != 0) return file.error();
    hex.resize(Sum::hexDigits);
    sum.hex(hex.data());
    return 0;
}

struct AlgorithmRow {
    Algorithm algorithm;
    std::size_t hexDigits;
    int (*digest)(InputFile& file, CPacket& packet, const Reading& reading, std::string& hex);
};

template <class Sum>
constexpr AlgorithmRow rowOf(Algorithm algorithm) {
    return {algorithm, Sum::hexDigits, &digestWith<Sum>};
}

// In the order of `Algorithm`.
constexpr AlgorithmRow s_algorithms[] = {rowOf<Md5Sum>(Algorithm::md5),
                                         rowOf<Sha1Sum>(Algorithm::sha1),
                                         rowOf<Crc32Sum>(Algorithm::crc32)};

// One packet is all that a reader fills at a time: the rest of a larger budget stays untouched.
unsigned int blockBytes(unsigned int readerBytes) {
    return std::min(std::bit_floor(readerBytes), s_largestBlockBytes);
}

// A block of the pool keeps the packet's record too: the packet asks for one chunk less.
unsigned int packetBytes(unsigned int readerBytes) {
    return blockBytes(readerBytes) - s_chunkBytes;
}

unsigned int wholeStreamBuffers(unsigned int bytes) {
    return bytes < s_streamBufferBytes ? bytes : bytes - bytes % s_streamBufferBytes;
}

}  // namespace

std::optional<Algorithm> algorithmOfLength(std::size_t hexDigits) {
    for (const AlgorithmRow& row : s_algorithms) {
        if (row.hexDigits == hexDigits) return row.algorithm;
    }
    return std::nullopt;
}

bool limitMemory(unsigned int readers, unsigned int readerBytes) {
    CPacketManager::PoolParameter pool;
    pool.chunkSize = s_chunkBytes;
    pool.totalSize = blockBytes(readerBytes) * std::bit_ceil(readers);
    // The pool itself would end the process when its memory cannot be had.
    const std::unique_ptr<char[]> trial(new (std::nothrow) char[pool.totalSize + s_chunkBytes]);
    if (trial == nullptr) return false;
    CPacketManager::config(CPacketManager::policyPool, nullptr, &pool);
    return true;
}

FileDigester::FileDigester(unsigned int readerBytes, PieceProc piece)
    : m_piece(piece),
      m_packet(packetBytes(readerBytes), 0),
      m_pieceBytes(wholeStreamBuffers(m_packet.size())) {}

int FileDigester::digest(const std::string& path, Algorithm algorithm, std::string& hex) {
    if (!m_packet.valid()) return ENOMEM;
    InputFile file(path);
    if (file.error() != 0) return file.error();
    return s_algorithms[static_cast<std::size_t>(algorithm)].digest(file, m_packet,
                                                                    {m_pieceBytes, m_piece}, hex);
}

}  // namespace TreeSum
