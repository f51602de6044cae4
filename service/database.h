/// Owners of what SQLite hands out. One thread at a time.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

struct sqlite3;
struct sqlite3_stmt;

namespace zrtmon::service {

/// What SQLite said, and of what: one line.
class CDatabaseError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

/// Everything here throws CDatabaseError.
class CDatabase {
public:
    /// Opens or makes the file, with the service's schema. Every commit is on disk when it returns. A file
    /// that is damaged, or whose schema is of a newer version, is refused and left as it is.
    explicit CDatabase(const std::filesystem::path& file);
    CDatabase(const CDatabase&) = delete;
    CDatabase& operator=(const CDatabase&) = delete;

    void Execute(const char* sql);
    sqlite3* Get() const { return m_database.get(); }

private:
    struct CClose {
        void operator()(sqlite3* database) const;
    };

    void MakeSchema();

    std::unique_ptr<sqlite3, CClose> m_database;
};

/// A prepared statement. Parameters are numbered from 1, columns from 0.
class CStatement {
public:
    CStatement(CDatabase& database, const char* sql);
    CStatement(const CStatement&) = delete;
    CStatement& operator=(const CStatement&) = delete;

    CStatement& Bind(int parameter, int64_t value);
    CStatement& Bind(int parameter, std::string_view text);
    CStatement& BindBytes(int parameter, std::string_view bytes);

    /// The next row; false after the last one.
    bool Step();
    /// Carries out a statement without rows.
    void Run() { Step(); }

    int64_t Number(int column) const;
    std::string Text(int column) const;
    std::string Bytes(int column) const;

private:
    struct CFinalize {
        void operator()(sqlite3_stmt* statement) const;
    };

    CDatabase& m_database;
    std::unique_ptr<sqlite3_stmt, CFinalize> m_statement;
};

/// Rolls back what was not committed.
class CTransaction {
public:
    explicit CTransaction(CDatabase& database) : m_database(database)
    {
        m_database.Execute("BEGIN IMMEDIATE");
    }
    ~CTransaction();
    CTransaction(const CTransaction&) = delete;
    CTransaction& operator=(const CTransaction&) = delete;

    void Commit();

private:
    CDatabase& m_database;
    bool m_isOpen = true;
};

} // namespace zrtmon::service
