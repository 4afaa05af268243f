#include "rescue/unload.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

#include "rescue/pipeline.h"
#include "rescue/row_reader.h"
#include "rescue/stop.h"
#include "values/datetime.h"
#include "values/text_scan.h"

namespace vexlo {

namespace {

constexpr size_t BATCH_LIMIT = 8 << 20; // bytes of rows that one run of blocks may hold back

// A piece of text as a stored value, with the slack that decoders read beyond it.
class ReadyText {
public:
    void set(std::string text) {
        text_ = std::move(text);
        text_.append(READ_SLACK, '\0');
    }
    Field field() const {
        return {FieldKind::value,
                static_cast<uint32_t>(text_.size() - READ_SLACK),
                {reinterpret_cast<const uint8_t *>(text_.data())}};
    }

private:
    std::string text_ = std::string(READ_SLACK, '\0');
};

constexpr size_t SUSPECT_COLUMNS = 3;

// The table of the rows that cannot be trusted: where each was found and why it is there, then its columns.
Table suspect_table(const Table &table) {
    Table suspects = table;
    suspects.name += ".suspect";
    UniqueNames names;
    for (const Column &column : table.columns)
        names.take(column.name);
    const auto leading = [&](const char *name, ColumnKind kind) {
        return Column{names.take(name), kind, false, 0, 0};
    };
    const Column columns[SUSPECT_COLUMNS] = {leading("_BLOCK", ColumnKind::ready_text),
                                             leading("_SLOT", ColumnKind::ready_integer),
                                             leading("_REASON", ColumnKind::ready_text)};
    suspects.columns.insert(suspects.columns.begin(), std::begin(columns), std::end(columns));
    return suspects;
}

// The outputs of one kind of rows.
class RowOutput {
public:
    RowOutput(const Table &table, const UnloadContext &context, const std::string &stem)
        : table_(table), context_(context), stem_(stem) {}

    const Table &table() const { return table_; }
    // Opens the outputs. While several threads work, by the one alone whose turn it is to write.
    void open() {
        output_ = context_.outputs.open(table_, stem_);
        is_open_ = true;
    }
    bool is_open() const { return is_open_; }
    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const {
        return output_->writer().formatter(decoder);
    }
    void write(RowBatch &batch, TableReport &report) {
        if (batch.rows == 0 && batch.bytes.empty())
            return;
        null_values_ += batch.losses.count();
        batch.losses.shift(rows_);
        batch.losses.tell(report);
        rows_ += batch.rows;
        output_->writer().write(batch);
    }
    // Appends the outputs to those of the entry.
    void finish(TableEntry &entry) {
        if (output_ != nullptr)
            output_->finish(entry.outputs);
    }
    uint64_t rows() const { return rows_; }
    uint64_t null_values() const { return null_values_; }

private:
    Table table_;
    const UnloadContext &context_;
    std::string stem_;
    std::unique_ptr<TableOutput> output_;
    std::atomic<bool> is_open_ = false;
    uint64_t rows_ = 0;
    uint64_t null_values_ = 0;
};

// A run of blocks on its way through the threads.
struct RunItem {
    std::unique_ptr<uint8_t[]> buffer;
    LoadedRun run;
    uint64_t blocks = 0; // that have not been counted yet
    SegmentTally tally;
    RowBatch rows;
    RowBatch suspects;
};

// What one thread needs to turn runs into batches.
class UnloadWorker {
public:
    UnloadWorker(const UnloadContext &context, RowOutput &main, RowOutput &suspect)
        : main_decoder_(main.table(), context.charsets), suspect_decoder_(suspect.table(), context.charsets),
          main_formatter_(main.formatter(main_decoder_)), suspect_(suspect),
          suspect_fields_(suspect.table().columns.size()) {}

    void open_segment(const RowSource &source) { reader_.emplace(source); }
    RowCounts close_segment() {
        const RowCounts counts = reader_ ? reader_->counts() : RowCounts{};
        reader_.reset();
        return counts;
    }

