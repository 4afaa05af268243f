// The way of rows to their output, whatever the number of threads.
#include <algorithm>
#include <thread>

#include <gtest/gtest.h>

#include "convert/dump_texts.h"
#include "convert/write_rows.h"
#include "dump_writer.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

const vexlo::Charset UTF8 = *vexlo::find_charset("AL32UTF8");

struct Written {
    std::string output; // all files, one after the other
    std::string told;
    std::string fault;

    bool operator==(const Written &) const = default;
};

class WriteRows : public testing::Test {
protected:
    Written write(const DumpTable &table, const std::string &format, const std::string &dialect,
                  size_t threads) {
        Dump dump;
        dump.tables = {table};
        write_text(dir_ / "a.dat", dump_bytes(dump));
        const vexlo::DumpFile file(dir_ / "a.dat");
        vexlo::FormatOptions options;
        options.format = format;
        options.dialect = dialect;
        options.lf = format == "csv";
        scratch_dir out;
        vexlo::Destination destination = vexlo::Destination::at(out / "T");
        const std::unique_ptr<vexlo::Format> target =
            vexlo::make_format(options, destination, "x", "AL32UTF8");
        vexlo::Table described{"", "T", {}};
        for (const vexlo::ColumnInfo &column : file.tables()[0].columns)
            described.columns.push_back(
                {column.name, vexlo::column_kind(column.ctyp, false), false, column.ctyp, column.clen});
        const std::unique_ptr<vexlo::TableWriter> writer = target->open_table(described);
        vexlo::CellDecoder decoder(described, {UTF8, UTF8});
        vexlo::DumpReader reader(file, file.tables()[0]);
        vexlo::Console console("test");
        vexlo::Report report(console);
        vexlo::TableReport table_report(report, "a.dat", "T");
        Written written;
        uint64_t rows = 0, position = 0;
        testing::internal::CaptureStderr();
        written.fault = vexlo::write_rows(reader, decoder, *writer, table_report, threads,
                                          [&](uint64_t rows_done, uint64_t at) {
                                              EXPECT_GE(rows_done, rows);
                                              EXPECT_GE(at, position);
                                              rows = rows_done;
                                              position = at;
                                          });
        decoder.finish(table_report);
        table_report.finish();
        writer->finish();
        target->finish();
        written.told = testing::internal::GetCapturedStderr();
        EXPECT_EQ(rows, reader.rows());
        for (const vexlo::WrittenFile &done : *destination.log())
            written.output += read_text(done.path);
        return written;
    }

    scratch_dir dir_;
};

const std::vector<DumpColumn> TEXT_COLUMNS = {
    {"ID", 2, 22}, {"BORN", 12, 7}, {"NAME", 1, 400}, {"TEXT", 8, 0}};

// Text that is told apart from that of every other row.
Bytes long_text(int i, size_t size) {
    Bytes text;
    while (text.size() < size)
        text += std::to_string(i) + " and " + std::to_string(text.size()) + "; ";
    text.resize(size);
    return text;
}

std::vector<Bytes> chunks_of(const Bytes &text) {
    constexpr size_t CHUNK = 0x8000;
    std::vector<Bytes> chunks;
    for (size_t at = 0; at < text.size(); at += CHUNK)
        chunks.push_back(text.substr(at, CHUNK));
    return chunks;
}

// Rows with LONG values in one piece, in several and in very many, and with none.
Bytes person(int i, size_t text_size) {
    const std::vector<Bytes> entries = {value(ora_number(std::to_string(i))),
                                        value(ora_date(1990, 1 + i % 12, 1)),
                                        value("name of " + std::to_string(i)), long_mark()};
    return text_size == 0 ? row({entries[0], entries[1], entries[2]})
                          : row(entries) + long_block(chunks_of(long_text(i, text_size)));
}

size_t text_size_of(int i) {
    return i == 777 ? 1300000 : i % 500 == 3 ? 100000 : i % 3 == 0 ? 70 : 0;
}

std::string csv_of(int i, size_t text_size) {
    const std::string month = std::to_string(101 + i % 12).substr(1);
    std::string line =
        std::to_string(i) + ",1990-" + month + "-01T00:00:00,name of " + std::to_string(i) + ",";
    if (text_size == 0)
        return line + "\n";
    const std::string text = long_text(i, text_size);
    return line + (text_size > 1000000 ? '"' + text + '"' : text) + "\n"; // of long ones nothing is known
}

