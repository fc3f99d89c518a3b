# The whole tree is instrumented: a sanitizer that misses the library's own frames misses what matters.
if(KIV_SANITIZE)
    add_compile_options(-fsanitize=${KIV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g)
    add_link_options(-fsanitize=${KIV_SANITIZE})
endif()

# Statements that hold between any two calls (kiv/foundation/detail/Invariant.h) are checked where somebody looks for faults.
add_compile_definitions($<$<CONFIG:Debug>:KIV_CHECK_INVARIANTS>)
if(KIV_SANITIZE)
    add_compile_definitions(KIV_CHECK_INVARIANTS)
endif()
