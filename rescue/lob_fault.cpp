#include "rescue/lob_fault.h"

namespace vexlo {

std::string_view lob_fault_text(LobFault fault) {
    switch (fault) {
    case LobFault::none:
        break;
    case LobFault::no_segment:
        return "the segment of the LOB is not known";
    case LobFault::lost:
        return "nothing leads to the data of the LOB";
    case LobFault::ambiguous:
        return "the pages in the index of the LOB can be read in two ways, and its blocks do not tell";
    case LobFault::exhausted:
        return "more LOBs lead to the blocks of the segment than can have any";
    case LobFault::missing_pages:
        return "blocks of the LOB are lost";
    case LobFault::unknown_length:
        return "the length of the LOB is lost, whole pages are given";
    case LobFault::length:
        return "the stated length of the LOB reaches behind its last chunk";
    case LobFault::damaged_stream:
        return "the compressed data of the LOB is damaged";
    case LobFault::list_block:
        return "the LOB lies behind a list of extents, which is not decoded";
    case LobFault::compress_low:
        return "the LOB is compressed by the method LOW, which is not decoded";
    case LobFault::deduplicated:
        return "the LOB is deduplicated, which is not decoded";
    case LobFault::encrypted:
        return "the LOB is encrypted";
    case LobFault::no_zlib:
        return "the LOB is compressed, and this program was built without zlib";
    }
    return {};
}

} // namespace vexlo
