# Makes a defect in a shared library of ours harder to exploit: a library that reads packets of strangers needs this most.
#
# The flags are those of Debian's hardening=+all for a shared library. Where the target's processor can guard jumps and
# returns, two more are added.
#   - Compiler: a guard word in stack frames that hold arrays; probes in large frames; calls of the C library that check the
#     room of their destination; warnings about formats that are not literals.
#   - Linker: every symbol is resolved when the library is loaded, and the table of addresses is read-only from then on.
#
# The OS_ functions stay replaceable: early resolution still goes through the dynamic symbols. tests/package/hardening reads
# the properties from the finished library.
option(KIV_HARDENING "Harden the libraries; instrumented builds (KIV_SANITIZE) never are" ON)

include(CheckCXXCompilerFlag)
include(CheckLinkerFlag)

# What only some processors have.
check_cxx_compiler_flag(-fstack-clash-protection KIV_HAS_STACK_CLASH_PROTECTION)
check_cxx_compiler_flag(-fcf-protection KIV_HAS_CF_PROTECTION)
check_linker_flag(CXX -Wl,-z,shstk KIV_HAS_SHADOW_STACK_NOTE)

function(kiv_harden target)
    # Sanitizers replace calls of the C library by their own checks; the checking variants would escape them.
    if(NOT KIV_HARDENING OR KIV_SANITIZE)
        return()
    endif()
    target_compile_options(${target} PRIVATE
        -fstack-protector-strong
        $<$<BOOL:${KIV_HAS_STACK_CLASH_PROTECTION}>:-fstack-clash-protection>
        $<$<BOOL:${KIV_HAS_CF_PROTECTION}>:-fcf-protection>
        -Wformat -Werror=format-security
        # The C library warns when this is asked for without optimisation. Some compilers define it themselves.
        $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE$<SEMICOLON>-D_FORTIFY_SOURCE=2>
    )
    target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now)

    # The linker notes protected jumps and returns only if all objects have them. Debian's crti.o has no landing pads for
    # jumps, so the note about jumps must stay away. Its returns are in order, so the note about returns may be set.
    if(KIV_HAS_CF_PROTECTION AND KIV_HAS_SHADOW_STACK_NOTE)
        target_link_options(${target} PRIVATE -Wl,-z,shstk)
    endif()
endfunction()
