// The tool as its users run it: a process with arguments, on an installation and a
// registry store of its own in a temporary folder.
#pragma once

#include <CVLParamcor/RegistryStore.h>
#include <CVLParamcor/SqliteRegistryStore.h>

#include "support/TestPlatform.h"
#include "support/TextFiles.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

#include <gtest/gtest.h>

#include <cstdint>
#include <ostream>
#include <string>
#include <vector>

namespace paramcor::test {

struct Outcome {
    int code = -1;
    QString out;
    QByteArray bytes;  // standard output as written
    QString err;
};

std::ostream& operator<<(std::ostream& os, const Outcome& run);

// The built tool with exactly these arguments; `input` is its standard input,
// `locale` the login's LANG (no LC_ALL, no LC_MESSAGES).
Outcome runTool(const QStringList& arguments, const QByteArray& input = QByteArray(),
                const QString& locale = QStringLiteral("C.UTF-8"));

// This exit code, nothing on standard output and one line on standard error,
// prefixed by the tool's name, that says `says`.
void expectRefused(const Outcome& run, int code, const QString& says);

// The sample installation (ParamCor.txt, or this one, and the delivered texts) and
// the registry store in a temporary folder. The user reads English (under the
// maker's key Corvel) unless
// `untouched`, when not even the store's folder exists yet.
class Workshop {
public:
    explicit Workshop(const QByteArray& installationFile = QByteArray(), bool untouched = false);

    QString installation() const { return dir_.path() + QStringLiteral("/CVL"); }
    QString registry() const { return dir_.path() + QStringLiteral("/registry"); }
    QString userTexts() const { return installation() + QStringLiteral("/Testi/CvlTradU.mdb"); }
    QString path(const QString& name) const { return dir_.path() + u'/' + name; }

    Outcome run(const QStringList& arguments, const QByteArray& input = QByteArray()) const;
    SqliteRegistryStore store() const { return SqliteRegistryStore(registry().toStdString()); }

private:
    QTemporaryDir dir_;
};

inline const std::string kSuite = "SOFTWARE\\Corvel";
std::vector<std::uint8_t> dword(std::uint32_t value);
std::vector<std::uint8_t> utf8(const QString& text);
// Windows' own form of a text file: UTF-16LE with its byte-order mark and CR LF.
QByteArray windowsText(const QString& lf);
// Texts of the delivered database whose Italian wording, German and English
// translations need no escapes in a PO file, each wording found once: key, key,
// Italian, German, English.
QList<QStringList> plainTexts(const QString& database, int count);
// The rows of a query, columns joined by blanks, NULL as "<NULL>"; `values` bound in order.
QStringList query(const QString& database, const QString& sql, const QStringList& values = {});

}  // namespace paramcor::test

