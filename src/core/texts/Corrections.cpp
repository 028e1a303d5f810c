#include "texts/Corrections.h"

#include "texts/TextTable.h"

#include <sqlite3.h>

namespace paramcor::texts {
namespace {

// contiene(text, part): whether `part` occurs in `text` without regard to case,
// for every alphabet (SQLite's LIKE folds ASCII letters only).
void containsFunction(sqlite3_context* context, int, sqlite3_value** values) {
    const auto* text = static_cast<const char16_t*>(sqlite3_value_text16(values[0]));
    const auto* part = static_cast<const char16_t*>(sqlite3_value_text16(values[1]));
    if (text == nullptr || part == nullptr) {
        sqlite3_result_int(context, 0);
        return;
    }
    const QString haystack = QString::fromUtf16(text, sqlite3_value_bytes16(values[0]) / 2);
    const QString needle = QString::fromUtf16(part, sqlite3_value_bytes16(values[1]) / 2);
    sqlite3_result_int(context, haystack.contains(needle, Qt::CaseInsensitive) ? 1 : 0);
}

}  // namespace

Corrections::Corrections(const QString& path, short language)
    : db_(path, SqlDatabase::Mode::ReadWrite), language_(language),
      column_(languageColumn(language >= 1 && language <= kLanguages ? language : 1)) {
    sqlite3_create_function_v2(db_.handle(), "contiene", 2, SQLITE_UTF16 | SQLITE_DETERMINISTIC, nullptr,
                               &containsFunction, nullptr, nullptr, nullptr);
}

std::vector<TextEntry> Corrections::search(const QString& text, bool inTranslation) {
    const QString column = inTranslation ? column_ : languageColumn(1);
    // The text is bound, never written into the SQL: apostrophes and bars need nothing.
    const QString sql =
        QStringLiteral("SELECT TESTO_01, %1, %2 FROM Testi WHERE contiene(%2, ?1) ORDER BY %2 ASC").arg(column_, column);
    SqlStatement select = db_.prepare(sql.toUtf8().constData());
    select.bind(1, text.isNull() ? QStringLiteral("") : text);
    std::vector<TextEntry> found;
    while (select.step())
        found.push_back({select.text(2), select.text(0), select.text(1)});
    return found;
}

void Corrections::correct(const QString& italian, const QString& translation) {
    const QString sql = QStringLiteral("UPDATE Testi SET %1 = ?1, ModificatoDalCliente = 1, DataModifica = ?2 WHERE %2")
                            .arg(column_, wordingIs(3));
    SqlTransaction transaction(db_);
    db_.prepare(sql.toUtf8().constData()).bind(1, translation).bind(2, today()).bind(3, italian).run();
    transaction.commit();
}

std::vector<CorrectionMail> Corrections::mails(const QDateTime& now) {
    std::vector<TextEntry> rows;
    const QString sql =
        QStringLiteral("SELECT TESTO_01, %1 FROM Testi WHERE ModificatoDalCliente <> 0 ORDER BY TESTO_01 ASC")
            .arg(column_);
    SqlStatement select = db_.prepare(sql.toUtf8().constData());
    while (select.step())
        rows.push_back({select.text(0), select.text(0), select.text(1)});

    const QString number = QString::number(language_);
    const QString stamp = now.toString(QStringLiteral("yyyyMMdd-HHmmss"));
    const int count = static_cast<int>((rows.size() + kRowsPerMail - 1) / kRowsPerMail);
    std::vector<CorrectionMail> mails;
    for (int k = 1; k <= count; ++k) {
        CorrectionMail mail;
        mail.number = QStringLiteral("%1/%2").arg(k).arg(count);
        mail.subject = QStringLiteral("[CVLTRAD] Lang=%1 (Mail %2)").arg(number, mail.number);
        mail.fileName = QStringLiteral("CVLTRAD-Lang%1-%2-%3di%4").arg(number, stamp).arg(k).arg(count);
        const auto first = rows.begin() + static_cast<qsizetype>(k - 1) * kRowsPerMail;
        const auto last = k == count ? rows.end() : first + kRowsPerMail;
        mail.entries.assign(first, last);
        // The Italian column's number, then the language's; the blanks are the maker's format.
        for (const TextEntry& row : mail.entries)
            mail.body += QStringLiteral("1:") + row.italian + QStringLiteral(" \n") + number + u':' + row.translation +
                         QStringLiteral(" \n \n");
        mails.push_back(std::move(mail));
    }
    return mails;
}

}  // namespace paramcor::texts
