// Hearing of the changes other stations commit to the shop: the server announces
// each committed write (NOTIFY), and a thread of the store that LISTENs sets the
// time of a file, the change file programs wait on as they do on the SQLite store's.
#pragma once

#include <atomic>
#include <functional>
#include <string>
#include <thread>

namespace paramcor::store {

class ShopChanges {
public:
    // Starts listening at once; `file` is made (0600) when first told. `apply`, when
    // given, runs on the listening thread before each telling: at each (re)connection
    // and after each run of announcements, told whether the server had been away; it
    // returns false when it could not apply.
    ShopChanges(std::string conninfo, std::string file, std::function<bool(bool wasAway)> apply = {});
    ~ShopChanges();
    ShopChanges(const ShopChanges&) = delete;
    ShopChanges& operator=(const ShopChanges&) = delete;

    const std::string& file() const { return file_; }
    // Has the listening thread apply and tell once more soon, announced or not.
    void poke();

private:
    void listen();
    void tell(bool wasAway = false) const;
    bool wait(int socket, int milliseconds) const;  // false when told to stop

    std::string conninfo_;
    std::string file_;
    std::function<bool(bool wasAway)> apply_;
    int wake_[2] = {-1, -1};
    std::atomic<bool> stopping_{false};
    std::atomic<bool> poked_{false};
    std::thread thread_;
};

// The channel the server announces changes on.
inline constexpr char kChangesChannel[] = "paramcor_changes";

}  // namespace paramcor::store
