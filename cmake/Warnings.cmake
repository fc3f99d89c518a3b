# The language standard and the warnings of all our targets.
function(kiv_target_defaults target)
    target_compile_features(${target} PRIVATE cxx_std_17)
    set_target_properties(${target} PROPERTIES CXX_EXTENSIONS OFF)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wpedantic -Wshadow $<$<BOOL:${KIV_WARNINGS_AS_ERRORS}>:-Werror>
        $<$<CXX_COMPILER_ID:GNU>:-Wno-psabi> # no notes about a change of GCC 7 on 32-bit ARM
    )
endfunction()

# More warnings, for code that hosts run or copy: implicit conversions that may change a value, and uses of null
# pointers.
function(kiv_strict_warnings target)
    target_compile_options(${target} PRIVATE -Wconversion -Wnull-dereference)
endfunction()
