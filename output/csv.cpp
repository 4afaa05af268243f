// CSV of RFC 4180 with a header line. NULL is an empty field; a field is quoted when it holds a separator, a
// quote, a line end or starts with a backslash, which some readers take for their end-of-data mark.

#include "output/format.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

bool needs_quotes(std::string_view text) {
    return text.empty() || text[0] == '\\' || holds_any<',', '"', '\n', '\r'>(text.data(), text.size());
}

// The text with its quotes doubled. It has READ_SLACK, `out` room for WRITE_SLACK bytes more than twice of
// it.
char *put_doubled(std::string_view text, char *out) {
    for (size_t quote; (quote = text.find('"')) != std::string_view::npos; text.remove_prefix(quote + 1)) {
        out = copy_text(out, text.data(), quote + 1);
        *out++ = '"';
    }
    return copy_text(out, text.data(), text.size());
}

// `text` has READ_SLACK, `out` room for WRITE_SLACK bytes more than twice the text and two quotes.
char *put_quoted(std::string_view text, char *out) {
    *out++ = '"';
    out = put_doubled(text, out);
    *out++ = '"';
    return out;
}

// `text` has READ_SLACK.
void put_text_field(std::string_view text, ByteBuffer &bytes) {
    if (needs_quotes(text))
        bytes.commit_to(put_quoted(text, bytes.reserve(2 * text.size() + 2 + WRITE_SLACK)));
    else
        bytes.commit_to(copy_text(bytes.reserve(text.size() + WRITE_SLACK), text.data(), text.size()));
}

// Takes the cells of a row. Numbers and moments stand at the end of `bytes` when they come here.
struct CsvFields {
    RowBatch &batch;
    ByteBuffer &bytes = batch.bytes;

    void null() {}
    void number(std::string_view text) { commit(text); }
    void special(std::string_view text) { commit(text); }
    void moment(std::string_view text) { commit(text); }
    void text(std::string_view text) { put_text_field(text, bytes); }
    void hex(std::string_view digits) { bytes.append(digits); }
    void binary(std::string_view data) { bytes.append_hex(data); }
    // What a value in pieces holds is not known before it is written: it is quoted.
    void text_stream(ValueStream &stream) {
        bytes.put('"');
        for_each_part(stream, batch, [&](std::string_view part) {
            bytes.commit_to(put_doubled(part, bytes.reserve(2 * part.size() + WRITE_SLACK)));
        });
        bytes.put('"');
    }
    void binary_stream(ValueStream &stream) {
        for_each_part(stream, batch, [&](std::string_view part) { bytes.append_hex(part); });
    }

private:
    void commit(std::string_view text) { bytes.commit_to(bytes.reserve(0) + text.size()); }
};

class CsvFormatter : public RowFormatter {
public:
    CsvFormatter(CellDecoder &decoder, std::string_view line_end) : decoder_(decoder), line_end_(line_end) {}

    void format(const Row &row, RowBatch &batch) override {
        const size_t columns = decoder_.table().columns.size();
        for (size_t i = 0; i < columns; ++i) {
            char *out = batch.bytes.reserve(CellDecoder::SCRATCH_SIZE + 1);
            if (i > 0)
                *out++ = ',';
            batch.bytes.commit_to(out);
            visit(decoder_.decode(row, i, out, batch.losses), CsvFields{batch});
        }
        batch.bytes.append(line_end_);
        ++batch.rows;
    }

private:
    CellDecoder &decoder_;
    std::string_view line_end_;
};

class CsvWriter : public TableWriter {
public:
    CsvWriter(const Table &table, std::unique_ptr<OutputFile> file, std::string_view line_end)
        : file_(std::move(file)), line_end_(line_end) {
        ByteBuffer head;
        for (const Column &column : table.columns) {
            if (!head.empty())
                head.put(',');
            put_text_field(
                std::string_view(column.name + std::string(READ_SLACK, ' ')).substr(0, column.name.size()),
                head);
        }
        head.append(line_end_);
        file_->take(head);
    }

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style({});
        return std::make_unique<CsvFormatter>(decoder, line_end_);
    }

    void write(RowBatch &batch) override {
        file_->take(batch.bytes);
        batch.clear();
    }

    void finish() override { file_->finish(); }

private:
    std::unique_ptr<OutputFile> file_;
    std::string_view line_end_;
};

class CsvFormat : public Format {
public:
    CsvFormat(Destination &destination, bool lf) : destination_(destination), line_end_(lf ? "\n" : "\r\n") {}

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        return std::make_unique<CsvWriter>(table, destination_.open(output_name(table), ".csv"), line_end_);
    }

private:
    Destination &destination_;
    std::string_view line_end_;
};

} // namespace

std::unique_ptr<Format> make_csv_format(Destination &destination, bool lf) {
    return std::make_unique<CsvFormat>(destination, lf);
}

} // namespace vexlo
