#include "vesko/utils/string.h"

#include <algorithm>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

namespace Tovra::Utils {

namespace {

// As `strlen`, but reads no more than so many bytes.
std::size_t lengthUpTo(const char* text, std::size_t most) {
    const void* const end = most > 0 ? std::memchr(text, '\0', most) : nullptr;
    return end != nullptr ? static_cast<std::size_t>(static_cast<const char*>(end) - text) : most;
}

VESKO_PRINTF(3, 0)
int formatTight(char* dest, std::size_t size, const char* format, std::va_list arguments) {
    std::va_list again;
    va_copy(again, arguments);
    int length = std::vsnprintf(dest, size, format, arguments);
    if (length >= 0 && static_cast<std::size_t>(length) >= size && size > 0) {
        // The runtime library's zero took the place of a character: it is fetched once more.
        const std::unique_ptr<char[]> text(new (std::nothrow) char[size + 1]);
        if (text != nullptr) {
            static_cast<void>(std::vsnprintf(text.get(), size + 1, format, again));
            dest[size - 1] = text[size - 1];
        } else {
            length = -1;
        }
    }
    va_end(again);
    const bool fits = length >= 0 && static_cast<std::size_t>(length) <= size;
    return fits ? length : -1;
}

VESKO_PRINTF(3, 4)
int formatUnended(char* dest, std::size_t size, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    const int length = formatTight(dest, size, format, arguments);
    va_end(arguments);
    return length;
}

int lowerCase(char letter) {
    const int code = static_cast<unsigned char>(letter);
    return code >= 'A' && code <= 'Z' ? code - 'A' + 'a' : code;
}

int compareIgnoringCase(const char* a, const char* b) {
    while (*a != '\0' && lowerCase(*a) == lowerCase(*b)) ++a, ++b;
    return lowerCase(*a) - lowerCase(*b);
}

}  // namespace

int (*snprintf)(char*, std::size_t, const char*, ...) = &formatUnended;
int (*stricmp)(const char*, const char*) = &compareIgnoringCase;

unsigned int strncat(char* dest, unsigned int destSize, const char* src, unsigned int count) {
    const std::size_t length = std::strlen(dest);
    const auto limit = std::min(static_cast<unsigned int>(destSize - length - 1), count);
    const std::size_t taken = lengthUpTo(src, limit);
    std::memcpy(dest + length, src, taken);
    dest[length + taken] = '\0';
    dest[destSize - 1] = '\0';
    return limit;
}

unsigned int strncpy(char* dest, unsigned int destSize, const char* src, unsigned int count) {
    const std::size_t limit = std::min(destSize - 1, count);
    const std::size_t taken = lengthUpTo(src, limit);
    std::memcpy(dest, src, taken);
    std::memset(dest + taken, 0, limit + 1 - taken);
    return static_cast<unsigned int>(taken);
}

int snprintf_x(char* dest, int size, const char* format, ...) {
    std::va_list arguments;
    va_start(arguments, format);
    dest[0] = '\0';  // a format that fails may write nothing
    const int length = std::vsnprintf(dest, static_cast<std::size_t>(size), format, arguments);
    va_end(arguments);
    if (length >= 0 && length < size) return length;
    dest[size - 1] = '\0';
    return static_cast<int>(std::strlen(dest));
}

}  // namespace Tovra::Utils
