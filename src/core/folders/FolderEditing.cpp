#include "folders/FolderEditing.h"

#include <deque>

namespace paramcor {
namespace {

QString normalised(QString path) {
    normalizeFolderPath(path);
    return path;
}

// A default with its macro replaced by the location it stands for.
QString expanded(const QString& declared, const QString& macro, const QString& location) {
    QString result = declared;
    const qsizetype at = result.indexOf(macro, 0, Qt::CaseInsensitive);
    if (at >= 0)
        result.replace(at, macro.size(), location);
    return normalised(result);
}

}  // namespace

FolderEditing::FolderEditing(Folders& table) : table_(table) {
    for (short i = 0; i <= table_.lastRow(); ++i) {
        EditedFolder f;
        if (!table_.DatiPercorso(i, f.name, f.declared, f.stored, f.reference))
            break;
        f.location = f.stored;
        f.macro = u'<' + f.name.toUpper() + u'>';
        f.machineWide = isMachineWideFolder(f.name);
        // The table holds each default as the installation file expanded it.
        const QString expandedDefault = table_.TabellaPercorsi()[i].DefaultEspanso;
        if (!f.declared.isEmpty() && !expandedDefault.isEmpty())
            f.fallback = normalised(expandedDefault);
        folders_.push_back(f);
    }
    // The suite root's own default, where a new installation puts it.
    if (!folders_.empty()) {
        folders_[0].fallback = normalised(table_.rootDefault());
        folders_[0].macro = QStringLiteral("<WINCOR>");
    }
    for (std::size_t i = 1; i < folders_.size(); ++i)
        for (std::size_t j = 0; j < folders_.size(); ++j)
            if (j != i && folders_[i].declared.contains(folders_[j].macro, Qt::CaseInsensitive)) {
                folders_[i].parent = static_cast<int>(j);
                break;
            }
}

FolderEditing::~FolderEditing() = default;

std::vector<int> FolderEditing::matching(const QString& filter) const {
    std::vector<int> rows;
    for (std::size_t i = 0; i < folders_.size(); ++i)
        if (filter.isEmpty() || folders_[i].name.toUpper() == filter || folders_[i].reference == filter)
            rows.push_back(static_cast<int>(i));
    return rows;
}

void FolderEditing::reloadStored() {
    for (std::size_t i = 0; i < folders_.size(); ++i) {
        QString name;
        QString declared;
        QString stored;
        QString reference;
        EditedFolder& f = folders_[i];
        if (!table_.DatiPercorso(static_cast<short>(i), name, declared, stored, reference) || stored == f.stored)
            continue;
        if (f.location == f.stored)
            f.location = stored;
        f.stored = stored;
    }
}

bool FolderEditing::relocate(int row, const QString& location) {
    if (folders_[row].location == location)
        return false;
    folders_[row].location = location;
    return true;
}

void FolderEditing::restoreAllDefaults() {
    for (EditedFolder& f : folders_)
        if (!f.fallback.isEmpty())
            f.location = f.fallback;
}

std::vector<DependentFolder> FolderEditing::dependents(int row) const {
    std::vector<DependentFolder> found;
    std::deque<int> pending{row};
    while (!pending.empty()) {
        const int from = pending.front();
        pending.pop_front();
        for (std::size_t i = 1; i < folders_.size(); ++i)
            if (folders_[i].parent == from) {
                found.push_back({static_cast<int>(i), QString()});
                pending.push_back(static_cast<int>(i));
            }
    }
    std::vector<QString> proposed(folders_.size());
    proposed[row] = folders_[row].location;
    for (DependentFolder& d : found) {
        const EditedFolder& f = folders_[d.row];
        d.proposed = proposed[d.row] = expanded(f.declared, folders_[f.parent].macro, proposed[f.parent]);
    }
    return found;
}

void FolderEditing::follow(const std::vector<int>& rows) {
    for (const int row : rows) {
        EditedFolder& f = folders_[row];
        f.location = expanded(f.declared, folders_[f.parent].macro, folders_[f.parent].location);
    }
}

bool FolderEditing::write() {
    bool any = false;
    for (const EditedFolder& f : folders_)
        if (f.location != f.stored) {
            table_.ScriviPercorso(f.name, f.location);
            any = true;
        }
    return any;
}

}  // namespace paramcor
