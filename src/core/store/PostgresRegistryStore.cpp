// The shop's store: keys and values in two tables on a PostgreSQL server, names as
// the bytes of their UTF-8 (bytea), so that nothing of a name is lost or reordered
// by a collation: the folded names sort as the SQLite store sorts them, byte by
// byte. Long paths and value names are indexed by their SHA-256, since a B-tree
// entry cannot hold a name of 16 383 characters.
#include "PostgresRegistryStore.h"

#include "KeyPaths.h"
#include "NameFolding.h"
#include "PgLink.h"
#include "ShopChanges.h"

#include <cstdlib>
#include <limits>
#include <map>
#include <mutex>
#include <utility>

namespace paramcor {

namespace {

using store::pg::Outcome;
using store::pg::Params;
using store::pg::Result;

constexpr char kSchema[] = R"sql(
CREATE TABLE IF NOT EXISTS paramcor_keys(
    id bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    hive integer NOT NULL,
    parent bigint REFERENCES paramcor_keys(id) ON DELETE CASCADE,
    folded_path bytea NOT NULL,
    name bytea NOT NULL,
    folded_name bytea NOT NULL);
CREATE UNIQUE INDEX IF NOT EXISTS paramcor_key_paths ON paramcor_keys(hive, sha256(folded_path));
CREATE INDEX IF NOT EXISTS paramcor_subkeys ON paramcor_keys(parent, folded_name);
CREATE TABLE IF NOT EXISTS paramcor_values(
    key bigint NOT NULL REFERENCES paramcor_keys(id) ON DELETE CASCADE,
    folded bytea NOT NULL,
    name bytea NOT NULL,
    type bigint NOT NULL,
    data bytea NOT NULL);
CREATE UNIQUE INDEX IF NOT EXISTS paramcor_value_names ON paramcor_values(key, sha256(folded));
CREATE OR REPLACE FUNCTION paramcor_announce() RETURNS trigger LANGUAGE plpgsql
    SECURITY DEFINER SET search_path = pg_catalog, public AS $$
BEGIN
    IF TG_OP = 'TRUNCATE' AND TG_TABLE_NAME = 'paramcor_keys' THEN
        INSERT INTO paramcor_changes(hive, key) VALUES (-1, 0);  -- emptied: stations read it whole
    END IF;
    PERFORM pg_notify('paramcor_changes', '');
    RETURN NULL;
END $$;
CREATE OR REPLACE TRIGGER paramcor_keys_changed AFTER INSERT OR UPDATE OR DELETE OR TRUNCATE ON paramcor_keys
    FOR EACH STATEMENT EXECUTE FUNCTION paramcor_announce();
CREATE OR REPLACE TRIGGER paramcor_values_changed AFTER INSERT OR UPDATE OR DELETE OR TRUNCATE ON paramcor_values
    FOR EACH STATEMENT EXECUTE FUNCTION paramcor_announce();
CREATE TABLE IF NOT EXISTS paramcor_changes(
    seq bigint GENERATED ALWAYS AS IDENTITY PRIMARY KEY,
    hive integer NOT NULL,
    key bigint NOT NULL);
CREATE OR REPLACE FUNCTION paramcor_take_turn() RETURNS trigger LANGUAGE plpgsql
    SECURITY DEFINER SET search_path = pg_catalog, public AS $$
BEGIN
    -- Writers take turns until they commit, so that the log's order is that of the
    -- commits: a station that has read up to a change has read all before it.
    LOCK TABLE paramcor_changes IN SHARE ROW EXCLUSIVE MODE;
    DELETE FROM paramcor_changes WHERE seq < (SELECT max(seq) FROM paramcor_changes) - 100000;
    RETURN NULL;
END $$;
CREATE OR REPLACE FUNCTION paramcor_logged() RETURNS trigger LANGUAGE plpgsql
    SECURITY DEFINER SET search_path = pg_catalog, public AS $$
DECLARE
    changed record;
BEGIN
    IF TG_OP = 'DELETE' THEN
        changed := OLD;
    ELSE
        changed := NEW;
    END IF;
    IF TG_TABLE_NAME = 'paramcor_keys' THEN
        INSERT INTO paramcor_changes(hive, key) VALUES (changed.hive, changed.id);
    ELSE  -- a value deleted with its key leaves no line of its own: the key's tells
        INSERT INTO paramcor_changes(hive, key) SELECT hive, id FROM paramcor_keys WHERE id = changed.key;
    END IF;
    RETURN NULL;
END $$;
CREATE OR REPLACE TRIGGER paramcor_keys_turn BEFORE INSERT OR UPDATE OR DELETE OR TRUNCATE ON paramcor_keys
    FOR EACH STATEMENT EXECUTE FUNCTION paramcor_take_turn();
CREATE OR REPLACE TRIGGER paramcor_values_turn BEFORE INSERT OR UPDATE OR DELETE OR TRUNCATE ON paramcor_values
    FOR EACH STATEMENT EXECUTE FUNCTION paramcor_take_turn();
CREATE OR REPLACE TRIGGER paramcor_keys_logged AFTER INSERT OR DELETE ON paramcor_keys
    FOR EACH ROW EXECUTE FUNCTION paramcor_logged();
-- Making a key that is there updates it to learn its id, and changes nothing.
CREATE OR REPLACE TRIGGER paramcor_keys_updated AFTER UPDATE ON paramcor_keys
    FOR EACH ROW WHEN (OLD.* IS DISTINCT FROM NEW.*) EXECUTE FUNCTION paramcor_logged();
CREATE OR REPLACE TRIGGER paramcor_values_logged AFTER INSERT OR UPDATE OR DELETE ON paramcor_values
    FOR EACH ROW EXECUTE FUNCTION paramcor_logged();
INSERT INTO paramcor_keys(hive, parent, folded_path, name, folded_name)
    VALUES (0, NULL, '', '', ''), (1, NULL, '', '', ''), (2, NULL, '', '', '')
    ON CONFLICT DO NOTHING;
DO $$ BEGIN
    IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = 'paramcor_readers') THEN
        CREATE ROLE paramcor_readers NOLOGIN;
    END IF;
    IF NOT EXISTS (SELECT FROM pg_roles WHERE rolname = 'paramcor_operators') THEN
        CREATE ROLE paramcor_operators NOLOGIN IN ROLE paramcor_readers;
    END IF;
END $$;
GRANT SELECT ON paramcor_keys, paramcor_values, paramcor_changes TO paramcor_readers;
GRANT INSERT, UPDATE, DELETE ON paramcor_keys, paramcor_values TO paramcor_operators;
)sql";

