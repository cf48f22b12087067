#pragma once

#include "vesko/export.h"

namespace Tovra::Utils {

struct Md5Internal;

/// MD5 of a message that arrives in pieces (RFC 1321).
///
/// One object digests any number of messages, one after another: once a result was read, the next
/// piece starts a new message. For checksums only; MD5 is no protection against forgery.
/// Threads: an object belongs to one thread at a time.
/// Units: lengths are bytes.
class VESKO_API CMd5 {
public:
    /// Makes the object ready for a message.
    CMd5();
    ~CMd5();
    CMd5(const CMd5&) = delete;
    CMd5& operator=(const CMd5&) = delete;

    /// Discards what was fed and any result, and makes the object ready for a new message.
    void init();

    /// Adds bytes to the message. Null or no bytes do nothing, and so start no new message either.
    void update(const unsigned char* data, unsigned int length);

    /// Ends the message and gives its digest, as often as asked.
    /// @param digest room for 16 bytes; null is reported in the log and leaves the message open
    void final(unsigned char* digest);

    /// Ends the message and gives its digest as 32 lowercase hexadecimal characters.
    /// @param hash room for 32 characters, to which no terminating zero is added; null is reported
    ///             in the log and leaves the message open
    void hex(char* hash);

private:
    Md5Internal* m_internal;
};

}  // namespace Tovra::Utils
