#include "rescue/file_search.h"

#include <glob.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>

#include "values/errors.h"

namespace vexlo {

namespace {

namespace fs = std::filesystem;

constexpr std::string_view LINE_SPACE = " \t\r\n";

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(LINE_SPACE);
    if (first == std::string_view::npos)
        return {};
    return text.substr(first, text.find_last_not_of(LINE_SPACE) - first + 1);
}

// The lines of a text file without comments and white space around them, empty ones left out.
std::vector<std::string> read_lines(const std::string &path) {
    std::ifstream file(path);
    if (!file)
        throw UsageError(path + ": cannot be opened: " + std::strerror(errno));
    std::vector<std::string> lines;
    for (std::string line; std::getline(file, line);) {
        const std::string_view text = trimmed(std::string_view(line).substr(0, line.find('#')));
        if (!text.empty())
            lines.emplace_back(text);
    }
    return lines;
}

void add_directory(const std::string &path, std::vector<FoundPath> &paths) {
    std::error_code error;
    std::vector<std::string> found;
    for (fs::directory_iterator it(path, error), end; !error && it != end; it.increment(error))
        if (std::error_code ignored; it->is_regular_file(ignored) || it->is_block_file(ignored))
            found.push_back(it->path().string());
    if (error)
        throw UsageError(path + ": cannot be read: " + error.message());
    if (found.empty())
        throw UsageError(path + ": holds no files");
    std::sort(found.begin(), found.end());
    for (std::string &file : found)
        paths.push_back({std::move(file), false});
}

void add_pattern(const std::string &pattern, std::vector<FoundPath> &paths) {
    glob_t matches{};
    if (glob(pattern.c_str(), GLOB_ERR, nullptr, &matches) != 0) {
        globfree(&matches);
        throw UsageError(pattern + ": no such file");
    }
    for (size_t i = 0; i < matches.gl_pathc; ++i)
        if (std::error_code ignored; !fs::is_directory(matches.gl_pathv[i], ignored))
            paths.push_back({matches.gl_pathv[i], false});
    globfree(&matches);
}

// A name that exists is taken as it is, whatever characters are in it.
void add_path(const std::string &path, std::vector<FoundPath> &paths) {
    std::error_code ignored;
    if (fs::is_directory(path, ignored))
        add_directory(path, paths);
    else if (fs::exists(fs::symlink_status(path, ignored)))
        paths.push_back({path, true});
    else
        add_pattern(path, paths);
}

void add_list(const std::string &path, FoundFiles &found) {
    const std::vector<std::string> lines = read_lines(path);
    if (lines.empty())
        throw UsageError(path + ": lists no files");
    for (const std::string &line : lines)
        found.paths.push_back({line, true});
    found.texts.push_back(path);
}

// The list that a configuration names: the last line that begins with the key counts.
std::string list_of_config(const std::string &path) {
    constexpr std::string_view KEY = "datafiles";
    std::string list;
    for (const std::string &line : read_lines(path)) {
        const size_t equals = line.find('=');
        if (line.starts_with(KEY) && equals != std::string::npos)
            list = trimmed(std::string_view(line).substr(equals + 1));
    }
    if (list.empty())
        throw UsageError(path + ": names no list of datafiles");
    return list;
}

} // namespace

FoundFiles find_files(const FileQuery &query) {
    FoundFiles found;
    for (const std::string &path : query.files)
        add_path(path, found.paths);
    if (!query.list.empty())
        add_list(query.list, found);
    if (!query.config.empty()) {
        add_list(list_of_config(query.config), found);
        found.texts.push_back(query.config);
    }
    if (query.files.empty() && query.list.empty() && query.config.empty())
        add_directory(".", found.paths);
    return found;
}

} // namespace vexlo
