#include "NameFolding.h"

#include <cstdint>

namespace paramcor::store {

namespace {

// A run of small letters whose capitals sit at a fixed distance: every `step`-th
// character from `first` to `last` maps to itself plus `delta`.
struct CaseRun {
    char32_t first;
    char32_t last;
    char32_t step;
    int delta;
};

// Windows' upper-case table for the characters below U+0800, whose UTF-8 takes two
// bytes at most: the simple upper case of Unicode, where the capital is below U+0800
// too. Windows leaves some letters alone that Unicode would change: the micro sign,
// the dotless i, the long s, the final sigma and the title-case digraphs (ǅ) have no
// capital here. The Windows suite compares this table with the registry's.
constexpr CaseRun kRuns[] = {
    // Latin-1 Supplement
    {0x00E0, 0x00F6, 1, -0x20},
    {0x00F8, 0x00FE, 1, -0x20},
    {0x00FF, 0x00FF, 1, 0x79},  // ÿ -> Ÿ
    // Latin Extended-A: capital and small letters alternate
    {0x0101, 0x012F, 2, -1},
    {0x0133, 0x0137, 2, -1},
    {0x013A, 0x0148, 2, -1},
    {0x014B, 0x0177, 2, -1},
    {0x017A, 0x017E, 2, -1},
    // Latin Extended-B (Romanian ș and ț, the Croatian digraphs...) and IPA letters
    // with a capital there
    {0x0180, 0x0180, 1, 0xC3},
    {0x0183, 0x0185, 2, -1},
    {0x0188, 0x018C, 4, -1},
    {0x0192, 0x0192, 1, -1},
    {0x0195, 0x0195, 1, 0x61},
    {0x0199, 0x0199, 1, -1},
    {0x019A, 0x019A, 1, 0xA3},
    {0x019E, 0x019E, 1, 0x82},
    {0x01A1, 0x01A5, 2, -1},
    {0x01A8, 0x01AD, 5, -1},
    {0x01B0, 0x01B4, 4, -1},
    {0x01B6, 0x01B9, 3, -1},
    {0x01BD, 0x01BD, 1, -1},
    {0x01BF, 0x01BF, 1, 0x38},
    {0x01C6, 0x01CC, 3, -2},  // ǆ -> Ǆ, ǉ -> Ǉ, ǌ -> Ǌ
    {0x01CE, 0x01DC, 2, -1},
    {0x01DD, 0x01DD, 1, -0x4F},
    {0x01DF, 0x01EF, 2, -1},
    {0x01F3, 0x01F3, 1, -2},
    {0x01F5, 0x01F9, 4, -1},
    {0x01FB, 0x021F, 2, -1},
    {0x0223, 0x0233, 2, -1},
    {0x023C, 0x0242, 6, -1},
    {0x0247, 0x024F, 2, -1},
    {0x0253, 0x0253, 1, -0xD2},
    {0x0254, 0x0254, 1, -0xCE},
    {0x0256, 0x0257, 1, -0xCD},
    {0x0259, 0x0259, 1, -0xCA},
    {0x025B, 0x025B, 1, -0xCB},
    {0x0260, 0x0260, 1, -0xCD},
    {0x0263, 0x0263, 1, -0xCF},
    {0x0268, 0x0268, 1, -0xD1},
    {0x0269, 0x026F, 6, -0xD3},
    {0x0272, 0x0272, 1, -0xD5},
    {0x0275, 0x0275, 1, -0xD6},
    {0x0280, 0x0283, 3, -0xDA},
    {0x0288, 0x0288, 1, -0xDA},
    {0x0289, 0x0289, 1, -0x45},
    {0x028A, 0x028B, 1, -0xD9},
    {0x028C, 0x028C, 1, -0x47},
    {0x0292, 0x0292, 1, -0xDB},
    // Greek
    {0x0371, 0x0373, 2, -1},
    {0x0377, 0x0377, 1, -1},
    {0x037B, 0x037D, 1, 0x82},
    {0x03AC, 0x03AC, 1, -0x26},
    {0x03AD, 0x03AF, 1, -0x25},
    {0x03B1, 0x03C1, 1, -0x20},
    {0x03C3, 0x03CB, 1, -0x20},
    {0x03CC, 0x03CC, 1, -0x40},
    {0x03CD, 0x03CE, 1, -0x3F},
    {0x03D7, 0x03D7, 1, -8},
    {0x03D9, 0x03EF, 2, -1},
    {0x03F2, 0x03F2, 1, 7},
    {0x03F3, 0x03F3, 1, -0x74},
    {0x03F8, 0x03FB, 3, -1},
    // Cyrillic and Cyrillic Supplement
    {0x0430, 0x044F, 1, -0x20},
    {0x0450, 0x045F, 1, -0x50},
    {0x0461, 0x0481, 2, -1},
    {0x048B, 0x04BF, 2, -1},
    {0x04C2, 0x04CE, 2, -1},
    {0x04CF, 0x04CF, 1, -0x0F},
    {0x04D1, 0x052F, 2, -1},
    // Armenian
    {0x0561, 0x0586, 1, -0x30},
};

bool isContinuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

}  // namespace

char32_t foldCodePoint(char32_t c) {
    if (c < 0x80)
        return (c >= U'a' && c <= U'z') ? c - 0x20 : c;
    for (const CaseRun& run : kRuns) {
        if (c < run.first)
            break;  // the runs are in ascending order
        if (c <= run.last && (c - run.first) % run.step == 0)
            return static_cast<char32_t>(static_cast<std::int32_t>(c) + run.delta);
    }
    return c;
}

void foldInPlace(std::string& name) {
    // Every letter with a capital in the table, and its capital, lies between U+0080
    // and U+07FF: only ASCII and two-byte sequences can change, and they stay the
    // same size.
    const std::size_t n = name.size();
    for (std::size_t i = 0; i < n; ++i) {
        const auto byte = static_cast<unsigned char>(name[i]);
        if (byte < 0x80) {
            if (byte >= 'a' && byte <= 'z')
                name[i] = static_cast<char>(byte - 0x20);
            continue;
        }
        if (byte < 0xC2 || byte > 0xDF || i + 1 >= n)
            continue;
        const auto next = static_cast<unsigned char>(name[i + 1]);
        if (!isContinuation(next))
            continue;
        const char32_t c = (char32_t(byte & 0x1F) << 6) | char32_t(next & 0x3F);
        const char32_t upper = foldCodePoint(c);
        name[i] = static_cast<char>(0xC0 | (upper >> 6));
        name[i + 1] = static_cast<char>(0x80 | (upper & 0x3F));
        ++i;
    }
}

std::string foldName(std::string_view name) {
    std::string folded(name);
    foldInPlace(folded);
    return folded;
}

std::size_t nameLength(std::string_view name) {
    std::size_t units = 0;
    for (const char ch : name) {
        const auto byte = static_cast<unsigned char>(ch);
        if (isContinuation(byte))
            continue;
        units += byte >= 0xF0 ? 2 : 1;  // beyond the BMP: a surrogate pair
    }
    return units;
}

}  // namespace paramcor::store
