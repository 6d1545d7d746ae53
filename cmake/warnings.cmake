# Warnings, hardening and sanitizers for the project's own targets. Everything is PRIVATE: whoever includes our
# headers does not inherit our taste.
include_guard()

function(tavrin_target_options target)
    target_compile_options(${target} PRIVATE
        -Wall -Wextra -Wpedantic -Wshadow -Wconversion -Wold-style-cast -Wnon-virtual-dtor -Woverloaded-virtual
        -Wsuggest-override -Wmissing-declarations
        $<$<BOOL:${TAVRIN_WERROR}>:-Werror>
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
endfunction()
