// JSON Lines: one object a row with the column names as keys. NULL is null, numbers are JSON numbers with all
// their digits, everything else is a string.
#include "output/format.h"

namespace vexlo {

namespace {

constexpr size_t ESCAPE_MAX = 6; // characters of \u0000

// A control character, for which JSON has a short form or else the number.
char *put_control(unsigned char c, char *out) {
    constexpr char DIGITS[] = "0123456789abcdef";
    constexpr std::string_view SHORT = "\bb\tt\nn\ff\rr"; // pairs of character and letter
    *out++ = '\\';
    for (size_t i = 0; i < SHORT.size(); i += 2)
        if (static_cast<unsigned char>(SHORT[i]) == c) {
            *out++ = SHORT[i + 1];
            return out;
        }
    *out++ = 'u';
    *out++ = '0';
    *out++ = '0';
    *out++ = DIGITS[c >> 4];
    *out++ = DIGITS[c & 0x0F];
    return out;
}

// Texts are UTF-8 when they come here and stay as they are but for what JSON must escape.
void put_json_string(std::string_view text, OutputFile &file) {
    char *out = file.reserve(ESCAPE_MAX * text.size() + 2);
    *out++ = '"';
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20) {
            out = put_control(static_cast<unsigned char>(c), out);
            continue;
        }
        if (c == '"' || c == '\\')
            *out++ = '\\';
        *out++ = c;
    }
    *out++ = '"';
    file.commit_to(out);
}

class JsonlWriter : public TableWriter {
public:
    JsonlWriter(CellDecoder &decoder, std::unique_ptr<OutputFile> file)
        : decoder_(decoder), file_(std::move(file)) {}

    void write_row(const Row &row) override {
        const std::vector<Column> &columns = decoder_.table().columns;
        for (size_t i = 0; i < columns.size(); ++i) {
            file_->put(i == 0 ? '{' : ',');
            put_json_string(columns[i].name, *file_);
            file_->put(':');
            write_cell(decoder_.decode(row, i, scratch_));
        }
        file_->append("}\n");
    }

    void finish() override { file_->finish(); }

private:
    void write_cell(const Cell &cell) {
        switch (cell.kind) {
        case CellKind::null:
            file_->append("null");
            break;
        case CellKind::number:
            file_->append(cell.view());
            break;
        case CellKind::special:
        case CellKind::moment:
        case CellKind::text:
        case CellKind::hex:
            put_json_string(cell.view(), *file_);
            break;
        case CellKind::binary:
            file_->put('"');
            file_->append_hex(cell.view());
            file_->put('"');
            break;
        }
    }

    CellDecoder &decoder_;
    std::unique_ptr<OutputFile> file_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

class JsonlFormat : public Format {
public:
    explicit JsonlFormat(Destination &destination) : destination_(destination) {}

    std::unique_ptr<TableWriter> open_table(CellDecoder &decoder) override {
        decoder.set_style({});
        return std::make_unique<JsonlWriter>(decoder,
                                             destination_.open(output_name(decoder.table()), ".jsonl"));
    }

private:
    Destination &destination_;
};

} // namespace

std::unique_ptr<Format> make_jsonl_format(Destination &destination) {
    return std::make_unique<JsonlFormat>(destination);
}

} // namespace vexlo
