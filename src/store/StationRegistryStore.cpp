#include "StationRegistryStore.h"

#include <fstream>
#include <utility>

namespace paramcor {

StationRegistryStore::StationRegistryStore(std::shared_ptr<RegistryStore> local, std::shared_ptr<RegistryStore> machine)
    : local_(std::move(local)), machine_(std::move(machine)) {}

long StationRegistryStore::opened(Hive hive, KeyHandle inner, long rc, KeyHandle* key) {
    if (rc != regerr::Success)
        return rc;
    const std::lock_guard lock(mutex_);
    *key = next_++;
    handles_.emplace(*key, Opened{&storeOf(hive), inner});
    return rc;
}

template <class Call>
long StationRegistryStore::onKey(KeyHandle key, Call&& call) {
    Opened found{};
    {
        const std::lock_guard lock(mutex_);
        const auto it = handles_.find(key);
        if (it == handles_.end())
            return regerr::InvalidHandle;
        found = it->second;
    }
    return call(*found.store, found.key);
}

long StationRegistryStore::createKey(Hive hive, const std::string& path, KeyHandle* key) {
    KeyHandle inner = 0;
    return key ? opened(hive, inner, storeOf(hive).createKey(hive, path, &inner), key) : regerr::InvalidParameter;
}

long StationRegistryStore::openKey(Hive hive, const std::string& path, KeyHandle* key) {
    KeyHandle inner = 0;
    return key ? opened(hive, inner, storeOf(hive).openKey(hive, path, &inner), key) : regerr::InvalidParameter;
}

long StationRegistryStore::queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                                      std::vector<std::uint8_t>* data, std::uint32_t capacity, std::uint32_t* size) {
    return onKey(key, [&](RegistryStore& s, KeyHandle k) { return s.queryValue(k, name, type, data, capacity, size); });
}

long StationRegistryStore::setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                                    const std::vector<std::uint8_t>& data) {
    return onKey(key, [&](RegistryStore& s, KeyHandle k) { return s.setValue(k, name, type, data); });
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
    return found.store->closeKey(found.key);
}

long StationRegistryStore::enumKey(KeyHandle key, std::uint32_t index, std::string* name) {
    return onKey(key, [&](RegistryStore& s, KeyHandle k) { return s.enumKey(k, index, name); });
}

long StationRegistryStore::enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                                     std::vector<std::uint8_t>* data) {
    return onKey(key, [&](RegistryStore& s, KeyHandle k) { return s.enumValue(k, index, name, type, data); });
}

long StationRegistryStore::deleteValue(KeyHandle key, const std::string& name) {
    return onKey(key, [&](RegistryStore& s, KeyHandle k) { return s.deleteValue(k, name); });
}

long StationRegistryStore::deleteTree(KeyHandle key, const std::string& path) {
    return onKey(key, [&](RegistryStore& s, KeyHandle k) { return s.deleteTree(k, path); });
}

std::string StationRegistryStore::changeFile(Hive hive) const {
    return storeOf(hive).changeFile(hive);
}

long StationRegistryStore::notifyChange(KeyHandle key, bool subtree, std::uintptr_t event) {
    return onKey(key, [&](RegistryStore& s, KeyHandle k) { return s.notifyChange(k, subtree, event); });
}

long StationRegistryStore::beginBatch(Hive hive) {
    return storeOf(hive).beginBatch(hive);
}

long StationRegistryStore::commitBatch(Hive hive) {
    return storeOf(hive).commitBatch(hive);
}

long StationRegistryStore::abortBatch(Hive hive) {
    return storeOf(hive).abortBatch(hive);
}

std::string StationRegistryStore::diagnostic(Hive hive) {
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
