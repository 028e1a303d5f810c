// The registry store of a shop: a station's machine settings kept on the shop's
// PostgreSQL server, shared by every station of the shop.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <memory>
#include <string>

namespace paramcor {

// Keys and values live in the tables paramcor_keys and paramcor_values of the
// database a libpq connection string names (a service of pg_service.conf, or
// "host=... dbname=..."), one tree per hive, with the same names, limits, result
// codes and order as the SQLite store. Every call goes to the server, so another
// station's write is seen by the next read. A write that the server's rights forbid
// gives AccessDenied; a server that cannot be reached gives IoFailed, and
// diagnostic() names the server and the reason. Batches are transactions on the
// server, so a station that dies in the middle of one leaves nothing of it.
class PostgresRegistryStore final : public RegistryStore {
public:
    explicit PostgresRegistryStore(const std::string& conninfo);
    // With a change file: its time is set whenever any station commits a change to
    // the shop, by a thread that listens to the server's announcements from the
    // first call of changeFile() on.
    PostgresRegistryStore(const std::string& conninfo, const std::string& changeFile);
    ~PostgresRegistryStore() override;

    PostgresRegistryStore(const PostgresRegistryStore&) = delete;
    PostgresRegistryStore& operator=(const PostgresRegistryStore&) = delete;

    // Makes the tables of a shop in an empty database, or checks those there, and
    // the roles of its users: paramcor_operators may write, paramcor_readers read.
    // An empty string on success, else why not.
    static std::string prepareDatabase(const std::string& conninfo);

    long createKey(Hive hive, const std::string& path, KeyHandle* key) override;
    long openKey(Hive hive, const std::string& path, KeyHandle* key) override;
    long queryValue(KeyHandle key, const std::string& name, std::uint32_t* type, std::vector<std::uint8_t>* data,
                    std::uint32_t capacity, std::uint32_t* size) override;
    long setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                  const std::vector<std::uint8_t>& data) override;
    long closeKey(KeyHandle key) override;
    long enumKey(KeyHandle key, std::uint32_t index, std::string* name) override;
    long enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                   std::vector<std::uint8_t>* data) override;
    long deleteValue(KeyHandle key, const std::string& name) override;
    long deleteTree(KeyHandle key, const std::string& path) override;
    long beginBatch(Hive hive) override;
    long commitBatch(Hive hive) override;
    long abortBatch(Hive hive) override;
    std::string changeFile(Hive hive) const override;
    std::string diagnostic(Hive hive) override;
    std::string location(Hive hive) const override;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace paramcor
