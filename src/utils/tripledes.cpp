#include "vesko/utils/tripledes.h"

#include <algorithm>
#include <cassert>
#include <cstring>

#include "utils/byteorder.h"
#include "utils/des.h"
#include "vesko/vesko3/locks.h"
#include "vesko3/logmacros.h"

namespace Tovra::Utils {

namespace {

using BlockFunction = void(const unsigned char* src, unsigned char* dst);

}  // namespace

/// Everything a CTripleDes knows.
struct TripleDesInternal {
    unsigned char key[24];  // filled up with zeros
    unsigned int keyLength;
    unsigned char iv[16];
    bool useIv;
    BlockFunction* cipher;
};

namespace {

// The round keys of the call that is under way: no object holds its own.
DesKeys keyFirst;
DesKeys keySecond;
DesKeys keyThird;

DesBlock loadBlock(const unsigned char* src) { return {loadBig32(src), loadBig32(src + 4)}; }

void storeBlock(unsigned char* dst, DesBlock block) {
    storeBig32(dst, block.left);
    storeBig32(dst + 4, block.right);
}

void singleDes(const unsigned char* src, unsigned char* dst) {
    storeBlock(dst, desPass(keyFirst, loadBlock(src)));
}

void tripleDes(const unsigned char* src, unsigned char* dst) {
    storeBlock(dst, desPasses(keyFirst, keySecond, keyThird, loadBlock(src)));
}

void doubleBlock(const unsigned char* src, unsigned char* dst) {
    DesBlock a = desPass(keyFirst, loadBlock(src));
    DesBlock b = desPass(keyFirst, loadBlock(src + 8));
    std::swap(a.right, b.left);
    a = desPass(keySecond, a);
    b = desPass(keySecond, b);
    std::swap(a.right, b.left);
    storeBlock(dst, desPass(keyThird, a));
    storeBlock(dst + 8, desPass(keyThird, b));
}

BlockFunction* blockFunctionFor(unsigned int keyLength, BlockType blockType) {
    if (keyLength <= 8) return &singleDes;
    return blockType == block16 ? &doubleBlock : &tripleDes;
}

unsigned int blockSizeOf(const TripleDesInternal& record) {
    return record.cipher == &doubleBlock ? 16 : 8;
}

void setKeys(const TripleDesInternal& record, bool encrypts) {
    const unsigned char* const first = record.key;
    const unsigned char* const second = record.key + 8;
    const unsigned char* const third = record.keyLength <= 16 ? first : record.key + 16;
    if (record.keyLength <= 8) {
        keyFirst = encrypts ? desKeysForward(first) : desKeysReversed(first);
    } else if (encrypts) {
        keyFirst = desKeysForward(first);
        keySecond = desKeysReversed(second);
        keyThird = desKeysForward(third);
    } else {
        keyFirst = desKeysReversed(third);
        keySecond = desKeysForward(second);
        keyThird = desKeysReversed(first);
    }
}

template <std::size_t BlockSize>
void combine(unsigned char* dst, const unsigned char* a, const unsigned char* b) {
    for (std::size_t i = 0; i < BlockSize; ++i) dst[i] = static_cast<unsigned char>(a[i] ^ b[i]);
}

// One block of a message. `chain` points at the block that the next one is combined with.

struct EBCEnDeCryptOp {
    template <std::size_t BlockSize, class Fn>
    static void apply(Fn cipher, unsigned char* dst, const unsigned char* src,
                      const unsigned char*&) {
        cipher(src, dst);
    }
};

template <int encrypts>
struct CBCEnDeCryptOp {
    template <std::size_t BlockSize, class Fn>
    static void apply(Fn cipher, unsigned char* dst, const unsigned char* src,
                      const unsigned char*& chain) {
        unsigned char work[BlockSize];
        if constexpr (encrypts != 0) {
            combine<BlockSize>(work, src, chain);
            cipher(work, dst);
            chain = dst;
        } else {
            cipher(src, work);
            combine<BlockSize>(dst, work, chain);
            chain = src;
        }
    }
};

template <std::size_t BlockSize, class Fn, class Op>
void en_de_crypt(Fn cipher, const unsigned char* iv, unsigned char* dst, const unsigned char* src,
                 std::size_t size) {
    const unsigned char* chain = iv;
    for (; size > 0; size -= BlockSize) {
        assert(size >= BlockSize);
        Op::template apply<BlockSize>(cipher, dst, src, chain);
        src += BlockSize;
        dst += BlockSize;
    }
}

template <class Op>
void runBlocks(const TripleDesInternal& record, unsigned char* dst, const unsigned char* src,
               std::size_t size) {
    const auto run = blockSizeOf(record) == 16 ? &en_de_crypt<16, BlockFunction*, Op>
                                               : &en_de_crypt<8, BlockFunction*, Op>;
    run(record.cipher, record.iv, dst, src, size);
}

bool hasBuffers(const unsigned char* dst, const unsigned char* src) {
    if (src == nullptr) {
        Vesko::logError("en_de_crypt(): src is NULL!!\n");
        return false;
    }
    if (dst == nullptr) {
        Vesko::logError("en_de_crypt(): dst is NULL!!\n");
        return false;
    }
    return true;
}

// All calls of the process take turns, whatever they do, because they share the round keys.
Vesko::CMutex& turns() {
    static Vesko::CMutex& s_mutex = *new Vesko::CMutex;  // threads may outlive the static objects
    return s_mutex;
}

template <int encrypts>
void runWithKeys(const TripleDesInternal& record, unsigned char* dst, const unsigned char* src,
                 std::size_t size) {
    const Vesko::CGuard guard(turns());
    setKeys(record, encrypts != 0);
    if (record.useIv) {
        runBlocks<CBCEnDeCryptOp<encrypts>>(record, dst, src, size);
    } else {
        runBlocks<EBCEnDeCryptOp>(record, dst, src, size);
    }
}

}  // namespace

CTripleDes::CTripleDes(const unsigned char* key, unsigned int keyLength, BlockType blockType,
                       const unsigned char* iv)
    : m_internal(new TripleDesInternal()) {
    TripleDesInternal& record = *m_internal;
    record.keyLength = std::min<unsigned int>(keyLength, sizeof(record.key));
    if (record.keyLength > 0) std::memcpy(record.key, key, record.keyLength);
    record.cipher = blockFunctionFor(record.keyLength, blockType);
    record.useIv = iv != nullptr;
    const unsigned int block_size = blockSizeOf(record);
    assert(block_size > 0);
    assert(sizeof(m_internal->iv) >= block_size);
    if (record.useIv) std::memcpy(record.iv, iv, block_size);
}

CTripleDes::~CTripleDes() { delete m_internal; }

bool CTripleDes::encrypt(unsigned char* dst, const unsigned char* src, unsigned int size) {
    return run(true, dst, src, size);
}

bool CTripleDes::decrypt(unsigned char* dst, const unsigned char* src, unsigned int size) {
    return run(false, dst, src, size);
}

bool CTripleDes::run(bool encrypts, unsigned char* dst, const unsigned char* src,
                     unsigned int size) {
    assert(m_internal);
    if (m_internal->keyLength == 0) {
        VESKO_DIRECT_OBJECT(logError, "key_length is %d,is unvalid!\n", 0);
        return false;
    }
    const std::size_t realSize = size - size % blockSizeOf(*m_internal);
    if (realSize != size) {
        VESKO_DIRECT_OBJECT(logError,
                            "CTripleDes::encrypt(): size is not the multiple of %s 'BlockSize'!!! "
                            "size(%zu), real_size(%zu)\n",
                            encrypts ? "the" : "th", std::size_t{size}, realSize);
    }
    const auto work = encrypts ? &runWithKeys<1> : &runWithKeys<0>;
    if (hasBuffers(dst, src)) work(*m_internal, dst, src, realSize);
    return realSize == size;
}

}  // namespace Tovra::Utils
