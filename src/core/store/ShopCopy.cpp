#include "ShopCopy.h"

#include "PgLink.h"
#include "ShopChanges.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <chrono>
#include <iterator>
#include <map>
#include <tuple>
#include <utility>
#include <vector>

namespace paramcor::store {

namespace {

// The whole machine hive of the shop in one statement, so that it is one snapshot:
// keys in the order they were made (a parent before its children), each with its values.
#define PARAMCOR_WHOLE_HIVE                                                                  \
    "SELECT k.id, coalesce(k.parent, 0), k.name, (v.key IS NOT NULL)::int::bigint,"          \
    " coalesce(v.name, ''::bytea), coalesce(v.type, 0), coalesce(v.data, ''::bytea)"        \
    " FROM paramcor_keys k LEFT JOIN paramcor_values v ON v.key = k.id"                      \
    " WHERE k.hive = $1::integer ORDER BY k.id"
// With the last change it holds, in the same snapshot: the server logs its changes in
// the order of their commits (writers take turns), so the next round asks for what
// came after it.
constexpr char kWholeHive[] =
    "SELECT w.*, (SELECT coalesce(max(seq), 0) FROM paramcor_changes) FROM (" PARAMCOR_WHOLE_HIVE ") w";
// A shop made before the server kept its change log.
constexpr char kWholeHiveUnlogged[] = PARAMCOR_WHOLE_HIVE;
#undef PARAMCOR_WHOLE_HIVE

// What changed after change $2, in one snapshot: the log's last and first change and
// whether it tells of a table emptied, then each key of the hive that changed, as it
// is now (absent when deleted), with its values; at least one row, its key null when
// no key of the hive changed.
constexpr char kChangesSince[] =
    "WITH log AS (SELECT seq, hive, key FROM paramcor_changes WHERE seq > $2::bigint),"
    " state AS (SELECT (SELECT coalesce(max(seq), $2::bigint) FROM log) AS last,"
    "  (SELECT coalesce(min(seq), 0) FROM paramcor_changes) AS first,"
    "  (SELECT count(*) FROM log WHERE hive < 0) AS everything),"
    " changed AS (SELECT DISTINCT key FROM log WHERE hive = $1::integer)"
    " SELECT s.last, s.first, s.everything, c.key, (k.id IS NOT NULL)::int::bigint, coalesce(k.parent, 0),"
    "  coalesce(k.name, ''::bytea), (v.key IS NOT NULL)::int::bigint, coalesce(v.name, ''::bytea),"
    "  coalesce(v.type, 0), coalesce(v.data, ''::bytea)"
    " FROM state s LEFT JOIN (changed c LEFT JOIN paramcor_keys k ON k.id = c.key"
    "  LEFT JOIN paramcor_values v ON v.key = k.id) ON true"
    " ORDER BY c.key";

constexpr int kMachineHive = 2;

std::unique_ptr<RegistryStore> copyStore(const std::string& folder) {
    SqliteRegistryStore::Options options;
    options.machineFiles = SqliteRegistryStore::FileAccess::Private;
    return std::make_unique<SqliteRegistryStore>(folder, folder, options);
}

// Empties the copy's hive, the root key staying.
long emptied(RegistryStore& copy, KeyHandle root) {
    std::string name;
    while (copy.enumKey(root, 0, &name) == regerr::Success)
        if (const long rc = copy.deleteTree(root, name))
            return rc;
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
    while (copy.enumValue(root, 0, &name, &type, &data) == regerr::Success)
        if (const long rc = copy.deleteValue(root, name))
            return rc;
    return regerr::Success;
}

// Writes the server's rows into the copy's emptied hive; `paths` gets the path of
// each key by its id on the server.
long written(RegistryStore& copy, KeyHandle root, const PGresult* rows, std::map<std::int64_t, std::string>& paths) {
    std::map<std::int64_t, std::pair<std::string, KeyHandle>> keys;  // path and handle by server id
    long rc = regerr::Success;
    for (int row = 0; row < PQntuples(rows) && rc == regerr::Success; ++row) {
        const std::int64_t id = pg::int8At(rows, row, 0);
        auto found = keys.find(id);
        if (found == keys.end()) {
            const std::int64_t parent = pg::int8At(rows, row, 1);
            KeyHandle key = root;
            std::string path;
            if (parent != 0) {
                const auto up = keys.find(parent);
                if (up == keys.end())
                    return regerr::BadDatabase;
                path = up->second.first.empty() ? pg::bytesAt(rows, row, 2)
                                                : up->second.first + "\\" + pg::bytesAt(rows, row, 2);
                if ((rc = copy.createKey(Hive::LocalMachine, path, &key)))
                    break;
            }
            found = keys.emplace(id, std::make_pair(path, key)).first;
        }
        if (pg::int8At(rows, row, 3) == 0)
            continue;
        const std::string data = pg::bytesAt(rows, row, 6);
        rc = copy.setValue(found->second.second, pg::bytesAt(rows, row, 4),
                           static_cast<std::uint32_t>(pg::int8At(rows, row, 5)),
                           std::vector<std::uint8_t>(data.begin(), data.end()));
    }
    paths.clear();
    for (const auto& [id, key] : keys) {
        paths.emplace(id, key.first);
        if (key.second != root)
            copy.closeKey(key.second);
    }
    return rc;
}

// A link that the server dropped while away fails once, and connects anew on the next try.
pg::Outcome fetch(pg::Link& link, const char* sql, const pg::Params& params, pg::Result& rows) {
    pg::Outcome fetched = link.run(sql, params, &rows);
    if (fetched == pg::Outcome::Unreachable)
        fetched = link.run(sql, params, &rows);
    return fetched;
}

// One key of the shop as a round of changes found it.
struct ChangedKey {
    std::int64_t id = 0;
    bool present = false;  // false: deleted
    std::int64_t parent = 0;
    std::string name;
    std::vector<std::tuple<std::string, std::uint32_t, std::string>> values;  // name, type, data
};

std::vector<ChangedKey> changedKeys(const PGresult* rows) {
    std::vector<ChangedKey> keys;
    for (int row = 0; row < PQntuples(rows); ++row) {
        if (PQgetisnull(rows, row, 3))
            continue;
        const std::int64_t id = pg::int8At(rows, row, 3);
        if (keys.empty() || keys.back().id != id)
            keys.push_back({id, pg::int8At(rows, row, 4) != 0, pg::int8At(rows, row, 5), pg::bytesAt(rows, row, 6), {}});
        if (pg::int8At(rows, row, 7) != 0)
            keys.back().values.emplace_back(pg::bytesAt(rows, row, 8), static_cast<std::uint32_t>(pg::int8At(rows, row, 9)),
                                            pg::bytesAt(rows, row, 10));
    }
    return keys;
}

// Makes the copy's key hold what the server's holds now: the key, and exactly its values.
long replaced(RegistryStore& copy, const std::string& path, const ChangedKey& key) {
    KeyHandle handle = 0;
    long rc = copy.createKey(Hive::LocalMachine, path, &handle);
    if (rc != regerr::Success)
        return rc;
    std::string name;
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
    while (rc == regerr::Success && copy.enumValue(handle, 0, &name, &type, &data) == regerr::Success)
        rc = copy.deleteValue(handle, name);
    for (const auto& [valueName, valueType, bytes] : key.values) {
        if (rc != regerr::Success)
            break;
        rc = copy.setValue(handle, valueName, valueType, std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
    }
    copy.closeKey(handle);
    return rc;
}

// Deletes the key at `path` from the copy, with all below it.
long removed(RegistryStore& copy, const std::string& path) {
    const std::size_t slash = path.rfind('\\');
    const std::string above = slash == std::string::npos ? std::string() : path.substr(0, slash);
    KeyHandle parent = 0;
    long rc = copy.openKey(Hive::LocalMachine, above, &parent);
    if (rc == regerr::FileNotFound)
        return regerr::Success;
    copy.closeKey(parent);
    // Deleting takes a key opened to write.
    if (rc == regerr::Success)
        rc = copy.createKey(Hive::LocalMachine, above, &parent);
    if (rc != regerr::Success)
        return rc;
    rc = copy.deleteTree(parent, slash == std::string::npos ? path : path.substr(slash + 1));
    copy.closeKey(parent);
    return rc == regerr::FileNotFound ? regerr::Success : rc;
}

}  // namespace

ShopCopy::ShopCopy(const std::string& conninfo, const std::string& folder, const std::string& changeFile)
    : link_(std::make_unique<pg::Link>(conninfo)), reader_(copyStore(folder)), writer_(copyStore(folder)) {
    changes_ = std::make_unique<ShopChanges>(conninfo, changeFile, [this](bool wasAway) { return apply(wasAway); });
}

ShopCopy::~ShopCopy() {
    changes_.reset();  // its thread first, before what it writes goes
}

ShopCopy::Round ShopCopy::applyChanges() {
    if (logged_ < 0)
        return Round::Whole;
    pg::Result rows;
    const pg::Outcome fetched = fetch(*link_, kChangesSince, pg::Params().number(kMachineHive).number(logged_), rows);
    if (fetched == pg::Outcome::Unreachable)
        return Round::Failed;
    if (fetched != pg::Outcome::Done || PQntuples(rows.get()) == 0)
        return Round::Whole;
    const PGresult* r = rows.get();
    // Changes trimmed from the log since, or a table emptied: the whole hive again.
    if (pg::int8At(r, 0, 2) != 0 || pg::int8At(r, 0, 1) > logged_ + 1)
        return Round::Whole;
    const std::int64_t last = pg::int8At(r, 0, 0);
    const std::vector<ChangedKey> keys = changedKeys(r);
    if (keys.empty()) {
        logged_ = last;
        return Round::Done;
    }
    if (writer_->beginBatch(Hive::LocalMachine) != regerr::Success)
        return Round::Whole;
    long rc = regerr::Success;
    // Ids grow: a parent comes before its children, and a key deleted before one made
    // again at its path.
    for (const ChangedKey& key : keys) {
        if (rc != regerr::Success)
            break;
        const auto known = paths_.find(key.id);
        if (!key.present) {
            if (known == paths_.end())
                continue;
            const std::string path = known->second;
            rc = removed(*writer_, path);
            for (auto it = paths_.begin(); it != paths_.end();)
                it = it->second == path || it->second.starts_with(path + '\\') ? paths_.erase(it) : std::next(it);
            continue;
        }
        std::string path;
        if (key.parent != 0) {
            const auto up = paths_.find(key.parent);
            if (up == paths_.end()) {  // a parent this copy never saw: out of step
                rc = regerr::BadDatabase;
                break;
            }
            path = up->second.empty() ? key.name : up->second + '\\' + key.name;
        }
        rc = replaced(*writer_, path, key);
        paths_[key.id] = path;
    }
    if (rc != regerr::Success || writer_->commitBatch(Hive::LocalMachine) != regerr::Success) {
        writer_->abortBatch(Hive::LocalMachine);
        return Round::Whole;
    }
    logged_ = last;
    return Round::Done;
}

ShopCopy::Round ShopCopy::applyWhole() {
    pg::Result rows;
    pg::Outcome fetched = fetch(*link_, kWholeHive, pg::Params().number(kMachineHive), rows);
    const bool logged = fetched == pg::Outcome::Done;
    if (fetched != pg::Outcome::Done && fetched != pg::Outcome::Unreachable)
        fetched = fetch(*link_, kWholeHiveUnlogged, pg::Params().number(kMachineHive), rows);
    if (fetched != pg::Outcome::Done)
        return Round::Failed;
    KeyHandle root = 0;
    bool done = writer_->beginBatch(Hive::LocalMachine) == regerr::Success;
    if (done && writer_->createKey(Hive::LocalMachine, "", &root) == regerr::Success) {
        done = emptied(*writer_, root) == regerr::Success &&
               written(*writer_, root, rows.get(), paths_) == regerr::Success;
        writer_->closeKey(root);
    } else {
        done = false;
    }
    done = done ? writer_->commitBatch(Hive::LocalMachine) == regerr::Success
                : (writer_->abortBatch(Hive::LocalMachine), false);
    if (!done)
        return Round::Failed;
    // Every row carries the log's last change; a hive without keys has no row, and is
    // read whole again next time.
    logged_ = logged && PQntuples(rows.get()) > 0 ? pg::int8At(rows.get(), 0, 7) : -1;
    return Round::Done;
}

bool ShopCopy::apply(bool wasAway) {
    std::uint64_t round = 0;
    {
        const std::lock_guard lock(mutex_);
        round = ++started_;
        away_ = away_ || wasAway;
    }
    Round outcome = applyChanges();
    if (outcome == Round::Whole)
        outcome = applyWhole();
    const bool done = outcome == Round::Done;
    const std::lock_guard lock(mutex_);
    if (done) {
        finished_ = round;
        if (away_)
            notice_ = "the shop's server " + link_->server() + " is back: the local copy has caught up";
        away_ = false;
        applied_.notify_all();
    }
    return done;
}

bool ShopCopy::catchUp(int milliseconds) {
    std::unique_lock lock(mutex_);
    // An announcement may have been heard before the call, so ask for a round after it.
    const std::uint64_t target = started_ + 1;
    lock.unlock();
    changes_->poke();
    lock.lock();
    return applied_.wait_for(lock, std::chrono::milliseconds(milliseconds), [&] { return finished_ >= target; });
}

std::string ShopCopy::takeNotice() {
    const std::lock_guard lock(mutex_);
    return std::exchange(notice_, std::string());
}

}  // namespace paramcor::store
