#include "utils/charset/codepage936.h"

#include <cstddef>
#include <string_view>

#include "utils/charset/codepage936text.h"

namespace Tovra::Utils {

namespace {

constexpr unsigned int s_firstLead = 0x81;
constexpr std::size_t s_leadCount = 126;

using DecodeTable = std::array<DecodePage, s_leadCount>;

constexpr std::uint16_t& at(DecodeTable& table, unsigned int lead, unsigned int trail) {
    return table[lead - s_firstLead][trail];
}

// The codes between two of each, lead by lead. No trail byte is 7F.
struct Block {
    unsigned int firstLead;
    unsigned int lastLead;
    unsigned int firstTrail;
    unsigned int lastTrail;
};

constexpr Block s_symbols = {0xA1, 0xA9, 0xA1, 0xFE};
constexpr Block s_moreSymbols = {0xA8, 0xA9, 0x40, 0xA0};
constexpr Block s_hanzi = {0xB0, 0xF7, 0xA1, 0xFE};
constexpr Block s_rest[] = {{0x81, 0xA0, 0x40, 0xFE}, {0xAA, 0xFE, 0x40, 0xA0}};

// Calls take(lead, trail) for each code of a block.
template <class Take>
constexpr void walk(const Block& block, Take take) {
    for (unsigned int lead = block.firstLead; lead <= block.lastLead; ++lead) {
        for (unsigned int trail = block.firstTrail; trail <= block.lastTrail; ++trail) {
            if (trail != 0x7F) take(lead, trail);
        }
    }
}

constexpr void fill(DecodeTable& table, const Block& block, const char16_t* text) {
    walk(block, [&](unsigned int lead, unsigned int trail) {
        if (*text != u' ') at(table, lead, trail) = static_cast<std::uint16_t>(*text);
        ++text;
    });
}

// What the other codes stand for, in their order: the unified ideographs that the block of the
// commoner ones lacks, and a few compatibility ideographs.
class RestOfIdeographs {
public:
    constexpr RestOfIdeographs() {
        for (const char16_t* text = codePage936Hanzi; *text != u'\0'; ++text) {
            if (*text != u' ') m_isCommon[*text - s_first] = true;
        }
    }

    // 0 when there is none left.
    constexpr std::uint16_t next() {
        while (m_next < s_count && m_isCommon[m_next]) ++m_next;
        if (m_next < s_count) return static_cast<std::uint16_t>(s_first + m_next++);
        return *m_tail != u'\0' ? static_cast<std::uint16_t>(*m_tail++) : std::uint16_t{0};
    }

private:
    static constexpr std::size_t s_first = 0x4E00;
    static constexpr std::size_t s_count = 0x9FA6 - s_first;

    bool m_isCommon[s_count] = {};
    std::size_t m_next = 0;
    const char16_t* m_tail = codePage936Compatibility;
};

constexpr DecodeTable makeDecodeTable() {
    DecodeTable table{};
    fill(table, s_symbols, codePage936Symbols);
    fill(table, s_moreSymbols, codePage936MoreSymbols);
    fill(table, s_hanzi, codePage936Hanzi);
    RestOfIdeographs rest;
    for (const Block& block : s_rest) {
        walk(block,
             [&](unsigned int lead, unsigned int trail) { at(table, lead, trail) = rest.next(); });
    }
    return table;
}

constexpr DecodeTable s_decodeTable = makeDecodeTable();

// Characters without a code of their own that borrow one when they are encoded. A blank in a text is
// a character that borrows none, or has its own.
struct Borrowers {
    char16_t first;
    std::u16string_view lenders;
};
constexpr Borrowers s_borrowers[] = {
    {0x3192, codePage936Annotations},
    {0x322A, codePage936Bracketed},
    {0x3280, codePage936Circled},
    {0xF900, codePage936Unified},
};

// The upper-case letters among the vowels with tone marks borrow the code of the character behind them.
constexpr char16_t s_upperCase[] = {0x0100, 0x0112, 0x011A, 0x012A, 0x014C, 0x016A, 0x01CD,
                                    0x01CF, 0x01D1, 0x01D3, 0x01D5, 0x01D7, 0x01D9, 0x01DB};

struct Loan {
    char16_t borrower;
    BytePair code;
};
constexpr Loan s_loans[] = {
    {0x01C1, {0xA1, 0xCE}}, {0x203E, {0xA3, 0xFE}}, {0x2218, {0xA1, 0xE3}}, {0x223C, {0xA1, 0xAB}}};

// Where the page of an upper byte stands in the table; pages without characters have no place.
struct PagePlan {
    std::array<bool, 256> isUsed{};
    std::size_t count = 0;

