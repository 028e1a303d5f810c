// The registry operations the library and its tools need, with the Windows
// semantics and result codes, so that the same logic runs on the real registry and
// on the POSIX store. Standard C++ only: this header is also compiled for Windows
// without Qt.
#pragma once

#include <CVLParamcor/Export.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace paramcor {

enum class Hive : std::uint32_t {
    ClassesRoot = 0x80000000u,
    CurrentUser = 0x80000001u,
    LocalMachine = 0x80000002u,
};

/// An open key; 0 never names one.
using KeyHandle = std::uintptr_t;

/// Windows system error codes, as the registry functions return them.
namespace regerr {
constexpr long Success = 0;                ///< the call did what it was asked
constexpr long InvalidFunction = 1;    ///< ERROR_INVALID_FUNCTION: the store cannot do this
constexpr long FileNotFound = 2;       ///< ERROR_FILE_NOT_FOUND: no such key or value
constexpr long AccessDenied = 5;       ///< ERROR_ACCESS_DENIED
constexpr long InvalidHandle = 6;      ///< ERROR_INVALID_HANDLE
constexpr long SharingViolation = 32;  ///< ERROR_SHARING_VIOLATION: held by another process
constexpr long InvalidParameter = 87;  ///< ERROR_INVALID_PARAMETER
constexpr long BadPathname = 161;      ///< ERROR_BAD_PATHNAME
constexpr long NameTooLong = 206;      ///< ERROR_FILENAME_EXCED_RANGE: a name or a key path beyond the limits
constexpr long MoreData = 234;         ///< ERROR_MORE_DATA
constexpr long NoMoreItems = 259;      ///< ERROR_NO_MORE_ITEMS: an enumeration is past its end
constexpr long BadDatabase = 1009;     ///< ERROR_BADDB: the hive file is not a hive
constexpr long IoFailed = 1016;        ///< ERROR_REGISTRY_IO_FAILED
constexpr long KeyDeleted = 1018;      ///< ERROR_KEY_DELETED: the open key was deleted meanwhile
}  // namespace regerr

/// Registry value types used by the library.
namespace regtype {
constexpr std::uint32_t String = 1;  ///< REG_SZ
constexpr std::uint32_t Binary = 3;  ///< REG_BINARY
constexpr std::uint32_t Dword = 4;   ///< REG_DWORD
}  // namespace regtype

/// The registry's limits on names, in characters as Windows counts them (UTF-16 code
/// units). A key name or a value name beyond its limit gives InvalidParameter, as Wine
/// gives it; a path too deep or too long gives NameTooLong, as the status
/// STATUS_NAME_TOO_LONG of the registry becomes.
namespace reglimit {
constexpr std::size_t KeyName = 256;      ///< one key name: the documentation says 255, the registry takes 256
constexpr std::size_t KeyDepth = 512;     ///< key names in a path below the hive
constexpr std::size_t KeyPath = 32766;    ///< a whole key path: what a Windows name string holds
constexpr std::size_t ValueName = 16383;  ///< a value name
}  // namespace reglimit

/// Whether a key path below a hive keeps the limits: Success, InvalidParameter or
/// NameTooLong. Empty names (doubled or trailing backslashes) are not counted as
/// levels; the path's length counts every character up to a NUL, if any.
CVLPARAMCOR_EXPORT long checkKeyPath(const std::string& path);

/// Paths are backslash-separated UTF-8; key and value names compare case-insensitively
/// and keep the case they were created with. The empty value name is the key's
/// unnamed (default) value; the empty path names the hive's root key.
class CVLPARAMCOR_EXPORT RegistryStore {
public:
    /// Defined in the library, so that the class's virtual table and type information
    /// live there once instead of weakly in every program.
    virtual ~RegistryStore();

    /// Opens the key with all access, creating it and every missing parent.
    virtual long createKey(Hive hive, const std::string& path, KeyHandle* key) = 0;

    /// Opens an existing key for reading only.
    virtual long openKey(Hive hive, const std::string& path, KeyHandle* key) = 0;

