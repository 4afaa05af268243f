#include "rescue/file_probe.h"

#include <algorithm>
#include <map>
#include <optional>
#include <vector>

#include "format/block_address.h"
#include "format/byte_order.h"
#include "format/cache_header.h"
#include "format/check_sum.h"
#include "format/file_header.h"
#include "rescue/positioned_read.h"

namespace vexlo {

namespace {

constexpr uint32_t SECTOR_SIZE = 512; // every block size is a multiple of it
constexpr uint8_t TYPE_CONTROL_FILE = 0x15;
constexpr uint8_t REDO_LOG_MARK = 0x22; // second byte of every block of a redo log

bool is_block_size(uint32_t size) {
    return size >= SMALLEST_BLOCK_SIZE && size <= LARGEST_BLOCK_SIZE && size % SECTOR_SIZE == 0;
}

std::string text_of(const uint8_t *bytes, size_t size) {
    const uint8_t *end = std::find(bytes, bytes + size, uint8_t{0});
    return std::string(reinterpret_cast<const char *>(bytes), static_cast<size_t>(end - bytes));
}

bool is_text(std::span<const uint8_t> start) {
    const std::span<const uint8_t> head = start.first(std::min<size_t>(start.size(), 512));
    return std::all_of(head.begin(), head.end(), [](uint8_t c) {
        return c >= 0x20 ? c != 0x7F : c == '\t' || c == '\n' || c == '\r' || c == '\f';
    });
}

// A header block that may be one, and how much of it can be believed.
struct Header {
    std::span<const uint8_t> block;
    uint64_t offset;

    uint32_t word(int at) const { return load_le32(block.data() + at); }
    uint32_t half(int at) const { return load_le16(block.data() + at); }
    uint32_t block_size() const { return word(KCCFHBSZ); }
    uint32_t relative_file() const { return word(KCVFHRFN); }

    bool has_own_address() const {
        const uint32_t rdba = block_rdba(block.data());
        return relative_file() == BIGFILE_RFN ? rdba == 1 : rdba == make_rdba(relative_file(), 1);
    }

    bool is_sound() const {
        if (block_type(block.data()) != BLOCK_FILE_HEADER || !is_block_size(block_size()) ||
            block.size() < block_size() || relative_file() > BIGFILE_RFN || !has_own_address())
            return false;
        return (block_flags(block.data()) & CACHE_FLAG_CHECKED) == 0 ||
               fold_words(block.data(), static_cast<int>(block_size())) == 0;
    }

    // The header of a platform that writes the most significant byte first.
    bool is_big_endian() const {
        const uint32_t size = load_be32(block.data() + KCCFHBSZ);
        return block_type(block.data()) == BLOCK_FILE_HEADER && !is_block_size(block_size()) &&
               is_block_size(size);
    }
};

// The place behind block 0 that may hold the header block: as block 0 states its size, else every size.
std::vector<Header> possible_headers(std::span<const uint8_t> start) {
    std::vector<uint64_t> offsets;
    if (start.size() >= BLK0_PLATFORM)
        offsets.push_back(load_le32(start.data() + BLK0_SIZE));
    for (uint64_t size = SMALLEST_BLOCK_SIZE; size <= LARGEST_BLOCK_SIZE; size *= 2)
        offsets.push_back(size);
    std::vector<Header> headers;
    for (const uint64_t offset : offsets)
        if (offset >= SMALLEST_BLOCK_SIZE && offset < start.size() &&
            start.size() - offset >= SMALLEST_BLOCK_SIZE)
            headers.push_back({start.subspan(offset), offset});
    return headers;
}

void take_header(const Header &header, FileFinding &finding) {
    FileIdentity &identity = finding.identity;
    const uint8_t *block = header.block.data();
    identity.file = header.half(KCCFHFNO);
    identity.relative_file = header.relative_file();
    identity.tablespace = header.word(KCVFHTSN);
    identity.tablespace_name =
        text_of(block + KCVFHTNM, std::min<uint32_t>(header.half(KCVFHTLN), TSNAME_SIZE));
    identity.block_size = header.block_size();
    identity.header_blocks = header.word(KCCFHFSZ);
    identity.dbid = header.word(KCCFHDBI);
    identity.database = text_of(block + KCCFHDBN, DBNAME_SIZE);
    identity.compatibility = header.word(KCCFHCVN);
    identity.checkpoint = {static_cast<uint16_t>(header.half(KCVCPSCN + 4)), header.word(KCVCPSCN)};
    identity.root_rdba = header.word(ROOTDBA);
    identity.bigfile = identity.relative_file == BIGFILE_RFN;
    finding.block0_size = header.offset;
}

// What a sound header makes of the file.
void judge_type(uint32_t type, FileFinding &finding) {
    switch (type) {
    case FILE_TYPE_DATA:
        finding.status = FileStatus::used;
        return;
    case FILE_TYPE_TEMP:
        finding.remark = "temporary file";
        return;
    case FILE_TYPE_CONTROL:
        finding.remark = "control file";
        return;
    case FILE_TYPE_REDO_LOG:
        finding.remark = "redo log";
        return;
    default:
        finding.remark = "file of type " + std::to_string(type);
    }
}

// What is said of a datafile that holds fewer blocks than its header states.
void note_cut(uint64_t size, FileFinding &finding) {
    const uint64_t whole = (size - finding.block0_size) / finding.identity.block_size;
    if (finding.status == FileStatus::used && whole < finding.identity.header_blocks)
        finding.remark = "holds " + std::to_string(whole) + " of the " +
                         std::to_string(finding.identity.header_blocks) + " blocks that its header states";
}

bool take_sound_header(std::span<const Header> headers, uint64_t size, FileFinding &finding) {
    for (const Header &header : headers)
        if (header.is_sound()) {
            take_header(header, finding);
            judge_type(header.half(KCCFHTYP), finding);
            note_cut(size, finding);
            return true;
        }
    return false;
}

// ---- Blocks as witnesses

struct Votes {
    std::map<uint32_t, uint32_t> files; // how many blocks state each relative file number
    uint32_t control = 0;               // how many of them are of a control file
    uint32_t temporary = 0;             // or of temporary segments

