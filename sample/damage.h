// What goes wrong with datafiles, done on purpose to files that are finished.
#pragma once

#include "datafile.h"

namespace sample {

// A block of a file whose blocks all have one size.
struct DamagePlace {
    std::filesystem::path path;
    size_t block_size = 8192;
    uint32_t block = 0;
};

// All functions throw std::runtime_error when the file refuses.

// One bit of the body is another; header and tail stay.
void damage_check_value(const DamagePlace &place);

// The end of the block is that of an older version: the tail does not go with the header. The check value is
// right.
void tear_block(const DamagePlace &place);

// The block says that it is another one. Everything else about it is right.
void misplace_block(const DamagePlace &place, uint32_t rdba);

// Never formatted, or lost.
void zero_block(const DamagePlace &place);

// Bytes that are nothing, made from the seed.
void overwrite_block(const DamagePlace &place, uint32_t seed);

// Makes `next` the map block that follows a segment header or extent map block; the block itself for a loop.
void redirect_extent_map(const DamagePlace &place, uint32_t next);

// Copies a file as a backup has it: the same file with a checkpoint of its own.
void copy_with_checkpoint(const std::filesystem::path &from, const std::filesystem::path &to,
                          size_t block_size, uint64_t checkpoint_scn);

} // namespace sample
