#include <CVLParamcor/OsservatoreRegistro.h>

#include <CVLParamcor/Platform.h>

#include <QDir>
#include <QFileInfo>
#include <QFileSystemWatcher>

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

}  // namespace

struct OsservatoreRegistro::Impl {
    struct Watch {
        Hive hive;
        QString key;
        bool subtree;
        Snapshot seen;
    };

    std::shared_ptr<RegistryStore> store;
    QFileSystemWatcher files;
    std::vector<Watch> watches;

    // Follows each watched hive's change file, or while it does not exist yet, the
    // nearest folder on its way, whose change tells that it may have come.
    void follow() {
        QStringList wanted;
        for (const Watch& w : watches) {
            QString path = QString::fromStdString(store->changeFile(w.hive));
            while (!path.isEmpty() && !QFileInfo::exists(path)) {
                const QString up = QFileInfo(path).absolutePath();
                path = up == path ? QString() : up;
            }
            if (!path.isEmpty() && !wanted.contains(path))
                wanted << path;
        }
        const QStringList followed = files.files() + files.directories();
        for (const QString& path : followed)
            if (!wanted.contains(path))
                files.removePath(path);
        for (const QString& path : wanted)
            if (!followed.contains(path))
                files.addPath(path);
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
            Snapshot now;
            read(*d->store, w.hive, storedPath(*d->store, w.hive, w.key), w.subtree, now);
            if (now == w.seen)
                continue;
            std::vector<QString> keys;
            for (const auto& [folded, contents] : now) {
                const auto it = w.seen.find(folded);
                if (it == w.seen.end() || !(it->second == contents))
                    keys.push_back(contents.path);
            }
            for (const auto& [folded, contents] : w.seen)
                if (!now.count(folded))
                    keys.push_back(contents.path);
            w.seen = std::move(now);
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
