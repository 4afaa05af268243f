// The options of the command line that choose format and forms of an output, the same in every program that
// writes tables.
#pragma once

#include <string>

#include "output/format.h"

namespace CLI {
class App;
class Validator;
} // namespace CLI

namespace vexlo {

// For options whose value cannot be empty.
CLI::Validator not_empty();

// Options that take no value are given without one: "--list=false" is refused.
void refuse_flag_values(CLI::App &app);

class FormatFlags {
public:
    // Defines the options in `app`; they are stored in `options`, which like this must outlive the parsing.
    FormatFlags(CLI::App &app, FormatOptions &options);
    FormatFlags(const FormatFlags &) = delete;
    FormatFlags &operator=(const FormatFlags &) = delete;

    // Completes the options after parsing. Returns what is wrong with them, empty when nothing is. Without a
    // format every one of them is.
    std::string finish();

private:
    void define_csv();
    void define_scripts();
    std::string given_without_use() const;

    CLI::App &app_;
    FormatOptions &options_;
    std::string encoding_, eol_, delimiter_, json_numbers_, numbers_;
    bool no_header_ = false, ddl_only_ = false, data_only_ = false;
};

} // namespace vexlo
