#include "datafile.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <fstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "vexlo.h"

namespace sample {

namespace {

constexpr uint32_t BLOCK0_RDBA = 0xFFC00000;
constexpr size_t MIN_FILE_SIZE = 40960; // readers take this much to find the header block at any block size
constexpr uint32_t SOFTWARE_VERSION = 0x0B200000;
constexpr char DATABASE_NAME[] = "SAMPLE";
constexpr uint16_t FILE_TYPE_DATA = 3;

void store_text(Bytes &block, size_t offset, std::string_view s, size_t width) {
    std::copy_n(s.begin(), std::min(s.size(), width), block.begin() + static_cast<ptrdiff_t>(offset));
}

[[noreturn]] void fail(const std::filesystem::path &path) {
    throw std::system_error(errno, std::generic_category(), path.string());
}

uint32_t file_rdba(const DatafileInfo &info, uint32_t block) {
    return info.rfn == BIGFILE_RFN ? block : make_rdba(info.rfn, block);
}

Bytes space_block(const DatafileInfo &info, uint32_t block) {
    CacheHeader header;
    header.type = block == 2 ? BLOCK_SPACE_HEADER : BLOCK_SPACE_BITMAP;
    header.rdba = file_rdba(info, block);
    Bytes bytes = empty_block(info.block_size, header);
    seal_block(bytes);
    return bytes;
}

} // namespace

Bytes encode_block0(const DatafileInfo &info) {
    CacheHeader header;
    header.type = 0;
    header.rdba = BLOCK0_RDBA;
    header.sequence = 0;
    header.flags = 0;
    Bytes block = empty_block(info.block_size, header);
    store_le32(&block[20], static_cast<uint32_t>(info.block_size));
    store_le32(&block[24], info.blocks);
    if (info.marked)
        patch_block(block, 28, Bytes{0x7A, 0x7B, 0x7C, 0x7D}, false);
    seal_block(block);
    return block;
}

Bytes encode_file_header(const DatafileInfo &info) {
    CacheHeader header;
    header.type = BLOCK_FILE_HEADER;
    header.rdba = file_rdba(info, 1);
    Bytes block = empty_block(info.block_size, header);
    store_le32(&block[20], SOFTWARE_VERSION);
    store_le32(&block[HEADER_COMPATIBILITY], info.compatibility);
    store_le32(&block[HEADER_DATABASE_ID], info.database_id);
    store_text(block, 32, DATABASE_NAME, 8);
    store_le32(&block[44], info.blocks);
    store_le32(&block[48], static_cast<uint32_t>(info.block_size));
    store_le16(&block[HEADER_FILE_NUMBER], static_cast<uint16_t>(info.fno));
    store_le16(&block[HEADER_FILE_TYPE], FILE_TYPE_DATA);
    store_le32(&block[96], info.rootdba);
    store_le32(&block[332], info.tsn);
    store_le16(&block[336], static_cast<uint16_t>(std::min<size_t>(info.tablespace.size(), 30)));
    store_text(block, 338, info.tablespace, 30);
    store_le32(&block[368], info.rfn);
    store_le32(&block[HEADER_CHECKPOINT_SCN], static_cast<uint32_t>(info.checkpoint_scn));
    store_le16(&block[HEADER_CHECKPOINT_SCN + 4], static_cast<uint16_t>(info.checkpoint_scn >> 32));
    seal_block(block);
    return block;
}

Datafile::Datafile(DatafileInfo info) : info_(std::move(info)), next_(info_.first_block) {
    fd_ = ::open(info_.path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (fd_ < 0)
        fail(info_.path);
}

Datafile::~Datafile() {
    if (fd_ >= 0)
        ::close(fd_);
}

uint32_t Datafile::rdba(uint32_t block) const {
    return file_rdba(info_, block);
}

uint32_t Datafile::allocate(uint32_t blocks) {
    uint32_t first = next_;
    next_ += blocks;
    return first;
}

void Datafile::write_at(uint64_t offset, ByteView bytes) {
    while (!bytes.empty()) {
        ssize_t n = ::pwrite(fd_, bytes.data(), bytes.size(), static_cast<off_t>(offset));
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            fail(info_.path);
        bytes = bytes.subspan(static_cast<size_t>(n));
        offset += static_cast<uint64_t>(n);
    }
}

void Datafile::write_block(uint32_t block, ByteView bytes) {
    write_at(uint64_t{block} * info_.block_size, bytes);
}

void Datafile::close(uint32_t rootdba) {
    info_.rootdba = rootdba;
    auto least = static_cast<uint32_t>(MIN_FILE_SIZE / info_.block_size);
    info_.blocks = std::max(next_ - 1, least);
    write_block(0, encode_block0(info_));
    write_block(1, encode_file_header(info_));
    for (uint32_t b = 2; b < FIRST_DATA_BLOCK; b++)
        write_block(b, space_block(info_, b));
    if (::ftruncate(fd_, static_cast<off_t>((uint64_t{info_.blocks} + 1) * info_.block_size)) != 0)
        fail(info_.path);
    int fd = std::exchange(fd_, -1);
    if (::close(fd) != 0)
        fail(info_.path);
}

Bytes fetch_block(const std::filesystem::path &path, size_t block_size, uint32_t block) {
    std::ifstream file(path, std::ios::binary);
    Bytes bytes(block_size);
    file.seekg(static_cast<std::streamoff>(uint64_t{block} * block_size));
    file.read(reinterpret_cast<char *>(bytes.data()), static_cast<std::streamsize>(block_size));
    if (!file)
        throw std::runtime_error("cannot read block " + std::to_string(block) + " of " + path.string());
    return bytes;
}

void replace_block(const std::filesystem::path &path, size_t block_size, uint32_t block, ByteView bytes) {
    std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
    file.seekp(static_cast<std::streamoff>(uint64_t{block} * block_size));
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    if (!file.flush())
        throw std::runtime_error("cannot write block " + std::to_string(block) + " of " + path.string());
}

void patch_file(const std::filesystem::path &path, size_t block_size, uint32_t block, size_t offset,
                ByteView bytes, bool reseal) {
    Bytes buffer = fetch_block(path, block_size, block);
    patch_block(buffer, offset, bytes, reseal);
    replace_block(path, block_size, block, buffer);
}

} // namespace sample
