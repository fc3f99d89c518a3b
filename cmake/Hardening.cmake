# Compiles and links our shared libraries in a way that makes defects harder to exploit. A library that reads packets of
# strangers needs this.
#
# The flags are those of Debian's hardening=+all for a shared library. Where the target's processor can guard jumps and
# returns, two more are added.
#   - Compiler: a guard word in stack frames that hold arrays; probes in large frames; calls of the C library that check
#     the room of their destination; warnings about formats that are not literals.
#   - Linker: every symbol is resolved when the library is loaded, and the table of addresses is read-only from then on.
#
# The OS_ functions stay replaceable: early resolution still goes through the dynamic symbols. tests/package/hardening reads
# the properties from the finished library.
option(KIV_HARDENING "Harden the libraries; instrumented builds (KIV_SANITIZE) never are" ON)

include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

# Only some processors have these.
check_cxx_compiler_flag(-fstack-clash-protection KIV_HAS_STACK_CLASH_PROTECTION)
check_cxx_compiler_flag(-fcf-protection KIV_HAS_CF_PROTECTION)
check_linker_flag(CXX -Wl,-z,shstk KIV_HAS_SHADOW_STACK_NOTE)

function(kiv_harden target)
    # Sanitizers check the calls of the C library themselves. They do not see the checking variants of these calls.
    if(NOT KIV_HARDENING OR KIV_SANITIZE)
        return()
    endif()
    target_compile_options(${target} PRIVATE
        -fstack-protector-strong
        $<$<BOOL:${KIV_HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>
        $<$<BOOL:${KIV_HAS_CF_PROTECTION}>:-fcf-protection>
        -Wformat -Werror=format-security
        # Without optimisation the C library warns about this definition. Some compilers define the macro themselves.
        $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>
    )
    target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now)

    # The linker writes its notes about protected jumps and returns only if all objects have them. Debian's crti.o has
    # no landing pads for jumps: the note about jumps must not be set. Its returns are in order: the note about returns
    # is set.
    if(KIV_HAS_CF_PROTECTION AND KIV_HAS_SHADOW_STACK_NOTE)
        target_link_options(${target} PRIVATE -Wl,-z,shstk)
    endif()
endfunction()
