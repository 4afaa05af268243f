// SQLite databases, each written in one transaction. Formatting turns cells into what SQLite will store and
// puts them into the batch as bytes: a kind, then an integer, a double, or a length and as many bytes. Of a
// value that comes in pieces there is first its size. Its bytes follow, for a text, which SQLite takes in one
// piece alone; those of a BLOB stand behind its row, into which they are written when the row is there.
#include <fcntl.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <cstring>
#include <deque>
#include <functional>
#include <limits>
#include <utility>

#include "output/sqlite_database.h"
#include "values/errors.h"

#ifndef VEXLO_HAVE_SQLITE

namespace vexlo {

namespace {

[[noreturn]] void refuse() {
    throw UsageError("format \"sqlite\" is not available: this program was built without the SQLite library");
}

} // namespace

std::unique_ptr<Format> make_sqlite_format(Destination &, const std::string &, const FormatOptions &) {
    refuse();
}

std::unique_ptr<ResumableDatabase> open_resumable_database(const std::string &, const std::string &,
                                                           const FormatOptions &, bool) {
    refuse();
}

std::optional<std::set<std::string>> database_tables(const std::string &) {
    return std::nullopt;
}

} // namespace vexlo

#else

#include <sqlite3.h>

#include "output/background_task.h"
#include "output/create_table.h"
#include "output/file_handle.h"
#include "output/sqlite_target.h"

namespace vexlo {

namespace {

class Database {
public:
    // `flags` are those of sqlite3_open_v2(), beside SQLITE_OPEN_READWRITE.
    explicit Database(const std::string &path, int flags = SQLITE_OPEN_CREATE) : path_(path) {
        const int rc = sqlite3_open_v2(path.c_str(), &handle_,
                                       SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | flags, nullptr);
        if (rc != SQLITE_OK) {
            const std::string message = handle_ != nullptr ? sqlite3_errmsg(handle_) : sqlite3_errstr(rc);
            sqlite3_close(handle_);
            throw OutputError(path + ": " + message);
        }
    }
    ~Database() {
        try {
            settle();
        } catch (const OutputError &) { // nobody is left to be told
        }
        sqlite3_close(handle_);
    }
    Database(const Database &) = delete;
    Database &operator=(const Database &) = delete;

    // Runs a task of this database on a thread of its own, behind the one before. What it throws comes out of
    // the next call that uses the database.
    void defer(std::function<void()> task) { tasks_.start(std::move(task)); }
    // Waits for the task that runs.
    void settle() { tasks_.wait(); }

    void execute(const std::string &sql) {
        settle();
        check(sqlite3_exec(handle_, sql.c_str(), nullptr, nullptr, nullptr));
    }

    sqlite3_stmt *prepare(const std::string &sql) {
        settle();
        sqlite3_stmt *statement = nullptr;
        check(sqlite3_prepare_v2(handle_, sql.c_str(), -1, &statement, nullptr));
        return statement;
    }

    // The first column of what a query gives.
    std::vector<std::string> texts(const std::string &sql) {
        sqlite3_stmt *statement = prepare(sql);
        std::vector<std::string> texts;
        int rc;
        while ((rc = sqlite3_step(statement)) == SQLITE_ROW)
            texts.emplace_back(reinterpret_cast<const char *>(sqlite3_column_text(statement, 0)));
        sqlite3_finalize(statement);
        check(rc);
        return texts;
    }

    // A failure can end a transaction.
    bool in_transaction() const { return sqlite3_get_autocommit(handle_) == 0; } // with no task running

    void check(int rc) const {
        if (rc != SQLITE_OK && rc != SQLITE_DONE)
            throw OutputError(path_ + ": " + sqlite3_errmsg(handle_));
    }

    sqlite3 *handle() const { return handle_; }

    // Whether the system begins to write to the disk what the database has as soon as it is much, so that a
    // commit has little to wait for.
    void write_early(bool early) {
        if (early && file_.get() < 0) // stays open as long as the database, whose locks would go with it
            file_ = FileHandle(::open(path_.c_str(), O_WRONLY | O_CLOEXEC));
        writes_early_ = early && file_.get() >= 0;
        not_begun_ = 0;
    }
    // So many bytes have been stored.
    void stored(size_t bytes) {
        constexpr size_t MUCH = 16 << 20;
        not_begun_ += bytes;
        if (!writes_early_ || not_begun_ < MUCH)
            return;
        not_begun_ = 0;
        begin_writing(file_.get());
    }

