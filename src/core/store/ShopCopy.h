// A station's copy of the shop's machine hive, in an SQLite file of its own, so that
// reads cost what the SQLite store's cost and keep answering while the server is
// away. Only the thread that listens to the server's announcements writes it.
#pragma once

#include <CVLParamcor/RegistryStore.h>

#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

namespace paramcor::store {

class ShopChanges;
namespace pg {
class Link;
}


class ShopCopy {
public:
    // The copy is "HKEY_LOCAL_MACHINE.db" in `folder` (made 0700, the file 0600);
    // `changeFile`, when given, is touched after each change applied.
    ShopCopy(const std::string& conninfo, const std::string& folder, const std::string& changeFile = {});
    ~ShopCopy();
    ShopCopy(const ShopCopy&) = delete;
    ShopCopy& operator=(const ShopCopy&) = delete;

    // The copy as readers see it.
    RegistryStore& reader() { return *reader_; }
    // Waits, at most `milliseconds`, until the copy holds what the server held at the
    // call; false when it does not (the server is away).
    bool catchUp(int milliseconds);
    // Once after the copy caught up with a server that had been away, what to tell;
    // else empty.
    std::string takeNotice();

private:
    enum class Round {
        Done,
        Whole,   // the changes cannot be applied one by one: read the whole hive
        Failed,  // the server is away, or the copy cannot be written
    };
    // On the listening thread only.
    bool apply(bool wasAway);
    Round applyChanges();
    Round applyWhole();

    std::unique_ptr<pg::Link> link_;  // the listening thread's, kept between rounds
    std::unique_ptr<RegistryStore> reader_;
    std::unique_ptr<RegistryStore> writer_;
    std::mutex mutex_;
    std::condition_variable applied_;
    std::uint64_t started_ = 0;
    std::uint64_t finished_ = 0;
    bool away_ = false;  // the server went away since the last change applied
    // The listening thread's: the last change of the server's log the copy holds (-1:
    // not known), and the path of each key of the copy by its id on the server.
    std::int64_t logged_ = -1;
    std::map<std::int64_t, std::string> paths_;
    std::string notice_;
    std::unique_ptr<ShopChanges> changes_;  // last: its thread uses the rest
};

}  // namespace paramcor::store
