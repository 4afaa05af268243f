// make_corpus DIR: writes the seeds of every fuzz target into DIR/<target>. The layouts of the inputs are
// told at the top of each target.
#include <algorithm>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <map>
#include <stdexcept>

#include "dump_corpus.h"
#include "sample/bootstrap.h"
#include "sample/database.h"
#include "sample/system_tables.h"
#include "sample/zlib_stream.h"
#include "vexlo.h"

namespace {

namespace fs = std::filesystem;
using sample::Bytes;
using sample::ByteView;
using sample::PieceHead;
using sample::Row;
using sample::RowAddress;

constexpr size_t SMALL = 512;  // blocks made by hand
constexpr size_t LARGE = 2048; // blocks of the database
constexpr uint32_t RFN = 1;

class Corpus {
public:
    explicit Corpus(fs::path root) : root_(std::move(root)) {}

    void add(const std::string &target, const std::string &name, const Bytes &bytes) {
        fs::create_directories(root_ / target);
        std::ofstream file(root_ / target / name, std::ios::binary);
        file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        if (!file.flush())
            throw std::runtime_error("cannot write " + (root_ / target / name).string());
    }

    void add_text(const std::string &target, const std::string &name, std::string_view text) {
        add(target, name, Bytes(text.begin(), text.end()));
    }

private:
    fs::path root_;
};

Bytes joined(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes &part : parts)
        sample::append(all, part);
    return all;
}

RowAddress at(uint32_t block, uint16_t slot = 0) {
    return {sample::make_rdba(RFN, block), slot};
}

Bytes piece(uint8_t flags, const Row &values, std::optional<RowAddress> next = {}) {
    PieceHead head;
    head.flags = flags;
    head.next = next;
    return sample::encode_piece(head, values);
}

// ---- Datafiles

void add_datafiles(Corpus &corpus) {
    for (const size_t block_size : {2048U, 8192U, 16384U, 32768U}) {
        sample::DatafileInfo info;
        info.block_size = block_size;
        info.rootdba = sample::make_rdba(1, 9);
        info.blocks = 100;
        info.rfn = block_size == 16384 ? BIGFILE_RFN : 1;
        Bytes block0 = sample::encode_block0(info);
        corpus.add("rescue_header", std::to_string(block_size),
                   joined({block0, sample::encode_file_header(info), Bytes(block_size)}));
        block0.resize(64);
        Bytes header = sample::encode_file_header(info);
        header.resize(400);
        for (const uint8_t options : Bytes{0x2, 0x6, 0x3})
            corpus.add("datafile", std::to_string(block_size) + "-" + std::to_string(options),
                       joined({{options}, block0, header}));
    }
}

// ---- The dictionary of a database

// The blocks of a datafile that hold table rows, by the data object number that they state.
std::map<uint32_t, std::vector<Bytes>> data_blocks(const fs::path &path) {
    std::map<uint32_t, std::vector<Bytes>> blocks;
    std::ifstream file(path, std::ios::binary);
    Bytes block(LARGE);
    while (file.read(reinterpret_cast<char *>(block.data()), LARGE))
        if (block[0] == sample::BLOCK_TABLE)
            blocks[sample::fetch_le32(&block[24])].push_back(block);
    return blocks;
}

uint32_t segment_object(const sample::Model &model, const sample::SystemTable &table) {
    return table.cluster.empty()
               ? table.objn
               : model.clusters[sample::find_system_cluster(model, table.cluster)].place.objd;
}

void add_bootstrap(Corpus &corpus, const sample::Model &model, const std::vector<Bytes> &blocks) {
    std::string statements(1, '\0'); // options: statements
    for (const sample::BootstrapRow &row : sample::bootstrap_rows(model))
        statements += row.text + '\0';
    corpus.add_text("bootstrap", "statements", statements);
    Bytes as_blocks{0x1 | 2 << 1};
    for (const Bytes &block : blocks)
        sample::append(as_blocks, block);
    corpus.add("bootstrap", "blocks", as_blocks);
}

