// Rows of dictionary tables as records: which column goes into which member.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string_view>
#include <variant>
#include <vector>

#include "rescue/dictionary.h"
#include "rescue/row_reader.h"
#include "rescue/system_table.h"

namespace vexlo {

// A member that a column goes into. Numbers that are NULL become 0, or NO_NUMBER where the member can be
// negative.
template <class RECORD>
using Member = std::variant<uint32_t RECORD::*, uint64_t RECORD::*, uint16_t RECORD::*, int16_t RECORD::*,
                            int32_t RECORD::*, uint8_t RECORD::*, bool RECORD::*, NameRef RECORD::*,
                            std::array<uint8_t, 7> RECORD::*>;

template <class RECORD>
struct ColumnMember {
    std::string_view column;
    Member<RECORD> member;
};

// Converts single columns.
class RecordWriter {
public:
    explicit RecordWriter(NameStore &names) : names_(names) {}

    template <class RECORD>
    void store(RECORD &record, const Member<RECORD> &member, const Field &field) {
        std::visit([&](auto pointer) { write(record.*pointer, field); }, member);
    }

private:
    void write(uint32_t &to, const Field &field);
    void write(uint64_t &to, const Field &field);
    void write(uint16_t &to, const Field &field);
    void write(int16_t &to, const Field &field);
    void write(int32_t &to, const Field &field);
    void write(uint8_t &to, const Field &field);
    void write(bool &to, const Field &field);
    void write(NameRef &to, const Field &field);
    void write(std::array<uint8_t, 7> &to, const Field &field);

    NameStore &names_;
};

// Takes the rows of one dictionary table.
class RowTaker {
public:
    explicit RowTaker(std::string_view table) : table_(table) {}
    virtual ~RowTaker() = default;

    std::string_view table() const { return table_; }
    const TableLayout &layout() const { return layout_; }
    // Makes the layout: only the columns that are wanted come out, in the order of wanted().
    void define(const SystemTable &definition);
    // A row that cannot be trusted is taken when its wanted columns were found and its own block is sound.
    bool accepts(const RescuedRow &row) const;
    virtual void take(const Field *fields) = 0;

protected:
    virtual std::vector<std::string_view> wanted() const = 0;

private:
    std::string_view table_;
    TableLayout layout_;
    uint32_t needed_ = 0; // stored columns up to the last wanted one
};

// Appends a record for each row.
template <class RECORD>
class RecordTaker final : public RowTaker {
public:
    RecordTaker(std::string_view table, std::vector<ColumnMember<RECORD>> columns,
                std::vector<RECORD> &records, NameStore &names)
        : RowTaker(table), columns_(std::move(columns)), records_(records), writer_(names) {}

    void take(const Field *fields) override {
        RECORD record{};
        for (size_t i = 0; i < columns_.size(); ++i)
            writer_.store(record, columns_[i].member, fields[i]);
        records_.push_back(record);
    }

protected:
    std::vector<std::string_view> wanted() const override {
        std::vector<std::string_view> names;
        for (const ColumnMember<RECORD> &column : columns_)
            names.push_back(column.column);
        return names;
    }

private:
    std::vector<ColumnMember<RECORD>> columns_;
    std::vector<RECORD> &records_;
    RecordWriter writer_;
};

} // namespace vexlo
