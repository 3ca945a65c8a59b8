# Warnings, hardening and sanitizers shared by every target of the project.
function(companion_target_defaults target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wold-style-cast -Wnon-virtual-dtor
        $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local> $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wshadow-uncaptured-local>)
    if(NUVEXA_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    # Whoever pairs gets a shell: the shipped programs carry the distribution's usual hardening.
    target_compile_options(${target} PRIVATE -fstack-protector-strong
        $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>)
    if(NOT APPLE)
        target_link_options(${target} PRIVATE -Wl,-z,relro -Wl,-z,now)
    endif()
    if(NUVEXA_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${NUVEXA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${NUVEXA_SANITIZE})
    endif()
endfunction()
