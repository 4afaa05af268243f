// Names of owners, tables and columns come from the dump and may be anything: here they become file names and
// unique identifiers.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace vexlo {

// Bytes of the UTF-8 character at the start of `text`, which is not empty; 1 for what is no character.
size_t character_size(std::string_view text);

// `name` as one component of a path: "/", "%", "'", what other systems reserve, control characters and a
// leading "." are written as %XX, an empty name as "_", and the length is bounded, cut between
// characters. Never "." or "..", never with a "/".
std::string safe_file_name(std::string_view name);

// Names that have been given out so far; upper and lower case ASCII letters count as the same.
class UniqueNames {
public:
    static constexpr size_t ANY_SIZE = static_cast<size_t>(-1);

    // Names with a number have at most `size_max` bytes: they are cut, between characters, to make room.
    explicit UniqueNames(size_t size_max = ANY_SIZE) : size_max_(size_max) {}

    // `name`, or the first of name_2, name_3, ... that is still free.
    std::string take(const std::string &name);
    // A name that was given out is free again.
    void release(const std::string &name);

private:
    size_t size_max_;
    std::map<std::string, unsigned> taken_; // with the number to try next
};

// What becomes of names on their way to the target.
struct NameRules {
    bool lowercase;  // ASCII letters
    bool postgresql; // which takes 63 bytes and has names of its own
    bool sqlite;     // which has table names of its own

    // The most bytes that a name may have.
    size_t size_max() const;
    // The name with its letters in the case that is asked for, and nothing else changed.
    std::string in_case(const std::string &name) const;
    std::string apply(const std::string &name) const;
    std::string apply_to_owner(const std::string &name) const;
    std::string apply_to_table(const std::string &name) const;
    std::string apply_to_column(const std::string &name) const;
};

// `name`, or "_name" for the names that SQLite keeps for itself.
std::string sqlite_table_name(const std::string &name);

// `name` in double quotes, those inside it doubled; NUL bytes, which no target can hold there, are left out.
std::string quoted_identifier(std::string_view name);

} // namespace vexlo
