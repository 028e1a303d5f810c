#include <CVLParamcor/Languages.h>

namespace paramcor {

const QList<LanguageInfo>& languages() {
    // Qt translates its own texts into Brazilian Portuguese only; Swedish and
    // Romanian not at all, and their buttons stay English.
    static const QList<LanguageInfo> table = [] {
        QList<LanguageInfo> list = {
            {1, QStringLiteral("Italiano"), QStringLiteral("Italian"), QStringLiteral("it"), QStringLiteral("it_IT")},
            {2, QStringLiteral("English"), QStringLiteral("English"), QStringLiteral("en"), QStringLiteral("en_GB")},
            {3, QStringLiteral("Deutsch"), QStringLiteral("German"), QStringLiteral("de"), QStringLiteral("de_DE")},
            {4, QStringLiteral("Français"), QStringLiteral("French"), QStringLiteral("fr"), QStringLiteral("fr_FR")},
            {5, QStringLiteral("Español"), QStringLiteral("Spanish"), QStringLiteral("es"), QStringLiteral("es_ES")},
            {6, QStringLiteral("Português"), QStringLiteral("Portuguese"), QStringLiteral("pt"),
             QStringLiteral("pt_BR")},
            {7, QStringLiteral("Nederlands"), QStringLiteral("Dutch"), QStringLiteral("nl"), QStringLiteral("nl_NL")},
            {8, QStringLiteral("Polski"), QStringLiteral("Polish"), QStringLiteral("pl"), QStringLiteral("pl_PL")},
            {9, QStringLiteral("Čeština"), QStringLiteral("Czech"), QStringLiteral("cs"), QStringLiteral("cs_CZ")},
            {10, QStringLiteral("Svenska"), QStringLiteral("Swedish"), QStringLiteral("sv"), QStringLiteral("sv_SE")},
            {11, QStringLiteral("Română"), QStringLiteral("Romanian"), QStringLiteral("ro"), QStringLiteral("ro_RO")},
            {12, QStringLiteral("Русский"), QStringLiteral("Russian"), QStringLiteral("ru"), QStringLiteral("ru_RU")},
        };
        for (short n = kOfferedLanguages + 1; n <= kLanguageColumns; ++n)
            list.append({n, {}, {}, {}, {}});
        return list;
    }();
    return table;
}

const LanguageInfo* languageInfo(int number) {
    if (number < 1 || number > kLanguageColumns)
        return nullptr;
    return &languages()[number - 1];
}

short languageOfCode(const QString& code) {
    const QString language = code.section(u'@', 0, 0).section(u'_', 0, 0).section(u'-', 0, 0).trimmed();
    if (language.isEmpty())
        return 0;
    for (const LanguageInfo& info : languages())
        if (info.code.compare(language, Qt::CaseInsensitive) == 0)
            return info.number;
    return 0;
}

}  // namespace paramcor