void add_dictionary_blocks(Corpus &corpus, const fs::path &scratch) {
    sample::DatabaseOptions options;
    options.block_size = LARGE;
    options.dictionary_hook = [n = 0](std::string_view table, Row &,
                                      sample::RowPlacement &placement) mutable {
        placement.migrated = ++n % 7 == 0 && table != "BOOTSTRAP$";
        return true;
    };
    sample::Database db(scratch, options);
    sample::TablespaceDef tablespace;
    tablespace.name = "T";
    sample::TableDef table;
    table.name = "PARTITIONED";
    table.tablespace = db.add_tablespace(tablespace);
    table.columns = {sample::number_column("N"), sample::typed_column("L", TYPE_CLOB, 4000)};
    table.partitions = {{"P1", {}, "1", {}}, {"P2", {}, "2", {}}};
    db.add_table(table);
    table.name = "COMPOSITE";
    table.partitions = {{"P3", {}, "1", {{"S1", {}}, {"S2", {}}}}};
    db.add_table(table);
    db.finish();

    const auto blocks = data_blocks(db.datafiles().front());
    const char *const tables[] = {"USER$", "TS$",  "OBJ$",     "TAB$",        "CLU$",        "COL$",
                                  "IND$",  "LOB$", "TABPART$", "TABSUBPART$", "TABCOMPART$", "PROPS$"};
    for (const sample::SystemTable &t : sample::system_tables(db.model().layout)) {
        const auto found = blocks.find(segment_object(db.model(), t));
        if (found == blocks.end())
            continue;
        if (t.name == "BOOTSTRAP$")
            add_bootstrap(corpus, db.model(), found->second);
        const auto decoder = std::find(std::begin(tables), std::end(tables), t.name) - std::begin(tables);
        for (size_t i = 0; decoder < std::ssize(tables) && i < std::min<size_t>(2, found->second.size()); i++)
            corpus.add("dict_block", std::string(t.name) + std::to_string(i),
                       joined({{static_cast<uint8_t>(decoder), static_cast<uint8_t>(t.tabno), 20, 3},
                               found->second[i]}));
    }
}

// ---- Dictionary files

template <class REC>
Bytes records(const std::vector<REC> &list) {
    Bytes bytes;
    const size_t size = list.size() * sizeof(REC);
    sample::append_le16(bytes, static_cast<uint16_t>(size));
    const auto *from = reinterpret_cast<const uint8_t *>(list.data());
    bytes.insert(bytes.end(), from, from + size);
    return bytes;
}

TAB table_record(uint32_t objn, uint32_t flag, uint32_t cluster = 0) {
    TAB tab{};
    tab.objn = objn;
    tab.flag = flag;
    tab.objb = cluster;
    tab.ncol = 2;
    tab.fno = 4;
    tab.blk = 9;
    return tab;
}

