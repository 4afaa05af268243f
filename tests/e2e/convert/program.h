// Runs vexlo-convert as a user does.
#pragma once

#include <string>
#include <vector>

struct ProgramResult {
    int status;
    std::string out;
    std::string err;
};

// Runs a program with arguments and waits for its end.
ProgramResult run_program(const std::vector<std::string> &command);

// Runs vexlo-convert.
ProgramResult run_convert(std::vector<std::string> arguments);

// The rows of an output as its format's own reader gives them: one JSON array of texts a line, null for NULL.
// `format` is csv, jsonl, sqlite, sqlite-sql or sqlldr; `path` the file, for sqlldr the control file.
std::string read_back(const std::string &format, const std::string &path, const std::string &table = "");
