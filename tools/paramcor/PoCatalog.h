// gettext PO files, read and written by libgettextpo, the library of gettext's own
// tools, so that what translators' tools (Poedit, Weblate, Lokalize) write is read
// as gettext reads it.
#pragma once

#include <QByteArray>
#include <QString>

#include <vector>

namespace paramcor::tool::po {

struct Entry {
    QString context;      // msgctxt
    QString source;       // msgid
    QString translation;  // msgstr; empty when not translated
    QString comment;      // extracted comment (#.)
    bool fuzzy = false;
    bool hasContext = true;
    int line = 0;  // of its msgid in the file read; 0 when not known
};

struct Catalog {
    QString header;  // the msgstr of the header entry: "Field: value" lines
    std::vector<Entry> entries;
};

// Reads a PO file in UTF-8. A fault throws Failure with the file and line.
Catalog read(const QString& path);

// The bytes of a PO file in UTF-8 holding `catalog`.
QByteArray write(const Catalog& catalog);

// A field of a header ("Language"), or empty.
QString headerField(const QString& header, const char* field);

}  // namespace paramcor::tool::po