    void close() {
        settle();
        check(sqlite3_close(handle_));
        handle_ = nullptr;
    }

private:
    // A system that cannot do that writes when the commit asks for it.
    static void begin_writing([[maybe_unused]] int fd) {
#ifdef __linux__
        sync_file_range(fd, 0, 0, SYNC_FILE_RANGE_WRITE);
#endif
    }

    std::string path_;
    sqlite3 *handle_ = nullptr;
    FileHandle file_; // of the database, for write_early()
    bool writes_early_ = false;
    size_t not_begun_ = 0; // bytes stored since the system began to write the last time
    BackgroundTask tasks_;
};

std::string insert_statement(const std::string &name, size_t columns) {
    std::string sql = "INSERT INTO " + quoted_identifier(name) + " VALUES (?";
    for (size_t i = 1; i < columns; ++i)
        sql += ",?";
    return sql + ")";
}

enum class StoredKind : char {
    null,
    integer,
    real,
    text,
    blob,
    text_begin, // the size of a text, whose parts follow
    text_part,
    empty_blob, // the size of a BLOB, whose parts stand behind the row
    blob_part,  // behind the number of its column
};

template <class Value>
void put_raw(Value value, ByteBuffer &bytes) {
    bytes.append({reinterpret_cast<const char *>(&value), sizeof value});
}

void put_sized(StoredKind kind, std::string_view data, ByteBuffer &bytes) {
    put_raw(kind, bytes);
    put_raw(data.size(), bytes);
    bytes.append(data);
}

template <class Value>
Value take_raw(const char *&p) {
    Value value;
    std::memcpy(&value, p, sizeof value);
    p += sizeof value;
    return value;
}

std::string_view take_sized(const char *&p) {
    const auto size = take_raw<size_t>(p);
    return {std::exchange(p, p + size), size};
}

template <class Value>
Value parse(std::string_view digits) {
    Value value = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return value;
}

struct StoredValues {
    const Column &column;
    bool all_real; // every NUMBER that is no INTEGER
    ByteBuffer &bytes;

    void null() { put_raw(StoredKind::null, bytes); }
    void number(std::string_view digits) {
        const SqliteStorage storage =
            column.kind == ColumnKind::number || column.kind == ColumnKind::ready_integer
                ? sqlite_storage(digits)
                : SqliteStorage::real;
        if (storage == SqliteStorage::text && !all_real)
            return text(digits);
        if (storage != SqliteStorage::integer)
            return real(parse<double>(digits));
        put_raw(StoredKind::integer, bytes);
        put_raw(parse<int64_t>(digits), bytes);
    }
    // A database holds infinities but takes NaN for NULL, so that is kept as text.
    void special(std::string_view name) {
        if ((column.kind == ColumnKind::number && !all_real) || name == "NaN")
            return text(name);
        const double infinity = std::numeric_limits<double>::infinity();
        real(name[0] == '-' ? -infinity : infinity);
    }
    void moment(std::string_view form) { text(form); }
    void text(std::string_view utf8) { sized(StoredKind::text, utf8); }
    void hex(std::string_view digits) { text(digits); }
    void binary(std::string_view data) { sized(StoredKind::blob, data); }

private:
    void real(double value) {
        put_raw(StoredKind::real, bytes);
        put_raw(value, bytes);
    }
    void sized(StoredKind kind, std::string_view data) { put_sized(kind, data, bytes); }
};

class SqliteFormatter : public RowFormatter {
public:
    SqliteFormatter(CellDecoder &decoder, bool all_real) : decoder_(decoder), all_real_(all_real) {}

