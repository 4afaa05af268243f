// LONG values too long for one piece come out whole, and the memory that takes does not depend on them.
#include <algorithm>
#include <utility>

#include <gtest/gtest.h>

#include "dump_writer.h"
#include "program.h"
#include "programs.h"
#include "scratch_dir.h"

using namespace vexlo_test;

namespace {

constexpr size_t CHUNK = 32767;                              // odd, so that it cuts characters of two bytes
constexpr size_t SHORT_LONG = 5000000, LONG_LONG = 70000000; // bytes of values, more or less
constexpr size_t PEAK_MAX = 64 << 10;                        // KiB

// Everything that means something to one of the formats, and characters of two to four bytes. Its size and
// that of chunks have no common divisor but one, so that chunks end everywhere in it.
const std::string UNIT = "it's \"a\", \\b\\ \n\\.\r\n\t{caf\xC3\xA9 \xE2\x82\xAC \xF0\x9D\x84\x9E}; --x";

std::string repeated(const std::string &text, size_t times) {
    const size_t size = text.size() * times;
    std::string all = text;
    all.reserve(size);
    while (all.size() < size)
        all.append(all, 0, std::min(all.size(), size - all.size()));
    return all;
}

std::string replaced(std::string text, const std::string &what, const std::string &by) {
    for (size_t at = 0; (at = text.find(what, at)) != std::string::npos; at += by.size())
        text.replace(at, what.size(), by);
    return text;
}

std::string hex(const std::string &bytes) {
    std::string digits;
    for (const char c : bytes) {
        constexpr char DIGITS[] = "0123456789ABCDEF";
        digits += DIGITS[static_cast<unsigned char>(c) >> 4];
        digits += DIGITS[c & 0x0F];
    }
    return digits;
}

std::string in_json(std::string text) {
    text = replaced(replaced(std::move(text), "\\", "\\\\"), "\"", "\\\"");
    return replaced(replaced(replaced(std::move(text), "\n", "\\n"), "\r", "\\r"), "\t", "\\t");
}

std::string in_copy(std::string text) {
    text = replaced(std::move(text), "\\", "\\\\");
    return replaced(replaced(replaced(std::move(text), "\n", "\\n"), "\r", "\\r"), "\t", "\\t");
}

std::vector<Bytes> chunks_of(const std::string &text) {
    std::vector<Bytes> chunks;
    for (size_t at = 0; at < text.size(); at += CHUNK)
        chunks.push_back(text.substr(at, CHUNK));
    return chunks;
}

// A table of a number and a LONG, which is the unit some times over in one row and short in the next.
class LongValues : public testing::Test {
protected:
    void write_dump(size_t size, uint32_t type = 8, const std::string &unit = UNIT,
                    const std::string &charset = "AL32UTF8") {
        times_ = size / unit.size() + 1;
        Dump dump;
        dump.nls_lang = "AMERICAN_AMERICA." + charset;
        dump.tables = {{.name = "T", .columns = {{"ID", 2, 22}, {"DOC", type, 0}}}};
        dump.tables[0].rows = {row({value(ora_number("1")), long_mark()}) +
                                   long_block(chunks_of(repeated(unit, times_))),
                               row({value(ora_number("2")), long_mark()}) + long_block({"x"})};
        write_text(dir_ / "L.dat", dump_bytes(dump));
    }

    // Converts the dump; the outputs are left in the directory. Returns the peak memory in KiB.
    size_t convert(std::vector<std::string> options) {
        options.insert(options.begin(), {"--output", dir_ / "out", dir_ / "L.dat", "--to"});
        return peak_of(options, 0);
    }

