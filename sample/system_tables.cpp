#include "system_tables.h"

#include <algorithm>
#include <sstream>
#include <stdexcept>

#include "vexlo.h"

namespace sample {

namespace {

constexpr SystemCluster CLUSTERS[] = {
    {"C_OBJ#", 2, "OBJ#"},
    {"C_TS#", 6, "TS#"},
    {"C_USER#", 10, "USER#"},
    {"C_COBJ#", 29, "OBJ#", true},
};

constexpr SystemTable TABLES[] = {
    {"TAB$", 4, "C_OBJ#", 1, "OBJ#",
     "OBJ# n! DATAOBJ# n TS# n! FILE# n! BLOCK# n! BOBJ# n TAB# n COLS n! CLUCOLS n PCTFREE$ n! PCTUSED$ n! "
     "INITRANS n! MAXTRANS n! FLAGS n! AUDIT$ v38! ROWCNT n BLKCNT n EMPCNT n AVGSPC n CHNCNT n AVGRLN n "
     "AVGSPC_FLB n FLBCNT n ANALYZETIME d SAMPLESIZE n DEGREE n INSTANCES n INTCOLS n! KERNELCOLS n! "
     "PROPERTY n! "
     "TRIGFLAG n SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 SPARE5 v1000 SPARE6 d",
     true},
    {"CLU$", 5, "C_OBJ#", 2, "OBJ#",
     "OBJ# n! DATAOBJ# n TS# n! FILE# n! BLOCK# n! COLS n! PCTFREE$ n! PCTUSED$ n! INITRANS n! MAXTRANS n! "
     "SIZE$ n HASHFUNC v30 HASHKEYS n FUNC n EXTIND n FLAGS n DEGREE n INSTANCES n AVGCHN n SPARE1 n SPARE2 "
     "n "
     "SPARE3 n SPARE4 n SPARE5 v1000 SPARE6 v1000 SPARE7 d",
     true},
    {"FET$", 12, "C_TS#", 1, "TS#", "TS# n! FILE# n! BLOCK# n! LENGTH n!", true},
    {"TS$", 16, "C_TS#", 2, "TS#",
     "TS# n! NAME v30! OWNER# n! ONLINE$ n! CONTENTS$ n! UNDOFILE# n UNDOBLOCK# n BLOCKSIZE n! INC# n! "
     "SCNWRP n "
     "SCNBAS n DFLMINEXT n! DFLMAXEXT n! DFLINIT n! DFLINCR n! DFLMINLEN n! DFLEXTPCT n! DFLOGGING n! "
     "AFFSTRENGTH n! BITMAPPED n! PLUGGED n! DIRECTALLOWED n! FLAGS n! PITRSCNWRP n PITRSCNBAS n "
     "OWNERINSTANCE v30 BACKUPOWNER v30 GROUPNAME v30 SPARE1 n SPARE2 n SPARE3 v1000 SPARE4 d",
     true},
    {"FILE$", 17, "", 0, "",
     "FILE# n! STATUS$ n! BLOCKS n! TS# n RELFILE# n MAXEXTEND n INC n CRSCNWRP n CRSCNBAS n "
     "OWNERINSTANCE v30 SPARE1 n SPARE2 n SPARE3 v1000 SPARE4 d",
     true, true},
    {"OBJ$", 18, "", 0, "",
     "OBJ# n! DATAOBJ# n OWNER# n! NAME v30! NAMESPACE n! SUBNAME v30 TYPE# n! CTIME d! MTIME d! STIME d! "
     "STATUS n! REMOTEOWNER v30 LINKNAME v128 FLAGS n OID$ r16 SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 "
     "SPARE5 v1000 SPARE6 d",
     true, false,
     "OBJ# n! DATAOBJ# n OWNER# n! NAME v128! NAMESPACE n! SUBNAME v128 TYPE# n! CTIME d! MTIME d! STIME d! "
     "STATUS n! REMOTEOWNER v128 LINKNAME v128 FLAGS n OID$ r16 SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 "
     "SPARE5 v1000 SPARE6 d SIGNATURE r16 SPARE7 n SPARE8 n SPARE9 n"},
    {"IND$", 19, "C_OBJ#", 3, "BO#",
     "OBJ# n! DATAOBJ# n TS# n! FILE# n! BLOCK# n! BO# n! INDMETHOD# n! COLS n! PCTFREE$ n! INITRANS n! "
     "MAXTRANS n! PCTTHRES$ n TYPE# n! FLAGS n! PROPERTY n! BLEVEL n LEAFCNT n DISTKEY n LBLKKEY n DBLKKEY n "
     "CLUFAC n ANALYZETIME d SAMPLESIZE n ROWCNT n INTCOLS n! DEGREE n INSTANCES n TRUNCCNT n SPARE1 n "
     "SPARE2 n "
     "SPARE3 n SPARE4 v1000 SPARE5 v1000 SPARE6 d",
     true},
    {"ICOL$", 20, "C_OBJ#", 4, "BO#",
     "OBJ# n! BO# n! COL# n! POS# n! SEGCOL# n! SEGCOLLENGTH n! OFFSET n! INTCOL# n! SPARE1 n SPARE2 n "
     "SPARE3 n "
     "SPARE4 v1000 SPARE5 v1000 SPARE6 d",
     true},
    {"COL$", 21, "C_OBJ#", 5, "OBJ#",
     "OBJ# n! COL# n! SEGCOL# n! SEGCOLLENGTH n! OFFSET n! NAME v30! TYPE# n! LENGTH n! FIXEDSTORAGE n! "
     "PRECISION# n SCALE n NULL$ n! DEFLENGTH n SPARE6 d INTCOL# n! PROPERTY n! CHARSETID n CHARSETFORM n "
     "SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 SPARE5 v1000 DEFAULT$ l",
     true, false,
     "OBJ# n! COL# n! SEGCOL# n! SEGCOLLENGTH n! OFFSET n! NAME v128! TYPE# n! LENGTH n! FIXEDSTORAGE n! "
     "PRECISION# n SCALE n NULL$ n! DEFLENGTH n SPARE6 d INTCOL# n! PROPERTY n! CHARSETID n CHARSETFORM n "
     "EVALEDITION# n UNUSABLEBEFORE# n UNUSABLEBEGINNING# n SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 "
     "SPARE5 v1000 SPARE7 n SPARE8 n DEFAULT$ l"},
    {"USER$", 22, "C_USER#", 1, "USER#",
     "USER# n! NAME v30! TYPE# n! PASSWORD v30 DATATS# n! TEMPTS# n! CTIME d! PTIME d EXPTIME d LTIME d "
     "RESOURCE$ n! AUDIT$ v38 DEFROLE n! DEFGRP# n DEFGRP_SEQ# n ASTATUS n! LCOUNT n! DEFSCHCLASS v30 "
     "EXT_USERNAME v4000 SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 SPARE5 v1000 SPARE6 d",
     true, false,
     "USER# n! NAME v128! TYPE# n! PASSWORD v4000 DATATS# n! TEMPTS# n! CTIME d! PTIME d EXPTIME d LTIME d "
     "RESOURCE$ n! AUDIT$ v38 DEFROLE n! DEFGRP# n DEFGRP_SEQ# n ASTATUS n! LCOUNT n! DEFSCHCLASS v128 "
     "EXT_USERNAME v4000 SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 SPARE5 v1000 SPARE6 d SPARE7 v4000 "
     "SPARE8 v4000 SPARE9 n SPARE10 n SPARE11 t"},
    {"CON$", 28, "", 0, "",
     "OWNER# n! NAME v30! CON# n! SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 SPARE5 v1000 SPARE6 d", true, true,
     "OWNER# n! NAME v128! CON# n! SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 SPARE5 v1000 SPARE6 d"},
    {"CDEF$", 31, "C_COBJ#", 1, "OBJ#",
     "CON# n! OBJ# n! COLS n TYPE# n! ROBJ# n RCON# n RRULES v3 MATCH# n REFACT n ENABLED n CONDLENGTH n "
     "INTCOLS n MTIME d DEFER n SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 SPARE5 v1000 SPARE6 d CONDITION l",
     true, true},
    {"CCOL$", 32, "C_COBJ#", 2, "OBJ#",
     "CON# n! OBJ# n! COL# n! POS# n INTCOL# n! SPARE1 n SPARE2 n SPARE3 n SPARE4 v1000 SPARE5 v1000 SPARE6 "
     "d",
     true, true},
    {"BOOTSTRAP$", 56, "", 0, "", "LINE# n! OBJ# n! SQL_TEXT v4000!", true},
    {"PROPS$", 98, "", 0, "", "NAME v30! VALUE$ v4000 COMMENT$ v4000", false, false,
     "NAME v128! VALUE$ v4000 COMMENT$ v4000"},
    {"ECOL$", 126, "", 0, "", "TABOBJ# n COLNUM n BINARYDEFVAL b", false, true,
     "TABOBJ# n COLNUM n BINARYDEFVAL b GUARD_ID n"},
    {"LOB$", 151, "C_OBJ#", 6, "OBJ#",
     "OBJ# n! COL# n! INTCOL# n! LOBJ# n! PART# n IND# n! TS# n! FILE# n! BLOCK# n! CHUNK n! PCTVERSION$ n! "
     "FLAGS n! PROPERTY n! RETENTION n! FREEPOOLS n! SPARE1 n SPARE2 n SPARE3 v255",
     false},
    {"LOBFRAG$", 158, "", 0, "",
     "FRAGOBJ# n! PARENTOBJ# n! TABFRAGOBJ# n! INDFRAGOBJ# n! FRAG# n! FRAGTYPE$ c1! TS# n! FILE# n! BLOCK# "
     "n! "
     "CHUNK n! PCTVERSION$ n! FRAGFLAGS n! FRAGPRO n! SPARE1 n SPARE2 n SPARE3 n",
     false, true},
    {"PARTOBJ$", 262, "", 0, "",
     "OBJ# n! PARTTYPE n! PARTCNT n! PARTKEYCOLS n! FLAGS n DEFTS# n DEFPCTFREE n! DEFPCTUSED n! "
     "DEFPCTTHRES n DEFINITRANS n! DEFMAXTRANS n! DEFTINIEXTS n DEFEXTSIZE n DEFMINEXTS n DEFMAXEXTS n "
     "DEFEXTPCT n DEFLISTS n! DEFGROUPS n! DEFLOGGING n! SPARE1 n SPARE2 n SPARE3 n DEFINCLCOL n "
     "PARAMETERS v1000",
     false, true},
    {"TABPART$", 264, "", 0, "",
     "OBJ# n! DATAOBJ# n BO# n! PART# n! HIBOUNDLEN n! HIBOUNDVAL l TS# n! FILE# n! BLOCK# n! PCTFREE$ n! "
     "PCTUSED$ n! INITRANS n! MAXTRANS n! FLAGS n! ANALYZETIME d SAMPLESIZE n ROWCNT n BLKCNT n EMPCNT n "
     "AVGSPC n "
     "CHNCNT n AVGRLN n PHYPART# n SPARE1 n SPARE2 n SPARE3 n",
     false},
    {"INDPART$", 266, "", 0, "",
     "OBJ# n! DATAOBJ# n BO# n! PART# n! HIBOUNDLEN n! FLAGS n! TS# n! FILE# n! BLOCK# n! PCTFREE$ n! "
     "PCTTHRES$ n INITRANS n! MAXTRANS n! ANALYZETIME d SAMPLESIZE n ROWCNT n BLEVEL n LEAFCNT n DISTKEY n "
     "LBLKKEY n DBLKKEY n CLUFAC n SPARE1 n SPARE2 n SPARE3 n INCLCOL n HIBOUNDVAL l",
     false, true},
    {"TABSUBPART$", 268, "", 0, "",
     "OBJ# n! DATAOBJ# n POBJ# n! SUBPART# n! FLAGS n! TS# n! FILE# n! BLOCK# n! PCTFREE$ n! PCTUSED$ n! "
     "INITRANS n! MAXTRANS n! ANALYZETIME d SAMPLESIZE n ROWCNT n BLKCNT n EMPCNT n AVGSPC n CHNCNT n AVGRLN "
     "n "
     "SPARE1 n SPARE2 n SPARE3 n HIBOUNDLEN n! HIBOUNDVAL l",
     false},
    {"TABCOMPART$", 272, "", 0, "",
     "OBJ# n! DATAOBJ# n BO# n! PART# n! HIBOUNDLEN n HIBOUNDVAL l SUBPARTCNT n! FLAGS n! DEFTS# n! "
     "DEFPCTFREE n! DEFPCTUSED n! DEFINITRANS n! DEFMAXTRANS n! DEFINIEXTS n DEFEXTSIZE n DEFMINEXTS n "
     "DEFMAXEXTS n DEFEXTPCT n DEFLISTS n DEFGROUPS n DEFLOGGING n! DEFBUFPOOL n! ANALYZETIME d SAMPLESIZE n "
     "ROWCNT n BLKCNT n EMPCNT n AVGSPC n CHNCNT n AVGRLN n SPARE1 n SPARE2 n SPARE3 n",
     false},
};

ColumnDef parse_column(std::string name, std::string type) {
    bool required = type.back() == '!';
    if (required)
        type.pop_back();
    auto length = [&] { return static_cast<uint32_t>(std::stoul(type.substr(1))); };
    auto make = [&] {
        switch (type.front()) {
        case 'n':
            return number_column(std::move(name));
        case 'd':
            return date_column(std::move(name));
        case 'c':
            return char_column(std::move(name), length());
        case 't':
            return typed_column(std::move(name), TYPE_TIMESTAMP, 11);
        case 'b':
            return typed_column(std::move(name), TYPE_BLOB, 4000);
        case 'l':
            return typed_column(std::move(name), TYPE_LONG, 0);
        case 'r':
            return typed_column(std::move(name), TYPE_RAW, length());
        case 'v':
            return varchar2_column(std::move(name), length());
        default:
            throw std::invalid_argument("unknown column type " + type);
        }
    };
    ColumnDef def = make();
    def.nullable = !required;
    return def;
}

template <typename Entry, size_t COUNT>
std::vector<Entry> in_layout(const Entry (&entries)[COUNT], const DictionaryLayout &layout) {
    std::vector<Entry> chosen;
    for (const Entry &e : entries)
        if (layout.full || !e.full_only)
            chosen.push_back(e);
    return chosen;
}

template <typename Entries>
size_t find_system(const Entries &entries, std::string_view name) {
    auto it = std::find_if(entries.begin(), entries.end(),
                           [&](const auto &e) { return e.def.owner == USER_SYS && e.def.name == name; });
    if (it == entries.end())
        throw std::out_of_range("no SYS object " + std::string(name));
    return static_cast<size_t>(it - entries.begin());
}

} // namespace

std::vector<SystemCluster> system_clusters(const DictionaryLayout &layout) {
    return in_layout(CLUSTERS, layout);
}

std::vector<SystemTable> system_tables(const DictionaryLayout &layout) {
    std::vector<SystemTable> tables = in_layout(TABLES, layout);
    for (SystemTable &t : tables)
        if (layout.version == DictionaryVersion::v12 && !t.columns_v12.empty())
            t.columns = t.columns_v12;
    return tables;
}

std::vector<ColumnDef> parse_columns(std::string_view text) {
    std::vector<ColumnDef> columns;
    std::istringstream in{std::string(text)};
    std::string name;
    std::string type;
    while (in >> name >> type)
        columns.push_back(parse_column(name, type));
    return columns;
}

size_t find_system_table(const Model &model, std::string_view name) {
    return find_system(model.tables, name);
}

size_t find_system_cluster(const Model &model, std::string_view name) {
    return find_system(model.clusters, name);
}

} // namespace sample
