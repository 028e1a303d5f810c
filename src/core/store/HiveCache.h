// What a store keeps in memory of a hive it has read: key ids and values, missing
// ones too, valid while the hive's change counter stays where it was when they were
// read (ChangeCounter.h).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

namespace paramcor::store {

struct CachedValue {
    bool present = false;  // a missing value is remembered too
    std::uint32_t type = 0;
    std::vector<std::uint8_t> data;
};

class HiveCache {
public:
    static constexpr std::size_t kMaxValues = 1u << 16;  // beyond that the cache starts again

    void clear() {
        keyIds_.clear();
        values_.clear();
        count_ = 0;
    }

    // Forgets everything when the counter has moved since the last call.
    void follow(std::uint64_t counter) {
        if (counter != seen_) {
            clear();
            seen_ = counter;
        }
    }
    void setSeen(std::uint64_t counter) { seen_ = counter; }
    std::uint64_t seen() const { return seen_; }

    // 0: no such key.
    const std::int64_t* findKey(const std::string& folded) const {
        const auto it = keyIds_.find(folded);
        return it == keyIds_.end() ? nullptr : &it->second;
    }
    void rememberKey(std::string folded, std::int64_t id) { keyIds_.insert_or_assign(std::move(folded), id); }

    const CachedValue* findValue(std::int64_t key, const std::string& folded) const {
        const auto keyIt = values_.find(key);
        if (keyIt == values_.end())
            return nullptr;
        const auto it = keyIt->second.find(folded);
        return it == keyIt->second.end() ? nullptr : &it->second;
    }
    const CachedValue& rememberValue(std::int64_t key, std::string folded, CachedValue value) {
        if (count_ >= kMaxValues)
            clear();
        auto [it, inserted] = values_[key].insert_or_assign(std::move(folded), std::move(value));
        if (inserted)
            ++count_;
        return it->second;
    }

    void forgetValue(std::int64_t key, const std::string& folded) {
        const auto keyIt = values_.find(key);
        if (keyIt != values_.end())
            count_ -= keyIt->second.erase(folded);
    }

private:
    std::uint64_t seen_ = 0;                                // the counter the cache was filled at
    std::unordered_map<std::string, std::int64_t> keyIds_;  // by folded path
    std::unordered_map<std::int64_t, std::unordered_map<std::string, CachedValue>> values_;
    std::size_t count_ = 0;
};

}  // namespace paramcor::store