constexpr char kFindKey[] =
    "SELECT id FROM paramcor_keys"
    " WHERE hive = $1::integer AND sha256(folded_path) = sha256($2::bytea) AND folded_path = $2::bytea";
// On a key that exists already the update changes nothing but returns its id.
constexpr char kInsertKey[] =
    "INSERT INTO paramcor_keys(hive, parent, folded_path, name, folded_name)"
    " VALUES($1::integer, $2::bigint, $3::bytea, $4::bytea, $5::bytea)"
    " ON CONFLICT (hive, sha256(folded_path)) DO UPDATE SET parent = paramcor_keys.parent RETURNING id";
constexpr char kKeyPath[] = "SELECT folded_path FROM paramcor_keys WHERE id = $1::bigint";
constexpr char kDeleteKey[] =
    "DELETE FROM paramcor_keys"
    " WHERE hive = $1::integer AND sha256(folded_path) = sha256($2::bytea) AND folded_path = $2::bytea";
constexpr char kEmptyKey[] =
    "WITH gone AS (DELETE FROM paramcor_values WHERE key = $1::bigint)"
    " DELETE FROM paramcor_keys WHERE parent = $1::bigint";
constexpr char kSubkey[] =
    "SELECT name FROM paramcor_keys WHERE parent = $1::bigint ORDER BY folded_name OFFSET $2::bigint LIMIT 1";
constexpr char kSelectValue[] =
    "SELECT type, data FROM paramcor_values"
    " WHERE key = $1::bigint AND sha256(folded) = sha256($2::bytea) AND folded = $2::bytea";
