// The LOB columns of rows: locators become values that a writer can take.
#pragma once

#include <array>
#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "output/cell.h"
#include "rescue/lob_files.h"
#include "rescue/lob_reader.h"
#include "rescue/table_layout.h"
#include "values/row.h"
#include "values/text_decoder.h"

namespace vexlo {

// How LOBs come out.
struct LobOptions {
    bool leave_out = false;        // their columns are empty
    std::optional<uint64_t> limit; // bytes of a value: what is longer is cut, of text with a mark behind it
};

// What stands behind a text that was cut.
constexpr std::string_view LOB_CUT_MARK = "[cut]";

// The LOB columns of one segment of a table, shared by all threads.
class LobColumns {
public:
    // `fragment` is the object number of the segment: the table's, or that of a partition. What is given must
    // outlive the columns. `order` is that of the rows whose LOBs are read.
    LobColumns(const FileSet &files, const ScanIndexes &scans, const Dictionary &dictionary,
               const TableLayout &layout, uint32_t fragment, ReadOptions options, RowOrder order);

    // The output columns that are LOBs, rising.
    struct Entry {
        size_t column;
        StoredColumn stored;
        std::unique_ptr<LobSegment> segment;
    };
    const std::vector<Entry> &entries() const { return entries_; }
    size_t output_columns() const { return output_columns_; }
    // Adds what of the LOB indexes could not be read, as far as they were asked for.
    void add_losses(SegmentTally &tally) const;

private:
    std::vector<Entry> entries_;
    size_t output_columns_;
};

// What is counted while LOBs are read.
struct LobCounts {
    struct Lost {
        uint64_t lobs = 0;
        uint64_t bytes = 0; // known to be missing
    };
    std::array<Lost, LOB_FAULTS> lost = {}; // LOBs that are not whole, by fault
    uint64_t cut = 0;                       // LOBs longer than the limit
    uint64_t replaced = 0;                  // characters that are not valid
    uint64_t not_understood = 0;            // locators

    LobCounts &operator+=(const LobCounts &other);
};

// One a thread.
class LobValues {
public:
    // Longest value that is held in memory; longer ones come in pieces.
    static constexpr size_t HELD_SIZE = 1 << 20;

    // What is given must outlive the values.
    LobValues(const LobColumns &columns, BlockReader &blocks, const TextCharsets &charsets,
              LobOptions options);
    ~LobValues();

    // The row with its LOBs as text, bytes or streams; it holds until the next call. `fault` is set to why
    // one of its LOBs is not whole, and left alone otherwise. Throws LimitReached, see LobBudget.
    Row resolve(const Row &row, std::string &fault);
    // Puts the LOBs of the row resolved last into files; the row has their names then. `number` is that of
    // the row in its output.
    void move_to_files(LobFiles &files, uint64_t number);

    const LobCounts &counts() const { return counts_; }
    // The blocks with data of LOBs that could not be read.
    const SegmentTally &lost_blocks() const { return reader_.lost_blocks(); }

private:
    class Value;

    Field resolve_column(const Field &field, Value &value, std::string &fault);
    LobOutcome read(Value &value, LobLocator &&locator);
    Field keep_text(std::string text);
    Field resolve_bfile(const Field &field);

    LobReader reader_;
    TextDecoder database_;
    TextDecoder national_;
    LobOptions options_;
    std::vector<Field> fields_;
    std::vector<std::unique_ptr<Value>> values_; // of the LOB columns; those of the row resolved last
    std::vector<Value *> shown_;                 // that come out of that row
    std::deque<std::string> texts_;              // of BFILEs and files, the same
    LobCounts counts_;
};

} // namespace vexlo
