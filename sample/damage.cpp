#include "damage.h"

#include "random_source.h"
#include "segment.h"

namespace sample {

namespace {

constexpr size_t RDBA_OFFSET = 4;
constexpr size_t NEXT_MAP = 4; // in an extent map
constexpr uint8_t OTHER_SEQUENCE = 0x40;

// Changes the block that is there.
template <class Change>
void change_block(const DamagePlace &place, Change &&change) {
    Bytes block = fetch_block(place.path, place.block_size, place.block);
    change(block);
    replace_block(place.path, place.block_size, place.block, block);
}

Bytes le32(uint32_t v) {
    Bytes bytes(4);
    store_le32(bytes.data(), v);
    return bytes;
}

} // namespace

void damage_check_value(const DamagePlace &place) {
    change_block(place, [](Bytes &block) { block[block.size() / 2] ^= 1; });
}

void tear_block(const DamagePlace &place) {
    change_block(place, [](Bytes &block) {
        block[block.size() - TAIL_SIZE] ^= OTHER_SEQUENCE;
        seal_block(block);
    });
}

void misplace_block(const DamagePlace &place, uint32_t rdba) {
    change_block(place, [&](Bytes &block) { patch_block(block, RDBA_OFFSET, le32(rdba)); });
}

void zero_block(const DamagePlace &place) {
    replace_block(place.path, place.block_size, place.block, Bytes(place.block_size));
}

void overwrite_block(const DamagePlace &place, uint32_t seed) {
    RandomSource random(seed);
    Bytes block(place.block_size);
    for (uint8_t &byte : block)
        byte = static_cast<uint8_t>(random.below(256));
    replace_block(place.path, place.block_size, place.block, block);
}

void redirect_extent_map(const DamagePlace &place, uint32_t next) {
    change_block(place, [&](Bytes &block) {
        patch_block(block, extent_map_offset(block.front()) + NEXT_MAP, le32(next));
    });
}

void copy_with_checkpoint(const std::filesystem::path &from, const std::filesystem::path &to,
                          size_t block_size, uint64_t checkpoint_scn) {
    std::filesystem::copy_file(from, to);
    Bytes scn = le32(static_cast<uint32_t>(checkpoint_scn));
    append_le16(scn, static_cast<uint16_t>(checkpoint_scn >> 32));
    patch_file(to, block_size, 1, HEADER_CHECKPOINT_SCN, scn);
}

} // namespace sample
