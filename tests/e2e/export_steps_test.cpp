// The 22 steps of an export: what they print, and what is left when one of them fails.
#include <filesystem>

#include "export_fixture.h"

using namespace vexlo_test;

namespace {

class ExportSteps : public ExportTest {
protected:
    static constexpr char MARK[] = "left by an earlier run";

    // A rule that acts on the nth opening of a dictionary file. An export opens each file to write it, its
    // sort opens it once to read and once to write.
    static std::string on_open(const std::string &file, int nth, const char *what = "errno=EIO") {
        return "call=open,path=/dict/" + file + ".dat,nth=" + std::to_string(nth) + "," + what;
    }

    std::string open_error(const char *file) const { return "open " + dict(file) + ": Input/output error\n"; }

    // How the step fails when its file cannot be opened.
    std::string refused(size_t i) const {
        const export_step &s = export_steps()[i];
        std::string lines = open_error(s.file);
        if (s.write != nullptr)
            lines += "write " + std::string(s.write) + " dictionary data error.\n";
        return failed_step(i, lines);
    }
};

TEST_F(ExportSteps, LabelsAndCountsOfAWholeExport) {
    build();
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    for (const char *table : {"USER$", "TS$", "OBJ$", "TAB$", "CLU$", "COL$", "IND$", "LOB$", "TABPART$",
                              "TABSUBPART$", "TABCOMPART$", "PROPS$"})
        EXPECT_GT(kept(table), 0U) << table;
}

TEST_F(ExportSteps, FilesHoldOneRecordForEachKeptRow) {
    build();
    transcript({"export dict"});
    for (const export_step &s : export_steps())
        EXPECT_EQ(read_file(dict(s.file)).size(), kept(s.table) * dictionary_files().at(s.file)) << s.file;
}

TEST_F(ExportSteps, ArgumentNeedsOnlyToBeginWithDict) {
    build();
    for (const char *command : {"export dict", "export dictionary", "export dict of everything"})
        EXPECT_EQ(transcript({command}), std::vector<std::string>{whole_export()}) << command;
}

TEST_F(ExportSteps, AnyOtherArgumentIsAFormatError) {
    build();
    const std::string error = std::string("export command format error.\n") + COMMAND_ERROR;
    EXPECT_EQ(transcript({"export", "export dic", "export DICT", "export xdict", "export tab"}),
              std::vector<std::string>(5, error));
    EXPECT_TRUE(dictionary().empty());
}

TEST_F(ExportSteps, ExportTwiceInARowGivesTheSameFiles) {
    build();
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    const auto first = dictionary();
    EXPECT_EQ(transcript({"export dict", "export dict"}), std::vector<std::string>(2, whole_export()));
    EXPECT_EQ(dictionary(), first);
}

TEST_F(ExportSteps, ExportReplacesLongerFilesOfAnEarlierRun) {
    build();
    transcript({"export dict"});
    const auto first = dictionary();
    for (const auto &[name, size] : dictionary_files())
        resize_file(dict(name), 100000);
    transcript({"export dict"});
    EXPECT_EQ(dictionary(), first);
}

TEST_F(ExportSteps, EachStepThatFailsEndsTheExportAndTheNextOneWorks) {
    build();
    transcript({"export dict"});
    const auto reference = dictionary();
    for (size_t i = 0; i < export_steps().size(); i++) {
        SCOPED_TRACE(export_steps()[i].label);
        run_options options;
        options.io_rules = on_open(export_steps()[i].file, export_steps()[i].write != nullptr ? 1 : 2);
        EXPECT_EQ(transcript({"export dict", "export dict"}, options),
                  (std::vector<std::string>{refused(i), whole_export()}));
        EXPECT_EQ(dictionary(), reference);
    }
}

TEST_F(ExportSteps, FailedStepLeavesTheFilesOfLaterStepsAlone) {
    build();
    for (size_t i = 0; i < export_steps().size(); i++) {
        SCOPED_TRACE(export_steps()[i].label);
        for (const auto &[name, size] : dictionary_files())
            write_text(dict(name), MARK);
        run_options options;
        options.io_rules = on_open(export_steps()[i].file, export_steps()[i].write != nullptr ? 1 : 2);
        transcript({"export dict"}, options);

        std::map<std::string, size_t> expected;
        for (const auto &[name, size] : dictionary_files())
            expected[name] = sizeof MARK - 1;
        for (size_t done = 0; done < i; done++) {
            const export_step &s = export_steps()[done];
            expected[s.file] = kept(s.table) * dictionary_files().at(s.file);
        }
        std::map<std::string, size_t> sizes;
        for (const auto &[name, content] : dictionary())
            sizes[name] = content.size();
        EXPECT_EQ(sizes, expected);
    }
}

TEST_F(ExportSteps, EachSortThatCannotWriteBackEndsTheExport) {
    build();
    for (size_t i = 0; i < export_steps().size(); i++) {
        if (export_steps()[i].write != nullptr)
            continue;
        SCOPED_TRACE(export_steps()[i].label);
        run_options options;
        options.io_rules = on_open(export_steps()[i].file, 3);
        EXPECT_EQ(
            transcript({"export dict", "export dict"}, options),
            (std::vector<std::string>{failed_step(i, open_error(export_steps()[i].file)), whole_export()}));
    }
}

TEST_F(ExportSteps, FullDiskLeavesAPartialFileAndTheNextExportWorks) {
    build();
    for (const char *label : {". . export user$", ". . export col$", ". . export props$"}) {
        const size_t i = step(label);
        const export_step &s = export_steps()[i];
        run_options options;
        options.io_rules = "call=write,path=/dict/" + std::string(s.file) + ".dat,nth=1,count=20;" +
                           "call=write,path=/dict/" + s.file + ".dat,nth=2,errno=ENOSPC";
        const std::string error = "write " + dict(s.file) + ": No space left on device\nwrite " + s.write +
                                  " dictionary data error.\n";
        EXPECT_EQ(transcript({"export dict"}, options), std::vector<std::string>{failed_step(i, error)});
        EXPECT_EQ(read_file(dict(s.file)).size(), 20U);
        EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{whole_export()});
    }
}

