#include <CVLParamcor/OsservatoreRegistro.h>

#include <CVLParamcor/Platform.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QFileSystemWatcher>

#include <sys/stat.h>

#include <map>
#include <utility>
#include <vector>

namespace paramcor {
namespace {

struct Contents {
    QString path;  // as the store spells it
    std::map<QString, std::pair<std::uint32_t, std::vector<std::uint8_t>>> values;  // by upper-cased name
    bool operator==(const Contents&) const = default;
};

// What a watch last saw: each key by its upper-cased path.
using Snapshot = std::map<QString, Contents>;

void read(RegistryStore& store, Hive hive, const QString& path, bool subtree, Snapshot& into) {
    StoreKey key(store);
    if (key.open(hive, path.toStdString()) != regerr::Success)
        return;
    Contents& contents = into[path.toUpper()];
    contents.path = path;
    std::string name;
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
    for (std::uint32_t i = 0; store.enumValue(key.handle(), i, &name, &type, &data) == regerr::Success; ++i)
        contents.values[QString::fromStdString(name).toUpper()] = {type, data};
    if (!subtree)
        return;
    std::vector<QString> children;
    for (std::uint32_t i = 0; store.enumKey(key.handle(), i, &name) == regerr::Success; ++i)
        children.push_back(path.isEmpty() ? QString::fromStdString(name) : path + u'\\' + QString::fromStdString(name));
    for (const QString& child : children)
        read(store, hive, child, true, into);
}

// The path as the store takes it (no empty names), each name spelled as the store
// spells it where the key exists.
QString storedPath(RegistryStore& store, Hive hive, const QString& path) {
    QString spelled;
    for (const QString& name : path.split(u'\\', Qt::SkipEmptyParts)) {
        QString found = name;
        StoreKey parent(store);
        parent.open(hive, spelled.toStdString());
        std::string child;
        for (std::uint32_t i = 0; parent.handle() && store.enumKey(parent.handle(), i, &child) == regerr::Success; ++i)
            if (QString::fromStdString(child).compare(name, Qt::CaseInsensitive) == 0) {
                found = QString::fromStdString(child);
                break;
            }
        spelled = spelled.isEmpty() ? found : spelled + u'\\' + found;
    }
    return spelled;
}

// Whether `path` is `key` or lies below it; both upper-cased.
bool within(const QString& path, const QString& key) {
    return key.isEmpty() || path == key || (path.startsWith(key) && path.at(key.size()) == u'\\');
}

}  // namespace

struct OsservatoreRegistro::Impl {
    struct Watch {
        Hive hive;
        QString key;
        bool subtree;
        Snapshot seen;
        std::uint64_t position = 0;  // in the store's change log
    };

    std::shared_ptr<RegistryStore> store;
    QFileSystemWatcher files;
    std::map<QString, std::pair<dev_t, ino_t>> followedFiles;  // what each followed path was
    std::vector<Watch> watches;

    // Follows the folder of each watched hive's change file: the status of the file
    // changes at every write, and a hive file moved in or removed changes the folder.
    // While the folder does not exist yet, follows the nearest one on its way, whose
    // change tells that it may have come. A folder replaced is followed anew: the
    // system follows the folder, not its name.
    void follow() {
        QStringList wanted;
        for (const Watch& w : watches) {
            const QString file = QString::fromStdString(store->changeFile(w.hive));
            QString path = file.isEmpty() ? QString() : QFileInfo(file).absolutePath();
            while (!path.isEmpty() && !QFileInfo::exists(path)) {
                const QString up = QFileInfo(path).absolutePath();
                path = up == path ? QString() : up;
            }
            if (!path.isEmpty() && !wanted.contains(path))
                wanted << path;
        }
        const QStringList followed = files.files() + files.directories();
        for (const QString& path : followed)
            if (!wanted.contains(path)) {
                files.removePath(path);
                followedFiles.erase(path);
            }
        for (const QString& path : wanted) {
            struct stat st {};
            const auto identity = ::stat(QFile::encodeName(path).constData(), &st) == 0
                                      ? std::pair(st.st_dev, st.st_ino)
                                      : std::pair(dev_t(0), ino_t(0));
            const auto known = followedFiles.find(path);
            if (followed.contains(path) && known != followedFiles.end() && known->second == identity)
                continue;
            files.removePath(path);
            files.addPath(path);
            followedFiles[path] = identity;
        }
    }

