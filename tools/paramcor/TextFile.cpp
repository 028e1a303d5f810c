#include "TextFile.h"

#include "Files.h"
#include "Output.h"
#include "Session.h"
#include "Wording.h"
#include "texts/SharedFolderFiles.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QTemporaryFile>

#include <sys/stat.h>

namespace paramcor::tool {
namespace {

[[noreturn]] void fail(const QString& file, const QString& doing, const TextDatabaseError& error) {
    throw Failure(QStringLiteral("%1: %2: %3").arg(file, doing, error.message()));
}

// Why a file cannot be opened as a text database, from its first bytes; empty when
// it can be tried.
QString unusable(const QString& path) {
    QFile file(path);
    if (const QString why = whyUnreachable(path); !why.isEmpty())
        return why;
    if (!file.open(QIODevice::ReadOnly))
        return tr("it cannot be read (%1)").arg(file.errorString());
    const QByteArray header = file.read(100);
    if (header.mid(4, 15) == "Standard Jet DB" || header.mid(4, 15) == "Standard ACE DB")
        return tr("it is an Access database from Windows, which the suite converts when it installs");
    if (!header.startsWith(QByteArrayLiteral("SQLite format 3\0")))
        return tr("it is not a text database");
    return QString();
}

bool othersMayWrite(const QString& folder) {
    struct stat status {};
    return ::stat(QFile::encodeName(folder).constData(), &status) == 0 && (status.st_mode & (S_IWGRP | S_IWOTH));
}

}  // namespace

TextFile::TextFile(const QString& path, Mode mode) : path_(path) {
    // SQLite follows a link and writes through it: in a folder others may write (the
    // shared texts) only a plain file of ours or of the folder's group is written.
    if (mode != Mode::ReadOnly && othersMayWrite(QFileInfo(path).absolutePath()))
        if (const QString refused = texts::refusedFileReason(path); !refused.isEmpty())
            throw Failure(refused);
    if (const QString reason = unusable(path); !reason.isEmpty())
        throw Failure(QStringLiteral("%1: %2").arg(path, reason));
    // A reader of texts that a stopped program left for an operator to repair reads
    // them as last committed; the library has said so once already.
    QString file = path;
    if (mode == Mode::ReadOnly && texts::waitsForRollback(path)) {
        copyFolder_ = std::make_unique<QTemporaryDir>();
        file = copyFolder_->isValid() ? texts::lastCommittedCopy(path, copyFolder_->path()) : QString();
        if (file.isEmpty())
            throw Failure(tr("%1: a program that stopped while changing it left it for an operator to repair").arg(path));
    }
    try {
        db_ = SqlDatabase(file, mode == Mode::ReadOnly ? SqlDatabase::Mode::ReadOnly : SqlDatabase::Mode::ReadWrite);
    } catch (const TextDatabaseError& error) {
        fail(path_, tr("cannot open it"), error);
    }
    auto check = prepare("SELECT count(*) FROM sqlite_master WHERE type = 'table' AND name = 'Testi'");
    if (!check.step() || check.integer(0) == 0)
        throw Failure(tr("%1: it has no table Testi: it is not a text database").arg(path_));
}

SqlStatement TextFile::prepare(const char* sql) {
    try {
        return db_.prepare(sql);
    } catch (const TextDatabaseError& error) {
        fail(path_, tr("cannot read it as a text database"), error);
    }
}

void TextFile::exec(const char* sql) {
    try {
        db_.exec(sql);
    } catch (const TextDatabaseError& error) {
        fail(path_, QStringLiteral("cannot write it"), error);
    }
}

void TextFile::requireLanguage(int language) {
    auto columns = prepare("SELECT upper(name) FROM pragma_table_info('Testi')");
    QStringList names;
    while (columns.step())
        names << columns.text(0);
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
    try {
        SqlDatabase db(scratch.fileName(), SqlDatabase::Mode::ReadWrite);
        texts::createLayout(db);
    } catch (const TextDatabaseError& error) {
        throw Failure(tr("%1 cannot be created: %2").arg(path, error.message()));
    }
    const QByteArray scratchName = QFile::encodeName(scratch.fileName());

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
