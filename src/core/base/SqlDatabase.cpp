#include "base/SqlDatabase.h"

#include <sqlite3.h>

namespace paramcor {

void SqlDatabase::fail(sqlite3* db, int code) {
    const char* message = db ? sqlite3_errmsg(db) : sqlite3_errstr(code);
    throw TextDatabaseError(db ? sqlite3_extended_errcode(db) : code, QString::fromUtf8(message));
}

void SqlDatabase::Closer::operator()(sqlite3* db) const {
    sqlite3_close_v2(db);
}

SqlDatabase::SqlDatabase(const QString& path, Mode mode) {
    const int flags = mode == Mode::ReadOnly    ? SQLITE_OPEN_READONLY
                      : mode == Mode::ReadWrite ? SQLITE_OPEN_READWRITE
                                                : SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE;
    sqlite3* raw = nullptr;
    const int rc = sqlite3_open_v2(path.toUtf8().constData(), &raw, flags | SQLITE_OPEN_NOMUTEX, nullptr);
    db_.reset(raw);
    if (rc != SQLITE_OK)
        fail(raw, rc);
    // Several programs use the file at once; a writer waits for the others.
    sqlite3_busy_timeout(raw, 10000);
    sqlite3_extended_result_codes(raw, 1);
}

void SqlDatabase::exec(const char* sql) {
    const int rc = sqlite3_exec(db_.get(), sql, nullptr, nullptr, nullptr);
    if (rc != SQLITE_OK)
        fail(db_.get(), rc);
}

qint64 SqlDatabase::dataVersion() const {
    // Asked once per burst of lookups, so preparing it each time costs nothing.
    SqlStatement version = prepare("PRAGMA data_version");
    return version.step() ? version.integer(0) : -1;
}

void SqlStatement::Finalizer::operator()(sqlite3_stmt* statement) const {
    sqlite3_finalize(statement);
}

SqlStatement::SqlStatement(sqlite3* db, const char* sql) : db_(db) {
    sqlite3_stmt* raw = nullptr;
    const int rc = sqlite3_prepare_v3(db, sql, -1, SQLITE_PREPARE_PERSISTENT, &raw, nullptr);
    statement_.reset(raw);
    if (rc != SQLITE_OK)
        SqlDatabase::fail(db, rc);
}

SqlStatement& SqlStatement::bind(int index, const QString& value) {
    if (value.isNull()) {
        sqlite3_bind_null(statement_.get(), index);
    } else {
        const QByteArray utf8 = value.toUtf8();
        sqlite3_bind_text64(statement_.get(), index, utf8.constData(), static_cast<sqlite3_uint64>(utf8.size()),
                            SQLITE_TRANSIENT, SQLITE_UTF8);
    }
    return *this;
}

SqlStatement& SqlStatement::bind(int index, qint64 value) {
    sqlite3_bind_int64(statement_.get(), index, value);
    return *this;
}

SqlStatement& SqlStatement::bind(int index, const QVariant& value) {
    if (!value.isValid() || value.isNull())
        sqlite3_bind_null(statement_.get(), index);
    else if (value.metaType().id() == QMetaType::LongLong || value.metaType().id() == QMetaType::Int ||
             value.metaType().id() == QMetaType::Bool)
        bind(index, value.toLongLong());
    else if (value.metaType().id() == QMetaType::QByteArray) {
        const QByteArray bytes = value.toByteArray();
        sqlite3_bind_blob64(statement_.get(), index, bytes.constData(), static_cast<sqlite3_uint64>(bytes.size()),
                            SQLITE_TRANSIENT);
    } else if (value.metaType().id() == QMetaType::Double)
        sqlite3_bind_double(statement_.get(), index, value.toDouble());
    else
        bind(index, value.toString());
    return *this;
}

bool SqlStatement::step() {
    const int rc = sqlite3_step(statement_.get());
    if (rc == SQLITE_ROW)
        return true;
    if (rc == SQLITE_DONE)
        return false;
    sqlite3_reset(statement_.get());
    SqlDatabase::fail(db_, rc);
}

void SqlStatement::run() {
    while (step()) {
    }
    reset();
}

void SqlStatement::reset() {
    sqlite3_reset(statement_.get());
    sqlite3_clear_bindings(statement_.get());
}

QString SqlStatement::text(int column) const {
    const auto* data = sqlite3_column_text(statement_.get(), column);
    if (data == nullptr)
        return QString();
    return QString::fromUtf8(reinterpret_cast<const char*>(data), sqlite3_column_bytes(statement_.get(), column));
}

qint64 SqlStatement::integer(int column) const {
    return sqlite3_column_int64(statement_.get(), column);
}

bool SqlStatement::isNull(int column) const {
    return sqlite3_column_type(statement_.get(), column) == SQLITE_NULL;
}

QVariant SqlStatement::value(int column) const {
    switch (sqlite3_column_type(statement_.get(), column)) {
        case SQLITE_NULL:
            return QVariant();
        case SQLITE_INTEGER:
            return QVariant::fromValue(integer(column));
        case SQLITE_FLOAT:
            return sqlite3_column_double(statement_.get(), column);
        case SQLITE_BLOB: {
            const auto* data = static_cast<const char*>(sqlite3_column_blob(statement_.get(), column));
            return QByteArray(data, sqlite3_column_bytes(statement_.get(), column));
        }
        default:
            return text(column);
    }
}

int SqlStatement::columnCount() const {
    return sqlite3_column_count(statement_.get());
}

SqlTransaction::SqlTransaction(SqlDatabase& db, const char* begin) : db_(db) {
    db_.exec(begin);
}

SqlTransaction::~SqlTransaction() {
    if (open_)
        sqlite3_exec(db_.handle(), "ROLLBACK", nullptr, nullptr, nullptr);
}

void SqlTransaction::commit() {
    db_.exec("COMMIT");
    open_ = false;
}

}  // namespace paramcor
