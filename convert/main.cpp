#include <exception>

#include "convert/convert.h"
#include "convert/list.h"
#include "convert/options.h"
#include "output/report.h"
#include "output/unfinished_files.h"

namespace {

void convert(const vexlo::Options &options, vexlo::Report &report) {
    vexlo::remove_unfinished_on_signals();
    vexlo::Conversion(options, report).run();
}

int run(const vexlo::Options &options) {
    vexlo::Console console(vexlo::PROGRAM_NAME);
    vexlo::Report report(console);
    try {
        if (options.list)
            vexlo::list_files(options, report);
        else
            convert(options, report);
    } catch (const std::exception &error) {
        report.failure(vexlo::printable(error.what()));
    }
    return report.exit_status();
}

} // namespace

int main(int argc, char **argv) {
    vexlo::Options options;
    const int status = vexlo::parse_options(argc, argv, options);
    return status >= 0 ? status : run(options);
}
