#include "vesko/utils/ip.h"

#include <algorithm>
#include <cstdio>

#include "vesko/utils/string.h"
#include "vesko3/logmacros.h"

namespace Tovra::Utils {

char* ipToString(IpAddress ip, char* str, unsigned int size) {
    const auto part = [ip](int shift) { return static_cast<int>(ip.value >> shift & 255); };
    constexpr unsigned int enough = 16;
    snprintf_x(str, static_cast<int>(std::min(size, enough)), "%d.%d.%d.%d", part(24), part(16),
               part(8), part(0));
    return str;
}

IpAddress stringToIp(const char* str) {
    int parts[4] = {};
    const int count =
        str != nullptr ? std::sscanf(str, "%d.%d.%d.%d", &parts[0], &parts[1], &parts[2], &parts[3])
                       : 0;
    if (count != 4) {
        VESKO_FILTERED(warn, "param str %s is invalid\n", str != nullptr ? str : "(null)");
    }
    IpAddress ip{};
    for (const int part : parts)
        ip.value = ip.value << 8 | (static_cast<std::uint32_t>(part) & 255);
    return ip;
}

}  // namespace Tovra::Utils
