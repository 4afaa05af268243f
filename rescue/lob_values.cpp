#include "rescue/lob_values.h"

#include <algorithm>

#include "values/padded_bytes.h"
#include "values/utf16_decoder.h"

namespace vexlo {

namespace {

std::span<const uint8_t> bytes_of(const Field &field) {
    return {field.data, field.size};
}

std::string hex_text(std::span<const uint8_t> bytes) {
    constexpr size_t SHOWN = 40;
    constexpr char DIGITS[] = "0123456789ABCDEF";
    std::string text;
    for (const uint8_t byte : bytes.first(std::min(SHOWN, bytes.size()))) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 0x0F];
    }
    return bytes.size() > SHOWN ? text + "..." : text;
}

bool is_continuation(uint8_t byte) {
    return (byte & 0xC0) == 0x80;
}

} // namespace

LobColumns::LobColumns(const FileSet &files, const ScanIndexes &scans, const Dictionary &dictionary,
                       const TableLayout &layout, uint32_t fragment, ReadOptions options, RowOrder order)
    : output_columns_(layout.table.columns.size()) {
    for (const StoredColumn &stored : layout.stored) {
        if (!stored.is_lob || stored.output < 0)
            continue;
        const size_t column = static_cast<size_t>(stored.output);
        LobPlaces places = find_lob_places(dictionary, layout.object, stored.internal_column, fragment);
        places.encrypted = stored.encrypted;
        entries_.push_back(
            {column, stored, std::make_unique<LobSegment>(files, scans, places, options, order)});
    }
    std::sort(entries_.begin(), entries_.end(),
              [](const Entry &a, const Entry &b) { return a.column < b.column; });
}

void LobColumns::add_losses(SegmentTally &tally) const {
    for (const Entry &entry : entries_)
        if (const LobIndex *index = entry.segment->index_if_read())
            tally.losses.insert(tally.losses.end(), index->losses().begin(), index->losses().end());
}

LobCounts &LobCounts::operator+=(const LobCounts &other) {
    for (size_t i = 0; i < lost.size(); ++i) {
        lost[i].lobs += other.lost[i].lobs;
        lost[i].bytes += other.lost[i].bytes;
    }
    cut += other.cut;
    replaced += other.replaced;
    not_understood += other.not_understood;
    return *this;
}

// The LOBs of one column on their way out, one after the other: turned into UTF-8 where they are text, cut at
// the limit.
class LobValues::Value final : public ValueStream, private LobSink {
public:
    Value(LobValues &owner, const LobColumns::Entry &entry)
        : owner_(owner), segment_(*entry.segment), column_(entry.column), stored_(entry.stored) {}

    size_t column() const { return column_; }
    const LobSegment &segment() const { return segment_; }
    bool is_bfile() const { return stored_.is_bfile; }

    // Turns to the LOB with this locator, which points into the row that is being resolved, and reads it
    // once. What is short is held then.
    LobOutcome read(LobLocator &&locator) {
        locator_ = std::move(locator);
        const bool national = locator_.type == LobType::nclob || stored_.national;
        decoder_ = national ? &owner_.national_ : &owner_.database_;
        if (locator_.utf16 && is_text() && !owner_.options_.limit)
            if (const auto stored = LobReader::in_row(locator_, segment_))
                return decode_at_once(*stored);
        bool held = true;
        held_.clear();
        size_ = 0;
        const LobOutcome outcome = run([&](std::span<const uint8_t> piece) {
            size_ += piece.size();
            held = held && held_.size() + piece.size() <= HELD_SIZE;
            if (held)
                held_.append(piece);
        });
        is_held_ = held;
        held_value_ = held_.bytes();
        return outcome;
    }

    // Long values of VARCHAR2 may be kept as the bytes that shorter ones are.
    bool is_text() const { return locator_.type != LobType::blob || stored_.is_text; }
    bool was_cut() const { return cut_; }
    uint64_t replaced() const { return replaced_; }

    Field field() {
        if (is_held_)
            return {is_text() ? FieldKind::text : FieldKind::binary,
                    static_cast<uint32_t>(held_value_.size()),
                    {held_value_.data()}};
        Field field{FieldKind::stream, 0, {nullptr}};
        field.stream = this;
        return field;
    }

