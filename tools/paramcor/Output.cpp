#include "Output.h"

#include "Wording.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

#include <cstdio>

namespace paramcor::tool {
namespace {

QString& currentCommand() {
    static QString name;
    return name;
}

}  // namespace

const QList<ExitCodeMeaning>& exitCodes() {
    static const QList<ExitCodeMeaning> table = {
        {kOk, "the command did its work"},
        {kFailed, "it failed"},
        {kWrongCommandLine, "the command line is wrong"},
        {kNotFound, "nothing was found (a value, key, folder or text)"},
    };
    return table;
}

QString errorPrefix() {
    return currentCommand().isEmpty() ? QStringLiteral("paramcor: ")
                                      : QStringLiteral("paramcor: %1: ").arg(currentCommand());
}

void setCurrentCommand(const QString& name) {
    currentCommand() = name;
}

void printLine(const QString& line) {
    const QByteArray bytes = line.toUtf8() + '\n';
    std::fwrite(bytes.constData(), 1, static_cast<std::size_t>(bytes.size()), stdout);
}

void printJson(const QJsonValue& value) {
    QJsonDocument document;
    if (value.isArray())
        document.setArray(value.toArray());
    else if (value.isObject())
        document.setObject(value.toObject());
    else
        document.setArray(QJsonArray{value});  // a bare value is no JSON document for Qt
    QByteArray bytes = document.toJson(QJsonDocument::Compact);
    if (!value.isArray() && !value.isObject())
        bytes = bytes.mid(1, bytes.size() - 2);
    printLine(QString::fromUtf8(bytes));
}

void finishOutput() {
    // A failed fwrite sets the stream's error flag, which stays until the end.
    if (std::fflush(stdout) != 0 || std::ferror(stdout)) {
        std::clearerr(stdout);
        throw Failure(tr("standard output cannot be written"));
    }
}

}  // namespace paramcor::tool
