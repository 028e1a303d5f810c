#include "Win32RegistryStore.h"

#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <climits>
#include <mutex>
#include <string_view>
#include <vector>

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

// The value types the "A" functions convert, and so the ones kept as UTF-16.
bool isText(DWORD type) {
    return type == REG_SZ || type == REG_EXPAND_SZ || type == REG_MULTI_SZ;
}

std::wstring widen(std::string_view text) {
    if (text.empty() || text.size() > INT_MAX)
        return {};
    const int length = static_cast<int>(text.size());
    const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), length, nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(units), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), length, wide.data(), units);
    return wide;
}

std::string narrow(const wchar_t* text, std::size_t units) {
    if (units == 0 || units > INT_MAX)
        return {};
    const int length = static_cast<int>(units);
    const int bytes = WideCharToMultiByte(CP_UTF8, 0, text, length, nullptr, 0, nullptr, nullptr);
    std::string out(static_cast<std::size_t>(bytes), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text, length, out.data(), bytes, nullptr, nullptr);
    return out;
}

// Names are C strings on Windows: whatever follows a NUL is not part of them.
std::wstring wideName(const std::string& name) {
    return widen(std::string_view(name.c_str()));
}

// Reads a whole value, its type and its data from one call: it may change between
// the call that tells the size and the one that fills the buffer.
LONG readValue(HKEY key, const std::wstring& name, DWORD& type, std::vector<BYTE>& data) {
    DWORD length = 0;
    LONG rc = RegQueryValueExW(key, name.c_str(), nullptr, &type, nullptr, &length);
    data.clear();
    for (int attempt = 0; rc == ERROR_SUCCESS && length > 0 && attempt < 8; ++attempt) {
        data.resize(length);
        rc = RegQueryValueExW(key, name.c_str(), nullptr, &type, data.data(), &length);
        if (rc == ERROR_SUCCESS) {
            data.resize(length);
            return rc;
        }
        if (rc == ERROR_MORE_DATA)
            rc = ERROR_SUCCESS;  // it grew meanwhile: `length` is its new size
        else
            data.clear();
    }
    return rc;
}

}  // namespace

Win32RegistryStore::~Win32RegistryStore() {
    for (const auto& [key, count] : open_)
        RegCloseKey(toHkey(key));  // a hive's root handle needs no closing, but accepts it
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
    const std::wstring widePath = wideName(path);
    HKEY opened = nullptr;
    LONG rc;
    if (create) {
        WCHAR noClass[] = L"";
        SECURITY_ATTRIBUTES security{};
        DWORD disposition = 0;
        rc = RegCreateKeyExW(root, widePath.c_str(), 0, noClass, REG_OPTION_NON_VOLATILE, KEY_ALL_ACCESS, &security,
                             &opened, &disposition);
    } else {
        rc = RegOpenKeyExW(root, widePath.c_str(), 0, KEY_READ, &opened);
    }
    if (rc != ERROR_SUCCESS)
        return rc;
    const auto handle = reinterpret_cast<KeyHandle>(opened);
    const std::unique_lock lock(mutex_);
    ++open_[handle];
    *key = handle;
    return rc;
}

bool Win32RegistryStore::isOpen(KeyHandle key) const {
    return open_.count(key) != 0;
}

long Win32RegistryStore::queryValue(KeyHandle key, const std::string& name, std::uint32_t* type,
                                    std::vector<std::uint8_t>* data, std::uint32_t capacity, std::uint32_t* size) {
    const std::shared_lock lock(mutex_);
    if (!isOpen(key))
        return regerr::InvalidHandle;
    const HKEY hkey = toHkey(key);
    const std::wstring wide = wideName(name);
    DWORD valueType = 0;
    std::vector<BYTE> raw;
    std::string text;
    const std::uint8_t* bytes = nullptr;
    std::size_t length = 0;
    LONG rc;
    if (data) {
        rc = readValue(hkey, wide, valueType, raw);
        bytes = raw.data();
        length = raw.size();
    } else {
        DWORD rawLength = 0;
        rc = RegQueryValueExW(hkey, wide.c_str(), nullptr, &valueType, nullptr, &rawLength);
        length = rawLength;
        if (rc == ERROR_SUCCESS && isText(valueType))  // its UTF-8 size needs the text itself
            rc = readValue(hkey, wide, valueType, raw);
    }
    if (rc != ERROR_SUCCESS)
        return rc;
    if (isText(valueType)) {
        // An odd last byte belongs to no UTF-16 character: it is left out.
        text = narrow(reinterpret_cast<const wchar_t*>(raw.data()), raw.size() / sizeof(wchar_t));
        bytes = reinterpret_cast<const std::uint8_t*>(text.data());
        length = text.size();
    }
    if (length > UINT32_MAX)
        return regerr::MoreData;
    if (type)
        *type = valueType;
    if (size)
        *size = static_cast<std::uint32_t>(length);
    if (!data)
        return regerr::Success;
    if (length > capacity)
        return regerr::MoreData;
    data->assign(bytes, bytes + length);
    return regerr::Success;
}

