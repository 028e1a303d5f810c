#include "StationRegistryStore.h"

#include "ShopCopy.h"

#include <fstream>
#include <utility>

namespace paramcor {

namespace {

// How long a write waits for the copy to hold it: past that the server is away.
constexpr int kCatchUpMs = 2000;

}  // namespace

StationRegistryStore::StationRegistryStore(std::shared_ptr<RegistryStore> local, std::shared_ptr<RegistryStore> machine)
    : local_(std::move(local)), machine_(std::move(machine)) {}

StationRegistryStore::StationRegistryStore(std::shared_ptr<RegistryStore> local, std::shared_ptr<RegistryStore> machine,
                                           std::shared_ptr<store::ShopCopy> copy)
    : local_(std::move(local)), machine_(std::move(machine)), copy_(std::move(copy)) {}

StationRegistryStore::~StationRegistryStore() = default;

long StationRegistryStore::opened(Opened found, long rc, KeyHandle* key) {
    if (rc != regerr::Success)
        return rc;
    const std::lock_guard lock(mutex_);
    *key = next_++;
    handles_.emplace(*key, std::move(found));
    return rc;
}

long StationRegistryStore::serverKey(KeyHandle key, KeyHandle* server) {
    std::string path;
    {
        const std::lock_guard lock(mutex_);
        const auto it = handles_.find(key);
        if (it == handles_.end())
            return regerr::InvalidHandle;
        if (it->second.server || it->second.store == machine_.get()) {
            *server = it->second.server ? it->second.server : it->second.key;
            return regerr::Success;
        }
        path = it->second.path;
    }
    if (const long rc = machine_->openKey(Hive::LocalMachine, path, server))
        return rc;
    const std::lock_guard lock(mutex_);
    const auto it = handles_.find(key);
    if (it == handles_.end() || it->second.server) {
        machine_->closeKey(*server);
        return it == handles_.end() ? regerr::InvalidHandle : (*server = it->second.server, regerr::Success);
    }
    it->second.server = *server;
    return regerr::Success;
}

template <class Call>
long StationRegistryStore::onKey(KeyHandle key, bool writing, Call&& call) {
    Opened found{};
    {
        const std::lock_guard lock(mutex_);
        const auto it = handles_.find(key);
        if (it == handles_.end())
            return regerr::InvalidHandle;
        found = it->second;
    }
    const bool toServer = fromCopy(found.hive) && found.store != machine_.get() && (writing || machineBatch_);
    if (!toServer)
        return call(*found.store, found.key);
    KeyHandle server = 0;
    if (const long rc = serverKey(key, &server))
        return rc;
    return call(*machine_, server);
}

long StationRegistryStore::written(Hive hive, long rc) {
    if (rc == regerr::Success && fromCopy(hive) && !machineBatch_)
        copy_->catchUp(kCatchUpMs);
    return rc;
}

long StationRegistryStore::createKey(Hive hive, const std::string& path, KeyHandle* key) {
    if (!key)
        return regerr::InvalidParameter;
    KeyHandle inner = 0;
    const long rc = written(hive, storeOf(hive).createKey(hive, path, &inner));
    Opened found{&storeOf(hive), inner, hive, path};
    KeyHandle copied = 0;
    if (rc == regerr::Success && fromCopy(hive) && !machineBatch_ &&
        copy_->reader().openKey(hive, path, &copied) == regerr::Success)
        found = Opened{&copy_->reader(), copied, hive, path, inner};
    return opened(std::move(found), rc, key);
}

long StationRegistryStore::openKey(Hive hive, const std::string& path, KeyHandle* key) {
    if (!key)
        return regerr::InvalidParameter;
    RegistryStore& from = fromCopy(hive) && !machineBatch_ ? copy_->reader() : storeOf(hive);
    KeyHandle inner = 0;
    const long rc = from.openKey(hive, path, &inner);
    return opened(Opened{&from, inner, hive, path}, rc, key);
}

long StationRegistryStore::queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                                      std::vector<std::uint8_t>* data, std::uint32_t capacity, std::uint32_t* size) {
    return onKey(key, false,
                 [&](RegistryStore& s, KeyHandle k) { return s.queryValue(k, name, type, data, capacity, size); });
}

