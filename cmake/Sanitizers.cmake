# The whole tree is instrumented: a sanitizer that misses the library's own frames misses what matters.
if(KIV_SANITIZE)
    add_compile_options(-fsanitize=${KIV_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all -g)
    add_link_options(-fsanitize=${KIV_SANITIZE})
endif()
