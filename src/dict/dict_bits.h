// The bits of the dictionary's own flag and property columns by which rows become records.
#pragma once

#include <cstdint>

// TAB$.PROPERTY
constexpr uint32_t TAB_PROPERTY_TYPED = 0x1;
constexpr uint32_t TAB_PROPERTY_OBJECT_COLUMNS = 0x2;
constexpr uint32_t TAB_PROPERTY_NESTED_COLUMNS = 0x4;
constexpr uint32_t TAB_PROPERTY_ARRAY_COLUMNS = 0x10;
constexpr uint32_t TAB_PROPERTY_PARTITIONED = 0x20;
constexpr uint32_t TAB_PROPERTY_INDEX_ORGANIZED = 0x40;
constexpr uint32_t TAB_PROPERTY_CLUSTERED = 0x400;
constexpr uint32_t TAB_PROPERTY_LOBS = 0x800;
constexpr uint32_t TAB_PROPERTY_NESTED = 0x2000; // stores the rows of a nested table
constexpr uint32_t TAB_PROPERTY_QUEUE = 0x20000;
constexpr uint32_t TAB_PROPERTY_USER_LOBS = 0x40000;          // LOB columns of user-defined types
constexpr uint32_t TAB_PROPERTY_MATERIALIZED_VIEW = 0x100000; // has one that is refreshed on commit
constexpr uint32_t TAB_PROPERTY_GLOBAL_TEMPORARY = 0x400000;
constexpr uint32_t TAB_PROPERTY_EXTERNAL = 0x80000000;

// TAB$.FLAGS and CLU$.FLAGS
constexpr uint32_t FLAGS_ROW_DEPENDENCIES = 0x800000;

// COL$.PROPERTY
constexpr uint32_t COL_PROPERTY_HIDDEN = 0x20;
constexpr uint32_t COL_PROPERTY_DROPPED = 0x4000;
constexpr uint32_t COL_PROPERTY_UNUSED = 0x8000;
constexpr uint32_t COL_PROPERTY_ENCRYPTED = 0x4000000;
constexpr uint32_t COL_PROPERTY_ENCRYPTED_NO_SALT = 0x20000000;

// COL$.CHARSETFORM
constexpr uint32_t FORM_NATIONAL = 2; // NCHAR and its kin

// LOB$.FLAGS
constexpr uint32_t LOB_FLAGS_ENCRYPTED = 0x1000;
constexpr uint32_t LOB_FLAGS_COMPRESSED = 0x2000 | 0x4000 | 0x8000; // low, medium, high

// USER$.TYPE#
constexpr uint32_t USER_TYPE_USER = 1; // others are roles

// IND$.TYPE#
constexpr uint32_t INDEX_TYPE_LOB = 8;
