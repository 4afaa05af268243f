// A program with a dictionary loaded, for tests of what the listings print.
#pragma once

#include <gtest/gtest.h>

#include "store_fixture.h"

namespace vexlo_test {

// Tests over small_dictionary(), or a changed one, that the program loads before each test's own commands.
class catalogue_test : public testing::Test {
protected:
    // What one command prints.
    struct answer {
        std::string command;
        std::string out;
        std::string err;
    };

    catalogue_test();

    // Changes the dictionary and stores it again.
    template <class CHANGE>
    void store_changed(CHANGE &&change) {
        change(content_);
        home_.store(content_);
    }

    // Loads, runs the commands and expects their answers.
    void expect_answers(const std::vector<answer> &answers) const;

    console_home home_;
    dictionary content_ = small_dictionary();
};

} // namespace vexlo_test
