#include "rescue/unload.h"

#include <algorithm>
#include <atomic>
#include <optional>
#include <utility>

#include "output/pipeline.h"
#include "rescue/lob_values.h"
#include "rescue/row_reader.h"
#include "rescue/stop.h"
#include "values/datetime.h"
#include "values/errors.h"
#include "values/padded_bytes.h"

namespace vexlo {

namespace {

constexpr size_t BATCH_LIMIT = 8 << 20; // bytes of rows that one run of blocks may hold back

// A piece of text as a stored value.
class ReadyText {
public:
    void set(std::string text) {
        text_ = std::move(text);
        pad(text_);
    }
    Field field() const {
        return {FieldKind::value,
                static_cast<uint32_t>(text_.size()),
                {reinterpret_cast<const uint8_t *>(text_.data())}};
    }

private:
    std::string text_;
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
    // Whether rows go into the outputs at all. They are open.
    bool takes_rows() const { return output_->writer().takes_rows(); }
    std::unique_ptr<RowFormatter> formatter(CellDecoder &decoder) const {
        return output_->writer().formatter(decoder);
    }
    void write(RowBatch &batch, TableReport &report) {
        if (batch.taken() == 0 && batch.bytes.empty() && batch.rejects.empty())
            return;
        null_values_ += batch.losses.count() - batch.rejected_rows();
        batch.number_from(taken());
        batch.losses.tell(report);
        rows_ += batch.rows;
        rejected_rows_ += batch.rejected_rows();
        output_->writer().write(batch);
    }
    // Appends the outputs to those of the entry.
    void finish(TableEntry &entry, TableReport &report) {
        if (output_ == nullptr)
            return;
        output_->finish(entry.outputs);
        output_->writer().tell(report);
    }
    uint64_t rows() const { return rows_; }
    uint64_t rejected_rows() const { return rejected_rows_; } // beside them
    uint64_t taken() const { return rows_ + rejected_rows_; }
    uint64_t null_values() const { return null_values_; }

private:
    Table table_;
    const UnloadContext &context_;
    std::string stem_;
    std::unique_ptr<TableOutput> output_;
    std::atomic<bool> is_open_ = false;
    uint64_t rows_ = 0;
    uint64_t rejected_rows_ = 0;
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
        : context_(context), main_(main), main_decoder_(main.table(), context.charsets),
          suspect_decoder_(suspect.table(), context.charsets), main_formatter_(main.formatter(main_decoder_)),
          suspect_(suspect), suspect_fields_(suspect.table().columns.size()) {}

    // `lobs` are the LOB columns of the segment.
    void open_segment(const RowSource &source, const LobColumns &lobs) {
        reader_.emplace(source);
        if (!lobs.entries().empty())
            lobs_.emplace(lobs, reader_->blocks(), context_.charsets,
                          LobOptions{context_.options.lobs == LobMode::none, context_.options.lob_limit});
    }
    void close_segment(RowCounts &rows, LobCounts &lobs, SegmentTally &tally) {
        if (reader_)
            rows += reader_->counts();
        if (lobs_) {
            lobs += lobs_->counts();
            tally.add(lobs_->lost_blocks());
        }
        lobs_.reset();
        reader_.reset();
    }
    // Where LOBs go that have files of their own: with one worker alone, because files are numbered by row.
    void set_files(LobFiles *main, LobFiles *suspect) {
        main_files_ = main;
        suspect_files_ = suspect;
    }

