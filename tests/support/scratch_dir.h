// A directory for the files of one test, and whole-file helpers. All helpers throw std::runtime_error,
// naming the path, when the file system refuses.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "bytes.h"

namespace vexlo_test {

// A new, empty directory below $TMPDIR (or /tmp), removed with everything in it when the object ends.
class scratch_dir {
public:
    scratch_dir();
    ~scratch_dir();
    scratch_dir(const scratch_dir &) = delete;
    scratch_dir &operator=(const scratch_dir &) = delete;

    // Absolute path, without a trailing "/".
    const std::string &path() const { return path_; }

    // Path of `name` inside the directory; nothing is created.
    std::string file(std::string_view name) const;

    // The same, to be written as a path is.
    std::string operator/(std::string_view name) const { return file(name); }

    // Creates the directory `name` and returns its path.
    std::string make_dir(std::string_view name) const;

private:
    std::string path_;
};

// Creates or replaces the file.
void write_file(const std::string &path, const bytes &data);

// Creates or replaces the file.
void write_text(const std::string &path, std::string_view text);

// The whole file.
bytes read_file(const std::string &path);

// The whole file.
std::string read_text(const std::string &path);

// Overwrites the bytes from `offset` on; the patch must lie inside the file, whose size stays.
void patch_file(const std::string &path, std::size_t offset, const bytes &data);

// Cuts the file, or extends it with zero bytes, to `size`.
void resize_file(const std::string &path, std::size_t size);

bool file_exists(const std::string &path);

// Permission bits (0644 and the like).
unsigned file_mode(const std::string &path);

// Sets the permission bits. The superuser is not bound by them.
void set_file_mode(const std::string &path, unsigned mode);

} // namespace vexlo_test
