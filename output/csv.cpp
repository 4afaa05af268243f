// CSV of RFC 4180 with a header line. NULL is an empty field; a field is quoted when it holds a delimiter, a
// quote, a line end, looks like NULL or starts with a backslash, which some readers take for their
// end-of-data mark. In a dialect the values have the forms that this target reads.
#include <cstring>
#include <optional>
#include <utility>

#include "output/column_types.h"
#include "output/format.h"
#include "output/oracle_target.h"
#include "output/postgresql_target.h"
#include "output/rejected_rows.h"
#include "values/datetime.h"
#include "values/number.h"
#include "values/padded_bytes.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

// How fields and lines are written.
struct CsvForm {
    char delimiter;
    std::string_view null_text;
    std::string_view line_end;
    Dialect dialect;
    bool any_value_quoted; // the user chose forms in which numbers and dates can need quotes

    bool needs_quotes(std::string_view text) const {
        return text.empty() || text[0] == '\\' || text == null_text ||
               holds_any<'"', '\n', '\r'>(delimiter, text.data(), text.size());
    }
};

// The text, which is padded, with its quotes doubled. `out` has room for WRITE_SLACK bytes more than twice of
// it.
char *put_doubled(std::string_view text, char *out) {
    for (size_t quote; (quote = text.find('"')) != std::string_view::npos; text.remove_prefix(quote + 1)) {
        out = copy_text(out, text.data(), quote + 1);
        *out++ = '"';
    }
    return copy_text(out, text.data(), text.size());
}

// `text` is padded, `out` has room for WRITE_SLACK bytes more than twice the text and two quotes.
char *put_quoted(std::string_view text, char *out) {
    *out++ = '"';
    out = put_doubled(text, out);
    *out++ = '"';
    return out;
}

// A text, in one part or several, with its quotes doubled for psql. That ends its input at a line that is
// "\.", even inside quotes: there the point gets quotes of its own, which make no difference to the value.
class PsqlText {
public:
    void put(std::string_view part, ByteBuffer &bytes) {
        char *out = bytes.reserve(3 * part.size());
        for (const char c : part) {
            const bool ends_input = c == '.' && last_ == '\\' && (before_ == '\n' || before_ == '\r');
            if (ends_input || c == '"')
                *out++ = '"';
            *out++ = c;
            if (ends_input)
                *out++ = '"';
            before_ = std::exchange(last_, c);
        }
        bytes.commit_to(out);
    }

private:
    char before_ = 0, last_ = 0;
};

void put_quoted_for_psql(std::string_view text, ByteBuffer &bytes) {
    bytes.put('"');
    PsqlText().put(text, bytes);
    bytes.put('"');
}

// `text` is padded.
void put_text_field(std::string_view text, const CsvForm &form, ByteBuffer &bytes) {
    if (!form.needs_quotes(text))
        bytes.commit_to(copy_text(bytes.reserve(text.size() + WRITE_SLACK), text.data(), text.size()));
    else if (form.dialect == Dialect::postgresql)
        put_quoted_for_psql(text, bytes);
    else
        bytes.commit_to(put_quoted(text, bytes.reserve(2 * text.size() + 2 + WRITE_SLACK)));
}

// The same of a text that is not padded.
void put_short_field(std::string_view text, const CsvForm &form, ByteBuffer &bytes) {
    put_text_field(PaddedBytes(text).text(), form, bytes);
}

// Takes the cells of a row. Numbers and moments stand at the end of `bytes` when they come here.
struct CsvFields {
    const CsvForm &form;
    RowBatch &batch;
    ByteBuffer &bytes = batch.bytes;

    void null() { bytes.append(form.null_text); }
    void number(std::string_view digits) { in_place(digits); }
    void special(std::string_view name) { in_place(name); }
    void moment(std::string_view text) { in_place(text); }
    void text(std::string_view utf8) { put_text_field(utf8, form, bytes); }
    void hex(std::string_view digits) { in_place(digits, false); }
    // An empty LOB is no NULL.
    void binary(std::string_view data) {
        const size_t start = bytes.size();
        if (form.dialect == Dialect::postgresql)
            bytes.append("\\x");
        else if (data.empty())
            bytes.append("\"\"");
        bytes.append_hex(data);
        if (!form.null_text.empty() && bytes.view().substr(start) == form.null_text) {
            bytes.truncate(start);
            put_short_field(form.null_text, form, bytes);
        }
    }
    // What a value in pieces holds is not known before it is written: it is quoted.
    void text_stream(ValueStream &stream) {
        bytes.put('"');
        PsqlText for_psql;
        for_each_part(stream, batch, [&](std::string_view part) {
            if (form.dialect == Dialect::postgresql)
                for_psql.put(part, bytes);
            else
                bytes.commit_to(put_doubled(part, bytes.reserve(2 * part.size() + WRITE_SLACK)));
        });
        bytes.put('"');
    }
    void binary_stream(ValueStream &stream) {
        if (form.dialect == Dialect::postgresql)
            bytes.append("\\x");
        for_each_part(stream, batch, [&](std::string_view part) { bytes.append_hex(part); });
    }

private:
    void in_place(std::string_view text, bool stands_there = true) {
        if (form.any_value_quoted)
            put_short_field(text, form, bytes);
        else if (stands_there)
            bytes.commit_to(bytes.reserve(0) + text.size());
        else
            bytes.append(text);
    }
};

