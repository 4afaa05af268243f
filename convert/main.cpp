#include <exception>

#include "convert.h"
#include "list.h"
#include "options.h"
#include "report.h"

namespace {

int run(const convert::Options &options) {
    convert::Console console;
    convert::Report report(console);
    try {
        if (options.list)
            convert::list_files(options, report);
        else
            convert::Conversion(options, report).run();
    } catch (const std::exception &error) {
        report.failure(error.what());
    }
    return report.exit_status();
}

} // namespace

int main(int argc, char **argv) {
    convert::Options options;
    const int status = convert::parse_options(argc, argv, options);
    return status >= 0 ? status : run(options);
}