    template <class FLUSH>
    void work(RunItem &item, FLUSH &&flush) {
        item.rows.spill = item.suspects.spill = [&](RowBatch &) { flush(); };
        reader_->read(item.run, item.tally, [&](const RescuedRow &row) {
            if (lobs_ || row.is_suspect())
                take_doubtful(row, item, flush);
            else
                take_row(row.row, item.rows);
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
    // A row that is suspect, or may become it when its LOBs are read.
    template <class FLUSH>
    void take_doubtful(const RescuedRow &row, RunItem &item, FLUSH &&flush) {
        std::string reason(fault_text(row.fault));
        const Row values = lobs_ ? lobs_->resolve(row.row, reason) : row.row;
        if (reason.empty())
            take_row(values, item.rows);
        else
            take_suspect(row, values, reason, item.suspects, flush);
    }

    void take_row(const Row &row, RowBatch &batch) {
        if (main_files_ != nullptr && lobs_)
            lobs_->move_to_files(*main_files_, main_.taken() + batch.taken() + 1);
        main_formatter_->format({batch.taken() + 1, row.offset, row.fields}, batch);
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
    void take_suspect(const RescuedRow &row, const Row &values, const std::string &reason, RowBatch &batch,
                      FLUSH &&flush) {
        if (suspect_formatter_ == nullptr)
            open_suspects(flush);
        if (suspect_files_ != nullptr && lobs_)
            lobs_->move_to_files(*suspect_files_, suspect_.taken() + batch.taken() + 1);
        block_.set(std::to_string(row.relative_file) + "/" + std::to_string(row.block));
        slot_.set(std::to_string(row.slot));
        reason_.set(reason);
        suspect_fields_[0] = block_.field();
        suspect_fields_[1] = slot_.field();
        suspect_fields_[2] = reason_.field();
        const size_t columns = suspect_fields_.size() - SUSPECT_COLUMNS;
        std::copy_n(values.fields, columns, suspect_fields_.begin() + SUSPECT_COLUMNS);
        suspect_formatter_->format({batch.taken() + 1, values.offset, suspect_fields_.data()}, batch);
    }

    const UnloadContext &context_;
    const RowOutput &main_;
    CellDecoder main_decoder_, suspect_decoder_;
    std::unique_ptr<RowFormatter> main_formatter_, suspect_formatter_;
    RowOutput &suspect_;
    std::optional<RowReader> reader_;
    std::optional<LobValues> lobs_; // where the table has LOB columns
    LobFiles *main_files_ = nullptr;
    LobFiles *suspect_files_ = nullptr;
    std::vector<Field> suspect_fields_;
    ReadyText block_, slot_, reason_;
};

// LOBs in files of their own leave texts in their columns, the names of these files.
void name_lob_files(TableLayout &layout) {
    for (const StoredColumn &stored : layout.stored)
        if (stored.is_lob && !stored.is_bfile && stored.output >= 0) {
            Column &column = layout.table.columns[static_cast<size_t>(stored.output)];
            column.kind = ColumnKind::ready_text;
            column.in_file = true;
        }
}

TableLayout layout_of(const RescueOptions &options, const Dictionary &dictionary,
                      const PlannedTable &planned) {
    TableLayout layout = make_layout(dictionary, *planned.table, options.hidden);
    int minutes;
    if (parse_offset(std::string(dictionary.property("DBTIMEZONE")).c_str(), minutes))
        layout.table.local_zone = minutes;
    layout.table.has_lob_data = true;
    if (options.lobs == LobMode::files)
        name_lob_files(layout);
    std::ranges::move(apply_output_names(options.format, layout.table), std::back_inserter(layout.renamed));
    return layout;
}

// Whether the table is one whose rows are looked for at all.
bool is_read(const PlannedTable &table) {
    return table.obstacle == Obstacle::none || table.obstacle == Obstacle::no_storage;
}

class TableUnload {
public:
    // With so many threads at most. The first `known_lines` lines of the table's report have been told
    // before.
    TableUnload(const UnloadContext &context, const PlannedTable &planned, size_t jobs, uint64_t known_lines)
        : context_(context), planned_(planned), jobs_(jobs),
          layout_(layout_of(context.options, context.dictionary, planned)),
          main_(layout_.table, context, planned.stem),
          suspect_(suspect_table(layout_.table), context, planned.suspect_stem), report_(context.console),
          table_report_(report_, planned.owner, planned.name) {
        table_report_.pass_over(known_lines);
    }

    // Throws LimitReached when the table is to be read again by one thread: what it has told by then is what
    // that tells first.
    TableEntry run() {
        tell_names();
        main_.open();
        workers_.push_back(std::make_unique<UnloadWorker>(context_, main_, suspect_));
        open_lob_files();
        if (main_.takes_rows())
            for (const TableSegment &segment : planned_.segments)
                unload_segment(segment);
        return finish();
    }
    uint64_t lines() const { return table_report_.lines(); }

private:
    void tell_names() {
        for (const std::string &text : layout_.renamed)
            table_report_.note(text);
        if (const std::string name = context_.outputs.numbered_name(layout_.table, planned_); !name.empty())
            table_report_.note("is named \"" + printable(name) +
                               "\": there is a table whose name differs at most in case");
    }

    // LOBs in files of their own go below directories that belong to this table alone.
    void open_lob_files() {
        if (context_.options.lobs != LobMode::files || !has_lobs())
            return;
        const auto open = [&](const std::string &stem) {
            std::vector<std::string> columns;
            for (const Column &column : layout_.table.columns)
                columns.push_back(column.name);
            return std::make_unique<LobFiles>(context_.options.output, stem, columns);
        };
        main_files_ = open(planned_.stem);
        suspect_files_ = open(planned_.suspect_stem);
        workers_[0]->set_files(main_files_.get(), suspect_files_.get());
    }

    bool has_lobs() const {
        return std::any_of(layout_.stored.begin(), layout_.stored.end(),
                           [](const StoredColumn &column) { return column.is_lob; });
    }

    void unload_segment(const TableSegment &table_segment) {
        const SegmentRef &segment = table_segment.segment;
        SegmentRuns runs(context_.files, context_.scans, segment, context_.options.reading,
                         context_.budgets.of(segment.tablespace, planned_.table->cluster != 0));
        const std::vector<BlockRun> begin = first_two(runs);
        if (!begin.empty()) {
            // With a single run more than one thread would have nothing to do.
            const size_t threads = begin.size() == 1 || main_files_ != nullptr ? 1 : jobs_;
            const LobColumns lobs(context_.files, context_.scans, context_.dictionary, layout_,
                                  table_segment.object, context_.options.reading, order_of(threads));
            open_workers(segment, runs, lobs, threads);
            run_threads(runs, begin, threads);
            for (const auto &worker : workers_)
                worker->close_segment(counts_, lob_counts_, tally_);
            lobs.add_losses(tally_);
        }
        tally_.add(runs.tally());
    }

    static RowOrder order_of(size_t threads) { return threads == 1 ? RowOrder::kept : RowOrder::any; }

    static std::vector<BlockRun> first_two(SegmentRuns &runs) {
        std::vector<BlockRun> begin;
        for (BlockRun run; begin.size() < 2 && runs.next(run);)
            begin.push_back(run);
        return begin;
    }

    void open_workers(const SegmentRef &segment, const SegmentRuns &runs, const LobColumns &lobs,
                      size_t threads) {
        while (workers_.size() < threads)
            workers_.push_back(std::make_unique<UnloadWorker>(context_, main_, suspect_));
        const auto pieces =
            std::make_shared<PieceBudget>(context_.files, segment.tablespace, order_of(threads));
        for (const auto &worker : workers_)
            worker->open_segment({context_.files, layout_, segment.tablespace, segment.object,
                                  runs.data_object(), &context_.dictionary, context_.options.reading,
                                  context_.options.output, pieces},
                                 lobs);
    }

    // `begin` are the runs that have been taken from the segment.
    void run_threads(SegmentRuns &runs, const std::vector<BlockRun> &begin, size_t threads) {
        size_t taken = 0;
        const auto source = [&](RunItem &item) {
            check_stop();
            BlockRun run;
            if (taken < begin.size())
                run = begin[taken++];
            else if (!runs.next(run))
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
        if (suspect_.taken() > 0)
            workers_[0]->suspect_decoder().finish(table_report_);
        tell_lobs();
        tally_.coalesce();
        for (LobFiles *files : {main_files_.get(), suspect_files_.get()})
            if (files != nullptr)
                files->finish(entry.lobs.files);
        main_.finish(entry, table_report_);
        suspect_.finish(entry, table_report_);
        table_report_.finish();
        fill(entry);
        return entry;
    }

    void tell_lobs() {
        const auto tell = [&](uint64_t count, const char *what) {
            if (count != 0)
                table_report_.loss(std::to_string(count) + " " + what);
        };
        for (size_t i = 0; i < LOB_FAULTS; ++i) {
            const LobCounts::Lost &lost = lob_counts_.lost[i];
            const std::string bytes =
                lost.bytes != 0 ? ", " + std::to_string(lost.bytes) + " bytes are missing" : "";
            if (lost.lobs != 0)
                table_report_.loss(std::to_string(lost.lobs) +
                                   " LOBs are not whole, their rows are suspect: " +
                                   std::string(lob_fault_text(static_cast<LobFault>(i))) + bytes);
        }
        tell(lob_counts_.not_understood, "LOB locators are not understood, their rows are suspect");
        tell(lob_counts_.replaced, "characters of LOBs are not valid, replaced by U+FFFD");
        if (lob_counts_.cut != 0)
            table_report_.note(std::to_string(lob_counts_.cut) + " LOBs are longer than the limit and cut");
    }

    void fill(TableEntry &entry) const {
        entry.rows = main_.rows();
        entry.suspect_rows = suspect_.taken();
        entry.null_values =
            main_.null_values() + suspect_.null_values() + counts_.lost_defaults + counts_.encrypted_values;
        for (const LobCounts::Lost &lost : lob_counts_.lost) {
            entry.lobs.not_whole += lost.lobs;
            entry.lobs.missing_bytes += lost.bytes;
        }
        entry.blocks = {tally_.counts.data, tally_.counts.unformatted, tally_.counts.foreign,
                        tally_.counts.older};
        entry.losses = loss_entries(tally_);
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
        add(context_.dictionary.lost_columns(*planned_.table), "columns lost");
        add(layout_.object_columns, "columns of object types not recovered");
        add(main_.rejected_rows() + suspect_.rejected_rows(), "rows rejected");
        if (text.empty()) // what is lost may have led to them
            add(counts_.stray_pieces(), "pieces of rows whose beginnings are lost");
        for (const std::string &doubt : planned_.doubts())
            text += (text.empty() ? "" : ", ") + doubt;
        return text;
    }

    const UnloadContext &context_;
    const PlannedTable &planned_;
    const size_t jobs_;
    TableLayout layout_;
    RowOutput main_, suspect_;
    Report report_;
    TableReport table_report_;
    std::vector<std::unique_ptr<UnloadWorker>> workers_;
    SegmentTally tally_;
    RowCounts counts_;
    LobCounts lob_counts_;
    std::unique_ptr<LobFiles> main_files_, suspect_files_; // null unless LOBs get files of their own
};

} // namespace

TableEntry empty_entry(const PlannedTable &table) {
    TableEntry entry;
    entry.owner = table.owner;
    entry.table = table.name;
    entry.partition = table.partition;
    return entry;
}

void check_values(const RescueOptions &options, const Dictionary &dictionary, const PlannedTable &table) {
    if (options.format.raw && is_read(table))
        check_raw_text(options.format, layout_of(options, dictionary, table).table,
                       std::string(dictionary.charset()));
}

TableEntry unload_table(const UnloadContext &context, const PlannedTable &table) {
    if (!is_read(table)) {
        TableEntry entry = empty_entry(table);
        entry.status = TableStatus::skipped;
        entry.reason = table.obstacle_reason();
        return entry;
    }
    BlockBudgets budgets = context.budgets.copy();
    std::optional<TableUnload> unload(std::in_place, context, table, context.options.jobs, 0);
    try {
        return unload->run();
    } catch (const LimitReached &) {
    }
    const uint64_t lines = unload->lines();
    unload.reset(); // its outputs go
    context.outputs.roll_back();
    context.budgets = std::move(budgets);
    return TableUnload(context, table, 1, lines).run();
}

} // namespace vexlo
