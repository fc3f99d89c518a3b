# With KIV_SANITIZE the whole tree is instrumented: the library, too, and not only the tests.
if(KIV_SANITIZE)
    add_compile_options(-fsanitize=${KIV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g)
    add_link_options(-fsanitize=${KIV_SANITIZE})
endif()

# Debug and instrumented builds check the statements that hold between any two calls
# (kiv/foundation/detail/Invariant.h).
add_compile_definitions($<$<CONFIG:Debug>:KIV_CHECK_INVARIANTS>)
if(KIV_SANITIZE)
    add_compile_definitions(KIV_CHECK_INVARIANTS)
endif()
