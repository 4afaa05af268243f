// JSON Lines: one object a row with the column names as keys. NULL is null, numbers are JSON numbers with all
// their digits, everything else is a string.
#include "output/format.h"
#include "output/json_values.h"

namespace vexlo {

namespace {

class JsonlFormatter : public RowFormatter {
public:
    JsonlFormatter(CellDecoder &decoder, const std::vector<std::string> &keys, bool quote_numbers)
        : decoder_(decoder), keys_(keys), quote_numbers_(quote_numbers) {}

    void format(const Row &row, RowBatch &batch) override {
        const bool large = is_large_row(row, keys_.size());
        batch.bytes.put('{');
        for (size_t i = 0; i < keys_.size(); ++i) {
            batch.bytes.append(keys_[i]);
            visit(decoder_.decode(row, i, scratch_, batch.losses),
                  JsonValues{decoder_.table().columns[i], batch, batch.bytes, quote_numbers_});
            if (large)
                batch.relieve();
        }
        batch.bytes.append("}\n");
        ++batch.rows;
    }

private:
    CellDecoder &decoder_;
    const std::vector<std::string> &keys_;
    bool quote_numbers_;
    char scratch_[CellDecoder::SCRATCH_SIZE];
};

class JsonlWriter : public TableWriter {
public:
    JsonlWriter(const Table &table, const FormatOptions &options, std::unique_ptr<OutputFile> file)
        : options_(options), keys_(json_keys(table)), file_(std::move(file)) {}

    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const override {
        decoder.set_style(options_.cell_style());
        return std::make_unique<JsonlFormatter>(decoder, keys_, options_.json_number_strings);
    }

    void write(RowBatch &batch) override {
        file_->take(batch.bytes);
        batch.clear();
    }

    void finish() override { file_->finish(); }
    std::string path() const override { return file_->path(); }

private:
    const FormatOptions &options_;
    std::vector<std::string> keys_;
    std::unique_ptr<OutputFile> file_;
};

class JsonlFormat : public Format {
public:
    JsonlFormat(Destination &destination, const FormatOptions &options)
        : destination_(destination), options_(options) {}

    std::unique_ptr<TableWriter> open_table(const Table &table) override {
        return std::make_unique<JsonlWriter>(
            table, options_,
            destination_.open_stream(destination_.stream_path_for(output_name(table), ".jsonl")));
    }

    void give_up(const Table &table) override { destination_.release(output_name(table)); }

private:
    Destination &destination_;
    FormatOptions options_;
};

} // namespace

std::unique_ptr<Format> make_jsonl_format(Destination &destination, const FormatOptions &options) {
    return std::make_unique<JsonlFormat>(destination, options);
}

} // namespace vexlo
