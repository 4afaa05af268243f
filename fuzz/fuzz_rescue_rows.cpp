// The rows of data blocks: whole, chained, migrated, clustered, with LONG and LOB columns, row dependencies
// and added defaults. Input as of the target rows: a byte of options, the table number, 16 bits that are
// passed over, the number of columns and a byte for each, then the blocks of relative file 1 from address 1
// on. Their types and addresses are made right, so that what is in them is looked at. They are taken as one
// run in memory and one by one.
#include <algorithm>
#include <vector>

#include "format/block_address.h"
#include "format/cache_header.h"
#include "format/file_header.h"
#include "harness.h"
#include "rescue/row_reader.h"
#include "rescue_files.h"

namespace {

constexpr uint32_t BLOCK_SIZES[] = {512, 1024, 2048, 4096};
constexpr size_t MOST_COLUMNS = 40;
constexpr size_t MOST_BLOCKS = 16;
constexpr uint8_t BIGFILE = 0x8;
constexpr uint8_t ROW_EXTRA = 0x40;

void store_le32(uint8_t *p, uint32_t value) {
    memcpy(p, &value, sizeof value);
}

// Block 0 and the header block of a datafile.
std::vector<uint8_t> file_start(uint32_t bsz, bool bigfile) {
    std::vector<uint8_t> start(2 * bsz);
    uint8_t *header = start.data() + bsz;
    header[0] = BLOCK_FILE_HEADER;
    store_le32(header + 4, bigfile ? 1 : make_rdba(1, 1));
    store_le32(header + KCCFHBSZ, bsz);
    header[KCCFHFNO] = 1;
    header[KCCFHTYP] = FILE_TYPE_DATA;
    store_le32(header + KCVFHRFN, bigfile ? BIGFILE_RFN : 1);
    return start;
}

// A column for each byte: every second kind comes out, some are special.
vexlo::TableLayout make_layout(fuzz::Bytes kinds) {
    vexlo::TableLayout layout;
    for (const uint8_t kind : kinds) {
        vexlo::StoredColumn column;
        column.from_key = (kind & 0xF0) == 0x40;
        column.is_long = kind % 8 == 1;
        column.is_lob = kind % 8 == 2;
        column.encrypted = kind % 8 == 6;
        if (kind % 8 != 7) {
            column.output = static_cast<int32_t>(layout.table.columns.size());
            layout.table.columns.push_back({});
        } else {
            layout.guard_column = static_cast<int32_t>(layout.stored.size());
        }
        if (kind % 8 == 5) {
            vexlo::AddedDefault added;
            added.stored = static_cast<uint32_t>(layout.stored.size());
            added.output = column.output;
            added.guard = kind / 16;
            added.known = added.is_null = kind >= 0x80;
            layout.defaults.push_back(added);
        }
        layout.stored.push_back(column);
    }
    return layout;
}

void look_at(const vexlo::RescuedRow &row, size_t columns) {
    volatile uint64_t sum = 0;
    for (size_t i = 0; i < columns; ++i) {
        const vexlo::Field &field = row.row.fields[i];
        for (uint32_t b = 0;
             field.kind != vexlo::FieldKind::null && field.kind != vexlo::FieldKind::stream && b < field.size;
             ++b)
            sum = sum + field.data[b];
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    fuzz::Input in(data, size);
    const uint8_t options = in.u8();
    const bool bigfile = (options & BIGFILE) != 0;
    const uint32_t bsz = BLOCK_SIZES[options % std::size(BLOCK_SIZES)];
    const uint32_t table = in.u8() % 4;
    in.u16();
    vexlo::TableLayout layout = make_layout(in.bytes(in.u8() % (MOST_COLUMNS + 1)));
    layout.cluster_table = table;
    layout.dependencies =
        (options & ROW_EXTRA) != 0 ? vexlo::Dependencies::carried : vexlo::Dependencies::none;

    const fuzz::Bytes given = in.bytes(MOST_BLOCKS * bsz);
    const uint32_t count = static_cast<uint32_t>(given.size() / bsz);
    std::vector<uint8_t> blocks(given.begin(), given.begin() + static_cast<ptrdiff_t>(size_t{count} * bsz));
    for (uint32_t i = 0; i < count; ++i) {
        blocks[size_t{i} * bsz] = BLOCK_TABLE_DATA;
        store_le32(&blocks[size_t{i} * bsz + 4], bigfile ? i + 1 : make_rdba(1, i + 1));
    }
    std::vector<uint8_t> content = file_start(bsz, bigfile);
    if (count > 1)
        content.insert(content.end(), blocks.begin() + bsz, blocks.end());
    std::vector<std::unique_ptr<vexlo::Datafile>> opened;
    opened.push_back(fuzz::memory_datafile(content, "fuzz"));
    fuzz::check(opened.front()->is_used());
    const vexlo::FileSet files(std::move(opened), std::nullopt);
    const vexlo::Datafile *file = files.tablespace(0).front();

    vexlo::ReadOptions read_options;
    read_options.trust_blocks = true;
    const vexlo::RowSource source{files, layout, 0, 0, 0, nullptr, read_options, "/tmp"};
    const auto look = [&](const vexlo::RescuedRow &row) { look_at(row, layout.table.columns.size()); };
    vexlo::SegmentTally tally;
    std::vector<uint8_t> run(blocks);
    run.resize(run.size() + vexlo::RUN_SLACK);
    vexlo::RowReader together(source);
    together.read({{file, 1, count, false}, run.data(), {}}, tally, look);
    vexlo::RowReader single(source);
    for (uint32_t i = 1; i < count; ++i) {
        std::vector<uint8_t> alone(bsz + vexlo::RUN_SLACK);
        std::copy_n(blocks.begin() + static_cast<ptrdiff_t>(size_t{i} * bsz), bsz, alone.begin());
        single.read({{file, i + 1, 1, false}, alone.data(), {}}, tally, look);
    }
    return 0;
}
