// The user's corrections to the translations: finding texts in the user text file,
// correcting a translation for every program that shares its wording (marked as
// the customer's, so that deliveries leave it alone), and the mails that carry
// every correction to the maker.
#pragma once

#include "base/SqlDatabase.h"

#include <QDateTime>
#include <QString>

#include <vector>

namespace paramcor::texts {

struct TextEntry {
    QString shown;  // the text in the column searched
    QString italian;
    QString translation;
};

struct CorrectionMail {
    QString number;  // "k/m"
    QString subject;
    QString body;
    QString fileName;  // its name in the outbox, without extension
    std::vector<TextEntry> entries;
};

class Corrections {
public:
    static constexpr int kRowsPerMail = 100;

    // Opens its own connection to the user text file. Throws TextDatabaseError.
    Corrections(const QString& path, short language);

    short language() const { return language_; }

    // The rows whose Italian wording, or translation, contains `text` without regard
    // to case, in the order of that column.
    std::vector<TextEntry> search(const QString& text, bool inTranslation);
    // Every row with this Italian wording takes the translation.
    void correct(const QString& italian, const QString& translation);
    // Every correction ever made, by Italian wording, in mails of at most
    // kRowsPerMail rows; none when there is nothing to send.
    std::vector<CorrectionMail> mails(const QDateTime& now);

private:
    SqlDatabase db_;
    short language_;
    QString column_;
};

}  // namespace paramcor::texts
