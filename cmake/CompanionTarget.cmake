# Warnings and sanitizers shared by every target of the project.
function(companion_target_defaults target)
    target_compile_options(${target} PRIVATE -Wall -Wextra -Wold-style-cast -Wnon-virtual-dtor
        $<$<CXX_COMPILER_ID:GNU>:-Wshadow=local> $<$<CXX_COMPILER_ID:Clang,AppleClang>:-Wshadow-uncaptured-local>)
    if(NUVEXA_WERROR)
        target_compile_options(${target} PRIVATE -Werror)
    endif()
    if(NUVEXA_SANITIZE)
        target_compile_options(${target} PRIVATE -fsanitize=${NUVEXA_SANITIZE} -fno-omit-frame-pointer -fno-sanitize-recover=all)
        target_link_options(${target} PRIVATE -fsanitize=${NUVEXA_SANITIZE})
    endif()
endfunction()
