// CSV of RFC 4180 with a header line. NULL is an empty field; a field is quoted when it holds a separator, a
// quote, a line end or starts with a backslash, which some readers take for their end-of-data mark.

#include "output/format.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

bool needs_quotes(std::string_view text) {
    return text.empty() || text[0] == '\\' || holds_any<',', '"', '\n', '\r'>(text.data(), text.size());
}

// `text` has READ_SLACK, `out` room for WRITE_SLACK bytes more than twice the text and two quotes.
char *put_quoted(std::string_view text, char *out) {
    *out++ = '"';
    for (size_t quote; (quote = text.find('"')) != std::string_view::npos; text.remove_prefix(quote + 1)) {
        out = copy_text(out, text.data(), quote + 1);
        *out++ = '"';
    }
    out = copy_text(out, text.data(), text.size());
    *out++ = '"';
    return out;
}

class CsvWriter : public TableWriter {
public:
    CsvWriter(CellDecoder &decoder, std::unique_ptr<OutputFile> file, std::string_view line_end)
        : decoder_(decoder), file_(std::move(file)), line_end_(line_end) {
        const std::vector<Column> &columns = decoder_.table().columns;
        for (size_t i = 0; i < columns.size(); ++i) {
            if (i > 0)
                file_->put(',');
            write_text(std::string_view(columns[i].name + std::string(READ_SLACK, ' '))
                           .substr(0, columns[i].name.size()));
        }
        file_->append(line_end_);
    }

    void write_row(const Row &row) override {
        const size_t columns = decoder_.table().columns.size();
        for (size_t i = 0; i < columns; ++i) {
            char *out = file_->reserve(CellDecoder::SCRATCH_SIZE + 1);
            if (i > 0)
                *out++ = ',';
            file_->commit_to(out);
            write_cell(decoder_.decode(row, i, out), out);
        }
        file_->append(line_end_);
    }

    void finish() override { file_->finish(); }

private:
    void write_cell(const Cell &cell, char *out) {
        switch (cell.kind) {
        case CellKind::null:
            break;
        case CellKind::number:
        case CellKind::special:
        case CellKind::moment:
            file_->commit_to(out + cell.size);
            break;
        case CellKind::text:
            write_text(cell.view());
            break;
        case CellKind::hex:
            file_->append(cell.view());
            break;
        case CellKind::binary:
            file_->append_hex(cell.view());
            break;
        }
    }

    // `text` has READ_SLACK.
    void write_text(std::string_view text) {
        if (needs_quotes(text))
            file_->commit_to(put_quoted(text, file_->reserve(2 * text.size() + 2 + WRITE_SLACK)));
        else
            file_->commit_to(copy_text(file_->reserve(text.size() + WRITE_SLACK), text.data(), text.size()));
    }

    CellDecoder &decoder_;
    std::unique_ptr<OutputFile> file_;
    std::string_view line_end_;
};

class CsvFormat : public Format {
public:
    CsvFormat(Destination &destination, bool lf) : destination_(destination), line_end_(lf ? "\n" : "\r\n") {}

    std::unique_ptr<TableWriter> open_table(CellDecoder &decoder) override {
        decoder.set_style({});
        return std::make_unique<CsvWriter>(decoder, destination_.open(output_name(decoder.table()), ".csv"),
                                           line_end_);
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
