// The registry store of POSIX systems: one SQLite file per hive.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <functional>
#include <memory>
#include <string>

namespace paramcor {

// Several processes may use the same files at once: every write is committed when
// it returns, and a write made by one process is seen by the next read of any other.
// A hive whose file cannot be written is opened read-only: createKey then fails with
// AccessDenied and openKey still works, as for a Windows user without rights. A file
// that is not a hive is reported (BadDatabase) and never changed. A hive that another
// process keeps locked longer than Options::busyTimeoutMs gives SharingViolation.
//
// Files: "HKEY_CURRENT_USER.db" and "HKEY_CLASSES_ROOT.db" in the user folder,
// "HKEY_LOCAL_MACHINE.db" in the machine folder, each with a small "-changes" file
// beside it that counts committed writes, so that readers can keep what they have
// read in memory until somebody writes; its time is set after each count, for
// programs that follow it to be told of changes. Folders are created when first written.
class SqliteRegistryStore final : public RegistryStore {
public:
    struct Options {
        int busyTimeoutMs = 5000;  // how long to wait for another process's write
        // Called with the hive's file when createKey is refused because the file
        // exists and may not be written; not for a hive that cannot be made.
        std::function<void(const std::string& file)> refused;
    };

    // All three hives in one folder.
    explicit SqliteRegistryStore(const std::string& folder);
    SqliteRegistryStore(const std::string& folder, Options options);
    // Two overloads rather than a default argument: GCC cannot default-construct
    // Options inside the class that encloses it.
    SqliteRegistryStore(const std::string& userFolder, const std::string& machineFolder);
    SqliteRegistryStore(const std::string& userFolder, const std::string& machineFolder, Options options);
    ~SqliteRegistryStore() override;

    SqliteRegistryStore(const SqliteRegistryStore&) = delete;
    SqliteRegistryStore& operator=(const SqliteRegistryStore&) = delete;

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

    // The file that holds a hive.
    std::string hiveFile(Hive hive) const;

private:
    struct Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace paramcor