    /// Reads a value. `capacity` is the caller's buffer size in bytes: when the data
    /// is larger the result is MoreData, `*size` tells the size needed and `data` is
    /// left alone. On success `*data` holds exactly `*size` bytes. `type`, `data` and
    /// `size` may each be null.
    virtual long queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                            std::vector<std::uint8_t>* data, std::uint32_t capacity, std::uint32_t* size) = 0;

    /// Writes a value. When the call returns, every process reads it, and it survives
    /// the writing program's crash; like the Windows registry, which writes its hives
    /// to disk lazily, the store does not wait for the disk, so a power loss or a crash
    /// of the system may take the last writes. flushKey waits for the disk.
    virtual long setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                          const std::vector<std::uint8_t>& data) = 0;

    /// Closes a key opened by createKey or openKey; InvalidHandle for any other.
    virtual long closeKey(KeyHandle key) = 0;

    /// Returns once every write committed to the key's hive is on the disk, to survive
    /// a power loss too (RegFlushKey): for the few writes that must, as it costs the
    /// disk's time. Any open key of the hive will do.
    virtual long flushKey(KeyHandle key);

    /// Enumeration, for tools that copy or export a whole key: call with index 0, 1,
    /// 2... until NoMoreItems. A key added or set meanwhile may shift the indexes, as
    /// on Windows. A store that cannot enumerate answers InvalidFunction.

    /// The name of a subkey (its last path component, in the case it was created
    /// with). Subkeys come in the order of their upper-cased names, as Windows and
    /// the POSIX store give them; Wine compares the lower-cased names, which differs
    /// where "[", "]", "^", "_" or "`" meets a letter.
    virtual long enumKey(KeyHandle key, std::uint32_t index, std::string* name);

    /// A value's name (empty for the unnamed value), type and whole data, text as
    /// queryValue gives it; `name`, `type` and `data` may each be null. The order is
    /// the store's own: Windows keeps the order of creation, the POSIX store that of
    /// the upper-cased names, Wine that of the lower-cased names.
    virtual long enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                           std::vector<std::uint8_t>* data);

    /// Deletion, for administrators' tools; a store that cannot delete answers
    /// InvalidFunction. Both need a key opened with createKey (AccessDenied otherwise)
    /// and are durable when they return.

    /// Removes one value (RegDeleteValueW); FileNotFound when there is none.
    virtual long deleteValue(KeyHandle key, const std::string& name);

    /// Removes the subkey `path` of `key` with every key and value below it, all or
    /// nothing (RegDeleteTreeW); FileNotFound when there is no such subkey. An empty
    /// path empties `key` itself: its values and subkeys go, the key stays. Handles
    /// still open on a removed key no longer find its values, and writing through
    /// them fails.
    virtual long deleteTree(KeyHandle key, const std::string& path);

    /// A file whose status changes (its time is set) after every write committed to
    /// the hive by any process, so that a program can wait for changes without asking
    /// again and again; empty when the store has none.
    virtual std::string changeFile(Hive hive) const;

    /// One changed key, as changesSince reports it.
    struct KeyChange {
        std::string path;      ///< the key's path as the store spells it; "" for the whole hive
        bool subtree = false;  ///< everything below it may have changed too (a deleted tree)
    };
    /// What changed in a hive since `position`, for programs told of changes through
    /// changeFile, so that they read again only what changed. `position` is the store's
    /// own mark: 0 at first, then as the last call left it. The whole hive ({"", true})
    /// when the store cannot tell any closer: the first call, the hive's file replaced,
    /// a watcher too far behind. InvalidFunction when the store keeps no record of changes.
    virtual long changesSince(Hive hive, std::uint64_t& position, std::vector<KeyChange>& changes);

    /// The same where the registry tells of changes itself (Windows): `event`, a
    /// Windows event handle, is signalled once at the next change of a value or a
    /// subkey of `key`, with `subtree` of any key below it too, by any process
    /// (RegNotifyChangeKeyValue). Arm it again after each signal, on a handle opened
    /// anew: Wine tells through a handle only once. InvalidFunction elsewhere.
    virtual long notifyChange(KeyHandle key, bool subtree, std::uintptr_t event);

    /// Batches, for tools that write many values at once: the keys and values written
    /// to one hive between beginBatch and commitBatch are kept all together or not at
    /// all. abortBatch, or the process ending first, drops every one of them; until the
    /// commit, other processes see none of them and their writes to the hive wait. A
    /// write that fails inside a batch changes nothing; when the hive itself failed,
    /// the whole batch is lost and commitBatch says so. One batch per hive at a time.
    /// A store that cannot answers InvalidFunction, and then its writes count one by one.
    ///@{
    virtual long beginBatch(Hive hive);
    virtual long commitBatch(Hive hive);
    virtual long abortBatch(Hive hive);
    ///@}

    /// One state of a hive, for exports and listings: between beginReading and
    /// endReading every read of the hive through this store sees it as it was at the
    /// first of them, whatever other processes commit meanwhile; they do not wait.
    /// Writes through this store wait for endReading: they give SharingViolation.
    /// InvalidFunction where the store cannot (then each read sees the latest state).
    ///@{
    virtual long beginReading(Hive hive);
    virtual long endReading(Hive hive);
    ///@}

    /// Why the store last could not use a hive as it should, naming its file and the
    /// cause ("... is not a hive of CVLParamcor: ..."), for the person who must put it
    /// right; empty when there is nothing to tell. Calls still answer with the
    /// registry's result codes.
    virtual std::string diagnostic(Hive hive);

    /// Where the hive is kept, for the people who support an installation: a file,
    /// or empty when the store does not say (the Windows registry).
    virtual std::string location(Hive hive) const;
};

