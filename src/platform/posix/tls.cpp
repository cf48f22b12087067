#include "platform/tls.h"

#include <pthread.h>

namespace Tovra::Platform {

std::uint32_t TlsAlloc() {
    pthread_key_t key{};
    // No destructor: a slot holds plain values, or memory that its user owns.
    return ::pthread_key_create(&key, nullptr) == 0 ? key : TLS_OUT_OF_INDEXES;
}

bool TlsFree(std::uint32_t index) { return ::pthread_key_delete(index) == 0; }

void* TlsGetValue(std::uint32_t index) { return ::pthread_getspecific(index); }

bool TlsSetValue(std::uint32_t index, const void* value) {
    return ::pthread_setspecific(index, value) == 0;
}

}  // namespace Tovra::Platform
