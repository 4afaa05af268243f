#include "rescue/dictionary_rows.h"

#include <algorithm>
#include <limits>

#include "format/number_to_int.h"

namespace vexlo {

namespace {

int64_t number_of(const Field &field) {
    return field.kind == FieldKind::null ? 0 : ora_number_to_int64(field.data, static_cast<int>(field.size));
}

template <class NUMBER>
NUMBER clamped(const Field &field) {
    using Limits = std::numeric_limits<NUMBER>;
    constexpr int64_t HIGH = sizeof(NUMBER) == 8 ? INT64_MAX : static_cast<int64_t>(Limits::max());
    return static_cast<NUMBER>(
        std::clamp<int64_t>(number_of(field), static_cast<int64_t>(Limits::min()), HIGH));
}

} // namespace

void RecordWriter::write(uint32_t &to, const Field &field) {
    to = clamped<uint32_t>(field);
}

void RecordWriter::write(uint64_t &to, const Field &field) {
    to = clamped<uint64_t>(field);
}

void RecordWriter::write(uint16_t &to, const Field &field) {
    to = clamped<uint16_t>(field);
}

void RecordWriter::write(int16_t &to, const Field &field) {
    to = field.kind == FieldKind::null ? NO_NUMBER : clamped<int16_t>(field);
}

void RecordWriter::write(int32_t &to, const Field &field) {
    to = field.kind == FieldKind::null ? -1 : clamped<int32_t>(field);
}

void RecordWriter::write(uint8_t &to, const Field &field) {
    to = clamped<uint8_t>(field);
}

void RecordWriter::write(bool &to, const Field &field) {
    to = number_of(field) != 0;
}

void RecordWriter::write(NameRef &to, const Field &field) {
    if (field.kind != FieldKind::null && field.kind != FieldKind::stream)
        to = names_.put(field.data, field.size);
}

void RecordWriter::write(std::array<uint8_t, 7> &to, const Field &field) {
    if (field.kind != FieldKind::null && field.size == to.size())
        std::copy_n(field.data, to.size(), to.begin());
}

void RowTaker::define(const SystemTable &definition) {
    const std::vector<std::string_view> names = wanted();
    layout_ = {};
    layout_.cluster_table = definition.cluster_table;
    layout_.table.columns.resize(names.size());
    const auto add = [&](const std::string &column, bool from_key) {
        const auto it = std::find(names.begin(), names.end(), column);
        StoredColumn stored;
        stored.from_key = from_key;
        stored.output = it == names.end() ? -1 : static_cast<int32_t>(it - names.begin());
        layout_.stored.push_back(stored);
        if (stored.output >= 0)
            needed_ = static_cast<uint32_t>(layout_.stored.size());
    };
    needed_ = 0;
    for (const std::string &column : definition.key)
        add(column, true);
    for (const std::string &column : definition.columns)
        add(column, false);
}

bool RowTaker::accepts(const RescuedRow &row) const {
    switch (row.fault) {
    case RowFault::none:
        return true;
    case RowFault::address:
    case RowFault::unreadable:
    case RowFault::missing_file:
    case RowFault::broken_chain:
    case RowFault::looping_chain:
        return row.columns >= needed_;
    default:
        return false;
    }
}

} // namespace vexlo
