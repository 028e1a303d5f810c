// The text database of a Parametri object: found in the folder "Testi", brought
// up to date from a newly delivered copy, and kept open for the object's life.
#pragma once

#include "base/SqlDatabase.h"
#include "texts/TextMerge.h"

#include <QString>
#include <QTemporaryDir>

#include <functional>
#include <memory>

namespace paramcor {

class MainParametri;

class TextDatabase {
public:
    static inline const QString kDelivered = QStringLiteral("CvlTrad.mdb");
    static inline const QString kUser = QStringLiteral("CvlTradU.mdb");

    // What the opening needs from the creation sequence around it.
    struct Setup {
        QString folder;  // the folder "Testi", ending with a separator
        // Whether a file is there and may be written; says why not when told to.
        std::function<bool(const QString& path, bool warnIfMissing)> checkFile;
        // Runs on the user file once it is open (the unit rows). A
        // TextDatabaseError stops the opening with its message.
        std::function<void(SqlDatabase& user)> prepareUserFile;
    };

    // The language is read from the current selection, which the caller has set.
    explicit TextDatabase(MainParametri& selection) : selection_(selection) {}

    // Merges or copies a delivered file, prepares the user file, opens it and reads
    // the language number. False, after a message, when the user file cannot be
    // opened; the language number is read all the same unless the opening itself
    // failed.
    bool open(const Setup& setup);

    bool isOpen() const { return static_cast<bool>(db_); }
    SqlDatabase& database() { return db_; }
    void close() { db_ = SqlDatabase(); }
    // The user file opened last.
    const QString& path() const { return path_; }

    short language() const { return language_; }
    void setLanguage(short language) { language_ = language; }

    // What the last delivery did; for the tools that show it.
    const texts::MergeCounts& lastMerge() const { return lastMerge_; }

private:
    // Merges or replaces; false, after a message, when files could not be copied.
    bool deliver(const QString& delivered, const QString& user, const Setup& setup);
    bool mergeInto(const QString& delivered, const QString& user);
    bool open(const QString& user, const Setup& setup);
    // The texts as last committed, in a private copy whose journal this process
    // rolls back itself; empty, after a message, when no copy could be made.
    QString lastCommittedCopy(const QString& user);
    void readLanguage();

    MainParametri& selection_;
    std::unique_ptr<QTemporaryDir> copyFolder_;  // declared first: it outlives db_
    SqlDatabase db_;
    QString path_;
    short language_ = 1;
    texts::MergeCounts lastMerge_;
};

}  // namespace paramcor
