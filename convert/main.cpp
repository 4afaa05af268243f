#include <exception>

#include "convert/convert.h"
#include "convert/list.h"
#include "convert/options.h"
#include "output/report.h"

namespace {

int run(const vexlo::Options &options) {
    vexlo::Console console(vexlo::PROGRAM_NAME);
    vexlo::Report report(console);
    try {
        if (options.list)
            vexlo::list_files(options, report);
        else
            vexlo::Conversion(options, report).run();
    } catch (const std::exception &error) {
        report.failure(error.what());
    }
    return report.exit_status();
}

} // namespace

int main(int argc, char **argv) {
    vexlo::Options options;
    const int status = vexlo::parse_options(argc, argv, options);
    return status >= 0 ? status : run(options);
}
