#include "decoder_fixture.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "datafile.h"

namespace vexlo_test {

namespace {

// A row whose column i holds the number 1000 + i.
sample::Row numbered(int columns) {
    sample::Row row;
    for (int i = 1; i <= columns; i++)
        row.push_back(sample::number(1000 + i));
    return row;
}

sample::Row with(sample::Row row, std::initializer_list<std::pair<size_t, sample::Value>> changes) {
    for (const auto &[position, value] : changes)
        row.at(position - 1) = value;
    return row;
}

template <class REC, auto DECODE>
int decode_as(uint8_t *cblk, const BLOCK &blk, void *records, uint32_t tabn, int max_rows, int *nrow) {
    return DECODE(cblk, blk, static_cast<REC *>(records), tabn, max_rows, nrow);
}

std::vector<decoder_case> make_cases() {
    using sample::number;
    using sample::text;
    return {
        {"USER",
         &USER_TABLE,
         true,
         1,
         48,
         with(numbered(15), {{1, text("A_USER")}, {2, number(1)}}),
         {3, 6, 7, 8, 9, 10, 11, 12, 13, 14},
         make_record({KEY, 1015, 1004, 1005}, {{"A_USER", 32}}),
         decode_as<USER, process_user_block>},
        {"TS",
         &TS_TABLE,
         true,
         2,
         40,
         with(numbered(2), {{1, text("A_TABLESPACE")}}),
         {},
         make_record({KEY, 1002}, {{"A_TABLESPACE", 32}}),
         decode_as<TS, process_ts_block>},
        {"OBJ",
         &OBJ_TABLE,
         false,
         0,
         48,
         with(numbered(14), {{4, text("AN_OBJECT")}}),
         {2, 5, 6, 8, 9, 10, 11, 12, 13},
         make_record({1014, 1001, 1003, 1007}, {{"AN_OBJECT", 32}}),
         decode_as<OBJ, process_obj_block>},
        {"TAB",
         &TAB_TABLE,
         true,
         1,
         56,
         with(numbered(29), {{13, number(0x800000)}, {29, number(0x20)}}),
         {8, 9, 10, 11, 12, 14, 15, 16, 17, 18, 19, 20, 21, 22, 23, 24, 25, 26, 27, 28},
         make_record({0x10020, KEY, 1001, 1005, 1006, 1007, 0, 0, 0, 1003, 1004, 1002, 0, 0}),
         decode_as<TAB, process_tab_block>},
        {"CLU",
         &CLU_TABLE,
         true,
         2,
         16,
         with(numbered(15), {{15, number(0x800000)}}),
         {2, 3, 4, 6, 7, 8, 9, 10, 11, 12, 13, 14},
         make_record({0x10000, KEY, 1001, 1005}),
         decode_as<CLU, process_clu_block>},
        {"COL",
         &COL_TABLE,
         true,
         5,
         56,
         with(numbered(17), {{5, text("A_COLUMN")}, {15, number(0x20)}, {17, number(2)}}),
         {3, 4, 8, 9, 10, 11, 12, 13, 14, 16},
         make_record({0x1001, KEY, 1001, 1002, 1006, 1007}, {{"A_COLUMN", 32}}),
         decode_as<COL, process_col_block>},
        {"IND",
         &IND_TABLE,
         true,
         3,
         32,
         with(numbered(12), {{12, number(8)}}),
         {6, 7, 8, 9, 10, 11},
         make_record({0, 1001, 1002, KEY, 1003, 1004, 1005, 0}),
         decode_as<LOBIDX, process_ind_block>},
        {"LOB",
         &LOB_TABLE,
         true,
         6,
         40,
         with(numbered(11), {{11, number(0x1000)}}),
         {2, 4, 10},
         make_record({1, KEY, 1001, 1003, 1005, 1009, 1007, 1008, 1006, 0}),
         decode_as<LOB, process_lob_block>},
        {"TABPART",
         &TABPART_TABLE,
         false,
         0,
         32,
         numbered(9),
         {4, 5, 6},
         make_record({0, 1001, 1002, 1003, 0, 1008, 1009, 1007}),
         decode_as<TABPART, process_tabpart_block>},
        {"TABSUBPART",
         &TABSUBPART_TABLE,
         false,
         0,
         32,
         numbered(8),
         {4, 5},
         make_record({0, 1001, 1002, 1003, 0, 1007, 1008, 1006}),
         decode_as<TABSUBPART, process_tabsubpart_block>},
        {"TABCOMPART",
         &TABCOMPART_TABLE,
         false,
         0,
         32,
         numbered(3),
         {2},
         make_record({0, 1001, 0, 1003, 0, 0, 0, 0}),
         decode_as<TABPART, process_tabcompart_block>},
        {"PROPS",
         &PROPS_TABLE,
         false,
         0,
         160,
         {text("A_PROPERTY"), text("its value")},
         {},
         make_record({}, {{"A_PROPERTY", 32}, {"its value", 128}}),
         decode_as<PROPS, process_props_block>},
    };
}

} // namespace

const std::vector<decoder_case> &decoder_cases() {
    static const std::vector<decoder_case> cases = make_cases();
    return cases;
}

const decoder_case &decoder_of(const std::string &name) {
    for (const decoder_case &c : decoder_cases())
        if (c.name == name)
            return c;
    throw std::out_of_range("no decoder of " + name);
}

std::vector<std::string> decoder_names() {
    std::vector<std::string> names;
    for (const decoder_case &c : decoder_cases())
        names.push_back(c.name);
    return names;
}

bytes make_record(const std::vector<uint32_t> &fields,
                  const std::vector<std::pair<std::string, size_t>> &texts) {
    bytes record;
    for (uint32_t field : fields)
        for (int shift = 0; shift < 32; shift += 8)
            record.push_back(static_cast<uint8_t>(field >> shift));
    for (const auto &[text, width] : texts) {
        const size_t end = record.size() + width;
        record.insert(record.end(), text.begin(), text.end());
        record.resize(end);
    }
    return record;
}

sample::TableBlock make_block(const decoder_case &c, uint32_t rdba) {
    sample::TableBlockOptions options;
    options.block_size = BLOCK_SIZE;
    options.cache.rdba = rdba;
    options.tables = static_cast<int>(c.tabn) + 1;
    sample::TableBlock block(options);
    if (c.clustered)
        block.add(sample::encode_key_piece({}, sample::Row{sample::number(KEY)}));
    return block;
}

sample::Bytes make_piece(const decoder_case &c, const sample::Row &row, uint8_t flags) {
    sample::PieceHead head;
    head.flags = flags;
    if (c.clustered)
        head.key_index = 0;
    return sample::encode_piece(head, row);
}

std::vector<std::string> hex_records(const bytes &records, size_t size) {
    std::vector<std::string> list;
    for (size_t at = 0; at < records.size(); at += size) {
        const size_t end = std::min(at + size, records.size());
        list.push_back(to_hex(bytes(records.begin() + static_cast<ptrdiff_t>(at),
                                    records.begin() + static_cast<ptrdiff_t>(end))));
    }
    return list;
}

DecoderTest::DecoderTest() {
    const std::string path = dir_.file("system.dbf");
    write_file(path, {});
    system_.fd = open(path.c_str(), O_RDWR | O_CLOEXEC);
    system_.fno = system_.rfn = 1;
    system_.bsz = system_.blk0_sz = BLOCK_SIZE;
    strcpy(system_.name, "system.dbf");
    g_ctx.sysf = &system_;
}

DecoderTest::~DecoderTest() {
    close(system_.fd);
}

DecoderTest::decoded DecoderTest::decode(const decoder_case &c, const sample::Bytes &block, int max_rows,
                                         int nrow) {
    bytes records(static_cast<size_t>(max_rows) * c.record_size, 0xEE);
    bytes cblk(BLOCK_SIZE);
    decoded d;
    d.nrow = nrow;
    const BLOCK view{block.data(), static_cast<uint32_t>(block.size()), HOME_RDBA};
    testing::internal::CaptureStderr();
    d.result = c.decode(cblk.data(), view, records.data(), c.tabn, max_rows, &d.nrow);
    d.err = testing::internal::GetCapturedStderr();
    records.resize(static_cast<size_t>(d.nrow) * c.record_size);
    d.records = hex_records(records, c.record_size);
    return d;
}

void DecoderTest::store(uint32_t block, const sample::Bytes &data) {
    const auto at = static_cast<off_t>(system_.blk0_sz + BLOCK_SIZE * (block - 1));
    if (pwrite(system_.fd, data.data(), data.size(), at) != static_cast<ssize_t>(data.size()))
        throw std::runtime_error("cannot write a block of the SYSTEM datafile");
}

std::string DecoderTest::dict_file(const decoder_case &c) const {
    return dir_.file(std::string(c.table->file) + ".dat");
}

} // namespace vexlo_test