    void format(const Row &row, RowBatch &batch) override {
        const std::vector<Column> &columns = decoder_.table().columns;
        const bool large = is_large_row(row, columns.size());
        blobs_.clear();
        for (size_t i = 0; i < columns.size(); ++i) {
            const Cell cell = decoder_.decode(row, i, scratch_, batch.losses);
            if (cell.stream == nullptr)
                visit(cell, StoredValues{columns[i], all_real_, batch.bytes});
            else
                put_stream(row, i, cell, batch);
            if (large)
                batch.relieve();
        }
        for (const size_t i : blobs_)
            put_blob_parts(row, i, batch);
        ++batch.rows;
    }

private:
    void put_stream(const Row &row, size_t index, const Cell &cell, RowBatch &batch) {
        const uint64_t size = stream_size(*cell.stream);
        if (!fits_sqlite(size, SQLITE_LENGTH_MAX, row, decoder_.table().columns[index], batch.losses))
            return put_raw(StoredKind::null, batch.bytes);
        const bool is_text = cell.kind == CellKind::text_stream;
        put_raw(is_text ? StoredKind::text_begin : StoredKind::empty_blob, batch.bytes);
        put_raw(size, batch.bytes);
        if (!is_text)
            return blobs_.push_back(index);
        for_each_part(*cell.stream, batch,
                      [&](std::string_view part) { put_sized(StoredKind::text_part, part, batch.bytes); });
    }

    void put_blob_parts(const Row &row, size_t index, RowBatch &batch) {
        const Cell cell = decoder_.decode(row, index, scratch_, batch.losses);
        for_each_part(*cell.stream, batch, [&](std::string_view part) {
            put_raw(StoredKind::blob_part, batch.bytes);
            put_raw(index, batch.bytes);
            put_raw(part.size(), batch.bytes);
            batch.bytes.append(part);
        });
    }

    CellDecoder &decoder_;
    bool all_real_;
    std::vector<size_t> blobs_; // columns of the row whose BLOBs come in pieces
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

// Writes the pieces of a BLOB into a row that has room for them.
class BlobWriter {
public:
    BlobWriter(const Database &database, const std::string &table) : database_(database), table_(table) {}
    ~BlobWriter() { close(); }
    BlobWriter(const BlobWriter &) = delete;
    BlobWriter &operator=(const BlobWriter &) = delete;

    // The next piece of the BLOB in `column` of the row that was inserted last.
    void write(const std::string &column, std::string_view part) {
        if (column != column_)
            open(column);
        database_.check(sqlite3_blob_write(blob_, part.data(), static_cast<int>(part.size()),
                                           static_cast<int>(written_)));
        written_ += part.size();
    }

    void close() {
        sqlite3_blob_close(blob_);
        blob_ = nullptr;
        column_.clear();
    }

private:
    void open(const std::string &column) {
        close();
        sqlite3 *const handle = database_.handle();
        database_.check(sqlite3_blob_open(handle, "main", table_.c_str(), column.c_str(),
                                          sqlite3_last_insert_rowid(handle), 1, &blob_));
        column_ = column;
        written_ = 0;
    }

    const Database &database_;
    const std::string &table_;
    std::string column_; // of the BLOB that is open; empty when none is
    sqlite3_blob *blob_ = nullptr;
    uint64_t written_ = 0;
};

// A table that is not finished is dropped again: the database has no journal to roll back with.
class SqliteWriter : public TableWriter {
public:
    // `path` is where the database will be.
    SqliteWriter(const Table &table, Database &database, const std::string &path, const std::string &name,
                 bool all_real)
        : all_real_(all_real), columns_(table.columns), database_(database), path_(path), name_(name),
          blob_(database_, name_) {
        database_.execute(create_table_statement(table, name, Dialect::sqlite));
        insert_ = database_.prepare(insert_statement(name, table.columns.size()));
    }

    ~SqliteWriter() override {
        if (insert_ == nullptr)
            return;
        try {
            database_.settle();
        } catch (const OutputError &) { // the same
        }
        blob_.close();
        sqlite3_finalize(insert_);
        try {
            database_.execute("DROP TABLE " + quoted_identifier(name_));
        } catch (const OutputError &) { // the failure that ended the table has been reported
        }
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style({});
        return std::make_unique<SqliteFormatter>(decoder, all_real_);
    }

