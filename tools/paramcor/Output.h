// What the tool says: lines and JSON on standard output, one line per error on
// standard error, and the exit codes that tell scripts how a command ended.
#pragma once

#include <QJsonValue>
#include <QList>
#include <QString>

#include <stdexcept>

namespace paramcor::tool {

// Every exit code of the tool; the help and the manual page list this table.
enum ExitCode : int { kOk = 0, kFailed = 1, kWrongCommandLine = 2, kNotFound = 3 };

struct ExitCodeMeaning {
    int code;
    const char* meaning;  // English; the help translates it
};
const QList<ExitCodeMeaning>& exitCodes();

// Something the user has to read: one line on standard error, exit code 1 unless
// the failure says otherwise (kNotFound for a read that finds nothing).
class Failure : public std::runtime_error {
public:
    explicit Failure(const QString& text, int code = kFailed)
        : std::runtime_error(text.toStdString()), text_(text), code_(code) {}
    QString text() const { return text_; }
    int code() const { return code_; }

private:
    QString text_;
    int code_;
};

// A command line that cannot be run as it stands: exit code 2.
class UsageError : public Failure {
public:
    explicit UsageError(const QString& text) : Failure(text, kWrongCommandLine) {}
};

// The library has already told the user why (its messages went to standard error):
// nothing more to say, exit code 1.
class Reported : public std::exception {};

// "paramcor: " and, once the command line names one, the command and ": ", which
// begin every line the tool writes to standard error.
QString errorPrefix();
void setCurrentCommand(const QString& name);

// Writes a line in UTF-8 to standard output.
void printLine(const QString& line = QString());

// Writes a JSON document, for --json, to standard output on one line.
void printJson(const QJsonValue& value);

// Flushes standard output: a Failure when anything written there was lost (a
// full disk, /dev/full), so that a read never ends well with its output gone.
void finishOutput();

}  // namespace paramcor::tool
