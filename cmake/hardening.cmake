# Hardening that costs no more than timings differ from run to run: addresses that change with every run, relocations
# that are read-only once the program runs, guards on stacks, and checked forms of the C library's calls. The last
# need an optimising compiler; builds for debugging and with the sanitizers, which have checks of their own in these
# places, do without all of it.
function(vexlo_harden target)
    if(VEXLO_SANITIZE OR VEXLO_FUZZ OR CMAKE_BUILD_TYPE STREQUAL Debug)
        return()
    endif()
    target_compile_options(${target} INTERFACE -fPIE -fstack-protector-strong)
    if(NOT VEXLO_STATIC) # which links as -static-pie
        target_link_options(${target} INTERFACE -pie)
    endif()
    target_link_options(${target} INTERFACE -Wl,-z,relro,-z,now)

    # Code of tests is not optimised in any build (VEXLO_QUICK).
    set(optimised "$<AND:$<CONFIG:Release,RelWithDebInfo,MinSizeRel>,$<NOT:$<BOOL:$<TARGET_PROPERTY:VEXLO_QUICK>>>>")
    target_compile_options(${target} INTERFACE "$<${optimised}:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
endfunction()
