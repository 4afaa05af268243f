#include <exception>

#include "rescue/check.h"
#include "rescue/list.h"
#include "rescue/options.h"
#include "rescue/unload_run.h"

namespace {

int run(const vexlo::RescueOptions &options, vexlo::Console &console) {
    switch (options.verb) {
    case vexlo::Verb::list:
        return vexlo::run_list(options, console);
    case vexlo::Verb::check:
        return vexlo::run_check(options, console);
    case vexlo::Verb::unload:
        break;
    }
    return vexlo::run_unload(options, console);
}

} // namespace

int main(int argc, char **argv) {
    vexlo::RescueOptions options;
    const int status = vexlo::parse_rescue_options({argv, argv + argc}, options);
    if (status >= 0)
        return status;
    vexlo::Console console(vexlo::RESCUE_PROGRAM);
    try {
        return run(options, console);
    } catch (const std::exception &error) {
        console.line(vexlo::printable(error.what()));
        return vexlo::EXIT_FAILED;
    }
}
