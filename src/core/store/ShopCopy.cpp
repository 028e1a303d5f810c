#include "ShopCopy.h"

#include "PgLink.h"
#include "ShopChanges.h"

#include <CVLParamcor/SqliteRegistryStore.h>

#include <chrono>
#include <map>
#include <utility>

namespace paramcor::store {

namespace {

// The whole machine hive of the shop in one statement, so that it is one snapshot:
// keys in the order they were made (a parent before its children), each with its values.
constexpr char kWholeHive[] =
    "SELECT k.id, coalesce(k.parent, 0), k.name, (v.key IS NOT NULL)::int::bigint,"
    " coalesce(v.name, ''::bytea), coalesce(v.type, 0), coalesce(v.data, ''::bytea)"
    " FROM paramcor_keys k LEFT JOIN paramcor_values v ON v.key = k.id"
    " WHERE k.hive = $1::integer ORDER BY k.id";

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

// Writes the server's rows into the copy's emptied hive.
long written(RegistryStore& copy, KeyHandle root, const PGresult* rows) {
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
    for (const auto& [id, key] : keys)
        if (key.second != root)
            copy.closeKey(key.second);
    return rc;
}

}  // namespace

ShopCopy::ShopCopy(const std::string& conninfo, const std::string& folder, const std::string& changeFile)
    : link_(std::make_unique<pg::Link>(conninfo)), reader_(copyStore(folder)), writer_(copyStore(folder)) {
    changes_ = std::make_unique<ShopChanges>(conninfo, changeFile, [this](bool wasAway) { return apply(wasAway); });
}

ShopCopy::~ShopCopy() {
    changes_.reset();  // its thread first, before what it writes goes
}

bool ShopCopy::apply(bool wasAway) {
    std::uint64_t round = 0;
    {
        const std::lock_guard lock(mutex_);
        round = ++started_;
        away_ = away_ || wasAway;
    }
    pg::Result rows;
    // A link that the server dropped while away fails once, and connects anew on the next try.
    pg::Outcome fetched = link_->run(kWholeHive, pg::Params().number(kMachineHive), &rows);
    if (fetched == pg::Outcome::Unreachable)
        fetched = link_->run(kWholeHive, pg::Params().number(kMachineHive), &rows);
    bool done = fetched == pg::Outcome::Done;
    if (done) {
        KeyHandle root = 0;
        done = writer_->beginBatch(Hive::LocalMachine) == regerr::Success;
        if (done && writer_->createKey(Hive::LocalMachine, "", &root) == regerr::Success) {
            done = emptied(*writer_, root) == regerr::Success && written(*writer_, root, rows.get()) == regerr::Success;
            writer_->closeKey(root);
        } else {
            done = false;
        }
        done = done ? writer_->commitBatch(Hive::LocalMachine) == regerr::Success
                    : (writer_->abortBatch(Hive::LocalMachine), false);
    }
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
