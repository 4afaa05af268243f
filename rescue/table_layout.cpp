#include "rescue/table_layout.h"

#include <algorithm>
#include <unordered_map>
#include <unordered_set>

#include "output/console.h"
#include "output/names.h"

namespace vexlo {

namespace {

constexpr uint64_t NOT_SHOWN = COLUMN_HIDDEN | COLUMN_DROPPED | COLUMN_UNUSED | COLUMN_VIRTUAL;
constexpr uint32_t MOST_STORED_COLUMNS = 4096; // far more than any table has

bool is_shown(const ColumnRecord &column) {
    return column.column != 0 && (column.property & NOT_SHOWN) == 0;
}

// Values of these types are LOB locators, beside those of columns that are stored as LOBs by property.
bool is_lob(const ColumnRecord &column) {
    return column.type == TYPE_CLOB || column.type == TYPE_BLOB || column.type == TYPE_BFILE ||
           column.type == TYPE_JSON || (column.property & COLUMN_STORED_AS_LOB) != 0;
}

// The columns that come out, as a SELECT * shows them; with `hidden` the others behind them.
std::vector<const ColumnRecord *> output_columns(std::span<const ColumnRecord> columns, bool hidden) {
    std::vector<const ColumnRecord *> shown, others;
    for (const ColumnRecord &column : columns)
        (is_shown(column) ? shown : others).push_back(&column);
    std::stable_sort(shown.begin(), shown.end(),
                     [](const ColumnRecord *a, const ColumnRecord *b) { return a->column < b->column; });
    if (hidden)
        shown.insert(shown.end(), others.begin(), others.end());
    return shown;
}

// Which stored column an output column shows, and the other way round.
class ColumnStorage {
public:
    ColumnStorage(std::span<const ColumnRecord> columns, std::span<const ColumnRecord *const> shown) {
        for (const ColumnRecord &column : columns)
            if (column.column != 0 && column.segment_column != 0 && is_lob(column) &&
                (column.property & COLUMN_HIDDEN) != 0)
                hidden_lobs_.emplace(column.column, &column);
        for (const ColumnRecord &column : columns)
            if (column.column != 0 && column.segment_column != 0 && (column.property & COLUMN_HIDDEN) != 0)
                attributes_.insert(column.column);
        for (size_t i = 0; i < shown.size(); ++i)
            outputs_.emplace(of(*shown[i]), static_cast<int32_t>(i));
    }

    // A column of an object type shows what a hidden column of its number holds, such as the text of an
    // XMLTYPE. Null for a column that is not stored.
    const ColumnRecord *of(const ColumnRecord &column) const {
        if (column.segment_column != 0)
            return &column;
        const auto it = hidden_lobs_.find(column.column);
        return it == hidden_lobs_.end() ? nullptr : it->second;
    }

    // Whether hidden columns hold what a column of an object type is made of.
    bool has_attributes(const ColumnRecord &column) const { return attributes_.contains(column.column); }

    // The first output column that shows a stored one; -1 when none does.
    int32_t output_of(const ColumnRecord &stored) const {
        const auto it = outputs_.find(&stored);
        return it == outputs_.end() ? -1 : it->second;
    }

private:
    std::unordered_map<uint16_t, const ColumnRecord *> hidden_lobs_; // by COL#
    std::unordered_set<uint16_t> attributes_; // COL# of the columns that they belong to
    std::unordered_map<const ColumnRecord *, int32_t> outputs_;
};

class LayoutMaker {
public:
    LayoutMaker(const Dictionary &dictionary, const TableRecord &table, bool hidden)
        : dictionary_(dictionary), table_(table), columns_(dictionary.columns(table.object)),
          shown_(output_columns(columns_, hidden)), storage_(columns_, shown_), hidden_(hidden),
          cluster_(dictionary.cluster(table.cluster)) {}

    TableLayout make() {
        describe();
        place_columns();
        add_defaults();
        return std::move(layout_);
    }

private:
    void describe() {
        layout_.object = table_.object;
        layout_.table.owner = dictionary_.owner_name(table_.object);
        layout_.table.name = dictionary_.object_name(table_.object);
        layout_.all_stored = dictionary_.has_all_columns(table_);
        layout_.cluster_table = table_.cluster != 0 ? table_.cluster_table : 0;
        const uint64_t flags =
            table_.flags | (cluster_ != nullptr && table_.cluster != 0 ? cluster_->flags : 0);
        layout_.dependencies = table_.row_lost                         ? Dependencies::unknown
                               : (flags & FLAGS_ROW_DEPENDENCIES) != 0 ? Dependencies::carried
                                                                       : Dependencies::none;
        UniqueNames names;
        for (const ColumnRecord *column : shown_) {
            const std::string stored = dictionary_.text(column->name);
            const std::string name = names.take(
                stored.empty() ? "COLUMN_" + std::to_string(layout_.table.columns.size() + 1) : stored);
            if (name != stored)
                layout_.renamed.push_back("column \"" + printable(stored) + "\" is named \"" +
                                          printable(name) + "\"");
            const ColumnRecord *storage = storage_.of(*column);
            const ColumnRecord &typed = storage != nullptr ? *storage : *column;
            layout_.table.columns.push_back(described(name, typed));
            if (is_object(*column)) {
                layout_.table.columns.back().kind = ColumnKind::ready_text;
                layout_.object_columns += !(hidden_ && storage_.has_attributes(*column));
            }
            layout_.internal_columns.push_back(column->internal_column);
        }
    }

