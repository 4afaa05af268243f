# vexlo_zlib: zlib for those that link it, with VEXLO_HAVE_ZLIB defined; nothing where the library is not installed.
find_package(ZLIB QUIET)
add_library(vexlo_zlib INTERFACE)
if(ZLIB_FOUND)
    target_link_libraries(vexlo_zlib INTERFACE ZLIB::ZLIB)
    target_compile_definitions(vexlo_zlib INTERFACE VEXLO_HAVE_ZLIB)
else()
    message(STATUS "Without zlib: compressed LOBs cannot be read, --compress gzip is not available")
endif()