TEST_F(WriteRows, CsvHasTheRowsInTheirOrder) {
    DumpTable table{.name = "T", .columns = TEXT_COLUMNS};
    std::string expected = "ID,BORN,NAME,TEXT\n";
    for (int i = 0; i < 5000; ++i) {
        table.rows.push_back(person(i, text_size_of(i)));
        expected += csv_of(i, text_size_of(i));
    }
    for (const size_t threads : {1U, 2U, 4U})
        EXPECT_EQ(write(table, "csv", "", threads), (Written{expected, "", ""})) << threads;
}

// Rows that are shorter than what the reader keeps at hand, longer than that, and longer than its window.
TEST_F(WriteRows, CsvHasRowsOfAllSizes) {
    constexpr size_t TEXTS = 90, LONGEST = 4000;
    DumpTable table{.name = "T", .columns = std::vector<DumpColumn>(TEXTS, DumpColumn{"C", 1, LONGEST})};
    std::string expected;
    for (size_t i = 0; i < 1500; ++i) {
        const size_t texts = i % 300 == 250 ? TEXTS : i % 40 == 7 ? 5 : i % 9 == 3 ? 0 : 1;
        std::vector<Bytes> entries;
        std::string line;
        for (size_t column = 0; column < TEXTS; ++column) {
            if (column < texts) {
                entries.push_back(value(long_text(static_cast<int>(i + column), texts == 1 ? 20 : LONGEST)));
                line += entries.back().substr(2);
            }
            line += column + 1 < TEXTS ? ',' : '\n';
        }
        table.rows.push_back(row(entries));
        expected += line;
    }
    for (const size_t threads : {1U, 3U}) {
        const Written written = write(table, "csv", "", threads);
        EXPECT_TRUE(written.output.substr(written.output.find('\n') + 1) == expected) << threads;
        EXPECT_EQ(written.told, "") << threads;
    }
}

// Damaged rows, values that are none and values that a target refuses, all over the table.
DumpTable damaged_table() {
    DumpTable table{.name = "T", .columns = TEXT_COLUMNS};
    for (int i = 0; i < 9000; ++i) {
        table.rows.push_back(person(i, text_size_of(i)));
        if (i % 701 == 5)
            table.rows.back()[1] = '\x7E';
        else if (i % 400 == 7)
            table.rows.back().replace(table.rows.back().find("name of"), 4, Bytes("n\0\xFFme", 4));
        else if (i % 300 == 11)
            table.rows.back()[table.rows.back().find("name of") - 3] = '\x7F';
    }
    return table;
}

TEST_F(WriteRows, NeitherOutputNorReportDependsOnTheThreads) {
    const DumpTable table = damaged_table();
    const std::pair<const char *, const char *> formats[] = {
        {"csv", ""},           {"csv", "postgresql"}, {"jsonl", ""},  {"sql", "oracle"},
        {"sql", "postgresql"}, {"sql", "sqlite"},     {"sqlldr", ""},
    };
    for (const auto &[format, dialect] : formats) {
        const Written one = write(table, format, dialect, 1);
        EXPECT_NE(one.told, "");
        for (const size_t threads : {2U, 4U})
            EXPECT_TRUE(write(table, format, dialect, threads) == one) << format << " " << dialect;
    }
}

TEST_F(WriteRows, SmallTablesAndLargeRowsAreForOneThread) {
    constexpr uint64_t LARGE = uint64_t{1} << 40;
    EXPECT_EQ(vexlo::threads_for(0, 100, 1), 1U);
    EXPECT_EQ(vexlo::threads_for(1 << 20, 100, 1), 1U);
    EXPECT_EQ(vexlo::threads_for(LARGE, 100, 1000), 1U);
    EXPECT_EQ(vexlo::threads_for(LARGE, 8 << 20, 1), 1U);
    EXPECT_EQ(vexlo::threads_for(LARGE, 100, 1),
              std::min(4U, std::max(std::thread::hardware_concurrency(), 1U)));
}

} // namespace
