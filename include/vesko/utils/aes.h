#pragma once

#include "vesko/export.h"

namespace Tovra::Utils {

class AesInternal;

/// How blocks are chained (NIST SP 800-38A).
enum EncMode : int {
    modeECB = 0,     ///< each block by itself
    modeCBC = 1,     ///< cipher block chaining
    modeCFB8 = 2,    ///< cipher feedback of 8 bits
    modeCFB128 = 3,  ///< cipher feedback of 128 bits
    modeCTR = 4      ///< counter
};

/// Length of a key in bits.
enum KeyBits : int { bits128 = 128, bits192 = 192, bits256 = 256 };

/// AES (FIPS 197) in one of five modes (NIST SP 800-38A).
///
/// One object serves one direction of one stream: what the chaining carries from call to call is one
/// state for both directions, and only a new object starts anew. So what an object has encrypted is
/// decrypted by a second one, made with the same key and vector; modeECB alone has no such state.
/// Nothing is padded. The key is wiped when the object ends.
/// Threads: an object belongs to one thread at a time.
/// Units: lengths are bytes, a block is 16.
class VESKO_API CAes {
public:
    /// Takes copies of key and vector. A null key is reported in the log; so is, at the first
    /// operation, anything else that the object cannot work with.
    /// @param mode one of the five; any other leaves an object that refuses all work
    /// @param key  `bits` / 8 bytes
    /// @param bits one of the three; any other leaves an object that refuses all work
    /// @param iv   16 bytes, in modeCTR the first counter block, a big-endian number; null stands
    ///             for zeros; not used in modeECB
    CAes(EncMode mode, const unsigned char* key, KeyBits bits, const unsigned char* iv);
    ~CAes();
    CAes(const CAes&) = delete;

    /// Copies the inner pointer alone: both objects would then free one cipher.
    [[deprecated("two objects would free one cipher")]] CAes& operator=(const CAes& other);

    /// Encrypts the next part of the stream.
    /// @param dst    receives as many bytes as are read; may be `src`, but not overlap it otherwise
    /// @param length any; in modeECB and modeCBC a multiple of 16
    /// @return false, with `dst` and the stream untouched, when the length is none that the mode
    ///         takes, and when the object refuses all work, which the log then tells
    bool encrypt(unsigned char* dst, const unsigned char* src, unsigned int length);

    /// Decrypts the next part of the stream, as `encrypt` otherwise.
    bool decrypt(unsigned char* dst, const unsigned char* src, unsigned int length);

private:
    AesInternal* m_internal;
};

}  // namespace Tovra::Utils