long Win32RegistryStore::setValue(KeyHandle key, const std::string& name, std::uint32_t type,
                                  const std::vector<std::uint8_t>& data) {
    const std::shared_lock lock(mutex_);
    if (!isOpen(key))
        return regerr::InvalidHandle;
    if (data.size() > MAXDWORD / sizeof(wchar_t))
        return regerr::InvalidParameter;
    const std::wstring wide = wideName(name);
    if (isText(type)) {
        std::wstring text = widen(std::string_view(reinterpret_cast<const char*>(data.data()), data.size()));
        if (!text.empty() && text.back() != L'\0')
            text.push_back(L'\0');
        return RegSetValueExW(toHkey(key), wide.c_str(), 0, type, reinterpret_cast<const BYTE*>(text.c_str()),
                              static_cast<DWORD>(text.size() * sizeof(wchar_t)));
    }
    static const BYTE none = 0;  // a null pointer with no data is refused
    return RegSetValueExW(toHkey(key), wide.c_str(), 0, type, data.empty() ? &none : data.data(),
                          static_cast<DWORD>(data.size()));
}

long Win32RegistryStore::enumKey(KeyHandle key, std::uint32_t index, std::string* name) {
    const std::shared_lock lock(mutex_);
    if (!isOpen(key))
        return regerr::InvalidHandle;
    // Key names have at most 256 characters here (one more than documented), but a
    // key made by other means may have more: grow until it fits.
    std::vector<wchar_t> buffer(512);
    for (;;) {
        DWORD length = static_cast<DWORD>(buffer.size());
        const LONG rc = RegEnumKeyExW(toHkey(key), index, buffer.data(), &length, nullptr, nullptr, nullptr, nullptr);
        if (rc == ERROR_MORE_DATA && buffer.size() < 65536) {
            buffer.resize(buffer.size() * 2);
            continue;
        }
        if (rc == ERROR_SUCCESS && name)
            *name = narrow(buffer.data(), length);
        return rc;
    }
}

long Win32RegistryStore::enumValue(KeyHandle key, std::uint32_t index, std::string* name, std::uint32_t* type,
                                   std::vector<std::uint8_t>* data) {
    const std::shared_lock lock(mutex_);
    if (!isOpen(key))
        return regerr::InvalidHandle;
    const HKEY hkey = toHkey(key);
    std::vector<wchar_t> wideName(16384);  // value names have at most 16383 characters
    DWORD valueType = 0;
    std::vector<BYTE> raw;
    DWORD nameLength = 0;
    DWORD length = 0;
    LONG rc = ERROR_MORE_DATA;
    // The data may grow between the call that tells its size and the one that reads it.
    for (int attempt = 0; rc == ERROR_MORE_DATA && attempt < 8; ++attempt) {
        nameLength = static_cast<DWORD>(wideName.size());
        rc = RegEnumValueW(hkey, index, wideName.data(), &nameLength, nullptr, &valueType, nullptr, &length);
        if (rc != ERROR_SUCCESS)
            return rc;
        raw.resize(length);
        nameLength = static_cast<DWORD>(wideName.size());
        rc = RegEnumValueW(hkey, index, wideName.data(), &nameLength, nullptr, &valueType,
                           raw.empty() ? nullptr : raw.data(), &length);
    }
    if (rc != ERROR_SUCCESS)
        return rc;
    raw.resize(length);
    if (name)
        *name = narrow(wideName.data(), nameLength);
    if (type)
        *type = valueType;
    if (data) {
        if (isText(valueType)) {
            // As queryValue: UTF-8 at this interface, an odd last byte left out.
            const std::string text = narrow(reinterpret_cast<const wchar_t*>(raw.data()), raw.size() / sizeof(wchar_t));
            data->assign(text.begin(), text.end());
        } else {
            data->assign(raw.begin(), raw.end());
        }
    }
    return regerr::Success;
}

long Win32RegistryStore::deleteValue(KeyHandle key, const std::string& name) {
    const std::shared_lock lock(mutex_);
    if (!isOpen(key))
        return regerr::InvalidHandle;
    return RegDeleteValueW(toHkey(key), wideName(name).c_str());
}

long Win32RegistryStore::deleteTree(KeyHandle key, const std::string& path) {
    const std::shared_lock lock(mutex_);
    if (!isOpen(key))
        return regerr::InvalidHandle;
    // An empty name would remove the key itself; a null one empties it.
    const std::wstring wide = wideName(path);
    return RegDeleteTreeW(toHkey(key), wide.empty() ? nullptr : wide.c_str());
}

long Win32RegistryStore::notifyChange(KeyHandle key, bool subtree, std::uintptr_t event) {
    const std::shared_lock lock(mutex_);
    if (!isOpen(key))
        return regerr::InvalidHandle;
    // Thread-agnostic: the notification outlives the thread that asked for it.
    return RegNotifyChangeKeyValue(toHkey(key), subtree ? TRUE : FALSE,
                                   REG_NOTIFY_CHANGE_NAME | REG_NOTIFY_CHANGE_LAST_SET | REG_NOTIFY_THREAD_AGNOSTIC,
                                   reinterpret_cast<HANDLE>(event), TRUE);
}

long Win32RegistryStore::flushKey(KeyHandle key) {
    const std::shared_lock lock(mutex_);
    if (!isOpen(key))
        return regerr::InvalidHandle;
    return RegFlushKey(toHkey(key));
}

long Win32RegistryStore::closeKey(KeyHandle key) {
    const std::unique_lock lock(mutex_);
    const auto it = open_.find(key);
    if (it == open_.end())
        return regerr::InvalidHandle;
    if (--it->second == 0)
        open_.erase(it);
    return RegCloseKey(toHkey(key));
}

}  // namespace paramcor