class CsvFormatter : public RowFormatter {
public:
    CsvFormatter(CellDecoder &decoder, const CsvForm &form)
        : decoder_(decoder), form_(form), check_(decoder), rejecter_(decoder) {
        for (size_t i = 0; i < decoder.table().columns.size(); ++i)
            ways_.push_back(way_of(i));
    }

    void format(const Row &row, RowBatch &batch) override {
        const size_t looked_at = put_fields(row, 0, batch.bytes);
        if (looked_at < ways_.size() && !format_from(looked_at, row, batch))
            return;
        put_line_end(batch.bytes);
        ++batch.rows;
    }

private:
    // How most fields of a column come into the plain form: what is to be known of a value for other forms is
    // not asked for.
    enum class Way : uint8_t { any, text, number, moment, ready };

    Way way_of(size_t column) const {
        if (form_.dialect != Dialect::none || form_.any_value_quoted)
            return Way::any;
        switch (decoder_.table().columns[column].kind) {
        case ColumnKind::number:
            return Way::number;
        case ColumnKind::date:
        case ColumnKind::timestamp:
            return Way::moment;
        default:
            return decoder_.keeps_ascii(column) ? Way::text : Way::ready;
        }
    }

    // Writes the fields from `first` on, with what stands between them, up to one that has to be looked at
    // more closely, or to where they are many bytes. Returns which that is, or the number of columns.
    size_t put_fields(const Row &row, size_t first, ByteBuffer &bytes) const {
        constexpr size_t FIELD_ROOM = CellDecoder::SCRATCH_SIZE + WRITE_SLACK;
        const char delimiter = form_.delimiter;
        const size_t start = bytes.size(), count = ways_.size();
        const Way *const ways = ways_.data();
        const Field *const fields = row.fields;
        char *out = bytes.reserve(FIELD_ROOM), *end = out + bytes.room_behind(out) - FIELD_ROOM;
        size_t i = first;
        for (; i < count; ++i) {
            const Field &field = fields[i];
            if (end - out < static_cast<ptrdiff_t>(field.size)) {
                bytes.commit_to(out);
                if (bytes.size() - start >= LARGE_ROW_SIZE)
                    break;
                out = bytes.reserve(field.size + FIELD_ROOM);
                end = out + bytes.room_behind(out) - FIELD_ROOM;
            }
            *out = delimiter;
            char *const behind = put_field(field, ways[i], out + (i > 0));
            if (behind == nullptr)
                break;
            out = behind;
        }
        bytes.commit_to(out);
        return i;
    }

    // Null when the field is none of those that its column mostly has.
    char *put_field(const Field &field, Way way, char *out) const {
        if (field.kind != FieldKind::value)
            return way == Way::any ? nullptr : put_ready(field, out);
        switch (way) {
        case Way::text:
            return put_text(field, out);
        case Way::number:
            return format_number(field.data, field.size, out);
        case Way::moment:
            return put_moment(field, out);
        case Way::ready:
        case Way::any:
            break;
        }
        return nullptr;
    }

    static char *put_moment(const Field &field, char *out) {
        if (char *const end = put_plain_date(field.data, field.size, out))
            return end;
        Moment moment;
        return decode_moment(field.data, field.size, moment) ? format_moment(moment, MomentStyle::iso, out)
                                                             : nullptr;
    }

    // Most texts are printable ASCII without quotes: they are copied while that is found out. Null for one
    // that is not ASCII or has quotes.
    char *put_text(const Field &field, char *out) const {
        if (field.size == 0)
            return nullptr;
        const char *const text = reinterpret_cast<const char *>(field.data);
        if (copy_if_plain<'"'>(form_.delimiter, text, field.size, out) && *text != '\\')
            return out + field.size;
        return put_other_text({text, field.size}, out);
    }

    [[gnu::noinline]] char *put_other_text(std::string_view text, char *out) const {
        if (!is_ascii_without<'"'>(text.data(), text.size()))
            return nullptr;
        if (!form_.needs_quotes(text))
            return out + text.size();
        *out++ = '"';
        out = copy_text(out, text.data(), text.size());
        *out++ = '"';
        return out;
    }

    // Writes the rest of a row, whose field `i` is to be looked at more closely. False when it was rejected.
    bool format_from(size_t i, const Row &row, RowBatch &batch) {
        const std::vector<Column> &columns = decoder_.table().columns;
        const bool large = is_large_row(row, columns.size());
        if (form_.dialect == Dialect::postgresql && large && is_refused(row, batch))
            return false;
        const size_t start = batch.bytes.size();
        for (; i < columns.size(); i = large ? i + 1 : put_fields(row, i + 1, batch.bytes)) {
            if (i > 0)
                batch.bytes.put(form_.delimiter);
            char *const out = batch.bytes.reserve(CellDecoder::SCRATCH_SIZE);
            Cell cell = decoder_.decode(row, i, out, batch.losses);
            if (form_.dialect == Dialect::oracle)
                give_to_oracle(row, columns[i], cell, batch);
            else if (form_.dialect == Dialect::postgresql && !large &&
                     is_refused(row, check_.cell_refusal(columns[i], cell), start, batch))
                return false;
            visit(cell, CsvFields{form_, batch});
            if (large)
                batch.relieve();
        }
        return form_.dialect != Dialect::postgresql || large ||
               !is_refused(row, check_.row_refusal(), start, batch);
    }

