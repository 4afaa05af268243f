#include "reader.h"

#include <cstdlib>
#include <fstream>
#include <set>
#include <stdexcept>

namespace sample_test {

namespace {

uint32_t le(const Bytes &b, size_t at, size_t size) {
    uint32_t v = 0;
    for (size_t i = 0; i < size; i++)
        v |= static_cast<uint32_t>(b.at(at + i)) << (8 * i);
    return v;
}

uint32_t be(const Bytes &b, size_t at, size_t size) {
    uint32_t v = 0;
    for (size_t i = 0; i < size; i++)
        v = v << 8 | b.at(at + i);
    return v;
}

// The directories of a table block.
struct Layout {
    explicit Layout(const Bytes &block) {
        base = 44 + 24 * size_t{block.at(36)};
        if ((block.at(38) & 0x20) != 0)
            base += 8 + (le(block, base + 4, 4) & 0xFFFF);
        tables = block.at(base + 1);
        directory = base + 14 + 4 * static_cast<size_t>(tables);
    }
    size_t first(int table) const { return base + 14 + 4 * static_cast<size_t>(table); }

    size_t base, directory;
    int tables;
};

size_t piece_at(const Bytes &block, int table, size_t slot) {
    Layout l(block);
    size_t index = le(block, l.first(table), 2) + slot;
    return l.base + le(block, l.directory + 2 * index, 2);
}

std::set<size_t> free_slots(const Bytes &block, const Layout &l) {
    std::set<size_t> slots;
    for (uint32_t s = le(block, l.base + 4, 2); s < 0x8000; s = le(block, l.directory + 2 * s, 2))
        slots.insert(s);
    return slots;
}

sample::Value take_column(const Bytes &block, size_t &at) {
    size_t length = block.at(at++);
    if (length == 0xFF)
        return std::nullopt;
    if (length == 0xFE) {
        length = le(block, at, 2);
        at += 2;
    }
    auto from = block.begin() + static_cast<ptrdiff_t>(at);
    at += length;
    return Bytes(from, from + static_cast<ptrdiff_t>(length));
}

void append_columns(Row &row, const Bytes &block, size_t at, int count, bool continues) {
    for (int i = 0; i < count; i++) {
        sample::Value v = take_column(block, at);
        if (i == 0 && continues)
            row.back()->insert(row.back()->end(), v->begin(), v->end());
        else
            row.push_back(std::move(v));
    }
}

constexpr int HEAD = 0x20, DELETED = 0x10, FIRST = 0x08, LAST = 0x04, PREVIOUS = 0x02;

} // namespace

TempDir::TempDir() {
    std::string name = (std::filesystem::temp_directory_path() / "sample-XXXXXX").string();
    if (::mkdtemp(name.data()) == nullptr)
        throw std::runtime_error("cannot make a temporary directory");
    path_ = name;
}

TempDir::~TempDir() {
    std::error_code ignored;
    std::filesystem::remove_all(path_, ignored);
}

Bytes read_file(const std::filesystem::path &path) {
    std::ifstream in(path, std::ios::binary);
    Bytes bytes(std::filesystem::file_size(path));
    in.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!in)
        throw std::runtime_error("cannot read " + path.string());
    return bytes;
}

Reader::Reader(const std::vector<std::filesystem::path> &paths) {
    for (const auto &path : paths) {
        File f;
        f.bytes = read_file(path);
        size_t header = le(f.bytes, 20, 4);
        f.block_size = le(f.bytes, header + 48, 4);
        f.tsn = le(f.bytes, header + 332, 4);
        f.rfn = le(f.bytes, header + 368, 4);
        if (le(f.bytes, header + 52, 2) == 1)
            rootdba_ = le(f.bytes, header + 96, 4);
        files_.push_back(std::move(f));
    }
}

Bytes Reader::block(uint32_t tsn, uint32_t rdba) const {
    for (const File &f : files_) {
        bool bigfile = f.rfn == 1024;
        if (f.tsn != tsn || (!bigfile && f.rfn != rdba >> 22))
            continue;
        size_t at = f.block_size * (bigfile ? rdba : rdba & 0x3FFFFF);
        if (at + f.block_size > f.bytes.size())
            break;
        auto from = f.bytes.begin() + static_cast<ptrdiff_t>(at);
        return Bytes(from, from + static_cast<ptrdiff_t>(f.block_size));
    }
    throw std::out_of_range("no such block");
}

std::vector<uint32_t> Reader::segment_blocks(uint32_t tsn, uint32_t header, int *maps) const {
    const std::map<int, size_t> offsets{{0x10, 92}, {0x23, 264}, {0x12, 20}, {0x24, 20}};
    std::vector<uint32_t> blocks;
    for (uint32_t map = header; map != 0;) {
        Bytes b = block(tsn, map);
        size_t at = offsets.at(b[0]);
        for (uint32_t e = 0; e < le(b, at, 4); e++) {
            uint32_t first = le(b, at + 16 + 8 * e, 4);
            for (uint32_t i = 0; i < le(b, at + 20 + 8 * e, 4); i++)
                blocks.push_back(first + i);
        }
        if (maps != nullptr)
            ++*maps;
        map = le(b, at + 4, 4);
    }
    return blocks;
}

