// A PostgreSQL cluster of the tests' own, in a temporary folder, reached only by its
// Unix socket there. The server refuses to run as root: under root its programs run
// as the user "postgres" (or "nobody").
#pragma once

#include <filesystem>
#include <string>

namespace paramcor::test {

class PostgresCluster {
public:
    // Makes and starts the cluster; running() is false, and why() says why, when the
    // server's programs are not installed or do not start.
    PostgresCluster();
    ~PostgresCluster();
    PostgresCluster(const PostgresCluster&) = delete;
    PostgresCluster& operator=(const PostgresCluster&) = delete;

    bool running() const { return running_; }
    const std::string& why() const { return why_; }
    // The libpq connection string of a database, as the cluster's superuser.
    std::string conninfo(const std::string& database = "postgres") const;

    bool start();
    bool stop();
    // Runs SQL as the superuser; an empty string on success, else the server's error.
    std::string execute(const std::string& sql, const std::string& database = "postgres") const;

private:
    bool run(const std::string& command);

    std::filesystem::path folder_;
    std::string programs_;  // the folder of initdb and pg_ctl
    std::string asUser_;    // "runuser -u postgres -- " under root
    bool running_ = false;
    std::string why_;
};

}  // namespace paramcor::test