// Nothing is written to a key deleted meanwhile: no row tells the caller so.
constexpr char kUpsertValue[] =
    "INSERT INTO paramcor_values(key, folded, name, type, data)"
    " SELECT $1::bigint, $2::bytea, $3::bytea, $4::bigint, $5::bytea"
    " WHERE EXISTS (SELECT 1 FROM paramcor_keys WHERE id = $1::bigint)"
    " ON CONFLICT (key, sha256(folded)) DO UPDATE SET type = excluded.type, data = excluded.data";
constexpr char kDeleteValue[] =
    "DELETE FROM paramcor_values"
    " WHERE key = $1::bigint AND sha256(folded) = sha256($2::bytea) AND folded = $2::bytea";
constexpr char kValue[] =
    "SELECT name, type, data FROM paramcor_values WHERE key = $1::bigint ORDER BY folded"
    " OFFSET $2::bigint LIMIT 1";
// A batch holds its hive against every other batch of the shop.
constexpr char kBatchLock[] = "SELECT pg_advisory_xact_lock(1346589522, $1::integer)";

constexpr int kHives = 3;

int hiveNumber(Hive hive) {
    switch (hive) {
        case Hive::ClassesRoot:
            return 0;
        case Hive::CurrentUser:
            return 1;
        case Hive::LocalMachine:
            return 2;
    }
    return -1;
}

long resultCode(Outcome outcome) {
    switch (outcome) {
        case Outcome::Done:
            return regerr::Success;
        case Outcome::Refused:
            return regerr::AccessDenied;
        case Outcome::KeyGone:
            return regerr::KeyDeleted;
        case Outcome::NotAShop:
            return regerr::BadDatabase;
        case Outcome::Unreachable:
        case Outcome::Failed:
            break;
    }
    return regerr::IoFailed;
}

long affected(const Result& result) {
    return std::strtol(PQcmdTuples(result.get()), nullptr, 10);
}

}  // namespace

struct PostgresRegistryStore::Impl {
    struct HiveLink {
        std::unique_ptr<store::pg::Link> link;
        bool batch = false;
        bool batchLost = false;  // the connection went away in the middle of the batch
        std::string problem;
    };
    struct OpenKey {
        int hive = 0;
        std::int64_t id = 0;
        bool writable = false;
    };

    explicit Impl(std::string conninfo) : conninfo(std::move(conninfo)) {}

    store::pg::Link& link(HiveLink& h) {
        if (!h.link)
            h.link = std::make_unique<store::pg::Link>(conninfo);
        return *h.link;
    }

    // Runs a statement, keeping why it failed for diagnostic().
    long run(HiveLink& h, const char* sql, const Params& params, Result* rows = nullptr) {
        const Outcome outcome = link(h).run(sql, params, rows);
        return outcome == Outcome::Done ? regerr::Success : failure(h, outcome);
    }

    long failure(HiveLink& h, Outcome outcome) {
        h.problem = link(h).why();
        if (h.batch && outcome == Outcome::Unreachable)
            h.batchLost = true;
        return resultCode(outcome);
    }

    // Writes as one: a transaction of its own, or inside a batch a savepoint, so
    // that a write that fails leaves the rest of the batch alone.
    template <class Body>
    long write(HiveLink& h, bool severalStatements, Body&& body) {
        store::pg::Link& l = link(h);
        if (h.batchLost) {
            h.problem = "the batch was lost: " + l.why();
            return regerr::IoFailed;
        }
        if (!h.batch && !severalStatements)
            return body();
        if (const Outcome o = l.command(h.batch ? "SAVEPOINT paramcor_write" : "BEGIN"); o != Outcome::Done)
            return failure(h, o);
        l.hold(true);
        long rc = body();
        if (rc == regerr::Success) {
            if (const Outcome o = l.command(h.batch ? "RELEASE SAVEPOINT paramcor_write" : "COMMIT");
                o != Outcome::Done)
                rc = failure(h, o);
        } else {
            l.command(h.batch ? "ROLLBACK TO SAVEPOINT paramcor_write" : "ROLLBACK");
        }
        l.hold(h.batch);
        return rc;
    }

    // The id of a key, 0 when there is none.
    long findKey(HiveLink& h, int hive, const std::string& folded, std::int64_t& id) {
        Result rows;
        if (const long rc = run(h, kFindKey, Params().number(hive).bytes(folded), &rows))
            return rc;
        id = PQntuples(rows.get()) > 0 ? store::pg::int8At(rows.get(), 0, 0) : 0;
        return regerr::Success;
    }

