# What every target of ours is compiled with.
function(kiv_target_defaults target)
    target_compile_features(${target} PRIVATE cxx_std_17)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow $<$<BOOL:${KIV_WARNINGS_AS_ERRORS}>:-Werror>
        $<$<CXX_COMPILER_ID:GNU>:-Wno-psabi> # no notes about what GCC 7 changed on 32-bit ARM
    )
endfunction()

# For what hosts run or copy: no value may change silently where types meet, and no path may lead through a null pointer.
function(kiv_strict_warnings target)
    target_compile_options(${target} PRIVATE -Wconversion -Wnull-dereference)
endfunction()