    // Whether a column has no value of its own in the rows, though it is not computed: what it is made of
    // stands in hidden columns, or in other tables.
    bool is_object(const ColumnRecord &column) const {
        return is_shown(column) && storage_.of(column) == nullptr;
    }

    // Of LOBs without a type of their own in the outputs, JSON is bytes and BFILE the text of its names.
    static Column described(const std::string &name, const ColumnRecord &typed) {
        const ColumnKind kind = column_kind(typed.type, typed.is_national());
        if (kind == ColumnKind::unknown && is_lob(typed))
            return {name, ColumnKind::lob, false, typed.type == TYPE_JSON ? TYPE_BLOB : TYPE_CLOB,
                    typed.length};
        return {name, kind, typed.is_national(), typed.type, typed.length};
    }

    // Columns stand in the row by SEGCOL#. Where a record is lost its place stays, and the column is passed
    // over; numbers that cannot be places give an order alone.
    void place_columns() {
        std::vector<const ColumnRecord *> stored;
        for (const ColumnRecord &column : columns_)
            if (column.segment_column != 0)
                stored.push_back(&column);
        std::stable_sort(stored.begin(), stored.end(), [](const ColumnRecord *a, const ColumnRecord *b) {
            return a->segment_column < b->segment_column;
        });
        const auto same = std::adjacent_find(stored.begin(), stored.end(),
                                             [](const ColumnRecord *a, const ColumnRecord *b) {
                                                 return a->segment_column == b->segment_column;
                                             });
        const bool places =
            same == stored.end() && (stored.empty() || stored.back()->segment_column <= MOST_STORED_COLUMNS);
        for (const ColumnRecord *column : stored) {
            while (places && layout_.stored.size() + 1 < column->segment_column)
                add_stored(nullptr);
            add_stored(column);
        }
    }

    void add_stored(const ColumnRecord *column) {
        StoredColumn stored;
        const size_t place = layout_.stored.size() + 1;
        stored.from_key = table_.cluster != 0 && place <= key_columns();
        if (column != nullptr) {
            stored.output = storage_.output_of(*column);
            const ColumnKind kind = column_kind(column->type, column->is_national());
            stored.is_long = kind == ColumnKind::long_text || kind == ColumnKind::long_raw;
            stored.is_lob = is_lob(*column);
            stored.is_bfile = column->type == TYPE_BFILE;
            stored.is_text = kind == ColumnKind::text || kind == ColumnKind::national_text;
            stored.national = kind == ColumnKind::national_text;
            stored.internal_column = column->internal_column;
            stored.encrypted = (column->property & COLUMN_ENCRYPTED) != 0;
            if ((column->property & COLUMN_GUARD) != 0)
                layout_.guard_column = static_cast<int32_t>(layout_.stored.size());
        }
        layout_.stored.push_back(stored);
        records_.push_back(column);
    }

    size_t key_columns() const { return cluster_ != nullptr ? cluster_->columns : table_.cluster_columns; }

    void add_defaults() {
        for (size_t i = 0; i < records_.size(); ++i) {
            const ColumnRecord *column = records_[i];
            const int32_t output = layout_.stored[i].output;
            if (column == nullptr || output < 0 || (column->property & COLUMN_ADDED_DEFAULT) == 0)
                continue;
            AddedDefault added;
            added.stored = static_cast<uint32_t>(i);
            added.output = output;
            added.when_absent = !column->not_null;
            take_value(*column, added);
            layout_.defaults.push_back(std::move(added));
        }
    }

    void take_value(const ColumnRecord &column, AddedDefault &added) const {
        const DefaultRecord *record = dictionary_.added_default(table_.object, column.internal_column);
        if (record == nullptr)
            return;
        added.guard = record->guard;
        added.known = !record->value_lost;
        added.is_null = record->value.empty();
        added.value = PaddedBytes(dictionary_.bytes(record->value));
    }

    const Dictionary &dictionary_;
    const TableRecord &table_;
    const std::span<const ColumnRecord> columns_;
    const std::vector<const ColumnRecord *> shown_;
    const ColumnStorage storage_;
    const bool hidden_;
    const ClusterRecord *cluster_;
    TableLayout layout_;
    std::vector<const ColumnRecord *> records_; // of layout_.stored; null where a record is lost
};

} // namespace

TableLayout make_layout(const Dictionary &dictionary, const TableRecord &table, bool hidden) {
    return LayoutMaker(dictionary, table, hidden).make();
}

} // namespace vexlo
