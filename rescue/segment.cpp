#include "rescue/segment.h"

#include <algorithm>
#include <cstring>
#include <map>
#include <set>

#include "format/block_address.h"
#include "format/extent_map.h"
#include "rescue/block_set.h"
#include "rescue/stop.h"

namespace vexlo {

namespace {

// What of an extent its file holds.
struct Extent {
    const Datafile *file = nullptr;
    uint64_t first = 0;
    uint64_t left = 0;
};

// Goes through two lists of ranges, each sorted by file and block, in the common order.
class MergedRanges {
public:
    MergedRanges() = default;
    MergedRanges(std::span<const ScanRange> a, std::span<const ScanRange> b) : a_(a), b_(b) {}

    const ScanRange *next() {
        if (a_.empty() && b_.empty())
            return nullptr;
        std::span<const ScanRange> &from =
            b_.empty() || (!a_.empty() && is_before(a_.front(), b_.front())) ? a_ : b_;
        const ScanRange *range = &from.front();
        from = from.subspan(1);
        return range;
    }

private:
    static bool is_before(const ScanRange &a, const ScanRange &b) {
        const uint32_t left = a.file->identity().relative_file, right = b.file->identity().relative_file;
        return left != right ? left < right : a.first < b.first;
    }

    std::span<const ScanRange> a_;
    std::span<const ScanRange> b_;
};

} // namespace

BlockBudget::BlockBudget(const FileSet &files, uint32_t tablespace, uint64_t times) : mapped(0) {
    for (const Datafile *file : files.scanned(tablespace))
        mapped += 2 * times * file->blocks();
    scanned = mapped;
}

const std::shared_ptr<BlockBudget> &BlockBudgets::of(uint32_t tablespace, bool is_cluster) {
    std::shared_ptr<BlockBudget> &budget = budgets_[{tablespace, is_cluster}];
    if (!budget)
        budget = std::make_shared<BlockBudget>(*files_, tablespace, is_cluster ? CLUSTER_TABLES : 1);
    return budget;
}

BlockBudgets BlockBudgets::copy() const {
    BlockBudgets copied(*files_);
    for (const auto &[segments, budget] : budgets_)
        copied.budgets_.emplace(segments, std::make_shared<BlockBudget>(*budget));
    return copied;
}

class SegmentRuns::State {
public:
    State(const FileSet &files, const ScanIndexes &scans, const SegmentRef &segment, ReadOptions options,
          std::shared_ptr<BlockBudget> budget)
        : files_(files), scans_(scans), segment_(segment), options_(options),
          reader_(files, options.trust_blocks), object_(segment.data_object), budget_(std::move(budget)) {
        if (!budget_)
            budget_ = std::make_shared<BlockBudget>(files, segment.tablespace);
        lost_ = options_.ignore_maps || segment_.unplaced;
        maps_left_ = !lost_ && segment_.has_storage();
        next_map_ = maps_left_ ? make_rdba(segment_.file, segment_.block) : 0;
    }

    bool next(BlockRun &run) {
        run = {};
        while (run.file == nullptr || (run.count < most_blocks(run) && continues(run))) {
            if (extent_.left != 0)
                take_blocks(run);
            else if (!find_extent())
                break;
        }
        given_ += run.count;
        return run.count != 0;
    }

    uint32_t data_object() {
        if (object_ == 0)
            learn_object();
        return object_;
    }
    bool was_scanned() const { return scanning_; }
    const SegmentTally &tally() const { return tally_; }
    uint64_t given() const { return given_; }
    uint64_t known() const { return known_; }

private:
    static uint32_t most_blocks(const BlockRun &run) { return RUN_BYTES / run.file->block_size(); }

    // Whether the extent at hand goes on where the run ends. At the end of an extent the next one is looked
    // for.
    bool continues(const BlockRun &run) {
        if (extent_.left == 0 && !find_extent())
            return false;
        return extent_.file == run.file && extent_.first == run.first + run.count && scanning_ == run.scanned;
    }

    // Moves blocks that did not come yet from the extent to the run, as long as they follow each other.
    void take_blocks(BlockRun &run) {
        BlockSet &seen = seen_[extent_.file];
        for (; extent_.left != 0; ++extent_.first, --extent_.left) {
            if (run.count != 0 && (run.count == most_blocks(run) || extent_.first != run.first + run.count))
                return;
            if (!seen.add(extent_.first))
                continue;
            if (run.count++ == 0)
                run = {extent_.file, extent_.first, 1, scanning_};
        }
    }

