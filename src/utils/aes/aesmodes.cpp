#include "utils/aes/aesmodes.h"

#include <algorithm>
#include <cstring>

#include "vesko3/logmacros.h"

namespace Tovra::Utils {

namespace {

// Modes whose blocks do not wait for one another hand so many at a time to the kernel.
constexpr std::size_t s_batchBlocks = 32;

void runForward(const AesKey& key, unsigned char* dst, const unsigned char* src,
                std::size_t blockCount) {
    static AesBlocks* const s_run = fastest(aesEncryptKernels());
    s_run(key, dst, src, blockCount);
}

void runBackward(const AesKey& key, unsigned char* dst, const unsigned char* src,
                 std::size_t blockCount) {
    static AesBlocks* const s_run = fastest(aesDecryptKernels());
    s_run(key, dst, src, blockCount);
}

bool isWhole(unsigned int length) { return length % aesBlockBytes == 0; }

void copyBlock(unsigned char* dst, const unsigned char* src) {
    std::memcpy(dst, src, aesBlockBytes);
}

// `dst` may be one of the others.
void combine(unsigned char* dst, const unsigned char* a, const unsigned char* b,
             std::size_t sizeBytes) {
    for (std::size_t i = 0; i < sizeBytes; ++i) dst[i] = static_cast<unsigned char>(a[i] ^ b[i]);
}

// Calls work(dst, src, count) for one batch of blocks after another.
template <class Work>
void inBatches(unsigned char* dst, const unsigned char* src, std::size_t blockCount, Work work) {
    while (blockCount > 0) {
        const std::size_t count = std::min(blockCount, s_batchBlocks);
        work(dst, src, count);
        dst += count * aesBlockBytes;
        src += count * aesBlockBytes;
        blockCount -= count;
    }
}

// A stream of bytes that is made block by block: ends the block that is under way, takes what is
// whole as blocks, and begins a block for the rest. `refill` makes the key stream of a block.
template <class Refill, class Byte, class Blocks>
void walk(std::uint32_t& offset, unsigned char* dst, const unsigned char* src, std::size_t length,
          Refill refill, Byte byte, Blocks blocks) {
    const auto takeBytes = [&](std::size_t count) {
        for (std::size_t i = 0; i < count; ++i) {
            *dst++ = byte(*src++);
            offset = (offset + 1) % aesBlockBytes;
        }
    };
    const std::size_t head = std::min(length, (aesBlockBytes - offset) % aesBlockBytes);
    takeBytes(head);
    const std::size_t whole = (length - head) / aesBlockBytes;
    blocks(dst, src, whole);
    dst += whole * aesBlockBytes;
    src += whole * aesBlockBytes;
    const std::size_t tail = (length - head) % aesBlockBytes;
    if (tail > 0) refill();
    takeBytes(tail);
}

void setVector(unsigned char (&vector)[aesBlockBytes], const unsigned char* first) {
    if (first != nullptr) copyBlock(vector, first);
}

}  // namespace

bool AesInternal::isGiven(const unsigned char* key, const char* name) {
    if (key == nullptr) VESKO_FILTERED(error, "%s key is NULL\n", name);
    return key != nullptr;
}

bool AesInternal::isReady() const {
    if (!inited) VESKO_FILTERED(error, "aes init failed.\n");
    return inited;
}

namespace AES {

CAesECB::CAesECB(const unsigned char* key, int bits) {
    if (!isGiven(key, "AesECB")) return;
    inited = encKey.setForward(key, bits) && decKey.setBackward(key, bits);
}

bool CAesECB::encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady() || !isWhole(length)) return false;
    runForward(encKey, dst, src, length / aesBlockBytes);
    return true;
}

bool CAesECB::decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady() || !isWhole(length)) return false;
    runBackward(decKey, dst, src, length / aesBlockBytes);
    return true;
}

CAesCBC::CAesCBC(const unsigned char* key, int bits, const unsigned char* first) {
    if (!isGiven(key, "AesCBC")) return;
    inited = encKey.setForward(key, bits) && decKey.setBackward(key, bits);
    setVector(iv, first);
}

bool CAesCBC::encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady() || !isWhole(length)) return false;
    for (std::size_t at = 0; at < length; at += aesBlockBytes) {
        combine(iv, iv, src + at, aesBlockBytes);
        runForward(encKey, iv, iv, 1);
        copyBlock(dst + at, iv);
    }
    return true;
}

bool CAesCBC::decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady() || !isWhole(length)) return false;
    inBatches(dst, src, length / aesBlockBytes,
              [this](unsigned char* plain, const unsigned char* cipher, std::size_t count) {
                  unsigned char work[s_batchBlocks * aesBlockBytes];
                  runBackward(decKey, work, cipher, count);
                  combine(work, work, iv, aesBlockBytes);
                  combine(work + aesBlockBytes, work + aesBlockBytes, cipher,
                          (count - 1) * aesBlockBytes);
                  copyBlock(iv, cipher + (count - 1) * aesBlockBytes);
                  std::memcpy(plain, work, count * aesBlockBytes);  // which may end the ciphertext
              });
    return true;
}

