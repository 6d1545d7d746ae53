# Warnings, hardening and sanitizers for the project's own targets. Everything is PRIVATE: whoever includes our
# headers does not inherit our taste.
include_guard()
include(CheckCXXCompilerFlag)

# What is built remembers its sources by their places in the project, wherever that lies. The compiler takes the map
# given last first, and a build folder inside the project keeps its place there, so debuggers started in the project's
# folder find everything.
check_cxx_compiler_flag(-ffile-prefix-map=/from=/to HAS_FILE_PREFIX_MAP)
set(tavrin_prefix_maps "")
if(HAS_FILE_PREFIX_MAP)
    file(RELATIVE_PATH build_folder ${PROJECT_SOURCE_DIR} ${PROJECT_BINARY_DIR})
    if(NOT build_folder OR build_folder MATCHES "^\\.\\.")
        set(build_folder build)
    endif()
    set(tavrin_prefix_maps
        -ffile-prefix-map=${PROJECT_SOURCE_DIR}=. -ffile-prefix-map=${PROJECT_BINARY_DIR}=./${build_folder})
endif()

function(tavrin_target_options target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
        -Wsuggest-override -Wmissing-declarations
        $<$<BOOL:${TAVRIN_WERROR}>:-Werror>
        ${tavrin_prefix_maps}
        -fstack-protector-strong -fstack-clash-protection -fcf-protection)
    # Fortified sources need an optimised build; without one the C library answers with a warning.
    target_compile_options(${target} PRIVATE $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=2>)
    target_compile_definitions(${target} PRIVATE
        QT_NO_CAST_TO_ASCII QT_NO_FOREACH QT_DEPRECATED_WARNINGS $<$<NOT:$<CONFIG:Debug>>:_GLIBCXX_ASSERTIONS>)
    target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack -Wl,--as-needed)
    if(TAVRIN_SANITIZE)
        target_compile_options(${target} PRIVATE
            -fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
        target_link_options(${target} PRIVATE -fsanitize=address,undefined)
    endif()
    if(TAVRIN_COVERAGE)
        target_compile_options(${target} PRIVATE --coverage)
        target_compile_definitions(${target} PRIVATE TAVRIN_COVERAGE)
        target_link_options(${target} PRIVATE --coverage)
    endif()
endfunction()
