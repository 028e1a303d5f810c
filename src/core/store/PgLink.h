// One connection to the shop's PostgreSQL server, through libpq: statements are
// prepared once per connection, names and data travel as raw bytes (bytea), and a
// connection that went away is opened again at the next use.
#pragma once

#include <libpq-fe.h>

#include <cstdint>
#include <memory>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace paramcor::store::pg {

struct ResultFree {
    void operator()(PGresult* r) const { PQclear(r); }
};
using Result = std::unique_ptr<PGresult, ResultFree>;

// The parameters of one statement: numbers as text, names and data as bytes.
class Params {
public:
    Params& number(std::int64_t value);
    Params& bytes(std::string_view value);
    Params& bytes(const std::vector<std::uint8_t>& value);

private:
    friend class Link;
    struct Param {
        std::string text;  // the number, or the bytes
        bool binary = false;
    };
    std::vector<Param> params_;
};

// How a statement ended.
enum class Outcome {
    Done,
    Refused,      // the server's rights forbid it
    KeyGone,      // the key it wrote to was deleted meanwhile
    NotAShop,     // the database has no tables of CVLParamcor
    Unreachable,  // no connection to the server
    Failed,       // any other error
};

class Link {
public:
    explicit Link(std::string conninfo);
    ~Link();
    Link(const Link&) = delete;
    Link& operator=(const Link&) = delete;

    // Runs a prepared statement; its rows, binary, in `rows` when it has any. `why`
    // tells what went wrong, naming the server.
    Outcome run(const char* sql, const Params& params, Result* rows = nullptr);
    // Runs statements without parameters (transaction control).
    Outcome command(const char* sql);

    const std::string& why() const { return why_; }
    // The server and database, as people name them: "service shop" or "host:port/database".
    const std::string& server() const { return server_; }
    bool connected() const;
    // While held, a connection that went away is not opened again: the statements of
    // a transaction must not run on a new one outside it.
    void hold(bool held) { holding_ = held; }

private:
    bool connect();
    Outcome failed(const PGresult* result);

    std::string conninfo_;
    std::string server_;
    std::string why_;
    bool holding_ = false;
    PGconn* conn_ = nullptr;
    std::map<std::string, std::string> prepared_;  // statement names by their text
};

// Column values of a binary result.
std::int64_t int8At(const PGresult* rows, int row, int column);
std::string bytesAt(const PGresult* rows, int row, int column);

// How to name a connection string's server in messages.
std::string describeServer(const std::string& conninfo);

}  // namespace paramcor::store::pg
