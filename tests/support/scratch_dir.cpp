#include "scratch_dir.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace vexlo_test {
namespace {

namespace fs = std::filesystem;

[[noreturn]] void refuse(const std::string &what, const std::string &path) {
    throw std::runtime_error(what + " " + path);
}

template <class Container>
void write_whole(const std::string &path, const Container &data) {
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file.write(reinterpret_cast<const char *>(data.data()), static_cast<std::streamsize>(data.size()));
    if (!file.flush())
        refuse("cannot write", path);
}

template <class Container>
Container read_whole(const std::string &path) {
    std::ifstream file(path, std::ios::binary);
    if (!file)
        refuse("cannot open", path);
    Container data(fs::file_size(path), 0);
    file.read(reinterpret_cast<char *>(data.data()), static_cast<std::streamsize>(data.size()));
    if (!file)
        refuse("cannot read", path);
    return data;
}

} // namespace

scratch_dir::scratch_dir() {
    path_ = (fs::temp_directory_path() / "vexlo-test-XXXXXX").string();
    if (::mkdtemp(path_.data()) == nullptr)
        refuse("cannot create", path_);
}

scratch_dir::~scratch_dir() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

std::string scratch_dir::file(std::string_view name) const {
    return path_ + "/" + std::string(name);
}

std::string scratch_dir::make_dir(std::string_view name) const {
    const std::string dir = file(name);
    fs::create_directory(dir);
    return dir;
}

void write_file(const std::string &path, const bytes &data) {
    write_whole(path, data);
}

void write_text(const std::string &path, std::string_view text) {
    write_whole(path, text);
}

bytes read_file(const std::string &path) {
    return read_whole<bytes>(path);
}

std::string read_text(const std::string &path) {
    return read_whole<std::string>(path);
}

void patch_file(const std::string &path, std::size_t offset, const bytes &data) {
    const std::uintmax_t size = fs::file_size(path);
    if (offset > size || data.size() > size - offset)
        refuse("patch outside", path);
    std::fstream file(path, std::ios::binary | std::ios::in | std::ios::out);
    file.seekp(static_cast<std::streamoff>(offset));
    file.write(reinterpret_cast<const char *>(data.data()), static_cast<std::streamsize>(data.size()));
    if (!file.flush())
        refuse("cannot patch", path);
}

void resize_file(const std::string &path, std::size_t size) {
    fs::resize_file(path, size);
}

bool file_exists(const std::string &path) {
    return fs::exists(path);
}

unsigned file_mode(const std::string &path) {
    return static_cast<unsigned>(fs::status(path).permissions() & fs::perms::mask);
}

void set_file_mode(const std::string &path, unsigned mode) {
    fs::permissions(path, static_cast<fs::perms>(mode));
}

} // namespace vexlo_test
