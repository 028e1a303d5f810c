// percorso, percorsi, percorso scrivi: the suite's folders as the library resolves
// them, and moved as the folder editor moves them.
#include "Commands.h"
#include "Session.h"
#include "Wording.h"

#include "folders/FolderEditing.h"
#include "param/PrivateApi.h"
#include "param/FolderSetup.h"

#include <QDir>
#include <QFileInfo>

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

// Where a folder's location comes from: its default, or the store that holds
// another location.
QString sourceOf(const EditedFolder& folder) {
    if (!folder.fallback.isEmpty() && folder.stored == folder.fallback)
        return QStringLiteral("default");
    return folder.machineWide ? QStringLiteral("macchina") : QStringLiteral("utente");
}

int rowNamed(const FolderEditing& editing, const QString& name) {
    const QString key = lookupKey(name);
    const auto& folders = editing.folders();
    for (std::size_t i = 0; i < folders.size(); ++i)
        if (folders[i].name.toUpper() == key && (i == 0 || !folders[i].declared.isEmpty()))
            return static_cast<int>(i);
    throw Failure(tr("the installation declares no folder \"%1\" (paramcor percorsi lists them)").arg(name.trimmed()));
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
    const std::unique_ptr<FolderEditing> editing = privateapi::folderEditing(par);
    for (const EditedFolder& row : editing->folders()) {
        if (all || first || !row.declared.isEmpty())
            rows.push_back({row.name, row.declared, row.stored, row.reference, sourceOf(row)});
        first = false;
    }
    if (arguments.has(QStringLiteral("json"))) {
        QJsonArray table;
        for (const QStringList& row : rows)
            table.append(QJsonObject{
                {"nome", row[0]}, {"default", row[1]}, {"percorso", row[2]}, {"rif", row[3]}, {"origine", row[4]}});
        printJson(table);
        return 0;
    }
    printTable({QStringLiteral("Nome"), QStringLiteral("Default"), QStringLiteral("Percorso"), QStringLiteral("Rif"),
                QStringLiteral("Origine")},
               rows);
    return 0;
}

// As the folder editor: the folder must be declared, the location an existing
// folder; the folders built on it follow only when asked to.
int writeFolder(Session& session, const Arguments& arguments, const QStringList& operands) {
    const QFileInfo location(operands[1]);
    if (!location.isAbsolute() || !location.isDir())
        throw Failure(tr("\"%1\" is not an existing folder given from the root").arg(operands[1]));
    Parametri& par = session.parametri();
    const std::unique_ptr<FolderEditing> edited = privateapi::folderEditing(par);
    FolderEditing& editing = *edited;
    const int row = rowNamed(editing, operands[0]);
    const EditedFolder& folder = editing.folders()[row];
    if (folder.machineWide != arguments.has(QStringLiteral("macchina")))
        throw Failure(folder.machineWide
                          ? tr("%1 is a folder of the machine, for every user: give --macchina").arg(folder.name)
                          : tr("%1 is a folder of each user: it takes no --macchina").arg(folder.name));
    // As the library keeps a location: native separators, one at the end.
    QString path = QDir::cleanPath(location.absoluteFilePath());
    if (!path.endsWith(u'/'))
        path += u'/';
    path = QDir::toNativeSeparators(path);
    const int mark = session.errors();
    const int refused = session.failedWrites();
    editing.relocate(row, path);
    if (arguments.has(QStringLiteral("dipendenti"))) {
        std::vector<int> rows;
        for (const DependentFolder& dependent : editing.dependents(row))
            rows.push_back(dependent.row);
        editing.follow(rows);
    }
    editing.write();
    session.throwIfReportedSince(mark);
    // The library drops a write the store refuses: a user outside the operators'
    // group moving a folder of the machine.
    if (session.failedWrites() > refused) {
        const Hive hive = folder.machineWide ? Hive::LocalMachine : Hive::CurrentUser;
        throw Failure(tr("%1 was not moved (%2)").arg(folder.name, session.storeError(hive, session.lastFailedWrite())));
    }
    for (const EditedFolder& f : editing.folders())
        if (f.location != f.stored)
            printLine(f.name + QStringLiteral(" = ") + f.location);
    return 0;
}

}  // namespace paramcor::tool