    long createKeys(HiveLink& h, int hive, const std::string& path, std::int64_t& id) {
        std::string clean;
        store::normalizePath(path, clean, false);
        const std::string folded = store::foldName(clean);  // same length, same backslashes
        return write(h, true, [&]() -> long {
            std::int64_t parent = 0;
            if (const long rc = findKey(h, hive, std::string(), parent))
                return rc;
            if (parent == 0) {
                h.problem = "the shop's database " + link(h).server() + " is damaged: a hive has no root key";
                return regerr::BadDatabase;
            }
            for (std::size_t start = 0; start < clean.size();) {
                std::size_t end = clean.find('\\', start);
                if (end == std::string::npos)
                    end = clean.size();
                Result rows;
                const Params params = Params()
                                          .number(hive)
                                          .number(parent)
                                          .bytes(std::string_view(folded).substr(0, end))
                                          .bytes(std::string_view(clean).substr(start, end - start))
                                          .bytes(std::string_view(folded).substr(start, end - start));
                if (const long rc = run(h, kInsertKey, params, &rows))
                    return rc;
                parent = store::pg::int8At(rows.get(), 0, 0);
                start = end + 1;
            }
            id = parent;
            return regerr::Success;
        });
    }

    long openOrCreate(Hive hive, const std::string& path, KeyHandle* key, bool create) {
        const int number = hiveNumber(hive);
        if (number < 0)
            return regerr::InvalidHandle;
        if (!key)
            return regerr::InvalidParameter;
        // A read-only open of the classes root skips one leading backslash, as
        // Windows does there and nowhere else.
        const bool skipBackslash = hive == Hive::ClassesRoot && !create && !path.empty() && path.front() == '\\';
        std::string folded;
        if (const long rc = store::normalizePath(skipBackslash ? path.substr(1) : path, folded, true))
            return rc;
        const std::lock_guard lock(mutex);
        HiveLink& h = hives[number];
        h.problem.clear();
        std::int64_t id = 0;
        if (const long rc = findKey(h, number, folded, id))
            return rc;
        if (id == 0 && !create)
            return regerr::FileNotFound;
        if (id == 0)
            if (const long rc = createKeys(h, number, path, id))
                return rc;
        *key = nextHandle++;
        handles.emplace(*key, OpenKey{number, id, create});
        return regerr::Success;
    }

    // The open key of a handle; with `forWriting`, only one opened with createKey.
    long opened(KeyHandle key, bool forWriting, OpenKey& open) {
        const auto it = handles.find(key);
        if (it == handles.end())
            return regerr::InvalidHandle;
        open = it->second;
        if (forWriting && !open.writable)
            return regerr::AccessDenied;
        hives[open.hive].problem.clear();
        return regerr::Success;
    }

    std::string conninfo;
    std::string changeFile;
    std::unique_ptr<store::ShopChanges> changes;  // listening from the first call of changeFile()
    std::mutex mutex;
    HiveLink hives[kHives];
    std::map<KeyHandle, OpenKey> handles;
    KeyHandle nextHandle = 1;
};

PostgresRegistryStore::PostgresRegistryStore(const std::string& conninfo) : d(std::make_unique<Impl>(conninfo)) {}

PostgresRegistryStore::PostgresRegistryStore(const std::string& conninfo, const std::string& changeFile)
    : PostgresRegistryStore(conninfo) {
    d->changeFile = changeFile;
}

PostgresRegistryStore::~PostgresRegistryStore() = default;

std::string PostgresRegistryStore::prepareDatabase(const std::string& conninfo) {
    store::pg::Link link(conninfo);
    return link.command(kSchema) == Outcome::Done ? std::string() : link.why();
}

long PostgresRegistryStore::createKey(Hive hive, const std::string& path, KeyHandle* key) {
    return d->openOrCreate(hive, path, key, true);
}

long PostgresRegistryStore::openKey(Hive hive, const std::string& path, KeyHandle* key) {
    return d->openOrCreate(hive, path, key, false);
}

