#pragma once

#include "vesko/export.h"

namespace Tovra::Utils {

struct Sha1Internal;

/// SHA-1 of a message that arrives in pieces (FIPS 180).
///
/// One object digests any number of messages, one after another: once a result was read, the next
/// piece starts a new message. SHA-1 no longer protects against forgery.
/// Threads: an object belongs to one thread at a time.
/// Units: lengths are bytes.
class VESKO_API CSha1 {
public:
    /// Makes the object ready for a message.
    CSha1();
    ~CSha1();
    CSha1(const CSha1&) = delete;
    CSha1& operator=(const CSha1&) = delete;

    /// Adds bytes to the message. Null or no bytes do nothing, and so start no new message either.
    void update(const unsigned char* data, unsigned int length);

    /// Ends the message and gives its digest, as often as asked.
    /// @param hash   receives 20 bytes
    /// @param length room in `hash`; a null `hash` or less than 20 is reported in the log and
    ///               leaves the message open
    void final(unsigned char* hash, unsigned int length);

    /// Ends the message and gives its digest as 40 lowercase hexadecimal characters.
    /// @param str    receives the characters, and a terminating zero where there is room for it
    /// @param length room in `str`; a null `str` or less than 40 is reported in the log and leaves
    ///               the message open
    void hex(char* str, unsigned int length);

private:
    Sha1Internal* m_internal;
};

}  // namespace Tovra::Utils