    // The next extent that a file holds something of.
    bool find_extent() {
        while (extent_.left == 0) {
            if (entry_ < map_.count)
                open_extent(map_.entries + EXTMAP_SIZE * entry_++);
            else if (maps_left_)
                open_map();
            else if (lost_ && !scanning_)
                begin_scan();
            else if (!scanning_ || !open_range())
                return false;
        }
        return true;
    }

    Loss loss_at(LossKind kind, const BlockPlace &place, uint32_t rdba, uint64_t blocks) const {
        const bool known = place.file != nullptr;
        return {kind,
                segment_.tablespace,
                known ? place.file->identity().file : 0,
                known ? place.file->identity().relative_file : rdba_file(rdba),
                place.block,
                blocks};
    }

    void open_extent(const uint8_t *entry) {
        const uint32_t rdba = load_le32(entry + EXT_DBA), claimed = load_le32(entry + EXT_LEN);
        if (rdba == 0) // no extent begins there: the map claims entries that were never filled
            return end_maps();
        const BlockPlace place = files_.find(segment_.tablespace, rdba);
        const bool bigfile = place.file != nullptr && place.file->identity().bigfile;
        const uint64_t reach = (bigfile ? uint64_t{1} << 32 : RDBA_BLOCK_MASK + 1) - place.block;
        const uint64_t blocks = std::min<uint64_t>(claimed, reach);
        known_ += blocks;
        if (place.file == nullptr) {
            tally_.add_loss(loss_at(LossKind::missing_file, place, rdba, blocks));
            return;
        }
        const uint64_t end = place.file->blocks();
        const uint64_t held = place.block < end ? std::min(blocks, end - place.block) : 0;
        if (held < blocks)
            tally_.add_loss(
                loss_at(LossKind::unreadable, {place.file, place.block + held}, rdba, blocks - held));
        if (!spend(budget_->mapped, held))
            return end_maps();
        extent_ = {place.file, place.block, held};
    }

    // Counts blocks that the segment is led to. False when they are more than are left.
    static bool spend(uint64_t &left, uint64_t blocks) {
        if (blocks > left)
            return false;
        left -= blocks;
        return true;
    }

    // The map block at hand does not say what it should.
    void lose_map() {
        tally_.add_loss(
            loss_at(LossKind::address, files_.find(segment_.tablespace, map_rdba_), map_rdba_, 1));
        lost_ = true;
    }

    // Leaves the maps from the block at hand on: nothing that they say can be believed.
    void end_maps() {
        lose_map();
        map_ = {};
        maps_left_ = false;
    }

    // Reads the next map block. One that is lost, is no map, or came before ends the chain. It is a block
    // that the segment is led to like those of its extents.
    void open_map() {
        check_stop();
        const uint32_t rdba = map_rdba_ = next_map_;
        maps_left_ = false;
        map_ = {};
        entry_ = 0;
        if (!seen_maps_.insert(rdba).second || !spend(budget_->mapped, 1) || !read_map(rdba)) {
            lost_ = true;
            return;
        }
        next_map_ = map_.next;
        maps_left_ = next_map_ != 0;
        if (map_.cut)
            lose_map();
    }

    bool read_map(uint32_t rdba) {
        const FetchedBlock block = reader_.fetch(segment_.tablespace, rdba);
        if (!block.is_sound()) {
            const LossKind kind = block.health == Health::unformatted ? LossKind::address : block.loss;
            const BlockPlace place = files_.find(segment_.tablespace, rdba);
            tally_.add_loss(loss_at(kind, place, rdba, 1));
            return false;
        }
        map_block_.assign(block.blk.data, block.blk.data + block.blk.bsz);
        const BLOCK copy{map_block_.data(), block.blk.bsz, rdba};
        const bool is_map = locate_extent_map(copy, &map_);
        const uint32_t object = is_map ? extent_map_object(map_) : 0;
        if (object_ == 0)
            object_ = object;
        // A segment has one extent at least, and its header names it.
        const bool is_empty = is_map && seen_maps_.size() == 1 && map_.count == 0 && map_.next == 0;
        if (!is_map || is_empty || (object != object_ && object != 0)) {
            map_ = {};
            tally_.add_loss(loss_at(LossKind::address, files_.find(segment_.tablespace, rdba), rdba, 1));
            return false;
        }
        return true;
    }