    // Writes the value to a file, with holes where bytes are lost.
    void write(LobFiles::File &file) {
        file_ = &file;
        run([&](std::span<const uint8_t> piece) { file.append(piece.data(), piece.size()); });
        file_ = nullptr;
    }

    StreamForm form() const override { return is_text() ? StreamForm::text : StreamForm::binary; }
    std::optional<uint64_t> known_size() const override { return size_; }
    void for_each_piece(const Take &take) override { run(take); }

private:
    // The same of a text that the row holds, as most short ones are, without the way over a reader.
    LobOutcome decode_at_once(std::span<const uint8_t> stored) {
        utf16_ = Utf16Decoder(locator_.little_endian);
        char *const text = text_room(stored.size());
        const char *const end = utf16_.finish(utf16_.put(stored, text));
        cut_ = false;
        replaced_ = utf16_.replaced();
        size_ = static_cast<uint64_t>(end - text);
        is_held_ = true;
        held_value_ = text_.bytes().first(static_cast<size_t>(size_));
        return {stored.size(), 0, LobFault::none};
    }

    LobOutcome run(const Take &take) {
        take_ = &take;
        left_ = owner_.options_.limit.value_or(UINT64_MAX);
        cut_ = false;
        replaced_ = 0;
        utf16_ = Utf16Decoder(locator_.little_endian);
        open_.clear();
        const LobOutcome outcome = owner_.reader_.read(locator_, segment_, *this);
        if (is_text() && !cut_)
            end_text();
        replaced_ += utf16_.replaced();
        if (cut_ && is_text()) {
            const PaddedBytes mark(LOB_CUT_MARK);
            left_ = mark.size();
            give(mark.bytes());
        }
        return outcome;
    }

    void data(std::span<const uint8_t> bytes) override {
        if (cut_)
            return;
        if (!is_text())
            return give(bytes);
        if (locator_.utf16)
            return give_text(utf16_.put(bytes, text_room(bytes.size())));
        size_t used = 0;
        if (open_.size() == 0) {
            give(decoder_->decode_part(bytes.data(), bytes.size(), replaced_, used));
            open_.append(bytes.subspan(used));
        } else {
            open_.append(bytes);
            give(decoder_->decode_part(open_.data(), open_.size(), replaced_, used));
            open_.remove_front(used);
        }
    }

    // What is left of a character is none.
    void end_text() {
        if (locator_.utf16)
            give_text(utf16_.finish(text_room(0)));
        else if (open_.size() != 0)
            give(decoder_->decode(open_.data(), open_.size(), replaced_));
    }

    // Room for the text of so many bytes of UTF-16, which grows alone: most pieces fit.
    char *text_room(size_t bytes) {
        if (text_.size() < Utf16Decoder::room(bytes))
            text_.resize(Utf16Decoder::room(bytes));
        return reinterpret_cast<char *>(text_.data());
    }
    void give_text(const char *end) {
        const char *const text = reinterpret_cast<const char *>(text_.data());
        give({text, static_cast<size_t>(end - text)});
    }

    // What is lost leaves a hole in a file, where it is known how long, and no trace elsewhere: the row says
    // that the value is not whole.
    void missing(uint64_t bytes) override {
        if (file_ != nullptr && !is_text())
            file_->skip(bytes);
    }

    void give(std::string_view text) { give({reinterpret_cast<const uint8_t *>(text.data()), text.size()}); }

    void give(std::span<const uint8_t> bytes) {
        if (bytes.size() > left_) {
            cut_ = true;
            size_t size = static_cast<size_t>(left_);
            while (is_text() && size > 0 && is_continuation(bytes[size]))
                --size;
            bytes = bytes.first(size);
        }
        left_ -= bytes.size();
        if (!bytes.empty())
            (*take_)(bytes);
    }

