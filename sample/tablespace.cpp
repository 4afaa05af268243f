#include "tablespace.h"

#include <stdexcept>

#include "vexlo.h"

namespace sample {

Tablespace::Tablespace(std::vector<DatafileInfo> files) {
    if (files.empty())
        throw std::invalid_argument("a tablespace needs a datafile");
    for (DatafileInfo &info : files)
        files_.push_back(std::make_unique<Datafile>(std::move(info)));
}

uint32_t Tablespace::allocate_extent(uint32_t blocks) {
    Datafile &file = *files_[turn_++ % files_.size()];
    uint32_t block = file.allocate(blocks);
    if (!bigfile() && block + blocks > BLOCK_MASK)
        throw std::length_error("datafile is full: " + file.info().path.string());
    return file.rdba(block);
}

void Tablespace::write_block(uint32_t rdba, ByteView bytes) {
    if (bigfile())
        return files_.front()->write_block(rdba, bytes);
    for (auto &file : files_)
        if (file->info().rfn == rdba >> 22)
            return file->write_block(rdba & BLOCK_MASK, bytes);
    throw std::out_of_range("block address outside the tablespace");
}

void Tablespace::close(uint32_t rootdba) {
    for (auto &file : files_)
        file->close(file->info().fno == 1 ? rootdba : 0);
}

size_t Tablespace::block_size() const {
    return files_.front()->info().block_size;
}

uint32_t Tablespace::tsn() const {
    return files_.front()->info().tsn;
}

bool Tablespace::bigfile() const {
    return files_.front()->info().rfn == BIGFILE_RFN;
}

} // namespace sample
