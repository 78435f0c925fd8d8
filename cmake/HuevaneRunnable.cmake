# huevane_runnable(OUT target): a path that runs `target` on the build machine, for test scripts
# that take a program as an argument. Natively the program itself; in a cross build a small
# script that starts it under CMAKE_CROSSCOMPILING_EMULATOR, which CMake only puts in front of a
# test's own command, never in front of what that command runs.
function(huevane_runnable out target)
    if(NOT CMAKE_CROSSCOMPILING_EMULATOR)
        set(${out} $<TARGET_FILE:${target}> PARENT_SCOPE)
        return()
    endif()
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    set(wrapper ${CMAKE_CURRENT_BINARY_DIR}/${target}-emulated)
    file(GENERATE OUTPUT ${wrapper}
         CONTENT "#!/bin/sh\nexec ${emulator} \"$<TARGET_FILE:${target}>\" \"$@\"\n"
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE
                          WORLD_READ WORLD_EXECUTE)
    set(${out} ${wrapper} PARENT_SCOPE)
endfunction()
