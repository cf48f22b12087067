#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "vesko/utils/base64.h"
#include "vesko/utils/ip.h"
#include "vesko/vesko3/log.h"

using namespace Tovra::Utils;

namespace {

void require(bool condition) {
    if (!condition) std::abort();
}

void checkBase64(const std::vector<char>& text) {
    std::vector<char> data(static_cast<std::size_t>(base64DecodeLen(text.data())));
    const int length = base64Decode(data.data(), text.data());
    require(length >= 0 && static_cast<std::size_t>(length) < data.size());
    require(data[static_cast<std::size_t>(length)] == '\0');
    // What was read comes back, but for the bits of a last character that stand for nothing.
    std::vector<char> again(static_cast<std::size_t>(base64EncodeLen(length)));
    require(base64Encode(again.data(), data.data(), length) == static_cast<int>(again.size()));
    require(std::memcmp(again.data(), text.data(), static_cast<std::size_t>(length / 3 * 4)) == 0);
}

void checkAddress(const char* text) {
    const Tovra::IpAddress ip = stringToIp(text);
    char shown[16];
    require(stringToIp(ipToString(ip, shown, sizeof(shown))).value == ip.value);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Tovra::Vesko::setPrintLogLevel(0);
    std::vector<char> text(data, data + size);
    text.push_back('\0');
    checkBase64(text);
    checkAddress(text.data());
    return 0;
}
