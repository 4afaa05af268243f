// Runs vexlo-convert as a user does.
#pragma once

#include <string>
#include <vector>

#include "process.h"

struct ProgramResult {
    int status; // -1 when a signal or a limit ended it
    std::string out;
    std::string err;     // without the line that sums up
    std::string summary; // that line without its seconds; empty when there is none
};

// Runs a program with arguments and waits for its end.
ProgramResult run_program(const std::vector<std::string> &command, vexlo_test::run_options options = {});

// Runs vexlo-convert.
ProgramResult run_convert(std::vector<std::string> arguments, const vexlo_test::run_options &options = {});

// The rows of an output as its format's own reader gives them: one JSON array of texts a line, null for NULL.
// `format` is csv, jsonl, sqlite, sqlite-sql or sqlldr; `path` the file, for sqlldr the control file.
std::string read_back(const std::string &format, const std::string &path, const std::string &table = "");
