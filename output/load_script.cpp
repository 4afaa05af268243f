#include "output/load_script.h"

#include <cstdio>
#include <fstream>
#include <string_view>

#include "output/create_table.h"

namespace vexlo {

namespace {

constexpr char NAME[] = "load";
constexpr char PLAIN_NAME[] = "vexlo_table"; // of a table while it is loaded
constexpr std::string_view MARK = "Loads what was converted into this directory";

// `text` as one word of a shell.
std::string shell_word(std::string_view text) {
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? "'\\''" : std::string(1, c);
    return word + "'";
}

// `text` as a literal of SQL and of psql, whose commands take a backslash as it is only behind E''.
std::string literal(std::string_view text) {
    std::string quoted = "'";
    for (const char c : text)
        quoted += c == '\'' ? "''" : std::string(1, c);
    return quoted + "'";
}

// The delimiter of CSV, which may be a control character.
std::string delimiter_literal(char c) {
    char text[8];
    std::snprintf(text, sizeof text, "E'\\x%02x'", static_cast<unsigned>(c));
    return text;
}

// What unpacks a file; `test` only finds out whether it is whole.
std::string unpack(const FormatOptions &options, const std::string &file, bool test) {
    return (options.compress == "gzip" ? "gzip -" : "zstd -q") + std::string(test ? "t " : "dc ") +
           shell_word(file);
}

// The words of a command that reads the file, from standard input when it is plain. A pipe has the status of
// its last command alone: that the file is whole is found out first.
std::string feed(const FormatOptions &options, const std::string &command, const std::string &file) {
    if (options.compress.empty())
        return command + " <" + shell_word(file) + "\n";
    return unpack(options, file, true) + "\n" + unpack(options, file, false) + " | " + command + "\n";
}

// `text` as standard input of the command.
std::string here_document(const std::string &command, const std::string &text) {
    std::string end = "END";
    while (("\n" + text).find("\n" + end + "\n") != std::string::npos)
        end += "_";
    return command + " <<'" + end + "'\n" + text + end + "\n";
}

bool is_load_script(const std::string &path) {
    constexpr size_t LOOK = 200;
    std::ifstream file(path, std::ios::binary);
    std::string begin(LOOK, '\0');
    file.read(begin.data(), static_cast<std::streamsize>(begin.size()));
    return begin.find(MARK) != std::string::npos;
}

bool exists(const std::string &path) {
    return std::ifstream(path).good();
}

} // namespace

LoadScript::Kind LoadScript::kind_of(const FormatOptions &options) {
    const Dialect dialect = dialect_of(options.dialect);
    if (options.format == "sqlldr")
        return Kind::shell;
    if (options.format == "csv")
        return dialect == Dialect::postgresql ? Kind::psql : Kind::none;
    if (options.format != "sql")
        return Kind::none;
    if (dialect == Dialect::oracle || dialect == Dialect::none || !options.compress.empty())
        return Kind::shell;
    return dialect == Dialect::postgresql ? Kind::psql : Kind::sqlite;
}

LoadScript::LoadScript(const FormatOptions &options, Destination &destination)
    : options_(options), destination_(destination),
      kind_(destination.is_standard_output() ? Kind::none : kind_of(options)) {
    if (kind_ != Kind::none)
        path_ =
            destination.reserve(NAME, part_suffix(options.part) + (kind_ == Kind::shell ? ".sh" : ".sql"));
}

void LoadScript::add(uint64_t number, const Table &table, const std::string &path,
                     const std::string &charset) {
    if (kind_ == Kind::none)
        return;
    const std::string file = path.substr(path.rfind('/') + 1);
    Entry entry{table.owner, commands_for(table, file, charset)};
    const std::lock_guard lock(mutex_);
    tables_.emplace(number, std::move(entry));
}

std::string LoadScript::commands_for(const Table &table, const std::string &file,
                                     const std::string &charset) const {
    switch (kind_) {
    case Kind::psql:
        return psql_commands(table, file);
    case Kind::sqlite:
        return ".read " + literal(file) + "\n";
    case Kind::shell:
        return shell_commands(table, file, charset);
    case Kind::none:
        break;
    }
    return "";
}

// \copy is one line, in which no name with a line end can stand.
std::string LoadScript::psql_commands(const Table &table, const std::string &file) const {
    if (options_.format == "sql")
        return "\\ir " + literal(file) + "\n";
    const std::string source =
        options_.compress.empty() ? literal(file) : "program " + literal(unpack(options_, file, false));
    const bool one_line = table.name.find_first_of("\r\n") == std::string::npos;
    const std::string name = quoted_identifier(table.name), loading = one_line ? name : PLAIN_NAME;
    const auto rename = [&](const std::string &from, const std::string &to) {
        return one_line ? "" : "ALTER TABLE " + from + " RENAME TO " + to + ";\n";
    };
    return "BEGIN;\n" + create_table_statement(table, table.name, Dialect::postgresql) + ";\n" +
           rename(name, loading) + "\\copy " + loading + " from " + source + " with (format csv, header " +
           (options_.header ? "true" : "false") + ", delimiter " + delimiter_literal(options_.delimiter) +
           ", null " + literal(options_.null_text) + ", encoding 'UTF8')\n" + rename(loading, name) +
           "COMMIT;\n";
}

std::string LoadScript::shell_commands(const Table &table, const std::string &file,
                                       const std::string &charset) const {
    const Dialect dialect = dialect_of(options_.dialect);
    if (dialect == Dialect::postgresql)
        return feed(options_, "psql -X -q -v ON_ERROR_STOP=1 \"$@\"", file);
    if (dialect == Dialect::sqlite)
        return feed(options_, "sqlite3 -bail \"$@\"", file);
    const std::string language = "NLS_LANG=AMERICAN_AMERICA." + charset + "\nexport NLS_LANG\n";
    if (options_.format == "sql")
        return language + feed(options_, "sqlplus -S -L \"$1\"", file);
    return language +
           here_document("sqlplus -S -L \"$1\"",
                         "WHENEVER SQLERROR EXIT FAILURE ROLLBACK\nSET DEFINE OFF\n" +
                             create_table_statement(table, table.name, Dialect::oracle) + ";\n") +
           "sqlldr \"userid=$1\" " + shell_word("control='" + file + "'") + "\n";
}

// What stands before the commands of all tables.
std::string LoadScript::head() const {
    const std::string mark(MARK), name = path_.substr(path_.rfind('/') + 1);
    if (kind_ == Kind::sqlite)
        return "-- " + mark + ": run it there, as in sqlite3 DATABASE <" + name + "\n.bail on\n";
    if (kind_ == Kind::psql)
        return "-- " + mark + ": run it there, as in psql -d DATABASE -f " + name +
               "\n\\set ON_ERROR_STOP on\n";
    const Dialect dialect = dialect_of(options_.dialect);
    const bool oracle = dialect == Dialect::oracle || dialect == Dialect::none;
    const std::string arguments = oracle                           ? "USER/PASSWORD@DATABASE"
                                  : dialect == Dialect::postgresql ? "OPTIONS-OF-PSQL..."
                                                                   : "DATABASE";
    const std::string count =
        dialect == Dialect::postgresql
            ? ""
            : "if [ $# -ne 1 ]; then\n    echo \"usage: $0 " + arguments + "\" >&2\n    exit 2\nfi\n";
    return "#!/bin/sh\n# " + mark + ": sh " + name + " " + arguments + "\nset -eu\n" + count +
           "CDPATH= cd -- \"$(dirname -- \"$0\")\"\n" +
           (oracle ? "NLS_NUMERIC_CHARACTERS='.,'\nexport NLS_NUMERIC_CHARACTERS\n" : "");
}

// Tables of several owners may have the same names: in PostgreSQL each owner gets a schema then.
std::string LoadScript::schema_switch(const std::string &owner, bool several) const {
    if (!several || kind_ != Kind::psql || owner.empty())
        return "";
    const std::string schema = quoted_identifier(owner);
    return "CREATE SCHEMA IF NOT EXISTS " + schema + ";\nSET search_path = " + schema + ";\n";
}

std::string LoadScript::text() const {
    std::set<std::string> owners;
    for (const auto &[number, entry] : tables_)
        owners.insert(entry.owner);
    std::string text = head();
    std::string current;
    for (const auto &[number, entry] : tables_) {
        if (entry.owner != current)
            text += schema_switch(entry.owner, owners.size() > 1);
        current = entry.owner;
        text += entry.commands;
    }
    return text;
}

void LoadScript::write(Report &report) {
    if (tables_.empty())
        return;
    if (exists(path_) && !is_load_script(path_)) {
        report.note(path_ + ": not written by this program, stays as it is");
        return;
    }
    const std::unique_ptr<OutputFile> file = destination_.open_path(path_);
    file->append(text());
    file->finish();
}

} // namespace vexlo