long PostgresRegistryStore::queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                                       std::vector<std::uint8_t>* data, std::uint32_t capacity, std::uint32_t* size) {
    const std::string folded = store::foldName(store::cutAtNul(name));
    const std::lock_guard lock(d->mutex);
    Impl::OpenKey open;
    if (const long rc = d->opened(key, false, open))
        return rc;
    Result rows;
    if (const long rc = d->run(d->hives[open.hive], kSelectValue, Params().number(open.id).bytes(folded), &rows))
        return rc;
    if (PQntuples(rows.get()) == 0)
        return regerr::FileNotFound;
    const auto needed = static_cast<std::uint32_t>(PQgetlength(rows.get(), 0, 1));
    if (type)
        *type = static_cast<std::uint32_t>(store::pg::int8At(rows.get(), 0, 0));
    if (size)
        *size = needed;
    if (!data)
        return regerr::Success;
    if (needed > capacity)
        return regerr::MoreData;
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(PQgetvalue(rows.get(), 0, 1));
    data->assign(bytes, bytes + needed);
    return regerr::Success;
}

long PostgresRegistryStore::setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                                     const std::vector<std::uint8_t>& data) {
    // A bytea parameter travels with an int length.
    if (data.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
        return regerr::InvalidParameter;
    const std::string_view plainName = store::cutAtNul(name);
    if (plainName.size() > reglimit::ValueName && store::nameLength(plainName) > reglimit::ValueName)
        return regerr::InvalidParameter;
    const std::string folded = store::foldName(plainName);
    const std::lock_guard lock(d->mutex);
    Impl::OpenKey open;
    if (const long rc = d->opened(key, true, open))
        return rc;
    Impl::HiveLink& h = d->hives[open.hive];
    return d->write(h, false, [&]() -> long {
        Result result;
        const Params params = Params().number(open.id).bytes(folded).bytes(plainName).number(type).bytes(data);
        if (const long rc = d->run(h, kUpsertValue, params, &result))
            return rc;
        return affected(result) == 0 ? regerr::KeyDeleted : regerr::Success;
    });
}

long PostgresRegistryStore::closeKey(KeyHandle key) {
    const std::lock_guard lock(d->mutex);
    return d->handles.erase(key) != 0 ? regerr::Success : regerr::InvalidHandle;
}

long PostgresRegistryStore::enumKey(KeyHandle key, std::uint32_t index, std::string* name) {
    const std::lock_guard lock(d->mutex);
    Impl::OpenKey open;
    if (const long rc = d->opened(key, false, open))
        return rc;
    Result rows;
    if (const long rc = d->run(d->hives[open.hive], kSubkey, Params().number(open.id).number(index), &rows))
        return rc;
    if (PQntuples(rows.get()) == 0)
        return regerr::NoMoreItems;
    if (name)
        *name = store::pg::bytesAt(rows.get(), 0, 0);
    return regerr::Success;
}

long PostgresRegistryStore::enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                                      std::vector<std::uint8_t>* data) {
    const std::lock_guard lock(d->mutex);
    Impl::OpenKey open;
    if (const long rc = d->opened(key, false, open))
        return rc;
    Result rows;
    if (const long rc = d->run(d->hives[open.hive], kValue, Params().number(open.id).number(index), &rows))
        return rc;
    if (PQntuples(rows.get()) == 0)
        return regerr::NoMoreItems;
    if (name)
        *name = store::pg::bytesAt(rows.get(), 0, 0);
    if (type)
        *type = static_cast<std::uint32_t>(store::pg::int8At(rows.get(), 0, 1));
    if (data) {
        const std::string bytes = store::pg::bytesAt(rows.get(), 0, 2);
        data->assign(bytes.begin(), bytes.end());
    }
    return regerr::Success;
}

long PostgresRegistryStore::deleteValue(KeyHandle key, const std::string& name) {
    const std::string folded = store::foldName(store::cutAtNul(name));
    const std::lock_guard lock(d->mutex);
    Impl::OpenKey open;
    if (const long rc = d->opened(key, true, open))
        return rc;
    Impl::HiveLink& h = d->hives[open.hive];
    return d->write(h, false, [&]() -> long {
        Result result;
        if (const long rc = d->run(h, kDeleteValue, Params().number(open.id).bytes(folded), &result))
            return rc;
        return affected(result) == 0 ? regerr::FileNotFound : regerr::Success;
    });
}

