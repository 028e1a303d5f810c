// The registry store of POSIX systems: one SQLite file per hive.
#pragma once

#include <CVLParamcor/Export.h>

#include <CVLParamcor/RegistryStore.h>

#include <functional>
#include <memory>
#include <string>

namespace paramcor {

/// Several processes may use the same files at once: every write is committed when
/// it returns, and a write made by one process is seen by the next read of any other.
/// A committed write survives the crash of any program; the disk is not waited for
/// (SQLite's WAL with synchronous=NORMAL), so a power loss may take the writes since
/// the last flushKey, or since SQLite last copied the -wal into the hive, which it does
/// every thousand pages or so, waiting for the disk then. The hive itself is never
/// damaged by a power loss.
/// A hive whose file cannot be written is opened read-only: createKey then fails with
/// AccessDenied and openKey still works, as for a Windows user without rights; so
/// does a hive whose change counter (below) this process may not write. A reader
/// without write rights reads the hive whatever became of its -wal and -shm files. A
/// file that is not a hive is reported (BadDatabase, and diagnostic() says what it is)
/// and never changed. A hive that another process keeps locked longer than
/// Options::busyTimeoutMs gives SharingViolation.
///
/// Files: "HKEY_CURRENT_USER.db" and "HKEY_CLASSES_ROOT.db" in the user folder,
/// "HKEY_LOCAL_MACHINE.db" in the machine folder, each with SQLite's "-wal" and
/// "-shm" and a small "-changes" file beside it that counts committed writes, so that
/// readers can keep what they have read in memory until somebody writes; its time is
/// set after each count, for programs that follow it to be told of changes. Folders
/// are created when first written. Hives written with an older table of upper-case
/// letters are folded again by the first process that may write them.
class CVLPARAMCOR_EXPORT SqliteRegistryStore final : public RegistryStore {
public:
    /// Who may read a hive's files.
    enum class FileAccess {
        /// The user's own: the folder is made 0700 and every file 0600, whatever the
        /// umask, and the folder and files found with permissions for the group or
        /// others lose them when the store opens the hive (those this process owns).
        Private,
        /// Shared as the installation prepared it: the store changes no permission. A
        /// hive file it creates takes the owner's and the group's permissions of its
        /// folder less the execute bits (0660 in a folder 2775 of the operators'
        /// group), and every file beside a hive takes the hive file's permissions and,
        /// when root makes it, its owner and group. Others may not open such a hive,
        /// so that no lock of theirs can hold a writer up: each commit publishes a
        /// copy ("-published", 0444) by a rename, which they read, and they follow
        /// the change counter, readable by all. A folder of another user, or a setgid
        /// one, is always shared, whatever the options say.
        Shared,
    };

    /// How the store waits and what rights its files get.
    struct Options {
        /// How long to wait for another process's write. Readers seldom wait; a write
        /// may wait for a whole import, which holds the hive as one transaction.
        int busyTimeoutMs = 15000;
        FileAccess userFiles = FileAccess::Private;    ///< current user and classes root
        FileAccess machineFiles = FileAccess::Shared;  ///< local machine, in a folder of its own
        /// Called with the hive's file when createKey is refused because the file
        /// exists and may not be written; not for a hive that cannot be made.
        std::function<void(const std::string& file)> refused;
    };

    /// All three hives in one folder.
    ///@{
    explicit SqliteRegistryStore(const std::string& folder);
    SqliteRegistryStore(const std::string& folder, Options options);
    ///@}
    /// The current user's hive and the classes root in `userFolder`, the local
    /// machine in `machineFolder`. Two overloads rather than a default argument: GCC
    /// cannot default-construct Options inside the class that encloses it.
    ///@{
    SqliteRegistryStore(const std::string& userFolder, const std::string& machineFolder);
    SqliteRegistryStore(const std::string& userFolder, const std::string& machineFolder, Options options);
    ///@}
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
    long flushKey(KeyHandle key) override;
    long enumKey(KeyHandle key, std::uint32_t index, std::string* name) override;
    long enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                   std::vector<std::uint8_t>* data) override;
    long deleteValue(KeyHandle key, const std::string& name) override;
    long deleteTree(KeyHandle key, const std::string& path) override;
    std::string changeFile(Hive hive) const override;
    long changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes) override;
    long beginBatch(Hive hive) override;
    long commitBatch(Hive hive) override;
    long abortBatch(Hive hive) override;
    long beginReading(Hive hive) override;
    long endReading(Hive hive) override;
    std::string diagnostic(Hive hive) override;

    /// The file that holds a hive.
    std::string hiveFile(Hive hive) const;
    std::string location(Hive hive) const override { return hiveFile(hive); }

private:
    struct CVLPARAMCOR_NO_EXPORT Impl;
    std::unique_ptr<Impl> d;
};

}  // namespace paramcor
