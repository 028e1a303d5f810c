// Registry key and value names compare case-insensitively. Windows compares them by
// their upper-case form, character by character, so the store keeps that form as the
// lookup key of every name.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace paramcor::store {

// The edition of the table below. Hives remember the edition their names were
// folded with, and a writer folds them again when it opens a hive of an older one:
// raise it whenever the table changes. 1: Latin-1, Latin Extended-A, Greek and
// Cyrillic; 2: Latin Extended-B, IPA, Armenian and the rest below U+0800.
constexpr int kFoldingEdition = 2;

// The upper-case form of a character, as Windows upper-cases names: the letters below
// U+0800 (Latin, Greek, Cyrillic, Armenian...) map to their capitals there; every other
// character is its own upper case. Windows also folds some letters from U+0800 on
// (Latin Extended Additional, Greek Extended, Georgian, full-width forms...), and a few
// below whose capitals lie above: names that differ only in the case of those are two
// names here and one name on Windows.
char32_t foldCodePoint(char32_t c);

// Upper-cases a UTF-8 name in place. Every character that changes keeps its UTF-8
// length, so the byte length and the positions of the backslashes are kept; bytes
// that are not valid UTF-8 are left as they are.
void foldInPlace(std::string& name);

std::string foldName(std::string_view name);

// The length of a UTF-8 name in UTF-16 code units, which is what Windows counts
// when it limits the length of a name.
std::size_t nameLength(std::string_view name);

}  // namespace paramcor::store