    // The rows are stored while the next ones are made.
    void write(RowBatch &batch) override {
        database_.settle();
        storing_.swap(batch.bytes);
        row_goes_on_ = batch.ends_in_row;
        batch.clear();
        database_.defer([this] {
            for (const char *at = storing_.data(), *const end = at + storing_.size(); at < end;)
                take(at);
            database_.stored(storing_.size());
        });
    }

    void finish() override {
        database_.settle();
        blob_.close();
        sqlite3_finalize(insert_);
        insert_ = nullptr;
    }

    std::string path() const override { return path_; }

private:
    // Takes what stands at `p` and steps behind it.
    void take(const char *&p) {
        const auto kind = take_raw<StoredKind>(p);
        switch (kind) {
        case StoredKind::blob_part: {
            const auto column = take_raw<size_t>(p);
            return blob_.write(columns_[column].name, take_sized(p));
        }
        case StoredKind::text_begin:
            held_size_ = take_raw<uint64_t>(p);
            held_.emplace_back().reserve(held_size_);
            break;
        case StoredKind::text_part:
            held_.back().append(take_sized(p));
            break;
        default:
            return bound(bind(kind, p));
        }
        if (held_.back().size() == held_size_)
            bound(bind_text(held_.back(), SQLITE_STATIC));
    }

    int bind(StoredKind kind, const char *&p) {
        switch (kind) {
        case StoredKind::integer:
            return sqlite3_bind_int64(insert_, next_, take_raw<int64_t>(p));
        case StoredKind::real:
            return sqlite3_bind_double(insert_, next_, take_raw<double>(p));
        case StoredKind::text:
            return bind_text(take_sized(p), lifetime());
        case StoredKind::blob: {
            const std::string_view data = take_sized(p);
            return sqlite3_bind_blob64(insert_, next_, data.data(), data.size(), lifetime());
        }
        case StoredKind::empty_blob:
            return sqlite3_bind_zeroblob64(insert_, next_, take_raw<uint64_t>(p));
        default:
            return sqlite3_bind_null(insert_, next_);
        }
    }

    // What is bound is used where it stands, unless the row goes on when the batch is gone; it is written
    // with its last value.
    sqlite3_destructor_type lifetime() const {
        const bool is_last = next_ == static_cast<int>(columns_.size());
        return row_goes_on_ && !is_last ? SQLITE_TRANSIENT : SQLITE_STATIC;
    }

    int bind_text(std::string_view text, sqlite3_destructor_type destructor) {
        return sqlite3_bind_text64(insert_, next_, text.data(), text.size(), destructor, SQLITE_UTF8);
    }

    // A value has been bound with the result `rc`; the row is written with its last one.
    void bound(int rc) {
        database_.check(rc);
        if (next_++ < static_cast<int>(columns_.size()))
            return;
        blob_.close();
        database_.check(sqlite3_step(insert_));
        sqlite3_reset(insert_);
        next_ = 1;
        held_.clear();
    }

    bool all_real_;
    const std::vector<Column> &columns_;
    Database &database_;
    std::string path_, name_;
    sqlite3_stmt *insert_ = nullptr;
    int next_ = 1;                 // parameter to be bound
    std::deque<std::string> held_; // the texts of the row that came in parts
    uint64_t held_size_ = 0;       // bytes that the last one gets
    ByteBuffer storing_;           // rows on their way into the database
    bool row_goes_on_ = false;     // the last of them does, in what comes behind
    BlobWriter blob_;
};

// What stands beside an older database belongs to it alone: with the new one it would be taken for its newest
// pages.
void remove_journals(const std::string &database) {
    for (const char *extension : {"-wal", "-shm", "-journal"})
        std::remove((database + extension).c_str());
}

class SqliteFormat : public Format {
public:
    SqliteFormat(const std::string &path, bool all_real)
        : path_(path), database_(created(path_), 0), all_real_(all_real) {
        database_.execute("PRAGMA journal_mode=OFF");
        database_.execute("PRAGMA synchronous=OFF");
        database_.execute("PRAGMA locking_mode=EXCLUSIVE");
        database_.execute("BEGIN");
    }

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        return std::make_unique<SqliteWriter>(table, database_, path_.final_path(),
                                              names_.take(sqlite_table_name(table.name)), all_real_);
    }