long StationRegistryStore::setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                                    const std::vector<std::uint8_t>& data) {
    return onKey(key, true, [&](RegistryStore& s, KeyHandle k) {
        return written(&s == machine_.get() ? Hive::LocalMachine : Hive::CurrentUser, s.setValue(k, name, type, data));
    });
}

long StationRegistryStore::closeKey(KeyHandle key) {
    Opened found{};
    {
        const std::lock_guard lock(mutex_);
        const auto it = handles_.find(key);
        if (it == handles_.end())
            return regerr::InvalidHandle;
        found = it->second;
        handles_.erase(it);
    }
    if (found.server)
        machine_->closeKey(found.server);
    return found.store->closeKey(found.key);
}

long StationRegistryStore::enumKey(KeyHandle key, std::uint32_t index, std::string* name) {
    return onKey(key, false, [&](RegistryStore& s, KeyHandle k) { return s.enumKey(k, index, name); });
}

long StationRegistryStore::enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                                     std::vector<std::uint8_t>* data) {
    return onKey(key, false, [&](RegistryStore& s, KeyHandle k) { return s.enumValue(k, index, name, type, data); });
}

long StationRegistryStore::deleteValue(KeyHandle key, const std::string& name) {
    return onKey(key, true, [&](RegistryStore& s, KeyHandle k) {
        return written(&s == machine_.get() ? Hive::LocalMachine : Hive::CurrentUser, s.deleteValue(k, name));
    });
}

long StationRegistryStore::deleteTree(KeyHandle key, const std::string& path) {
    return onKey(key, true, [&](RegistryStore& s, KeyHandle k) {
        return written(&s == machine_.get() ? Hive::LocalMachine : Hive::CurrentUser, s.deleteTree(k, path));
    });
}

std::string StationRegistryStore::changeFile(Hive hive) const {
    // The copy's own change file is touched each time the server's changes are applied.
    return fromCopy(hive) ? copy_->reader().changeFile(hive) : storeOf(hive).changeFile(hive);
}

// The copy logs what each round of the server's changes wrote, key by key.
long StationRegistryStore::changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes) {
    return fromCopy(hive) ? copy_->reader().changesSince(hive, position, changes)
                          : storeOf(hive).changesSince(hive, position, changes);
}

long StationRegistryStore::notifyChange(KeyHandle key, bool subtree, std::uintptr_t event) {
    return onKey(key, false, [&](RegistryStore& s, KeyHandle k) { return s.notifyChange(k, subtree, event); });
}

long StationRegistryStore::beginBatch(Hive hive) {
    const long rc = storeOf(hive).beginBatch(hive);
    if (rc == regerr::Success && hive == Hive::LocalMachine)
        machineBatch_ = true;
    return rc;
}

long StationRegistryStore::commitBatch(Hive hive) {
    const long rc = storeOf(hive).commitBatch(hive);
    if (hive == Hive::LocalMachine)
        machineBatch_ = false;
    return written(hive, rc);
}

long StationRegistryStore::abortBatch(Hive hive) {
    const long rc = storeOf(hive).abortBatch(hive);
    if (hive == Hive::LocalMachine)
        machineBatch_ = false;
    return rc;
}

std::string StationRegistryStore::diagnostic(Hive hive) {
    // Once, after the server came back: the copy caught up with what changed
    // meanwhile, which is newer than the failure the server's store remembers.
    if (fromCopy(hive))
        if (std::string notice = copy_->takeNotice(); !notice.empty())
            return notice;
    return storeOf(hive).diagnostic(hive);
}

std::string StationRegistryStore::location(Hive hive) const {
    return storeOf(hive).location(hive);
}

std::string shopConnection(const std::string& file) {
    std::ifstream in(file);
    std::string line;
    while (std::getline(in, line)) {
        const auto first = line.find_first_not_of(" \t\r");
        if (first == std::string::npos || line[first] == '#')
            continue;
        line = line.substr(first, line.find_last_not_of(" \t\r") + 1 - first);
        return line.find('=') != std::string::npos ? line : "service=" + line;
    }
    return std::string();
}

}  // namespace paramcor
