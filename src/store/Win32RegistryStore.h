// The registry store of Windows: the real registry, through advapi32.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <shared_mutex>
#include <unordered_set>

namespace paramcor {

// A KeyHandle is the HKEY itself. The store accepts only the handles it opened and
// has not closed yet, so that a stale handle gives ERROR_INVALID_HANDLE instead of
// closing some other key of the process that got the same value meanwhile.
class Win32RegistryStore final : public RegistryStore {
public:
    Win32RegistryStore() = default;
    ~Win32RegistryStore() override;  // closes the keys left open

    Win32RegistryStore(const Win32RegistryStore&) = delete;
    Win32RegistryStore& operator=(const Win32RegistryStore&) = delete;

    long createKey(Hive hive, const std::string& path, KeyHandle* key) override;
    long openKey(Hive hive, const std::string& path, KeyHandle* key) override;
    long queryValue(KeyHandle key, const std::string& name, std::uint32_t* type, std::vector<std::uint8_t>* data,
                    std::uint32_t capacity, std::uint32_t* size) override;
    long setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                  const std::vector<std::uint8_t>& data) override;
    long closeKey(KeyHandle key) override;

private:
    // Opens with all access and creating what is missing, or read-only.
    long open(Hive hive, const std::string& path, KeyHandle* key, bool create);

    std::shared_mutex mutex_;  // shared while a key is used, exclusive to close one
    std::unordered_set<KeyHandle> open_;
};

}  // namespace paramcor
