#include "Win32RegistryStore.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <algorithm>
#include <mutex>

namespace paramcor {

namespace {

HKEY hiveKey(Hive hive) {
    switch (hive) {
        case Hive::ClassesRoot:
            return HKEY_CLASSES_ROOT;
        case Hive::CurrentUser:
            return HKEY_CURRENT_USER;
        case Hive::LocalMachine:
            return HKEY_LOCAL_MACHINE;
    }
    return nullptr;
}

HKEY toHkey(KeyHandle key) {
    return reinterpret_cast<HKEY>(key);
}

}  // namespace

Win32RegistryStore::~Win32RegistryStore() {
    for (const KeyHandle key : open_)
        RegCloseKey(toHkey(key));
}

long Win32RegistryStore::createKey(Hive hive, const std::string& path, KeyHandle* key) {
    return open(hive, path, key, true);
}

long Win32RegistryStore::openKey(Hive hive, const std::string& path, KeyHandle* key) {
    return open(hive, path, key, false);
}

long Win32RegistryStore::open(Hive hive, const std::string& path, KeyHandle* key, bool create) {
    const HKEY root = hiveKey(hive);
    if (!root)
        return regerr::InvalidHandle;
    if (!key)
        return regerr::InvalidParameter;
    HKEY opened = nullptr;
    char noClass[] = "";
    const LONG rc = create ? RegCreateKeyExA(root, path.c_str(), 0, noClass, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS,
                                             nullptr, &opened, nullptr)
                           : RegOpenKeyExA(root, path.c_str(), 0, KEY_READ, &opened);
    if (rc != ERROR_SUCCESS)
        return rc;
    const auto handle = reinterpret_cast<KeyHandle>(opened);
    const std::unique_lock lock(mutex_);
    open_.insert(handle);
    *key = handle;
    return rc;
}

long Win32RegistryStore::queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                                    std::vector<std::uint8_t>* data, std::uint32_t capacity, std::uint32_t* size) {
    const std::shared_lock lock(mutex_);
    if (!open_.count(key))
        return regerr::InvalidHandle;
    const HKEY hkey = toHkey(key);
    DWORD valueType = 0;
    DWORD length = 0;
    LONG rc = RegQueryValueExA(hkey, name.c_str(), nullptr, &valueType, nullptr, &length);
    if (rc == ERROR_SUCCESS && data) {
        // Without a buffer the ANSI call may overstate the size of a string, which it
        // converts; only a call that fills a buffer is exact. The value may also grow
        // between the calls.
        std::vector<std::uint8_t> buffer;
        for (int attempt = 0; attempt < 8; ++attempt) {
            const DWORD given = std::min<DWORD>(length, capacity);
            buffer.resize(std::max<DWORD>(given, 1));  // never a null buffer: that only asks the size
            length = given;
            rc = RegQueryValueExA(hkey, name.c_str(), nullptr, &valueType, buffer.data(), &length);
            if (rc != ERROR_MORE_DATA || length > capacity)
                break;
        }
        if (rc == ERROR_SUCCESS)
            data->assign(buffer.begin(), buffer.begin() + length);
    }
    if (rc != ERROR_SUCCESS && rc != ERROR_MORE_DATA)
        return rc;
    if (type)
        *type = valueType;
    if (size)
        *size = length;
    return rc;
}

long Win32RegistryStore::setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                                  const std::vector<std::uint8_t>& data) {
    const std::shared_lock lock(mutex_);
    if (!open_.count(key))
        return regerr::InvalidHandle;
    if (data.size() > MAXDWORD)
        return regerr::InvalidParameter;
    static const BYTE none = 0;
    return RegSetValueExA(toHkey(key), name.c_str(), 0, type, data.empty() ? &none : data.data(),
                          static_cast<DWORD>(data.size()));
}

long Win32RegistryStore::closeKey(KeyHandle key) {
    const std::unique_lock lock(mutex_);
    const auto it = open_.find(key);
    if (it == open_.end())
        return regerr::InvalidHandle;
    open_.erase(it);
    return RegCloseKey(toHkey(key));
}

}  // namespace paramcor
