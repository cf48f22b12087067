#pragma once

#include <cstdint>

#include "vesko/export.h"

namespace Tovra::Component {

/// Describes a server and how to log in there.
///
/// A plain record that the caller fills and that is copied whole. The texts are not owned: a copy
/// points at the same ones, and null reads as the empty text. What the fields mean, but for
/// `userName`, is up to the class of the client. Two records that differ only in `text5`, `number3`,
/// `text9` or `reserved` describe the same server to the list of clients; the component registry
/// looks at the first four fields and `flag1` alone.
struct VESKO_API ServerInfo {
    const char* address = nullptr;
    std::int32_t port = 0;
    const char* userName = nullptr;
    const char* password = nullptr;
    const char* text1 = nullptr;
    std::uint8_t flag1 = 0;
    std::uint8_t flag2 = 0;
    const char* text2 = nullptr;
    const char* text3 = nullptr;
    const char* text4 = nullptr;
    const char* text5 = nullptr;
    std::int32_t number1 = 0;
    const char* text6 = nullptr;
    std::uint8_t flag3 = 0;
    std::int32_t number2 = 0;
    std::int32_t number3 = 0;
    const char* text7 = nullptr;
    const char* text8 = nullptr;
    const char* text9 = nullptr;
    std::uint32_t reserved[14] = {};

    /// The absence of a server, told by its address: a copy of it is a server with empty fields.
    static const ServerInfo none;
};

}  // namespace Tovra::Component
