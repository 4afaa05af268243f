// Damaged dumps in every format and under every pair of options. What this finds, it finds under sanitizers;
// $VEXLO_DAMAGED_DUMPS is the number of dumps.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <random>
#include <set>

#include <gtest/gtest.h>

#include "convert/convert.h"
#include "dump_writer.h"
#include "random_values.h"
#include "scratch_dir.h"
#include "values/errors.h"

using namespace vexlo_test;

namespace {

namespace fs = std::filesystem;

constexpr size_t DUMPS = 60;

size_t wanted_dumps() {
    const char *number = std::getenv("VEXLO_DAMAGED_DUMPS");
    return number != nullptr ? std::strtoul(number, nullptr, 10) : DUMPS;
}

// ---- Options

// What an option can be; each is one choice, given by its number.
using Choices = std::vector<size_t>;

template <class T, size_t N>
const T &chosen(const T (&list)[N], size_t number) {
    return list[number % N];
}

constexpr size_t CHOICES[] = {5, 4, 2, 3, 3, 2, 2, 2, 3, 2, 3, 2, 2, 5, 4, 2, 2, 3};

vexlo::Options options_of(const Choices &choices) {
    constexpr const char *FORMATS[] = {"csv", "jsonl", "sql", "sqlldr", "sqlite"};
    constexpr const char *DIALECTS[] = {"", "oracle", "postgresql", "sqlite"};
    constexpr const char *NULLS[] = {"", "NA", "\\N"};
    constexpr char DELIMITERS[] = {',', ';', '\t'};
    constexpr const char *DATES[] = {"", "%a %d.%m.%Y %T.%N%z"};
    constexpr vexlo::SqlPart PARTS[] = {vexlo::SqlPart::all, vexlo::SqlPart::ddl, vexlo::SqlPart::data};
    constexpr const char *COMPRESSIONS[] = {"", "gzip", "zstd"};
    constexpr const char *CHARSETS[] = {"", "WE8MSWIN1252", "JA16SJIS", "AL16UTF16", "VN8MSWIN1258"};
    constexpr const char *NCHARSETS[] = {"", "UTF8", "UTF-16BE", "EUC-JP"};
    const std::vector<std::string> TABLES[] = {{}, {"*"}, {"SCOTT.T*", "l?ng"}};
    size_t i = 0;
    vexlo::Options options;
    vexlo::FormatOptions &format = options.format;
    format.format = chosen(FORMATS, choices[i++]);
    format.dialect = chosen(DIALECTS, choices[i++]);
    format.lf = choices[i++] != 0;
    format.null_text = chosen(NULLS, choices[i++]);
    format.delimiter = chosen(DELIMITERS, choices[i++]);
    format.header = choices[i++] == 0;
    format.date_format = chosen(DATES, choices[i++]);
    format.json_number_strings = choices[i++] != 0;
    format.part = chosen(PARTS, choices[i++]);
    format.real_numbers = choices[i++] != 0;
    format.compress = chosen(COMPRESSIONS, choices[i++]);
    format.lowercase = choices[i++] != 0;
    format.raw = choices[i++] != 0;
    options.charset = chosen(CHARSETS, choices[i++]);
    options.ncharset = chosen(NCHARSETS, choices[i++]);
    options.jobs = choices[i++] == 0 ? 1 : 3;
    options.salvage = choices[i++] != 0;
    options.tables = chosen(TABLES, choices[i++]);
    options.quiet = true;
    return options;
}

// Text that is passed through is for few outputs, and the character set of a damaged header is any.
bool fits(const vexlo::FormatOptions &format) {
    const bool raw_fits =
        !format.raw || (format.format == "csv" && (format.dialect.empty() || format.dialect == "oracle"));
    return raw_fits && vexlo::format_options_fault(format).empty();
}

using Pair = std::array<size_t, 4>; // option, choice, option, choice

std::vector<Pair> pairs_of(const Choices &choices) {
    std::vector<Pair> pairs;
    for (size_t i = 0; i < choices.size(); ++i)
        for (size_t j = i + 1; j < choices.size(); ++j)
            pairs.push_back({i, choices[i], j, choices[j]});
    return pairs;
}

// Sets of options in which every pair that goes together stands once at least.
std::vector<vexlo::Options> all_pairs() {
    constexpr int CANDIDATES = 4000;
    std::mt19937 random(11);
    std::vector<Choices> candidates;
    std::set<Pair> open;
    while (candidates.size() < CANDIDATES) {
        Choices choices;
        for (const size_t count : CHOICES) // the first choice is the one that goes with most others
            choices.push_back(random() % 2 == 0 ? 0 : random() % count);
        choices[0] = random() % CHOICES[0];
        if (!fits(options_of(choices).format))
            continue;
        for (const Pair &pair : pairs_of(choices))
            open.insert(pair);
        candidates.push_back(std::move(choices));
    }
    std::vector<vexlo::Options> sets;
    while (!open.empty()) {
        const auto gain = [&](const Choices &choices) {
            const std::vector<Pair> pairs = pairs_of(choices);
            return std::count_if(pairs.begin(), pairs.end(), [&](const Pair &p) { return open.contains(p); });
        };
        const Choices *best = nullptr;
        ptrdiff_t most = 0;
        for (size_t i = 0; i < 200 || best == nullptr; ++i) {
            const Choices &candidate = candidates[random() % candidates.size()];
            if (const ptrdiff_t found = gain(candidate); found > most) {
                most = found;
                best = &candidate;
            }
        }
        for (const Pair &pair : pairs_of(*best))
            open.erase(pair);
        sets.push_back(options_of(*best));
    }
    return sets;
}

// ---- Dumps

DumpTable long_table(std::mt19937 &random) {
    DumpTable table{.name = "LONGS", .columns = {{"ID", 2, 22}, {"TEXT", 8, 0}}};
    for (int i = 0; i < 8; ++i) {
        std::vector<Bytes> chunks;
        for (size_t c = 0; c <= random() % 3; ++c)
            chunks.push_back(Bytes(1 + random() % 900, static_cast<char>(' ' + random() % 200)));
        table.rows.push_back(row({value(ora_number(std::to_string(i))), long_mark()}) + long_block(chunks));
    }
    return table;
}

DumpTable lob_table() {
    DumpTable table{.name = "t\xC3\xA9 x\"",
                    .columns = {{"a", 1, 10}, {"A", 112, 0}, {"B", 113, 0}, {"R", 24, 0}}};
    table.rows = {row({value("x"), lob(), null()}),
                  row({null(), null(), lob(), long_mark()}) + long_block({"\x01"}), row({})};
    return table;
}

// Rows with an entry that no column has.
DumpTable surplus_table() {
    DumpTable table{.name = "SURPLUS", .columns = {{"A", 2, 22}, {"B", 1, 20}}};
    for (int i = 0; i < 30; ++i)
        table.rows.push_back(row({value(ora_number(std::to_string(i))), value(ora_date(2000, 1, 1 + i % 28)),
                                  value("text " + std::to_string(i))}));
    return table;
}

Bytes sound_dump(unsigned seed) {
    std::mt19937 random(seed);
    Dump dump;
    dump.dbtimezone = seed % 2 == 0 ? "+02:00" : "AMERICAN";
    dump.tables = {table_of_all_types("TYPES", 12, seed), long_table(random), lob_table(), surplus_table(),
                   table_of_all_types("Types", 3, seed + 1)};
    return dump_bytes(dump);
}

void damage_once(Bytes &bytes, std::mt19937 &random) {
    const size_t head = std::min<size_t>(bytes.size(), 3000);
    const auto place = [&] { return random() % (random() % 3 == 0 ? head : bytes.size()); };
    const size_t at = place(), size = 1 + random() % (random() % 4 == 0 ? 5000 : 8);
    switch (random() % 8) {
    case 0:
        bytes[at] = static_cast<char>(random());
        break;
    case 1:
        bytes[at] = static_cast<char>(bytes[at] ^ static_cast<char>(1U << random() % 8));
        break;
    case 2:
        bytes.replace(at, size, Bytes(std::min(size, bytes.size() - at), '\0'));
        break;
    case 3:
        bytes.erase(at, size);
        break;
    case 4:
        bytes.insert(at, bytes.substr(place(), size));
        break;
    case 5:
        bytes.replace(at, size, bytes.substr(place(), size));
        break;
    case 6:
        bytes.replace(at, 4, Bytes("\xFF\xFF\xFF\xFE", 4).substr(random() % 4));
        break;
    default:
        bytes.resize(1 + at);
        break;
    }
    if (bytes.empty())
        bytes = "v";
}

// ---- Conversion

// What the program says of the dump.
std::string convert(const vexlo::Options &options) {
    char *text = nullptr;
    size_t size = 0;
    std::FILE *const stream = open_memstream(&text, &size);
    try {
        vexlo::Console console(vexlo::PROGRAM_NAME, stream);
        vexlo::Report report(console);
        vexlo::Conversion(options, report).run();
        EXPECT_GE(report.exit_status(), 0);
        EXPECT_LE(report.exit_status(), 2);
    } catch (const vexlo::UsageError &) { // such as a character set that the C library lacks
    }
    std::fclose(stream);
    std::string said(text, size);
    std::free(text);
    return said;
}

void expect_clean_lines(const std::string &said, size_t number) {
    const std::string prefix = "vexlo-convert: ";
    for (size_t at = 0; at < said.size();) {
        const size_t end = said.find('\n', at);
        ASSERT_NE(end, std::string::npos) << number;
        const std::string line = said.substr(at, end - at);
        EXPECT_TRUE(line.starts_with(prefix)) << number << ": " << line;
        EXPECT_TRUE(std::none_of(line.begin(), line.end(),
                                 [](char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }))
            << number << ": " << line;
        at = end + 1;
    }
}

TEST(DamagedDumps, EveryFormatAndPairOfOptionsEndsInOrder) {
    const std::vector<vexlo::Options> sets = all_pairs();
    ASSERT_GT(sets.size(), 20U);
    for (size_t i = 0; i < wanted_dumps(); ++i) {
        std::mt19937 random(static_cast<unsigned>(i));
        Bytes bytes = sound_dump(static_cast<unsigned>(i % 16));
        for (size_t damages = 1 + random() % 4; damages > 0; --damages)
            damage_once(bytes, random);
        scratch_dir dir;
        write_text(dir / "SCOTT.dat", bytes);
        vexlo::Options options = sets[i % sets.size()];
        options.files = {dir / "SCOTT.dat"};
        options.output = dir / "out";
        expect_clean_lines(convert(options), i);
        fs::create_directory(dir / "out");
        for (const auto &entry : fs::directory_iterator(dir / "out"))
            EXPECT_NE(entry.path().extension(), ".part") << i;
        if (HasFailure())
            break;
    }
}

} // namespace