    void give_up(const Table &table) override { names_.release(sqlite_table_name(table.name)); }

    void finish() override {
        database_.execute("COMMIT");
        database_.close();
        remove_journals(path_.final_path());
        path_.commit();
    }

private:
    // An empty file is an empty database.
    static const std::string &created(const PendingPath &path) {
        path.create();
        return path.temporary();
    }

    PendingPath path_; // before the database: the file is removed after it has been closed
    Database database_;
    UniqueNames names_;
    bool all_real_;
};

constexpr char TABLE_NAMES[] = "SELECT name FROM sqlite_schema WHERE type='table'";

// What lies between two commits is one transaction. Its journal has the pages that were there before alone,
// which are few.
class ResumableSqliteFormat : public ResumableDatabase {
public:
    ResumableSqliteFormat(const std::string &path, const std::string &earlier, bool all_real, bool has_lobs)
        : path_(take_over(path, earlier)), database_(path_->temporary()), all_real_(all_real) {
        if (has_lobs) // no effect on a database that is there already
            database_.execute("PRAGMA page_size=65536");
        database_.execute("PRAGMA locking_mode=EXCLUSIVE");
        database_.execute("PRAGMA synchronous=NORMAL");
        database_.write_early(true);
        database_.execute("BEGIN");
    }

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        return std::make_unique<SqliteWriter>(table, database_, path_->final_path(),
                                              sqlite_table_name(table.name), all_real_);
    }

    void keep_tables(const std::set<std::string> &names) override {
        for (const std::string &table : database_.texts(TABLE_NAMES))
            if (!names.contains(table))
                database_.execute("DROP TABLE " + quoted_identifier(table));
        commit();
    }

    void begin_last() override {
        database_.execute("COMMIT");
        database_.execute("PRAGMA synchronous=OFF");
        database_.write_early(false);
        database_.execute("BEGIN");
    }

    void commit() override { end_transaction("COMMIT"); }
    void roll_back() override { end_transaction("ROLLBACK"); }

    // A run that was killed behind its last commit has left a journal that nothing is in, and that a database
    // to which nothing more is written does not take away.
    void finish() override {
        database_.execute("COMMIT");
        database_.close();
        remove_journals(path_->temporary());
        remove_journals(path_->final_path());
        path_->commit();
    }

private:
    // A finished database gets an unfinished one's name again.
    static std::unique_ptr<PendingPath> take_over(const std::string &path, const std::string &earlier) {
        const bool unfinished = !earlier.empty() && earlier != path;
        auto pending =
            unfinished ? std::make_unique<PendingPath>(path, earlier) : std::make_unique<PendingPath>(path);
        pending->keep();
        if (earlier == path && std::rename(path.c_str(), pending->temporary().c_str()) != 0)
            throw OutputError(path + ": cannot be renamed: " + std::strerror(errno));
        return pending;
    }

    void end_transaction(const char *how) {
        database_.settle();
        if (database_.in_transaction())
            database_.execute(how);
        database_.execute("BEGIN");
    }

    std::unique_ptr<PendingPath> path_;
    Database database_;
    bool all_real_;
};

} // namespace

std::unique_ptr<Format> make_sqlite_format(Destination &destination, const std::string &name,
                                           const FormatOptions &options) {
    return std::make_unique<SqliteFormat>(destination.path_for(name, ".sqlite"), options.real_numbers);
}

std::unique_ptr<ResumableDatabase> open_resumable_database(const std::string &path,
                                                           const std::string &earlier,
                                                           const FormatOptions &options, bool has_lobs) {
    return std::make_unique<ResumableSqliteFormat>(path, earlier, options.real_numbers, has_lobs);
}

std::optional<std::set<std::string>> database_tables(const std::string &path) {
    try {
        Database database(path, 0);
        if (database.texts("PRAGMA quick_check(1)") != std::vector<std::string>{"ok"})
            return std::nullopt;
        const std::vector<std::string> names = database.texts(TABLE_NAMES);
        return std::set<std::string>(names.begin(), names.end());
    } catch (const OutputError &) {
        return std::nullopt;
    }
}

} // namespace vexlo

#endif
