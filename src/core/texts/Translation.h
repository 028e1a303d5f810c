// Looking texts up in the current language, by Italian wording or by key.
//
// Lookups are the hot path of every program: each caption and message goes
// through them. What was found is kept in memory, per language, and forgotten when
// the language changes or when another connection has committed a change to the
// text database, which is checked once at the start of each burst of lookups, when
// the language is read again too.
#pragma once

#include <QHash>
#include <QString>

#include <memory>
#include <optional>

namespace paramcor {

class MainParametri;
class TextDatabase;
class TextDatabaseError;
class SqlStatement;

// A lookup never fails: when the database does, the wording comes back as it would
// without a database, and the failure is shown once for the object's life. The
// database is tried again at the next burst of lookups.
class Translation {
public:
    // `tempFolder` ends with a separator: the missing-text log lives there. The
    // language is kept in the current user's store of `selection`.
    Translation(TextDatabase& texts, MainParametri& selection, const QString& tempFolder);
    ~Translation();

    QString TraduciChiave(const QString& Programma, const QString& Progressivo, const QString& Caratteri);
    QString Traduci(const QString& Testo, const QString& Caratteri);

    bool debug() const { return debug_; }
    void DebugTraduzioni(bool on);

    // The language: read from the store (fallback 3) or written to it.
    short readLanguage();
    void writeLanguage(short language);
    // A new user's first language, from the login, unless the shop's settings for
    // new users stored one: stored, and the answer while nothing is stored (a first
    // program that may not write, such as a reading tool).
    void welcome(short language);
    // Whether the user's hive holds a language at all.
    bool languageStored();

    static QString stripCharacters(const QString& Testo, const QString& Caratteri);

private:
    QString findWording(const QString& Testo, const QString& Caratteri, bool Completa);
    void RegistraTestoMancante(const QString& Riga) const;
    // Once per burst: the language again, and whether the texts changed.
    void refreshAfterQuiet();
    // Drops what was found when another connection has changed the texts.
    void checkForChanges();
    // Whether `previous` lies outside [now - 2, now + 1]: a new burst, or the
    // timer went back to zero at midnight.
    static bool quietSince(double previous, double now) { return !(previous >= now - 2 && previous <= now + 1); }
    void setLanguage(short language);
    short readLanguage(QString& stored);
    bool usable() const;
    void retryAfterQuiet(double now);
    void databaseFailed(const TextDatabaseError& error);

    struct Found {
        bool found = false;
        QString value;  // a NULL cell reads as empty
    };
    struct Statements;
    Statements& statements();
    Found seekWording(const QString& wording);
    Found seekKey(const QString& program, const QString& key);
    std::optional<QString> scanWithout(const QString& core, const QString& Caratteri);

    TextDatabase& texts_;
    MainParametri& selection_;
    const QString& tempFolder_;
    QString missingLanguage_ = QStringLiteral("1");  // the language when none is stored
    bool debug_ = false;
    bool suspended_ = false;  // the database failed in this burst
    bool reported_ = false;
    double previousLookup_ = 0;
    double previousKeyLookup_ = 0;
    double previousAnyLookup_ = 0;
    qint64 dataVersion_ = -1;
    short statementsLanguage_ = 0;
    std::unique_ptr<Statements> statements_;
    QHash<QString, QString> byWording_;  // Traduci without characters to remove, debug off
    QHash<QString, QString> byKey_;
};

}  // namespace paramcor
