// The store with a word for the user when a write waits: after a second, one line
// on standard error says what the command waits for, and for how long at most.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <QString>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace paramcor::tool {

class WaitingStore final : public RegistryStore {
public:
    WaitingStore(std::shared_ptr<RegistryStore> store, int waitSeconds);
    ~WaitingStore() override;
    WaitingStore(const WaitingStore&) = delete;
    WaitingStore& operator=(const WaitingStore&) = delete;

    RegistryStore& inner() { return *store_; }

    long createKey(Hive hive, const std::string& path, KeyHandle* key) override;
    long openKey(Hive hive, const std::string& path, KeyHandle* key) override;
    long queryValue(KeyHandle key, const std::string& name, std::uint32_t* type, std::vector<std::uint8_t>* data,
                    std::uint32_t capacity, std::uint32_t* size) override;
    long setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                  const std::vector<std::uint8_t>& data) override;
    long closeKey(KeyHandle key) override;
    long enumKey(KeyHandle key, std::uint32_t index, std::string* name) override;
    std::string changeFile(Hive hive) const override;
    long notifyChange(KeyHandle key, bool subtree, std::uintptr_t event) override;
    long deleteValue(KeyHandle key, const std::string& name) override;
    long deleteTree(KeyHandle key, const std::string& path) override;
    long enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                   std::vector<std::uint8_t>* data) override;
    long beginBatch(Hive hive) override;
    long commitBatch(Hive hive) override;
    long abortBatch(Hive hive) override;
    long changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes) override {
        return store_->changesSince(hive, position, changes);
    }
    long flushKey(KeyHandle key) override { return store_->flushKey(key); }
    long beginReading(Hive hive) override { return store_->beginReading(hive); }
    long endReading(Hive hive) override { return store_->endReading(hive); }
    std::string diagnostic(Hive hive) override;
    std::string location(Hive hive) const override;

private:
    template <typename Call>
    long writing(Call call);
    void watch();

    std::shared_ptr<RegistryStore> store_;
    int waitSeconds_;
    QString notice_;  // made on the command's thread, where the texts are
    std::mutex mutex_;
    std::condition_variable changed_;
    bool stopping_ = false;
    // Set by each write without waking the watcher, which looks once a second.
    std::atomic<bool> busy_ = false;
    std::atomic<unsigned long long> call_ = 0;
    std::thread watcher_;
};

}  // namespace paramcor::tool
