#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace Tovra::Vesko::Detail {

/// The qualified name in a function's full signature: "void A::f(int)" becomes "A::f". Operators
/// with an angle bracket in their name, and conversions, come out shortened.
template <std::size_t size>
class QualifiedName {
public:
    consteval explicit QualifiedName(const char (&signature)[size]) {
        const std::string_view name = qualifiedName({signature, size - 1});
        for (std::size_t i = 0; i < name.size(); ++i) m_text[i] = name[i];
    }

    constexpr const char* text() const { return m_text.data(); }

private:
    // The parameters open with the first parenthesis outside angle brackets that is not part of
    // "(anonymous namespace)" or "operator()", and does not open a result that points at a function.
    static constexpr std::size_t parametersOf(std::string_view signature) {
        constexpr std::string_view notParameters[] = {"(anonymous", "()(", "(*"};
        int depth = 0;
        for (std::size_t i = 0; i < signature.size(); ++i) {
            if (signature[i] == '<') ++depth;
            if (signature[i] == '>') --depth;
            if (signature[i] != '(' || depth > 0) continue;
            bool opens = true;
            for (const std::string_view other : notParameters) {
                if (signature.substr(i, other.size()) == other) opens = false;
            }
            if (opens) return i;
        }
        return signature.size();
    }

    // Behind the result type, which ends in the last blank, star or ampersand before the name.
    static constexpr std::string_view qualifiedName(std::string_view signature) {
        const std::size_t end = parametersOf(signature);
        std::size_t begin = end;
        int depth = 0;
        while (begin > 0) {
            const char before = signature[begin - 1];
            if (before == '>' || before == ')' || before == '}') ++depth;
            if (before == '<' || before == '(' || before == '{') --depth;
            if (depth == 0 && (before == ' ' || before == '*' || before == '&')) break;
            --begin;
        }
        return signature.substr(begin, end - begin);
    }

    std::array<char, size> m_text{};
};

}  // namespace Tovra::Vesko::Detail
