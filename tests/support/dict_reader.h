// Reader of the dictionary files: bare arrays of little-endian 32-bit fields and NUL-terminated names.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bytes.h"

namespace vexlo_test {

struct dict_user {
    std::uint32_t uid = 0, status = 0, dts = 0, tts = 0;
    std::string name;
    bool operator==(const dict_user &) const = default;
};

struct dict_ts {
    std::uint32_t tsn = 0, owner = 0;
    std::string name;
    bool operator==(const dict_ts &) const = default;
};

struct dict_obj {
    std::uint32_t flag = 0, objn = 0, owner = 0, type = 0;
    std::string name;
    bool operator==(const dict_obj &) const = default;
};

struct dict_tab {
    std::uint32_t flag = 0, objn = 0, objd = 0, objb = 0, tabn = 0, ncol = 0, ui = 0, oi = 0, coff = 0,
                  fno = 0, blk = 0, tsn = 0, tcol = 0, rsv = 0;
    bool operator==(const dict_tab &) const = default;
};

struct dict_cluster {
    std::uint32_t flag = 0, objn = 0, objd = 0, ncol = 0;
    bool operator==(const dict_cluster &) const = default;
};

struct dict_col {
    std::uint32_t flag = 0, objn = 0, cid = 0, scid = 0, ctyp = 0, clen = 0;
    std::string name;
    bool operator==(const dict_col &) const = default;
};

struct dict_ind {
    std::uint32_t flag = 0, objn = 0, objd = 0, objp = 0, tsn = 0, fno = 0, blk = 0, rsv = 0;
    bool operator==(const dict_ind &) const = default;
};

struct dict_lob {
    std::uint32_t flag = 0, objp = 0, cid = 0, objn = 0, indn = 0, chunk = 0, fno = 0, blk = 0, tsn = 0,
                  rsv = 0;
    bool operator==(const dict_lob &) const = default;
};

struct dict_tabpart {
    std::uint32_t flag = 0, objn = 0, objd = 0, objp = 0, oi = 0, fno = 0, blk = 0, tsn = 0;
    bool operator==(const dict_tabpart &) const = default;
};

struct dict_tabsubpart : dict_tabpart {
    bool operator==(const dict_tabsubpart &) const = default;
};

// Of a composite partition only flag, objn and objp have a meaning on disk.
struct dict_tabcompart : dict_tabpart {
    bool operator==(const dict_tabcompart &) const = default;
};

struct dict_props {
    std::string name;
    std::string value;
    bool operator==(const dict_props &) const = default;
};

// The records of a dictionary file's bytes, in file order. Throws std::runtime_error, with the offset,
// when the size is not a whole number of records or a name has no NUL. Record is one of the types above.
template <class Record>
std::vector<Record> parse_dict(const bytes &raw);

// The records of the file that belongs to the type (dict_user: "user.dat", dict_ind: "ind.dat", ...) in
// the directory `dict_dir`.
template <class Record>
std::vector<Record> read_dict(const std::string &dict_dir);

} // namespace vexlo_test
