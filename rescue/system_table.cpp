#include "rescue/system_table.h"

#include <algorithm>
#include <sstream>

namespace vexlo {

namespace {

constexpr CoreTable CORE_TABLES[] = {
    {"TAB$", 4, "C_OBJ#", 2, 1, "OBJ#",
     "DATAOBJ# TS# FILE# BLOCK# BOBJ# TAB# COLS CLUCOLS PCTFREE$ PCTUSED$ INITRANS MAXTRANS FLAGS AUDIT$ "
     "ROWCNT "
     "BLKCNT EMPCNT AVGSPC CHNCNT AVGRLN AVGSPC_FLB FLBCNT ANALYZETIME SAMPLESIZE DEGREE INSTANCES INTCOLS "
     "KERNELCOLS PROPERTY"},
    {"CLU$", 5, "C_OBJ#", 2, 2, "OBJ#",
     "DATAOBJ# TS# FILE# BLOCK# COLS PCTFREE$ PCTUSED$ INITRANS MAXTRANS SIZE$ HASHFUNC HASHKEYS FUNC EXTIND "
     "FLAGS"},
    {"TS$", 16, "C_TS#", 6, 2, "TS#",
     "NAME OWNER# ONLINE$ CONTENTS$ UNDOFILE# UNDOBLOCK# BLOCKSIZE INC# SCNWRP SCNBAS DFLMINEXT DFLMAXEXT "
     "DFLINIT "
     "DFLINCR DFLMINLEN DFLEXTPCT DFLOGGING AFFSTRENGTH BITMAPPED PLUGGED DIRECTALLOWED FLAGS"},
    {"FILE$", 17, "", 0, 0, "", "FILE# STATUS$ BLOCKS TS# RELFILE#"},
    {"OBJ$", 18, "", 0, 0, "",
     "OBJ# DATAOBJ# OWNER# NAME NAMESPACE SUBNAME TYPE# CTIME MTIME STIME STATUS REMOTEOWNER LINKNAME FLAGS"},
    {"IND$", 19, "C_OBJ#", 2, 3, "BO#",
     "OBJ# DATAOBJ# TS# FILE# BLOCK# INDMETHOD# COLS PCTFREE$ INITRANS MAXTRANS PCTTHRES$ TYPE#"},
    {"COL$", 21, "C_OBJ#", 2, 5, "OBJ#",
     "COL# SEGCOL# SEGCOLLENGTH OFFSET NAME TYPE# LENGTH FIXEDSTORAGE PRECISION# SCALE NULL$ DEFLENGTH "
     "SPARE6 "
     "INTCOL# PROPERTY CHARSETID CHARSETFORM SPARE1 SPARE2 SPARE3"},
    {"USER$", 22, "C_USER#", 10, 1, "USER#",
     "NAME TYPE# PASSWORD DATATS# TEMPTS# CTIME PTIME EXPTIME LTIME RESOURCE$ AUDIT$ DEFROLE DEFGRP# "
     "DEFGRP_SEQ# "
     "ASTATUS LCOUNT DEFSCHCLASS EXT_USERNAME SPARE1"},
    {"PROPS$", 98, "", 0, 0, "", "NAME VALUE$"},
    {"LOB$", 151, "C_OBJ#", 2, 6, "OBJ#",
     "COL# INTCOL# LOBJ# PART# IND# TS# FILE# BLOCK# CHUNK PCTVERSION$ FLAGS PROPERTY"},
    {"TABPART$", 0, "", 0, 0, "", "OBJ# DATAOBJ# BO# PART# HIBOUNDLEN HIBOUNDVAL TS# FILE# BLOCK#"},
    {"TABSUBPART$", 0, "", 0, 0, "", "OBJ# DATAOBJ# POBJ# SUBPART# FLAGS TS# FILE# BLOCK#"},
    {"TABCOMPART$", 0, "", 0, 0, "", "OBJ# DATAOBJ# BO# PART#"},
};

const CreateText *find_text(std::span<const CreateText> texts, std::string_view name, bool cluster) {
    const auto it = std::find_if(texts.begin(), texts.end(), [&](const CreateText &text) {
        return text.is_cluster == cluster && text.name == name;
    });
    return it == texts.end() ? nullptr : &*it;
}

// The data object number is left to the header: it is not in the statement.
SegmentRef segment_of(const CreateText &text, uint32_t tablespace) {
    return {tablespace, text.file, text.block, text.object, 0};
}

std::vector<std::string> split(std::string_view words) {
    std::istringstream in{std::string(words)};
    std::vector<std::string> result;
    for (std::string word; in >> word;)
        result.push_back(word);
    return result;
}

} // namespace

const CoreTable *find_core_table(std::string_view name) {
    const auto it = std::find_if(std::begin(CORE_TABLES), std::end(CORE_TABLES),
                                 [&](const CoreTable &core) { return core.name == name; });
    return it == std::end(CORE_TABLES) ? nullptr : it;
}

std::optional<SystemTable> define_table(const CreateText &text, std::span<const CreateText> texts,
                                        uint32_t tablespace) {
    const CreateText *place = text.cluster.empty() ? &text : find_text(texts, text.cluster, true);
    if (place == nullptr || place->block == 0 || text.columns.empty())
        return std::nullopt;
    SystemTable table{text.name, segment_of(*place, tablespace), text.cluster_table, text.key, {}};
    for (const CreateColumn &column : text.columns)
        if (std::find(text.key.begin(), text.key.end(), column.name) == text.key.end())
            table.columns.push_back(column.name);
    return table;
}

SystemTable define_table(const CoreTable &core, std::span<const CreateText> texts, uint32_t tablespace) {
    SystemTable table{std::string(core.name), {}, core.cluster_table, split(core.key), split(core.columns)};
    const uint32_t object = core.cluster.empty() ? core.object : core.cluster_object;
    const CreateText *place = core.cluster.empty() ? nullptr : find_text(texts, core.cluster, true);
    table.segment = place != nullptr ? segment_of(*place, tablespace)
                                     : SegmentRef{tablespace, 0, 0, object, object, true};
    return table;
}

} // namespace vexlo