    // Reads again what the store says changed and tells which keys differ.
    void update(Watch& w, std::vector<QString>& changedKeys) {
        std::vector<RegistryStore::KeyChange> changes;
        if (store->changesSince(w.hive, w.position, changes) != regerr::Success)
            changes = {{std::string(), true}};
        const QString watched = w.key.toUpper();
        std::map<QString, std::pair<QString, bool>> regions;  // upper-cased path: path, subtree
        for (const auto& change : changes) {
            const QString path = QString::fromStdString(change.path);
            const QString upper = path.toUpper();
            if (change.subtree && within(watched, upper)) {  // the watched key and all below
                regions.clear();
                regions[watched] = {storedPath(*store, w.hive, w.key), true};
                break;
            }
            if (within(upper, watched) && (w.subtree || upper == watched)) {
                auto& region = regions[upper];
                region.first = path;
                region.second = region.second || change.subtree;
            }
        }
        for (const auto& [upper, region] : regions)
            reread(w, upper, region.first, region.second && w.subtree, changedKeys);
    }

    // Reads the key at `path` again, with `subtree` all below it, in place of what was
    // seen there.
    void reread(Watch& w, const QString& upper, const QString& path, bool subtree, std::vector<QString>& changedKeys) {
        Snapshot now;
        read(*store, w.hive, path, subtree, now);
        std::vector<Snapshot::iterator> before;
        if (const auto it = w.seen.find(upper); it != w.seen.end())
            before.push_back(it);
        const QString below = upper.isEmpty() ? QString() : upper + u'\\';
        for (auto it = w.seen.lower_bound(below); subtree && it != w.seen.end() && it->first.startsWith(below); ++it)
            if (it->first != upper)
                before.push_back(it);
        for (const auto it : before) {
            const auto fresh = now.find(it->first);
            if (fresh == now.end() || !(fresh->second == it->second))
                changedKeys.push_back(it->second.path);
        }
        for (const auto& [folded, contents] : now)
            if (!w.seen.count(folded))
                changedKeys.push_back(contents.path);
        for (const auto it : before)
            w.seen.erase(it);
        w.seen.merge(now);
    }
};

OsservatoreRegistro::OsservatoreRegistro(QObject* parent) : OsservatoreRegistro(platform().registry, parent) {}

OsservatoreRegistro::OsservatoreRegistro(std::shared_ptr<RegistryStore> store, QObject* parent)
    : QObject(parent), d(std::make_unique<Impl>()) {
    d->store = std::move(store);
    const auto changed = [this] {
        // A file replaced or made meanwhile must be followed anew.
        d->follow();
        for (Impl::Watch& w : d->watches) {
            std::vector<QString> keys;
            d->update(w, keys);
            const Hive hive = w.hive;
            for (const QString& key : keys)
                emit Cambiata(hive, key);
        }
    };
    connect(&d->files, &QFileSystemWatcher::fileChanged, this, changed);
    connect(&d->files, &QFileSystemWatcher::directoryChanged, this, changed);
}

OsservatoreRegistro::~OsservatoreRegistro() = default;

bool OsservatoreRegistro::Osserva(Hive hive, const QString& chiave, bool sottochiavi) {
    if (!d->store || d->store->changeFile(hive).empty())
        return false;
    const QString key = chiave.split(u'\\', Qt::SkipEmptyParts).join(u'\\');
    Smetti(hive, key);
    Impl::Watch watch{hive, key, sottochiavi, {}};
    std::vector<RegistryStore::KeyChange> before;  // what changes after this position, the watch hears
    d->store->changesSince(hive, watch.position, before);
    read(*d->store, hive, storedPath(*d->store, hive, key), sottochiavi, watch.seen);
    d->watches.push_back(std::move(watch));
    d->follow();
    return true;
}

void OsservatoreRegistro::Smetti(Hive hive, const QString& chiave) {
    const QString key = chiave.split(u'\\', Qt::SkipEmptyParts).join(u'\\');
    std::erase_if(d->watches, [&](const Impl::Watch& w) {
        return w.hive == hive && w.key.compare(key, Qt::CaseInsensitive) == 0;
    });
    d->follow();
}

}  // namespace paramcor
