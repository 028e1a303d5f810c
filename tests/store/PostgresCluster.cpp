#include "PostgresCluster.h"

#include <libpq-fe.h>

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <iterator>

namespace paramcor::test {

namespace {

namespace fs = std::filesystem;

std::string fileBytes(const fs::path& file) {
    std::ifstream in(file, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

fs::path newFolder() {
    std::string name = (fs::temp_directory_path() / "cvlparamcor-postgres-XXXXXX").string();
    return ::mkdtemp(name.data()) ? fs::path(name) : fs::path();
}

// The newest server installed the Debian way.
std::string serverPrograms() {
    std::string best;
    int bestVersion = -1;
    std::error_code ignored;
    for (const auto& entry : fs::directory_iterator("/usr/lib/postgresql", ignored)) {
        const fs::path bin = entry.path() / "bin";
        const int version = std::atoi(entry.path().filename().c_str());
        if (version > bestVersion && fs::exists(bin / "initdb") && fs::exists(bin / "pg_ctl")) {
            best = bin.string();
            bestVersion = version;
        }
    }
    return best;
}

}  // namespace

PostgresCluster::PostgresCluster() : folder_(newFolder()) {
    programs_ = serverPrograms();
    if (programs_.empty()) {
        why_ = "no PostgreSQL server is installed (/usr/lib/postgresql/*/bin/initdb): install postgresql-15";
        return;
    }
    if (folder_.empty()) {
        why_ = "no temporary folder for the cluster";
        return;
    }
    if (::geteuid() == 0) {
        const passwd* user = ::getpwnam("postgres");
        if (!user)
            user = ::getpwnam("nobody");
        if (!user || ::chown(folder_.c_str(), user->pw_uid, user->pw_gid) != 0) {
            why_ = "no user to run the server as";
            return;
        }
        asUser_ = std::string("runuser -u ") + user->pw_name + " -- ";
    }
    // No sync to disk: the tests never outlive the cluster.
    if (!run(programs_ + "/initdb -D " + (folder_ / "data").string() + " -U postgres -A trust -N -E UTF8 --locale=C")) {
        why_ = "initdb failed: " + fileBytes(folder_ / "log");
        return;
    }
    if (!start())
        why_ = "the server did not start: " + fileBytes(folder_ / "log");
}

PostgresCluster::~PostgresCluster() {
    if (running_)
        stop();
    std::error_code ignored;
    if (!folder_.empty())
        fs::remove_all(folder_, ignored);
}

bool PostgresCluster::run(const std::string& command) {
    return std::system((asUser_ + command + " >>" + (folder_ / "log").string() + " 2>&1").c_str()) == 0;
}

bool PostgresCluster::start() {
    running_ =
        run(programs_ + "/pg_ctl -D " + (folder_ / "data").string() + " -l " + (folder_ / "server.log").string() +
            " -w -o \"-k " + folder_.string() + " -c listen_addresses='' -c fsync=off\" start");
    return running_;
}

bool PostgresCluster::stop() {
    const bool stopped = run(programs_ + "/pg_ctl -D " + (folder_ / "data").string() + " -m fast -w stop");
    running_ = running_ && !stopped;
    return stopped;
}

std::string PostgresCluster::conninfo(const std::string& database) const {
    return "host=" + folder_.string() + " port=5432 user=postgres dbname=" + database;
}

std::string PostgresCluster::execute(const std::string& sql, const std::string& database) const {
    PGconn* conn = PQconnectdb(conninfo(database).c_str());
    std::string error;
    if (PQstatus(conn) != CONNECTION_OK) {
        error = PQerrorMessage(conn);
    } else {
        PQsetNoticeProcessor(
            conn, [](void*, const char*) {}, nullptr);
        PGresult* result = PQexec(conn, sql.c_str());
        const ExecStatusType status = PQresultStatus(result);
        if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
            error = PQresultErrorMessage(result);
        PQclear(result);
    }
    PQfinish(conn);
    return error;
}

}  // namespace paramcor::test
