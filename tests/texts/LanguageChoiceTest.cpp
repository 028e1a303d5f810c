// The language window's choice: the language it starts from, whether a confirmed
// choice changes anything, and which languages look installed.
#include "texts/LanguageChoice.h"

#include <CVLParamcor/Languages.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <gtest/gtest.h>

namespace paramcor {
namespace {

TEST(LanguageChoice, StartsFromTheCurrentLanguageAndChangesOnlyOnAnotherOne) {
    QTemporaryDir testi;
    // 1 and 3 hold files; 2 has its folder, but empty; 4 has none.
    for (const char* folder : {"1", "2", "3"})
        ASSERT_TRUE(QDir(testi.path()).mkdir(folder));
    for (const char* file : {"1/CvlLing.txt", "3/Leggimi.txt"})
        ASSERT_TRUE(QFile(testi.filePath(file)).open(QIODevice::WriteOnly));
    const texts::LanguageChoice choice(3, testi.path() + "/");
    EXPECT_EQ(choice.chosen(), 3);
    for (int language = 1; language <= 4; ++language)
        EXPECT_EQ(choice.installed(language), language == 1 || language == 3) << language;
    EXPECT_EQ(texts::LanguageChoice(0, testi.path()).chosen(), 1);

    // The current language, the languages clicked, and whether confirming changes it.
    const std::tuple<short, std::vector<short>, bool> cases[] = {
        {3, {1, 3}, false}, {3, {}, false}, {3, {5}, true}, {0, {1}, true}, {2, {12}, true}};
    for (const auto& [current, clicks, changed] : cases) {
        texts::LanguageChoice choice(current, testi.path());
        for (const short language : clicks)
            choice.choose(language);
        EXPECT_FALSE(choice.changed());
        choice.confirm();
        EXPECT_EQ(choice.changed(), changed) << current;
    }
}

TEST(Languages, EveryColumnHasItsRowAndCodesAreFoundWhateverTheirRegion) {
    for (short n = 1; n <= kLanguageColumns; ++n)
        EXPECT_EQ(languageInfo(n)->number, n);
    EXPECT_EQ(languageInfo(kLanguageColumns + 1), nullptr);
    for (const auto& [code, language] : {std::pair{"pt-BR", 6}, {"DE_ch", 3}, {"sr@latin", 0}, {"", 0}})
        EXPECT_EQ(languageOfCode(code), language) << code;
}

}  // namespace
}  // namespace paramcor