    template <class FLUSH>
    void work(RunItem &item, FLUSH &&flush) {
        item.rows.spill = item.suspects.spill = [&](RowBatch &) { flush(); };
        reader_->read(item.run, item.tally, [&](const RescuedRow &row) {
            if (row.is_suspect())
                take_suspect(row, item.suspects, flush);
            else
                take_row(row, item.rows);
            if (item.rows.bytes.size() + item.suspects.bytes.size() > BATCH_LIMIT)
                flush();
        });
    }

    void merge(UnloadWorker &other) {
        main_decoder_.merge(std::move(other.main_decoder_));
        suspect_decoder_.merge(std::move(other.suspect_decoder_));
    }
    const CellDecoder &main_decoder() const { return main_decoder_; }
    const CellDecoder &suspect_decoder() const { return suspect_decoder_; }

private:
    void take_row(const RescuedRow &row, RowBatch &batch) {
        main_formatter_->format({batch.rows + 1, row.row.offset, row.row.fields}, batch);
    }

    // The first suspect row opens its output, at its own place in the order of all rows, so that what is
    // written does not depend on the number of threads.
    template <class FLUSH>
    void open_suspects(FLUSH &&flush) {
        if (!suspect_.is_open())
            flush();
        if (!suspect_.is_open())
            suspect_.open();
        suspect_formatter_ = suspect_.formatter(suspect_decoder_);
    }

    template <class FLUSH>
    void take_suspect(const RescuedRow &row, RowBatch &batch, FLUSH &&flush) {
        if (suspect_formatter_ == nullptr)
            open_suspects(flush);
        block_.set(std::to_string(row.relative_file) + "/" + std::to_string(row.block));
        slot_.set(std::to_string(row.slot));
        reason_.set(std::string(fault_text(row.fault)));
        suspect_fields_[0] = block_.field();
        suspect_fields_[1] = slot_.field();
        suspect_fields_[2] = reason_.field();
        std::copy_n(row.row.fields, suspect_fields_.size() - SUSPECT_COLUMNS,
                    suspect_fields_.begin() + SUSPECT_COLUMNS);
        suspect_formatter_->format({batch.rows + 1, row.row.offset, suspect_fields_.data()}, batch);
    }

    CellDecoder main_decoder_, suspect_decoder_;
    std::unique_ptr<RowFormatter> main_formatter_, suspect_formatter_;
    RowOutput &suspect_;
    std::optional<RowReader> reader_;
    std::vector<Field> suspect_fields_;
    ReadyText block_, slot_, reason_;
};

TableLayout layout_of(const UnloadContext &context, const PlannedTable &planned) {
    TableLayout layout = make_layout(context.dictionary, *planned.table, context.options.hidden);
    int minutes;
    if (parse_offset(std::string(context.dictionary.property("DBTIMEZONE")).c_str(), minutes))
        layout.table.local_zone = minutes;
    return layout;
}

class TableUnload {
public:
    TableUnload(const UnloadContext &context, const PlannedTable &planned)
        : context_(context), planned_(planned), layout_(layout_of(context, planned)),
          main_(layout_.table, context, planned.stem),
          suspect_(suspect_table(layout_.table), context, planned.suspect_stem), report_(context.console),
          table_report_(report_, planned.owner, planned.name) {}

    TableEntry run() {
        main_.open();
        workers_.push_back(std::make_unique<UnloadWorker>(context_, main_, suspect_));
        for (const TableSegment &segment : planned_.segments)
            unload_segment(segment.segment);
        return finish();
    }

private:
    void unload_segment(const SegmentRef &segment) {
        SegmentRuns runs(context_.files, context_.scans, segment, context_.options.reading);
        BlockRun first;
        if (runs.next(first)) {
            const size_t threads = is_small(runs, first) ? 1 : context_.options.jobs;
            open_workers(segment, runs, threads);
            run_threads(runs, first, threads);
            for (const auto &worker : workers_)
                counts_ += worker->close_segment();
        }
        tally_.add(runs.tally());
    }

    // Whether the first run is all there is: more than one thread would have nothing to do.
    static bool is_small(const SegmentRuns &runs, const BlockRun &first) {
        return !runs.was_scanned() && runs.blocks_known() <= first.count;
    }

    void open_workers(const SegmentRef &segment, const SegmentRuns &runs, size_t threads) {
        while (workers_.size() < threads)
            workers_.push_back(std::make_unique<UnloadWorker>(context_, main_, suspect_));
        for (const auto &worker : workers_)
            worker->open_segment({context_.files, layout_, segment.tablespace, segment.object,
                                  runs.data_object(), &context_.dictionary, context_.options.reading,
                                  context_.options.output});
    }

