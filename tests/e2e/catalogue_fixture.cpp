#include "catalogue_fixture.h"

namespace vexlo_test {

catalogue_test::catalogue_test() {
    home_.store(content_);
}

void catalogue_test::expect_answers(const std::vector<answer> &answers) const {
    std::vector<std::string> commands{"load dict"}, err{load_lines(content_)};
    std::string out;
    for (const answer &expected : answers) {
        commands.push_back(expected.command);
        out += expected.out;
        err.push_back(expected.err);
    }
    expect_console(home_.run(commands), out, err);
}

} // namespace vexlo_test
