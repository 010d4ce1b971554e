# What both ARM toolchains share. A device gets one file that runs whatever libraries it has; give
# -DSEGMENTER_STATIC=OFF to link to the device's own.
set(SEGMENTER_STATIC ON CACHE BOOL "Link the program statically")
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
