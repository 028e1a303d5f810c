#include "param/UserSkeleton.h"

#include "regfile/RegFile.h"

#include <CVLParamcor/RegistryStore.h>

#include <QFile>
#include <QFileInfo>

namespace paramcor::workstation {

namespace {
// A skeleton is a handful of keys; anything near this size is not one.
constexpr qint64 kMaxSkeletonBytes = 16 * 1024 * 1024;

QString storeFailure(RegistryStore& store, const regfile::Imported& done) {
    const std::string why = store.diagnostic(done.failedHive);
    return QStringLiteral("%1\\%2 could not be %3 (error %4)%5")
        .arg(regfile::hiveName(done.failedHive), QString::fromStdString(done.failedPath),
             QLatin1String(done.failedDoing))
        .arg(done.failure)
        .arg(why.empty() ? QString() : QStringLiteral(": ") + QString::fromStdString(why));
}

// The file is checked and parsed whole before anything is written.
QString readSkeleton(const QString& file, regfile::Document& document) {
    QFile in(file);
    if (!QFileInfo(file).isFile())  // a pipe would never end
        return QStringLiteral("%1 cannot be read: it is not a plain file").arg(file);
    if (!in.open(QIODevice::ReadOnly))
        return QStringLiteral("%1 cannot be read: %2").arg(file, in.errorString());
    try {
        document = regfile::parse(in, kMaxSkeletonBytes);
    } catch (const regfile::FormatError& error) {
        return (error.line() > 0 ? QStringLiteral("%1:%2: ").arg(file).arg(error.line()) : file + QStringLiteral(": ")) +
               error.message();
    }
    for (const regfile::Key& key : document.keys)
        if (key.hive != Hive::CurrentUser)
            return QStringLiteral("%1 writes %2, outside HKEY_CURRENT_USER: a new user's settings are theirs alone")
                .arg(file, regfile::hiveName(key.hive));
    return {};
}

QString cannotWrite(RegistryStore& store, long rc) {
    return QStringLiteral("the user's settings cannot be written (error %1): %2")
        .arg(rc)
        .arg(QString::fromStdString(store.diagnostic(Hive::CurrentUser)));
}

}  // namespace

QString importUserSkeleton(RegistryStore& store, const QString& file) {
    if (!QFileInfo::exists(file))
        return {};
    const long begun = store.beginBatch(Hive::CurrentUser);
    // A program that may not write (a reading command) leaves the hive to be made,
    // and the skeleton to be imported, by the first one that does.
    if (begun == regerr::AccessDenied)
        return {};
    if (begun != regerr::Success && begun != regerr::InvalidFunction)
        return cannotWrite(store, begun);
    regfile::Document document;
    QString problem = readSkeleton(file, document);
    if (problem.isEmpty()) {
        const regfile::Imported done = regfile::importInto(store, document);
        if (done.failure != regerr::Success)
            problem = storeFailure(store, done);
    }
    if (!problem.isEmpty()) {
        store.abortBatch(Hive::CurrentUser);
        return problem;
    }
    if (const long rc = store.commitBatch(Hive::CurrentUser); rc != regerr::Success && rc != regerr::InvalidFunction)
        return cannotWrite(store, rc);
    return {};
}

}  // namespace paramcor::workstation