void add_dictionary_files(Corpus &corpus) {
    const std::vector<OBJ> objects{
        {0, 20, 5, 2, "EMP"},      {0, 21, 5, 2, "PARTS"},       {0, 22, 5, 2, "COMPOSITE"},
        {0, 23, 5, 2, "MEMBER"},   {0, 26, 5, 19, "P1"},         {0, 27, 5, 19, "P2"},
        {0, 28, 5, 34, "S1"},      {0, 30, 5, 3, "CLUSTER"},     {0, 40, 0, 2, "LOB$"},
        {0, 41, 0, 2, "TABPART$"}, {0, 42, 0, 2, "TABSUBPART$"}, {0, 43, 0, 2, "TABCOMPART$"},
        {0, 44, 0, 2, "PROPS$"},   {0, 45, 1, 5, "SYNONYM"}};
    const std::vector<TAB> tables{table_record(20, 0), table_record(21, TAB_PARTITIONED),
                                  table_record(22, 0), table_record(23, 0, 30),
                                  table_record(40, 0), table_record(41, 0),
                                  table_record(42, 0), table_record(43, 0),
                                  table_record(44, 0)};
    const std::vector<COL> columns{{0, 20, 1, 1, 1, 10, "C"},   {0, 20, 2, 2, TYPE_LONG, 0, "L"},
                                   {0, 21, 1, 1, 2, 22, "N"},   {0, 21, 2, 2, TYPE_CLOB, 4000, "B"},
                                   {0, 23, 1, 1, 2, 22, "KEY"}, {COL_NATIONAL, 23, 2, 2, 96, 20, "X"},
                                   {0, 30, 1, 1, 2, 22, "KEY"}};
    const std::vector<PROPS> properties{{"NLS_LANGUAGE", "AMERICAN"}, {"NLS_CHARACTERSET", "AL32UTF8"}};
    const Bytes files = joined(
        {records<USER>({{0, 0, 0, 3, "SYS"}, {5, 0, 4, 3, "SCOTT"}}),
         records<TS>({{0, 0, "SYSTEM"}, {4, 0, "USERS"}}), records(objects), records(tables),
         records(columns), records<CLU>({{CLU_ROW_DEPENDENCIES, 30, 30, 1}}),
         records<LOBIDX>({{0, 50, 50, 21, 4, 4, 9, 0}}), records<TABPART>({{0, 26, 26, 21, 0, 4, 9, 4}}),
         records<TABPART>({{0, 27, 0, 22, 0, 0, 0, 0}}), records<TABSUBPART>({{0, 28, 28, 27, 0, 4, 9, 4}}),
         records<LOB>({{0, 21, 2, 51, 50, 8192, 4, 9, 4, 0}}), records(properties)});
    for (const uint8_t options : Bytes{0, 1, 2})
        corpus.add("dict_files", std::to_string(options), joined({{options}, files}));
}

// ---- Segments

sample::TableBlock small_block(uint32_t number, int tables = 1) {
    sample::TableBlockOptions options;
    options.block_size = SMALL;
    options.cache.rdba = at(number).rdba;
    options.tables = tables;
    return sample::TableBlock(options);
}

Bytes row_block(uint32_t number) {
    sample::TableBlock block = small_block(number);
    for (const char *name : {"one", "two", "three"})
        block.add(
            piece(sample::ROW_H | sample::ROW_F | sample::ROW_L, {sample::number(7), sample::text(name)}));
    return block.finish();
}

Bytes map_block(uint32_t number, uint8_t type, std::vector<sample::Extent> extents, uint32_t next) {
    sample::CacheHeader header;
    header.type = type;
    header.rdba = at(number).rdba;
    return sample::encode_extent_map(SMALL, header, 77, extents, next);
}

void add_segments(Corpus &corpus) {
    const auto add = [&](const char *name, const Bytes &blocks) {
        Bytes header(4);
        sample::store_le32(header.data(), at(1).rdba);
        for (const uint8_t options : Bytes{0x00, 0x80, 0xC0, 0x08})
            corpus.add("segment", name + std::to_string(options), joined({{options}, header, blocks}));
    };
    using sample::Extent;
    add("freelist", joined({map_block(1, sample::BLOCK_SEGMENT_HEADER, {{at(2).rdba, 2}}, 0), row_block(2),
                            row_block(3)}));
    add("chained",
        joined({map_block(1, sample::BLOCK_ASSM_SEGMENT_HEADER, {{at(2).rdba, 1}}, at(3).rdba), row_block(2),
                map_block(3, sample::BLOCK_ASSM_EXTENT_MAP, {{at(4).rdba, 1}, {at(2).rdba, 1}}, 0),
                row_block(4)}));
    add("loop",
        joined({map_block(1, sample::BLOCK_SEGMENT_HEADER, {{at(3).rdba, 1}}, at(2).rdba),
                map_block(2, sample::BLOCK_EXTENT_MAP, {{at(3).rdba, 1}}, at(1).rdba), row_block(3)}));
    add("huge",
        joined({map_block(1, sample::BLOCK_SEGMENT_HEADER, {{at(2).rdba, NO_INDEX}}, 0), row_block(2)}));
}

// ---- Rows

constexpr uint8_t H = sample::ROW_H, F = sample::ROW_F, L = sample::ROW_L, P = sample::ROW_P,
                  N = sample::ROW_N;

// Kinds of columns, as the target of rows takes them
constexpr uint8_t PLAIN = 0, IS_LONG = 1, IS_LOB = 2, HIDDEN = 0x10, KEY = 0x40;

