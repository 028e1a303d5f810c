// The registry of a station that belongs to a shop: the machine hive in the shop's
// store, the user's hives and the classes root in the station's own.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace paramcor {

namespace store {
class ShopCopy;
}

class StationRegistryStore final : public RegistryStore {
public:
    StationRegistryStore(std::shared_ptr<RegistryStore> local, std::shared_ptr<RegistryStore> machine);
    // With the station's copy of the machine hive: reads answer from it, writes go to
    // `machine` and return once the copy holds them (or the server went away).
    StationRegistryStore(std::shared_ptr<RegistryStore> local, std::shared_ptr<RegistryStore> machine,
                         std::shared_ptr<store::ShopCopy> copy);
    ~StationRegistryStore() override;

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
    std::string changeFile(Hive hive) const override;
    long changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes) override;
    long notifyChange(KeyHandle key, bool subtree, std::uintptr_t event) override;
    long beginBatch(Hive hive) override;
    long commitBatch(Hive hive) override;
    long abortBatch(Hive hive) override;
    std::string diagnostic(Hive hive) override;
    std::string location(Hive hive) const override;

private:
    struct Opened {
        RegistryStore* store;  // the one `key` belongs to: local, copy or server
        KeyHandle key;
        Hive hive;
        std::string path;
        KeyHandle server = 0;  // the server's handle of a key read from the copy, once written
    };
    RegistryStore& storeOf(Hive hive) const { return hive == Hive::LocalMachine ? *machine_ : *local_; }
    bool fromCopy(Hive hive) const { return copy_ && hive == Hive::LocalMachine; }
    long opened(Opened found, long rc, KeyHandle* key);
    // Calls `call` with the store and its own handle of an open key; `writing` sends
    // a key read from the copy to the server.
    template <class Call>
    long onKey(KeyHandle key, bool writing, Call&& call);
    long serverKey(KeyHandle key, KeyHandle* server);
    long written(Hive hive, long rc);

    std::shared_ptr<RegistryStore> local_;
    std::shared_ptr<RegistryStore> machine_;
    std::shared_ptr<store::ShopCopy> copy_;
    std::atomic<bool> machineBatch_{false};  // reads of the machine hive go to the server meanwhile
    std::mutex mutex_;
    std::map<KeyHandle, Opened> handles_;
    KeyHandle next_ = 1;
};

// The libpq connection string that the shop file (negozio.conf, beside the
// installation file) names: its first line that is neither empty nor a comment ("#"),
// a connection string when it holds "=", else the name of a service of
// pg_service.conf. Empty when the file does not exist or names nothing: the station
// belongs to no shop.
std::string shopConnection(const std::string& file);

}  // namespace paramcor
