// The command line of paramcor: its options, its subcommands and their help, and
// the two ways a command ends badly.
#pragma once

#include <QJsonValue>
#include <QMap>
#include <QString>
#include <QStringList>

#include <stdexcept>

namespace paramcor::tool {

// Something the user has to read: one line on standard error, exit code 1.
class Failure : public std::runtime_error {
public:
    explicit Failure(const QString& text, int code = 1)
        : std::runtime_error(text.toStdString()), text_(text), code_(code) {}
    QString text() const { return text_; }
    int code() const { return code_; }

private:
    QString text_;
    int code_;
};

// The exit code of a read that finds nothing, for scripts to tell it from a failure.
constexpr int kNotFound = 3;

// A command line that cannot be run as it stands: exit code 2.
class UsageError : public Failure {
public:
    using Failure::Failure;
};

// The library has already told the user why (its messages went to standard error):
// nothing more to say, exit code 1.
class Reported : public std::exception {};

// The words and options of a command line. Options start with "--", take their
// value from the next word or after "=", and may stand anywhere; "--" ends them, so
// that a word starting with "--" can still be given. "-5" is a word.
struct Arguments {
    QStringList words;
    QMap<QString, QString> options;  // name without "--"; flags have an empty value

    bool has(const QString& name) const { return options.contains(name); }
    QString value(const QString& name) const { return options.value(name); }
};

Arguments parseArguments(const QStringList& arguments);

class Session;

struct Command {
    QStringList name;     // {"valore", "leggi"}
    QString operands;     // "PROGRAMMA NOME TIPO [DEFAULT]"
    QString summary;      // one line for the overview
    QString details;      // the rest of its --help
    QStringList options;  // besides --registro, --installazione and --help
    int minOperands;
    int maxOperands;
    int (*run)(Session& session, const Arguments& arguments, const QStringList& operands);
    const char* member = nullptr;  // the member of Parametri it runs, whose help string --help shows
};

// "paramcor: " and, once the command line names one, the command and ": ", which
// begin every line the tool writes to standard error.
QString errorPrefix();

// Every command, in the order of the overview.
const QList<Command>& commands();

// Runs a whole command line and returns the exit code.
int run(const QStringList& arguments);

// Writes a line in UTF-8 to standard output.
void printLine(const QString& line = QString());

// Writes a JSON document, for --json, to standard output on one line.
void printJson(const QJsonValue& value);

// A whole number from `text`, or a usage error naming `what`.
int parseNumber(const QString& text, int low, int high, const QString& what);

}  // namespace paramcor::tool
