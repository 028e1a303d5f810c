#include "texts/TextDatabase.h"

#include "base/Numbers.h"
#include "selection/MainParametri.h"
#include "texts/TextTable.h"

#include <CVLParamcor/Platform.h>

#include <QFile>
#include <QFileInfo>
#include <QLockFile>

#include <filesystem>
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

// Copies, then moves into place in one step, so that the target is never half
// written, even when the process dies during the copy.
void replaceFile(const QString& from, const QString& to, std::error_code& error) {
    const QString partial = to + QStringLiteral(".partial");
    std::filesystem::copy_file(fsPath(from), fsPath(partial), std::filesystem::copy_options::overwrite_existing, error);
    if (!error)
        std::filesystem::rename(fsPath(partial), fsPath(to), error);
    if (error) {
        std::error_code ignored;
        std::filesystem::remove(fsPath(partial), ignored);
    }
}

}  // namespace

bool TextDatabase::ApriDatabaseTesti(const Setup& setup) {
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

    std::error_code error;
    if (replace) {
        if (setup.checkFile(user, false))
            std::filesystem::copy_file(fsPath(user), fsPath(user + QStringLiteral(".old")),
                                       std::filesystem::copy_options::overwrite_existing, error);
        if (!error)
            replaceFile(delivered, user, error);
    }
    if (!error)
        std::filesystem::copy_file(fsPath(delivered), fsPath(delivered + QStringLiteral(".old")),
                                   std::filesystem::copy_options::overwrite_existing, error);
    if (!error)
        std::filesystem::remove(fsPath(delivered), error);
    if (error) {
        message(QStringLiteral("Error while copying language files") + u'\n' + delivered + u'\n' +
                    QString::number(error.value()) + u' ' + QString::fromStdString(error.message()),
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

bool TextDatabase::open(const QString& user, const Setup& setup) {
    try {
        const QString problem = texts::unusableReason(user);
        if (!problem.isEmpty())
            throw TextDatabaseError(26, problem);  // SQLITE_NOTADB
        if (setup.prepareUserFile)
            setup.prepareUserFile(user);
        SqlDatabase db(user, SqlDatabase::Mode::ReadWrite);
        db.prepare("SELECT Programma, Progressivo, TESTO_01 FROM Testi LIMIT 1");
        db_ = std::move(db);
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
