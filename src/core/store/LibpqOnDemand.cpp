// libpq, loaded when a station first talks to its shop's server. Linked at build
// time it would load its own dependencies (TLS, Kerberos, LDAP) into every program
// of the suite at start, shop or no shop, and double the start of a short command.
// The library defines libpq's functions itself, hidden, each handing the call to
// the real one.
#include <libpq-fe.h>

#include <dlfcn.h>

#include <cstdio>
#include <mutex>

namespace {

void* libpq(const char** why) {
    static void* handle = nullptr;
    static const char* error = nullptr;
    static std::once_flag loaded;
    std::call_once(loaded, [] {
        handle = ::dlopen("libpq.so.5", RTLD_NOW | RTLD_LOCAL);
        if (!handle)
            error = ::dlerror();
    });
    if (why)
        *why = error;
    return handle;
}

template <typename Function>
struct ResultOf;
template <typename Result, typename... Arguments>
struct ResultOf<Result (*)(Arguments...)> {
    using type = Result;
};

template <typename Function>
Function real(const char* name) {
    void* library = libpq(nullptr);
    return library ? reinterpret_cast<Function>(::dlsym(library, name)) : nullptr;
}

// The message a connection that never was gives: libpq could not be loaded.
char* unavailable() {
    static char message[512];
    const char* why = nullptr;
    libpq(&why);
    std::snprintf(message, sizeof message, "the PostgreSQL client library (libpq.so.5) cannot be loaded: %s",
                  why ? why : "unknown reason");
    return message;
}

}  // namespace

// Each: the real function once found, or what libpq answers for no connection.
#define CVL_FORWARD(name, fallback, parameters, arguments)                       \
    extern "C" ResultOf<decltype(&name)>::type name parameters {                \
        static const auto function = real<decltype(&name)>(#name);              \
        if (!function)                                                          \
            return fallback;                                                    \
        return function arguments;                                              \
    }

CVL_FORWARD(PQconnectdb, nullptr, (const char* conninfo), (conninfo))
CVL_FORWARD(PQconnectdbParams, nullptr, (const char* const* keywords, const char* const* values, int expand),
            (keywords, values, expand))
CVL_FORWARD(PQstatus, CONNECTION_BAD, (const PGconn* conn), (conn))
CVL_FORWARD(PQerrorMessage, unavailable(), (const PGconn* conn), (conn))
CVL_FORWARD(PQconninfoParse, nullptr, (const char* conninfo, char** errmsg), (conninfo, errmsg))
CVL_FORWARD(PQexec, nullptr, (PGconn * conn, const char* query), (conn, query))
CVL_FORWARD(PQexecPrepared, nullptr,
            (PGconn * conn, const char* name, int count, const char* const* values, const int* lengths,
             const int* formats, int resultFormat),
            (conn, name, count, values, lengths, formats, resultFormat))
CVL_FORWARD(PQprepare, nullptr, (PGconn * conn, const char* name, const char* query, int count, const Oid* types),
            (conn, name, query, count, types))
CVL_FORWARD(PQresultStatus, PGRES_FATAL_ERROR, (const PGresult* res), (res))
CVL_FORWARD(PQresultErrorMessage, unavailable(), (const PGresult* res), (res))
CVL_FORWARD(PQresultErrorField, nullptr, (const PGresult* res, int field), (res, field))
CVL_FORWARD(PQcmdTuples, nullptr, (PGresult * res), (res))
CVL_FORWARD(PQntuples, 0, (const PGresult* res), (res))
CVL_FORWARD(PQgetvalue, nullptr, (const PGresult* res, int row, int field), (res, row, field))
CVL_FORWARD(PQgetlength, 0, (const PGresult* res, int row, int field), (res, row, field))
CVL_FORWARD(PQgetisnull, 1, (const PGresult* res, int row, int field), (res, row, field))
CVL_FORWARD(PQnotifies, nullptr, (PGconn * conn), (conn))
CVL_FORWARD(PQconsumeInput, 0, (PGconn * conn), (conn))
CVL_FORWARD(PQsocket, -1, (const PGconn* conn), (conn))
CVL_FORWARD(PQsetNoticeProcessor, nullptr, (PGconn * conn, PQnoticeProcessor processor, void* argument),
            (conn, processor, argument))

// Those that return nothing.
#define CVL_FORWARD_VOID(name, parameters, arguments)                \
    extern "C" void name parameters {                                \
        static const auto function = real<decltype(&name)>(#name);  \
        if (function)                                               \
            function arguments;                                     \
    }

CVL_FORWARD_VOID(PQclear, (PGresult * res), (res))
CVL_FORWARD_VOID(PQfinish, (PGconn * conn), (conn))
CVL_FORWARD_VOID(PQconninfoFree, (PQconninfoOption * options), (options))
CVL_FORWARD_VOID(PQfreemem, (void* pointer), (pointer))