    // Takes the data object number from the header or, where that is lost, the object number: they are the
    // same until a segment is truncated or moved.
    void learn_object() {
        if (object_ != 0)
            return;
        EXTENT_MAP map;
        if (segment_.has_storage()) {
            const FetchedBlock block =
                reader_.fetch(segment_.tablespace, make_rdba(segment_.file, segment_.block));
            if (block.is_sound() && locate_extent_map(block.blk, &map))
                object_ = extent_map_object(map);
        }
        if (object_ == 0)
            object_ = segment_.object;
    }

    void begin_scan() {
        scanning_ = true;
        learn_object();
        if (object_ == 0)
            return;
        add_missing_files();
        const ScanIndex &index = scans_.of(segment_.tablespace);
        ranges_ = MergedRanges(index.object(object_), index.beside(object_));
    }

    // Nothing tells whether files that are not there, or not whole, have blocks of the segment.
    void add_missing_files() {
        for (const ExpectedFile &file : files_.missing_of(segment_.tablespace))
            tally_.add_loss(
                {LossKind::missing_file, segment_.tablespace, 0, file.relative_file, 1, file.blocks});
        for (const Datafile *file : files_.tablespace(segment_.tablespace)) {
            const FileIdentity &identity = file->identity();
            if (identity.header_blocks >= file->blocks())
                tally_.add_loss({LossKind::unreadable, segment_.tablespace, identity.file,
                                 identity.relative_file, file->blocks(),
                                 identity.header_blocks + 1 - file->blocks()});
        }
    }

    bool open_range() {
        const ScanRange *range = ranges_.next();
        if (range == nullptr || !spend(budget_->scanned, range->blocks))
            return false;
        extent_ = {range->file, range->first, range->blocks};
        return true;
    }

    const FileSet &files_;
    const ScanIndexes &scans_;
    const SegmentRef segment_;
    const ReadOptions options_;
    BlockReader reader_;
    uint32_t object_;
    std::shared_ptr<BlockBudget> budget_;

    uint32_t next_map_ = 0;
    uint32_t map_rdba_ = 0; // of the map block at hand
    bool maps_left_ = false;
    std::set<uint32_t> seen_maps_;
    std::vector<uint8_t> map_block_;
    EXTENT_MAP map_{};
    uint32_t entry_ = 0;

    bool lost_ = false; // maps do not lead to all of the segment
    bool scanning_ = false;
    MergedRanges ranges_;

    Extent extent_;
    std::map<const Datafile *, BlockSet> seen_;
    SegmentTally tally_;
    uint64_t given_ = 0;
    uint64_t known_ = 0;
};

SegmentRuns::SegmentRuns(const FileSet &files, const ScanIndexes &scans, const SegmentRef &segment,
                         ReadOptions options, std::shared_ptr<BlockBudget> budget)
    : state_(std::make_unique<State>(files, scans, segment, options, std::move(budget))) {}

SegmentRuns::~SegmentRuns() = default;

bool SegmentRuns::next(BlockRun &run) {
    return state_->next(run);
}

uint32_t SegmentRuns::data_object() const {
    return state_->data_object();
}

bool SegmentRuns::was_scanned() const {
    return state_->was_scanned();
}

const SegmentTally &SegmentRuns::tally() const {
    return state_->tally();
}

uint64_t SegmentRuns::blocks_given() const {
    return state_->given();
}

uint64_t SegmentRuns::blocks_known() const {
    return state_->known();
}

LoadedRun load_run(const BlockRun &run, uint8_t *buffer) {
    LoadedRun loaded{run, buffer, {}};
    const size_t bsz = run.file->block_size();
    for (uint32_t done = 0; done < run.count;) {
        const BlockRead read = run.file->read(run.first + done, run.count - done, buffer + done * bsz);
        done += read.blocks;
        if (done < run.count) {
            std::memset(buffer + done * bsz, 0, bsz);
            loaded.unreadable.push_back(done++);
        }
    }
    return loaded;
}

} // namespace vexlo
