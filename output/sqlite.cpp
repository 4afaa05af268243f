// One SQLite database a dump, written in one transaction.
#include <charconv>
#include <limits>

#include "values/errors.h"
#include "output/format.h"

#ifndef VEXLO_HAVE_SQLITE

namespace vexlo {

std::unique_ptr<Format> make_sqlite_format(Destination &, const std::string &) {
    throw UsageError("format \"sqlite\" is not available: this program was built without the SQLite library");
}

} // namespace vexlo

#else

#include <sqlite3.h>

#include "output/sqlite_target.h"

namespace vexlo {

namespace {

class Database {
public:
    explicit Database(const std::string &path) : path_(path) {
        const int rc =
            sqlite3_open_v2(path.c_str(), &handle_,
                            SQLITE_OPEN_READWRITE | SQLITE_OPEN_CREATE | SQLITE_OPEN_NOMUTEX, nullptr);
        if (rc != SQLITE_OK) {
            const std::string message = handle_ != nullptr ? sqlite3_errmsg(handle_) : sqlite3_errstr(rc);
            sqlite3_close(handle_);
            throw OutputError(path + ": " + message);
        }
    }
    ~Database() { sqlite3_close(handle_); }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    void execute(const std::string &sql) {
        check(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr));
    }

    sqlite3_stmt *prepare(const std::string &sql) {
        sqlite3_stmt *statement = nullptr;
        check(sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement, nullptr));
        return statement;
    }

    void check(int rc) const {
        if (rc != SQLITE_OK && rc != SQLITE_DONE)
            throw OutputError(path_ + ": " + sqlite3_errmsg(handle_));
    }

    void close() {
        check(sqlite3_close(handle_));
        handle_ = nullptr;
    }

private:
    std::string path_;
    sqlite3 *handle_ = nullptr;
};

std::string insert_statement(const std::string &name, size_t columns) {
    std::string sql = "INSERT INTO " + quoted_identifier(name) + " VALUES (?";
    for (size_t i = 1; i < columns; ++i)
        sql += ",?";
    return sql + ")";
}

// A table that is not finished is dropped again: the database has no journal to roll back with.
class SqliteWriter : public TableWriter {
public:
    SqliteWriter(CellDecoder &decoder, Database &database, const std::string &name)
        : decoder_(decoder), database_(database), name_(name),
          scratch_(decoder.table().columns.size() * CellDecoder::SCRATCH_SIZE) {
        database_.execute(sqlite_create_table(decoder.table(), name));
        insert_ = database_.prepare(insert_statement(name, decoder.table().columns.size()));
    }

    ~SqliteWriter() override {
        if (insert_ == nullptr)
            return;
        sqlite3_finalize(insert_);
        try {
            database_.execute("DROP TABLE " + quoted_identifier(name_));
        } catch (const OutputError &) { // the failure that ended the table has been reported
        }
    }

    void write_row(const Row &row) override {
        const size_t columns = decoder_.table().columns.size();
        for (size_t i = 0; i < columns; ++i) {
            const Cell cell = decoder_.decode(row, i, &scratch_[i * CellDecoder::SCRATCH_SIZE]);
            const char *stored = reinterpret_cast<const char *>(row.fields[i].data);
            database_.check(bind(static_cast<int>(i + 1), decoder_.table().columns[i], cell, stored));
        }
        database_.check(sqlite3_step(insert_));
        sqlite3_reset(insert_);
    }

    void finish() override {
        sqlite3_finalize(insert_);
        insert_ = nullptr;
    }

private:
    // Only texts that had to be converted lie in a buffer that the next column may use again.
    int bind(int index, const Column &column, const Cell &cell, const char *stored) {
        switch (cell.kind) {
        case CellKind::null:
            return sqlite3_bind_null(insert_, index);
        case CellKind::number:
            return bind_number(index, column, cell);
        case CellKind::special:
            return bind_special(index, column, cell);
        case CellKind::binary:
            return sqlite3_bind_blob64(insert_, index, cell.data, cell.size, SQLITE_STATIC);
        case CellKind::moment:
            return bind_text(index, cell, SQLITE_STATIC);
        case CellKind::text:
        case CellKind::hex:
            break;
        }
        return bind_text(index, cell, cell.data == stored ? SQLITE_STATIC : SQLITE_TRANSIENT);
    }

    int bind_text(int index, const Cell &cell, sqlite3_destructor_type ownership) {
        return sqlite3_bind_text64(insert_, index, cell.data, cell.size, ownership, SQLITE_UTF8);
    }

    int bind_number(int index, const Column &column, const Cell &cell) {
        const SqliteStorage storage =
            column.kind == ColumnKind::number ? sqlite_storage(cell.view()) : SqliteStorage::real;
        const char *end = cell.data + cell.size;
        if (storage == SqliteStorage::integer) {
            int64_t value = 0;
            std::from_chars(cell.data, end, value);
            return sqlite3_bind_int64(insert_, index, value);
        }
        if (storage == SqliteStorage::real) {
            double value = 0;
            std::from_chars(cell.data, end, value);
            return sqlite3_bind_double(insert_, index, value);
        }
        return bind_text(index, cell, SQLITE_STATIC);
    }

    // A database holds infinities but takes NaN for NULL, so that is kept as text.
    int bind_special(int index, const Column &column, const Cell &cell) {
        if (column.kind == ColumnKind::number || cell.view() == "NaN")
            return bind_text(index, cell, SQLITE_STATIC);
        const double infinity = std::numeric_limits<double>::infinity();
        return sqlite3_bind_double(insert_, index, cell.data[0] == '-' ? -infinity : infinity);
    }

    CellDecoder &decoder_;
    Database &database_;
    std::string name_;
    sqlite3_stmt *insert_ = nullptr;
    std::vector<char> scratch_; // of each column, since the values are read when the row is complete
};

class SqliteFormat : public Format {
public:
    explicit SqliteFormat(const std::string &path) : path_(path), database_(path_.temporary()) {
        database_.execute("PRAGMA journal_mode=OFF");
        database_.execute("PRAGMA synchronous=OFF");
        database_.execute("PRAGMA locking_mode=EXCLUSIVE");
        database_.execute("BEGIN");
    }

    std::unique_ptr<TableWriter> open_table(CellDecoder &decoder) override {
        decoder.set_style({});
        return std::make_unique<SqliteWriter>(decoder, database_,
                                              names_.take(sqlite_table_name(decoder.table().name)));
    }

    void finish() override {
        database_.execute("COMMIT");
        database_.close();
        path_.commit();
    }

private:
    PendingPath path_; // before the database: the file is removed after it has been closed
    Database database_;
    UniqueNames names_;
};

// The file name of the dump without its directory and ".dat".
std::string database_name(const std::string &dump_path) {
    constexpr std::string_view EXTENSION = ".dat";
    std::string name = dump_path.substr(dump_path.rfind('/') + 1);
    if (name.size() > EXTENSION.size() && name.ends_with(EXTENSION))
        name.resize(name.size() - EXTENSION.size());
    return name;
}

} // namespace

std::unique_ptr<Format> make_sqlite_format(Destination &destination, const std::string &dump_path) {
    return std::make_unique<SqliteFormat>(destination.path_for(database_name(dump_path), ".sqlite"));
}

} // namespace vexlo

#endif
