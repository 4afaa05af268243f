// A directory of a test's own, removed with everything in it.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

class TemporaryDir {
public:
    TemporaryDir() {
        std::string name = (std::filesystem::temp_directory_path() / "vexlo_convert_XXXXXX").string();
        if (mkdtemp(name.data()) == nullptr)
            throw std::runtime_error("cannot create " + name);
        path_ = name;
    }
    ~TemporaryDir() { std::filesystem::remove_all(path_); }
    TemporaryDir(const TemporaryDir &) = delete;
    TemporaryDir &operator=(const TemporaryDir &) = delete;

    std::string path() const { return path_; }
    std::string operator/(const std::string &name) const { return path_ + "/" + name; }

private:
    std::string path_;
};
