// A PostgreSQL server of the tests' own, on a socket in a scratch directory.
#pragma once

#include <string>
#include <vector>

#include "../program.h"

class PostgresqlServer {
public:
    // The server that all tests of the program share, started by the first one; null when its programs are
    // not installed. Throws when it cannot be started.
    static PostgresqlServer *get();

    // A name for a database that none has had.
    std::string next_name() { return "test" + std::to_string(++names_); }
    void create_database(const std::string &name);
    // Runs psql in the database.
    ProgramResult run_script(const std::string &database, const std::string &path,
                             const std::string &work_dir = "");
    // Options of psql that lead to a database.
    std::vector<std::string> connection(const std::string &database) const;
    // What a command prints, a line a row and "|" between the fields. Throws when it fails.
    std::string query(const std::string &database, const std::string &sql);
    ProgramResult command(const std::string &database, const std::string &sql);

    ~PostgresqlServer();

private:
    explicit PostgresqlServer(const std::string &programs);
    void start();
    std::vector<std::string> psql(const std::string &database) const;

    std::string programs_; // directory
    std::string directory_;
    int pid_ = -1;
    int names_ = 0;
};
