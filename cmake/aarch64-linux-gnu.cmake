# Cross build for arm64 with Debian's cross compiler against the ":arm64" packages (multiarch),
# run under qemu-user without binfmt: CMake puts the emulator in front of every program it runs
# (tests, test discovery, scripts that take a program).
#   cmake -S . -B build-arm64 -DCMAKE_TOOLCHAIN_FILE=cmake/aarch64-linux-gnu.cmake
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(HUEVANE_TRIPLE aarch64-linux-gnu)

set(CMAKE_C_COMPILER ${HUEVANE_TRIPLE}-gcc)
set(CMAKE_CXX_COMPILER ${HUEVANE_TRIPLE}-g++)
set(CMAKE_LIBRARY_ARCHITECTURE ${HUEVANE_TRIPLE})
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64-static)

# Libraries, headers and packages come from the cross libc and the arm64 multiarch folders only;
# programs (pkg-config, bash) are the host's. The host's own library folders are never searched.
set(CMAKE_FIND_ROOT_PATH /usr/${HUEVANE_TRIPLE} /)
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(CMAKE_IGNORE_PATH
    /usr/lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu
    /lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu
    /usr/lib/${CMAKE_HOST_SYSTEM_PROCESSOR}-linux-gnu/android)

# pkg-config (FindLibXml2 asks it first) must describe the arm64 libxml2, not the host's.
set(ENV{PKG_CONFIG_LIBDIR} /usr/lib/${HUEVANE_TRIPLE}/pkgconfig:/usr/share/pkgconfig)
set(ENV{PKG_CONFIG_PATH} "")
