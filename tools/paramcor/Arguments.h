// The options and operands of one command line, as the parser found them.
#pragma once

#include <QMap>
#include <QString>
#include <QStringList>

namespace paramcor::tool {

struct Arguments {
    QStringList words;               // the command's name and its operands
    QMap<QString, QString> options;  // name without "--"; flags have an empty value

    bool has(const QString& name) const { return options.contains(name); }
    QString value(const QString& name) const { return options.value(name); }
};

// A whole number from `text`, or a usage error naming `what`.
int parseNumber(const QString& text, int low, int high, const QString& what);

}  // namespace paramcor::tool
