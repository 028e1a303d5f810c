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

// Windows' upper-case table for the scripts our programs name things in. Windows
// leaves some letters alone that Unicode would change: the micro sign, the dotless
// i, the long s and the final sigma have no capital here.
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
    {0x03F8, 0x03F8, 1, -1},
    {0x03FB, 0x03FB, 1, -1},
    // Cyrillic and Cyrillic Supplement
    {0x0430, 0x044F, 1, -0x20},
    {0x0450, 0x045F, 1, -0x50},
    {0x0461, 0x0481, 2, -1},
    {0x048B, 0x04BF, 2, -1},
    {0x04C2, 0x04CE, 2, -1},
    {0x04CF, 0x04CF, 1, -0x0F},
    {0x04D1, 0x04FF, 2, -1},
    {0x0501, 0x0523, 2, -1},
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
