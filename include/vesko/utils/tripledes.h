#pragma once

#include "vesko/export.h"

namespace Tovra::Utils {

struct TripleDesInternal;

/// Bytes that a key of more than 8 bytes passes through the cipher together.
enum BlockType : int { block8 = 0, block16 = 1 };

/// DES (FIPS 46-3) and Triple DES in encrypt-decrypt-encrypt form (NIST SP 800-67).
///
/// A key of up to 8 bytes makes it DES, up to 16 Triple DES with two keys, up to 24 with three;
/// missing bytes are zeros. With `block16` two blocks are interlocked: between the three passes they
/// exchange the second half of the first block with the first half of the second one. That form is
/// this library's own. A vector chains the blocks (CBC), without one each stands by itself (ECB).
/// Every call starts from that vector again: a message is one call. Neither cipher protects secrets
/// today, and the key is not wiped.
/// Threads: any thread may call any operation; all ciphers of the process take turns.
/// Units: lengths are bytes.
class VESKO_API CTripleDes {
public:
    /// Takes copies of key and vector.
    /// @param key       `keyLength` bytes
    /// @param keyLength bytes beyond 24 do not count; 0 makes an object that refuses all work
    /// @param blockType `block16`, or any other value for single blocks of 8
    /// @param iv        as many bytes as a block has, or null for no chaining
    CTripleDes(const unsigned char* key, unsigned int keyLength, BlockType blockType,
               const unsigned char* iv);
    ~CTripleDes();
    CTripleDes(const CTripleDes&) = delete;
    CTripleDes& operator=(const CTripleDes&) = delete;

    /// Encrypts the whole blocks of a message; what is left behind them is not written, and reported
    /// in the log. A null `dst` or `src` is reported in the log, and nothing is written.
    /// @param dst  receives the blocks; may be `src`, but not overlap it otherwise
    /// @param size of the message
    /// @return true when it was a whole number of blocks; false also for an object without a key
    bool encrypt(unsigned char* dst, const unsigned char* src, unsigned int size);

    /// Decrypts the whole blocks of a message, as `encrypt` otherwise.
    /// @param dst may be `src` only without a vector or for a single block: the chain reads the
    ///            ciphertext of the block before
    bool decrypt(unsigned char* dst, const unsigned char* src, unsigned int size);

private:
    bool run(bool encrypts, unsigned char* dst, const unsigned char* src, unsigned int size);

    TripleDesInternal* m_internal;
};

}  // namespace Tovra::Utils
