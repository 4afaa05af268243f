#include "rescue/sample_table.h"

#include <algorithm>
#include <memory>

#include "format/cache_header.h"
#include "rescue/row_reader.h"
#include "rescue/stop.h"

namespace vexlo {

namespace {

uint64_t count_blocks(SegmentRuns &runs) {
    uint64_t blocks = 0;
    for (BlockRun run; runs.next(run);)
        blocks += run.count;
    return blocks;
}

uint64_t value_size(const Field &field) {
    switch (field.kind) {
    case FieldKind::value:
        return field.size;
    case FieldKind::stream:
        return stream_size(*field.stream);
    default:
        return 0;
    }
}

class SegmentSampler {
public:
    SegmentSampler(const OpenDatabase &database, const SegmentRef &segment, const TableLayout &layout,
                   const ReadOptions &reading, std::shared_ptr<BlockBudget> budget)
        : database_(database), segment_(segment), layout_(layout), reading_(reading),
          budget_(std::move(budget)), budget_again_(std::make_shared<BlockBudget>(*budget_)) {}

    // Adds what the segment holds to `sample`.
    void run(TableSample &sample) {
        SegmentRuns runs(database_.files, database_.scans, segment_, reading_, budget_);
        const uint64_t blocks = count_blocks(runs);
        sample.tally.add(runs.tally());
        sample.blocks += blocks;
        if (blocks == 0)
            return;
        RowReader reader({database_.files,
                          layout_,
                          segment_.tablespace,
                          segment_.object,
                          runs.data_object(),
                          &database_.dictionary,
                          reading_,
                          {}});
        step_ = std::max<uint64_t>(1, blocks / SAMPLED_BLOCKS);
        read_steps(reader, sample.tally);
        const auto whole = [&](uint64_t part) { return part * blocks / sampled_; };
        sample.sampled += sampled_;
        sample.rows += whole(rows_);
        sample.bytes += whole(bytes_);
        sample.suspect += reader.counts().suspect;
    }

private:
    // Reads every step_th block.
    void read_steps(RowReader &reader, SegmentTally &tally) {
        SegmentRuns runs(database_.files, database_.scans, segment_, reading_, budget_again_);
        uint64_t next = 0, at = 0; // counted over the blocks of the segment
        for (BlockRun run; runs.next(run); at += run.count)
            for (; next < at + run.count; next += step_) {
                BlockRun one = run;
                one.first += next - at;
                one.count = 1;
                read_block(reader, one, tally);
            }
    }

    void read_block(RowReader &reader, const BlockRun &block, SegmentTally &tally) {
        ++sampled_;
        reader.read(load_run(block, buffer_.get()), tally, [&](const RescuedRow &row) {
            ++rows_;
            for (size_t i = 0; i < layout_.table.columns.size(); ++i)
                bytes_ += value_size(row.row.fields[i]);
        });
    }

    const OpenDatabase &database_;
    const SegmentRef &segment_;
    const TableLayout &layout_;
    const ReadOptions &reading_;
    const std::shared_ptr<BlockBudget> budget_, budget_again_; // of either way through the segment: the same
    std::unique_ptr<uint8_t[]> buffer_{new uint8_t[LARGEST_BLOCK_SIZE + RUN_SLACK]};
    uint64_t step_ = 1, sampled_ = 0, rows_ = 0, bytes_ = 0;
};

} // namespace

TableSample sample_table(const OpenDatabase &database, const PlannedTable &table, const TableLayout &layout,
                         const ReadOptions &reading, BlockBudgets &budgets) {
    TableSample sample;
    for (const TableSegment &segment : table.segments)
        SegmentSampler(database, segment.segment, layout, reading,
                       budgets.of(segment.segment.tablespace, table.table->cluster != 0))
            .run(sample);
    sample.tally.coalesce();
    return sample;
}

} // namespace vexlo