long PostgresRegistryStore::deleteTree(KeyHandle key, const std::string& path) {
    std::string below;
    if (const long rc = store::normalizePath(path, below, true))
        return rc;
    const std::lock_guard lock(d->mutex);
    Impl::OpenKey open;
    if (const long rc = d->opened(key, true, open))
        return rc;
    Impl::HiveLink& h = d->hives[open.hive];
    if (below.empty())
        return d->write(h, false, [&]() { return d->run(h, kEmptyKey, Params().number(open.id)); });
    return d->write(h, false, [&]() -> long {
        Result rows;
        if (const long rc = d->run(h, kKeyPath, Params().number(open.id), &rows))
            return rc;
        if (PQntuples(rows.get()) == 0)
            return regerr::KeyDeleted;
        const std::string top = store::pg::bytesAt(rows.get(), 0, 0);
        Result result;
        const std::string full = top.empty() ? below : top + '\\' + below;
        if (const long rc = d->run(h, kDeleteKey, Params().number(open.hive).bytes(full), &result))
            return rc;
        return affected(result) == 0 ? regerr::FileNotFound : regerr::Success;
    });
}

long PostgresRegistryStore::beginBatch(Hive hive) {
    const int number = hiveNumber(hive);
    if (number < 0)
        return regerr::InvalidHandle;
    const std::lock_guard lock(d->mutex);
    Impl::HiveLink& h = d->hives[number];
    if (h.batch)
        return regerr::InvalidParameter;
    h.problem.clear();
    store::pg::Link& l = d->link(h);
    if (const Outcome o = l.command("BEGIN"); o != Outcome::Done)
        return d->failure(h, o);
    l.hold(true);
    h.batch = true;
    h.batchLost = false;
    if (const long rc = d->run(h, kBatchLock, Params().number(number))) {
        l.command("ROLLBACK");
        l.hold(false);
        h.batch = false;
        return rc;
    }
    return regerr::Success;
}

long PostgresRegistryStore::commitBatch(Hive hive) {
    const int number = hiveNumber(hive);
    if (number < 0)
        return regerr::InvalidHandle;
    const std::lock_guard lock(d->mutex);
    Impl::HiveLink& h = d->hives[number];
    if (!h.batch)
        return regerr::InvalidParameter;
    store::pg::Link& l = d->link(h);
    long rc = regerr::Success;
    if (h.batchLost) {
        h.problem = "the batch was lost: " + l.why();
        rc = regerr::IoFailed;
    } else if (const Outcome o = l.command("COMMIT"); o != Outcome::Done) {
        rc = d->failure(h, o);
    }
    l.hold(false);
    h.batch = false;
    h.batchLost = false;
    return rc;
}

long PostgresRegistryStore::abortBatch(Hive hive) {
    const int number = hiveNumber(hive);
    if (number < 0)
        return regerr::InvalidHandle;
    const std::lock_guard lock(d->mutex);
    Impl::HiveLink& h = d->hives[number];
    if (!h.batch)
        return regerr::InvalidParameter;
    store::pg::Link& l = d->link(h);
    l.command("ROLLBACK");
    l.hold(false);
    h.batch = false;
    h.batchLost = false;
    return regerr::Success;
}

std::string PostgresRegistryStore::changeFile(Hive hive) const {
    if (d->changeFile.empty() || hiveNumber(hive) < 0)
        return std::string();
    const std::lock_guard lock(d->mutex);
    if (!d->changes)
        d->changes = std::make_unique<store::ShopChanges>(d->conninfo, d->changeFile);
    return d->changeFile;
}

std::string PostgresRegistryStore::diagnostic(Hive hive) {
    const int number = hiveNumber(hive);
    if (number < 0)
        return std::string();
    const std::lock_guard lock(d->mutex);
    return d->hives[number].problem;
}

std::string PostgresRegistryStore::location(Hive hive) const {
    return hiveNumber(hive) < 0 ? std::string() : "PostgreSQL " + store::pg::describeServer(d->conninfo);
}

}  // namespace paramcor
