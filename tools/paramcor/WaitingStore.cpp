#include "WaitingStore.h"

#include "Output.h"
#include "Wording.h"

#include <chrono>
#include <cstdio>

namespace paramcor::tool {

WaitingStore::WaitingStore(std::shared_ptr<RegistryStore> store, int waitSeconds)
    : store_(std::move(store)), waitSeconds_(waitSeconds) {}

WaitingStore::~WaitingStore() {
    {
        const std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    changed_.notify_all();
    if (watcher_.joinable())
        watcher_.join();
}

// A write still running at two looks a second apart is waiting for another
// program: say so, once per write. Writes themselves only set two atomics, so that
// an import of many values does not wake this thread at every one.
void WaitingStore::watch() {
    std::unique_lock lock(mutex_);
    unsigned long long seen = 0;
    bool told = false;
    while (!changed_.wait_for(lock, std::chrono::seconds(1), [this] { return stopping_; })) {
        const unsigned long long call = call_.load();
        if (call != seen)
            told = false;
        else if (busy_.load() && !told) {
            std::fprintf(stderr, "%s%s\n", qUtf8Printable(errorPrefix()), qUtf8Printable(notice_));
            told = true;
        }
        seen = call;
    }
}

template <typename Call>
long WaitingStore::writing(Call call) {
    // Started by the first write: most commands only read, and a thread costs them
    // a noticeable part of their start.
    if (!watcher_.joinable()) {
        notice_ = tr("waiting for another program that holds the store, at most %1 s (--attesa)").arg(waitSeconds_);
        watcher_ = std::thread([this] { watch(); });
    }
    call_.fetch_add(1);
    busy_.store(true);
    const long rc = call();
    busy_.store(false);
    return rc;
}

long WaitingStore::createKey(Hive hive, const std::string& path, KeyHandle* key) {
    return writing([&] { return store_->createKey(hive, path, key); });
}
long WaitingStore::openKey(Hive hive, const std::string& path, KeyHandle* key) {
    return store_->openKey(hive, path, key);
}
long WaitingStore::queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                              std::vector<std::uint8_t>* data, std::uint32_t capacity, std::uint32_t* size) {
    return store_->queryValue(key, name, type, data, capacity, size);
}
long WaitingStore::setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                            const std::vector<std::uint8_t>& data) {
    return writing([&] { return store_->setValue(key, name, type, data); });
}
long WaitingStore::closeKey(KeyHandle key) {
    return store_->closeKey(key);
}
long WaitingStore::enumKey(KeyHandle key, std::uint32_t index, std::string* name) {
    return store_->enumKey(key, index, name);
}
std::string WaitingStore::changeFile(Hive hive) const {
    return store_->changeFile(hive);
}
long WaitingStore::notifyChange(KeyHandle key, bool subtree, std::uintptr_t event) {
    return store_->notifyChange(key, subtree, event);
}
long WaitingStore::deleteValue(KeyHandle key, const std::string& name) {
    return writing([&] { return store_->deleteValue(key, name); });
}
long WaitingStore::deleteTree(KeyHandle key, const std::string& path) {
    return writing([&] { return store_->deleteTree(key, path); });
}
long WaitingStore::enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                             std::vector<std::uint8_t>* data) {
    return store_->enumValue(key, index, name, type, data);
}
long WaitingStore::beginBatch(Hive hive) {
    return writing([&] { return store_->beginBatch(hive); });
}
long WaitingStore::commitBatch(Hive hive) {
    return writing([&] { return store_->commitBatch(hive); });
}
long WaitingStore::abortBatch(Hive hive) {
    return store_->abortBatch(hive);
}
std::string WaitingStore::diagnostic(Hive hive) {
    return store_->diagnostic(hive);
}
std::string WaitingStore::location(Hive hive) const {
    return store_->location(hive);
}

}  // namespace paramcor::tool
