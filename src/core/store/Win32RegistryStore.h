// The registry store of Windows: the real registry, through advapi32.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <shared_mutex>
#include <unordered_map>

namespace paramcor {

// Keys are created as the parameter object always created them (reserved 0, empty
// class, non-volatile, KEY_ALL_ACCESS, a zeroed security-attributes record) and opened
// read-only with KEY_READ.
//
// Text goes through the wide ("W") functions: names, paths and the data of REG_SZ,
// REG_EXPAND_SZ and REG_MULTI_SZ values are UTF-8 at this interface and UTF-16 in the
// registry, which keeps strings as UTF-16 whatever function wrote them. So every
// character survives whatever the process's ANSI code page is, and the suite's older
// programs, which read with the "A" functions, see the same text. Sizes of string data
// at this interface are UTF-8 bytes. Bytes that are not UTF-8 cannot be UTF-16: they
// become U+FFFD, as they would through the "A" functions on a UTF-8 code page.
//
// A string is stored with a terminating zero, added when the data does not end with
// one: the older programs read a string as its size less one character, and Windows
// itself adds the zero for them when one follows the data in memory. So a string set
// as "abc" reads back as "abc\0". Empty data stays empty.
//
// The registry deletes a tree key by key: a process that dies meanwhile may leave
// part of it, which the POSIX store never does.
//
// A KeyHandle is the HKEY itself. The store accepts only the handles it opened and
// has not closed yet, so that a stale handle gives ERROR_INVALID_HANDLE instead of
// closing some other key of the process that got the same value meanwhile. Opening a
// hive's root read-only gives back the hive's own predefined handle each time: the
// store counts how often it has handed each handle out, and each closes once.
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
    long flushKey(KeyHandle key) override;
    long enumKey(KeyHandle key, std::uint32_t index, std::string* name) override;
    long enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                   std::vector<std::uint8_t>* data) override;
    long deleteValue(KeyHandle key, const std::string& name) override;
    long deleteTree(KeyHandle key, const std::string& path) override;
    long notifyChange(KeyHandle key, bool subtree, std::uintptr_t event) override;

private:
    // Opens with all access and creating what is missing, or read-only.
    long open(Hive hive, const std::string& path, KeyHandle* key, bool create);
    bool isOpen(KeyHandle key) const;

    mutable std::shared_mutex mutex_;               // shared while a key is used, exclusive to open or close one
    std::unordered_map<KeyHandle, unsigned> open_;  // how many times each handle is open
};

}  // namespace paramcor