    // The peak memory in KiB of a run that must end with the status.
    size_t peak_of(const std::vector<std::string> &arguments, int status) {
        const std::string script = "import resource, subprocess, sys\n"
                                   "run = subprocess.run(sys.argv[1:], stdout=2, stderr=open('log', 'w'))\n"
                                   "print(resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)\n"
                                   "sys.exit(run.returncode)\n";
        std::vector<std::string> command = {PYTHON_PROGRAM, "-c", script, program_path("vexlo-convert"),
                                            "--quiet"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        run_options options;
        options.work_dir = dir_.path();
        const ProgramResult result = run_program(command, options);
        const std::string log = read_text(dir_ / "log");
        EXPECT_EQ(result.status, status) << log.substr(0, 1000);
        if (status == 0) {
            EXPECT_EQ(log, "");
        }
        return result.out.empty() ? SIZE_MAX : std::stoul(result.out);
    }

    std::string output(const std::string &name) { return read_text(dir_ / ("out/" + name)); }

    // The value as an output must have it, given the form of one unit there.
    std::string whole(const std::string &unit) const { return repeated(unit, times_); }

    // EXPECT_EQ would print them.
    static void expect_same(const std::string &bytes, const std::string &expected) {
        if (bytes == expected)
            return;
        const auto difference = std::mismatch(bytes.begin(), bytes.end(), expected.begin(), expected.end());
        ADD_FAILURE() << bytes.size() << " bytes, not " << expected.size() << ", the first other one at "
                      << difference.first - bytes.begin();
    }

    static void expect_bounded(size_t peak) {
        if (!is_sanitized(program_path("vexlo-convert"))) { // whose own memory would count
            EXPECT_LE(peak, PEAK_MAX);
        }
    }

    bool has_sqlite() {
        return run_convert({"--to", "sqlite", dir_ / "L.dat", "--output", dir_ / "probe"})
                   .err.find("without the SQLite") == std::string::npos;
    }

    // The value of the first row in the database, and the type it is stored as.
    std::pair<std::string, std::string> from_database() {
        const std::string script = "import sqlite3, sys\n"
                                   "db = sqlite3.connect(sys.argv[1])\n"
                                   "db.text_factory = bytes\n"
                                   "print(db.execute('SELECT typeof(DOC) FROM T').fetchone()[0].decode())\n"
                                   "value = db.execute('SELECT DOC FROM T').fetchone()[0]\n"
                                   "open(sys.argv[2], 'wb').write(value)\n";
        const ProgramResult result =
            run_program({PYTHON_PROGRAM, "-c", script, dir_ / "out/L.sqlite", dir_ / "value"});
        EXPECT_EQ(result.status, 0) << result.err;
        return {read_text(dir_ / "value"), result.out};
    }

    scratch_dir dir_;
    size_t times_ = 0;
};

// The text in each format.
class LongText : public LongValues {
protected:
    void check_csv();
    void check_csv_for_psql();
    void check_json_lines();
    void check_postgresql_script();
    void check_sqlite_script();
    void check_sql_loader();
    void check_sqlite_database();
};

void LongText::check_csv() {
    expect_bounded(convert({"csv"}));
    expect_same(output("SCOTT.T.csv"),
                "ID,DOC\r\n1,\"" + whole(replaced(UNIT, "\"", "\"\"")) + "\"\r\n2,x\r\n");
}

// psql ends its input at the line that is "\.", so that its point has quotes.
void LongText::check_csv_for_psql() {
    expect_bounded(convert({"csv", "--dialect", "postgresql"}));
    expect_same(output("SCOTT.T.csv"),
                "ID,DOC\r\n1,\"" + whole(replaced(replaced(UNIT, "\"", "\"\""), "\n\\.", "\n\\\".\"")) +
                    "\"\r\n2,x\r\n");
}

void LongText::check_json_lines() {
    expect_bounded(convert({"jsonl"}));
    expect_same(output("SCOTT.T.jsonl"),
                "{\"ID\":1,\"DOC\":\"" + whole(in_json(UNIT)) + "\"}\n{\"ID\":2,\"DOC\":\"x\"}\n");
}

void LongText::check_postgresql_script() {
    expect_bounded(convert({"sql", "--dialect", "postgresql"}));
    const std::string script = output("SCOTT.T.sql");
    expect_same(script.substr(script.find("\n1\t") + 1),
                "1\t" + whole(in_copy(UNIT)) + "\n2\tx\n\\.\nCOMMIT;\n");
}

void LongText::check_sqlite_script() {
    expect_bounded(convert({"sql", "--dialect", "sqlite"}));
    const std::string script = output("SCOTT.T.sql");
    expect_same(script.substr(script.find("INSERT")), "INSERT INTO \"T\" VALUES (1,CAST(X'" +
                                                          whole(hex(UNIT)) +
                                                          "' AS TEXT));\nINSERT INTO \"T\" VALUES (2,'x');\n"
                                                          "COMMIT;\n");
}

void LongText::check_sql_loader() {
    expect_bounded(convert({"sqlldr"}));
    const std::string text = whole(UNIT);
    const auto digits = [](size_t count, size_t width) {
        const std::string number = std::to_string(count);
        return std::string(width - number.size(), '0') + number;
    };
    expect_same(output("SCOTT.T.ldr"), digits(6 + 1 + 10 + text.size(), 10) + "0000011" +
                                           digits(text.size(), 10) + text + "0000000018" + "0000012" +
                                           "0000000001x");
    EXPECT_NE(output("SCOTT.T.ctl").find("\"DOC\" VARCHARC(10," + std::to_string(text.size()) + ")"),
              std::string::npos);
}

// SQLite takes a text in one piece: that is what the memory is needed for.
void LongText::check_sqlite_database() {
    if (!has_sqlite())
        return;
    convert({"sqlite"});
    const auto [bytes, type] = from_database();
    expect_same(bytes, whole(UNIT));
    EXPECT_EQ(type, "text\n");
}

TEST_F(LongText, Csv) {
    write_dump(SHORT_LONG);
    check_csv();
}

TEST_F(LongText, CsvForPsql) {
    write_dump(SHORT_LONG);
    check_csv_for_psql();
}

TEST_F(LongText, JsonLines) {
    write_dump(SHORT_LONG);
    check_json_lines();
}

TEST_F(LongText, PostgresqlScript) {
    write_dump(SHORT_LONG);
    check_postgresql_script();
}

TEST_F(LongText, SqliteScript) {
    write_dump(SHORT_LONG);
    check_sqlite_script();
}

TEST_F(LongText, SqlLoader) {
    write_dump(SHORT_LONG);
    check_sql_loader();
}

TEST_F(LongText, SqliteDatabase) {
    write_dump(SHORT_LONG);
    check_sqlite_database();
}

TEST_F(LongText, SeventyMegabytesInEveryFormat) {
    write_dump(LONG_LONG);
    check_csv();
    check_csv_for_psql();
    check_json_lines();
    check_postgresql_script();
    check_sqlite_script();
    check_sql_loader();
    check_sqlite_database();
}

// The literals and characters of the statements that append to the variable, put together again.
std::string appended(const std::string &script) {
    constexpr std::string_view BEGIN = "DBMS_LOB.APPEND(v, ";
    std::string text;
    for (size_t at = 0; (at = script.find(BEGIN, at)) != std::string::npos;) {
        at += BEGIN.size();
        while (script.compare(at, 2, ");") != 0) {
            if (script[at] == '\'') {
                for (++at; script[at] != '\'' || script[at + 1] == '\''; ++at) {
                    text += script[at];
                    at += script[at] == '\'';
                }
                ++at;
            } else if (script.compare(at, 4, "CHR(") == 0) {
                text += static_cast<char>(std::stoi(script.substr(at + 4, 3)));
                at = script.find(')', at) + 1;
            } else {
                ++at; // ||
            }
        }
    }
    return text;
}

TEST_F(LongValues, OracleScriptAppendsToTheirRow) {
    write_dump(SHORT_LONG);
    expect_bounded(convert({"sql"}));
    const std::string script = output("SCOTT.T.sql");
    EXPECT_NE(
        script.find("VARIABLE appended_to VARCHAR2(18)\nBEGIN\nINSERT INTO \"T\" VALUES (1,\nEMPTY_CLOB()) "
                    "RETURNING ROWIDTOCHAR(ROWID) INTO :appended_to;\nEND;\n/\nBEGIN\nDECLARE\nv CLOB;\n"),
        std::string::npos);
    EXPECT_TRUE(script.ends_with(");\nEND;\nINSERT INTO \"T\" VALUES (2,\n'x');\nEND;\n/\nCOMMIT;\n"));
    expect_same(appended(script), whole(UNIT));
    size_t longest = 0;
    for (size_t at = 0, end; (end = script.find('\n', at)) != std::string::npos; at = end + 1)
        longest = std::max(longest, end - at);
    EXPECT_LE(longest, 2499U);
}

TEST_F(LongValues, BytesAreWrittenIntoTheirRowOfADatabase) {
    write_dump(LONG_LONG, 24, Bytes("\x00\xFFx", 3));
    if (!has_sqlite())
        GTEST_SKIP() << "built without SQLite";
    expect_bounded(convert({"sqlite"}));
    const auto [bytes, type] = from_database();
    expect_same(bytes, whole(Bytes("\x00\xFFx", 3)));
    EXPECT_EQ(type, "blob\n");
}

TEST_F(LongValues, BytesInCsv) {
    write_dump(SHORT_LONG, 24, Bytes("\x00\xFFx", 3));
    convert({"csv", "--dialect", "postgresql"});
    expect_same(output("SCOTT.T.csv"), "ID,DOC\r\n1,\\x" + whole("00FF78") + "\r\n2,\\x78\r\n");
}

// Nothing in the text says where a character begins, in UTF-8 or in a set of two bytes a character.
TEST_F(LongValues, CharactersAreNotCutBetweenPieces) {
    write_dump(SHORT_LONG, 8, "\xE4\xB8\xAD\xE6\x96\x87");
    convert({"csv"});
    expect_same(output("SCOTT.T.csv"),
                "ID,DOC\r\n1,\"" + whole("\xE4\xB8\xAD\xE6\x96\x87") + "\"\r\n2,x\r\n");
    write_dump(SHORT_LONG, 8, "\xD6\xD0\xCE\xC4", "ZHS16GBK");
    convert({"csv"});
    expect_same(output("SCOTT.T.csv"),
                "ID,DOC\r\n1,\"" + whole("\xE4\xB8\xAD\xE6\x96\x87") + "\"\r\n2,x\r\n");
}

// Of a row that the server would refuse nothing is in the output, and its values are all among the rejected.
TEST_F(LongValues, RowsOfARefusedLongAreRejectedWhole) {
    write_dump(SHORT_LONG, 8, Bytes("ab\0", 3));
    const ProgramResult result =
        run_convert({"--to", "csv", "--dialect", "postgresql", "--output", dir_ / "out", dir_ / "L.dat"});
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(output("SCOTT.T.csv"), "ID,DOC\r\n2,x\r\n");
    expect_same(output("SCOTT.T.csv.rejected"),
                "{\"_ROW\":1,\"_REASON\":\"column \\\"DOC\\\": the server has no place for NUL in a text\","
                "\"ID\":1,\"DOC\":\"" +
                    whole("ab\\u0000") + "\"}\n");
}

// As long as rows can be, in columns without LONGs.
TEST_F(LongValues, LargeRowsAreNotHeldInTheirNewForm) {
    constexpr size_t COLUMNS = 128, SIZE = 65000;
    Dump dump;
    dump.tables = {{.name = "T"}};
    std::vector<Bytes> values;
    for (size_t i = 0; i < COLUMNS; ++i) {
        dump.tables[0].columns.push_back({"C" + std::to_string(i), i % 16 != 1 ? 23U : 1U, 65530});
        values.push_back(value(Bytes(SIZE, i % 16 != 1 ? '\xAB' : '"')));
    }
    dump.tables[0].rows = {row(values), row(values)};
    write_text(dir_ / "L.dat", dump_bytes(dump));
    for (const std::vector<std::string> &format : {std::vector<std::string>{"csv"},
                                                   {"csv", "--dialect", "postgresql"},
                                                   {"jsonl"},
                                                   {"sql"},
                                                   {"sql", "--dialect", "sqlite"},
                                                   {"sqlldr"}})
        expect_bounded(convert(format));
    if (has_sqlite())
        expect_bounded(convert({"sqlite"}));
}

// A count in the header alone, of a file that has room for as many.
TEST_F(LongValues, TablesThatTheHeaderClaimsTakeNoMemory) {
    Dump dump;
    dump.tab_cnt = 0xFFFFFFFF;
    write_text(dir_ / "L.dat", dump_bytes(dump));
    resize_file(dir_ / "L.dat", size_t{20} << 30);
    expect_bounded(peak_of({"--list", "--quick", dir_ / "L.dat"}, 1));
    const std::string line = "vexlo-convert: " + (dir_ / "L.dat") + ": ";
    EXPECT_EQ(read_text(dir_ / "log"), line + "header says 4294967295 tables, the directory names 0\n" +
                                           line + "holds no tables: its unload did not finish\n");
}

} // namespace