    void put_line_end(ByteBuffer &bytes) const {
        constexpr size_t LONGEST = 2;
        char *const out = bytes.reserve(LONGEST);
        std::memcpy(out, form_.line_end.data(), LONGEST); // with the NUL of a shorter one
        bytes.commit_to(out + form_.line_end.size());
    }

    // NULL, or a text that is UTF-8 already and needs no quotes; null for another field.
    char *put_ready(const Field &field, char *out) const {
        if (field.kind != FieldKind::text)
            return field.kind == FieldKind::null ? out : nullptr;
        const std::string_view text(reinterpret_cast<const char *>(field.data), field.size);
        return form_.needs_quotes(text) ? nullptr : copy_text(out, text.data(), text.size());
    }

    static void give_to_oracle(const Row &row, const Column &column, Cell &cell, RowBatch &batch) {
        if (!is_unwritable_in_oracle(column, cell))
            return;
        batch.losses.add_null(row.number, row.offset, unwritable_in_oracle(column));
        cell = {CellKind::null, nullptr, 0};
    }

    // Whether there is a reason for which the server would refuse the row; then it is rejected and what the
    // batch has of it from `start` on is taken back.
    bool is_refused(const Row &row, const std::string &refusal, size_t start, RowBatch &batch) {
        if (refusal.empty())
            return false;
        batch.bytes.truncate(start);
        rejecter_.reject(row, refusal, batch);
        return true;
    }

    // The same of all its cells before the batch has anything of it.
    bool is_refused(const Row &row, RowBatch &batch) {
        const std::string refusal = check_.refusal(row);
        if (!refusal.empty())
            rejecter_.reject(row, refusal, batch);
        return !refusal.empty();
    }

    CellDecoder &decoder_;
    const CsvForm &form_;
    PostgresqlCheck check_;
    RowRejecter rejecter_;
    std::vector<Way> ways_; // of each column
};

class CsvWriter : public TableWriter {
public:
    CsvWriter(const Table &table, const FormatOptions &options, const CsvForm &form,
              std::unique_ptr<OutputFile> file, std::optional<RejectedFile> rejected)
        : options_(options), form_(form), file_(std::move(file)), rejected_(std::move(rejected)) {
        if (options.header)
            write_header(table);
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style(form_.dialect == Dialect::postgresql ? POSTGRESQL_STYLE
                          : form_.dialect == Dialect::oracle   ? ORACLE_STYLE
                                                               : options_.cell_style());
        return std::make_unique<CsvFormatter>(decoder, form_);
    }

    void write(RowBatch &batch) override {
        file_->take(batch.bytes);
        if (rejected_)
            rejected_->take(batch);
        batch.clear();
    }

    void finish() override {
        file_->finish();
        if (rejected_)
            rejected_->finish();
    }

    std::string path() const override { return file_->path(); }

    void tell(TableReport &report) const override {
        if (rejected_)
            rejected_->tell(report);
    }

private:
    void write_header(const Table &table) {
        ByteBuffer head;
        for (const Column &column : table.columns) {
            if (!head.empty())
                head.put(form_.delimiter);
            put_short_field(column.name, form_, head);
        }
        head.append(form_.line_end);
        file_->take(head);
    }

    const FormatOptions &options_;
    const CsvForm &form_;
    std::unique_ptr<OutputFile> file_;
    std::optional<RejectedFile> rejected_;
};

class CsvFormat : public Format {
public:
    CsvFormat(Destination &destination, const FormatOptions &options)
        : destination_(destination),
          options_(options), form_{options_.delimiter, options_.null_text, options_.lf ? "\n" : "\r\n",
                                   dialect_of(options_.dialect),
                                   !options_.null_text.empty() || !options_.date_format.empty()} {}

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        if (form_.dialect == Dialect::postgresql)
            check_postgresql_columns(table);
        const std::string path = destination_.stream_path_for(output_name(table), ".csv");
        std::optional<RejectedFile> rejected;
        if (form_.dialect == Dialect::postgresql)
            rejected.emplace(destination_, path);
        return std::make_unique<CsvWriter>(table, options_, form_, destination_.open_stream(path),
                                           std::move(rejected));
    }

    void give_up(const Table &table) override { destination_.release(output_name(table)); }

private:
    Destination &destination_;
    FormatOptions options_;
    CsvForm form_;
};

} // namespace

std::unique_ptr<Format> make_csv_format(Destination &destination, const FormatOptions &options) {
    return std::make_unique<CsvFormat>(destination, options);
}

} // namespace vexlo
