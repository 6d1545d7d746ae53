# Warnings, hardening and sanitizers for the project's own targets. All of it is PRIVATE: code that includes our headers
# does not get our options. A compiler or linker that does not know an option does without it.
include_guard()
include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)

# Whether the compiler (kind "compile") or the linker ("link") knows all of the options; CMake keeps the result.
function(tavrin_try_options kind result)
    if("${kind}" STREQUAL "compile")
        check_cxx_compiler_flag("${ARGN}" ${result})
    else() # not check_linker_flag, which came with CMake 3.18
        set(CMAKE_REQUIRED_LINK_OPTIONS ${ARGN})
        check_cxx_source_compiles("int main() { return 0; }" ${result})
    endif()
endfunction()

# The options are first tried all together, which is quicker, and one by one only when that fails.
function(tavrin_keep_options kind variable)
    string(MD5 hash "${ARGN}") # the list may change after its result was kept
    tavrin_try_options(${kind} HAS_ALL_OPTIONS_${hash} ${ARGN})
    set(known ${ARGN})
    if(NOT HAS_ALL_OPTIONS_${hash})
        foreach(option ${ARGN})
            string(MAKE_C_IDENTIFIER "HAS${option}" result)
            tavrin_try_options(${kind} ${result} ${option})
            if(NOT ${result})
                list(REMOVE_ITEM known ${option})
            endif()
        endforeach()
    endif()
    set(${variable} ${known} PARENT_SCOPE)
endfunction()

tavrin_keep_options(compile tavrin_compile_options
    -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
    -Wsuggest-override -Wmissing-declarations
    -fstack-protector-strong -fstack-clash-protection -fcf-protection)
tavrin_keep_options(link tavrin_link_options -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed)

# What is built names its sources relative to the project, so it does not depend on where the project is. The compiler
# uses the map given last. A build folder inside the project keeps its relative place, so a debugger started in the
# project's folder finds everything.
check_cxx_compiler_flag(-ffile-prefix-map=/from=/to HAS_FILE_PREFIX_MAP)
if(HAS_FILE_PREFIX_MAP)
    file(RELATIVE_PATH build_folder ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
    if(NOT build_folder OR build_folder MATCHES "^\\.\\.")
        set(build_folder build)
    endif()
    list(APPEND tavrin_compile_options
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=./${build_folder})
endif()

function(tavrin_target_options target)
    target_compile_options(${target} PRIVATE ${tavrin_compile_options} $<$<BOOL:${TAVRIN_WERROR}>:-Werror>)
    # Fortified sources need an optimised build; without one the C library's headers warn.
    target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
    target_compile_definitions(${target} PRIVATE
        QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_DEPRECATED_WARNINGS $<$<NOT:$<CONFIG:Debug>>:_GLIBCXX_ASSERTIONS>)
    target_link_options(${target} PRIVATE ${tavrin_link_options})
    if(TAVRIN_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=address,undefined)
    endif()
    if(TAVRIN_FUZZ)
        set(sanitizers -fsanitize=fuzzer-no-link,address,undefined)
        target_compile_options(${target} PRIVATE ${sanitizers} -fno-sanitize-recover=all -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE ${sanitizers})
    endif()
    if(TAVRIN_COVERAGE)
        target_compile_options(${target} PRIVATE --coverage)
        target_compile_definitions(${target} PRIVATE TAVRIN_COVERAGE)
        target_link_options(${target} PRIVATE --coverage)
        # With exceptions each temporary in a condition brings branches of the compiler's, which no test can take. The
        # library of running systems catches one, and the tests may.
        if("${target}" MATCHES "^tavrin_update")
            target_compile_options(${target} PRIVATE -fno-exceptions)
        endif()
    endif()
endfunction()
