// The behaviour every RegistryStore must share with the Windows registry. The suite
// is instantiated once per store (the SQLite store here; the Win32 store under Wine
// or Windows), so it uses nothing but the standard library and GoogleTest.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace paramcor::test {

// Every key the suite creates lies below this one.
inline constexpr char kSuiteKey[] = "SOFTWARE\\CVLParamcorConformance";

using Bytes = std::vector<std::uint8_t>;
Bytes bytes(const std::string& text);
Bytes dword(std::uint32_t value);  // little-endian, as REG_DWORD
std::string numbered(const std::string& prefix, std::uint32_t number);

// Create (or open) a key with all access, or open one for reading, checking it worked.
KeyHandle create(RegistryStore& store, const std::string& path, Hive hive = Hive::CurrentUser);
KeyHandle open(RegistryStore& store, const std::string& path, Hive hive = Hive::CurrentUser);
// The result of opening (or creating) a key, closed again at once.
long tryOpen(RegistryStore& store, const std::string& path, Hive hive = Hive::CurrentUser, bool create = false);
void put(RegistryStore& store, KeyHandle key, const std::string& name, std::uint32_t type, const Bytes& data);

struct Read {
    long rc = -1;
    std::uint32_t type = 0;
    Bytes data;
    std::uint32_t size = 0;
    std::string name;  // when enumerated
};
Read read(RegistryStore& store, KeyHandle key, const std::string& name, std::uint32_t capacity = 1u << 20);
// Every subkey or value of a key, enumerated from index 0 until NoMoreItems, and their names.
std::vector<Read> listed(RegistryStore& store, KeyHandle key, bool values);
std::vector<std::string> names(const std::vector<Read>& found);

struct StoreUnderTest {
    std::string name;  // a valid test name part
    // A new store object over the same registry each time it is called.
    std::function<std::unique_ptr<RegistryStore>()> make;
    // Run after each test, once its stores are gone, with the key the test worked below.
    std::function<void(const std::string& testKey)> cleanup;
};

class RegistryStoreConformance : public ::testing::TestWithParam<StoreUnderTest> {
protected:
    void SetUp() override;
    void TearDown() override;
    // Every test works below a key of its own, so that it can run against a real
    // registry and touch nothing else there.
    std::string key(const std::string& relative) const { return relative.empty() ? base_ : base_ + "\\" + relative; }

    std::unique_ptr<RegistryStore> store_;
    std::string base_;
};

}  // namespace paramcor::test
