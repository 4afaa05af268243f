// SQL*Loader: a control file and a data file. Every record and every field starts with its length in digits,
// so any byte can stand in a text.
#include <algorithm>

#include "output/format.h"
#include "output/oracle_target.h"

namespace vexlo {

namespace {

constexpr int RECORD_DIGITS = 10;
constexpr int FIELD_DIGITS = 6; // enough for the longest value, turned into UTF-8
constexpr int LONG_DIGITS = 10;
// Records up to this size need no larger buffers than the loader's own.
constexpr size_t DEFAULT_RECORD = 65536;

bool is_long(ColumnKind kind) {
    return kind == ColumnKind::long_text || kind == ColumnKind::long_raw || kind == ColumnKind::lob;
}

bool is_lob(const Column &column) {
    return column.kind == ColumnKind::lob;
}

bool is_binary(const Column &column) {
    return column.kind == ColumnKind::raw || column.kind == ColumnKind::long_raw ||
           (is_lob(column) && column.ctyp == TYPE_BLOB);
}

int field_digits(ColumnKind kind) {
    return is_long(kind) ? LONG_DIGITS : FIELD_DIGITS;
}

void put_padded(size_t value, int digits, ByteBuffer &bytes) {
    char *out = bytes.reserve(static_cast<size_t>(digits));
    for (int i = digits; i-- > 0; value /= 10)
        out[i] = static_cast<char>('0' + value % 10);
    bytes.commit_to(out + digits);
}

// A string inside a control file that is itself in double quotes.
std::string escaped(const std::string &text) {
    std::string out;
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out += '\\';
        out += c;
    }
    return out;
}

// A LOB without a byte is empty, not NULL: a mark in front of it tells.
constexpr char NULL_MARK = '1', VALUE_MARK = '0';
// What stands for the name of a file where there is none; names of files have a "/".
constexpr std::string_view NO_FILE = "NONE";

class SqlldrFormatter : public RowFormatter {
public:
    explicit SqlldrFormatter(CellDecoder &decoder)
        : decoder_(decoder), sizes_(decoder.table().columns.size()) {}

    void format(const Row &row, RowBatch &batch) override {
        if (is_large_row(row, sizes_.size()))
            put_large(row, batch);
        else
            put_record(row, batch);
        batch.longest.resize(sizes_.size()); // anew where the batch was given away
        for (size_t i = 0; i < sizes_.size(); ++i)
            batch.longest[i] = std::max(batch.longest[i], sizes_[i]);
        ++batch.rows;
    }

private:
    void put_record(const Row &row, RowBatch &batch) {
        record_.clear();
        for (size_t i = 0; i < sizes_.size(); ++i) {
            const Cell cell = cell_of(decoder_, row, i, batch.losses);
            sizes_[i] = cell.size;
            begin_field(i, cell, record_);
            record_.append(cell.view());
        }
        begin_record(record_.size(), batch);
        batch.bytes.append(record_.view());
    }

    // Lengths stand before what they count: a row that is not to be held is gone through twice.
    void put_large(const Row &row, RowBatch &batch) {
        measure(row, batch);
        for (size_t i = 0; i < sizes_.size(); ++i) {
            const Cell cell = cell_of(decoder_, row, i, batch.losses);
            begin_field(i, cell, batch.bytes);
            if (cell.stream == nullptr)
                batch.bytes.append(cell.view());
            else
                for_each_part(*cell.stream, batch, [&](std::string_view part) { batch.bytes.append(part); });
            batch.relieve();
        }
    }

    // Begins the record with its size.
    void measure(const Row &row, RowBatch &batch) {
        if (!measuring_)
            measuring_ = decoder_.twin(ORACLE_STYLE);
        RowLosses known;
        size_t record = 0;
        for (size_t i = 0; i < sizes_.size(); ++i) {
            const Cell cell = cell_of(*measuring_, row, i, known);
            sizes_[i] = cell.stream == nullptr ? cell.size : stream_size(*cell.stream);
            record += static_cast<size_t>(digits_of(i)) + sizes_[i] + (is_lob(column_of(i)) ? 1 : 0);
        }
        begin_record(record, batch);
    }

    static void begin_record(size_t size, RowBatch &batch) {
        batch.longest_record = std::max(batch.longest_record, size);
        put_padded(size, RECORD_DIGITS, batch.bytes);
    }

    Cell cell_of(CellDecoder &decoder, const Row &row, size_t i, RowLosses &losses) {
        const Column &column = decoder.table().columns[i];
        Cell cell = decoder.decode(row, i, scratch_, losses);
        if (is_unwritable_in_oracle(column, cell)) {
            losses.add_null(row.number, row.offset, unwritable_in_oracle(column));
            cell = {CellKind::null, nullptr, 0};
        }
        if (cell.kind == CellKind::null && column.in_file)
            return {CellKind::text, NO_FILE.data(), NO_FILE.size()};
        return cell;
    }

    // What stands in front of a value.
    void begin_field(size_t i, const Cell &cell, ByteBuffer &bytes) {
        if (is_lob(column_of(i)))
            bytes.put(cell.kind == CellKind::null ? NULL_MARK : VALUE_MARK);
        put_padded(sizes_[i], digits_of(i), bytes);
    }

