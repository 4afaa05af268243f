#include "rescue_fixture.h"

#include <algorithm>
#include <fstream>

#include "format/cache_header.h"
#include "output/cell.h"
#include "values/number.h"

namespace rescue_test {

using namespace vexlo;

namespace {

std::string text_of(const Column &column, const Field &field) {
    constexpr uint64_t SHOWN = 8000;
    if (field.kind == FieldKind::null)
        return "NULL";
    if (field.kind == FieldKind::stream)
        return "stream of " + std::to_string(stream_size(*field.stream)) + " bytes";
    if (field.kind == FieldKind::value && column.kind == ColumnKind::number) {
        char text[NUMBER_TEXT_MAX];
        const char *end = format_number(field.data, field.size, text);
        return end == nullptr ? "not a number" : std::string(static_cast<const char *>(text), end);
    }
    return field.size > SHOWN ? std::to_string(field.size) + " bytes"
                              : std::string(reinterpret_cast<const char *>(field.data), field.size);
}

} // namespace

ReadDatabase::ReadDatabase(const std::vector<std::string> &paths, ReadOptions read_options)
    : options(read_options), files(FileQuery{paths, {}, {}, {}}), scans(files, read_options.trust_blocks),
      dictionary(files, scans, read_options),
      directory(std::filesystem::path(paths.front()).parent_path().string()) {}

const TableRecord &ReadDatabase::table(std::string_view name) const {
    for (const TableRecord &record : dictionary.tables())
        if (dictionary.object_name(record.object) == name)
            return record;
    throw std::runtime_error("no table " + std::string(name));
}

TableRows ReadDatabase::read(std::string_view name, bool hidden) {
    const TableRecord &record = table(name);
    const TableLayout layout = make_layout(dictionary, record, hidden);
    TableRows result;
    for (const Column &column : layout.table.columns)
        result.columns.push_back(column.name);
    std::vector<uint8_t> buffer(SegmentRuns::RUN_BYTES + RUN_SLACK);
    for (const TableSegment &part : dictionary.segments(record)) {
        SegmentRuns runs(files, scans, part.segment, options);
        RowReader reader({files, layout, part.segment.tablespace, part.segment.object, runs.data_object(),
                          &dictionary, options, directory});
        for (BlockRun run; runs.next(run);)
            reader.read(load_run(run, buffer.data()), result.tally, [&](const RescuedRow &row) {
                TextRow values;
                for (size_t i = 0; i < layout.table.columns.size(); ++i)
                    values.push_back(text_of(layout.table.columns[i], row.row.fields[i]));
                if (row.is_suspect())
                    result.suspects.push_back({row.fault, row.relative_file, row.block, row.slot, values});
                else
                    result.rows.push_back(values);
            });
        result.row_counts += reader.counts();
        result.tally.add(runs.tally());
    }
    result.tally.coalesce();
    return result;
}

RescueTest::RescueTest(sample::DatabaseOptions options)
    : db_(std::make_unique<sample::Database>(directory_.path(), std::move(options))) {
    sample::UserDef user;
    user.name = "SCOTT";
    scott_ = db_->add_user(user);
    sample::TablespaceDef tablespace;
    tablespace.name = "USERS";
    users_ = db_->add_tablespace(tablespace);
}

sample::TableDef RescueTest::table_def(uint32_t owner, const std::string &name, uint32_t tablespace) {
    sample::TableDef def;
    def.owner = owner;
    def.name = name;
    def.tablespace = tablespace;
    def.columns = {sample::number_column("ID"), sample::varchar2_column("NAME", 4000)};
    return def;
}

size_t RescueTest::add_table(const std::string &name) {
    return db().add_table(table_def(scott_, name, users_));
}

void RescueTest::insert_rows(size_t table, int first, int last) {
    for (int i = first; i <= last; ++i)
        db().insert(table, {sample::number(i), sample::text("row " + std::to_string(i))});
}

std::vector<std::string> RescueTest::paths() {
    std::vector<std::string> result;
    for (const std::filesystem::path &path : db().datafiles())
        result.push_back(path.string());
    return result;
}

ReadDatabase RescueTest::open(ReadOptions options) {
    db().finish();
    return ReadDatabase(paths(), options);
}

void RescueTest::patch(std::string_view file, uint32_t number, size_t offset, const sample::Bytes &bytes,
                       bool reseal) {
    sample::patch_file(path_of(file), DB_BLOCK_SIZE, number, offset, bytes, reseal);
}

void RescueTest::destroy(std::string_view file, uint32_t number) {
    sample::Bytes garbage(DB_BLOCK_SIZE);
    for (size_t i = 0; i < garbage.size(); ++i)
        garbage[i] = static_cast<uint8_t>(i * 131 + 17 + (i >> 8) * 7);
    patch(file, number, 0, garbage, false);
}

sample::Bytes RescueTest::block(std::string_view file, uint32_t number) const {
    std::ifstream in(path_of(file), std::ios::binary);
    in.seekg(std::streamoff{DB_BLOCK_SIZE} * number);
    sample::Bytes bytes(DB_BLOCK_SIZE);
    in.read(reinterpret_cast<char *>(bytes.data()), DB_BLOCK_SIZE);
    return bytes;
}

std::vector<uint32_t> RescueTest::blocks_of_type(std::string_view file, uint8_t type, uint32_t object) const {
    std::vector<uint32_t> numbers;
    const uintmax_t count = std::filesystem::file_size(path_of(file)) / DB_BLOCK_SIZE;
    for (uint32_t number = 2; number < count; ++number) {
        const sample::Bytes bytes = block(file, number);
        if (bytes[0] == type && block_rdba(bytes.data()) != 0 &&
            (object == 0 || block_object(bytes.data()) == object))
            numbers.push_back(number);
    }
    return numbers;
}

std::vector<TextRow> numbered_rows(int first, int last) {
    std::vector<TextRow> rows;
    for (int i = first; i <= last; ++i)
        rows.push_back({std::to_string(i), "row " + std::to_string(i)});
    return rows;
}

} // namespace rescue_test
