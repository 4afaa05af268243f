// JSON Lines: one object a row with the column names as keys. NULL is null, numbers are JSON numbers with all
// their digits, everything else is a string.
#include "output/format.h"
#include "values/base64.h"

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
void put_escaped(std::string_view text, ByteBuffer &bytes) {
    char *out = bytes.reserve(ESCAPE_MAX * text.size());
    for (const char c : text) {
        if (static_cast<unsigned char>(c) < 0x20) {
            out = put_control(static_cast<unsigned char>(c), out);
            continue;
        }
        if (c == '"' || c == '\\')
            *out++ = '\\';
        *out++ = c;
    }
    bytes.commit_to(out);
}

void put_json_string(std::string_view text, ByteBuffer &bytes) {
    bytes.put('"');
    put_escaped(text, bytes);
    bytes.put('"');
}

void put_base64(std::string_view data, ByteBuffer &bytes) {
    bytes.commit_to(write_base64(data, bytes.reserve(base64_size(data.size()))));
}

struct JsonValues {
    const Column &column;
    RowBatch &batch;
    ByteBuffer &bytes = batch.bytes;

    void null() { bytes.append("null"); }
    void number(std::string_view digits) { bytes.append(digits); }
    void special(std::string_view name) { put_json_string(name, bytes); }
    void moment(std::string_view form) { put_json_string(form, bytes); }
    void text(std::string_view utf8) { put_json_string(utf8, bytes); }
    void hex(std::string_view digits) { put_json_string(digits, bytes); }
    // LOBs as base64, RAW as hexadecimal digits.
    void binary(std::string_view data) {
        bytes.put('"');
        if (column.kind == ColumnKind::lob)
            put_base64(data, bytes);
        else
            bytes.append_hex(data);
        bytes.put('"');
    }
    void text_stream(ValueStream &stream) {
        bytes.put('"');
        for_each_part(stream, batch, [&](std::string_view part) { put_escaped(part, bytes); });
        bytes.put('"');
    }
    void binary_stream(ValueStream &stream) {
        bytes.put('"');
        if (column.kind == ColumnKind::lob)
            put_base64_stream(stream);
        else
            for_each_part(stream, batch, [&](std::string_view part) { bytes.append_hex(part); });
        bytes.put('"');
    }

private:
    // Three bytes become four characters: what is left of a piece goes before the next one.
    void put_base64_stream(ValueStream &stream) {
        std::string rest;
        for_each_part(stream, batch, [&](std::string_view part) {
            rest.append(part);
            const size_t whole = rest.size() / 3 * 3;
            put_base64(std::string_view(rest).substr(0, whole), bytes);
            rest.erase(0, whole);
        });
        put_base64(rest, bytes);
    }
};

// What stands before each value of a row: "{" or ",", the name of the column and ":".
std::vector<std::string> json_keys(const Table &table) {
    std::vector<std::string> keys;
    for (const Column &column : table.columns) {
        ByteBuffer key;
        key.put(keys.empty() ? '{' : ',');
        put_json_string(column.name, key);
        key.put(':');
        keys.emplace_back(key.view());
    }
    return keys;
}

class JsonlFormatter : public RowFormatter {
public:
    JsonlFormatter(CellDecoder &decoder, const std::vector<std::string> &keys)
        : decoder_(decoder), keys_(keys) {}

    void format(const Row &row, RowBatch &batch) override {
        for (size_t i = 0; i < keys_.size(); ++i) {
            batch.bytes.append(keys_[i]);
            visit(decoder_.decode(row, i, scratch_, batch.losses),
                  JsonValues{decoder_.table().columns[i], batch});
        }
        batch.bytes.append("}\n");
        ++batch.rows;
    }

private:
    CellDecoder &decoder_;
    const std::vector<std::string> &keys_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

class JsonlWriter : public TableWriter {
public:
    JsonlWriter(const Table &table, std::unique_ptr<OutputFile> file)
        : keys_(json_keys(table)), file_(std::move(file)) {}

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style({});
        return std::make_unique<JsonlFormatter>(decoder, keys_);
    }

    void write(RowBatch &batch) override {
        file_->take(batch.bytes);
        batch.clear();
    }

    void finish() override { file_->finish(); }

private:
    std::vector<std::string> keys_;
    std::unique_ptr<OutputFile> file_;
};

class JsonlFormat : public Format {
public:
    explicit JsonlFormat(Destination &destination) : destination_(destination) {}

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        return std::make_unique<JsonlWriter>(table, destination_.open(output_name(table), ".jsonl"));
    }

private:
    Destination &destination_;
};

} // namespace

std::unique_ptr<Format> make_jsonl_format(Destination &destination) {
    return std::make_unique<JsonlFormat>(destination);
}

} // namespace vexlo
