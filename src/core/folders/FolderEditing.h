// The folder editor's working copy of the folder table: each folder's current and
// default location, the location the user gives it, and the folders whose default
// is built on it. Nothing is written before write().
#pragma once


#include "folders/FolderTable.h"

#include <vector>

namespace paramcor {

struct EditedFolder {
    QString name;
    QString declared;   // the default as the installation file writes it
    QString fallback;   // that default expanded; empty for a folder without one
    QString reference;
    QString stored;     // the location when editing began, or last reloaded
    QString location;   // the location write() will store
    int parent = -1;    // the row whose macro the default uses
    QString macro;      // the folder's own macro, "<NAME>"
    bool machineWide = false;  // kept in the machine's store, for every user
};

// A folder built on the one being moved, and where it would go along with it.
struct DependentFolder {
    int row;
    QString proposed;
};

// The folder editor of the windows' library works on the library's own folder table
// through the private API: its calls go through the virtual table, so that nothing
// of this class is exported.
class FolderEditing {
public:
    // Rows 0 to lastRow of `table`, their current locations resolved.
    explicit FolderEditing(Folders& table);
    virtual ~FolderEditing();
    FolderEditing(const FolderEditing&) = delete;
    FolderEditing& operator=(const FolderEditing&) = delete;

    const std::vector<EditedFolder>& folders() const { return folders_; }

    // The rows whose name or reference equals `filter` (upper-cased); all when empty.
    virtual std::vector<int> matching(const QString& filter) const;

    // Takes the locations other programs stored meanwhile; a folder the user has
    // already moved keeps the user's location.
    virtual void reloadStored();

    // False when the folder is there already.
    virtual bool relocate(int row, const QString& location);
    virtual void restoreAllDefaults();

    // Every folder built on `row`, directly or through another, nearest first,
    // with the location each would take if all of them followed.
    virtual std::vector<DependentFolder> dependents(int row) const;
    // Moves these dependents (nearest first) under their parents' locations; one
    // left where it was keeps carrying its own location down.
    virtual void follow(const std::vector<int>& rows);

    // Stores every folder whose location changed; true when one was.
    virtual bool write();

private:
    Folders& table_;
    std::vector<EditedFolder> folders_;
};

}  // namespace paramcor
