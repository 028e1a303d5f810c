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

// Forgetting is counted, not done: when the counter moves, what is kept belongs to
// an older epoch and reads as absent. Emptying maps of a hundred thousand keys at
// every write of another program would cost a watcher in proportion to the hive.
class HiveCache {
public:
    static constexpr std::size_t kMaxValues = 1u << 16;  // beyond that the cache starts again
    static constexpr std::size_t kMaxKeys = 1u << 16;

    void clear() {
        keyIds_.clear();
        values_.clear();
        count_ = 0;
        ++epoch_;
    }

    // Forgets everything when the counter has moved since the last call.
    void follow(std::uint64_t counter) {
        if (counter != seen_) {
            ++epoch_;
            seen_ = counter;
        }
    }
    void setSeen(std::uint64_t counter) { seen_ = counter; }
    std::uint64_t seen() const { return seen_; }

    // 0: no such key.
    const std::int64_t* findKey(const std::string& folded) const {
        const auto it = keyIds_.find(folded);
        return it == keyIds_.end() || it->second.epoch != epoch_ ? nullptr : &it->second.id;
    }
    void rememberKey(std::string folded, std::int64_t id) {
        if (keyIds_.size() >= kMaxKeys)
            keyIds_.clear();
        keyIds_.insert_or_assign(std::move(folded), KeyEntry{id, epoch_});
    }

    const CachedValue* findValue(std::int64_t key, const std::string& folded) const {
        const auto keyIt = values_.find(key);
        if (keyIt == values_.end())
            return nullptr;
        const auto it = keyIt->second.find(folded);
        return it == keyIt->second.end() || it->second.epoch != epoch_ ? nullptr : &it->second.value;
    }
    const CachedValue& rememberValue(std::int64_t key, std::string folded, CachedValue value) {
        if (count_ >= kMaxValues) {
            values_.clear();
            count_ = 0;
        }
        auto [it, inserted] = values_[key].insert_or_assign(std::move(folded), ValueEntry{std::move(value), epoch_});
        if (inserted)
            ++count_;
        return it->second.value;
    }
    void forgetValue(std::int64_t key, const std::string& folded) {
        const auto keyIt = values_.find(key);
        if (keyIt != values_.end())
            count_ -= keyIt->second.erase(folded);
    }

private:
    struct KeyEntry {
        std::int64_t id;
        std::uint64_t epoch;
    };
    struct ValueEntry {
        CachedValue value;
        std::uint64_t epoch;
    };
    std::uint64_t seen_ = 0;   // the counter the cache was filled at
    std::uint64_t epoch_ = 0;  // entries of another epoch are forgotten
    std::unordered_map<std::string, KeyEntry> keyIds_;  // by folded path
    std::unordered_map<std::int64_t, std::unordered_map<std::string, ValueEntry>> values_;
    std::size_t count_ = 0;
};

}  // namespace paramcor::store
