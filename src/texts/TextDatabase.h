// The text database of a Parametri object: found in the folder "Testi", brought
// up to date from a newly delivered copy, and kept open for the object's life.
#pragma once

#include "texts/SqlDatabase.h"
#include "texts/TextMerge.h"

#include <QString>

namespace paramcor {

class Folders;

class TextDatabase {
public:
    static inline const QString kDelivered = QStringLiteral("CvlTrad.mdb");
    static inline const QString kUser = QStringLiteral("CvlTradU.mdb");

    // Merges or copies a delivered file, makes sure the unit rows exist, opens the
    // user file and reads the language number. False, after a message, when the
    // user file cannot be opened; the language number is read all the same unless
    // the opening itself failed.
    bool ApriDatabaseTesti(Folders& folders);

    bool isOpen() const { return static_cast<bool>(db_); }
    SqlDatabase& database() { return db_; }
    void close() { db_ = SqlDatabase(); }

    short language() const { return language_; }
    void setLanguage(short language) { language_ = language; }

    // What the last delivery did; for the tools that show it.
    const texts::MergeCounts& lastMerge() const { return lastMerge_; }

private:
    // Merges or replaces; false, after a message, when files could not be copied.
    bool deliver(const QString& delivered, const QString& user);
    bool mergeInto(const QString& delivered, const QString& user);
    bool open(const QString& user);
    void readLanguage();

    SqlDatabase db_;
    short language_ = 1;
    texts::MergeCounts lastMerge_;
};

}  // namespace paramcor
