#include "rescue/segment_owners.h"

#include <algorithm>
#include <functional>

namespace vexlo {

namespace {

// Calls visit(segment, object number) for every segment that the dictionary knows.
template <class VISIT>
void visit_segments(const Dictionary &dictionary, VISIT &&visit) {
    const auto visit_record = [&](const auto &record) {
        visit({record.tablespace, record.file, record.block, record.object, record.data_object},
              record.object);
    };
    const auto visit_lob = [&](const auto &record, uint32_t object) {
        const ObjectRecord *lob = dictionary.object(object);
        visit({record.tablespace, record.file, record.block, object, lob != nullptr ? lob->data_object : 0},
              object);
    };
    for (const TableRecord &table : dictionary.tables())
        if (table.cluster == 0)
            for (const TableSegment &segment : dictionary.segments(table))
                visit(segment.segment, table.object);
    std::ranges::for_each(dictionary.clusters(), visit_record);
    std::ranges::for_each(dictionary.indexes(), visit_record);
    std::ranges::for_each(dictionary.index_partitions(), visit_record);
    for (const LobRecord &lob : dictionary.lobs())
        visit_lob(lob, lob.lob_object);
    for (const LobFragmentRecord &fragment : dictionary.lob_fragments())
        visit_lob(fragment, fragment.fragment);
}

bool is_before(const OwnedRange &range, const Datafile *file, uint64_t block) {
    return range.file != file ? std::less<>()(range.file, file)
                              : range.range.first + range.range.blocks <= block;
}

// A part of a range that belongs to an object.
struct Claim {
    size_t range;
    uint64_t first, end;
    uint32_t object;
};

class Claims {
public:
    explicit Claims(const std::vector<OwnedRange> &ranges) : ranges_(ranges) {}

    // `run` belongs to `object`.
    void add(const BlockRun &run, uint32_t object) {
        const uint64_t end = run.first + run.count;
        auto range = std::lower_bound(ranges_.begin(), ranges_.end(), run,
                                      [](const OwnedRange &one, const BlockRun &other) {
                                          return is_before(one, other.file, other.first);
                                      });
        for (; range != ranges_.end() && range->file == run.file && range->range.first < end; ++range)
            claims_.push_back({static_cast<size_t>(range - ranges_.begin()),
                               std::max(range->range.first, run.first),
                               std::min(range->range.first + range->range.blocks, end), object});
    }

    // By range and block; of two claims on a block the first counts.
    std::vector<Claim> take() {
        std::ranges::stable_sort(claims_, [](const Claim &one, const Claim &other) {
            return std::tie(one.range, one.first) < std::tie(other.range, other.first);
        });
        return std::move(claims_);
    }

private:
    const std::vector<OwnedRange> &ranges_;
    std::vector<Claim> claims_;
};

class Splitter {
public:
    Splitter(const std::vector<OwnedRange> &ranges, const Dictionary &dictionary)
        : ranges_(ranges), dictionary_(dictionary) {}

    std::vector<OwnedRange> split(const std::vector<Claim> &claims) {
        auto claim = claims.begin();
        for (size_t i = 0; i < ranges_.size(); ++i) {
            uint64_t at = ranges_[i].range.first;
            for (; claim != claims.end() && claim->range == i; ++claim) {
                put(ranges_[i], at, claim->first, "");
                put(ranges_[i], std::max(at, claim->first), claim->end, name(claim->object));
                at = std::max(at, claim->end);
            }
            put(ranges_[i], at, ranges_[i].range.first + ranges_[i].range.blocks, "");
        }
        return std::move(parts_);
    }

private:
    std::string name(uint32_t object) const {
        return dictionary_.owner_name(object) + "." + dictionary_.object_name(object);
    }

    // Puts the blocks from `first` to before `end` of a range, joined with the part in front where they
    // touch.
    void put(const OwnedRange &range, uint64_t first, uint64_t end, const std::string &owner) {
        if (first >= end)
            return;
        if (!parts_.empty() && parts_.back().file == range.file && parts_.back().owner == owner &&
            parts_.back().range.health == range.range.health &&
            parts_.back().range.first + parts_.back().range.blocks == first)
            parts_.back().range.blocks += end - first;
        else
            parts_.push_back({range.file, {first, end - first, range.range.health}, owner});
    }

    const std::vector<OwnedRange> &ranges_;
    const Dictionary &dictionary_;
    std::vector<OwnedRange> parts_;
};

} // namespace

std::vector<OwnedRange> name_owners(std::vector<OwnedRange> ranges, const FileSet &files,
                                    const ScanIndexes &scans, const Dictionary &dictionary) {
    std::ranges::sort(ranges, [](const OwnedRange &one, const OwnedRange &other) {
        return one.file != other.file ? std::less<>()(one.file, other.file)
                                      : one.range.first < other.range.first;
    });
    Claims claims(ranges);
    BlockBudgets budgets(files);
    visit_segments(dictionary, [&](const SegmentRef &segment, uint32_t object) {
        if (!segment.has_storage())
            return;
        SegmentRuns runs(files, scans, segment, {}, budgets.of(segment.tablespace));
        for (BlockRun run; runs.next(run);)
            claims.add(run, object);
    });
    return Splitter(ranges, dictionary).split(claims.take());
}

} // namespace vexlo
