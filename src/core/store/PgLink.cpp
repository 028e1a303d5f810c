#include "PgLink.h"

#include <cstring>
#include <utility>

namespace paramcor::store::pg {

namespace {

// SQLSTATE codes the store tells apart.
constexpr char kInsufficientPrivilege[] = "42501";
constexpr char kForeignKeyViolation[] = "23503";
constexpr char kUndefinedTable[] = "42P01";

// libpq's messages run over several lines (a hint after a line feed and a tab): one
// line, as every message of the library is.
std::string trimmed(const char* message) {
    std::string text;
    for (const char* c = message ? message : ""; *c != 0; ++c) {
        const bool blank = *c == '\n' || *c == '\t' || *c == ' ';
        if (!blank)
            text += *c;
        else if (!text.empty() && text.back() != ' ')
            text += *c == '\n' ? "; " : " ";
    }
    while (!text.empty() && (text.back() == ' ' || text.back() == ';'))
        text.pop_back();
    return text;
}

}  // namespace

Params& Params::number(std::int64_t value) {
    params_.push_back({std::to_string(value), false});
    return *this;
}

Params& Params::bytes(std::string_view value) {
    params_.push_back({std::string(value), true});
    return *this;
}

Params& Params::bytes(const std::vector<std::uint8_t>& value) {
    params_.push_back({std::string(value.begin(), value.end()), true});
    return *this;
}

std::string describeServer(const std::string& conninfo) {
    char* error = nullptr;
    PQconninfoOption* options = PQconninfoParse(conninfo.c_str(), &error);
    if (!options) {
        PQfreemem(error);
        return "\"" + conninfo + "\"";
    }
    std::string service, host, port, dbname;
    for (const PQconninfoOption* o = options; o->keyword; ++o) {
        if (!o->val)
            continue;
        const std::string_view key = o->keyword;
        if (key == "service")
            service = o->val;
        else if (key == "host")
            host = o->val;
        else if (key == "port")
            port = o->val;
        else if (key == "dbname")
            dbname = o->val;
    }
    PQconninfoFree(options);
    if (!service.empty())
        return "service " + service;
    std::string name = host.empty() ? std::string("localhost") : host;
    if (!port.empty())
        name += ":" + port;
    if (!dbname.empty())
        name += "/" + dbname;
    return name;
}

Link::Link(std::string conninfo) : conninfo_(std::move(conninfo)), server_(describeServer(conninfo_)) {}

Link::~Link() {
    if (conn_)
        PQfinish(conn_);
}

bool Link::connected() const {
    return conn_ && PQstatus(conn_) == CONNECTION_OK;
}

bool Link::connect() {
    if (connected())
        return true;
    if (conn_ && holding_) {
        why_ = "the shop's server " + server_ +
               " went away in the middle of a transaction: " + trimmed(PQerrorMessage(conn_));
        return false;
    }
    if (conn_) {
        PQfinish(conn_);
        conn_ = nullptr;
    }
    prepared_.clear();
    conn_ = PQconnectdb(conninfo_.c_str());
    if (PQstatus(conn_) != CONNECTION_OK) {
        why_ = "the shop's server " + server_ + " cannot be reached: " + trimmed(PQerrorMessage(conn_));
        return false;
    }
    // The server's notices (a rollback with nothing to roll back...) are not for the user.
    PQsetNoticeProcessor(
        conn_, [](void*, const char*) {}, nullptr);
    return true;
}

Outcome Link::failed(const PGresult* result) {
    if (!connected()) {
        why_ = "the shop's server " + server_ + " went away: " + trimmed(PQerrorMessage(conn_));
        return Outcome::Unreachable;
    }
    const char* state = result ? PQresultErrorField(result, PG_DIAG_SQLSTATE) : nullptr;
    why_ = "the shop's server " + server_ +
           " refused: " + trimmed(result ? PQresultErrorMessage(result) : PQerrorMessage(conn_));
    if (!state)
        return Outcome::Failed;
    if (std::strcmp(state, kInsufficientPrivilege) == 0)
        return Outcome::Refused;
    if (std::strcmp(state, kForeignKeyViolation) == 0)
        return Outcome::KeyGone;
    if (std::strcmp(state, kUndefinedTable) == 0) {
        why_ = "the database " + server_ + " is not a shop of CVLParamcor: it has no tables of CVLParamcor";
        return Outcome::NotAShop;
    }
    return Outcome::Failed;
}

Outcome Link::run(const char* sql, const Params& params, Result* rows) {
    if (!connect())
        return Outcome::Unreachable;
    const int count = static_cast<int>(params.params_.size());
    auto found = prepared_.find(sql);
    if (found == prepared_.end()) {
        std::string name = "paramcor" + std::to_string(prepared_.size());
        const Result done(PQprepare(conn_, name.c_str(), sql, count, nullptr));
        if (PQresultStatus(done.get()) != PGRES_COMMAND_OK)
            return failed(done.get());
        found = prepared_.emplace(sql, std::move(name)).first;
    }
    std::vector<const char*> values;
    std::vector<int> lengths, formats;
    for (const auto& p : params.params_) {
        values.push_back(p.text.data());
        lengths.push_back(static_cast<int>(p.text.size()));
        formats.push_back(p.binary ? 1 : 0);
    }
    Result result(
        PQexecPrepared(conn_, found->second.c_str(), count, values.data(), lengths.data(), formats.data(), 1));
    const ExecStatusType status = PQresultStatus(result.get());
    if (status != PGRES_COMMAND_OK && status != PGRES_TUPLES_OK)
        return failed(result.get());
    if (rows)
        *rows = std::move(result);
    return Outcome::Done;
}

Outcome Link::command(const char* sql) {
    if (!connect())
        return Outcome::Unreachable;
    const Result result(PQexec(conn_, sql));
    const ExecStatusType status = PQresultStatus(result.get());
    return status == PGRES_COMMAND_OK || status == PGRES_TUPLES_OK ? Outcome::Done : failed(result.get());
}

std::int64_t int8At(const PGresult* rows, int row, int column) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(PQgetvalue(rows, row, column));
    std::uint64_t value = 0;
    const int length = PQgetlength(rows, row, column);
    for (int i = 0; i < length; ++i)  // network order, whatever the integer's width
        value = (value << 8) | bytes[i];
    if (length == 4)
        return static_cast<std::int32_t>(value);
    return static_cast<std::int64_t>(value);
}

std::string bytesAt(const PGresult* rows, int row, int column) {
    return std::string(PQgetvalue(rows, row, column), static_cast<std::size_t>(PQgetlength(rows, row, column)));
}

}  // namespace paramcor::store::pg
