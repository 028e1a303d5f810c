// The registry editor's file format, as regedit writes and reads it:
//
//     Windows Registry Editor Version 5.00      (UTF-16LE with a byte-order mark, CR LF)
//
//     [HKEY_CURRENT_USER\SOFTWARE\Corvel]
//     @="default value"
//     "Name"="text with \"quotes\" and \\ backslashes"
//     "Giri"=dword:00000bb8
//     "Spessore"=hex:00,00,20,40
//     "Path"=hex(2):25,00,54,00,45,00,4d,00,50,00,25,00,5c,00,\  (a long list goes on
//       43,00,56,00,4c,00,00,00                                    after a backslash)
//     "Old"=-                                   (the value is removed)
//
//     [-HKEY_CURRENT_USER\SOFTWARE\Corvel\Old]  (the key and all below it are removed)
//
// or "REGEDIT4" in the 8-bit code page (a line in UTF-8 when it is valid UTF-8, as
// files made on Linux are, otherwise in Windows-1252). Values are kept as the store
// keeps them: text types (1, 2, 7) in UTF-8, everything else as bytes; a "hex(1)",
// "hex(2)" or "hex(7)" list holds UTF-16LE in the first format and 8-bit text in
// the second.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <QByteArray>
#include <QIODevice>
#include <QString>

#include <cstdint>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace paramcor::regfile {

enum class Format { Unicode, Regedit4 };

struct Value {
    std::string name;  // empty: the key's unnamed value, "@"
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
    bool remove = false;  // "name"=-: the value is to go
};

struct Key {
    Hive hive = Hive::CurrentUser;
    std::string path;  // below the hive; empty for the hive's root key
    std::vector<Value> values;
    bool remove = false;  // [-KEY]: the key and all below it are to go
};

struct Document {
    Format format = Format::Unicode;
    std::vector<Key> keys;  // in the file's order; a key may come more than once
};

// A fault of a file, at a line (1 the first; 0 the file as a whole), or something
// the file's format cannot hold.
class FormatError : public std::runtime_error {
public:
    FormatError(int line, const QString& message)
        : std::runtime_error(message.toStdString()), line_(line), message_(message) {}
    int line() const { return line_; }
    QString message() const { return message_; }

private:
    int line_;
    QString message_;
};

// Reads the file from `device` as it comes, a piece at a time: memory holds the
// values read, never the whole file. A file of more than `maxBytes` is refused.
// Refuses, with its line, whatever would reach the store changed: text that is not
// UTF-16, a zero character in a name, a UTF-16 text of an odd number of bytes.
Document parse(QIODevice& device, qint64 maxBytes);

// Throws FormatError (line 0) for text that REGEDIT4's code page cannot hold.
QByteArray write(const Document& document);

// What writing a document into a store did, or the write it stopped at.
struct Imported {
    std::size_t keys = 0;  // each key once, however often the document names it
    std::size_t values = 0;
    std::size_t removed = 0;  // keys and values
    long failure = regerr::Success;
    Hive failedHive = Hive::CurrentUser;
    std::string failedPath;
    const char* failedDoing = "";  // "written" or "deleted"
};

// Writes the document's keys into the store in the document's order, as regedit
// does: a key or value to remove that is not there is no fault. Stops at the first
// write the store refuses; the caller's batch keeps it all or nothing.
Imported importInto(RegistryStore& store, const Document& document);

// The first line of a file of the format.
QString headerLine(Format format);

QString hiveName(Hive hive);

// "HKEY_CURRENT_USER\SOFTWARE\Corvel" or "HKCU\SOFTWARE\Corvel": the hive and the
// path below it. Empty for an unknown hive or an empty name in the path.
std::optional<std::pair<Hive, std::string>> splitKeyName(const QString& name);

}  // namespace paramcor::regfile
