# What compiler and linker do against faults in memory being used by others. Instrumented builds look for such faults
# themselves; scripts/check-package sees that the installed programs carry what is set here.

include(CheckCXXCompilerFlag)
include(CheckPIESupported)

if(NOT FETRA_SANITIZE AND NOT FETRA_FUZZ)
    check_pie_supported()
    # The last one is there for some architectures only.
    foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
        string(MAKE_C_IDENTIFIER "FETRA_HAS${flag}" known)
        check_cxx_compiler_flag(${flag} ${known})
        if(${known})
            add_compile_options(${flag})
        endif()
    endforeach()
    # Undefined first for compilers that set a level by themselves. It takes optimisation.
    add_compile_options("$<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=3>")
    add_compile_definitions(_GLIBCXX_ASSERTIONS)
    add_link_options(LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()