    constexpr void use(unsigned int character) {
        const unsigned int upper = character >> 8;
        if (upper == 0 || isUsed[upper]) return;
        isUsed[upper] = true;
        ++count;
    }
};

constexpr PagePlan makePlan() {
    PagePlan plan;
    for (const DecodePage& page : s_decodeTable) {
        for (const std::uint16_t character : page) plan.use(character);
    }
    for (const char16_t character : s_upperCase) plan.use(character);
    for (const Loan& loan : s_loans) plan.use(loan.borrower);
    for (const Borrowers& range : s_borrowers) {
        plan.use(range.first);
        plan.use(range.first + static_cast<unsigned int>(range.lenders.size()) - 1);
    }
    return plan;
}

constexpr PagePlan s_plan = makePlan();

constexpr std::array<std::uint8_t, 256> makePlaces() {
    std::array<std::uint8_t, 256> places{};
    std::uint8_t next = 0;
    for (std::size_t upper = 0; upper < 256; ++upper) {
        if (s_plan.isUsed[upper]) places[upper] = next++;
    }
    return places;
}

constexpr std::array<std::uint8_t, 256> s_places = makePlaces();

using EncodeTable = std::array<EncodePage, s_plan.count>;

constexpr BytePair& at(EncodeTable& table, unsigned int character) {
    return table[s_places[character >> 8]][character & 255];
}

constexpr void reverse(EncodeTable& table) {
    for (std::size_t lead = 0; lead < s_leadCount; ++lead) {
        for (std::size_t trail = 0; trail < 256; ++trail) {
            const unsigned int character = s_decodeTable[lead][trail];
            if (character < 0x100) continue;
            at(table, character) = {static_cast<std::uint8_t>(s_firstLead + lead),
                                    static_cast<std::uint8_t>(trail)};
        }
    }
}

constexpr void lend(EncodeTable& table) {
    for (const char16_t character : s_upperCase) at(table, character) = at(table, character + 1U);
    for (const Loan& loan : s_loans) at(table, loan.borrower) = loan.code;
    for (const Borrowers& range : s_borrowers) {
        for (std::size_t i = 0; i < range.lenders.size(); ++i) {
            if (range.lenders[i] == u' ') continue;
            at(table, range.first + static_cast<unsigned int>(i)) = at(table, range.lenders[i]);
        }
    }
}

constexpr EncodeTable makeEncodeTable() {
    EncodeTable table{};
    reverse(table);
    lend(table);
    return table;
}

constexpr EncodeTable s_encodeTable = makeEncodeTable();

constexpr std::array<std::uint16_t, 256> makeSingle() {
    std::array<std::uint16_t, 256> single{};
    for (std::size_t byte = 0; byte < 256; ++byte) single[byte] = static_cast<std::uint16_t>(byte);
    single[0x80] = 0x20AC;
    return single;
}

constexpr std::array<const DecodePage*, 256> makeDecodePages() {
    std::array<const DecodePage*, 256> pages{};
    for (std::size_t i = 0; i < s_leadCount; ++i) pages[s_firstLead + i] = &s_decodeTable[i];
    return pages;
}

constexpr std::array<const EncodePage*, 256> makeEncodePages() {
    std::array<const EncodePage*, 256> pages{};
    for (std::size_t upper = 0; upper < 256; ++upper) {
        if (s_plan.isUsed[upper]) pages[upper] = &s_encodeTable[s_places[upper]];
    }
    return pages;
}

}  // namespace

constinit const std::array<std::uint16_t, 256> c2uSingle = makeSingle();
constinit const std::array<const DecodePage*, 256> c2uPages = makeDecodePages();
constinit const std::array<const EncodePage*, 256> u2cPages = makeEncodePages();

}  // namespace Tovra::Utils
