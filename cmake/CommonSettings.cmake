# One interface target carries the language, the warnings and the strict Qt rules for every target of ours.

add_library(FetraCommon INTERFACE)
target_compile_features(FetraCommon INTERFACE cxx_std_20)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)

target_compile_options(FetraCommon INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wnon-virtual-dtor -Woverloaded-virtual)
if(FETRA_WERROR)
    target_compile_options(FetraCommon INTERFACE -Werror)
endif()

target_compile_definitions(FetraCommon INTERFACE
    _FILE_OFFSET_BITS=64
    QT_NO_KEYWORDS
    QT_NO_CAST_FROM_ASCII
    QT_NO_CAST_TO_ASCII
    QT_NO_URL_CAST_FROM_STRING
    QT_NO_FOREACH
    QT_NO_NARROWING_CONVERSIONS_IN_CONNECT)

if(FETRA_SANITIZE)
    add_compile_options(-fsanitize=${FETRA_SANITIZE} -fno-omit-frame-pointer)
    add_link_options(-fsanitize=${FETRA_SANITIZE})
    if(FETRA_SANITIZE MATCHES "undefined")
        add_compile_options(-fno-sanitize-recover=undefined)
    endif()
endif()

if(FETRA_FUZZ)
    # The libraries are instrumented too: a fuzzer follows only the paths that it can see.
    add_compile_options(-fsanitize=fuzzer-no-link)
    add_compile_definitions(QT_FORCE_ASSERTS _GLIBCXX_ASSERTIONS)
endif()

include(cmake/Hardening.cmake)

find_program(CCACHE ccache)
if(CCACHE AND NOT CMAKE_CXX_COMPILER_LAUNCHER)
    # As the cache's own manual has it for precompiled headers.
    set(CCACHE ${CMAKE_COMMAND} -E env CCACHE_SLOPPINESS=pch_defines,time_macros ${CCACHE})
    set(CMAKE_C_COMPILER_LAUNCHER ${CCACHE})
    set(CMAKE_CXX_COMPILER_LAUNCHER ${CCACHE})
endif()

find_program(MOLD mold)
if(MOLD)
    add_link_options(-fuse-ld=mold)
endif()

# Instrumented builds compile common headers once, which halves their time. Ordinary builds hold every file to its own
# includes.
function(fetra_precompile target)
    if(NOT FETRA_SANITIZE AND NOT FETRA_FUZZ)
        return()
    endif()
    if(target STREQUAL "FetraSystem")
        target_precompile_headers(${target} PRIVATE
            <QByteArray> <QDir> <QFile> <QJsonObject> <QList> <QString> <QUrl>
            <chrono> <functional> <map> <memory> <mutex> <optional> <thread> <variant> <vector>)
    else()
        target_precompile_headers(${target} REUSE_FROM FetraSystem)
    endif()
endfunction()
