#pragma once

#include <cstdint>

#include "utils/aes/aeskernels.h"

namespace Tovra::Utils {

/// A mode of AES: a stream of blocks or bytes in one direction.
class AesInternal {
public:
    AesInternal() = default;
    virtual ~AesInternal() = default;
    AesInternal(const AesInternal&) = delete;
    AesInternal& operator=(const AesInternal&) = delete;

    virtual bool encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) = 0;
    virtual bool decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) = 0;

protected:
    // Reports a key that is null.
    static bool isGiven(const unsigned char* key, const char* name);

    // Reports a cipher that has no round keys.
    bool isReady() const;

    bool inited = false;
};

namespace AES {

/// Takes a key, which may be null, of a number of bits, which may be wrong.
class CAesECB final : public AesInternal {
public:
    CAesECB(const unsigned char* key, int bits);
    bool encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;
    bool decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;

private:
    AesKey encKey;
    AesKey decKey;
};

// The others take 16 bytes as well, where null stands for zeros.

class CAesCBC final : public AesInternal {
public:
    CAesCBC(const unsigned char* key, int bits, const unsigned char* first);
    bool encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;
    bool decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;

private:
    AesKey encKey;
    AesKey decKey;
    unsigned char iv[aesBlockBytes] = {};  // the last block of ciphertext
};

class CAesCFB8 final : public AesInternal {
public:
    CAesCFB8(const unsigned char* key, int bits, const unsigned char* first);
    bool encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;
    bool decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;

private:
    // The next byte of the key stream.
    unsigned char streamByte() const;
    void shiftIn(unsigned char cipherByte);

    AesKey encKey;
    unsigned char iv[aesBlockBytes] = {};  // the last bytes of ciphertext
};

class CAesCFB128 final : public AesInternal {
public:
    CAesCFB128(const unsigned char* key, int bits, const unsigned char* first);
    bool encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;
    bool decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;

private:
    void refill();
    unsigned char encryptByte(unsigned char plain);
    unsigned char decryptByte(unsigned char cipher);
    void encryptBlocks(unsigned char* dst, const unsigned char* src, std::size_t blockCount);
    void decryptBlocks(unsigned char* dst, const unsigned char* src, std::size_t blockCount);

    AesKey encKey;
    std::uint32_t offset = 0;              // in the block that is under way
    unsigned char iv[aesBlockBytes] = {};  // ciphertext before `offset`, key stream behind it
};

class CAesCTR final : public AesInternal {
public:
    CAesCTR(const unsigned char* key, int bits, const unsigned char* first);
    bool encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;
    bool decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) override;

private:
    // One block at least.
    void makeStream(unsigned char* stream, std::size_t blockCount);
    void applyBlocks(unsigned char* dst, const unsigned char* src, std::size_t blockCount);

    AesKey encKey;
    std::uint32_t offset = 0;                   // in `streamBlock`
    unsigned char counter[aesBlockBytes] = {};  // of the next block, big-endian
    unsigned char streamBlock[aesBlockBytes] = {};
};

}  // namespace AES

}  // namespace Tovra::Utils
