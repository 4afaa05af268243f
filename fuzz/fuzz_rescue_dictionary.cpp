// Whole small databases. The input changes bytes of a sound one: a byte of options, then changes of a file
// number, a block number (16 bits), an offset (16 bits), a byte of length and flags, and the bytes.
// Everything that the dictionary then says is there is read.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <vector>

#include "format/byte_order.h"
#include "format/check_sum.h"
#include "rescue/dictionary.h"
#include "rescue/row_reader.h"
#include "rescue_files.h"
#include "sample/database.h"
#include "values/errors.h"

namespace {

constexpr uint32_t BLOCK_SIZE = 2048;
constexpr size_t MOST_TABLES = 60;

// Options
constexpr uint8_t IGNORE_MAPS = 0x1;
constexpr uint8_t TRUST_BLOCKS = 0x2;
// In the length of a change: the block is sealed again
constexpr uint8_t SEAL = 0x80;

using Files = std::vector<std::vector<uint8_t>>;

sample::TableDef table_def(uint32_t owner, const char *name, uint32_t tablespace) {
    sample::TableDef def;
    def.owner = owner;
    def.name = name;
    def.tablespace = tablespace;
    def.columns = {sample::number_column("ID"), sample::varchar2_column("NAME", 200),
                   sample::typed_column("DOC", 8, 0)};
    return def;
}

void write_database(const std::filesystem::path &dir) {
    sample::DatabaseOptions options;
    options.block_size = BLOCK_SIZE;
    options.dictionary_map_entries = 4;
    sample::Database db(dir, options);
    sample::UserDef user;
    user.name = "SCOTT";
    const uint32_t scott = db.add_user(user);
    sample::TablespaceDef tablespace;
    tablespace.name = "USERS";
    tablespace.files = 2;
    const uint32_t users = db.add_tablespace(tablespace);
    sample::TableDef def = table_def(scott, "PARTS", users);
    def.partitions.resize(2);
    def.partitions[0].name = "P1";
    def.partitions[1].name = "P2";
    const size_t plain = db.add_table(table_def(scott, "PLAIN", users)), parts = db.add_table(def);
    for (int i = 0; i < 30; ++i) {
        sample::RowPlacement placement;
        placement.migrated = i % 5 == 1;
        const sample::Row row{sample::number(i), sample::text("name " + std::to_string(i)),
                              sample::text(std::string(static_cast<size_t>(i) * 300, 'x'))};
        db.insert(plain, row, placement);
        db.insert(parts, row, {}, static_cast<size_t>(i % 2));
    }
    db.finish();
}

Files read_database() {
    const char *base = getenv("TMPDIR");
    std::string dir = std::string(base != nullptr ? base : "/tmp") + "/vexlo-fuzz-db-XXXXXX";
    fuzz::check(mkdtemp(dir.data()) != nullptr);
    write_database(dir);
    Files files;
    for (const char *name : {"system01.dbf", "users01.dbf", "users02.dbf"}) {
        std::ifstream in(std::filesystem::path(dir) / name, std::ios::binary);
        files.emplace_back(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
    std::filesystem::remove_all(dir);
    return files;
}

void seal(uint8_t *block) {
    store_be16(block + CHKVAL_KCBH, 0);
    const uint16_t value = fold_words(block, BLOCK_SIZE);
    memcpy(block + CHKVAL_KCBH, &value, sizeof value);
}

// Makes one change, which begins at `data`; returns the bytes it took of the input.
size_t change(Files &files, const uint8_t *data, size_t size) {
    constexpr size_t HEAD = 6;
    if (size < HEAD)
        return size;
    std::vector<uint8_t> &file = files[data[0] % files.size()];
    const size_t block = load_le16(data + 1) % (file.size() / BLOCK_SIZE),
                 offset = load_le16(data + 3) % BLOCK_SIZE;
    const size_t length = std::min<size_t>({data[5] & 0x7FU, BLOCK_SIZE - offset, size - HEAD});
    uint8_t *at = file.data() + block * BLOCK_SIZE;
    std::copy_n(data + HEAD, length, at + offset);
    if ((data[5] & SEAL) != 0)
        seal(at);
    return HEAD + length;
}

// Looks at every byte of every value.
uint64_t sum_of(const vexlo::RescuedRow &row, size_t columns) {
    uint64_t sum = 0;
    for (size_t i = 0; i < columns; ++i) {
        const vexlo::Field &field = row.row.fields[i];
        if (field.kind == vexlo::FieldKind::value || field.kind == vexlo::FieldKind::lob)
            for (uint32_t b = 0; b < field.size; ++b)
                sum += field.data[b];
    }
    return sum;
}

void read_table(const vexlo::FileSet &files, const vexlo::ScanIndexes &scans,
                const vexlo::Dictionary &dictionary, const vexlo::TableRecord &table,
                vexlo::ReadOptions options) {
    const vexlo::TableLayout layout = vexlo::make_layout(dictionary, table, true);
    std::vector<uint8_t> buffer(vexlo::SegmentRuns::RUN_BYTES + vexlo::RUN_SLACK);
    volatile uint64_t sum = 0;
    for (const vexlo::TableSegment &part : dictionary.segments(table)) {
        vexlo::SegmentRuns runs(files, scans, part.segment, options);
        vexlo::RowReader reader({files, layout, part.segment.tablespace, part.segment.object,
                                 runs.data_object(), &dictionary, options, "/tmp"});
        vexlo::SegmentTally tally;
        for (vexlo::BlockRun run; runs.next(run);)
            reader.read(vexlo::load_run(run, buffer.data()), tally, [&](const vexlo::RescuedRow &row) {
                sum = sum + sum_of(row, layout.table.columns.size());
            });
        tally.add(runs.tally());
        tally.coalesce();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const Files sound = read_database();
    if (size == 0)
        return 0;
    vexlo::ReadOptions options;
    options.ignore_maps = (data[0] & IGNORE_MAPS) != 0;
    options.trust_blocks = (data[0] & TRUST_BLOCKS) != 0;
    Files changed = sound;
    for (size_t at = 1; at < size;)
        at += change(changed, data + at, size - at);
    std::vector<std::unique_ptr<vexlo::Datafile>> opened;
    for (size_t i = 0; i < changed.size(); ++i)
        opened.push_back(fuzz::memory_datafile(changed[i], "fuzz" + std::to_string(i)));
    try {
        vexlo::FileSet files(std::move(opened), std::nullopt);
        const vexlo::ScanIndexes scans(files);
        const vexlo::Dictionary dictionary(files, scans, options);
        const auto tables = dictionary.tables();
        for (const vexlo::TableRecord &table : tables.last(std::min(tables.size(), MOST_TABLES)))
            if (dictionary.obstacle(table) == vexlo::Obstacle::none)
                read_table(files, scans, dictionary, table, options);
    } catch (const vexlo::UsageError &) {
    } catch (const vexlo::InputError &) {
    }
    return 0;
}
