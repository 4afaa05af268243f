// The reading of the dictionary: bootstrap$, the tables that it describes, and those that these describe.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "rescue/dictionary.h"
#include "rescue/dictionary_rows.h"
#include "rescue/system_table.h"

namespace vexlo {

class DictionaryReader {
public:
    DictionaryReader(Dictionary &dictionary, FileSet &files, const ScanIndexes &scans, ReadOptions options);

    // Fills the dictionary. What cannot be read is missing in it and told in its notes.
    void read();

private:
    using Takers = std::vector<std::unique_ptr<RowTaker>>;

    void read_bootstrap();
    void read_bootstrap_by_shape();
    void read_tables(const Takers &takers);
    void read_group(const SegmentRef &segment, std::span<RowTaker *const> group);
    std::optional<SystemTable> definition(std::string_view table) const;
    std::optional<SystemTable> described_definition(std::string_view table) const;
    const TableRecord *system_record(std::string_view table) const;

    Takers core_takers();
    Takers further_takers();
    Takers key_takers();
    void finish_core();
    void finish_further();
    void finish_keys();
    void add_lost_tables();
    std::set<uint32_t> unknown_objects() const;
    void add_lost_partitions();
    void sort_partitions();
    void add_witnesses(std::vector<ExpectedFile> &expected) const;
    void place_files();
    void read_defaults();

    Dictionary &dictionary_;
    FileSet &files_;
    const ScanIndexes &scans_;
    const ReadOptions options_;
    const uint32_t tablespace_; // of the dictionary
    std::vector<CreateText> texts_;

    struct ConstraintRecord {
        uint32_t constraint;
        uint32_t type;
    };
    struct ConstraintColumn {
        uint32_t constraint;
        uint32_t table;
        uint32_t position;
        uint32_t internal_column;
    };
    struct PropertyRecord {
        NameRef name;
        NameRef value;
    };
    std::vector<ConstraintRecord> constraints_;
    std::vector<ConstraintColumn> constraint_columns_;
    std::vector<PropertyRecord> properties_;
};

} // namespace vexlo