/// Reads of one hive seen as one state for as long as this lives (beginReading).
class StoreReading {
public:
    /// Begins the reading of `hive` on `store`.
    StoreReading(RegistryStore& store, Hive hive) : store_(store), hive_(hive), began_(store.beginReading(hive)) {}
    /// Ends it, when it began.
    ~StoreReading() {
        if (began_ == regerr::Success)
            store_.endReading(hive_);
    }
    StoreReading(const StoreReading&) = delete;
    StoreReading& operator=(const StoreReading&) = delete;
    /// What beginReading answered: Success, or why each read sees the latest state.
    long began() const { return began_; }

private:
    RegistryStore& store_;
    Hive hive_;
    long began_;
};

/// A key open on a store, closed when it goes out of scope, whichever way.
class CVLPARAMCOR_EXPORT StoreKey {
public:
    explicit StoreKey(RegistryStore& store) : store_(store) {}  ///< holding no key yet
    /// Takes over `handle`, already open on `store`.
    StoreKey(RegistryStore& store, KeyHandle handle) : store_(store), handle_(handle) {}
    ~StoreKey() { close(); }
    StoreKey(const StoreKey&) = delete;
    StoreKey& operator=(const StoreKey&) = delete;

    /// As RegistryStore::openKey and createKey, closing the key held before.
    ///@{
    long open(Hive hive, const std::string& path) {
        close();
        return opened(store_.openKey(hive, path, &handle_));
    }
    long create(Hive hive, const std::string& path) {
        close();
        return opened(store_.createKey(hive, path, &handle_));
    }
    ///@}

    /// Closes the key held, if any.
    long close() { return handle_ != 0 ? store_.closeKey(std::exchange(handle_, 0)) : regerr::Success; }
    KeyHandle handle() const { return handle_; }            ///< 0 when no key is held
    explicit operator bool() const { return handle_ != 0; }  ///< whether a key is held

private:
    long opened(long result) {
        if (result != regerr::Success)
            handle_ = 0;
        return result;
    }

    RegistryStore& store_;
    KeyHandle handle_ = 0;
};

inline long RegistryStore::beginReading(Hive) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::endReading(Hive) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::flushKey(KeyHandle) {
    return regerr::Success;  // a store without a disk of its own has nothing to wait for
}

inline long RegistryStore::changesSince(Hive, std::uint64_t&, std::vector<KeyChange>&) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::enumKey(KeyHandle, std::uint32_t, std::string*) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::enumValue(KeyHandle, std::uint32_t, std::string*, std::uint32_t*,
                                     std::vector<std::uint8_t>*) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::deleteValue(KeyHandle, const std::string&) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::deleteTree(KeyHandle, const std::string&) {
    return regerr::InvalidFunction;
}

inline std::string RegistryStore::changeFile(Hive) const {
    return std::string();
}

inline long RegistryStore::notifyChange(KeyHandle, bool, std::uintptr_t) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::beginBatch(Hive) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::commitBatch(Hive) {
    return regerr::InvalidFunction;
}

inline long RegistryStore::abortBatch(Hive) {
    return regerr::InvalidFunction;
}

inline std::string RegistryStore::diagnostic(Hive) {
    return std::string();
}

inline std::string RegistryStore::location(Hive) const {
    return {};
}

}  // namespace paramcor