struct RowSeed {
    const char *name;
    uint8_t block_size; // its number among the sizes that the target knows
    uint8_t table;
    Bytes columns;
    std::vector<Bytes> blocks;
};

Bytes one_piece(uint32_t number, const Bytes &bytes) {
    sample::TableBlock block = small_block(number);
    block.add(bytes);
    return block.finish();
}

Bytes migrated_piece(const Row &values) {
    PieceHead head;
    head.flags = F | L;
    head.head_rowid = at(1);
    return sample::encode_piece(head, values);
}

Bytes clustered_block() {
    sample::TableBlock block = small_block(1, 2);
    block.add(sample::encode_key_piece({}, Row{sample::number(10)}));
    PieceHead head;
    head.key_index = 0;
    block.add(sample::encode_piece(head, Row{sample::text("member"), sample::number(3)}), 1);
    head.flags = H | F;
    head.next = at(2);
    block.add(sample::encode_piece(head, Row{sample::text("first")}), 1);
    return block.finish();
}

Bytes clustered_rest() {
    sample::TableBlock block = small_block(2, 2);
    block.add(sample::encode_key_piece({}, Row{sample::number(10)}));
    block.add(piece(L, {sample::text("rest")}), 1);
    return block.finish();
}

Bytes holed_block() {
    sample::TableBlock block = small_block(1);
    block.add_free();
    block.add(piece(H | F | L, {sample::text("kept"), {}}));
    block.add_free();
    block.add(piece(H | F | L | sample::ROW_D, {sample::text("deleted")}));
    return block.finish();
}

// A block of 4 KiB whose pieces lie in each other, so that the LONG value of their chain is longer than what
// is held in memory: each value reaches to the end of the last piece.
Bytes overlapping_block() {
    constexpr size_t PIECES = 14, BYTES = 3000, HEAD = 12;
    sample::TableBlockOptions options;
    options.block_size = 4096;
    options.cache.rdba = at(1).rdba;
    Bytes all;
    for (uint16_t i = 0; i < PIECES; i++) {
        const bool last = i + 1 == PIECES;
        all.push_back(i == 0 ? H | F | N : last ? P | L : P | N);
        all.insert(all.end(), {0, 1});
        if (!last) {
            sample::append_be32(all, at(1).rdba);
            sample::append_be16(all, static_cast<uint16_t>(i + 1));
        }
        all.push_back(0xFE);
        sample::append_le16(all, static_cast<uint16_t>(BYTES - all.size() - 2));
    }
    all.resize(BYTES);
    sample::TableBlock block(options);
    const size_t begin = options.block_size - sample::TAIL_SIZE - BYTES - sample::data_header_offset(options);
    block.add(all);
    for (size_t i = 1; i < PIECES; i++)
        block.add_raw_offset(static_cast<int16_t>(begin + HEAD * i));
    return block.finish();
}

std::vector<RowSeed> row_seeds() {
    const Row a{sample::text("a")}, ab{sample::text("a"), sample::text("b")};
    const sample::Value long_text = sample::text(std::string(300, 'x'));
    return {
        {"whole", 0, 0, {PLAIN, PLAIN, PLAIN}, {row_block(1), row_block(2)}},
        {"holes", 0, 0, {PLAIN, PLAIN}, {holed_block()}},
        {"hidden", 0, 0, {HIDDEN, PLAIN}, {row_block(1)}},
        {"chained",
         0,
         0,
         {PLAIN, PLAIN, PLAIN},
         {one_piece(1, piece(H | F, ab, at(2))), one_piece(2, piece(L, a))}},
        {"cut",
         0,
         0,
         {PLAIN, PLAIN},
         {one_piece(1, piece(H | F | N, ab, at(2))), one_piece(2, piece(P | N, a, at(3))),
          one_piece(3, piece(P | L, a))}},
        {"migrated",
         0,
         0,
         {PLAIN, PLAIN},
         {one_piece(1, piece(H, {}, at(2))), one_piece(2, migrated_piece(ab))}},
        {"loop",
         0,
         0,
         {PLAIN, PLAIN},
         {one_piece(1, piece(H | F | N, a, at(2))), one_piece(2, piece(P | N, a, at(2)))}},
        {"long", 0, 0, {PLAIN, IS_LONG}, {one_piece(1, piece(H | F | L, {sample::number(1), long_text}))}},
        {"longs",
         0,
         0,
         {IS_LONG},
         {one_piece(1, piece(H | F | N, {long_text}, at(2))), one_piece(2, piece(P | N, {long_text}, at(3))),
          one_piece(3, piece(P | L, {long_text}))}},
        {"lob",
         0,
         0,
         {PLAIN, IS_LOB},
         {one_piece(1, piece(H | F | L, {sample::number(1), sample::lob_locator(9, true)}))}},
        {"lobs",
         0,
         0,
         {IS_LOB, IS_LOB},
         {one_piece(1, piece(H | F | N, a, at(2))), one_piece(2, piece(P | L, ab))}},
        {"cluster", 0, 1, {KEY, PLAIN, PLAIN}, {clustered_block(), clustered_rest()}},
        {"spilled", 3, 0, {IS_LONG}, {overlapping_block()}},
    };
}