CAesCFB8::CAesCFB8(const unsigned char* key, int bits, const unsigned char* first) {
    if (!isGiven(key, "AesCFB8")) return;
    inited = encKey.setForward(key, bits);
    setVector(iv, first);
}

unsigned char CAesCFB8::streamByte() const {
    unsigned char stream[aesBlockBytes];
    runForward(encKey, stream, iv, 1);
    return stream[0];
}

void CAesCFB8::shiftIn(unsigned char cipherByte) {
    std::memmove(iv, iv + 1, aesBlockBytes - 1);
    iv[aesBlockBytes - 1] = cipherByte;
}

bool CAesCFB8::encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady()) return false;
    for (unsigned int i = 0; i < length; ++i) {
        dst[i] = static_cast<unsigned char>(src[i] ^ streamByte());
        shiftIn(dst[i]);
    }
    return true;
}

bool CAesCFB8::decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady()) return false;
    for (unsigned int i = 0; i < length; ++i) {
        const unsigned char cipherByte = src[i];
        dst[i] = static_cast<unsigned char>(cipherByte ^ streamByte());
        shiftIn(cipherByte);
    }
    return true;
}

CAesCFB128::CAesCFB128(const unsigned char* key, int bits, const unsigned char* first) {
    if (!isGiven(key, "AesCFB128")) return;
    inited = encKey.setForward(key, bits);
    setVector(iv, first);
}

void CAesCFB128::refill() { runForward(encKey, iv, iv, 1); }

unsigned char CAesCFB128::encryptByte(unsigned char plain) {
    iv[offset] = static_cast<unsigned char>(iv[offset] ^ plain);
    return iv[offset];
}

unsigned char CAesCFB128::decryptByte(unsigned char cipher) {
    const auto plain = static_cast<unsigned char>(iv[offset] ^ cipher);
    iv[offset] = cipher;
    return plain;
}

void CAesCFB128::encryptBlocks(unsigned char* dst, const unsigned char* src,
                               std::size_t blockCount) {
    for (; blockCount > 0; --blockCount, src += aesBlockBytes, dst += aesBlockBytes) {
        refill();
        combine(iv, iv, src, aesBlockBytes);
        copyBlock(dst, iv);
    }
}

// The key stream of a block waits for the ciphertext before it alone, which is all there.
void CAesCFB128::decryptBlocks(unsigned char* dst, const unsigned char* src,
                               std::size_t blockCount) {
    inBatches(dst, src, blockCount,
              [this](unsigned char* plain, const unsigned char* cipher, std::size_t count) {
                  unsigned char stream[s_batchBlocks * aesBlockBytes];
                  copyBlock(stream, iv);
                  std::memcpy(stream + aesBlockBytes, cipher, (count - 1) * aesBlockBytes);
                  copyBlock(iv, cipher + (count - 1) * aesBlockBytes);
                  runForward(encKey, stream, stream, count);
                  combine(plain, cipher, stream, count * aesBlockBytes);
              });
}

bool CAesCFB128::encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady()) return false;
    walk(
        offset, dst, src, length, [this] { refill(); },
        [this](unsigned char plain) { return encryptByte(plain); },
        [this](auto... blocks) { encryptBlocks(blocks...); });
    return true;
}

bool CAesCFB128::decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady()) return false;
    walk(
        offset, dst, src, length, [this] { refill(); },
        [this](unsigned char cipher) { return decryptByte(cipher); },
        [this](auto... blocks) { decryptBlocks(blocks...); });
    return true;
}

CAesCTR::CAesCTR(const unsigned char* key, int bits, const unsigned char* first) {
    if (!isGiven(key, "AesCTR")) return;
    inited = encKey.setForward(key, bits);
    setVector(counter, first);
}

void CAesCTR::makeStream(unsigned char* stream, std::size_t blockCount) {
    std::size_t made = 0;
    do {
        copyBlock(stream + made * aesBlockBytes, counter);
        // Onwards from the last byte, as far as there is something to carry.
        for (std::size_t at = aesBlockBytes; at > 0 && ++counter[at - 1] == 0; --at) {
        }
    } while (++made < blockCount);
    runForward(encKey, stream, stream, blockCount);
}

void CAesCTR::applyBlocks(unsigned char* dst, const unsigned char* src, std::size_t blockCount) {
    inBatches(dst, src, blockCount,
              [this](unsigned char* to, const unsigned char* from, std::size_t count) {
                  unsigned char stream[s_batchBlocks * aesBlockBytes];
                  makeStream(stream, count);
                  combine(to, from, stream, count * aesBlockBytes);
                  copyBlock(streamBlock, stream + (count - 1) * aesBlockBytes);
              });
}

bool CAesCTR::encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    if (!isReady()) return false;
    walk(
        offset, dst, src, length, [this] { makeStream(streamBlock, 1); },
        [this](unsigned char from) {
            return static_cast<unsigned char>(from ^ streamBlock[offset]);
        },
        [this](auto... blocks) { applyBlocks(blocks...); });
    return true;
}

bool CAesCTR::decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    return encrypt(dst, src, length);
}

}  // namespace AES

}  // namespace Tovra::Utils
