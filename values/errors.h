// The exceptions of the program. Damage inside a dump is not one of them: it is reported and reading goes on.
#pragma once

#include <stdexcept>

namespace vexlo {

// The command line asks for something that cannot be done.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A file cannot be opened or read.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A file is no dump file at all.
struct NoDumpError : InputError {
    using InputError::InputError;
};

// An output file or database cannot be written.
struct OutputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

} // namespace vexlo
