#include "rescue/lob_segment.h"

#include <algorithm>

namespace vexlo {

namespace {

uint32_t data_object_of(const Dictionary &dictionary, uint32_t object) {
    const ObjectRecord *record = dictionary.object(object);
    return record != nullptr ? record->data_object : 0;
}

// A LOB index lies in the tablespace of its LOB segment. Where its own record is lost, its blocks have to be
// looked for there.
SegmentRef lost_index(const Dictionary &dictionary, uint32_t tablespace, uint32_t object) {
    return {tablespace, 0, 0, object, data_object_of(dictionary, object), true};
}

SegmentRef index_of(const Dictionary &dictionary, const LobRecord &lob) {
    const IndexRecord *index = dictionary.index(lob.index_object);
    if (index == nullptr)
        return lost_index(dictionary, lob.tablespace, lob.index_object);
    return {index->tablespace, index->file, index->block, index->object, index->data_object};
}

SegmentRef index_partition_of(const Dictionary &dictionary, const LobRecord &lob,
                              const LobFragmentRecord &fragment) {
    const IndexPartitionRecord *part = dictionary.index_partition(lob.index_object, fragment.index_fragment);
    if (part == nullptr)
        return lost_index(dictionary, fragment.tablespace, fragment.index_fragment);
    return {part->tablespace, part->file, part->block, part->object, part->data_object};
}

// LOB$.FLAGS of SecureFiles.
constexpr uint32_t COMPRESS_LOW = 0x2000;
constexpr uint32_t DEDUPLICATE = 0x10000 | 0x20000;

// A chunk has at most 32 KiB; a larger number is damage, and blocks are taken one by one.
constexpr uint32_t MOST_CHUNK_BLOCKS = 64;

LobPlaces places_of(const LobRecord &lob, const SegmentRef &data, const SegmentRef &index, uint32_t chunk) {
    const bool sound = chunk != 0 && chunk <= MOST_CHUNK_BLOCKS;
    LobPlaces places{data, index, sound ? chunk : 1, true};
    places.compress_low = (lob.flags & COMPRESS_LOW) != 0;
    places.deduplicated = (lob.flags & DEDUPLICATE) != 0;
    return places;
}

LobPlaces whole_column(const Dictionary &dictionary, const LobRecord &lob) {
    const SegmentRef data{lob.tablespace, lob.file, lob.block, lob.lob_object,
                          data_object_of(dictionary, lob.lob_object)};
    return places_of(lob, data, index_of(dictionary, lob), lob.chunk);
}

LobPlaces one_fragment(const Dictionary &dictionary, const LobRecord &lob,
                       const LobFragmentRecord &fragment) {
    const SegmentRef data{fragment.tablespace, fragment.file, fragment.block, fragment.fragment,
                          data_object_of(dictionary, fragment.fragment)};
    return places_of(lob, data, index_partition_of(dictionary, lob, fragment), fragment.chunk);
}

// Subpartitions' LOB segments hang below those of the composite partitions.
const LobFragmentRecord *find_fragment(const Dictionary &dictionary, uint32_t parent,
                                       uint32_t table_fragment) {
    for (const LobFragmentRecord &fragment : dictionary.lob_fragments(parent)) {
        if (fragment.table_fragment == table_fragment)
            return &fragment;
        for (const LobFragmentRecord &sub : dictionary.lob_fragments(fragment.fragment))
            if (sub.table_fragment == table_fragment)
                return &sub;
    }
    return nullptr;
}

} // namespace

LobPlaces find_lob_places(const Dictionary &dictionary, uint32_t table, uint32_t internal_column,
                          uint32_t table_fragment) {
    for (const LobRecord &lob : dictionary.lobs(table)) {
        if (lob.internal_column != internal_column)
            continue;
        if (table_fragment == table)
            return whole_column(dictionary, lob);
        const LobFragmentRecord *fragment = find_fragment(dictionary, lob.lob_object, table_fragment);
        return fragment != nullptr ? one_fragment(dictionary, lob, *fragment) : LobPlaces{};
    }
    return {};
}

LobSegment::LobSegment(const FileSet &files, const ScanIndexes &scans, const LobPlaces &places,
                       ReadOptions options, RowOrder order)
    : files_(files), scans_(scans), places_(places), options_(options) {
    for (const Datafile *file : files.scanned(places.data.tablespace)) {
        block_size_ = block_size_ == 0 ? file->block_size() : block_size_;
        tablespace_bytes_ += file->size();
    }
    budget_ = std::make_unique<LobBudget>(tablespace_bytes_, order);
}

const LobIndex &LobSegment::index() const {
    std::call_once(index_made_,
                   [&] { index_ = std::make_unique<LobIndex>(files_, scans_, places_.index, options_); });
    return *index_;
}

const LobScan &LobSegment::scan() const {
    std::call_once(scan_made_, [&] {
        const uint32_t object = SegmentRuns(files_, scans_, places_.data, options_).data_object();
        const uint32_t tablespace = places_.data.tablespace;
        scan_ = std::make_unique<LobScan>(scans_.of(tablespace), tablespace, object, options_);
    });
    return *scan_;
}

} // namespace vexlo