    uint32_t best() const {
        uint32_t file = 0, most = 0;
        for (const auto &[number, count] : files)
            if (count > most) {
                file = number;
                most = count;
            }
        return file;
    }
    uint32_t most() const {
        const auto it = files.find(best());
        return it == files.end() ? 0 : it->second;
    }
};

// Blocks of a file of `count` blocks to ask: the first ones and some all over it.
std::vector<uint64_t> sample_blocks(uint64_t count) {
    constexpr uint64_t FIRST = 64, SPREAD = 512;
    std::vector<uint64_t> blocks;
    for (uint64_t block = 1; block < std::min(count, FIRST); ++block)
        blocks.push_back(block);
    const uint64_t step = std::max<uint64_t>(1, count / SPREAD);
    for (uint64_t block = FIRST; block < count; block += step)
        blocks.push_back(block);
    return blocks;
}

// Asks blocks of the given size for their address: one whose block number is that of its place counts.
Votes ask_blocks(int fd, uint64_t size, uint32_t block_size) {
    constexpr uint8_t FORMAT_MASK = 0x0F, FORMAT = 0x02;
    Votes votes;
    for (const uint64_t block : sample_blocks(size / block_size)) {
        uint8_t head[CACHE_HEADER_SIZE];
        int error;
        if (read_fully(fd, head, sizeof head, block * block_size, error) < sizeof head)
            continue;
        const uint32_t rdba = block_rdba(head);
        if (block_type(head) == 0 || (head[1] & FORMAT_MASK) != FORMAT ||
            (rdba & RDBA_BLOCK_MASK) != (block & RDBA_BLOCK_MASK))
            continue;
        // In a bigfile all bits are the block number.
        ++votes.files[rdba == block ? BIGFILE_RFN : rdba_file(rdba)];
        votes.control += block_type(head) == TYPE_CONTROL_FILE;
        votes.temporary += (block_flags(head) & CACHE_FLAG_TEMPORARY) != 0;
    }
    return votes;
}

// The block size under which the most blocks stand where they say; nothing when too few do under any.
std::optional<uint32_t> probe_block_size(int fd, uint64_t size, Votes &best) {
    constexpr uint32_t ENOUGH = 2;
    std::optional<uint32_t> found;
    for (uint32_t block_size = SMALLEST_BLOCK_SIZE; block_size <= LARGEST_BLOCK_SIZE; block_size *= 2) {
        Votes votes = ask_blocks(fd, size, block_size);
        if (votes.most() >= std::max(ENOUGH, best.most() + 1)) {
            best = std::move(votes);
            found = block_size;
        }
    }
    return found;
}

// What of a damaged header nothing can be compared with, and what others than the user would have to believe.
void forget_unproved(FileIdentity &identity) {
    identity.checkpoint = {};
    identity.header_blocks = 0;
}

// The identity of a file whose header is not sound. Where it agrees with the blocks, what else it says is
// kept as a hint: any bit of it may be wrong.
bool take_blocks(int fd, std::span<const Header> headers, uint64_t size, FileFinding &finding) {
    Votes votes;
    const std::optional<uint32_t> block_size = probe_block_size(fd, size, votes);
    if (!block_size)
        return false;
    if (votes.control > votes.most() / 2) {
        finding.remark = "control file";
        return true;
    }
    if (votes.temporary > votes.most() / 2) {
        finding.remark = "temporary file";
        return true;
    }
    const uint32_t file = votes.best();
    const auto agrees = [&](const Header &header) {
        return header.offset == *block_size && header.block_size() == *block_size &&
               header.relative_file() == file;
    };
    const auto header = std::find_if(headers.begin(), headers.end(), agrees);
    if (header != headers.end()) {
        take_header(*header, finding);
        forget_unproved(finding.identity);
    }
    finding.identity.block_size = *block_size;
    finding.identity.relative_file = file;
    finding.identity.bigfile = file == BIGFILE_RFN;
    finding.block0_size = *block_size;
    finding.status = FileStatus::damaged_header;
    finding.remark = "header damaged, blocks say relative file " + std::to_string(file);
    return true;
}

} // namespace

FileFinding probe_file(int fd, std::span<const uint8_t> start, uint64_t size) {
    FileFinding finding;
    const std::vector<Header> headers = possible_headers(start);
    if (take_sound_header(headers, size, finding))
        return finding;
    if (start.empty())
        finding.remark = "empty file";
    else if (is_text(start))
        finding.remark = "text file";
    else if (start.size() > SECTOR_SIZE && start[1] == REDO_LOG_MARK &&
             start[SECTOR_SIZE + 1] == REDO_LOG_MARK)
        finding.remark = "redo log";
    else if (std::any_of(headers.begin(), headers.end(), [](const Header &h) { return h.is_big_endian(); })) {
        finding.identity.byte_order = FileByteOrder::big;
        finding.remark = "file of a platform with the most significant byte first, which is not read";
    } else if (!take_blocks(fd, headers, size, finding)) {
        finding.remark = "not recognised";
    }
    return finding;
}

} // namespace vexlo
