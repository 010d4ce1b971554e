# Read by cpack before it makes a package for another processor than this machine's: the processor's
# name in Debian, and what the programs depend on, which are found out by dpkg otherwise.
set(aarch64 arm64)
set(armv7l armhf)
set(riscv64 riscv64)
set(x86_64 amd64)
if(NOT CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
    set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${${CPACK_SEGMENTER_PROCESSOR}})
endif()
if(NOT CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
    message(FATAL_ERROR "What Debian calls the processor ${CPACK_SEGMENTER_PROCESSOR} is not known: "
                        "give cpack -D CPACK_DEBIAN_PACKAGE_ARCHITECTURE=...")
endif()
execute_process(COMMAND ${CMAKE_CURRENT_LIST_DIR}/depends ${CPACK_SEGMENTER_PROGRAMS}
                OUTPUT_VARIABLE CPACK_DEBIAN_PACKAGE_DEPENDS OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
