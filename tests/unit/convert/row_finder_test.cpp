// What one lost, changed or inserted byte costs, over all positions in the rows of a dump.
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <map>
#include <random>

#include <gtest/gtest.h>

#include "convert/dump_reader.h"
#include "dump_writer.h"

namespace {

using Rows = std::vector<std::string>;

// The rows of a table as single texts; the dump is kept in memory, since it is read thousands of times.
Rows read_rows(const Bytes &bytes) {
    vexlo::FileHandle memory(memfd_create("dump", MFD_CLOEXEC));
    EXPECT_EQ(write(memory.get(), bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
    const vexlo::DumpFile file(std::move(memory), "dump");
    const vexlo::TableInfo &info = file.tables()[0];
    vexlo::DumpReader reader(file, info, 4096);
    Rows rows;
    vexlo::Row r;
    while (reader.next(r)) {
        std::string text;
        for (size_t i = 0; i < info.columns.size(); ++i) {
            const vexlo::Field &field = r.fields[i];
            text += std::to_string(static_cast<int>(field.kind)) + ":";
            if (field.kind == vexlo::FieldKind::value)
                text.append(reinterpret_cast<const char *>(field.data), field.size);
            text += "|";
        }
        rows.push_back(text);
    }
    return rows;
}

// Rows of the one that the other has not: the larger of what is missing and what is too much.
size_t cost(const Rows &before, const Rows &after) {
    std::map<std::string, long> count;
    for (const std::string &r : before)
        ++count[r];
    for (const std::string &r : after)
        --count[r];
    long missing = 0, extra = 0;
    for (const auto &[text, left] : count)
        (left > 0 ? missing : extra) += std::abs(left);
    return static_cast<size_t>(std::max(missing, extra));
}

struct Cost {
    double average = 0;
    size_t most = 0;
    size_t most_at = 0;
};

// Every place is damaged in optimised builds; with the sanitizers, which look for other faults, every fourth.
#ifdef __SANITIZE_ADDRESS__
constexpr size_t STEP = 4;
#else
constexpr size_t STEP = 1;
#endif

// Damages the bytes of the rows in turn.
template <class Damage>
Cost cost_of(const DumpTable &table, Damage damage) {
    Dump dump;
    dump.tables = {table};
    const Bytes sound = dump_bytes(dump);
    const Rows before = read_rows(sound);
    EXPECT_EQ(before.size(), table.rows.size());
    const size_t begin = 1536 + table.columns.size() * 48, end = sound.size() - 2;
    Cost result;
    size_t total = 0, places = 0;
    for (size_t at = begin; at < end; at += STEP, ++places) {
        Bytes damaged = sound;
        damage(damaged, at);
        const size_t lost = cost(before, read_rows(damaged));
        total += lost;
        if (lost > result.most)
            result = {0, lost, at - begin};
    }
    result.average = static_cast<double>(total) / static_cast<double>(places);
    return result;
}

void expect_little_lost(const DumpTable &table) {
    const auto check = [&](const char *what, auto damage) {
        const Cost cost = cost_of(table, damage);
        EXPECT_LE(cost.average, 2.0) << table.name << ", " << what;
        EXPECT_LE(cost.most, 10U) << table.name << ", " << what << ", byte " << cost.most_at
                                  << " of the rows";
        if (getenv("SHOW_COST") != nullptr)
            printf("%-12s %-14s average %.3f most %zu\n", table.name.c_str(), what, cost.average, cost.most);
    };
    check("lost", [](Bytes &bytes, size_t at) { bytes.erase(at, 1); });
    for (const char byte : {'\0', '\x40', '\xFF'})
        check("inserted", [byte](Bytes &bytes, size_t at) { bytes.insert(at, 1, byte); });
    for (const int change : {0x01, 0x10, 0x40})
        check("changed",
              [change](Bytes &bytes, size_t at) { bytes[at] = static_cast<char>(bytes[at] ^ change); });
    for (const char byte : {'\0', '\x02', '\xFF'})
        check("set", [byte](Bytes &bytes, size_t at) { bytes[at] = byte; });
}

std::string word(std::mt19937 &random, size_t most) {
    std::string text;
    for (size_t i = 0, n = 1 + random() % most; i < n; ++i)
        text += static_cast<char>("abcdefghijklmnopqrstuvwxyz 0123456789"[random() % 37]);
    return text;
}

Bytes number(std::mt19937 &random) {
    return value(ora_number(std::to_string(random() % 1000000)));
}

Bytes date(std::mt19937 &random) {
    return value(ora_date(1990 + static_cast<int>(random() % 40), 1 + static_cast<int>(random() % 12),
                          1 + static_cast<int>(random() % 28), static_cast<int>(random() % 24)));
}

constexpr int ROWS = 30;

TEST(DamageCost, OrdinaryColumns) {
    std::mt19937 random(1);
    DumpTable table{
        .name = "ORDINARY",
        .columns = {{"ID", 2, 22}, {"NAME", 1, 4000}, {"BORN", 12, 7}, {"REMARK", 1, 60}, {"N", 2, 22}}};
    for (int i = 0; i < ROWS; ++i)
        table.rows.push_back(row({number(random), value(word(random, 12)), date(random),
                                  random() % 2 ? null() : value(word(random, 20)), number(random)}));
    expect_little_lost(table);
}

TEST(DamageCost, TextAlone) {
    std::mt19937 random(2);
    DumpTable table{.name = "TEXT", .columns = {{"A", 1, 4000}, {"B", 1, 4000}, {"C", 96, 10}}};
    for (int i = 0; i < ROWS; ++i)
        table.rows.push_back(row({value(word(random, 9)), value(word(random, 9)), value("0123456789")}));
    expect_little_lost(table);
}

TEST(DamageCost, MostlyNulls) {
    std::mt19937 random(3);
    DumpTable table{
        .name = "NULLS",
        .columns = {{"A", 2, 22}, {"B", 1, 30}, {"C", 12, 7}, {"D", 1, 200}, {"E", 2, 22}, {"F", 1, 10}}};
    for (int i = 0; i < ROWS; ++i) {
        std::vector<Bytes> entries;
        for (int c = 0; c < 5; ++c)
            entries.push_back(null());
        entries[random() % 5] = null();
        entries.push_back(value(word(random, 10)));
        table.rows.push_back(row(entries));
    }
    expect_little_lost(table);
}

TEST(DamageCost, ShortRows) {
    std::mt19937 random(4);
    DumpTable table{.name = "SHORT", .columns = {{"A", 2, 22}, {"B", 1, 30}, {"C", 12, 7}, {"D", 1, 200}}};
    for (int i = 0; i < ROWS; ++i) {
        std::vector<Bytes> entries = {number(random), value(word(random, 8)), date(random),
                                      value(word(random, 8))};
        entries.resize(random() % 5);
        table.rows.push_back(row(entries));
    }
    expect_little_lost(table);
}

TEST(DamageCost, OneColumn) {
    std::mt19937 random(5);
    DumpTable numbers{.name = "NUMBERS", .columns = {{"A", 2, 22}}};
    DumpTable texts{.name = "TEXTS", .columns = {{"A", 1, 100}}};
    for (int i = 0; i < ROWS; ++i) {
        numbers.rows.push_back(random() % 4 == 0 ? row({}) : row({number(random)}));
        texts.rows.push_back(random() % 4 == 0 ? row({}) : row({value(word(random, 6))}));
    }
    expect_little_lost(numbers);
    expect_little_lost(texts);
}

TEST(DamageCost, EmptyRows) {
    std::mt19937 random(6);
    DumpTable table{.name = "EMPTY", .columns = {{"A", 2, 22}, {"B", 1, 30}}};
    for (int i = 0; i < 100; ++i)
        table.rows.push_back(random() % 20 == 0 ? row({number(random), value(word(random, 8))}) : row({}));
    expect_little_lost(table);
}

TEST(DamageCost, ValuesFullOfZeros) {
    std::mt19937 random(7);
    DumpTable table{
        .name = "ZEROS",
        .columns = {{"D", 101, 8}, {"T", 180, 11}, {"N", 1, 40, true}, {"R", 23, 200}, {"E", 101, 8}}};
    for (int i = 0; i < ROWS; ++i) {
        Bytes wide;
        for (const char c : word(random, 6))
            wide += Bytes(1, '\0') + c;
        table.rows.push_back(
            row({value(ora_binary_double(static_cast<double>(random() % 64))),
                 value(ora_timestamp(ora_date(2020, 1, 1), 0)), value(wide),
                 value(Bytes(1 + random() % 5, '\0') + "\x01"), value(ora_binary_double(1.5))}));
    }
    expect_little_lost(table);
}

TEST(DamageCost, LongValues) {
    std::mt19937 random(8);
    DumpTable table{.name = "LONGS", .columns = {{"ID", 2, 22}, {"NAME", 1, 30}, {"TEXT", 8, 0}}};
    for (int i = 0; i < ROWS; ++i) {
        const Bytes id = number(random), name = value(word(random, 8));
        table.rows.push_back(random() % 4 == 0
                                 ? row({id, name})
                                 : row({id, name, long_mark()}) + long_block({word(random, 40)}));
    }
    expect_little_lost(table);
}

// A number beside values in which rows seem to begin everywhere.
DumpTable small_whole_numbers(unsigned seed) {
    std::mt19937 random(seed);
    DumpTable table{.name = "INTS", .columns = {{"ID", 2, 22}, {"R", 23, 64}}};
    for (int i = 0; i < 2 * ROWS; ++i) {
        Bytes numbers;
        for (int k = 0; k < 12; ++k)
            numbers += Bytes(3, '\0') + static_cast<char>(random() % 6);
        table.rows.push_back(row({value(ora_number(std::to_string(i))), value(numbers)}));
    }
    return table;
}

TEST(DamageCost, SmallWholeNumbers) {
    expect_little_lost(small_whole_numbers(10));
}

// The length of a number takes in that of the value behind it, and leads into the middle of that.
TEST(DamageCost, NumberThatLeadsIntoAValue) {
    const Cost cost = cost_of(small_whole_numbers(4), [](Bytes &bytes, size_t at) {
        bytes[at] = static_cast<char>(bytes[at] ^ 0x10);
    });
    EXPECT_LE(cost.average, 2.0);
    EXPECT_LE(cost.most, 10U) << "byte " << cost.most_at << " of the rows";
}

// The lengths in the column list say nothing, and neither do the values.
TEST(DamageCost, UndeclaredLengths) {
    std::mt19937 random(9);
    DumpTable table{.name = "UNDECLARED", .columns = {{"A", 1, 0}, {"B", 1, 2}, {"C", 12, 7}}};
    for (int i = 0; i < ROWS; ++i)
        table.rows.push_back(row({value(word(random, 12)), value(word(random, 8)), value(Bytes(7, '\x01'))}));
    expect_little_lost(table);
}

} // namespace