    void run_threads(SegmentRuns &runs, const BlockRun &first, size_t threads) {
        bool started = false;
        const auto source = [&](RunItem &item) {
            check_stop();
            BlockRun run = first;
            if (std::exchange(started, true) && !runs.next(run))
                return false;
            if (item.buffer == nullptr)
                item.buffer.reset(new uint8_t[SegmentRuns::RUN_BYTES + RUN_SLACK]);
            item.run = load_run(run, item.buffer.get());
            item.blocks = run.count;
            return true;
        };
        const auto work = [&](size_t worker, RunItem &item, auto &&flush) {
            workers_[worker]->work(item, flush);
        };
        const auto sink = [&](RunItem &item) {
            main_.write(item.rows, table_report_);
            suspect_.write(item.suspects, table_report_);
            tally_.add(item.tally);
            item.tally = {};
            context_.progress.update(std::exchange(item.blocks, 0));
        };
        run_pipeline<RunItem>(threads, source, work, sink);
    }

    TableEntry finish() {
        TableEntry entry = empty_entry(planned_);
        for (size_t i = 1; i < workers_.size(); ++i)
            workers_[0]->merge(*workers_[i]);
        workers_[0]->main_decoder().finish(table_report_);
        if (suspect_.rows() > 0)
            workers_[0]->suspect_decoder().finish(table_report_);
        table_report_.finish();
        tally_.coalesce();
        main_.finish(entry);
        suspect_.finish(entry);
        fill(entry);
        return entry;
    }

    void fill(TableEntry &entry) const {
        entry.rows = main_.rows();
        entry.suspect_rows = suspect_.rows();
        entry.null_values =
            main_.null_values() + suspect_.null_values() + counts_.lost_defaults + counts_.encrypted_values;
        entry.blocks = {tally_.counts.data, tally_.counts.unformatted, tally_.counts.foreign,
                        tally_.counts.older};
        for (const Loss &loss : tally_.losses)
            entry.losses.push_back({std::string(loss_text(loss.kind)),
                                    loss.file != 0 ? loss.file : loss.relative_file, loss.block,
                                    loss.blocks});
        const std::string reason = reason_text(entry);
        const bool complete = reason.empty() && report_.exit_status() == EXIT_CONVERTED;
        entry.status = complete ? TableStatus::complete : TableStatus::partial;
        if (!complete)
            entry.reason = reason.empty() ? "some values could not be taken as they are" : reason;
    }

    // What keeps the table from being complete; empty when nothing does.
    std::string reason_text(const TableEntry &entry) const {
        uint64_t lost = 0;
        for (const LossEntry &loss : entry.losses)
            lost += loss.blocks;
        std::string text;
        const auto add = [&](uint64_t count, const char *what) {
            if (count > 0)
                text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + what;
        };
        add(lost, "blocks lost");
        add(entry.suspect_rows, "suspect rows");
        add(tally_.counts.compressed, "compressed blocks not recovered");
        add(tally_.counts.encrypted, "encrypted blocks not recovered");
        add(entry.null_values, "values lost");
        return text;
    }

    const UnloadContext &context_;
    const PlannedTable &planned_;
    TableLayout layout_;
    RowOutput main_, suspect_;
    Report report_;
    TableReport table_report_;
    std::vector<std::unique_ptr<UnloadWorker>> workers_;
    SegmentTally tally_;
    RowCounts counts_;
};

} // namespace

TableEntry empty_entry(const PlannedTable &table) {
    TableEntry entry;
    entry.owner = table.owner;
    entry.table = table.name;
    entry.partition = table.partition;
    return entry;
}

TableEntry unload_table(const UnloadContext &context, const PlannedTable &table) {
    if (table.obstacle != Obstacle::none && table.obstacle != Obstacle::no_storage) {
        TableEntry entry = empty_entry(table);
        entry.status = TableStatus::skipped;
        entry.reason = obstacle_text(table.obstacle);
        return entry;
    }
    return TableUnload(context, table).run();
}

} // namespace vexlo