TEST_F(ExportSteps, InterruptedAndShortWritesAreContinued) {
    build();
    transcript({"export dict"});
    const auto reference = dictionary();
    for (const char *how : {"nth=1+2,errno=EINTR", "count=1001"}) {
        run_options options;
        options.io_rules = "call=write|read,path=.dat," + std::string(how);
        EXPECT_EQ(transcript({"export dict"}, options), std::vector<std::string>{whole_export()}) << how;
        EXPECT_EQ(dictionary(), reference) << how;
    }
}

TEST_F(ExportSteps, MissingDictionaryDirectoryFailsTheFirstStep) {
    build();
    std::filesystem::remove_all(scratch_.file("db/dict"));
    const std::string error = failed_step(
        0, "open " + dict("user") + ": No such file or directory\nwrite user dictionary data error.\n");
    EXPECT_EQ(transcript({"export dict", "export dict"}), std::vector<std::string>(2, error));
    EXPECT_FALSE(file_exists(scratch_.file("db/dict")));
}

TEST_F(ExportSteps, DirectoryInPlaceOfAFileFailsItsStep) {
    build();
    scratch_.make_dir("db/dict/tabpart.dat");
    EXPECT_EQ(transcript({"export dict"}),
              std::vector<std::string>{
                  failed_step(step(". . export tabpart$"), "open " + dict("tabpart") +
                                                               ": Is a directory\nwrite tabpart dictionary "
                                                               "data error.\n")});
    EXPECT_FALSE(file_exists(dict("tabsubpart")));
}

TEST_F(ExportSteps, FailedExportDoesNotDisturbTheCommandsBehindIt) {
    build();
    run_options options;
    options.io_rules = on_open("obj", 2);
    const run_result result = run({"export dict", "show user", "list users", "load nothing"}, options);
    EXPECT_EQ(result.end, ending::exited) << result.describe();
    EXPECT_EQ(result.status, 0) << result.describe();
    EXPECT_EQ(split_console(result.err).commands.at(0),
              failed_step(step(". . sort   obj$"), open_error("obj")));
}

TEST_F(ExportSteps, SpecialTableMissingInObjFailsItsSortAndKeepsTheFile) {
    options_.dictionary_hook = [](std::string_view table, sample::Row &row, sample::RowPlacement &) {
        return table != "OBJ$" || row.at(3) != sample::text("TABSUBPART$");
    };
    build();
    EXPECT_EQ(transcript({"export dict", "export dict"}),
              std::vector<std::string>(
                  2, failed_step(step(". . sort   obj$"), "table \"TABSUBPART$\" obj# not found.\n")));
    EXPECT_EQ(read_file(dict("obj")).size(), kept("OBJ$") * 48);
}

TEST_F(ExportSteps, SpecialTableMissingInTabFailsItsSort) {
    options_.dictionary_hook = [](std::string_view table, sample::Row &row, sample::RowPlacement &) {
        // LOB$ is the one member of number 6 of its cluster.
        return table != "TAB$" || row.at(5) != sample::number(6);
    };
    build();
    EXPECT_EQ(transcript({"export dict"}), std::vector<std::string>{failed_step(
                                               step(". . sort   tab$"), "\"LOB$\" not found in tab$.\n")});
}

} // namespace
