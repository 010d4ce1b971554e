# What the ARM toolchains share, for a `target` of Debian's cross compilers and its `emulator`.
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_CXX_COMPILER ${target}-g++)
set(CMAKE_FIND_ROOT_PATH /usr/${target})
set(CMAKE_CROSSCOMPILING_EMULATOR ${emulator} -L ${CMAKE_FIND_ROOT_PATH})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# A device gets one file that runs whatever libraries it has; give -DSEGMENTER_STATIC=OFF to link to
# the device's own.
set(SEGMENTER_STATIC ON CACHE BOOL "Link the program statically")
