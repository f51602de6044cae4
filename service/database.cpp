#include "service/database.h"

#include <sqlite3.h>

#include "host/text/file.h"

namespace zrtmon::service {
namespace {

constexpr int64_t kSchemaVersion = 1;
constexpr int kBusyMs = 5000; // somebody looks into the file with another program

constexpr char kSchema[] = R"(
CREATE TABLE job (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    printer TEXT NOT NULL,
    title TEXT NOT NULL,
    owner TEXT NOT NULL,
    submitter TEXT NOT NULL,
    uuid TEXT NOT NULL,
    total INTEGER NOT NULL,
    submitted INTEGER NOT NULL,
    started INTEGER NOT NULL DEFAULT 0,
    ended INTEGER NOT NULL DEFAULT 0,
    base_count INTEGER NOT NULL DEFAULT -1,
    bytes INTEGER NOT NULL DEFAULT 0,
    cards INTEGER NOT NULL DEFAULT 0,
    outcome TEXT NOT NULL DEFAULT '',
    reason TEXT NOT NULL DEFAULT '',
    told INTEGER NOT NULL DEFAULT 0,
    cancel_due INTEGER NOT NULL DEFAULT 0);
CREATE INDEX job_uuid ON job (uuid) WHERE uuid <> '';
CREATE INDEX job_ended ON job (ended);
CREATE TABLE value (
    printer TEXT NOT NULL COLLATE NOCASE,
    name TEXT NOT NULL COLLATE NOCASE,
    type INTEGER NOT NULL,
    bytes BLOB NOT NULL,
    PRIMARY KEY (printer, name)) WITHOUT ROWID;
PRAGMA user_version = 1;
)";

[[noreturn]] void Throw(sqlite3* database, const std::string& tried)
{
    throw CDatabaseError(tried + ": " + sqlite3_errmsg(database));
}

} // namespace

void CDatabase::CClose::operator()(sqlite3* database) const { sqlite3_close(database); }

CDatabase::CDatabase(const std::filesystem::path& file)
{
    sqlite3* database = nullptr;
    const std::string name = host::DisplayPath(file);
    const int result = sqlite3_open_v2(
        name.c_str(), &database, SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
    m_database.reset(database);
    if (result != SQLITE_OK) {
        Throw(database, name);
    }
    try {
        sqlite3_busy_timeout(database, kBusyMs);
        Execute("PRAGMA journal_mode = WAL");
        Execute("PRAGMA synchronous = FULL");
        MakeSchema();
    } catch (const CDatabaseError& error) {
        throw CDatabaseError(
            name + ": " + error.what() +
            "; repair it, or move it away to begin with an empty one (jobs that were printed are "
            "then no longer known)");
    }
}

void CDatabase::Execute(const char* sql)
{
    if (sqlite3_exec(m_database.get(), sql, nullptr, nullptr, nullptr) != SQLITE_OK) {
        Throw(m_database.get(), "the database");
    }
}

void CDatabase::MakeSchema()
{
    CStatement version(*this, "PRAGMA user_version");
    version.Step();
    if (version.Number(0) > kSchemaVersion) {
        throw CDatabaseError("written by a newer version of the service");
    }
    if (version.Number(0) == 0) {
        CTransaction transaction(*this);
        Execute(kSchema);
        transaction.Commit();
    }
}

void CStatement::CFinalize::operator()(sqlite3_stmt* statement) const { sqlite3_finalize(statement); }

CStatement::CStatement(CDatabase& database, const char* sql) : m_database(database)
{
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(database.Get(), sql, -1, &statement, nullptr) != SQLITE_OK) {
        Throw(database.Get(), "the database");
    }
    m_statement.reset(statement);
}

CStatement& CStatement::Bind(int parameter, int64_t value)
{
    sqlite3_bind_int64(m_statement.get(), parameter, value);
    return *this;
}

CStatement& CStatement::Bind(int parameter, std::string_view text)
{
    // A null address would bind NULL instead of an empty text.
    sqlite3_bind_text(m_statement.get(), parameter, text.empty() ? "" : text.data(),
                      static_cast<int>(text.size()), SQLITE_TRANSIENT);
    return *this;
}

CStatement& CStatement::BindBytes(int parameter, std::string_view bytes)
{
    sqlite3_bind_blob(m_statement.get(), parameter, bytes.empty() ? "" : bytes.data(),
                      static_cast<int>(bytes.size()), SQLITE_TRANSIENT);
    return *this;
}

bool CStatement::Step()
{
    const int result = sqlite3_step(m_statement.get());
    if (result != SQLITE_ROW && result != SQLITE_DONE) {
        Throw(m_database.Get(), "the database");
    }
    return result == SQLITE_ROW;
}

int64_t CStatement::Number(int column) const { return sqlite3_column_int64(m_statement.get(), column); }

std::string CStatement::Text(int column) const
{
    const auto text = reinterpret_cast<const char*>(sqlite3_column_text(m_statement.get(), column));
    return text ? std::string(text, static_cast<size_t>(sqlite3_column_bytes(m_statement.get(), column)))
                : std::string();
}

std::string CStatement::Bytes(int column) const
{
    const auto bytes = static_cast<const char*>(sqlite3_column_blob(m_statement.get(), column));
    return bytes ? std::string(bytes, static_cast<size_t>(sqlite3_column_bytes(m_statement.get(), column)))
                 : std::string();
}

CTransaction::~CTransaction()
{
    if (m_isOpen) {
        sqlite3_exec(m_database.Get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }
}

void CTransaction::Commit()
{
    m_database.Execute("COMMIT");
    m_isOpen = false;
}

} // namespace zrtmon::service