void add_rows(Corpus &corpus) {
    constexpr uint16_t FILLS[] = {0, 0xF000, 0xFFF0};
    for (const RowSeed &seed : row_seeds()) {
        Bytes blocks;
        for (const Bytes &block : seed.blocks)
            sample::append(blocks, block);
        for (const uint8_t options : Bytes{0x00, 0x10, 0x40})
            for (const uint16_t fill : FILLS) {
                Bytes head{static_cast<uint8_t>(options | seed.block_size), seed.table};
                sample::append_le16(head, fill);
                head.push_back(static_cast<uint8_t>(seed.columns.size()));
                for (const char *target : {"rows", "rescue_rows"})
                    corpus.add(target, seed.name + std::to_string(options) + "-" + std::to_string(fill),
                               joined({head, seed.columns, blocks}));
            }
    }
}

// ---- LOBs

constexpr uint32_t LOB_SEED_FIRST = 3; // address of the first block

// A block of a BasicFile, of the seed's first kind.
Bytes lob_page(const sample::LobHead &head, uint32_t page, uint8_t fill) {
    Bytes block(LARGE, fill);
    std::fill_n(block.begin(), sample::LOB_BLOCK_HEADER, uint8_t{0});
    const Bytes id = sample::lob_id_bytes(head.id);
    std::copy(id.begin(), id.end(), block.begin() + 24);
    sample::store_le32(&block[44], page);
    return block;
}

// A leaf of the index with one row, for page 0.
Bytes lob_leaf(const sample::LobHead &head, uint32_t pages, uint16_t last_bytes, uint32_t first) {
    constexpr size_t KDXCO = 20 + 24 + 24, ROW = 1000;
    Bytes block(LARGE);
    block[0] = block[20] = 2;
    block[36] = 1;
    block[KDXCO + 3] = 2;
    block[KDXCO + 8] = 1;
    block[KDXCO + 28] = 32;
    sample::store_le16(&block[KDXCO + 36], static_cast<uint16_t>(ROW - KDXCO));
    Bytes row(2 + 4);
    sample::append_be32(row, pages);
    sample::append_be16(row, last_bytes);
    row.resize(2 + 16);
    for (uint32_t i = 0; i < 4; ++i)
        sample::append_be32(row, i <= pages ? first + i : 0);
    row.push_back(10);
    const Bytes id = sample::lob_id_bytes(head.id);
    row.insert(row.end(), id.begin(), id.end());
    row.push_back(4);
    sample::append_be32(row, 0);
    std::copy(row.begin(), row.end(), block.begin() + ROW);
    return block;
}

Bytes secure_block(const sample::LobHead &head, std::span<const uint8_t> data) {
    constexpr size_t KDLICH = 20 + 24 + 24;
    Bytes block(LARGE);
    block[0] = 3;
    block[20] = 5;
    block[36] = 1;
    block[KDLICH + 6] = 0x20;
    const Bytes id = sample::lob_id_bytes(head.id);
    std::copy(id.begin(), id.end(), block.begin() + KDLICH + 8);
    sample::store_le16(&block[KDLICH + 48], static_cast<uint16_t>(data.size()));
    std::copy(data.begin(), data.end(), block.begin() + KDLICH + 52);
    return block;
}