    const Column &column_of(size_t i) const { return decoder_.table().columns[i]; }
    int digits_of(size_t i) const { return field_digits(column_of(i).kind); }

    CellDecoder &decoder_;
    std::unique_ptr<CellDecoder> measuring_; // from the first large row on
    std::vector<size_t> sizes_;              // of the values of the row
    ByteBuffer record_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

class SqlldrWriter : public TableWriter {
public:
    // The files are at `stem` with their extensions.
    SqlldrWriter(const Table &table, const std::string &stem, std::vector<WrittenFile> *log,
                 const std::string &charset)
        : table_(table), data_(stem + ".ldr", log), control_(stem + ".ctl", log),
          data_name_(stem.substr(stem.rfind('/') + 1) + ".ldr"), charset_(charset),
          longest_(table.columns.size(), 1) {}

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style(ORACLE_STYLE);
        return std::make_unique<SqlldrFormatter>(decoder);
    }

    void write(RowBatch &batch) override {
        for (size_t i = 0; i < batch.longest.size(); ++i)
            longest_[i] = std::max(longest_[i], batch.longest[i]);
        longest_record_ = std::max(longest_record_, batch.longest_record);
        data_.take(batch.bytes);
        batch.clear();
    }

    void finish() override {
        write_control();
        data_.finish();
        control_.finish();
    }

    std::string path() const override { return control_.path(); }

private:
    void write_control() {
        control_.append(
            "-- Numbers are written with a decimal point: load with NLS_NUMERIC_CHARACTERS='.,'\n");
        if (longest_record_ > DEFAULT_RECORD) {
            const std::string size = std::to_string(2 * longest_record_);
            control_.append("OPTIONS (READSIZE=" + size + ", BINDSIZE=" + size + ")\n");
        }
        control_.append("LOAD DATA\nCHARACTERSET " + charset_ + "\nLENGTH SEMANTICS BYTE\nINFILE '" +
                        data_name_ + "' \"VAR " + std::to_string(RECORD_DIGITS) + "\"\nAPPEND\nINTO TABLE " +
                        quoted_identifier(table_.name) + "\n(\n");
        const std::vector<Column> &columns = table_.columns;
        UniqueNames names;
        for (const Column &column : columns)
            names.take(column.name);
        for (size_t i = 0; i < columns.size(); ++i)
            control_.append(field_lines(columns[i], longest_[i], names) +
                            (i + 1 < columns.size() ? ",\n" : "\n)\n"));
    }

    // A LOB stands behind a field that is not loaded: the name of its file, or the mark of NULL.
    std::string field_lines(const Column &column, size_t longest, UniqueNames &names) const {
        const std::string name = quoted_identifier(column.name);
        if (column.in_file) {
            const std::string file = names.take("LOB_FILE");
            return "  " + file + " FILLER " + variable_field("VARCHARC", FIELD_DIGITS, longest) + ",\n  " +
                   name + " LOBFILE(" + file + file_charset(column) + ") TERMINATED BY EOF NULLIF " + file +
                   "='" + std::string(NO_FILE) + "'";
        }
        const std::string type = is_binary(column) ? "VARRAWC" : "VARCHARC";
        const std::string line = name + " " + variable_field(type, field_digits(column.kind), longest);
        if (!is_lob(column))
            return "  " + line + conversion(column, name);
        const std::string mark = names.take("LOB_NULL");
        return "  " + mark + " FILLER CHAR(1),\n  " + line + " NULLIF " + mark + "='" + NULL_MARK + "'";
    }

    static std::string variable_field(const std::string &type, int digits, size_t longest) {
        return type + "(" + std::to_string(digits) + "," + std::to_string(longest) + ")";
    }

    // Texts in files of their own are UTF-8, whatever the records are.
    std::string file_charset(const Column &column) const {
        const bool differs = column.ctyp != TYPE_BLOB && charset_ != FILE_CHARSET;
        return differs ? " CHARACTERSET " + std::string(FILE_CHARSET) : "";
    }

    std::string conversion(const Column &column, const std::string &name) const {
        const OracleConversion conversion = oracle_conversion(column.kind, table_.local_zone.has_value());
        if (conversion.before[0] == '\0')
            return "";
        return " \"" + escaped(conversion.before + (":" + name) + conversion.after) + "\"";
    }

    static constexpr std::string_view FILE_CHARSET = "AL32UTF8";

    const Table &table_;
    OutputFile data_;
    OutputFile control_;
    std::string data_name_;
    std::string charset_;
    size_t longest_record_ = 0;
    std::vector<size_t> longest_; // bytes of the longest value of each column
};

class SqlldrFormat : public Format {
public:
    SqlldrFormat(Destination &destination, const std::string &charset)
        : destination_(destination), charset_(charset) {}

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        return std::make_unique<SqlldrWriter>(table, destination_.path_for(output_name(table), ""),
                                              destination_.log(), charset_);
    }

    void give_up(const Table &table) override { destination_.release(output_name(table)); }

private:
    Destination &destination_;
    std::string charset_;
};

} // namespace

std::unique_ptr<Format> make_sqlldr_format(Destination &destination, const std::string &charset) {
    return std::make_unique<SqlldrFormat>(destination, charset);
}

} // namespace vexlo
