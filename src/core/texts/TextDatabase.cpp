#include "texts/TextDatabase.h"

#include "base/Numbers.h"
#include "selection/MainParametri.h"
#include "texts/SharedFolderFiles.h"
#include "texts/TextTable.h"

#include <CVLParamcor/Platform.h>

#include <QFile>
#include <QFileInfo>
#include <QLockFile>
#include <QSet>

#include <filesystem>
#include <mutex>
#include <system_error>

namespace paramcor {
namespace {

const QString kTitle = QStringLiteral("CVLParamCor");

std::filesystem::path fsPath(const QString& path) {
    return std::filesystem::path(path.toStdU16String());
}

void message(const QString& text, int flags, const QString& title = QString()) {
    platform().messages->show(text, flags, title);
}

}  // namespace

bool TextDatabase::open(const Setup& setup) {
    const QString delivered = setup.folder + kDelivered;
    const QString user = setup.folder + kUser;
    lastMerge_ = {};

    if (setup.checkFile(delivered, false)) {
        // Programs that start together must not both consume the delivery: the
        // second waits, then finds it gone.
        // The lock names the program that holds it; when that program is no longer
        // running the lock is stale and the wait ends.
        QLockFile lock(delivered + QStringLiteral(".lock"));
        lock.setStaleLockTime(0);
        bool locked = lock.tryLock(1000);
        if (!locked && lock.error() == QLockFile::LockFailedError) {
            qint64 pid = 0;
            QString host;
            QString program;
            lock.getLockInfo(&pid, &host, &program);
            message(QStringLiteral("Waiting for another program to finish delivering the language files") + u'\n' +
                        delivered + u'\n' + QStringLiteral("%1 (process %2)").arg(program).arg(pid),
                    mb::Information, kTitle);
            locked = lock.tryLock(119000);
        }
        if (locked && QFile::exists(delivered) && !deliver(delivered, user, setup))
            return false;
    }
    if (!setup.checkFile(user, true)) {
        message(QStringLiteral("Cannot open language file") + u'\n' + user, mb::Critical);
        readLanguage();
        return false;
    }
    if (!open(user, setup))
        return false;
    readLanguage();
    return true;
}

bool TextDatabase::deliver(const QString& delivered, const QString& user, const Setup& setup) {
    const QString deliveredProblem = texts::unusableReason(delivered);
    if (!deliveredProblem.isEmpty()) {
        message(QStringLiteral("Cannot use the delivered language file") + u'\n' + delivered + u'\n' + deliveredProblem,
                mb::Critical, kTitle);
        return true;  // nothing consumed: the user file opens as it is
    }

    // Whether the file is free: renamed away and straight back, whatever happens.
    if (setup.checkFile(user, false)) {
        const QString scratch = QFileInfo(user).path() + QStringLiteral("/test.mdb");
        QFile::rename(user, scratch);
        QFile::rename(scratch, user);
    }

    bool replace = true;
    if (setup.checkFile(user, false)) {
        if (!texts::unusableReason(user).isEmpty())
            return true;  // not ours to overwrite; the opening says what is wrong with it
        try {
            replace = !mergeInto(delivered, user);
        } catch (const TextDatabaseError& error) {
            // Rolled back: both files are as they were, and the delivery waits.
            message(QStringLiteral("Error while merging language files") + u'\n' + user + u'\n' +
                        QString::number(error.code()) + u' ' + error.message(),
                    mb::Critical, kTitle);
            return true;
        }
    }

    // Every file written here is a new one renamed into place: the folder is shared,
    // and a name in it may be a link someone planted.
    QString problem;
    if (replace && setup.checkFile(user, false))
        problem = texts::copyIntoPlace(user, user + QStringLiteral(".old"));
    if (replace && problem.isEmpty())
        problem = texts::copyIntoPlace(delivered, user);
    if (problem.isEmpty())
        problem = texts::copyIntoPlace(delivered, delivered + QStringLiteral(".old"));
    std::error_code error;
    if (problem.isEmpty() && !std::filesystem::remove(fsPath(delivered), error) && error)
        problem = QString::number(error.value()) + u' ' + QString::fromStdString(error.message());
    if (!problem.isEmpty()) {
        message(QStringLiteral("Error while copying language files") + u'\n' + delivered + u'\n' + problem,
                mb::Critical);
        return false;
    }
    return true;
}

// False when the user file is too old or of another width, and must be replaced.
bool TextDatabase::mergeInto(const QString& delivered, const QString& user) {
    SqlDatabase userDb(user, SqlDatabase::Mode::ReadWrite);
    const QString version = texts::formatVersion(userDb).trimmed();
    // A plain text comparison, as the suite has always made it: "10.0.0" is older.
    if (version.isEmpty() || version < texts::kFormatVersion)
        return false;
    if (!texts::hasTheLayoutColumns(userDb)) {
        message(QStringLiteral("Wrong Fields No. for: ") + u'\n' + u'\n' + user, mb::Information, kTitle);
        return false;
    }
    SqlDatabase deliveredDb(delivered, SqlDatabase::Mode::ReadOnly);
    if (!texts::hasTheLayoutColumns(deliveredDb)) {
        message(QStringLiteral("Wrong Fields No. for: ") + u'\n' + u'\n' + delivered, mb::Information, kTitle);
        return false;
    }
    lastMerge_ = texts::mergeTexts(userDb, deliveredDb);
    return true;
}

QString TextDatabase::lastCommittedCopy(const QString& user) {
    auto folder = std::make_unique<QTemporaryDir>();
    const QString copy = folder->isValid() ? texts::lastCommittedCopy(user, folder->path()) : QString();
    if (copy.isEmpty()) {
        message(QStringLiteral("Error while opening language files") + u'\n' + user + u'\n' +
                    QStringLiteral("a program that stopped while changing the texts left them for an operator to "
                                   "repair, and no copy of the texts saved before could be made"),
                mb::Critical);
        return QString();
    }
    // Once per program, not once per object.
    static std::mutex toldLock;
    static QSet<QString> told;
    const std::lock_guard lock(toldLock);
    if (!told.contains(user)) {
        told.insert(user);
        message(QStringLiteral("The texts were left half changed by a program that stopped") + u'\n' + user + u'\n' +
                    QStringLiteral("Only an operator may repair them, which the next program of an operator does. "
                                   "Until then this program reads the texts as they were last saved."),
                mb::Information, kTitle);
    }
    copyFolder_ = std::move(folder);
    return copy;
}

bool TextDatabase::open(const QString& user, const Setup& setup) {
    // A reader never writes the copy: what it would write there would be lost.
    const bool stuck = texts::waitsForRollback(user);
    const QString file = stuck ? lastCommittedCopy(user) : user;
    if (file.isEmpty())
        return false;
    try {
        // Opened once: each opening reads the whole layout again.
        QString problem = texts::unusableFileReason(file);
        std::optional<SqlDatabase> db;
        if (problem.isEmpty())
            db = texts::openTextTable(file, stuck ? SqlDatabase::Mode::ReadOnly : SqlDatabase::Mode::ReadWrite,
                                      problem);
        if (!db)
            throw TextDatabaseError(26, problem);  // SQLITE_NOTADB
        if (setup.prepareUserFile && !stuck)
            setup.prepareUserFile(*db);
        db->prepare("SELECT Programma, Progressivo, TESTO_01 FROM Testi LIMIT 1");
        db_ = std::move(*db);
        path_ = user;
        return true;
    } catch (const TextDatabaseError& error) {
        message(QStringLiteral("Error while opening language files") + u'\n' + user + u'\n' +
                    QString::number(error.code()) + u' ' + error.message(),
                mb::Critical);
        return false;
    }
}

// The suite-wide language: no program or section is selected at this point.
void TextDatabase::readLanguage() {
    const double number = roundHalfEven(
        leadingNumber(selection_.ReadString(QStringLiteral("Lingua"), QStringLiteral("1"))));
    language_ = number < 1 || number > 32767 ? 2 : static_cast<short>(number);
}

}  // namespace paramcor
