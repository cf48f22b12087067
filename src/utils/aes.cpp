#include "vesko/utils/aes.h"

#include <new>

#include "utils/aes/aesmodes.h"
#include "vesko3/logmacros.h"

namespace Tovra::Utils {

namespace {

AesInternal* newMode(EncMode mode, const unsigned char* key, KeyBits bits,
                     const unsigned char* iv) {
    switch (mode) {
        case modeECB:
            return new (std::nothrow) AES::CAesECB(key, bits);
        case modeCBC:
            return new (std::nothrow) AES::CAesCBC(key, bits, iv);
        case modeCFB8:
            return new (std::nothrow) AES::CAesCFB8(key, bits, iv);
        case modeCFB128:
            return new (std::nothrow) AES::CAesCFB128(key, bits, iv);
        case modeCTR:
            return new (std::nothrow) AES::CAesCTR(key, bits, iv);
    }
    return nullptr;
}

bool isMade(const AesInternal* mode) {
    if (mode == nullptr) VESKO_FILTERED(error, "aes init failed.\n");
    return mode != nullptr;
}

}  // namespace

CAes::CAes(EncMode mode, const unsigned char* key, KeyBits bits, const unsigned char* iv)
    : m_internal(newMode(mode, key, bits, iv)) {}

CAes::~CAes() {
    delete m_internal;
    m_internal = nullptr;
}

CAes& CAes::operator=(const CAes& other) = default;

bool CAes::encrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    return isMade(m_internal) && m_internal->encrypt(dst, src, length);
}

bool CAes::decrypt(unsigned char* dst, const unsigned char* src, unsigned int length) {
    return isMade(m_internal) && m_internal->decrypt(dst, src, length);
}

}  // namespace Tovra::Utils
