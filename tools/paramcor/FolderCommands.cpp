// percorso, percorsi: the suite's folders as the library resolves them.
#include "Commands.h"
#include "Session.h"
#include "Wording.h"

#include <QJsonArray>
#include <QJsonObject>

#include <algorithm>

namespace paramcor::tool {
namespace {

struct FolderRow {
    QString name;
    QString declared;
    QString current;
    QString reference;
};

std::vector<FolderRow> folderTable(Parametri& par) {
    std::vector<FolderRow> rows;
    for (short i = 0; i <= par.TotalePercorsi(); ++i) {
        FolderRow row;
        if (par.DatiPercorso(i, row.name, row.declared, row.current, row.reference))
            rows.push_back(row);
    }
    return rows;
}

// The name as the library looks it up: trimmed, in capitals, without "Percorso".
QString lookupKey(const QString& name) {
    QString key = name.trimmed().toUpper();
    if (key.startsWith(QLatin1String("PERCORSO")) && key.size() > 8)
        key.remove(0, 8);
    return key;
}

void printTable(const QStringList& header, const std::vector<QStringList>& rows) {
    std::vector<qsizetype> widths(header.size());
    for (qsizetype c = 0; c < header.size(); ++c) {
        widths[c] = header[c].size();
        for (const QStringList& row : rows)
            widths[c] = std::max(widths[c], row[c].size());
    }
    const auto line = [&](const QStringList& cells) {
        QString text;
        for (qsizetype c = 0; c < cells.size(); ++c)
            text += c + 1 < cells.size() ? cells[c].leftJustified(widths[c] + 2) : cells[c];
        printLine(text.trimmed());
    };
    line(header);
    QStringList rule;
    for (const qsizetype width : widths)
        rule << QString(width, u'-');
    line(rule);
    for (const QStringList& row : rows)
        line(row);
}

}  // namespace

int showFolder(Session& session, const Arguments& arguments, const QStringList& operands) {
    Parametri& par = session.parametri();
    const QString key = lookupKey(operands[0]);
    if (key != QLatin1String("WINDOWS")) {
        const auto rows = folderTable(par);
        const bool known = std::any_of(rows.begin(), rows.end(), [&](const FolderRow& row) {
            return row.name.toUpper() == key && (!row.declared.isEmpty() || &row == &rows.front());
        });
        if (!known)
            throw Failure(tr("the installation declares no folder \"%1\" (paramcor percorsi lists them)")
                              .arg(operands[0].trimmed()),
                          kNotFound);
    }
    const int mark = session.errors();
    const QString path = par.Percorso(operands[0]);
    session.throwIfReportedSince(mark);
    if (arguments.has(QStringLiteral("json")))
        printJson(QJsonObject{{"nome", operands[0]}, {"percorso", path}});
    else
        printLine(path);
    return 0;
}

int listFolders(Session& session, const Arguments& arguments, const QStringList&) {
    Parametri& par = session.parametri();
    const bool all = arguments.has(QStringLiteral("tutti"));
    std::vector<QStringList> rows;
    bool first = true;
    for (const FolderRow& row : folderTable(par)) {
        if (all || first || !row.declared.isEmpty())
            rows.push_back({row.name, row.declared, row.current, row.reference});
        first = false;
    }
    if (arguments.has(QStringLiteral("json"))) {
        QJsonArray table;
        for (const QStringList& row : rows)
            table.append(QJsonObject{{"nome", row[0]}, {"default", row[1]}, {"percorso", row[2]}, {"rif", row[3]}});
        printJson(table);
        return 0;
    }
    printTable({QStringLiteral("Nome"), QStringLiteral("Default"), QStringLiteral("Percorso"), QStringLiteral("Rif")},
               rows);
    return 0;
}

}  // namespace paramcor::tool
