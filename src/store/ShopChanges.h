// Hearing of the changes other stations commit to the shop: the server announces
// each committed write (NOTIFY), and a thread of the store that LISTENs sets the
// time of a file, the change file programs wait on as they do on the SQLite store's.
#pragma once

#include <string>
#include <thread>

namespace paramcor::store {

class ShopChanges {
public:
    // Starts listening at once; `file` is made (0600) when first told.
    ShopChanges(std::string conninfo, std::string file);
    ~ShopChanges();
    ShopChanges(const ShopChanges&) = delete;
    ShopChanges& operator=(const ShopChanges&) = delete;

    const std::string& file() const { return file_; }

private:
    void listen();
    void tell() const;
    bool wait(int socket, int milliseconds) const;  // false when told to stop

    std::string conninfo_;
    std::string file_;
    int wake_[2] = {-1, -1};
    std::thread thread_;
};

// The channel the server announces changes on.
inline constexpr char kChangesChannel[] = "paramcor_changes";

}  // namespace paramcor::store