void add_lobs(Corpus &corpus) {
    constexpr uint8_t OPTIONS = 0x12; // blocks of 2048 bytes, with an index
    const sample::LobHead head;
    const uint32_t first = sample::make_rdba(RFN, LOB_SEED_FIRST);
    const auto add = [&](const char *name, const sample::Value &locator, const Bytes &blocks) {
        Bytes start{OPTIONS};
        sample::append_le16(start, static_cast<uint16_t>(locator->size()));
        corpus.add("rescue_lobs", name, joined({start, *locator, blocks}));
    };
    const Bytes pages = joined({lob_page(head, 0, 'a'), lob_page(head, 1, 'b'), lob_page(head, 2, 'c')});
    const uint32_t chunks[] = {first, first + 1, first + 2};
    add("inode", sample::basic_inode(head, 2, 100, chunks), pages);
    add("index", sample::basic_bare(head), joined({pages, lob_leaf(head, 2, 100, first)}));
    add("scan", sample::basic_bare(head), pages);
    add("in_row", sample::basic_in_row(head, Bytes(500, 'z')), {});

    sample::SecureInode inode;
    const Bytes plain(3000, 'x'), text(1000, 'y');
    inode.length = text.size();
    const sample::LobExtent extent{first, 1, {}};
    add("extents", sample::secure_extents(head, inode, {&extent, 1}), secure_block(head, text));
    for (const bool maps : {false, true}) {
        const Bytes stored = maps ? sample::compression_maps(plain) : sample::zlib_stream(plain);
        inode.length = plain.size();
        inode.compressed = stored.size();
        add(maps ? "maps" : "stream", sample::secure_in_row(head, inode, stored), {});
        const sample::LobExtent compressed{first, 1, static_cast<uint32_t>(plain.size())};
        add(maps ? "maps_in_block" : "stream_in_block", sample::secure_extents(head, inode, {&compressed, 1}),
            secure_block(head, stored));
    }
    add("list", sample::secure_list(head, inode, first), {});
}

// ---- Texts

void add_texts(Corpus &corpus) {
    using namespace std::string_view_literals;
    corpus.add_text(
        "config", "usual",
        "dictdir = /d/dict/\ndatadir=/d/data # here\ndatafiles = /d/list\nchecksum = YES\n\0/d/a.dbf\n"
        "  /d/b.dbf # b\n\n#\nlast"sv);
    corpus.add_text("config", "odd", "dictdir\n"sv);
    corpus.add_text(
        "commands", "lists",
        "list files\nlist users\nlist tables scott\nlist objects\nset user scott\nlist parts \"Mixed.Name\"\n"
        "show user\n");
    corpus.add_text(
        "commands", "unload",
        "unload user scott\nunload table scott.emp\nunload user \"../x\"\nunload table \"../x\".\"a/b\"\n"
        "desc scott.emp\nexport dict\nload dict\nhelp\n");
}

void add_dumps(Corpus &corpus) {
    for (const DumpSeed &seed : dump_seeds())
        corpus.add_text(seed.target, seed.name, seed.bytes);
}

} // namespace

int main(int argc, char **argv) {
    if (argc != 2) {
        std::fputs("usage: make_corpus DIR\n", stderr);
        return 2;
    }
    try {
        Corpus corpus{fs::path(argv[1])};
        const fs::path scratch = fs::path(argv[1]) / "database";
        add_datafiles(corpus);
        add_dictionary_blocks(corpus, scratch);
        fs::remove_all(scratch);
        add_dictionary_files(corpus);
        add_segments(corpus);
        add_rows(corpus);
        add_lobs(corpus);
        add_texts(corpus);
        add_dumps(corpus);
    } catch (const std::exception &e) {
        std::fprintf(stderr, "make_corpus: %s\n", e.what());
        return 1;
    }
    return 0;
}
