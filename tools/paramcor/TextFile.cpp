#include "TextFile.h"

#include "CommandLine.h"
#include "Session.h"
#include "Wording.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <sqlite3.h>

#include <sys/stat.h>

namespace paramcor::tool {
namespace {

[[noreturn]] void fail(sqlite3* db, const QString& file, const QString& doing) {
    throw Failure(QStringLiteral("%1: %2: %3").arg(file, doing, QString::fromUtf8(sqlite3_errmsg(db))));
}

// Why a file cannot be opened as a text database, from its first bytes; empty when
// it can be tried.
QString unusable(const QString& path) {
    QFile file(path);
    if (!file.exists())
        return tr("there is no such file");
    if (!file.open(QIODevice::ReadOnly))
        return tr("it cannot be read (%1)").arg(file.errorString());
    const QByteArray header = file.read(100);
    if (header.mid(4, 15) == "Standard Jet DB" || header.mid(4, 15) == "Standard ACE DB")
        return tr("it is an Access database from Windows, which the suite converts when it installs");
    if (!header.startsWith(QByteArrayLiteral("SQLite format 3\0")))
        return tr("it is not a text database");
    return QString();
}

QString layoutSql() {
    // As the library creates it: keys and the Italian wording compare without
    // regard to case, as the indexes of the suite's original engine did.
    QString sql = QStringLiteral(
        "CREATE TABLE Testi(Programma TEXT COLLATE NOCASE, Progressivo TEXT COLLATE NOCASE, "
        "TESTO_01 TEXT COLLATE NOCASE");
    for (int n = 2; n <= kLanguages; ++n)
        sql += QStringLiteral(", %1 TEXT").arg(languageColumn(n));
    sql += QStringLiteral(
        ", DataCreazione TEXT, DataModifica TEXT, Tradotti TEXT, "
        "ModificatoDalCliente INTEGER NOT NULL DEFAULT 0, Commento TEXT, ChiaviRicerca TEXT);"
        "CREATE UNIQUE INDEX TestiK1 ON Testi(Programma, Progressivo);"
        "CREATE INDEX TestiK2 ON Testi(TESTO_01);"
        "CREATE TABLE Versione(Versione TEXT);"
        "INSERT INTO Versione VALUES('6.0.0');");
    return sql;
}

}  // namespace

QString languageColumn(int language) {
    return (language == 1 ? QStringLiteral("TESTO_") : QStringLiteral("Testo_")) +
           QStringLiteral("%1").arg(language, 2, 10, QLatin1Char('0'));
}

Statement::Statement(sqlite3* db, const char* sql, const QString& file) : db_(db), file_(file) {
    if (sqlite3_prepare_v2(db, sql, -1, &statement_, nullptr) != SQLITE_OK)
        fail(db_, file_, tr("cannot read it as a text database"));
}

Statement::~Statement() {
    sqlite3_finalize(statement_);
}

Statement& Statement::bind(int index, const QString& text) {
    const QByteArray bytes = text.toUtf8();
    sqlite3_bind_text64(statement_, index, bytes.constData(), static_cast<sqlite3_uint64>(bytes.size()),
                        SQLITE_TRANSIENT, SQLITE_UTF8);
    return *this;
}

Statement& Statement::bind(int index, qint64 number) {
    sqlite3_bind_int64(statement_, index, number);
    return *this;
}

bool Statement::step() {
    const int rc = sqlite3_step(statement_);
    if (rc == SQLITE_ROW)
        return true;
    if (rc != SQLITE_DONE)
        fail(db_, file_, tr("cannot read or write it"));
    return false;
}

void Statement::run() {
    while (step()) {
    }
    reset();
}

void Statement::reset() {
    sqlite3_reset(statement_);
    sqlite3_clear_bindings(statement_);
}

QString Statement::text(int column) const {
    const auto* bytes = reinterpret_cast<const char*>(sqlite3_column_text(statement_, column));
    return bytes ? QString::fromUtf8(bytes, sqlite3_column_bytes(statement_, column)) : QString();
}

qint64 Statement::integer(int column) const {
    return sqlite3_column_int64(statement_, column);
}

void TextFile::Closer::operator()(sqlite3* db) const {
    sqlite3_close_v2(db);
}

TextFile::TextFile(const QString& path, Mode mode) : path_(path) {
    if (const QString reason = unusable(path); !reason.isEmpty())
        throw Failure(QStringLiteral("%1: %2").arg(path, reason));
    const int flags = mode == Mode::ReadOnly ? SQLITE_OPEN_READONLY : SQLITE_OPEN_READWRITE;
    sqlite3* db = nullptr;
    const int rc = sqlite3_open_v2(QFile::encodeName(path).constData(), &db, flags, nullptr);
    db_.reset(db);
    if (rc != SQLITE_OK)
        fail(db, path_, tr("cannot open it"));
    sqlite3_busy_timeout(db, 5000);  // other programs of the suite may be writing
    auto check = prepare("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'Testi'");
    if (!check->step() || check->integer(0) == 0)
        throw Failure(tr("%1: it has no table Testi: it is not a text database").arg(path_));
}

TextFile::~TextFile() = default;

std::unique_ptr<Statement> TextFile::prepare(const char* sql) {
    return std::make_unique<Statement>(db_.get(), sql, path_);
}

void TextFile::exec(const char* sql) {
    if (sqlite3_exec(db_.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK)
        fail(db_.get(), path_, QStringLiteral("cannot write it"));
}

void TextFile::requireLanguage(int language) {
    auto columns = prepare("SELECT upper(name) FROM pragma_table_info('Testi')");
    QStringList names;
    while (columns->step())
        names << columns->text(0);
    for (const QString& needed : {QStringLiteral("PROGRAMMA"), QStringLiteral("PROGRESSIVO"),
                                  QStringLiteral("TESTO_01"), languageColumn(language).toUpper()})
        if (!names.contains(needed))
            throw Failure(tr("%1: table Testi has no column %2").arg(path_, needed));
}

void TextFile::create(const QString& path) {
    const QFileInfo target(path);
    if (target.exists() || target.isSymLink())
        throw Failure(tr("%1 already exists").arg(path));
    if (!target.absoluteDir().exists())
        throw Failure(tr("%1: there is no folder %2").arg(path, target.absolutePath()));

    // Made beside its place under a temporary name, then given its name, which
    // fails rather than replace a file that appeared meanwhile.
    QTemporaryFile scratch(target.absoluteDir().filePath(QStringLiteral(".paramcor-XXXXXX")));
    if (!scratch.open())
        throw Failure(tr("%1 cannot be created: %2").arg(path, scratch.errorString()));
    scratch.close();
    sqlite3* db = nullptr;
    const QByteArray scratchName = QFile::encodeName(scratch.fileName());
    int rc = sqlite3_open_v2(scratchName.constData(), &db, SQLITE_OPEN_READWRITE, nullptr);
    if (rc == SQLITE_OK)
        rc = sqlite3_exec(db, layoutSql().toUtf8().constData(), nullptr, nullptr, nullptr);
    const QString error = QString::fromUtf8(sqlite3_errmsg(db));
    sqlite3_close_v2(db);
    if (rc != SQLITE_OK)
        throw Failure(tr("%1 cannot be created: %2").arg(path, error));

    // Every program of the workstation uses the texts: the permissions a new file
    // gets, not the private ones of a temporary file.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::chmod(scratchName.constData(), 0666 & ~mask);
    if (!QFile::rename(scratch.fileName(), path))
        throw Failure(tr("%1 cannot be created: %2")
                          .arg(path, QFileInfo::exists(path) ? tr("it already exists") : scratch.errorString()));
    scratch.setAutoRemove(false);
}

QString textFilePath(Session& session, const QString& given) {
    if (!given.isEmpty())
        return given;
    return session.parametri().Percorso(QStringLiteral("Testi")) + QStringLiteral("CvlTradU.mdb");
}

}  // namespace paramcor::tool
