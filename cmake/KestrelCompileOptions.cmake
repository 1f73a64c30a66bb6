# One interface target that every Kestrel target links: warnings, Qt hygiene macros and
# the sanitizer flags of the chosen build.
add_library(kestrel_options INTERFACE)
add_library(Kestrel::options ALIAS kestrel_options)

target_compile_options(kestrel_options INTERFACE -Wall -Wextra)
if(KESTREL_WERROR)
    target_compile_options(kestrel_options INTERFACE -Werror)
endif()
# A unity build includes each source file into a batch file, so GCC takes a class of an
# anonymous namespace used as a base for one declared in a header: the warning it gives then
# is about headers and does not apply.
if(CMAKE_UNITY_BUILD AND CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
    target_compile_options(kestrel_options INTERFACE -Wno-subobject-linkage)
endif()
target_compile_definitions(kestrel_options INTERFACE
    QT_NO_CONTEXTLESS_CONNECT
    QT_NO_URL_CAST_FROM_STRING
    QT_USE_QSTRINGBUILDER
    QT_NO_KEYWORDS
    KESTREL_VERSION="${PROJECT_VERSION}")

if(KESTREL_SANITIZE STREQUAL "address")
    set(_kst_san -fsanitize=address,undefined -fno-omit-frame-pointer -fno-sanitize-recover=undefined)
elseif(KESTREL_SANITIZE STREQUAL "thread")
    set(_kst_san -fsanitize=thread -fno-omit-frame-pointer)
elseif(NOT KESTREL_SANITIZE STREQUAL "none")
    message(FATAL_ERROR "KESTREL_SANITIZE must be none, address or thread")
endif()
# The debug information comes from the build type (Debug or RelWithDebInfo), so a CI build
# can ask for line tables only.
if(_kst_san)
    target_compile_options(kestrel_options INTERFACE ${_kst_san})
    target_link_options(kestrel_options INTERFACE ${_kst_san})
endif()

# A fuzzing build instruments every library for libFuzzer's coverage; the fuzz targets add
# libFuzzer's own main (tests/fuzz).
if(KESTREL_FUZZ)
    if(NOT CMAKE_CXX_COMPILER_ID STREQUAL "Clang")
        message(FATAL_ERROR "KESTREL_FUZZ needs clang (libFuzzer); configure with CXX=clang++")
    endif()
    target_compile_options(kestrel_options INTERFACE -fsanitize=fuzzer-no-link)
    target_link_options(kestrel_options INTERFACE -fsanitize=fuzzer-no-link)
endif()