    LobValues &owner_;
    LobLocator locator_;
    const LobSegment &segment_;
    size_t column_;
    StoredColumn stored_;
    TextDecoder *decoder_ = nullptr; // of characters that are not UTF-16
    LobFiles::File *file_ = nullptr;
    const Take *take_ = nullptr;
    uint64_t left_ = 0; // bytes up to the limit
    bool cut_ = false;
    uint64_t replaced_ = 0;
    Utf16Decoder utf16_{false};
    PaddedBytes open_; // of a character that goes on in the next piece
    PaddedBytes text_;
    PaddedBytes held_;
    bool is_held_ = false;
    std::span<const uint8_t> held_value_; // padded
    uint64_t size_ = 0;                   // of what comes out
};

LobValues::LobValues(const LobColumns &columns, BlockReader &blocks, const TextCharsets &charsets,
                     LobOptions options)
    : reader_(blocks), database_(charsets.database), national_(charsets.national), options_(options),
      fields_(columns.output_columns()) {
    for (const LobColumns::Entry &entry : columns.entries())
        values_.push_back(std::make_unique<Value>(*this, entry));
}

LobValues::~LobValues() = default;

Row LobValues::resolve(const Row &row, std::string &fault) {
    shown_.clear();
    texts_.clear();
    std::copy_n(row.fields, fields_.size(), fields_.begin());
    for (const std::unique_ptr<Value> &value : values_) {
        Field &field = fields_[value->column()];
        if (field.kind != FieldKind::lob)
            continue;
        std::string why;
        field = resolve_column(field, *value, why);
        if (fault.empty())
            fault = why;
    }
    return {row.number, row.offset, fields_.data()};
}

void LobValues::move_to_files(LobFiles &files, uint64_t number) {
    for (Value *const value : shown_) {
        LobFiles::File file = files.open(number, value->column(), value->is_text());
        value->write(file);
        file.finish();
        fields_[value->column()] = keep_text(file.name());
    }
}

Field LobValues::resolve_column(const Field &field, Value &value, std::string &fault) {
    constexpr Field NOTHING{FieldKind::null, 0, {nullptr}};
    if (options_.leave_out)
        return NOTHING;
    if (value.is_bfile())
        return resolve_bfile(field);
    std::optional<LobLocator> locator = decode_lob_locator(bytes_of(field), fault);
    if (!locator) {
        fault += ": " + hex_text(bytes_of(field));
        ++counts_.not_understood;
        return NOTHING;
    }
    const LobOutcome outcome = read(value, std::move(*locator));
    counts_.cut += value.was_cut();
    counts_.replaced += value.replaced();
    if (!outcome.is_whole()) {
        LobCounts::Lost &lost = counts_.lost[static_cast<size_t>(outcome.fault)];
        ++lost.lobs;
        lost.bytes += outcome.missing;
        fault = lob_fault_text(outcome.fault);
    }
    if (outcome.fault == LobFault::lost || outcome.fault == LobFault::ambiguous ||
        outcome.fault == LobFault::exhausted)
        return NOTHING;
    shown_.push_back(&value);
    return value.field();
}

LobOutcome LobValues::read(Value &value, LobLocator &&locator) {
    if (!value.segment().allows(locator))
        return {0, 0, LobFault::exhausted};
    const uint64_t visited = reader_.visited();
    const LobOutcome outcome = value.read(std::move(locator));
    if (reader_.visited() != visited)
        value.segment().budget().take(reader_.visited() - visited);
    return outcome;
}

// "DIRECTORY/file", in the database character set. A BFILE whose two names do not end with it is shown as its
// bytes.
Field LobValues::resolve_bfile(const Field &field) {
    const std::optional<BfileName> name = decode_bfile(bytes_of(field));
    if (!name)
        return {FieldKind::binary, field.size, {field.data}};
    const auto decoded = [&](std::string_view stored) {
        return std::string(database_.decode(reinterpret_cast<const uint8_t *>(stored.data()), stored.size(),
                                            counts_.replaced));
    };
    std::string text = decoded(name->directory) + "/";
    return keep_text(text + decoded(name->file));
}

Field LobValues::keep_text(std::string text) {
    texts_.push_back(std::move(text));
    pad(texts_.back());
    return {FieldKind::text,
            static_cast<uint32_t>(texts_.back().size()),
            {reinterpret_cast<const uint8_t *>(texts_.back().data())}};
}

} // namespace vexlo
