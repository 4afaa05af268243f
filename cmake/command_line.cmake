# The parser of command lines is a library of templates that runs once in a program: sources that include it are
# compiled by themselves and are not optimised, since that would take a twentieth of every build's time.
function(vexlo_parses_command_line source)
    set_source_files_properties(${source} PROPERTIES COMPILE_OPTIONS "-O0;-U_FORTIFY_SOURCE"
                                                     SKIP_UNITY_BUILD_INCLUSION ON)
endfunction()
