#include "texts/Translation.h"

#include "base/Numbers.h"
#include "selection/MainParametri.h"
#include "texts/TextDatabase.h"
#include "texts/TextTable.h"

#include <CVLParamcor/Platform.h>

#include <QFile>
#include <QTextStream>

#include <cstdint>
#include <vector>

namespace paramcor {
namespace {

// Letters that bound the core of a wording: plain Latin by code, and the Italian
// accented vowels.
bool isWordLetter(QChar c) {
    const char16_t u = c.unicode();
    return (u >= u'a' && u <= u'z') || (u >= u'A' && u <= u'Z') || u == u'à' || u == u'è' || u == u'ì' || u == u'ò' ||
           u == u'ù';
}

QString twoPartPrefix(const QString& Testo, int& skip) {
    if (Testo.size() > 10 && Testo.left(10).toUpper() == QLatin1String("ATTENZIONE")) {
        skip = 11;
        return QStringLiteral("Attenzione");
    }
    if (Testo.size() > 6 && Testo.left(6).toUpper() == QLatin1String("ERRORE")) {
        skip = 7;
        return QStringLiteral("Errore");
    }
    return QString();
}

QString keyOf(const QString& program, const QString& key) {
    return program + QChar(0x1F) + key;
}

}  // namespace

struct Translation::Statements {
    SqlStatement byWording;
    SqlStatement byKey;
    SqlStatement scan;
};

Translation::Translation(TextDatabase& texts, MainParametri& selection, const QString& tempFolder)
    : texts_(texts), selection_(selection), tempFolder_(tempFolder) {}

Translation::~Translation() = default;

void Translation::setLanguage(short language) {
    if (language != texts_.language()) {
        byWording_.clear();
        byKey_.clear();
    }
    texts_.setLanguage(language);
}

short Translation::readLanguage() {
    QString stored;
    return readLanguage(stored);
}

short Translation::readLanguage(QString& stored) {
    {
        const SelectionScope scope(selection_);
        selection_.selectHive(Hive::CurrentUser, false);
        stored = selection_.ReadValue(QStringLiteral("Lingua"), missingLanguage_).toString();
    }
    const double number = roundHalfEven(leadingNumber(stored));
    const short language = number < 1 || number > 32767 ? 3 : static_cast<short>(number);
    setLanguage(language);
    return language;
}

void Translation::writeLanguage(short language) {
    setLanguage(language);
    const SelectionScope scope(selection_);
    selection_.selectHive(Hive::CurrentUser, false);
    selection_.WriteValue(QStringLiteral("Lingua"), QString::number(language));
}

// Asked of the store itself: a read through the selection would warn in debug mode.
bool Translation::languageStored() {
    const SelectionScope scope(selection_);
    selection_.selectHive(Hive::CurrentUser, false);
    RegistryStore& store = *platform().registry;
    KeyHandle key = 0;
    if (store.openKey(Hive::CurrentUser, selection_.nativeKeyPath(), &key) != regerr::Success)
        return false;
    std::uint32_t type = 0;
    std::uint32_t size = 0;
    std::vector<std::uint8_t> text;
    const long rc = store.queryValue(key, "Lingua", &type, &text, 64, &size);
    store.closeKey(key);
    return rc == regerr::MoreData || (rc == regerr::Success && !text.empty() && text.front() != 0);
}

void Translation::welcome(short language) {
    if (languageStored())
        return;  // the shop's settings for new users chose it
    missingLanguage_ = QString::number(language);
    writeLanguage(language);
}

void Translation::refreshAfterQuiet() {
    const double now = platform().timer();
    retryAfterQuiet(now);
    if (quietSince(previousLookup_, now)) {
        // Assigned again as the suite always has, but only when that changes the
        // value: every write makes the other programs drop what they have found.
        QString stored;
        const short language = readLanguage(stored);
        if (stored != QString::number(language))
            writeLanguage(language);
        checkForChanges();
    }
    previousLookup_ = now;
}

void Translation::checkForChanges() {
    if (!usable())
        return;
    qint64 version = dataVersion_;
    try {
        version = texts_.database().dataVersion();
    } catch (const TextDatabaseError& error) {
        databaseFailed(error);
        return;
    }
    if (version != dataVersion_) {
        byWording_.clear();
        byKey_.clear();
        dataVersion_ = version;
    }
}

QString Translation::stripCharacters(const QString& Testo, const QString& Caratteri) {
    if (Caratteri.isEmpty())
        return Testo;
    QString kept;
    kept.reserve(Testo.size());
    for (const QChar c : Testo)
        if (!Caratteri.contains(c))
            kept += c;
    return kept;
}

bool Translation::usable() const {
    return texts_.isOpen() && !suspended_;
}

void Translation::databaseFailed(const TextDatabaseError& error) {
    statements_.reset();
    suspended_ = true;
    if (reported_)
        return;
    reported_ = true;
    platform().messages->show(QStringLiteral("Error while reading language files") + u'\n' + texts_.path() + u'\n' +
                                  QString::number(error.code()) + u' ' + error.message(),
                              mb::Critical, QString());
}

// A database that failed is tried again after a quiet moment, whichever kind of
// lookup comes then: a locked file costs one wait per burst, not one per lookup.
void Translation::retryAfterQuiet(double now) {
    if (quietSince(previousAnyLookup_, now))
        suspended_ = false;
    previousAnyLookup_ = now;
}

QString Translation::TraduciChiave(const QString& Programma, const QString& Progressivo, const QString& Caratteri) {
    if (!texts_.isOpen())
        return debug_ ? Progressivo : QStringLiteral("???");
    // Lookups by key read the language only when told, but see changed texts
    // after a quiet moment as lookups by wording do.
    const double now = platform().timer();
    retryAfterQuiet(now);
    if (quietSince(previousKeyLookup_, now))
        checkForChanges();
    previousKeyLookup_ = now;
    if (!usable())
        return debug_ ? Progressivo : QStringLiteral("???");
    const QString cacheKey = keyOf(Programma, Progressivo);
    const bool cached = !debug_ && Caratteri.isEmpty();
    if (cached) {
        const auto hit = byKey_.constFind(cacheKey);
        if (hit != byKey_.constEnd())
            return *hit;
    }
    const Found row = seekKey(Programma.toUpper(), Progressivo.toUpper());
    QString result;
    if (!usable())
        return debug_ ? Progressivo : QStringLiteral("???");
    if (!row.found)
        result = debug_ ? Progressivo : QStringLiteral("???");
    else if (row.value.isEmpty())
        result = debug_ ? QStringLiteral("!!!") : QStringLiteral("");
    else
        result = stripCharacters(row.value, Caratteri);
    if (cached)
        byKey_.insert(cacheKey, result);
    return result;
}

QString Translation::Traduci(const QString& Testo, const QString& Caratteri) {
    refreshAfterQuiet();
    const bool cached = !debug_ && Caratteri.isEmpty();
    if (cached) {
        const auto hit = byWording_.constFind(Testo);
        if (hit != byWording_.constEnd())
            return *hit;
    }
    QString result = findWording(Testo, Caratteri, false);
    if (result == Testo)
        result = findWording(Testo, Caratteri, true);
    if (cached && usable())
        byWording_.insert(Testo, result);
    return result;
}

QString Translation::findWording(const QString& Testo, const QString& Caratteri, bool Completa) {
    refreshAfterQuiet();

    int skip = 0;
    const QString first = twoPartPrefix(Testo, skip);
    if (!first.isEmpty())
        return findWording(first, QString(), false) + QStringLiteral(": ") +
               findWording(Testo.mid(skip).trimmed(), Caratteri, Completa);

    QString prefix, core = Testo, suffix;
    if (Completa && !Testo.contains(u'?')) {
        QString text = Testo;
        if (text.startsWith(u'(') && text.endsWith(u')') && text.size() >= 2)
            text = text.mid(1, text.size() - 2);
        qsizetype firstLetter = 0;
        while (firstLetter < text.size() && !isWordLetter(text.at(firstLetter)))
            ++firstLetter;
        if (firstLetter == text.size()) {
            prefix = text;
            core.clear();
        } else {
            qsizetype lastLetter = text.size() - 1;
            while (!isWordLetter(text.at(lastLetter)))
                --lastLetter;
            prefix = text.left(firstLetter);
            core = text.mid(firstLetter, lastLetter - firstLetter + 1);
            suffix = text.mid(lastLetter + 1);
        }
    }

    if (!usable())
        return prefix + core + suffix;

    QString translation = core;
    bool unknown = false;
    bool untranslated = false;
    const Found row = seekWording(core);
    if (!usable())
        return prefix + core + suffix;
    if (row.found) {
        if (!row.value.trimmed().isEmpty())
            translation = stripCharacters(row.value, Caratteri);
        else
            untranslated = true;
    } else {
        if (!Caratteri.isEmpty() && debug_) {
            if (const auto scanned = scanWithout(core, Caratteri))
                return prefix + *scanned + suffix;
            if (!usable())
                return prefix + core + suffix;
        }
        unknown = true;
    }

    QString result = prefix + translation + suffix;
    if (debug_ && Completa) {
        if (unknown) {
            RegistraTestoMancante(QStringLiteral("   MANCANTE:") + core);
            result = u'{' + result + u'}';
        } else if (untranslated) {
            RegistraTestoMancante(QStringLiteral("DA TRADURRE:") + core);
            result = u'[' + result + u']';
        }
    }
    return result;
}

void Translation::RegistraTestoMancante(const QString& Riga) const {
    QFile log(tempFolder_ + QStringLiteral("testi.txt"));
    if (log.open(QIODevice::ReadOnly)) {
        QTextStream in(&log);
        while (!in.atEnd())
            if (in.readLine() == Riga)
                return;
        log.close();
    }
    // Best effort: a log that cannot be written is not reported.
    if (log.open(QIODevice::WriteOnly | QIODevice::Append))
        log.write((Riga + QStringLiteral("\r\n")).toUtf8());
}

void Translation::DebugTraduzioni(bool on) {
    if (on == debug_)
        return;
    if (on)
        platform().messages->show(QStringLiteral("ATTENZIONE! Debug testi abilitato.") + u'\n' + u'\n' +
                                      QStringLiteral("I testi mancanti verranno aggiunti al file:") + u'\n' +
                                      tempFolder_ + QStringLiteral("testi.txt"),
                                  mb::Exclamation, QString());
    debug_ = on;
}

// The column of the language is part of the statements: they are prepared again
// when the language changes.
Translation::Statements& Translation::statements() {
    const short language = texts_.language();
    if (!statements_ || statementsLanguage_ != language) {
        SqlDatabase& db = texts_.database();
        const QString column =
            language >= 1 && language <= texts::kLanguages ? texts::languageColumn(language) : QStringLiteral("NULL");
        auto s = std::make_unique<Statements>();
        s->byWording = db.prepare(
            ("SELECT " + column + " FROM Testi WHERE " + texts::wordingIs(1) + " ORDER BY rowid LIMIT 1").toUtf8());
        s->byKey = db.prepare(("SELECT " + column + " FROM Testi WHERE " + texts::keyIs(1) + " LIMIT 1").toUtf8());
        s->scan = db.prepare(("SELECT TESTO_01, " + column + " FROM Testi ORDER BY rowid").toUtf8());
        statements_ = std::move(s);
        statementsLanguage_ = language;
    }
    return *statements_;
}

namespace {

// One row at most; the statement is ready for new values afterwards. A failure
// drops the statements, so it needs no reset.
template <typename Found>
Found stepOnce(SqlStatement& s) {
    Found found;
    found.found = s.step();
    if (found.found)
        found.value = s.text(0);
    s.reset();
    return found;
}

}  // namespace

Translation::Found Translation::seekWording(const QString& wording) {
    try {
        SqlStatement& s = statements().byWording;
        s.bind(1, wording);
        return stepOnce<Found>(s);
    } catch (const TextDatabaseError& error) {
        databaseFailed(error);
        return {};
    }
}

Translation::Found Translation::seekKey(const QString& program, const QString& key) {
    try {
        SqlStatement& s = statements().byKey;
        s.bind(1, program).bind(2, key);
        return stepOnce<Found>(s);
    } catch (const TextDatabaseError& error) {
        databaseFailed(error);
        return {};
    }
}

std::optional<QString> Translation::scanWithout(const QString& core, const QString& Caratteri) {
    const QString wanted = core.toUpper();
    std::optional<QString> result;
    try {
        SqlStatement& s = statements().scan;
        while (!result && s.step())
            if (stripCharacters(s.text(0), Caratteri).toUpper() == wanted)
                result = s.text(1);
        s.reset();
    } catch (const TextDatabaseError& error) {
        databaseFailed(error);
        return std::nullopt;
    }
    return result;
}

}  // namespace paramcor
