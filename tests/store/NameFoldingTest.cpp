#include "NameFolding.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>

namespace paramcor::store {
namespace {

TEST(NameFolding, UpperCasesAndCountsLikeWindows) {
    const struct {
        std::string name;
        std::string folded;
    } names[] = {
        {"Software\\cvl_Param-1 ÿ", "SOFTWARE\\CVL_PARAM-1 Ÿ"},
        {"÷ × ß µ ĸŉſ ı", "÷ × ß µ ĸŉſ ı"},  // no capital, or none in Windows' table
        {"ștefan ǆ ǅ ƀ ɓ σς", "ȘTEFAN Ǆ ǅ Ƀ Ɓ Σς"},
        {"ёжик ђ ґ ӂ ӏ հայերեն", "ЁЖИК Ђ Ґ Ӂ Ӏ ՀԱՅԵՐԵՆ"},
        {"ɐ ẞ ạ ა 日本語 😀", "ɐ ẞ ạ ა 日本語 😀"},  // capitals from U+0800 on: not in the table
        // Not UTF-8: the bytes stay, the ASCII letters around them are still folded.
        {"caf\xE9 \xC3", "CAF\xE9 \xC3"},
        {"\xC3(a \xC0\xA1 \xE9t\xE9", "\xC3(A \xC0\xA1 \xE9T\xE9"},
    };
    for (const auto& c : names)
        EXPECT_EQ(foldName(c.name), c.folded) << c.name;

    // The ends of the table's runs of letters.
    const struct {
        char32_t c;
        char32_t upper;
    } codePoints[] = {
        {U'a', U'A'},     {U'z', U'Z'},     {U'{', U'{'},     {0x00E0, 0x00C0}, {0x00F7, 0x00F7}, {0x00FF, 0x0178},
        {0x0101, 0x0100}, {0x0100, 0x0100}, {0x013A, 0x0139}, {0x017E, 0x017D}, {0x037B, 0x03FD}, {0x03C2, 0x03C2},
        {0x03D9, 0x03D8}, {0x03F2, 0x03F9}, {0x04CF, 0x04C0}, {0x0523, 0x0522}, {0x0524, 0x0524}, {0x052F, 0x052E},
        {0x0180, 0x0243}, {0x01C5, 0x01C5}, {0x01C6, 0x01C4}, {0x0219, 0x0218}, {0x0250, 0x0250}, {0x0292, 0x01B7},
        {0x0561, 0x0531}, {0x0586, 0x0556}, {0x0587, 0x0587}, {0x03F3, 0x037F}, {0x1E01, 0x1E01},
    };
    for (const auto& c : codePoints)
        EXPECT_EQ(static_cast<std::uint32_t>(foldCodePoint(c.c)), static_cast<std::uint32_t>(c.upper))
            << std::hex << static_cast<std::uint32_t>(c.c);

    // Lengths in UTF-16 code units, as Windows counts the limits.
    const std::pair<std::string, std::size_t> lengths[] = {{"", 0}, {"Perché", 6}, {"日本", 2}, {"a😀b", 4}};
    for (const auto& [name, length] : lengths)
        EXPECT_EQ(nameLength(name), length) << name;
}

}  // namespace
}  // namespace paramcor::store
