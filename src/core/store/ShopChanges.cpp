#include "ShopChanges.h"

#include <libpq-fe.h>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <utility>

namespace paramcor::store {

namespace {

// How long to wait before trying a server that went away again.
constexpr int kRetryMs = 1000;

PGconn* connectWithin(const std::string& conninfo) {
    const char* keywords[] = {"dbname", "connect_timeout", nullptr};
    const char* values[] = {conninfo.c_str(), "5", nullptr};
    return PQconnectdbParams(keywords, values, 1);
}

}  // namespace

ShopChanges::ShopChanges(std::string conninfo, std::string file, std::function<bool(bool wasAway)> apply)
    : conninfo_(std::move(conninfo)), file_(std::move(file)), apply_(std::move(apply)) {
    if (::pipe2(wake_, O_CLOEXEC) != 0)
        return;
    thread_ = std::thread([this] { listen(); });
}

ShopChanges::~ShopChanges() {
    if (thread_.joinable()) {
        stopping_ = true;
        [[maybe_unused]] const auto written = ::write(wake_[1], "x", 1);
        thread_.join();
    }
    for (const int fd : wake_)
        if (fd >= 0)
            ::close(fd);
}

void ShopChanges::tell(bool wasAway) const {
    if (apply_ && !apply_(wasAway))
        return;
    if (file_.empty())
        return;
    std::error_code ignored;
    const std::filesystem::path folder = std::filesystem::path(file_).parent_path();
    if (!folder.empty() && !std::filesystem::exists(folder, ignored))
        ::mkdir(folder.c_str(), 0700);
    const int fd = ::open(file_.c_str(), O_WRONLY | O_CREAT | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (fd < 0)
        return;
    ::futimens(fd, nullptr);
    ::close(fd);
}

void ShopChanges::poke() {
    if (!thread_.joinable())
        return;
    poked_ = true;
    [[maybe_unused]] const auto written = ::write(wake_[1], "p", 1);
}

bool ShopChanges::wait(int socket, int milliseconds) const {
    pollfd fds[2] = {{wake_[0], POLLIN, 0}, {socket, POLLIN, 0}};
    ::poll(fds, socket >= 0 ? 2 : 1, milliseconds);
    if (fds[0].revents & POLLIN) {
        char drained[64];
        [[maybe_unused]] const auto read = ::read(wake_[0], drained, sizeof drained);
    }
    return !stopping_;
}

void ShopChanges::listen() {
    PGconn* conn = nullptr;
    bool away = false;  // since the last connection, or from the start
    for (bool going = true; going;) {
        if (!conn || PQstatus(conn) != CONNECTION_OK) {
            if (conn)
                PQfinish(conn);
            conn = connectWithin(conninfo_);
            PGresult* listening = PQstatus(conn) == CONNECTION_OK
                                      ? PQexec(conn, (std::string("LISTEN ") + kChangesChannel).c_str())
                                      : nullptr;
            const bool ready = PQresultStatus(listening) == PGRES_COMMAND_OK;
            PQclear(listening);
            if (!ready) {
                away = true;
                going = wait(-1, kRetryMs);
                continue;
            }
            // Whatever changed while nobody listened is read anew by those who wait.
            tell(std::exchange(away, false));
        }
        going = wait(PQsocket(conn), -1);
        if (!going)
            continue;
        if (!PQconsumeInput(conn)) {  // the server went away
            PQfinish(conn);
            conn = nullptr;
            away = true;
            going = wait(-1, kRetryMs);
            continue;
        }
        bool heard = poked_.exchange(false);
        while (PGnotify* notice = PQnotifies(conn)) {
            heard = true;
            PQfreemem(notice);
        }
        if (heard)
            tell();
    }
    if (conn)
        PQfinish(conn);
}

}  // namespace paramcor::store