FoundRow Reader::follow(uint32_t tsn, uint32_t rdba, const Bytes &head_block, size_t piece, int tabno,
                        size_t extra) const {
    FoundRow row;
    Bytes b = head_block;
    for (bool head = true;; head = false) {
        int flags = b.at(piece);
        size_t at = piece + 3;
        if (tabno > 0 && (flags & FIRST) != 0) {
            size_t key = piece_at(b, 0, b.at(at++));
            append_columns(row.columns, b, key + 19, b.at(key + 2), false);
        }
        if (head)
            at += extra;
        else if ((flags & FIRST) != 0)
            at += 6;
        size_t next = at;
        bool last = (flags & LAST) != 0;
        append_columns(row.columns, b, last ? at : at + 6, b.at(piece + 2), (flags & PREVIOUS) != 0);
        row.pieces++;
        row.blocks.push_back(rdba);
        row.migrated = row.migrated || (head && (flags & FIRST) == 0);
        if (last)
            return row;
        rdba = be(b, next, 4);
        size_t slot = be(b, next + 4, 2);
        b = block(tsn, rdba);
        piece = piece_at(b, tabno, slot);
    }
}

std::vector<FoundRow> Reader::rows(uint32_t tsn, uint32_t header, int tabno, size_t extra) const {
    std::vector<FoundRow> found;
    for (uint32_t rdba : segment_blocks(tsn, header)) {
        Bytes b = block(tsn, rdba);
        if (b[0] != 0x06)
            continue;
        Layout l(b);
        if (tabno >= l.tables)
            continue;
        std::set<size_t> free = free_slots(b, l);
        size_t first = le(b, l.first(tabno), 2);
        for (size_t i = 0; i < le(b, l.first(tabno) + 2, 2); i++) {
            size_t piece = piece_at(b, tabno, i);
            if (free.count(first + i) == 0 && (b.at(piece) & (HEAD | DELETED)) == HEAD)
                found.push_back(follow(tsn, rdba, b, piece, tabno, extra));
        }
    }
    return found;
}

int Reader::bad_blocks() const {
    int bad = 0;
    for (const File &f : files_)
        for (size_t at = 0; at < f.bytes.size(); at += f.block_size) {
            // The words fold to 0 exactly when their low bytes do and their high bytes do.
            const uint8_t *b = f.bytes.data() + at;
            int low = 0;
            int high = 0;
            for (size_t i = 0; i < f.block_size; i += 2) {
                low ^= b[i];
                high ^= b[i + 1];
            }
            bad += (low | high) != 0 ? 1 : 0;
        }
    return bad;
}

int64_t to_integer(const sample::Value &v) {
    if (!v)
        return -1;
    int64_t n = 0;
    int places = v->front() - 0xC1;
    for (size_t i = 1; i < v->size(); i++, places--)
        n = n * 100 + (*v)[i] - 1;
    for (; places >= 0; places--)
        n *= 100;
    return n;
}

std::string to_text(const sample::Value &v) {
    return v ? std::string(v->begin(), v->end()) : std::string();
}

DictionaryTable::DictionaryTable(const Reader &reader, const sample::Model &model, std::string_view name) {
    for (const sample::TableEntry &t : model.tables) {
        if (t.def.owner != sample::USER_SYS || t.def.name != name)
            continue;
        for (const auto *order : {&t.key_order, &t.order})
            for (size_t c : *order)
                position_.emplace(t.def.columns[c].name, position_.size());
        const sample::SegmentPlace &place = t.def.cluster ? model.clusters[*t.def.cluster].place : t.place;
        uint32_t header = sample::make_rdba(place.file, place.block);
        for (FoundRow &row : reader.rows(0, header, static_cast<int>(t.tabno)))
            rows_.push_back(std::move(row.columns));
    }
}

sample::Value DictionaryTable::at(const Row &row, std::string_view column) const {
    size_t i = position_.find(column)->second;
    return i < row.size() ? row[i] : sample::null_value();
}

sample::Value DictionaryTable::get(std::string_view column, std::string_view where, int64_t equals) const {
    for (const Row &row : rows_)
        if (to_integer(at(row, where)) == equals)
            return at(row, column);
    throw std::out_of_range("no such dictionary row");
}

std::vector<int64_t> DictionaryTable::numbers(std::string_view column, std::string_view where,
                                              int64_t equals) const {
    std::vector<int64_t> found;
    for (const Row &row : rows_)
        if (to_integer(at(row, where)) == equals)
            found.push_back(to_integer(at(row, column)));
    return found;
}

} // namespace sample_test
